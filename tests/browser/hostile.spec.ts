import { expect, open, save, Stack, store, test } from './stack';

const markup = '<img src=x onerror="document.title=1"><script>alert(1)</script>';

test('A log line that holds markup is shown as it is', async ({ page, demo }) => {
    await demo.api('clear_logfile');
    await store(demo);
    // The service takes a text up to the next bracket, so this is as much markup as can come in that way.
    await demo.api('post_submit_log', '<root><log_severity>error</log_severity><log_entry>&lt;b&gt; "><i </log_entry></root>');
    await demo.api(`nonsense${encodeURIComponent(markup)}`).catch(() => '');
    await open(page, demo, 'advanced');
    await page.getByRole('button', { name: 'View Log' }).click();
    const line = page.locator('li.error', { hasText: 'Invalid fastcgi webservice action requested' });
    await expect(line).toContainText(markup);
    await expect(page.locator('li.error', { hasText: '&lt;b&gt; ">' })).toBeVisible();
    await expect(page.locator('zm-log-list img, zm-log-list script, zm-log-list i')).toHaveCount(0);
    await expect(page).not.toHaveTitle('1');
});

test.describe('Stored settings that hold markup', () => {
    const stack = new Stack([
        '--set', `SelectedDictionary=</SelectedDictionary><Eula>0</Eula>${markup}`,
        '--set', `SelectedDetectionOverlay=</app>${markup}`,
        '--set', 'DetectionOverlaysOn=false',
        '--set', 'MarkersSeconds=-7',
    ]);
    test.beforeAll(() => stack.start());
    test.afterAll(() => stack.remove());

    test('are shown as text, change nothing, and are mended by saving', async ({ page }) => {
        await open(page, stack, 'settings');
        await expect(page.locator('#unreadable')).toHaveCount(0);
        await expect(page.locator('.note.warn', { hasText: 'does not exist' })).toContainText(`</SelectedDictionary><Eula>0</Eula>${markup}`);
        await expect(page.getByLabel('Dictionary')).toHaveValue('5x5');
        await expect(page.getByLabel('Seconds until the alert')).toHaveValue('5');
        await expect(page.locator('zm-settings-view img, zm-settings-view script')).toHaveCount(0);
        await expect(page).not.toHaveTitle('1');
        await save(page);
        expect(stack.parameter('SelectedDictionary')).toBe('5x5');
        expect(stack.parameter('SelectedDetectionOverlay')).toBe('1280x720');
        expect(stack.parameter('MarkersSeconds')).toBe('5');
    });
});

test.describe('Answers that are not the expected ones', () => {
    const html = { status: 200, contentType: 'text/html', body: '<!DOCTYPE html><html><body><h1>Proxy login</h1><script>document.title=1</script></body></html>' };
    const half = '<app><Markers_Secs>5</Markers_Secs><Markers_Pre';

    for (const [name, answer, words] of [
        ['an empty answer', { status: 200, body: '' }, 'The answer was not the expected one.'],
        ['half a document', { status: 200, contentType: 'text/xml', body: half }, 'Only a part of the settings came.'],
        ['a page of a proxy', html, 'Proxy login'],
        ['a refusal', { status: 400, body: 'Invalid action' }, 'The application refused the request. (HTTP 400) It said: “Invalid action”'],
        ['an error', { status: 500, body: '<html>Internal</html>' }, '(HTTP 500)'],
    ] as const) {
        test(`${name} is not taken for settings`, async ({ page, demo }) => {
            await page.route('**/*action=get_all_parameters', (route) => route.fulfill(answer));
            await open(page, demo, 'settings');
            await expect(page.locator('#lost, #unreadable')).toContainText(words);
            await expect(page.getByRole('button', { name: 'Save', exact: true })).toHaveCount(0);
            await expect(page.getByLabel('Seconds until the alert')).toHaveCount(0);
            await page.unroute('**/*action=get_all_parameters');
            await expect(page.getByLabel('Seconds until the alert')).toBeVisible();
        });
    }

    for (const [name, answer, words] of [
        ['a refusal', { status: 400, body: '' }, 'could not be saved. The application refused the request. (HTTP 400)'],
        ['a page of a proxy', html, 'could not be saved. The answer was not the expected one.'],
        ['an error', { status: 502, body: '<html>Bad Gateway</html>' }, 'could not be saved. The application does not answer. (HTTP 502)'],
        ['an empty answer without effect', { status: 200, body: '' }, 'holds something else for: seconds'],
    ] as const) {
        test(`${name} is not taken for a save`, async ({ page, demo }) => {
            await store(demo);
            await page.route('**/*action=set_post_parameters', (route) => route.fulfill(answer));
            await open(page, demo, 'settings');
            await page.getByLabel('Seconds until the alert').fill('8');
            await page.getByRole('button', { name: 'Save', exact: true }).click();
            await expect(page.locator('zm-save-bar .note.bad')).toContainText(words);
            await expect(page.locator('zm-save-bar .note.good')).toHaveCount(0);
            // What was changed is still there, and still marked.
            await expect(page.getByLabel('Seconds until the alert')).toHaveValue('8');
            await expect(page.locator('.chip')).toHaveText('Not saved');
            expect(demo.parameter('MarkersSeconds')).toBe('3');
        });
    }

    test('none of them is taken for a switched alert or a cleared log', async ({ page, demo }) => {
        await page.route('**/*action=manual_markers_alert_on', (route) => route.fulfill(html));
        await page.route('**/*action=clear_logfile', (route) => route.fulfill({ status: 200, body: '' }));
        await open(page, demo);
        await page.getByRole('button', { name: 'Switch alert on' }).click();
        await expect(page.locator('zm-manual .note.bad')).toContainText('The alert was not switched on. The answer was not the expected one.');
        await page.getByRole('link', { name: 'Advanced' }).click();
        await page.getByRole('button', { name: 'View Log' }).click();
        await page.getByRole('button', { name: 'Clear log' }).click();
        await page.getByRole('button', { name: 'Clear', exact: true }).click();
        await expect(page.locator('zm-log-list .note.bad')).toContainText('The answer was not the expected one.');
        await expect(page).not.toHaveTitle('1');
    });

    test('an odd status is told as such, and passes', async ({ page, demo }) => {
        await page.route('**/*action=get_status_code', (route) => route.fulfill(html));
        await open(page, demo);
        await expect(page.locator('#badge')).toHaveText('Unexpected answer');
        await page.unroute('**/*action=get_status_code');
        await expect(page.locator('#badge')).toHaveText(/Running|Alert/);
    });
});
