import { expect, open, save, Stack, test } from './stack';

test.describe('A camera that was never set up', () => {
    const stack = new Stack(['--factory']);
    test.beforeAll(() => stack.start());
    test.afterAll(() => stack.remove());

    test('leads a new user from the first start to the first alert', async ({ page }) => {
        await open(page, stack);
        await expect(page.locator('#badge')).toHaveText('Agreement not accepted');
        await expect(page.getByRole('heading', { name: 'End-user agreement' })).toBeVisible();
        await expect(page.getByRole('button', { name: 'Save', exact: true })).toHaveCount(0);
        expect(stack.parameter('EulaAccepted')).toBe('0');

        await page.getByRole('button', { name: 'Accept and begin' }).click();
        await expect(page.locator('#proposals')).toBeVisible();
        expect(stack.parameter('EulaAccepted')).toBe('true');
        // The agreement was stored and nothing else.
        expect(stack.parameter('SelectedDictionary')).toBe('0');
        expect(stack.parameter('MarkersSeconds')).toBe('0');
        expect(stack.area()).toEqual([0, 0, 0, 0, 0, 0, 0, 0]);

        await expect(page.locator('zm-area-fields .chip')).toHaveText('Proposal, not saved');
        await expect(page.getByLabel('Corner 1, percent from the left')).toHaveValue('25');
        await expect(page.locator('zm-save-bar')).toContainText('Proposed: seconds, dictionary');
        await page.getByRole('link', { name: 'Settings' }).click();
        await expect(page.getByLabel('Seconds until the alert')).toHaveValue('5');
        await expect(page.getByLabel('Dictionary')).toHaveValue('5x5');
        await expect(page.getByLabel('Draw on another stream too')).toBeChecked();
        await expect(page.locator('#stream')).toHaveValue('1280x720');

        await page.getByLabel('When a marker stays too long').check();
        await page.getByLabel('Seconds until the alert').fill('2');
        await save(page);
        await expect(page.locator('zm-save-bar .note.good')).toHaveText(/Saved: kind of alert, seconds, dictionary, .* and area\./);
        await expect(page.locator('#proposals')).toHaveCount(0);
        expect(stack.parameter('IsRequirePresent')).toBe('true');
        expect(stack.parameter('MarkersSeconds')).toBe('2');
        expect(stack.parameter('SelectedDictionary')).toBe('5x5');
        expect(stack.parameter('DetectionOverlaysOn')).toBe('true');
        expect(stack.parameter('SelectedDetectionOverlay')).toBe('1280x720');
        expect(stack.area()).toEqual([480, 270, 1440, 270, 1440, 810, 480, 810]);

        await page.getByRole('link', { name: 'Live view' }).click();
        await expect(page.locator('zm-picture img')).toBeVisible();
        await expect(page.locator('[data-state=alert]')).toBeVisible({ timeout: 45_000 });
        await expect(page.locator('#code')).toHaveText('502');
        await expect(page.locator('#text')).toHaveText('Marker event sent');
        await expect(page.locator('#badge')).toHaveText('Alert');
        expect(stack.alerts()).toContain(true);
    });
});
