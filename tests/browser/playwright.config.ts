import { defineConfig } from '@playwright/test';

// One application runs at a time, so one test does.
export default defineConfig({
    testDir: '.',
    outputDir: process.env['ZM_BROWSER_RESULTS'] ?? '../../build/browser-results',
    workers: 1,
    fullyParallel: false,
    timeout: 90_000,
    expect: { timeout: 12_000 },
    reporter: process.env['ZM_BROWSER_JUNIT'] === undefined ? 'list' : [['list'], ['junit', { outputFile: process.env['ZM_BROWSER_JUNIT'] }]],
    use: {
        locale: 'en-GB',
        viewport: { width: 1280, height: 900 },
        screenshot: 'only-on-failure',
        launchOptions: {
            executablePath: process.env['ZM_CHROMIUM'] ?? '/usr/bin/chromium',
            args: [
                '--no-sandbox',
                '--disable-gpu',
                '--disable-quic',
                '--no-first-run',
                '--disable-background-networking',
                '--disable-component-update',
                '--disable-sync',
            ],
        },
    },
});
