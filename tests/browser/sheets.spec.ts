import { spawnSync } from 'node:child_process';
import { existsSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import type { Page } from '@playwright/test';
import { expect, open, test } from './stack';

const built = process.env['ZM_BUILD'] ?? fileURLToPath(new URL('../../build/release', import.meta.url));
const detector = join(built, 'web/detect_sheet');

test("The page's marker patterns are the detector's own", () => {
    const file = fileURLToPath(new URL('../../web/src/model/tables.json', import.meta.url));
    const made = spawnSync(join(built, 'web/marker_tables'), [], { encoding: 'utf8', maxBuffer: 1 << 20 });
    expect(made.status, made.error?.message ?? made.stderr).toBe(0);
    expect(readFileSync(file, 'utf8')).toBe(made.stdout);
});

/** Draws a sheet with so many pixels a millimetre and asks the detector which markers are on it. */
async function detected(page: Page, svg: string, dictionary: string, pixelsPerMillimetre: number): Promise<number[]> {
    const picture = await page.evaluate(
        async ([text, scale]) => {
            const size = /viewBox="0 0 ([\d.]+) ([\d.]+)"/.exec(text);
            const width = Math.round(Number(size?.[1]) * scale);
            const height = Math.round(Number(size?.[2]) * scale);
            const image = new Image(width, height);
            image.src = URL.createObjectURL(new Blob([text], { type: 'image/svg+xml' }));
            await image.decode();
            const canvas = new OffscreenCanvas(width, height);
            const context = canvas.getContext('2d');
            if (context === null) throw new Error('no canvas');
            context.drawImage(image, 0, 0, width, height);
            const { data } = context.getImageData(0, 0, width, height);
            let grey = '';
            for (let i = 0; i < data.length; i += 4) grey += String.fromCharCode(data[i] ?? 0);
            return { width, height, grey: btoa(grey) };
        },
        [svg, pixelsPerMillimetre] as const,
    );
    const pgm = Buffer.concat([Buffer.from(`P5 ${picture.width} ${picture.height} 255\n`), Buffer.from(picture.grey, 'base64')]);
    const result = spawnSync(detector, [dictionary], { input: pgm, encoding: 'utf8' });
    if (result.status !== 0) throw new Error(`${detector}: ${result.stderr}`);
    return result.stdout.split('\n').filter((line) => line !== '').map(Number);
}

async function savedSheet(page: Page, number = 1): Promise<string> {
    const waiting = page.waitForEvent('download');
    await page.getByRole('button', { name: `Save page ${number} as SVG` }).click();
    return readFileSync(await (await waiting).path(), 'utf8');
}

for (const [dictionary, ids, side, paper, expected, scale] of [
    ['4x4', '0-11, 49', '30', 'A4', [0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 49], 4],
    ['5x5', '7, 23, 42, 99', '60', 'A4', [7, 23, 42, 99], 3],
    ['6x6', '0, 125, 249', '50', 'Letter', [0, 125, 249], 4],
    ['7x7', '0, 500, 999', '45,5', 'Letter', [0, 500, 999], 5],
] as const) {
    test(`A sheet of ${dictionary} holds markers that the detector finds, with the right ids`, async ({ page, demo }) => {
        expect(existsSync(detector), `${detector} is built`).toBe(true);
        await open(page, demo, 'sheets');
        await page.getByLabel('Dictionary').selectOption(dictionary);
        await page.getByLabel('Ids').fill(ids);
        await page.getByLabel('Side of a marker in millimetres').fill(side);
        await page.getByLabel('Paper').selectOption(paper);
        const svg = await savedSheet(page);
        expect(await detected(page, svg, dictionary, scale)).toEqual(expected);
        for (const id of expected) expect(svg).toContain(`${dictionary} · id ${id} · ${side.replace(',', '.')} mm`);
        expect(svg).toContain('This line is 100 mm long.');
    });
}

test('A mirrored sheet is not detected, so the test above can fail', async ({ page, demo }) => {
    await open(page, demo, 'sheets');
    const svg = await savedSheet(page);
    expect(await detected(page, svg, '5x5', 3)).toEqual([0, 1, 2, 3, 4, 5]);
    const mirrored = svg.replace(/(<svg[^>]*>)/, '$1<g transform="translate(210 0) scale(-1 1)">').replace('</svg>', '</g></svg>');
    expect(await detected(page, mirrored, '5x5', 3)).toEqual([]);
});

test('Printing puts the sheets alone on pages of the right size', async ({ page, demo }) => {
    await open(page, demo, 'sheets');
    await page.getByLabel('Ids').fill('0-14');
    await expect(page.locator('zm-sheets-view')).toContainText('3 pages.');
    // What the browser would show in its dialog is taken as a file; it tells the page so at the end.
    await page.evaluate(() => (window.print = () => undefined));
    await page.getByRole('button', { name: 'Print' }).click();
    await page.emulateMedia({ media: 'print' });
    await expect(page.locator('zm-app')).toBeHidden();
    const width = await page.locator('#sheets-to-print svg').first().evaluate((svg) => svg.getBoundingClientRect().width);
    expect(width).toBeCloseTo((210 / 25.4) * 96, 0);
    await page.emulateMedia({ media: 'screen' });
    await expect(page.locator('#sheets-to-print')).toBeHidden();
    const pdf = (await page.pdf({ preferCSSPageSize: true })).toString('latin1');
    expect(pdf.match(/\/Type\s*\/Page\b/g)?.length).toBe(3);
    const box = /\/MediaBox\s*\[\s*0 0 ([\d.]+) ([\d.]+)/.exec(pdf);
    expect(Number(box?.[1])).toBeCloseTo((210 / 25.4) * 72, 0);
    expect(Number(box?.[2])).toBeCloseTo((297 / 25.4) * 72, 0);
    // With the end of printing the page is as before.
    await page.evaluate(() => window.dispatchEvent(new Event('afterprint')));
    await expect(page.locator('#sheets-to-print')).toHaveCount(0);
    await expect(page.locator('zm-app')).toBeVisible();
});

for (const [label, typed, reason] of [
    ['Ids', '', 'Enter ids, for example 0-5, 7.'],
    ['Ids', '3, x<b>', '“x<b>” is no id.'],
    ['Ids', '100', '“100”: this dictionary ends at 99.'],
    ['Ids', '9-3', '“9-3”: the first id must not be the larger one.'],
    ['Side of a marker in millimetres', '5', 'Enter a number from 10 to 180.'],
    ['Side of a marker in millimetres', '', 'Enter a number from 10 to 180.'],
] as const) {
    test(`${label} of ${JSON.stringify(typed)} is refused with a reason`, async ({ page, demo }) => {
        await open(page, demo, 'sheets');
        await page.getByLabel(label).fill(typed);
        await expect(page.locator('zm-sheets-view .error', { hasText: reason })).toBeVisible();
        await expect(page.getByRole('button', { name: 'Print' })).toBeDisabled();
    });
}
