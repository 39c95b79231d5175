import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { ApiClient, ApiFailure } from '../src/api/client';
import { stateOf, toneOf, explainedStates } from '../src/model/status';

type Answer = { status?: number; body?: string } | Error | 'hang' | 'broken';

/** A client whose requests get these answers in turn; it records what it was asked. */
function clientOf(...answers: Answer[]) {
    const asked: string[] = [];
    const fetcher = (input: string, init: RequestInit): Promise<Response> => {
        asked.push(`${init.method ?? ''} ${input} ${typeof init.body === 'string' ? init.body : ''}`.trim());
        const answer = answers.shift();
        if (answer === undefined) throw new Error('asked too often');
        if (answer instanceof Error) return Promise.reject(answer);
        if (answer === 'hang') {
            return new Promise((_, reject) => init.signal?.addEventListener('abort', () => reject(new Error('aborted'))));
        }
        if (answer === 'broken') {
            const body = new ReadableStream({ start: (c) => c.error(new TypeError('network')) });
            return Promise.resolve(new Response(body));
        }
        return Promise.resolve(new Response(answer.body ?? '', { status: answer.status ?? 200 }));
    };
    return { client: new ApiClient('x.cgi', fetcher), asked };
}

async function failure(promise: Promise<unknown>): Promise<ApiFailure> {
    const error: unknown = await promise.then(() => undefined, (e: unknown) => e);
    expect(error).toBeInstanceOf(ApiFailure);
    return error as ApiFailure;
}

beforeEach(() => void vi.useFakeTimers());
afterEach(() => void vi.useRealTimers());

describe('the client', () => {
    it('asks for the status and takes a number only', async () => {
        const { client, asked } = clientOf({ body: '502' }, { body: 'Marker event sent' }, { body: '' }, { body: '200\n200' });
        expect(await client.statusCode()).toBe(502);
        expect(asked).toEqual(['GET x.cgi?action=get_status_code']);
        for (let i = 0; i < 3; ++i) expect((await failure(client.statusCode())).kind).toBe('odd');
    });

    it.each<[Answer, string]>([
        [new TypeError('Failed to fetch'), 'unreachable'],
        ['broken', 'broken'],
        [{ status: 400, body: 'Invalid action' }, 'rejected'],
        [{ status: 401 }, 'login'],
        [{ status: 403 }, 'login'],
        [{ status: 404 }, 'noAnswer'],
        [{ status: 502, body: '<html>Bad Gateway</html>' }, 'noAnswer'],
        [{ status: 503 }, 'noAnswer'],
        [{ status: 500, body: '<html>oops</html>' }, 'odd'],
        [{ status: 200, body: '<!DOCTYPE html><html>login</html>' }, 'odd'],
        [{ status: 200, body: '' }, 'odd'],
        [{ status: 200, body: 'Status: 400 Bad Request\r\n\r\nInvalid action' }, 'odd'],
        [{ status: 200, body: '<app><Markers_Secs>5</Mark' }, 'odd'],
    ])('never takes %j for settings', async (answer, kind) => {
        expect((await failure(clientOf(answer).client.settings())).kind).toBe(kind);
    });

    it('shortens what an answer held', async () => {
        const found = await failure(clientOf({ status: 500, body: '<html>\n\n' + 'x'.repeat(1000) }).client.settings());
        expect(found.detail).toMatch(/^<html> x+…$/);
        expect(found.detail?.length).toBeLessThan(200);
    });

    it('gives up on an answer that does not come', async () => {
        const { client } = clientOf('hang', { body: '200' });
        const first = failure(client.statusCode());
        await vi.advanceTimersByTimeAsync(5000);
        expect((await first).kind).toBe('timeout');
        expect(await client.statusCode()).toBe(200);
    });

    it('sends one request at a time, what a user asked for first', async () => {
        const { client, asked } = clientOf('hang', { body: '' }, { body: '0' }, { body: '16:9' });
        const status = failure(client.statusCode());
        const portrait = client.isPortrait();
        const ratio = client.aspectRatio();
        const alert = client.switchAlert(true);
        expect(asked.length).toBe(1);
        await vi.advanceTimersByTimeAsync(5000);
        await status;
        await Promise.all([portrait, ratio, alert]);
        expect(asked.map((a) => a.split('=')[1])).toEqual([
            'get_status_code', 'manual_markers_alert_on', 'get_is_portrait', 'get_aspect_ratio',
        ]);
    });

    it('takes only an empty answer for a switched alert', async () => {
        const { client } = clientOf({ body: '' }, { body: '<html></html>' }, { status: 500 });
        await client.switchAlert(false);
        expect((await failure(client.switchAlert(false))).kind).toBe('odd');
        expect((await failure(client.switchAlert(false))).status).toBe(500);
    });

    it('posts settings and takes only an empty answer', async () => {
        const settings = {
            seconds: 5, requirePresent: true, displayNonAoi: false, dictionary: '5x5', eulaAccepted: true, overlaysOn: false,
            overlayStream: '0', area: [1, 2, 3, 4, 5, 6, 7, 8],
        };
        const { client, asked } = clientOf({ body: '' }, { body: 'Status: 400 Bad Request' }, { status: 400 });
        await client.saveSettings(settings);
        expect(asked[0]).toMatch(/^POST x\.cgi\?action=set_post_parameters <root><Markers_Secs>5</);
        expect((await failure(client.saveSettings(settings))).kind).toBe('odd');
        expect((await failure(client.saveSettings(settings))).kind).toBe('rejected');
        await expect(client.saveSettings({ ...settings, dictionary: '<' })).rejects.toThrow('SelectedDictionary');
    });

    it('reads sizes, the sensor and the log strictly', async () => {
        const { client } = clientOf(
            { body: '720x1280' }, { body: '0x0' }, { body: '4:3' }, { body: 'wide' }, { body: '2' },
            { body: '' }, { body: '<html></html>' }, { body: 'Log file cleared.' }, { body: 'no' },
        );
        expect(await client.applicationSize()).toEqual({ width: 720, height: 1280 });
        await failure(client.applicationSize());
        expect(await client.aspectRatio()).toBe('4:3');
        await failure(client.aspectRatio());
        await failure(client.isPortrait());
        expect(await client.log(true)).toBe('');
        await failure(client.log(true));
        await client.clearLog();
        await failure(client.clearLog());
    });
});

describe('states', () => {
    it('follow from the codes', () => {
        expect([50, 100, 200, 300, 403, 408, 502, 600, 700, 401].map(stateOf)).toEqual([
            'failed', 'starting', 'running', 'stopped', 'problem', 'agreement', 'alert', 'slow', 'problem', 'unknown',
        ]);
        expect(toneOf('alert')).toBe('alert');
        expect(explainedStates).not.toContain('connecting');
    });
});
