import { readFileSync } from 'node:fs';
import { expect, open, store, test } from './stack';

async function note(demo: { api(action: string, body?: string): Promise<string> }, severity: string, text: string): Promise<void> {
    await demo.api('post_submit_log', `<root><log_severity>${severity}</log_severity><log_entry>${text}</log_entry></root>`);
}

test('The log is opened, filtered, followed, downloaded and cleared after a question', async ({ page, demo }) => {
    await store(demo);
    await note(demo, 'warning', 'a lamp flickers');
    await note(demo, 'error', 'a lamp is out');
    await note(demo, 'info', 'a lamp burns');
    await open(page, demo, 'advanced');
    await page.getByRole('button', { name: 'View Log' }).click();
    const lines = page.locator('zm-log-list li');

    await page.getByLabel('Search in the log').fill('LAMP');
    await expect(lines).toHaveCount(3);
    await expect(lines.nth(0)).toHaveClass('warning');
    await expect(lines.nth(1)).toHaveClass('error');
    await expect(lines.nth(2)).toHaveText(/^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d info a lamp burns$/);
    await page.getByLabel('Warnings').uncheck();
    await expect(lines).toHaveCount(2);
    await page.getByLabel('Warnings').check();

    await note(demo, 'info', 'a new lamp');
    await expect(lines).toHaveCount(4);
    await expect(lines.last()).toContainText('a new lamp');
    await page.getByLabel('Follow').uncheck();
    await note(demo, 'info', 'an unseen lamp');
    await page.waitForTimeout(3000);
    await expect(lines).toHaveCount(4);

    const waiting = page.waitForEvent('download');
    await page.getByRole('button', { name: 'Download' }).click();
    const file = await waiting;
    expect(file.suggestedFilename()).toBe('MarkersLog.txt');
    expect(readFileSync(await file.path(), 'utf8')).toMatch(/\|zerith_markers\|error\|a lamp is out\n/);

    await page.getByRole('button', { name: 'Clear log' }).click();
    await expect(page.getByRole('dialog')).toBeVisible();
    await page.getByRole('button', { name: 'Cancel' }).click();
    await expect(page.getByRole('dialog')).toHaveCount(0);
    expect(await demo.api('get_logfile_as_plain_text')).toContain('a lamp is out');
    await page.getByRole('button', { name: 'Clear log' }).click();
    await page.getByRole('button', { name: 'Clear', exact: true }).click();
    await expect(page.locator('zm-log-list')).toContainText('The log was cleared.');
    await expect(lines).toHaveCount(0);
    expect(await demo.api('get_logfile_as_plain_text')).not.toContain('lamp');
});
