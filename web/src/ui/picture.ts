/**
 * The camera's picture, live. It is read as a stream of single pictures, so that the page sees when none
 * comes any more, and says why. A drawing over it goes into the slot.
 */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement, state } from 'lit/decorators.js';
import { clockTime, t } from '../i18n/texts';
import { boundaryOf, MultipartReader } from '../model/multipart';
import { sizeText } from '../model/picture-size';
import { look, ZmElement } from './base';

/** Why no pictures come. */
type Trouble =
    | { readonly kind: 'unreachable' | 'silent' | 'ended' | 'notPictures' }
    | { readonly kind: 'login' | 'status'; readonly status: number };

const silentAfter = 4000;
const retryAfter = [500, 1000, 2000, 4000];

class Stalled extends Error {
    constructor(readonly trouble: Trouble) {
        super(trouble.kind);
    }
}

@customElement('zm-picture')
export class ZmPicture extends ZmElement {
    @state() private source = '';
    @state() private trouble: Trouble | undefined;
    @state() private last: Date | undefined;
    @state() private paused = false;

    #abort: AbortController | undefined;
    #url = '';
    #next: Uint8Array | undefined;
    #decoding = false;
    #failures = 0;
    #asked = '';
    /** The camera has refused the size that overlays are drawn in. */
    #sizeRefused = false;

    static override readonly styles = [
        look,
        css`
            figure {
                display: grid;
                gap: 0.5rem;
            }
            .frame {
                position: relative;
                background: #0c1014;
                border-radius: var(--radius);
                overflow: hidden;
                margin-inline: auto;
                width: 100%;
            }
            .frame.upright {
                max-width: min(100%, 62vh);
            }
            svg.space,
            img {
                display: block;
                width: 100%;
            }
            img {
                position: absolute;
                inset: 0;
                height: 100%;
            }
            .still img {
                opacity: 0.45;
            }
            .why {
                position: absolute;
                inset: auto 0 0 0;
                padding: 0.6rem 0.8rem;
                background: rgb(12 16 20 / 88%);
                color: #fff;
                font-size: 0.95rem;
                pointer-events: none;
            }
            .bar {
                justify-content: space-between;
            }
        `,
    ];

    override connectedCallback(): void {
        super.connectedCallback();
        document.addEventListener('visibilitychange', this.#onVisibility);
        this.#begin();
    }

    override disconnectedCallback(): void {
        super.disconnectedCallback();
        document.removeEventListener('visibilitychange', this.#onVisibility);
        this.#stop();
    }

    readonly #onVisibility = (): void => {
        if (document.hidden) this.#stop();
        else this.#begin();
    };

    #stop(): void {
        this.#abort?.abort();
        this.#abort = undefined;
    }

    #begin(): void {
        const { camera, connection } = this.store;
        // Which picture to ask for is known at once, or the application is not there to say it.
        const known = camera !== undefined || connection.failure !== undefined;
        if (this.#abort !== undefined || this.paused || document.hidden || !known) return;
        this.#asked = this.#address();
        const abort = new AbortController();
        this.#abort = abort;
        void this.#watch(abort.signal);
    }

