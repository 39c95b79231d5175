/**
 * The settings as they go over the wire: read from the service's document, and written as the one that
 * it takes.
 *
 * Neither is really XML. The service escapes nothing, so a stored text may hold anything, markup
 * included; its own reader looks for angle brackets and decodes nothing. So what comes is read by the
 * order of its elements, which is fixed, and what goes is put through a model of the service's reader
 * first: a text that it would understand differently is refused here.
 */

import type { Size } from './geometry';
import { parseSize } from './picture-size';

/** What the service keeps, as it says it. */
export interface WireSettings {
    readonly seconds: number;
    readonly requirePresent: boolean;
    readonly displayNonAoi: boolean;
    readonly dictionary: string;
    readonly eulaAccepted: boolean;
    readonly overlaysOn: boolean;
    readonly overlayStream: string;
    /** Area 1: x and y in turns, percent as the service rounds them. */
    readonly area: readonly number[];
}

export interface SettingsDocument extends WireSettings {
    /** The streams that overlays can be drawn on. */
    readonly offered: readonly Size[];
}

/** Why a document cannot be used. */
export type DocumentProblem = 'empty' | 'html' | 'foreign' | 'incomplete' | 'ambiguous';

export type ReadResult =
    | { readonly ok: true; readonly document: SettingsDocument }
    | { readonly ok: false; readonly problem: DocumentProblem };

/** Whether a text is a web page, which something between here and the service must have sent. */
export function isHtml(text: string): boolean {
    return /^\s*(<\?xml[^>]*\?>\s*)?<(!doctype\s+html|html|head|body)\b/i.test(text);
}

const number = '(-?\\d{1,10})';
const flag = '([01])';
const anything = '([\\s\\S]*?)';
const element = (name: string, value: string): string => `<${name}>${value}</${name}>`;

function areaPattern(area: number): string {
    return [0, 1, 2, 3, 4, 5, 6, 7].map((i) => element(`Detection${area}_${i}`, number)).join('');
}

const head = element('Markers_Secs', number) + element('Markers_Present', flag) + element('DisplayNonAOI', flag);
const between = '</SelectedDictionary>' + element('Eula', flag) + element('DetectionOverlaysOn', flag);
const tail =
    '</SelectedDetectionOverlay>' +
    element('CamsResAsCsv', '((?:\\d{1,10}x\\d{1,10},)*)') +
    areaPattern(1) +
    areaPattern(2) +
    areaPattern(3);
const pattern = new RegExp(
    `^<app>${head}<SelectedDictionary>${anything}${between}<SelectedDetectionOverlay>${anything}${tail}</app>$`,
);
const inner = new RegExp(`${between}<SelectedDetectionOverlay>`, 'g');

/** Reads the service's document. */
export function readDocument(text: string): ReadResult {
    if (text === '') return { ok: false, problem: 'empty' };
    if (isHtml(text)) return { ok: false, problem: 'html' };
    const found = pattern.exec(text);
    if (found === null) {
        return { ok: false, problem: text.startsWith('<app>') && !text.endsWith('</app>') ? 'incomplete' : 'foreign' };
    }
    // A stored text that imitates the elements behind it could be cut in two ways.
    if (Array.from(text.matchAll(inner)).length !== 1) return { ok: false, problem: 'ambiguous' };
    const at = (i: number): string => found[i] ?? '';
    return {
        ok: true,
        document: {
            seconds: Number(at(1)),
            requirePresent: at(2) === '1',
            displayNonAoi: at(3) === '1',
            dictionary: at(4),
            eulaAccepted: at(5) === '1',
            overlaysOn: at(6) === '1',
            overlayStream: at(7),
            offered: at(8)
                .split(',')
                .map((text) => parseSize(text))
                .filter((size) => size !== undefined),
            area: found.slice(9, 17).map(Number),
        },
    };
}

/**
 * What the service's reader makes of a document: a model of it, step by step. An element's name is
 * whatever stands between brackets, its text ends at the next opening one.
 */
export function asServiceReads(xml: string): Map<string, string> {
    const elements = new Map<string, string>();
    const root = xml.indexOf('<root>');
    const start = root < 0 ? 5 : root + 6;
    const end = xml.indexOf('</root>');
    const content = end < 0 || end < start ? xml.slice(start) : xml.slice(start, end);
    let open = content.indexOf('<');
    while (open >= 0) {
        const close = content.indexOf('>', open);
        if (close < 0) break;
        const tag = content.slice(open + 1, close);
        open = content.indexOf('<', close);
        if (!tag.startsWith('/')) {
            elements.set(tag, content.slice(close + 1, open < 0 ? undefined : open));
        }
    }
    return elements;
}

/** A text that the document cannot carry. */
export class CannotCarry extends Error {
    constructor(readonly element: string) {
        super(`${element} cannot be carried`);
    }
}

/** Whether the service would read, keep and give back a text as it stands. */
export function canCarry(text: string): boolean {
    // eslint-disable-next-line no-control-regex -- these are what is looked for
    return !/[<\u0000-\u001f\u007f]/.test(text);
}

/**
 * Writes the document that the service takes.
 * @throws CannotCarry naming the element whose text or number the service would misread
 */
export function writeDocument(settings: WireSettings): string {
    const whole = (name: string, value: number): [string, string] => {
        if (!Number.isInteger(value) || value < 0 || value > 2147483647) throw new CannotCarry(name);
        return [name, String(value)];
    };
    const text = (name: string, value: string): [string, string] => {
        if (!canCarry(value)) throw new CannotCarry(name);
        return [name, value];
    };
    const yes = (name: string, value: boolean): [string, string] => [name, value ? '1' : '0'];
    // With overlays on the service takes the size apart, and gives up on anything that is none.
    if (settings.overlaysOn && parseSize(settings.overlayStream) === undefined) {
        throw new CannotCarry('SelectedDetectionOverlay');
    }
    const area = [0, 1, 2, 3, 4, 5, 6, 7].map((i) => whole(`Detection1_${i}`, settings.area[i] ?? NaN));
    const elements = [
        whole('Markers_Secs', settings.seconds),
        yes('Markers_Present', settings.requirePresent),
        yes('DisplayNonAOI', settings.displayNonAoi),
        text('SelectedDictionary', settings.dictionary),
        yes('Eula', settings.eulaAccepted),
        yes('DetectionOverlaysOn', settings.overlaysOn),
        text('SelectedDetectionOverlay', settings.overlayStream),
        ...area,
    ];
    const xml = `<root>${elements.map(([name, value]) => element(name, value)).join('')}</root>`;
    const understood = asServiceReads(xml);
    for (const [name, value] of elements) {
        if (understood.get(name) !== value) throw new CannotCarry(name);
    }
    return xml;
}
