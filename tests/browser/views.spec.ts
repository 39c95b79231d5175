import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import type { Page } from '@playwright/test';
import type { AxeResults, RunOptions } from 'axe-core';
import { expect, open, pixels, Stack, store, test } from './stack';

const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const views = ['live', 'settings', 'sheets', 'advanced', 'help'] as const;

declare global {
    interface Window {
        readonly axe: { run(context: Document, options: RunOptions): Promise<AxeResults> };
    }
}

/** What axe finds against WCAG 2.2 AA and good practice, in words. */
async function violations(page: Page): Promise<string[]> {
    await page.evaluate(axe);
    const results = await page.evaluate(() =>
        window.axe.run(document, {
            resultTypes: ['violations'],
            runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'],
        }),
    );
    return results.violations.flatMap(({ id, nodes }) => nodes.map((node) => `${id}: ${node.html.slice(0, 120)}`));
}

async function ready(page: Page, view: string): Promise<void> {
    if (view === 'live') await expect(page.locator('zm-picture img')).toBeVisible();
    if (view === 'settings') await expect(page.locator('#seconds')).toBeVisible();
    if (view === 'sheets') await expect(page.locator('.pages svg').first()).toBeVisible();
    if (view === 'advanced') {
        await page.locator('zm-advanced-view button').first().click();
        await expect(page.locator('zm-log-list li').first()).toBeVisible();
    }
}

for (const colorScheme of ['light', 'dark'] as const) {
    for (const width of [360, 1280]) {
        test.describe(`${colorScheme}, ${width} pixels wide`, () => {
            test.use({ colorScheme, viewport: { width, height: 800 } });

            test('no view has anything that axe complains about, or needs sideways scrolling', async ({ page, demo }) => {
                await demo.api('clear_logfile');
                await store(demo);
                for (const view of views) {
                    await open(page, demo, view);
                    await ready(page, view);
                    expect(await violations(page), view).toEqual([]);
                    const over = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
                    expect(over, `${view} sticks out`).toBeLessThanOrEqual(0);
                }
            });

            // Once each is enough of what does not depend on the other.
            if ((colorScheme === 'light') === (width === 1280)) return;

            test('nor have they with errors, questions and things not saved', async ({ page, demo }) => {
                await demo.api('clear_logfile');
                await store(demo);
                await open(page, demo, 'settings');
                await page.getByLabel('Seconds until the alert').fill('x');
                await page.getByLabel('Dictionary').selectOption('4x4');
                await page.getByRole('button', { name: 'Save', exact: true }).click();
                await expect(page.locator('zm-save-bar .note.bad')).toBeVisible();
                expect(await violations(page)).toEqual([]);
                await page.getByRole('link', { name: 'Live view' }).click();
                await page.getByLabel('Corner 1, percent from the left').fill('200');
                await page.getByLabel('Corner 1, percent from the left').blur();
                await page.getByRole('button', { name: 'Place by clicks' }).click();
                await page.getByRole('button', { name: 'Pause' }).click();
                expect(await violations(page)).toEqual([]);
                await page.getByRole('link', { name: 'Advanced' }).click();
                await page.getByRole('button', { name: 'View Log' }).click();
                await page.getByRole('button', { name: 'Clear log' }).click();
                await expect(page.getByRole('dialog')).toBeVisible();
                expect(await violations(page)).toEqual([]);
                await page.getByRole('button', { name: 'Cancel' }).click();
                await page.route('**/zerith_markers.cgi*', (route) => route.abort());
                await expect(page.locator('#lost')).toBeVisible();
                expect(await violations(page)).toEqual([]);
            });
        });
    }
}