    /** One attempt after the other, until it is stopped. */
    async #watch(stop: AbortSignal): Promise<void> {
        for (;;) {
            try {
                await this.#stream(stop);
            } catch (error) {
                if (this.#abort?.signal !== stop) return;
                this.trouble = error instanceof Stalled ? error.trouble : { kind: 'unreachable' };
            }
            const pause = retryAfter[Math.min(this.#failures++, retryAfter.length - 1)] ?? 0;
            await new Promise((resolve) => setTimeout(resolve, pause));
            if (this.#abort?.signal !== stop) return;
        }
    }

    override updated(): void {
        if (this.#abort !== undefined && this.#asked !== this.#address()) this.#stop();
        this.#begin();
    }

    #address(): string {
        const size = this.store.camera?.picture;
        const parts = ['fps=10'];
        if (size !== undefined && !this.#sizeRefused) {
            // The camera's own size, before it is turned upright.
            const turned = this.store.camera?.portrait === true;
            parts.unshift(`resolution=${sizeText(turned ? { width: size.height, height: size.width } : size)}`);
        }
        return `../../axis-cgi/mjpg/video.cgi?${parts.join('&')}`;
    }

    async #stream(stop: AbortSignal): Promise<void> {
        const attempt = new AbortController();
        const end = (): void => attempt.abort();
        stop.addEventListener('abort', end);
        let heard = Date.now();
        const guard = setInterval(() => {
            if (Date.now() - heard > silentAfter) attempt.abort();
        }, 500);
        try {
            const response = await fetch(this.#asked, { cache: 'no-store', signal: attempt.signal });
            if (!response.ok) {
                if (response.status === 400) {
                    this.#sizeRefused = true;
                    this.#asked = this.#address();
                }
                const kind = response.status === 401 || response.status === 403 ? 'login' : 'status';
                throw new Stalled({ kind, status: response.status });
            }
            const boundary = boundaryOf(response.headers.get('Content-Type') ?? '');
            if (boundary === undefined || response.body === null) throw new Stalled({ kind: 'notPictures' });
            const reader = response.body.getReader();
            const parts = new MultipartReader(boundary);
            for (;;) {
                const { done, value } = await reader.read();
                if (done) throw new Stalled({ kind: 'ended' });
                for (const picture of this.#takeApart(parts, value)) {
                    heard = Date.now();
                    this.#show(picture);
                }
            }
        } catch (error) {
            if (attempt.signal.aborted && !stop.aborted) throw new Stalled({ kind: 'silent' });
            throw error;
        } finally {
            clearInterval(guard);
            stop.removeEventListener('abort', end);
            attempt.abort();
        }
    }

    #takeApart(parts: MultipartReader, bytes: Uint8Array): Uint8Array[] {
        try {
            return parts.push(bytes);
        } catch {
            throw new Stalled({ kind: 'notPictures' });
        }
    }

    /** Shows the newest picture; those that come while one is being decoded are left out. */
    #show(picture: Uint8Array): void {
        this.#next = picture;
        if (this.#decoding) return;
        this.#decoding = true;
        const before = this.#url;
        this.#url = URL.createObjectURL(new Blob([this.#next.slice()], { type: 'image/jpeg' }));
        this.#next = undefined;
        this.source = this.#url;
        if (before !== '') setTimeout(() => URL.revokeObjectURL(before), 1000);
    }

    #shown(good: boolean): void {
        this.#decoding = false;
        if (good) {
            this.last = new Date();
            this.trouble = undefined;
            this.#failures = 0;
        } else {
            this.trouble = { kind: 'notPictures' };
        }
        if (this.#next !== undefined) this.#show(this.#next);
    }

    #togglePause(): void {
        this.paused = !this.paused;
        if (this.paused) this.#stop();
        else this.#begin();
    }

    #why(): TemplateResult | typeof nothing {
        if (this.paused) return html`<p class="why">${t('picture.paused')}</p>`;
        if (this.trouble === undefined) {
            return this.source === '' ? html`<p class="why">${t('picture.waiting')}</p>` : nothing;
        }
        const { trouble } = this;
        const reason =
            'status' in trouble
                ? t(`picture.${trouble.kind}`, { status: trouble.status })
                : t(`picture.${trouble.kind}`);
        const since = this.last === undefined ? t('picture.none') : t('picture.still', { time: clockTime(this.last) });
        return html`<p class="why" data-trouble=${trouble.kind}>${since} ${reason}</p>`;
    }

    override render(): TemplateResult {
        const size = this.store.camera?.picture ?? { width: 16, height: 9 };
        const still = this.trouble !== undefined || this.paused;
        return html`
            <figure>
                <div class="frame ${still ? 'still' : ''} ${size.height > size.width ? 'upright' : ''}">
                    <svg class="space" viewBox="0 0 ${size.width} ${size.height}" aria-hidden="true"></svg>
                    ${this.source === ''
                        ? nothing
                        : html`<img
                              src=${this.source}
                              alt=${t('picture.alt')}
                              draggable="false"
                              @load=${() => this.#shown(true)}
                              @error=${() => this.#shown(false)}
                          />`}
                    <slot></slot>
                    <div role="status">${this.#why()}</div>
                </div>
                <div class="row bar">
                    <span class="soft">${this.#sizeRefused ? t('picture.otherSize') : t('picture.caption')}</span>
                    <button @click=${() => this.#togglePause()}>
                        ${this.paused ? t('picture.resume') : t('picture.pause')}
                    </button>
                </div>
            </figure>
        `;
    }
}
