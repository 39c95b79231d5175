/**
 * Sheets of markers in true millimetres: which markers stand where on how many pages, and the drawing of
 * a page. A marker is a square of cells: the black border of one cell, and inside it the dictionary's
 * pattern. Around it stays a white border of one cell, without which no detector finds it.
 */

import type { Size } from './geometry';
import type { Dictionary } from './settings';

/** The patterns of a dictionary, as the generated data file holds them. */
export interface Table {
    readonly count: number;
    readonly cells: string;
}

export const papers = { A4: { width: 210, height: 297 }, Letter: { width: 215.9, height: 279.4 } } as const;
export type Paper = keyof typeof papers;

export const minSide = 10;
export const maxSide = 180;

/** Millimetres. */
const margin = 10;
const gap = 5;
const labelHeight = 6;
const footHeight = 16;
export const checkLength = 100;

/** Inner cells a side. */
export function gridOf(dictionary: Dictionary): number {
    return Number(dictionary[0]);
}

/** A marker's inner cells, row by row; true is white. */
export function cellsOf(table: Table, dictionary: Dictionary, id: number): boolean[][] {
    const n = gridOf(dictionary);
    const digits = Math.ceil((n * n) / 4);
    const text = table.cells.slice(id * digits, (id + 1) * digits);
    if (id < 0 || id >= table.count || text.length !== digits) throw new RangeError(`no marker ${id}`);
    const bits = Array.from(text, (digit) => parseInt(digit, 16).toString(2).padStart(4, '0')).join('');
    return Array.from({ length: n }, (_, row) => Array.from(bits.slice(row * n, row * n + n), (bit) => bit === '1'));
}

export type IdsResult =
    | { readonly ids: readonly number[] }
    | { readonly problem: 'empty' | 'syntax' | 'range' | 'order'; readonly text: string };

/** Ids as people write them: "0-9, 23 42". Each is taken once, in the order written. */
export function parseIds(text: string, count: number): IdsResult {
    const words = text.replace(/\s*[-–]\s*/g, '-').split(/[\s,;]+/).filter((word) => word !== '');
    if (words.length === 0) return { problem: 'empty', text: '' };
    const ids = new Set<number>();
    for (const word of words) {
        const found = /^(\d{1,6})(?:-(\d{1,6}))?$/.exec(word);
        if (found === null) return { problem: 'syntax', text: word };
        const first = Number(found[1]);
        const last = Number(found[2] ?? found[1]);
        if (last < first) return { problem: 'order', text: word };
        if (last >= count) return { problem: 'range', text: word };
        for (let id = first; id <= last; ++id) ids.add(id);
    }
    return { ids: [...ids] };
}

/** A length in millimetres as people write it; undefined when it is none or lies outside the limits. */
export function parseSide(text: string): number | undefined {
    if (!/^\s*\d{1,3}([.,]\d{1,2})?\s*$/.test(text)) return undefined;
    const side = Number(text.trim().replace(',', '.'));
    return side >= minSide && side <= maxSide ? side : undefined;
}

export interface Place {
    readonly id: number;
    /** The marker's top left corner, black border included, in millimetres from the paper's. */
    readonly x: number;
    readonly y: number;
}

export interface Layout {
    readonly paper: Size;
    readonly pages: readonly (readonly Place[])[];
}

export function layoutSheets(dictionary: Dictionary, ids: readonly number[], side: number, paper: Paper): Layout {
    const size = papers[paper];
    const quiet = side / (gridOf(dictionary) + 2);
    const tile = { width: side + 2 * quiet, height: side + 2 * quiet + labelHeight };
    const fit = (room: number, one: number): number => Math.max(1, Math.floor((room + gap + 1e-9) / (one + gap)));
    const columns = fit(size.width - 2 * margin, tile.width);
    const rows = fit(size.height - 2 * margin - footHeight, tile.height);
    const pages: Place[][] = [];
    ids.forEach((id, i) => {
        const onPage = i % (columns * rows);
        if (onPage === 0) pages.push([]);
        pages.at(-1)?.push({
            id,
            x: margin + (onPage % columns) * (tile.width + gap) + quiet,
            y: margin + Math.floor(onPage / columns) * (tile.height + gap) + quiet,
        });
    });
    return { paper: size, pages };
}

