import { readFileSync } from 'node:fs';
import { expect, open, pixels, save, store, test } from './stack';

/** Around the marker on the wall, which is outside the area of the demonstration and never moves. */
const wall = { x: 13, y: 4, width: 20, height: 18 };

test.beforeEach(async ({ demo }) => store(demo));

test('Every setting arrives in the parameter file, and a reload shows what is stored', async ({ page, demo }) => {
    await open(page, demo, 'settings');
    const { parameter } = { parameter: (name: string) => demo.parameter(name) };

    await page.getByLabel('When the markers are missing too long').check();
    await expect(page.locator('#sentence')).toContainText('while no marker has been inside the area for more than 3 seconds');
    await expect(page.locator('.chip')).toHaveText('Not saved');
    await save(page);
    await expect(page.locator('zm-save-bar .note.good')).toHaveText('Saved: kind of alert.');
    expect(parameter('IsRequirePresent')).toBe('false');

    await page.getByLabel('Seconds until the alert').fill('17');
    await save(page);
    expect(parameter('MarkersSeconds')).toBe('17');

    await page.getByLabel('Dictionary').selectOption('7x7');
    await save(page);
    expect(parameter('SelectedDictionary')).toBe('7x7');

    await page.getByLabel('Find markers outside the area too').uncheck();
    await save(page);
    expect(parameter('DisplayNonAOI')).toBe('false');

    await page.locator('#stream').selectOption('640x360');
    await save(page);
    expect(parameter('SelectedDetectionOverlay')).toBe('640x360');

    await page.getByLabel('Draw on another stream too').uncheck();
    await expect(page.locator('#stream')).toBeDisabled();
    await save(page);
    expect(parameter('DetectionOverlaysOn')).toBe('false');

    await page.reload();
    await expect(page.getByLabel('When the markers are missing too long')).toBeChecked();
    await expect(page.getByLabel('Seconds until the alert')).toHaveValue('17');
    await expect(page.getByLabel('Dictionary')).toHaveValue('7x7');
    await expect(page.getByLabel('Find markers outside the area too')).not.toBeChecked();
    await expect(page.getByLabel('Draw on another stream too')).not.toBeChecked();
    await expect(page.locator('#stream')).toHaveValue('640x360');
    await expect(page.getByRole('button', { name: 'Save', exact: true })).toHaveCount(0);
});

test('Every setting shows in the picture', async ({ page, demo }) => {
    await open(page, demo, 'settings');
    const seen = async () => pixels(page, demo, wall);
    /** Some pixels of the scene are coloured by chance. */
    const drawn = async () => {
        const { green, yellow, red } = await seen();
        return green + yellow + red;
    };

    await expect.poll(async () => (await seen()).green).toBeGreaterThan(100);
    await page.getByLabel('When the markers are missing too long').check();
    await save(page);
    await expect.poll(async () => (await seen()).yellow + (await seen()).red).toBeGreaterThan(100);
    await expect.poll(async () => (await seen()).green).toBeLessThan(30);

    await page.getByLabel('When a marker stays too long').check();
    await page.getByLabel('Find markers outside the area too').uncheck();
    await save(page);
    await expect.poll(drawn).toBeLessThan(30);

    await page.getByLabel('Find markers outside the area too').check();
    await save(page);
    await expect.poll(async () => (await seen()).green).toBeGreaterThan(100);

    await page.getByLabel('Dictionary').selectOption('6x6');
    await save(page);
    await expect.poll(drawn).toBeLessThan(30);
    await page.getByLabel('Dictionary').selectOption('5x5');
    await save(page);

    // The marker on the wall inside the area, for longer than the time: red.
    await page.getByLabel('Seconds until the alert').fill('1');
    await page.getByRole('link', { name: 'Live view' }).click();
    for (const [label, value] of [['Corner 1, percent from the left', '5'], ['Corner 1, percent from the top', '0'], ['Corner 4, percent from the left', '5'], ['Corner 2, percent from the top', '0']] as const) {
        await page.getByLabel(label).fill(value);
        await page.getByLabel(label).blur();
    }
    await save(page);
    await expect.poll(async () => (await seen()).red, { timeout: 40_000 }).toBeGreaterThan(100);
});

