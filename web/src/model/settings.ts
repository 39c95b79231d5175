/**
 * The settings as a user edits them: what is stored, a draft of it that may be unfinished or wrong, what
 * is wrong with the draft, and the proposals that a camera gets that was never set up.
 */

import type { SettingsDocument, WireSettings } from './document';
import { canCarry } from './document';
import type { Quad, QuadProblem, Size } from './geometry';
import { middle, numbersOf, quadOf, quadProblem, sameQuad, storableQuad } from './geometry';
import { positionOf } from './percent';
import { parseSize, sizeText } from './picture-size';

/** The kinds of markers that the detector knows, with how many ids each has. */
export const markerCounts = { '4x4': 50, '5x5': 100, '6x6': 250, '7x7': 1000 } as const;
export type Dictionary = keyof typeof markerCounts;
export const dictionaries = Object.keys(markerCounts) as Dictionary[];

export function isDictionary(text: string): text is Dictionary {
    return (dictionaries as string[]).includes(text);
}

/** The longest time that makes sense for an alert: a day. */
export const maxSeconds = 86400;

export interface Settings {
    readonly requirePresent: boolean;
    readonly seconds: number;
    readonly dictionary: Dictionary;
    readonly displayNonAoi: boolean;
    readonly overlaysOn: boolean;
    readonly overlayStream: string;
    readonly area: Quad;
}

export type Field = keyof Settings;
export const fields: readonly Field[] = [
    'requirePresent',
    'seconds',
    'dictionary',
    'displayNonAoi',
    'overlaysOn',
    'overlayStream',
    'area',
];

/** Settings under way. Texts are as typed; a corner that is no number stands in `cornerTexts`. */
export interface Draft {
    readonly requirePresent: boolean;
    readonly seconds: string;
    readonly dictionary: string;
    readonly displayNonAoi: boolean;
    readonly overlaysOn: boolean;
    readonly overlayStream: string;
    readonly area: Quad;
    /** Typed coordinates that are no whole number from 0 to 100, by their place (x0, y0, x1, ...). */
    readonly cornerTexts: Readonly<Partial<Record<number, string>>>;
}

export type ProblemCode =
    | 'empty'
    | 'notWhole'
    | 'negative'
    | 'tooLong'
    | 'tooLarge'
    | 'dictionary'
    | 'stream'
    | 'corner'
    | QuadProblem;
export type Problems = Partial<Record<Field, ProblemCode>>;

/** What is wrong with a typed number, or nothing. The service would read "5.5" as 5 and "5 s" as 5. */
export function wholeNumberProblem(text: string, largest: number): ProblemCode | undefined {
    const typed = text.trim();
    if (typed === '') return 'empty';
    if (/^-\d+$/.test(typed)) return 'negative';
    if (!/^\d+$/.test(typed)) return 'notWhole';
    return typed.length > 9 || Number(typed) > largest ? 'tooLarge' : undefined;
}

/** Checks a draft: the settings that it stands for, or what is wrong with which field. */
export function check(draft: Draft): { readonly settings?: Settings; readonly problems: Problems } {
    const problems: Problems = {};
    const seconds = wholeNumberProblem(draft.seconds, maxSeconds);
    if (seconds !== undefined) problems.seconds = seconds === 'tooLarge' ? 'tooLong' : seconds;
    const { dictionary } = draft;
    if (!isDictionary(dictionary)) problems.dictionary = 'dictionary';
    if (draft.overlaysOn ? parseSize(draft.overlayStream) === undefined : !canCarry(draft.overlayStream)) {
        problems.overlayStream = 'stream';
    }
    const area = Object.keys(draft.cornerTexts).length > 0 ? 'corner' : quadProblem(draft.area);
    if (area !== undefined) problems.area = area;
    if (Object.keys(problems).length > 0 || !isDictionary(dictionary)) return { problems };
    return {
        problems,
        settings: {
            requirePresent: draft.requirePresent,
            seconds: Number(draft.seconds.trim()),
            dictionary,
            displayNonAoi: draft.displayNonAoi,
            overlaysOn: draft.overlaysOn,
            overlayStream: draft.overlayStream,
            area: draft.area,
        },
    };
}

/** What the camera has stored, in the form of a draft. */
export function storedDraft(stored: WireSettings, length: Size): Draft {
    const numbers = stored.area.map((n, i) => positionOf(n, i % 2 === 0 ? length.width : length.height));
    return {
        requirePresent: stored.requirePresent,
        seconds: String(stored.seconds),
        dictionary: stored.dictionary,
        displayNonAoi: stored.displayNonAoi,
        overlaysOn: stored.overlaysOn,
        overlayStream: stored.overlayStream,
        area: quadOf(numbers),
        cornerTexts: {},
    };
}

export function draftOf(settings: Settings): Draft {
    return { ...settings, seconds: String(settings.seconds), cornerTexts: {} };
}

export function wireOf(settings: Settings, eulaAccepted: boolean): WireSettings {
    const { area, ...others } = settings;
    return { ...others, eulaAccepted, area: numbersOf(area) };
}

/** The fields in which two drafts differ. */
export function changedFields(a: Draft, b: Draft): Field[] {
    return fields.filter((field) => {
        if (field === 'area') {
            return !sameQuad(a.area, b.area) || Object.keys({ ...a.cornerTexts, ...b.cornerTexts }).length > 0;
        }
        return a[field] !== b[field];
    });
}

/**
 * A draft to begin with: what is stored, and a proposal wherever that cannot be used. A camera that was
 * never set up ("0" everywhere) gets the proposals for everything that matters.
 * @param picture the size of the stream on which overlays are always drawn
 */
export function firstDraft(stored: Draft, picture: Size, length: Size): Draft {
    const problems = check(stored).problems;
    const untouched = problems.dictionary !== undefined && numbersOf(stored.area).every((n) => n === 0);
    const stream = parseSize(stored.overlayStream) === undefined && picture.width > 0;
    return {
        ...stored,
        seconds: problems.seconds !== undefined || (untouched && stored.seconds === '0') ? '5' : stored.seconds,
        // 4x4 has so few cells that patterns of everyday things are taken for markers.
        dictionary: problems.dictionary !== undefined ? '5x5' : stored.dictionary,
        area: problems.area !== undefined ? storableQuad(middle, length) : stored.area,
        overlaysOn: untouched ? true : stored.overlaysOn,
        overlayStream: stream && (untouched || problems.overlayStream !== undefined) ? sizeText(picture) : stored.overlayStream,
    };
}

/**
 * What is written when nothing but the agreement is accepted: everything as stored, save what the service
 * could not take back.
 */
export function acceptedAgreement(stored: SettingsDocument, length: Size): WireSettings {
    const draft = storedDraft(stored, length);
    const inside = numbersOf(draft.area).every((n) => Number.isInteger(n) && n >= 0 && n <= 100);
    return {
        ...stored,
        eulaAccepted: true,
        seconds: wholeNumberProblem(draft.seconds, maxSeconds) === undefined ? stored.seconds : 0,
        dictionary: canCarry(stored.dictionary) ? stored.dictionary : '0',
        overlaysOn: stored.overlaysOn && parseSize(stored.overlayStream) !== undefined,
        overlayStream: canCarry(stored.overlayStream) ? stored.overlayStream : '0',
        area: inside ? numbersOf(draft.area) : [0, 0, 0, 0, 0, 0, 0, 0],
    };
}
