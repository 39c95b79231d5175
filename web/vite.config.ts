import { readFileSync } from 'node:fs';
import { fileURLToPath } from 'node:url';
import { defineConfig, type Plugin } from 'vite';

/** Takes the indentation out of the components' templates and styles, where it means nothing. */
const flatTemplates: Plugin = {
    name: 'flat-templates',
    apply: 'build',
    transform(code, id) {
        return /\/src\/ui\/[\w-]+\.ts$/.test(id)
            ? { code: code.replace(/\n[ \t]+/g, '\n').replace(/>\n</g, '><'), map: null }
            : null;
    },
};

/** Languages other than English are shipped without their keys, which are English's, in its order. */
const keylessTexts: Plugin = {
    name: 'keyless-texts',
    apply: 'build',
    enforce: 'pre',
    resolveId(source) {
        const found = /^\.\/(de|es)\.json$/.exec(source);
        return found === null ? null : `\0texts-${found[1] ?? ''}`;
    },
    load(id) {
        const found = /^\0texts-(\w+)$/.exec(id);
        if (found === null) return null;
        const folder = fileURLToPath(new URL('src/i18n/', import.meta.url));
        const read = (name: string): object => JSON.parse(readFileSync(`${folder}${name}.json`, 'utf8')) as object;
        const texts = read(found[1] ?? '');
        if (Object.keys(texts).join() !== Object.keys(read('en')).join()) this.error(`${found[1] ?? ''}.json has other keys than en.json`);
        this.addWatchFile(`${folder}${found[1] ?? ''}.json`);
        return `import en from '${folder}en.json';
            const texts = ${JSON.stringify(Object.values(texts))};
            export default Object.fromEntries(Object.keys(en).map((key, i) => [key, texts[i]]));`;
    },
};

// The page lies somewhere below a camera's web server, so every address in it is relative. Nothing is
// inlined: the page's content security policy allows files of its own only.
export default defineConfig({
    base: './',
    plugins: [flatTemplates, keylessTexts],
    define: { __VERSION__: JSON.stringify(process.env['ZM_VERSION'] ?? '0.0.0') },
    build: {
        target: 'es2022',
        outDir: 'dist',
        assetsDir: 'assets',
        assetsInlineLimit: 0,
        modulePreload: { polyfill: false },
        sourcemap: false,
    },
    server: {
        // A page under development talks to the application that ./run has started.
        proxy: {
            '/local/zerith_markers/zerith_markers.cgi': process.env['ZM_SERVER'] ?? 'http://127.0.0.1:8080',
            '/axis-cgi': process.env['ZM_SERVER'] ?? 'http://127.0.0.1:8080',
        },
    },
});