/** A drawing as a tree, so that it can become both a part of the page and a file. */
export interface Drawing {
    readonly tag: string;
    readonly attributes: Readonly<Record<string, string | number>>;
    readonly content: readonly Drawing[] | string;
}

function draw(tag: string, attributes: Drawing['attributes'], content: Drawing['content'] = []): Drawing {
    return { tag, attributes, content };
}

const rounded = (millimetres: number): number => Math.round(millimetres * 1000) / 1000;

/** The white cells as one path, neighbours in a row joined, so that no hairlines show between them. */
function whiteCells(cells: readonly (readonly boolean[])[], x: number, y: number, cell: number): string {
    let path = '';
    cells.forEach((row, r) => {
        for (let c = 0; c < row.length; ++c) {
            if (row[c] !== true) continue;
            const begin = c;
            while (row[c + 1] === true) ++c;
            // Runs reach a little into a white cell below, for the same reason.
            const below = cells[r + 1]?.slice(begin, c + 1).every((white) => white) === true ? cell * 0.5 : 0;
            path += `M${rounded(x + (begin + 1) * cell)} ${rounded(y + (r + 1) * cell)}`;
            path += `h${rounded((c + 1 - begin) * cell)}v${rounded(cell + below)}H${rounded(x + (begin + 1) * cell)}z`;
        }
    });
    return path;
}

export interface SheetTexts {
    /** Beside each marker, for example "5x5 · 7 · 50 mm". */
    readonly label: (id: number) => string;
    readonly check: string;
    readonly title: string;
}

export function drawPage(
    layout: Layout,
    page: number,
    dictionary: Dictionary,
    table: Table,
    side: number,
    texts: SheetTexts,
): Drawing {
    const cell = side / (gridOf(dictionary) + 2);
    const { width, height } = layout.paper;
    const font = { 'font-family': 'Helvetica, Arial, sans-serif', fill: '#000' };
    const markers = (layout.pages[page] ?? []).map((place) => {
        const frame = { x: rounded(place.x - cell), y: rounded(place.y - cell), side: rounded(side + 2 * cell) };
        return draw('g', { 'data-id': place.id }, [
            draw('rect', {
                x: frame.x,
                y: frame.y,
                width: frame.side,
                height: frame.side,
                fill: '#fff',
                stroke: '#8a8a8a',
                'stroke-width': 0.15,
                'stroke-dasharray': '1 1',
            }),
            draw('rect', { x: rounded(place.x), y: rounded(place.y), width: side, height: side, fill: '#000' }),
            draw('path', { d: whiteCells(cellsOf(table, dictionary, place.id), place.x, place.y, cell), fill: '#fff' }),
            draw(
                'text',
                { x: frame.x, y: rounded(frame.y + frame.side + 4.2), 'font-size': Math.min(3.5, side / 5), ...font },
                texts.label(place.id),
            ),
        ]);
    });
    const base = height - margin;
    const line = { stroke: '#000', 'stroke-width': 0.25 };
    const foot = draw('g', { 'data-check': checkLength }, [
        draw('path', {
            d: `M${margin} ${rounded(base - 3)}v3M${margin} ${rounded(base - 1.5)}h${checkLength}m0 -1.5v3`,
            fill: 'none',
            ...line,
        }),
        draw('text', { x: margin, y: rounded(base - 5), 'font-size': 3.5, ...font }, texts.check),
        draw(
            'text',
            { x: rounded(width - margin), y: rounded(base - 0.5), 'font-size': 3, 'text-anchor': 'end', ...font },
            texts.title,
        ),
    ]);
    return draw(
        'svg',
        {
            xmlns: 'http://www.w3.org/2000/svg',
            width: `${width}mm`,
            height: `${height}mm`,
            viewBox: `0 0 ${width} ${height}`,
        },
        [draw('rect', { width, height, fill: '#fff' }), ...markers, foot],
    );
}

function escaped(text: string): string {
    return text.replace(/[&<>"]/g, (sign) => `&#${sign.charCodeAt(0)};`);
}

/** A drawing as the text of a file. */
export function svgText(drawing: Drawing): string {
    const attributes = Object.entries(drawing.attributes)
        .map(([name, value]) => ` ${name}="${escaped(String(value))}"`)
        .join('');
    const content =
        typeof drawing.content === 'string' ? escaped(drawing.content) : drawing.content.map(svgText).join('');
    return `<${drawing.tag}${attributes}>${content}</${drawing.tag}>`;
}
