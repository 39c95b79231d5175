import { expect, open, Stack, store, test } from './stack';

test('The status follows the camera from second to second', async ({ page, demo }) => {
    await store(demo);
    await open(page, demo);
    await expect(page.locator('[data-state=running]')).toBeVisible({ timeout: 20_000 });
    await expect(page.locator('#code')).toHaveText('200');
    // Without any marker of this dictionary in view the alert starts after a second.
    await store(demo, { SelectedDictionary: '4x4', Markers_Present: '0', Markers_Secs: '0' });
    await expect(page.locator('[data-state=alert]')).toBeVisible();
    await expect(page).toHaveTitle('Alert – Zerith Markers');
    await store(demo);
    await expect(page.locator('[data-state=running]')).toBeVisible({ timeout: 20_000 });
});

test('The alert by hand is confirmed, sent as an event, and told apart from the automatic one', async ({ page, demo }) => {
    await store(demo, { Markers_Secs: '80000' });
    await open(page, demo);
    const before = demo.alerts().length;
    await page.getByRole('button', { name: 'Switch alert on' }).click();
    await expect(page.locator('zm-manual .note')).toHaveText(/^Done at \d\d:\d\d:\d\d: the camera was told that the alert is on\.$/);
    await expect.poll(() => demo.alerts().slice(before)).toEqual([true]);
    await expect(page.locator('[data-state=running]')).toBeVisible();
    await expect(page.locator('zm-manual')).toContainText('independent of the automatic alert');
    await page.getByRole('button', { name: 'Switch alert off' }).click();
    await expect(page.locator('zm-manual .note')).toContainText('the camera was told that the alert is off');
    await expect.poll(() => demo.alerts().slice(before)).toEqual([true, false]);
});

test('The picture is paused and goes on', async ({ page, demo }) => {
    await open(page, demo);
    const picture = page.locator('zm-picture img');
    const source = () => picture.getAttribute('src');
    await expect(picture).toBeVisible();
    const first = await source();
    await expect.poll(source).not.toBe(first);
    await page.getByRole('button', { name: 'Pause' }).click();
    await expect(page.locator('zm-picture .why')).toHaveText('The picture is paused.');
    await page.getByRole('button', { name: 'Go on' }).click();
    await expect(page.locator('zm-picture .why')).toHaveCount(0);
});

test('A picture that cannot be had is told with its reason', async ({ page, demo }) => {
    let answer: { status: number; contentType: string; body: string } = { status: 503, contentType: 'text/plain', body: 'busy' };
    await page.route('**/mjpg/video.cgi*', (route) => route.fulfill(answer));
    await open(page, demo);
    await expect(page.locator('.why')).toHaveText("There is no picture. The camera's answer was an error (HTTP 503).");
    answer = { status: 401, contentType: 'text/html', body: '<html></html>' };
    await expect(page.locator('.why')).toHaveText('There is no picture. The camera refuses access (HTTP 401).');
    answer = { status: 200, contentType: 'text/html', body: '<html>login</html>' };
    await expect(page.locator('.why')).toHaveText('There is no picture. What the camera sends is no picture.');
    answer = { status: 200, contentType: 'multipart/x-mixed-replace; boundary=b', body: '--b\r\n\r\n<html>\r\n--b\r\n' };
    await expect(page.locator('.why')).toContainText('What the camera sends is no picture.');
    await page.unroute('**/mjpg/video.cgi*');
    await expect(page.locator('.why')).toHaveCount(0);
});

test.describe('When the connection is lost', () => {
    const stack = new Stack();
    test.beforeAll(() => stack.start());
    test.afterAll(() => stack.remove());

    test('a camera that hangs is noticed, told in picture and status, and found again', async ({ page }) => {
        await open(page, stack);
        await expect(page.locator('zm-picture img')).toBeVisible();
        const process_ = stack.processId();
        process.kill(process_, 'SIGSTOP');
        try {
            await expect(page.locator('.why')).toHaveText(/The picture stands still since \d\d:\d\d:\d\d\. The camera sends no new pictures\./);
            await expect(page.locator('#badge')).toHaveText('No connection');
            await expect(page.locator('#lost')).toContainText('The answer did not come in time.');
        } finally {
            process.kill(process_, 'SIGCONT');
        }
        await expect(page.locator('#lost')).toHaveCount(0);
        await expect(page.locator('.why')).toHaveCount(0);
        await expect(page.locator('#badge')).toHaveText(/Running|Alert/);
    });

    test('a camera that goes away and comes back is found again, and no change is lost', async ({ page }) => {
        await open(page, stack, 'settings');
        await page.getByLabel('Seconds until the alert').fill('12');
        await stack.stop();
        await expect(page.locator('#badge')).toHaveText('No connection');
        await expect(page.locator('#lost')).toContainText('The camera does not answer. The page keeps trying.');
        await page.getByRole('button', { name: 'Save', exact: true }).click();
        await expect(page.locator('zm-save-bar .note.bad')).toContainText('The settings could not be saved. The camera does not answer.');
        await page.getByRole('link', { name: 'Live view' }).click();
        await expect(page.locator('.why')).toContainText('The camera cannot be reached.');
        await expect(page.getByRole('button', { name: 'Switch alert on' })).toBeDisabled();
        await stack.start();
        await expect(page.locator('#lost')).toHaveCount(0);
        await expect(page.locator('.why')).toHaveCount(0);
        await page.getByRole('link', { name: 'Settings' }).click();
        await expect(page.getByLabel('Seconds until the alert')).toHaveValue('12');
        await page.getByRole('button', { name: 'Save', exact: true }).click();
        await expect(page.locator('zm-save-bar .note.good')).toHaveText('Saved: seconds.');
        expect(stack.parameter('MarkersSeconds')).toBe('12');
    });
});
