import type { Page } from '@playwright/test';
import { expect, open, save, store, test } from './stack';

test.beforeEach(async ({ page, demo }) => {
    await store(demo);
    await open(page, demo);
    await expect(corner(page, 1)).toBeVisible();
});

function corner(page: Page, n: number) {
    return page.locator(`[data-corner="${n - 1}"]`);
}

/** All positions as the fields show them. */
async function shown(page: Page): Promise<number[]> {
    const values: number[] = [];
    for (const n of [1, 2, 3, 4]) {
        for (const side of ['left', 'top']) {
            values.push(Number(await page.getByLabel(`Corner ${n}, percent from the ${side}`).inputValue()));
        }
    }
    return values;
}

/** A place in the picture, in percent, as a place on the screen. */
async function place(page: Page, x: number, y: number): Promise<{ x: number; y: number }> {
    const box = await page.locator('zm-area-drawing svg').boundingBox();
    if (box === null) throw new Error('no picture');
    return { x: box.x + (x * box.width) / 100, y: box.y + (y * box.height) / 100 };
}

async function drag(page: Page, from: readonly [number, number], to: readonly [number, number]): Promise<void> {
    const start = await place(page, ...from);
    const end = await place(page, ...to);
    await page.mouse.move(start.x, start.y);
    await page.mouse.down();
    await page.mouse.move((start.x + end.x) / 2, (start.y + end.y) / 2);
    await page.mouse.move(end.x, end.y);
    await page.mouse.up();
}

async function type(page: Page, label: string, value: string): Promise<void> {
    await page.getByLabel(label).fill(value);
    await page.getByLabel(label).blur();
}

test('A corner is dragged with the mouse and arrives in the parameter file', async ({ page, demo }) => {
    await drag(page, [25, 25], [10, 15]);
    expect(await shown(page)).toEqual([10, 15, 75, 25, 75, 75, 25, 75]);
    await save(page);
    expect(demo.area()).toEqual([192, 162, 1440, 270, 1440, 810, 480, 810]);
    await page.reload();
    await expect.poll(() => shown(page)).toEqual([10, 15, 75, 25, 75, 75, 25, 75]);
});

test.describe('On a touch screen', () => {
    test.use({ hasTouch: true });

    test('a corner is dragged with a finger', async ({ page }) => {
        const start = await place(page, 75, 75);
        const end = await place(page, 90, 85);
        const session = await page.context().newCDPSession(page);
        const touch = (type: 'touchStart' | 'touchMove' | 'touchEnd', touchPoints: { x: number; y: number }[]) =>
            session.send('Input.dispatchTouchEvent', { type, touchPoints });
        await touch('touchStart', [start]);
        await touch('touchMove', [{ x: (start.x + end.x) / 2, y: (start.y + end.y) / 2 }]);
        await touch('touchMove', [end]);
        await touch('touchEnd', []);
        expect(await shown(page)).toEqual([25, 25, 75, 25, 90, 85, 25, 75]);
    });
});

test('The whole area is dragged and stops at the edge', async ({ page }) => {
    await drag(page, [50, 50], [60, 40]);
    expect(await shown(page)).toEqual([35, 15, 85, 15, 85, 65, 35, 65]);
    await drag(page, [60, 40], [60, 5]);
    expect((await shown(page))[1]).toBe(0);
    expect((await shown(page))[5]).toBe(50);
});

test('Corners are placed by clicks, one after the other', async ({ page }) => {
    await page.getByRole('button', { name: 'Place by clicks' }).click();
    for (const [i, [x, y]] of ([[20, 10], [80, 20], [70, 90], [30, 80]] as const).entries()) {
        await expect(page.locator('zm-area-fields')).toContainText(`Click where corner ${i + 1} of 4 is to be.`);
        const at = await place(page, x, y);
        await page.mouse.click(at.x, at.y);
    }
    expect(await shown(page)).toEqual([20, 10, 80, 20, 70, 90, 30, 80]);
    await expect(page.getByRole('button', { name: 'Place by clicks' })).toHaveAttribute('aria-pressed', 'false');
});

test('Corners and the whole area move with the arrow keys', async ({ page }) => {
    await corner(page, 1).focus();
    await page.keyboard.press('ArrowLeft');
    await page.keyboard.press('Shift+ArrowUp');
    expect((await shown(page)).slice(0, 2)).toEqual([24, 20]);
    for (let i = 0; i < 60; ++i) await page.keyboard.press('ArrowLeft');
    expect((await shown(page))[0]).toBe(0);
    await page.getByRole('button', { name: 'Whole area' }).focus();
    await page.keyboard.press('Shift+ArrowDown');
    expect((await shown(page)).filter((_, i) => i % 2 === 1)).toEqual([25, 30, 80, 80]);
});