test('Overlays are drawn on the stream that is chosen, and on no other', async ({ page, demo }) => {
    await open(page, demo, 'settings');
    const small = async () => (await pixels(page, demo, wall, 'resolution=640x360')).green;
    await page.locator('#stream').selectOption('640x360');
    await save(page);
    await expect.poll(small).toBeGreaterThan(40);
    await page.getByLabel('Draw on another stream too').uncheck();
    await save(page);
    await expect.poll(small).toBeLessThan(10);
});

for (const [typed, reason] of [
    ['', 'Enter a number.'],
    ['5.5', 'Enter a whole number, in digits only.'],
    ['5 s', 'Enter a whole number, in digits only.'],
    ['-3', 'The number must not be negative.'],
    ['86401', 'At most 86400 seconds, which is a day.'],
    ['99999999999', 'At most 86400 seconds, which is a day.'],
    ['<b>5</b>', 'Enter a whole number, in digits only.'],
] as const) {
    test(`Seconds of ${JSON.stringify(typed)} are refused beside the field`, async ({ page, demo }) => {
        await open(page, demo, 'settings');
        const field = page.getByLabel('Seconds until the alert');
        await field.fill(typed);
        await expect(page.locator('#seconds-problem')).toHaveText(reason);
        await expect(field).toHaveAttribute('aria-invalid', 'true');
        await page.getByRole('button', { name: 'Save', exact: true }).click();
        await expect(page.locator('zm-save-bar .note.bad')).toHaveText('Not saved. Something is wrong with: seconds.');
        expect(demo.parameter('MarkersSeconds')).toBe('3');
    });
}

test('Leaving with unsaved changes asks, leaving without does not', async ({ page, demo }) => {
    await open(page, demo, 'settings');
    let asked = 0;
    page.on('dialog', (dialog) => {
        ++asked;
        void dialog.accept();
    });
    await page.getByLabel('Seconds until the alert').fill('9');
    await page.reload();
    expect(asked).toBe(1);
    await expect(page.getByLabel('Seconds until the alert')).toHaveValue('3');
    await page.reload();
    expect(asked).toBe(1);
});

test('Discarding brings back what is stored', async ({ page, demo }) => {
    await open(page, demo, 'settings');
    await page.getByLabel('Seconds until the alert').fill('9');
    await page.getByLabel('Dictionary').selectOption('4x4');
    await page.getByRole('button', { name: 'Discard' }).click();
    await expect(page.getByLabel('Seconds until the alert')).toHaveValue('3');
    await expect(page.getByLabel('Dictionary')).toHaveValue('5x5');
    await expect(page.getByRole('button', { name: 'Save', exact: true })).toHaveCount(0);
});

test('Settings go into a file and come back from it', async ({ page, demo }) => {
    await open(page, demo, 'advanced');
    const waiting = page.waitForEvent('download');
    await page.getByRole('button', { name: 'Export settings' }).click();
    const file = await (await waiting).path();
    const text = readFileSync(file, 'utf8');
    expect(JSON.parse(text)).toMatchObject({ format: 'zerith-markers-settings', version: 1, settings: { seconds: 3, dictionary: '5x5' } });

    await page.locator('#file').setInputFiles({ name: 'other.json', mimeType: 'application/json', buffer: Buffer.from(text.replace('"seconds": 3', '"seconds": 44')) });
    await expect(page.locator('div.note.good')).toContainText('other.json was read. Nothing is saved yet');
    expect(demo.parameter('MarkersSeconds')).toBe('3');
    await save(page);
    expect(demo.parameter('MarkersSeconds')).toBe('44');
});

test('A file that is wrong is reported and not taken', async ({ page, demo }) => {
    await open(page, demo, 'advanced');
    const give = async (text: string) =>
        page.locator('#file').setInputFiles({ name: '<i>x</i>.json', mimeType: 'application/json', buffer: Buffer.from(text) });
    await give('no json <script>');
    await expect(page.locator('zm-advanced-view .note.bad')).toContainText('<i>x</i>.json was not taken. One thing is wrong: This is no JSON file.');
    await give('{"format":"zerith-markers-settings","version":1,"settings":{"seconds":"<b>","dictionary":"9x9"}}');
    await expect(page.locator('zm-advanced-view .note.bad')).toContainText('settings.seconds: This must be a whole number from 0 to 86400.');
    await expect(page.locator('zm-advanced-view .note.bad')).toContainText('settings.area: This is missing.');
    await expect(page.getByRole('button', { name: 'Save', exact: true })).toHaveCount(0);
});