test('Everything is done with the keyboard alone', async ({ page, demo }) => {
    await store(demo);
    await open(page, demo);
    await expect(page.locator('[data-corner="0"]')).toBeVisible();
    /** The element that has the focus, however deep. */
    const focused = () =>
        page.evaluate(() => {
            let element = document.activeElement;
            while (element?.shadowRoot?.activeElement) element = element.shadowRoot.activeElement;
            return `${element?.getAttribute('aria-label') ?? ''}|${element?.textContent?.trim() ?? ''}|${element?.id ?? ''}`;
        });
    const tabTo = async (words: string) => {
        for (let i = 0; i < 60; ++i) {
            await page.keyboard.press('Tab');
            if ((await focused()).includes(words)) return;
        }
        throw new Error(`Tab does not reach ${words}`);
    };
    await page.keyboard.press('Tab');
    expect(await focused()).toContain('Skip to the content');
    await page.keyboard.press('Enter');
    await tabTo('Corner 2:');
    await page.keyboard.press('Shift+ArrowRight');
    await tabTo('Save');
    await page.keyboard.press('Enter');
    await expect(page.locator('zm-save-bar .note.good')).toHaveText('Saved: area.');
    expect(demo.area()[2]).toBe(1536);

    await page.evaluate(() => (document.activeElement as HTMLElement | null)?.blur());
    await page.goto(`${demo.page}#settings`);
    await expect(page.locator('#seconds')).toBeVisible();
    await tabTo('|seconds');
    await page.keyboard.press('Control+A');
    await page.keyboard.type('21');
    await tabTo('|dictionary');
    await page.keyboard.press('7');
    await tabTo('Save');
    await page.keyboard.press('Enter');
    await expect(page.locator('zm-save-bar .note.good')).toHaveText('Saved: seconds and dictionary.');
    expect(demo.parameter('MarkersSeconds')).toBe('21');
    expect(demo.parameter('SelectedDictionary')).toBe('7x7');
});

test('Two pages open at once see what the other one saves, and nothing is replaced unasked', async ({ page, demo, browser }) => {
    await store(demo);
    await open(page, demo, 'settings');
    const elsewhere = await (await browser.newContext({ locale: 'en-GB' })).newPage();
    await open(elsewhere, demo, 'settings');

    // Different settings: both are kept.
    await page.getByLabel('Seconds until the alert').fill('30');
    await elsewhere.getByLabel('Dictionary').selectOption('6x6');
    await elsewhere.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(elsewhere.locator('zm-save-bar .note.good')).toBeVisible();
    await page.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(page.locator('zm-save-bar .note.good')).toHaveText('Saved: seconds.');
    expect(demo.parameter('SelectedDictionary')).toBe('6x6');
    expect(demo.parameter('MarkersSeconds')).toBe('30');
    await expect(page.getByLabel('Dictionary')).toHaveValue('6x6');

    // The same setting: the second one is asked.
    await elsewhere.getByLabel('Seconds until the alert').fill('40');
    await page.getByLabel('Seconds until the alert').fill('50');
    await page.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(page.locator('zm-save-bar .note.good')).toHaveText('Saved: seconds.');
    await elsewhere.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(elsewhere.locator('zm-save-bar .note.warn')).toContainText('Somebody else has just changed: seconds.');
    expect(demo.parameter('MarkersSeconds')).toBe('50');
    await elsewhere.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(elsewhere.locator('zm-save-bar .note.good')).toHaveText('Saved: seconds.');
    expect(demo.parameter('MarkersSeconds')).toBe('40');
    await elsewhere.context().close();
});

test('A second page of the same browser shows at once what the first one saves', async ({ page, demo }) => {
    await store(demo);
    await open(page, demo, 'settings');
    const second = await page.context().newPage();
    await open(second, demo, 'settings');
    await page.getByLabel('Seconds until the alert').fill('33');
    await page.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(second.getByLabel('Seconds until the alert')).toHaveValue('33');
    await expect(second.getByRole('button', { name: 'Save', exact: true })).toHaveCount(0);
});

test('The language is chosen, kept, and follows the browser before', async ({ page, demo, browser }) => {
    await open(page, demo);
    await page.getByLabel('Language').selectOption('de');
    await expect(page.getByRole('link', { name: 'Einstellungen' })).toBeVisible();
    await expect(page.locator('html')).toHaveAttribute('lang', 'de');
    await page.reload();
    await expect(page.getByRole('link', { name: 'Einstellungen' })).toBeVisible();
    const spanish = await (await browser.newContext({ locale: 'es-MX' })).newPage();
    await open(spanish, demo);
    await expect(spanish.getByRole('link', { name: 'Ajustes' })).toBeVisible();
    await spanish.context().close();
});

