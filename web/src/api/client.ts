/**
 * The one module that talks to the camera. The service answers one request at a time, so requests queue
 * here and what a user asked for goes before what is asked again every second. Every answer is looked
 * at: what is not the expected one is a failure with a reason, never a success.
 */

import type { WireSettings } from '../model/document';
import { isHtml, readDocument, writeDocument, type DocumentProblem, type SettingsDocument } from '../model/document';
import type { Size } from '../model/geometry';
import { looksLikeLog } from '../model/log';
import { parseSize } from '../model/picture-size';
import { parseCode } from '../model/status';

/** Why a request failed. */
export type FailureKind =
    | 'unreachable' // nothing answers at the camera's address
    | 'timeout'
    | 'noAnswer' // the camera's web server answers, but the application behind it does not
    | 'login'
    | 'rejected' // 400
    | 'broken' // the answer ended early
    | 'odd'; // an answer that makes no sense here

export class ApiFailure extends Error {
    constructor(
        readonly kind: FailureKind,
        /** The HTTP status, where there was one. */
        readonly status?: number,
        /** What the answer held, shortened; only ever shown as text. */
        readonly detail?: string,
        readonly problem?: DocumentProblem,
    ) {
        super([kind, status, problem, detail].filter((part) => part !== undefined).join(': '));
    }
}

type Fetch = (input: string, init: RequestInit) => Promise<Response>;

interface Job {
    readonly urgent: boolean;
    readonly run: () => Promise<void>;
}

const pollTimeout = 5000;
const actionTimeout = 15000;

function excerpt(text: string): string {
    const line = text.replace(/\s+/g, ' ').trim();
    return line.length > 160 ? `${line.slice(0, 160)}…` : line;
}

function failureOfStatus(status: number, body: string): ApiFailure {
    const detail = excerpt(body);
    if (status === 401 || status === 403) return new ApiFailure('login', status, detail);
    // What web servers say when the application behind them is not there.
    if (status === 404 || status === 502 || status === 503 || status === 504) {
        return new ApiFailure('noAnswer', status, detail);
    }
    return new ApiFailure(status === 400 ? 'rejected' : 'odd', status, detail);
}

export class ApiClient {
    readonly #jobs: Job[] = [];
    #busy = false;

    constructor(
        private readonly address = 'zerith_markers.cgi',
        private readonly fetcher: Fetch = (input, init) => fetch(input, init),
    ) {}

    async statusCode(): Promise<number> {
        const answer = await this.#get('get_status_code', false);
        const code = parseCode(answer);
        if (code === undefined) throw new ApiFailure('odd', 200, excerpt(answer));
        return code;
    }

    statusText(): Promise<string> {
        return this.#get('get_status_string', false);
    }

    /** @param urgent asked for by the user, not by the clock */
    async settings(urgent = false): Promise<SettingsDocument> {
        const answer = await this.#get('get_all_parameters', urgent, true);
        const read = readDocument(answer);
        if (!read.ok) throw new ApiFailure('odd', 200, excerpt(answer), read.problem);
        return read.document;
    }

    /**
     * Sends settings. The service's answer holds nothing, so whoever calls reads the settings back.
     * @throws CannotCarry when the service would misread them
     */
    async saveSettings(settings: WireSettings): Promise<void> {
        const body = writeDocument(settings);
        await this.#expectNothing(() => this.#request('set_post_parameters', actionTimeout, body), true);
    }

    async isPortrait(): Promise<boolean> {
        const answer = await this.#get('get_is_portrait', false);
        if (answer !== '0' && answer !== '1') throw new ApiFailure('odd', 200, excerpt(answer));
        return answer === '1';
    }

    async aspectRatio(): Promise<string> {
        const answer = await this.#get('get_aspect_ratio', false);
        if (!/^\d{1,3}:\d{1,3}$/.test(answer)) throw new ApiFailure('odd', 200, excerpt(answer));
        return answer;
    }

    /** The size at which overlays are always drawn, as it is seen: upright for a camera turned by a quarter. */
    async applicationSize(): Promise<Size> {
        const answer = await this.#get('get_application_resolution', false);
        const size = parseSize(answer);
        if (size === undefined) throw new ApiFailure('odd', 200, excerpt(answer));
        return size;
    }

    async log(urgent: boolean): Promise<string> {
        const answer = await this.#enqueue(urgent, () => this.#request('get_logfile_as_serialized_text', actionTimeout));
        if (isHtml(answer) || !looksLikeLog(answer)) throw new ApiFailure('odd', 200, excerpt(answer));
        return answer;
    }

    async clearLog(): Promise<void> {
        const answer = await this.#get('clear_logfile', true);
        if (answer !== 'Log file cleared.') throw new ApiFailure('odd', 200, excerpt(answer));
    }

    /** Starts or stops the alert by hand. Done is an empty answer: it has neither type nor text. */
    async switchAlert(on: boolean): Promise<void> {
        const action = on ? 'manual_markers_alert_on' : 'manual_markers_alert_off';
        await this.#expectNothing(() => this.#request(action, actionTimeout), true);
    }

    #get(action: string, urgent: boolean, markup = false): Promise<string> {
        return this.#enqueue(urgent, async () => {
            const answer = await this.#request(action, urgent ? actionTimeout : pollTimeout);
            if (answer === '' || isHtml(answer) || (!markup && answer.startsWith('<'))) {
                throw new ApiFailure('odd', 200, excerpt(answer));
            }
            return answer;
        });
    }

    async #expectNothing(request: () => Promise<string>, urgent: boolean): Promise<void> {
        const answer = await this.#enqueue(urgent, request);
        if (answer.trim() !== '') throw new ApiFailure('odd', 200, excerpt(answer));
    }

    #enqueue<T>(urgent: boolean, task: () => Promise<T>): Promise<T> {
        return new Promise<T>((resolve, reject) => {
            const job: Job = { urgent, run: () => task().then(resolve, reject) };
            const place = urgent ? this.#jobs.findIndex((waiting) => !waiting.urgent) : -1;
            this.#jobs.splice(place < 0 ? this.#jobs.length : place, 0, job);
            void this.#work();
        });
    }

    async #work(): Promise<void> {
        if (this.#busy) return;
        this.#busy = true;
        for (let job = this.#jobs.shift(); job !== undefined; job = this.#jobs.shift()) await job.run();
        this.#busy = false;
    }

    async #request(action: string, timeout: number, body?: string): Promise<string> {
        const abort = new AbortController();
        const timer = setTimeout(() => abort.abort(), timeout);
        let response: Response | undefined;
        try {
            response = await this.fetcher(`${this.address}?action=${action}`, {
                method: body === undefined ? 'GET' : 'POST',
                cache: 'no-store',
                credentials: 'same-origin',
                signal: abort.signal,
                ...(body === undefined ? {} : { body, headers: { 'Content-Type': 'text/xml; charset=utf-8' } }),
            });
            const text = await response.text();
            if (!response.ok) throw failureOfStatus(response.status, text);
            return text;
        } catch (error) {
            if (error instanceof ApiFailure) throw error;
            if (abort.signal.aborted) throw new ApiFailure('timeout');
            throw new ApiFailure(response === undefined ? 'unreachable' : 'broken', response?.status);
        } finally {
            clearTimeout(timer);
        }
    }
}
