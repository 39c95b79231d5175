/** The application's log, newest last. Its lines are only ever shown as text. */

import { css, html, nothing, type PropertyValues, type TemplateResult } from 'lit';
import { customElement, query, state } from 'lit/decorators.js';
import { live } from 'lit/directives/live.js';
import { repeat } from 'lit/directives/repeat.js';
import { t, tn } from '../i18n/texts';
import { ApiFailure } from '../api/client';
import { filterLog, levels, parseLog, type Level, type LogLine } from '../model/log';
import { failureText, look, ZmElement } from './base';
import type { ZmQuestion } from './dialog';
import './dialog';
import { download } from './download';

const followEvery = 2000;
const pageOfLines = 1000;

@customElement('zm-log-list')
export class ZmLogList extends ZmElement {
    @state() private lines: readonly LogLine[] | undefined;
    @state() private failure: ApiFailure | undefined;
    @state() private follow = true;
    @state() private shown: ReadonlySet<Level> = new Set(levels);
    @state() private text = '';
    @state() private limit = pageOfLines;
    @state() private cleared = false;
    @query('ol') private readonly list!: HTMLElement | null;
    @query('zm-question') private readonly question!: ZmQuestion;

    #raw = '';
    #timer: ReturnType<typeof setTimeout> | undefined;

    static override readonly styles = [
        look,
        css`
            ol {
                list-style: none;
                height: min(60vh, 36rem);
                overflow: auto;
                border: 1px solid var(--line);
                border-radius: 8px;
                background: var(--back);
                padding: 0.5rem 0.7rem;
                font:
                    0.85rem/1.55 ui-monospace,
                    SFMono-Regular,
                    Menlo,
                    Consolas,
                    'DejaVu Sans Mono',
                    monospace;
            }
            li {
                overflow-wrap: anywhere;
                white-space: pre-wrap;
                border-left: 3px solid transparent;
                padding-left: 0.5rem;
            }
            li.warning {
                border-color: var(--warn);
                color: var(--warn);
            }
            li.error {
                border-color: var(--bad);
                color: var(--bad);
            }
            time {
                color: var(--soft);
            }
            .level {
                font-weight: 700;
            }
            input[type='search'] {
                width: min(100%, 18rem);
            }
            fieldset {
                display: flex;
                flex-wrap: wrap;
                gap: 0.2rem 1rem;
            }
            fieldset legend {
                float: left;
                margin-right: 1rem;
            }
            .choice {
                align-items: center;
            }
        `,
    ];

    override connectedCallback(): void {
        super.connectedCallback();
        void this.#load(true);
    }

    override disconnectedCallback(): void {
        super.disconnectedCallback();
        clearTimeout(this.#timer);
    }

    async #load(urgent: boolean): Promise<void> {
        clearTimeout(this.#timer);
        const begun = Date.now();
        if (!document.hidden || urgent) {
            try {
                const text = await this.store.api.log(urgent);
                if (text !== this.#raw || this.lines === undefined) {
                    this.#raw = text;
                    this.lines = parseLog(text);
                }
                this.failure = undefined;
            } catch (error) {
                this.failure = error instanceof ApiFailure ? error : new ApiFailure('odd', undefined, String(error));
            }
        }
        if (this.isConnected && this.follow) {
            // A long log is not fetched more often than a tenth of the time.
            const pause = Math.max(followEvery, 9 * (Date.now() - begun));
            this.#timer = setTimeout(() => void this.#load(false), pause);
        }
    }

    #toggleFollow(on: boolean): void {
        this.follow = on;
        clearTimeout(this.#timer);
        if (on) void this.#load(true);
    }

    #toggleLevel(level: Level, on: boolean): void {
        this.shown = new Set(levels.filter((l) => (l === level ? on : this.shown.has(l))));
    }

    async #clear(): Promise<void> {
        try {
            await this.store.api.clearLog();
            this.cleared = true;
            await this.#load(true);
        } catch (error) {
            this.failure = error instanceof ApiFailure ? error : new ApiFailure('odd', undefined, String(error));
        }
    }

    override updated(changed: PropertyValues): void {
        if (this.follow && this.list !== null && (changed.has('lines') || changed.has('shown') || changed.has('text'))) {
            this.list.scrollTop = this.list.scrollHeight;
        }
    }

    #line(line: LogLine): TemplateResult {
        // One line, so that what is copied reads as in the file.
        return html`<li class=${line.level}>${line.time === '' ? nothing : html`<time>${line.time}</time> `}${line.level === ''
            ? nothing
            : html`<span class="level">${line.level}</span> `}${line.message}</li>`;
    }

    override render(): TemplateResult {
        const lines = filterLog(this.lines ?? [], { levels: this.shown, text: this.text });
        const newest = lines.slice(-this.limit);
        const first = lines.length - newest.length;
        return html`
            <div class="stack">
                <div class="row">
                    <input
                        type="search"
                        aria-label=${t('log.search')}
                        placeholder=${t('log.search')}
                        .value=${live(this.text)}
                        @input=${(e: Event) => (this.text = (e.target as HTMLInputElement).value)}
                    />
                    <fieldset>
                        <legend class="hidden-text">${t('log.levels')}</legend>
                        ${levels.map(
                            (level) => html`<label class="choice">
                                <input
                                    type="checkbox"
                                    .checked=${live(this.shown.has(level))}
                                    @change=${(e: Event) => this.#toggleLevel(level, (e.target as HTMLInputElement).checked)}
                                />${t(`log.level.${level}`)}</label
                            >`,
                        )}
                        <label class="choice">
                            <input
                                type="checkbox"
                                .checked=${live(this.follow)}
                                @change=${(e: Event) => this.#toggleFollow((e.target as HTMLInputElement).checked)}
                            />${t('log.follow')}</label
                        >
                    </fieldset>
                </div>
                ${this.failure === undefined
                    ? nothing
                    : html`<p class="note bad" role="alert">${t('log.failed')} ${failureText(this.failure)}</p>`}
                ${first > 0
                    ? html`<div class="row">
                          <span class="soft">${tn('log.older', first)}</span>
                          <button @click=${() => (this.limit += pageOfLines)}>${t('log.more')}</button>
                      </div>`
                    : nothing}
                <ol tabindex="0" aria-label=${t('log.title')}>
                    ${repeat(
                        newest,
                        (_, i) => first + i,
                        (line) => this.#line(line),
                    )}
                </ol>
                <div class="row">
                    <span class="soft" role="status">
                        ${this.lines === undefined ? t('log.loading') : tn('log.count', lines.length)}
                        ${this.cleared ? t('log.cleared') : nothing}
                    </span>
                </div>
                <div class="row">
                    <button
                        ?disabled=${this.lines === undefined}
                        @click=${() => download('MarkersLog.txt', 'text/plain;charset=utf-8', this.#raw)}
                    >
                        ${t('log.download')}
                    </button>
                    <button @click=${() => this.question.ask()}>${t('log.clear')}</button>
                </div>
                <zm-question
                    .heading=${t('log.clear.title')}
                    .text=${t('log.clear.text')}
                    .yes=${t('log.clear.yes')}
                    @yes=${() => void this.#clear()}
                ></zm-question>
            </div>
        `;
    }
}