for (const locale of ['de-DE', 'es-ES']) {
    test.describe(`${locale}, 360 pixels wide`, () => {
        test.use({ locale, viewport: { width: 360, height: 740 } });

        test('no view sticks out', async ({ page, demo }) => {
            await store(demo);
            for (const view of views) {
                await open(page, demo, view);
                await ready(page, view);
                const over = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
                expect(over, view).toBeLessThanOrEqual(0);
            }
        });
    });
}

test.describe('A camera that stands upright', () => {
    const stack = new Stack([], '[camera]\nrotation=90\n');
    test.beforeAll(() => stack.start());
    test.afterAll(() => stack.remove());

    test('is shown upright, and its area is drawn and stored so', async ({ page }) => {
        await open(page, stack);
        const picture = page.locator('zm-picture img');
        await expect(picture).toBeVisible();
        const size = await picture.evaluate((image: HTMLImageElement) => [image.naturalWidth, image.naturalHeight]);
        expect(size).toEqual([720, 1280]);
        const box = await page.locator('zm-picture .frame').boundingBox();
        expect((box?.height ?? 0) / (box?.width ?? 1)).toBeCloseTo(16 / 9, 1);
        await page.getByLabel('Corner 1, percent from the left').fill('10');
        await page.getByLabel('Corner 1, percent from the left').blur();
        await page.getByLabel('Corner 1, percent from the top').fill('90');
        await page.getByLabel('Corner 1, percent from the top').blur();
        await page.getByRole('button', { name: 'Put the corners in order' }).click();
        await page.getByRole('button', { name: 'Save', exact: true }).click();
        await expect(page.locator('zm-save-bar .note.good')).toHaveText('Saved: area.');
        // The analysed picture is 1080 wide and 1920 high.
        expect(stack.area()).toContain(108);
        expect(stack.area()).toContain(1728);
        await page.reload();
        const values = async () =>
            page.locator('zm-area-fields input').evaluateAll((fields) => fields.map((f) => (f as HTMLInputElement).value));
        await expect.poll(values).toContain('10');
        expect(await values()).toContain('90');
        const drawn = await pixels(page, stack, { x: 0, y: 0, width: 100, height: 100 });
        expect(drawn.height).toBe(1280);
        expect(drawn.green + drawn.yellow + drawn.red).toBeGreaterThan(100);
    });
});

test.describe('An agreement that is not accepted yet', () => {
    const stack = new Stack(['--factory']);
    test.beforeAll(() => stack.start());
    test.afterAll(() => stack.remove());

    for (const colorScheme of ['light', 'dark'] as const) {
        test(`gives axe nothing to complain about (${colorScheme})`, async ({ page }) => {
            await page.emulateMedia({ colorScheme });
            await page.setViewportSize({ width: 360, height: 740 });
            await open(page, stack);
            await expect(page.getByRole('button', { name: 'Accept and begin' })).toBeVisible();
            expect(await violations(page)).toEqual([]);
        });
    }

    test('is accepted on one page and gone on the other', async ({ page }) => {
        await open(page, stack);
        const second = await page.context().newPage();
        await open(second, stack);
        await expect(second.getByRole('button', { name: 'Accept and begin' })).toBeVisible();
        await page.getByRole('button', { name: 'Accept and begin' }).click();
        await expect(page.locator('#proposals')).toBeVisible();
        await expect(second.locator('#proposals')).toBeVisible();
        await page.evaluate(axe);
        expect(await violations(page)).toEqual([]);
    });
});

test('"More in the help" leads to what it is about', async ({ page, demo }) => {
    await store(demo);
    for (const [view, title] of [
        ['settings', 'What is a dictionary?'],
        ['sheets', 'How large must a marker be?'],
    ] as const) {
        await open(page, demo, view);
        await ready(page, view);
        await page.getByRole('link', { name: 'More in the help' }).click();
        const heading = page.getByRole('heading', { name: title });
        await expect(heading).toBeInViewport();
        await expect(heading).toBeFocused();
    }
});
