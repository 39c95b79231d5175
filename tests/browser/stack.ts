/**
 * What the tests run against: the application on the host camera behind a web server, as ./run starts it,
 * and a page that reports everything it should not do.
 */

import { spawn, type ChildProcess } from 'node:child_process';
import { mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { test as base, expect, type Page } from '@playwright/test';

export { expect, type Page };

const run = process.env['ZM_RUN'] ?? fileURLToPath(new URL('../../run', import.meta.url));

async function freePort(): Promise<number> {
    return new Promise((resolve, reject) => {
        const server = createServer();
        server.once('error', reject);
        server.listen(0, '127.0.0.1', () => {
            const address = server.address();
            server.close(() => (typeof address === 'object' && address !== null ? resolve(address.port) : reject(new Error())));
        });
    });
}

export class Stack {
    /** The one that runs: there is one package folder for all. */
    static #running: Stack | undefined;
    readonly state = mkdtempSync(join(tmpdir(), 'zm-browser-'));
    #process: ChildProcess | undefined;
    #output = '';
    #port = 0;

    /** @param args further arguments of ./run; @param config lines of the host camera's configuration */
    constructor(readonly args: readonly string[] = [], readonly config = '') {}

    get base(): string {
        return `http://127.0.0.1:${this.#port}`;
    }

    get page(): string {
        return `${this.base}/local/zerith_markers/index.html`;
    }

    get isRunning(): boolean {
        return this.#process !== undefined;
    }

    /** Starts it, or starts it again; another one that runs is stopped. */
    async start(): Promise<void> {
        await Stack.#running?.stop();
        Stack.#running = this;
        if (this.#port === 0) this.#port = await freePort();
        const options = ['--no-build', '--state', this.state, '--port', String(this.#port), ...this.args];
        if (this.config !== '') {
            const file = join(this.state, 'camera.conf');
            writeFileSync(file, this.config);
            options.push('--config', file);
        }
        this.#output = '';
        const child = spawn(run, options, { stdio: ['ignore', 'pipe', 'pipe'], detached: true });
        this.#process = child;
        for (const stream of [child.stdout, child.stderr]) {
            stream.on('data', (data: Buffer) => (this.#output += data.toString()));
        }
        for (let tries = 0; tries < 300; ++tries) {
            if (child.exitCode !== null) throw new Error(`./run ended: ${this.#output}`);
            const code = await this.api('get_status_code').catch(() => '');
            if (/^(200|408|502|600)$/.test(code)) return;
            await new Promise((resolve) => setTimeout(resolve, 100));
        }
        throw new Error(`the application did not start: ${this.#output}`);
    }

    async stop(): Promise<void> {
        if (Stack.#running === this) Stack.#running = undefined;
        const child = this.#process;
        this.#process = undefined;
        if (child === undefined || child.exitCode !== null) return;
        const ended = new Promise((resolve) => child.once('exit', resolve));
        child.kill('SIGTERM');
        await ended;
    }

    async remove(): Promise<void> {
        await this.stop();
        rmSync(this.state, { recursive: true, force: true });
    }

    async api(action: string, body?: string): Promise<string> {
        const response = await fetch(`${this.base}/local/zerith_markers/zerith_markers.cgi?action=${action}`, {
            signal: AbortSignal.timeout(3000),
            ...(body === undefined ? {} : { method: 'POST', body }),
        });
        if (!response.ok) throw new Error(`${action}: ${response.status}`);
        return response.text();
    }

    /** A parameter as it is stored. */
    parameter(name: string): string {
        const file = readFileSync(join(this.state, 'parameters.conf'), 'utf8');
        return new RegExp(`^root\\.Zerith_markers\\.${name}=(.*)$`, 'm').exec(file)?.[1] ?? '';
    }

    /** The corners of area 1 as they are stored, x and y in turns. */
    area(): number[] {
        return [0, 1, 2, 3].flatMap((i) => [Number(this.parameter(`Detection1${i}x`)), Number(this.parameter(`Detection1${i}y`))]);
    }

    /** What the alert has done, in order. */
    alerts(): boolean[] {
        const lines = readFileSync(join(this.state, 'events.jsonl'), 'utf8').split('\n').filter((line) => line.includes('ZerithMarkersAlert'));
        return lines
            .map((line) => JSON.parse(line) as { declared?: boolean; data?: { active?: boolean } })
            .filter((event) => event.declared !== true)
            .map((event) => event.data?.active === true);
    }

    /** The application's own process. */
    processId(): number {
        const parents = new Map<number, number>();
        const names = new Map<number, string>();
        for (const entry of readdirSync('/proc').filter((name) => /^\d+$/.test(name))) {
            try {
                const stat = readFileSync(`/proc/${entry}/stat`, 'utf8');
                parents.set(Number(entry), Number(stat.slice(stat.lastIndexOf(')') + 4).split(' ')[0]));
                names.set(Number(entry), stat.slice(stat.indexOf('(') + 1, stat.lastIndexOf(')')));
            } catch {
                // It has ended in the meantime.
            }
        }
        const ours = (pid: number): boolean => pid === this.#process?.pid || (pid > 1 && ours(parents.get(pid) ?? 0));
        const found = [...names].find(([pid, name]) => name.startsWith('zerith_marker') && ours(pid));
        if (found === undefined) throw new Error('the application does not run');
        return found[0];
    }
}

interface Fixtures {
    /** Fails the test when the page runs into an error or tries to load something from elsewhere. */
    readonly quiet: void;
    /** The demonstration: agreement accepted, area in the middle, alert after three seconds of presence. */
    readonly demo: Stack;
}

interface Workers {
    readonly demonstrationStack: Stack;
}

export const test = base.extend<Fixtures, Workers>({
    quiet: [
        async ({ page }, use) => {
            const wrong: string[] = [];
            page.on('pageerror', (error) => wrong.push(String(error)));
            page.on('console', (message) => {
                // What the browser itself says about answers that a test has made fail is no fault.
                if (message.type() === 'error' && !/Failed to load resource|net::ERR_/.test(message.text())) wrong.push(message.text());
            });
            page.on('dialog', (dialog) => {
                if (dialog.type() !== 'beforeunload') wrong.push(`dialog: ${dialog.message()}`);
            });
            page.on('request', (request) => {
                const url = new URL(request.url());
                if (/^https?:$/.test(url.protocol) && url.hostname !== '127.0.0.1') wrong.push(`request: ${request.url()}`);
            });
            await use();
            expect(wrong).toEqual([]);
        },
        { auto: true },
    ],
    demonstrationStack: [
        // eslint-disable-next-line no-empty-pattern
        async ({}, use) => {
            // Two streams that are watched, so that overlays on the one can be told from those on the other.
            const stack = new Stack([], '[viewers]\nstreams=1280x720,640x360\n');
            await use(stack);
            await stack.remove();
        },
        { scope: 'worker' },
    ],
    demo: async ({ demonstrationStack }, use) => {
        if (!demonstrationStack.isRunning) await demonstrationStack.start();
        await use(demonstrationStack);
    },
});

/** The settings that the demonstration starts with, for a test to begin from. */
export const demonstration: Readonly<Record<string, string>> = {
    Markers_Secs: '3',
    Markers_Present: '1',
    DisplayNonAOI: '1',
    SelectedDictionary: '5x5',
    Eula: '1',
    DetectionOverlaysOn: '1',
    SelectedDetectionOverlay: '1280x720',
    Detection1_0: '25',
    Detection1_1: '25',
    Detection1_2: '75',
    Detection1_3: '25',
    Detection1_4: '75',
    Detection1_5: '75',
    Detection1_6: '25',
    Detection1_7: '75',
};

export async function store(stack: Stack, change: Readonly<Record<string, string>> = {}): Promise<void> {
    const elements = Object.entries({ ...demonstration, ...change }).map(([name, value]) => `<${name}>${value}</${name}>`);
    await stack.api('set_post_parameters', `<root>${elements.join('')}</root>`);
}

/** Opens a view and waits until the settings are there. */
export async function open(page: Page, stack: Stack, view = 'live'): Promise<void> {
    await page.goto(`${stack.page}#${view}`);
    await expect(page.locator('#badge')).not.toHaveText(/Connecting|Verbindet|Conectando/);
}

export async function save(page: Page): Promise<void> {
    await page.getByRole('button', { name: 'Save', exact: true }).click();
    await expect(page.locator('zm-save-bar .note.good')).toContainText('Saved:');
}

/** A picture as the camera delivers it, decoded: grey or colour values by position in percent. */
export async function pixels(
    page: Page,
    stack: Stack,
    area: { x: number; y: number; width: number; height: number },
    query = 'resolution=1280x720',
): Promise<{ width: number; height: number; green: number; yellow: number; red: number }> {
    return page.evaluate(
        async ([address, box]) => {
            const bitmap = await createImageBitmap(await (await fetch(address)).blob());
            const canvas = new OffscreenCanvas(bitmap.width, bitmap.height);
            const context = canvas.getContext('2d');
            if (context === null) throw new Error('no canvas');
            context.drawImage(bitmap, 0, 0);
            const at = (percent: number, length: number): number => Math.round((percent * length) / 100);
            const { data } = context.getImageData(
                at(box.x, bitmap.width),
                at(box.y, bitmap.height),
                at(box.width, bitmap.width),
                at(box.height, bitmap.height),
            );
            const count = { green: 0, yellow: 0, red: 0 };
            for (let i = 0; i < data.length; i += 4) {
                const [r = 0, g = 0, b = 0] = [data[i], data[i + 1], data[i + 2]];
                if (g > 170 && r < 110 && b < 110) ++count.green;
                if (r > 170 && g > 170 && b < 110) ++count.yellow;
                if (r > 170 && g < 90 && b < 90) ++count.red;
            }
            return { width: bitmap.width, height: bitmap.height, ...count };
        },
        [`${stack.base}/axis-cgi/jpg/image.cgi?${query}`, area] as const,
    );
}
