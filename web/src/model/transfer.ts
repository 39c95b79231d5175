/** Settings as a file: one JSON object with a format and a version, so that a later page can still read it. */

import type { Point, Quad, Size } from './geometry';
import { quadProblem, sameQuad, storableQuad } from './geometry';
import { parseSize, sizeText } from './picture-size';
import type { Settings } from './settings';
import { isDictionary, maxSeconds } from './settings';

export const format = 'zerith-markers-settings';
export const version = 1;

/** No settings file is larger, in characters. */
export const maxLength = 100000;

/** One finding about a file: where, and which kind. A warning does not keep the file from being used. */
export interface Finding {
    readonly path: string;
    readonly code:
        | 'tooLarge'
        | 'notJson'
        | 'notObject'
        | 'format'
        | 'version'
        | 'missing'
        | 'unknown'
        | 'boolean'
        | 'alertWhen'
        | 'seconds'
        | 'dictionary'
        | 'stream'
        | 'notOffered'
        | 'corners'
        | 'position'
        | 'rounded'
        | 'crossing'
        | 'flat';
    readonly severity: 'error' | 'warning';
}

export interface ImportResult {
    readonly settings?: Settings;
    readonly findings: readonly Finding[];
}

export function exportText(settings: Settings): string {
    const content = {
        format,
        version,
        settings: {
            alertWhen: settings.requirePresent ? 'present' : 'missing',
            seconds: settings.seconds,
            dictionary: settings.dictionary,
            markersOutsideArea: settings.displayNonAoi,
            overlays: { on: settings.overlaysOn, stream: settings.overlayStream },
            area: settings.area.map(({ x, y }) => ({ x, y })),
        },
    };
    return JSON.stringify(content, null, 2) + '\n';
}

type Json = Readonly<Record<string, unknown>>;

function isObject(value: unknown): value is Json {
    return typeof value === 'object' && value !== null && !Array.isArray(value);
}

/** Collects what is wrong while the parts of a file are read. */
class Reader {
    readonly findings: Finding[] = [];

    error(path: string, code: Finding['code']): undefined {
        this.findings.push({ path, code, severity: 'error' });
        return undefined;
    }

    warning(path: string, code: Finding['code']): void {
        this.findings.push({ path, code, severity: 'warning' });
    }

    get hasErrors(): boolean {
        return this.findings.some((finding) => finding.severity === 'error');
    }

    /** A member; one that is missing is an error. */
    member(object: Json, path: string, name: string): unknown {
        if (!Object.hasOwn(object, name)) return this.error(path + name, 'missing');
        return object[name];
    }

    only(object: Json, path: string, names: readonly string[]): void {
        for (const name of Object.keys(object)) {
            if (!names.includes(name)) this.warning(path + name, 'unknown');
        }
    }

    boolean(object: Json, path: string, name: string): boolean {
        const value = this.member(object, path, name);
        if (value !== undefined && typeof value !== 'boolean') this.error(path + name, 'boolean');
        return value === true;
    }

    object(object: Json, path: string, name: string): Json | undefined {
        const value = this.member(object, path, name);
        if (value === undefined || isObject(value)) return value;
        return this.error(path + name, 'notObject');
    }
}

function readArea(reader: Reader, value: unknown, length: Size): Quad | undefined {
    if (value === undefined) return undefined;
    if (!Array.isArray(value) || value.length !== 4) return reader.error('settings.area', 'corners');
    const points: Point[] = [];
    value.forEach((corner: unknown, i) => {
        const path = `settings.area[${i}]`;
        if (!isObject(corner)) {
            reader.error(path, 'notObject');
            return;
        }
        reader.only(corner, `${path}.`, ['x', 'y']);
        const [x, y] = (['x', 'y'] as const).map((name) => {
            const at = reader.member(corner, `${path}.`, name);
            if (at === undefined) return undefined;
            if (typeof at === 'number' && Number.isInteger(at) && at >= 0 && at <= 100) return at;
            return reader.error(`${path}.${name}`, 'position');
        });
        if (x !== undefined && y !== undefined) points.push({ x, y });
    });
    const [a, b, c, d] = points;
    if (a === undefined || b === undefined || c === undefined || d === undefined) return undefined;
    const area: Quad = [a, b, c, d];
    const kept = storableQuad(area, length);
    const problem = quadProblem(kept);
    if (problem !== undefined && problem !== 'outside') return reader.error('settings.area', problem);
    if (!sameQuad(area, kept)) reader.warning('settings.area', 'rounded');
    return kept;
}

/**
 * Reads a settings file.
 * @param offered the streams that the camera offers; empty: not known
 * @param length the size of the analysed picture
 * @return the settings, unless something is wrong, and all that is wrong or odd
 */
export function importText(text: string, offered: readonly Size[], length: Size): ImportResult {
    const reader = new Reader();
    const give = (settings?: Settings): ImportResult =>
        settings === undefined || reader.hasErrors
            ? { findings: reader.findings }
            : { settings, findings: reader.findings };
    if (text.length > maxLength) return give(reader.error('', 'tooLarge'));
    let content: unknown;
    try {
        content = JSON.parse(text);
    } catch {
        return give(reader.error('', 'notJson'));
    }
    if (!isObject(content)) return give(reader.error('', 'notObject'));
    if (content['format'] !== format) return give(reader.error('format', 'format'));
    if (content['version'] !== version) return give(reader.error('version', 'version'));
    reader.only(content, '', ['format', 'version', 'settings']);
    const settings = reader.object(content, '', 'settings');
    if (settings === undefined) return give();
    const path = 'settings.';
    reader.only(settings, path, ['alertWhen', 'seconds', 'dictionary', 'markersOutsideArea', 'overlays', 'area']);

    const when = reader.member(settings, path, 'alertWhen');
    if (when !== undefined && when !== 'present' && when !== 'missing') reader.error('settings.alertWhen', 'alertWhen');
    const seconds = reader.member(settings, path, 'seconds');
    if (
        seconds !== undefined &&
        !(typeof seconds === 'number' && Number.isInteger(seconds) && seconds >= 0 && seconds <= maxSeconds)
    ) {
        reader.error('settings.seconds', 'seconds');
    }
    const dictionary = reader.member(settings, path, 'dictionary');
    if (dictionary !== undefined && !(typeof dictionary === 'string' && isDictionary(dictionary))) {
        reader.error('settings.dictionary', 'dictionary');
    }
    const displayNonAoi = reader.boolean(settings, path, 'markersOutsideArea');
    const overlays = reader.object(settings, path, 'overlays') ?? {};
    const overlaysOn = Object.keys(overlays).length > 0 && reader.boolean(overlays, 'settings.overlays.', 'on');
    reader.only(overlays, 'settings.overlays.', ['on', 'stream']);
    const stream = reader.member(overlays, 'settings.overlays.', 'stream');
    const size = typeof stream === 'string' ? parseSize(stream) : undefined;
    if (stream !== undefined && size === undefined) reader.error('settings.overlays.stream', 'stream');
    if (size !== undefined && offered.length > 0 && !offered.some((o) => sizeText(o) === stream)) {
        reader.warning('settings.overlays.stream', 'notOffered');
    }
    const area = readArea(reader, reader.member(settings, path, 'area'), length);
    if (reader.hasErrors || area === undefined || typeof dictionary !== 'string' || !isDictionary(dictionary)) {
        return give();
    }
    return give({
        requirePresent: when === 'present',
        seconds: Number(seconds),
        dictionary,
        displayNonAoi,
        overlaysOn,
        overlayStream: String(stream),
        area,
    });
}