test('Every change of the area is undone, and reset brings back the stored one', async ({ page }) => {
    await drag(page, [25, 25], [10, 10]);
    await type(page, 'Corner 3, percent from the left', '95');
    await corner(page, 2).focus();
    await page.keyboard.press('ArrowUp');
    const undo = page.getByRole('button', { name: 'Undo' });
    await undo.click();
    expect(await shown(page)).toEqual([10, 10, 75, 25, 95, 75, 25, 75]);
    await undo.click();
    expect(await shown(page)).toEqual([10, 10, 75, 25, 75, 75, 25, 75]);
    await page.getByRole('button', { name: 'Reset' }).click();
    expect(await shown(page)).toEqual([25, 25, 75, 25, 75, 75, 25, 75]);
    await undo.click();
    await undo.click();
    expect(await shown(page)).toEqual([25, 25, 75, 25, 75, 75, 25, 75]);
    await expect(undo).toBeDisabled();
});

for (const [typed, reason] of [['', 'whole number from 0 to 100'], ['101', 'whole number from 0 to 100'], ['-1', 'whole number'], ['12.5', 'whole number'], ['x', 'whole number']] as const) {
    test(`A position of ${JSON.stringify(typed)} is refused with a reason`, async ({ page, demo }) => {
        await type(page, 'Corner 2, percent from the left', typed);
        await expect(page.locator('zm-area-fields .error')).toContainText(reason);
        await page.getByRole('button', { name: 'Save', exact: true }).click();
        await expect(page.locator('zm-save-bar .note.bad')).toContainText('Something is wrong with: area');
        expect(demo.area()).toEqual([480, 270, 1440, 270, 1440, 810, 480, 810]);
    });
}

test('A position is typed as slowly as one likes, while the status is refreshed', async ({ page }) => {
    const field = page.getByLabel('Corner 2, percent from the top');
    await field.focus();
    await page.keyboard.press('Control+A');
    await page.keyboard.press('1');
    // Longer than from one refresh to the next.
    await page.waitForResponse('**/*action=get_status_code');
    await page.waitForResponse('**/*action=get_status_code');
    await expect(field).toHaveValue('1');
    await page.keyboard.press('2');
    await page.keyboard.press('Tab');
    expect((await shown(page)).slice(2, 4)).toEqual([75, 12]);
});

test('Crossing lines are pointed out, not saved, and put in order', async ({ page, demo }) => {
    await type(page, 'Corner 1, percent from the left', '90');
    await type(page, 'Corner 2, percent from the left', '10');
    await expect(page.locator('zm-area-fields .error')).toContainText('cross or touch');
    await page.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(page.locator('zm-save-bar .note.bad')).toContainText('Something is wrong with: area');
    expect(demo.area()[0]).toBe(480);
    await page.getByRole('button', { name: 'Put the corners in order' }).click();
    await expect(page.locator('zm-area-fields .error')).toHaveCount(0);
    await save(page);
});

test('An area without size is pointed out', async ({ page }) => {
    for (const n of [1, 2, 3, 4]) await type(page, `Corner ${n}, percent from the left`, '40');
    await expect(page.locator('zm-area-fields .error')).toContainText('The area has no size');
});

test('What was saved is shown, save after save, without creeping', async ({ page, demo }) => {
    const wanted = [33, 17, 77, 18, 68, 93, 34, 82];
    for (const [i, value] of wanted.entries()) {
        await type(page, `Corner ${Math.floor(i / 2) + 1}, percent from the ${i % 2 === 0 ? 'left' : 'top'}`, String(value));
    }
    await save(page);
    const stored = demo.area();
    await page.reload();
    await expect.poll(() => shown(page)).toEqual(wanted);
    for (const seconds of ['4', '5', '6']) {
        await page.getByRole('link', { name: 'Settings' }).click();
        await page.getByLabel('Seconds until the alert').fill(seconds);
        await save(page);
        await page.reload();
    }
    expect(demo.area()).toEqual(stored);
    await page.getByRole('link', { name: 'Live view' }).click();
    await expect.poll(() => shown(page)).toEqual(wanted);
});

test('A position that the camera cannot keep is replaced visibly', async ({ page }) => {
    await type(page, 'Corner 1, percent from the left', '26');
    await expect(page.locator('zm-area-fields')).toContainText('The camera cannot keep 26\u00a0% and gets 27\u00a0%.');
    expect((await shown(page))[0]).toBe(27);
});
