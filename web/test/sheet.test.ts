import { describe, expect, it } from 'vitest';
import { cellsOf, drawPage, layoutSheets, papers, parseIds, parseSide, svgText, type Paper } from '../src/model/sheet';
import { dictionaries, markerCounts, type Dictionary } from '../src/model/settings';
import tables from '../src/model/tables.json';

const texts = { label: (id: number) => `<5x5> ${id}`, check: 'check', title: '"title" & more' };

describe('the marker tables', () => {
    it.each(dictionaries)('hold all markers of %s, no two alike in any turn', (name) => {
        const table = tables[name];
        expect(table.count).toBe(markerCounts[name]);
        const seen = new Set<string>();
        for (let id = 0; id < table.count; ++id) {
            let cells = cellsOf(table, name, id);
            expect(cells.length).toBe(Number(name[0]));
            const turns = [0, 1, 2, 3].map(() => {
                cells = cells.map((row, r) => row.map((_, c) => cells[cells.length - 1 - c]?.[r] ?? false));
                return cells.flat().map(Number).join('');
            });
            expect(turns.some((t) => seen.has(t))).toBe(false);
            turns.forEach((t) => seen.add(t));
        }
        expect(() => cellsOf(table, name, table.count)).toThrow(RangeError);
        expect(() => cellsOf(table, name, -1)).toThrow(RangeError);
    });
});

describe('ids', () => {
    it.each([
        ['0-3, 7 9', [0, 1, 2, 3, 7, 9]],
        ['7;7, 7', [7]],
        ['3 - 5', [3, 4, 5]],
        ['8–9', [8, 9]],
        ['99', [99]],
    ])('%j', (text, ids) => expect(parseIds(text, 100)).toEqual({ ids }));

    it.each([
        ['', 'empty', ''], [' , ', 'empty', ''], ['x', 'syntax', 'x'], ['1.5', 'syntax', '1.5'], ['-1', 'syntax', '-1'],
        ['100', 'range', '100'], ['5-100', 'range', '5-100'], ['5-3', 'order', '5-3'], ['9999999', 'syntax', '9999999'],
    ])('%j is refused', (text, problem, word) => expect(parseIds(text, 100)).toEqual({ problem, text: word }));
});

describe('a side', () => {
    it('is read with comma or point, within limits', () => {
        expect(['50', ' 50,5 ', '12.25', '10', '180'].map(parseSide)).toEqual([50, 50.5, 12.25, 10, 180]);
        expect(['', '9', '181', '-5', '5 cm', '1e2', 'x'].map(parseSide)).toEqual(Array<undefined>(7).fill(undefined));
    });
});

describe('a layout', () => {
    const cases = (Object.keys(papers) as Paper[]).flatMap((paper) =>
        dictionaries.flatMap((name) => [10, 25, 50, 99.5, 150, 180].map((side) => [paper, name, side] as const)),
    );
    it.each(cases)('keeps every marker with its white border on %s (%s, %d mm)', (paper, name, side) => {
        const ids = Array.from({ length: 30 }, (_, i) => i);
        const layout = layoutSheets(name, ids, side, paper);
        expect(layout.pages.flat().map((p) => p.id)).toEqual(ids);
        const quiet = side / (Number(name[0]) + 2);
        for (const page of layout.pages) {
            for (const [i, a] of page.entries()) {
                if (side <= 140) {
                    expect(a.x - quiet).toBeGreaterThanOrEqual(9.999);
                    expect(a.x + side + quiet).toBeLessThanOrEqual(papers[paper].width - 9.999);
                    expect(a.y + side + quiet + 6).toBeLessThanOrEqual(papers[paper].height - 10 - 16 + 0.001);
                } else {
                    expect(page.length).toBe(1);
                }
                for (const b of page.slice(i + 1)) {
                    const apart = Math.max(Math.abs(a.x - b.x), Math.abs(a.y - b.y));
                    expect(apart).toBeGreaterThanOrEqual(side + 2 * quiet);
                }
            }
        }
    });
});

describe('a drawing', () => {
    it('is in true millimetres, with escaped texts', () => {
        const name: Dictionary = '5x5';
        const svg = svgText(drawPage(layoutSheets(name, [7], 70, 'A4'), 0, name, tables[name], 70, texts));
        expect(svg).toContain('width="210mm" height="297mm" viewBox="0 0 210 297"');
        expect(svg).toContain('<rect x="20" y="20" width="70" height="70" fill="#000">');
        expect(svg).toContain('h100m0');
        expect(svg).toContain('&#60;5x5&#62; 7');
        expect(svg).toContain('&#34;title&#34; &#38; more');
        expect(svg).not.toContain('<5x5>');
    });

    it('has a hole for every white cell', () => {
        const name: Dictionary = '4x4';
        const drawing = drawPage(layoutSheets(name, [0], 60, 'A4'), 0, name, tables[name], 60, texts);
        const path = /<path d="([^"]+)" fill="#fff"/.exec(svgText(drawing))?.[1] ?? '';
        const white = cellsOf(tables[name], name, 0).flat().filter(Boolean).length;
        const widths = [...path.matchAll(/h([\d.]+)v/g)].reduce((sum, m) => sum + Number(m[1]), 0);
        expect(widths).toBeCloseTo(white * 10);
    });
});
