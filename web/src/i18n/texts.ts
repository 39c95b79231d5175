/** The page's texts: one JSON file a language, English built in, the others loaded when they are wanted. */

import en from './en.json';

export type Key = keyof typeof en;
type Texts = Readonly<Record<Key, string>>;

export const languages = { en: 'English', de: 'Deutsch', es: 'Español' } as const;
export type Language = keyof typeof languages;

const storageKey = 'zerith-markers-language';
const loaders: Readonly<Record<Language, () => Promise<{ default: Texts }>>> = {
    en: () => Promise.resolve({ default: en }),
    de: () => import('./de.json'),
    es: () => import('./es.json'),
};

let texts: Texts = en;
let language: Language = 'en';
const changes = new EventTarget();

function isLanguage(text: string | null | undefined): text is Language {
    return text !== null && text !== undefined && Object.hasOwn(languages, text);
}

/** The language that was chosen here before, else the first of the browser's that there is. */
export function preferredLanguage(): Language {
    let chosen: string | null = null;
    try {
        chosen = localStorage.getItem(storageKey);
    } catch {
        // A browser that keeps nothing still has languages.
    }
    if (isLanguage(chosen)) return chosen;
    return navigator.languages.map((tag) => tag.slice(0, 2).toLowerCase()).find(isLanguage) ?? 'en';
}

/** @param keep remember it as chosen */
export async function setLanguage(wanted: Language, keep: boolean): Promise<void> {
    const loaded = await loaders[wanted]();
    texts = loaded.default;
    language = wanted;
    document.documentElement.lang = wanted;
    if (keep) {
        try {
            localStorage.setItem(storageKey, wanted);
        } catch {
            // It holds until the page is left.
        }
    }
    changes.dispatchEvent(new Event('change'));
}

export function currentLanguage(): Language {
    return language;
}

export function onLanguage(listener: () => void): () => void {
    changes.addEventListener('change', listener);
    return () => changes.removeEventListener('change', listener);
}

export type Params = Readonly<Record<string, string | number>>;

/** A text, its {names} replaced. */
export function t(key: Key, params: Params = {}): string {
    return texts[key].replace(/\{(\w+)\}/g, (whole, name: string) => String(params[name] ?? whole));
}

/** Keys that have a form for one and one for others. */
export type CountKey = Key extends infer K ? (K extends `${infer Base}.one` ? Base : never) : never;

/** A text that depends on a number, {n}. */
export function tn(key: CountKey, n: number, params: Params = {}): string {
    const form = new Intl.PluralRules(language).select(n) === 'one' ? 'one' : 'other';
    return t(`${key}.${form}` as Key, { n, ...params });
}

/** The time as it is written where the reader is. */
export function clockTime(date: Date): string {
    const local = navigator.languages.find((tag) => tag.toLowerCase().startsWith(language)) ?? language;
    return new Intl.DateTimeFormat(local, { hour: '2-digit', minute: '2-digit', second: '2-digit' }).format(date);
}

export function listOf(words: readonly string[]): string {
    return new Intl.ListFormat(language, { type: 'conjunction' }).format(words);
}
