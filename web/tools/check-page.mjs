// check-page.mjs FOLDER: what has been built is small, loads nothing from elsewhere and runs nothing inline.
import { readdirSync, readFileSync, statSync } from 'node:fs';
import { join } from 'node:path';

const limit = 150 * 1024;
const folder = process.argv[2];
const problems = [];

const files = readdirSync(folder, { recursive: true })
    .map((name) => join(folder, String(name)))
    .filter((name) => statSync(name).isFile());
const size = files.filter((name) => !/tables-[^/]*\.js$/.test(name)).reduce((sum, name) => sum + statSync(name).size, 0);
if (size > limit) problems.push(`it has ${size} bytes without the marker tables, more than ${limit}`);

const page = readFileSync(join(folder, 'index.html'), 'utf8');
if (/<script(?![^>]*\ssrc=)/.test(page)) problems.push('index.html holds an inline script');
if (/\sstyle=|<style|\son\w+=/.test(page)) problems.push('index.html holds inline styles or handlers');
for (const [, address] of page.matchAll(/\s(?:src|href)="([^"]*)"/g)) {
    if (!address.startsWith('./')) problems.push(`index.html loads ${address}, which is no relative address`);
}
for (const name of files.filter((file) => /assets\/[^/]*$/.test(file))) {
    if (!/-[\w-]{8}\.(js|css)$/.test(name)) problems.push(`${name} has no hash in its name`);
    for (const [address] of readFileSync(name, 'utf8').matchAll(/https?:\/\/[^\s"'`)]+/g)) {
        // Names of markup languages, and words of the libraries; none is ever fetched.
        if (!/^https?:\/\/(www\.w3\.org|lit\.dev)\//.test(address)) problems.push(`${name} names ${address}`);
    }
}
for (const problem of problems) console.error(`check-page: ${problem}`);
process.exit(problems.length === 0 ? 0 : 1);
