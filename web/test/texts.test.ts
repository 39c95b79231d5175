import { readdirSync, readFileSync } from 'node:fs';
import { describe, expect, it } from 'vitest';
import de from '../src/i18n/de.json';
import en from '../src/i18n/en.json';
import es from '../src/i18n/es.json';

const names = (text: string) => [...text.matchAll(/\{(\w+)\}/g)].map((m) => m[1]).sort();
const sources = ['ui', 'state', 'i18n']
    .flatMap((folder) => readdirSync(new URL(`../src/${folder}/`, import.meta.url)).map((file) => `../src/${folder}/${file}`))
    .filter((file) => file.endsWith('.ts'))
    .map((file) => readFileSync(new URL(file, import.meta.url), 'utf8'))
    .join('\n');

describe.each([['German', de], ['Spanish', es]])('%s', (_, texts: Record<string, string>) => {
    it('has the keys of English, in its order', () => {
        expect(Object.keys(texts)).toEqual(Object.keys(en));
    });

    it('has no text left empty or untranslated, and takes the same values', () => {
        const alike = ['status.code', 'status.title', 'overlay.stream', 'sheet.footer', 'mark.', 'field.'];
        for (const [key, english] of Object.entries(en)) {
            const text = texts[key] ?? '';
            expect(text.trim(), key).not.toBe('');
            expect(names(text), key).toEqual(names(english));
            if (english.includes(' ') && !alike.includes(key)) expect(text, key).not.toBe(english);
        }
    });
});

describe('English', () => {
    it('has no text that nothing shows', () => {
        for (const key of Object.keys(en)) {
            const base = key.replace(/\.(one|other)$/, '');
            // Either the key stands there, or what is before its last part and a value for that.
            const dynamic = ['t(`' + base.replace(/\.[^.]+$/, '.${'), 't(`' + base.replace(/^([^.]+\.)[^.]+/, '$1${').replace(/\{(\.\w+)$/, '{')];
            const shown = sources.includes(`'${base}'`) || dynamic.some((start) => sources.includes(start));
            expect(shown, key).toBe(true);
        }
    });

    it('has both forms of every text with a number', () => {
        for (const key of Object.keys(en)) {
            if (key.endsWith('.one')) expect(en).toHaveProperty([key.replace(/one$/, 'other')]);
        }
    });
});
