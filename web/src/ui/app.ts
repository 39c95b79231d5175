/** The page: its head, the views, and what is in sight on all of them. */

import { css, html, nothing, type PropertyValues, type TemplateResult } from 'lit';
import { customElement, state } from 'lit/decorators.js';
import { live } from 'lit/directives/live.js';
import { currentLanguage, languages, setLanguage, t, type Language } from '../i18n/texts';
import { toneOf } from '../model/status';
import './advanced-view';
import './agreement';
import { failureText, look, ZmElement } from './base';
import './help-view';
import './live-view';
import './save-bar';
import './settings-view';
import './sheets-view';

const views = ['live', 'settings', 'sheets', 'advanced', 'help'] as const;
type View = (typeof views)[number];

declare const __VERSION__: string;

/** An address ends with "#view", or "#help/topic". */
function viewOf(hash: string): View {
    return views.find((view) => `#${view}` === hash.split('/')[0]) ?? 'live';
}

function topicOf(hash: string): string {
    return hash.split('/')[1] ?? '';
}

@customElement('zm-app')
export class ZmApp extends ZmElement {
    @state() private view: View = viewOf(location.hash);
    @state() private topic = topicOf(location.hash);

    static override readonly styles = [
        look,
        css`
            :host {
                min-height: 100vh;
                display: grid;
                grid-template: auto 1fr auto / minmax(0, 1fr);
            }
            header {
                background: var(--card);
                border-bottom: 1px solid var(--line);
            }
            .inner {
                max-width: 84rem;
                margin-inline: auto;
                padding-inline: clamp(0.8rem, 2.5vw, 1.6rem);
                width: 100%;
            }
            .head {
                display: flex;
                flex-wrap: wrap;
                gap: 0.5rem 1rem;
                align-items: center;
                padding-block: 0.7rem 0.2rem;
            }
            h1 {
                font-size: 1.15rem;
                font-weight: 700;
                margin-right: auto;
            }
            .badge {
                display: inline-flex;
                align-items: center;
                gap: 0.45rem;
                padding: 0.2rem 0.75rem;
                border-radius: 99px;
                font-weight: 600;
            }
            .badge::before {
                content: '';
                width: 0.6rem;
                height: 0.6rem;
                border-radius: 50%;
                background: currentcolor;
            }
            nav ul {
                list-style: none;
                display: flex;
                flex-wrap: wrap;
                gap: 0 0.2rem;
            }
            nav a {
                display: block;
                padding: 0.6rem 0.8rem;
                color: var(--soft);
                text-decoration: none;
                font-weight: 600;
                border-bottom: 3px solid transparent;
                white-space: nowrap;
            }
            nav a:focus-visible {
                outline-offset: -3px;
            }
            nav a:hover {
                color: var(--text);
            }
            nav a[aria-current] {
                color: var(--accent);
                border-color: var(--accent);
            }
            main {
                padding-block: 1.2rem 2rem;
                min-width: 0;
            }
            .bottom {
                position: sticky;
                bottom: 0;
                z-index: 5;
            }
            #lost {
                border: 1px solid var(--bad);
                border-radius: var(--radius) var(--radius) 0 0;
            }
            select {
                min-height: 2.2rem;
            }
            .skip {
                position: absolute;
                left: -100vw;
            }
            .skip:focus {
                left: 0.5rem;
                top: 0.5rem;
                z-index: 10;
            }
            footer {
                margin-top: 1.5rem;
            }
            @media (max-width: 30rem) {
                nav a {
                    padding: 0.4rem 0.5rem;
                }
            }
        `,
    ];

    override connectedCallback(): void {
        super.connectedCallback();
        window.addEventListener('hashchange', this.#onHash);
        window.addEventListener('beforeunload', this.#onLeave);
    }

    override disconnectedCallback(): void {
        super.disconnectedCallback();
        window.removeEventListener('hashchange', this.#onHash);
        window.removeEventListener('beforeunload', this.#onLeave);
    }

    readonly #onHash = (): void => {
        const view = viewOf(location.hash);
        this.topic = topicOf(location.hash);
        if (view === this.view) return;
        this.view = view;
        window.scrollTo(0, 0);
    };

    /** Only what a user has changed is worth a warning; proposals come again. */
    readonly #onLeave = (event: BeforeUnloadEvent): void => {
        if (this.store.edited.length > 0) event.preventDefault();
    };

    override updated(_: PropertyValues): void {
        document.title = `${t(`state.${this.store.connection.state}`)} – Zerith Markers`;
    }

    /** Below, where it comes and goes without moving what is being looked at or pointed to. */
    #lost(): TemplateResult | typeof nothing {
        const { failure, state } = this.store.connection;
        if (failure === undefined) return nothing;
        return html`<div class="note bad" id="lost">
            <strong>${t(`state.${state}`)}</strong> ${failureText(failure)} ${t('lost.trying')}
        </div>`;
    }

    #notice(): TemplateResult | typeof nothing {
        const { connection, document: settings, documentFailure, draft, proposed } = this.store;
        if (documentFailure !== undefined && connection.failure === undefined) {
            return html`<div class="note bad" id="unreadable">${t('settings.unreadable')} ${failureText(documentFailure)}</div>`;
        }
        if (draft !== undefined && proposed.length > 0 && settings?.eulaAccepted === true) {
            return html`<div class="note warn" id="proposals">${t('proposals')}</div>`;
        }
        return nothing;
    }

    #content(): TemplateResult {
        const needsAgreement = this.store.document?.eulaAccepted === false;
        switch (this.view) {
            case 'help':
                return html`<zm-help-view .topic=${this.topic}></zm-help-view>`;
            case 'advanced':
                return html`<zm-advanced-view></zm-advanced-view>`;
            case 'sheets':
                return html`<zm-sheets-view></zm-sheets-view>`;
            case 'settings':
                return needsAgreement ? html`<zm-agreement></zm-agreement>` : html`<zm-settings-view></zm-settings-view>`;
            case 'live':
                return needsAgreement ? html`<zm-agreement></zm-agreement>` : html`<zm-live-view></zm-live-view>`;
        }
    }

    override render(): TemplateResult {
        const { state } = this.store.connection;
        const editable = this.store.document?.eulaAccepted === true;
        return html`
            <header>
                <button class="skip" @click=${() => this.renderRoot.querySelector('main')?.focus()}>${t('skip')}</button>
                <div class="inner">
                    <div class="head">
                        <h1>Zerith Markers</h1>
                        <span class="badge note ${toneOf(state)}" id="badge">${t(`state.${state}`)}</span>
                        <select
                            aria-label=${t('language')}
                            @change=${(e: Event) =>
                                void setLanguage((e.target as HTMLSelectElement).value as Language, true)}
                        >
                            ${Object.entries(languages).map(
                                ([code, name]) =>
                                    html`<option value=${code} lang=${code} .selected=${live(code === currentLanguage())}>
                                        ${name}
                                    </option>`,
                            )}
                        </select>
                    </div>
                    <nav aria-label=${t('views')}>
                        <ul>
                            ${views.map(
                                (view) =>
                                    html`<li>
                                        <a href="#${view}" aria-current=${view === this.view ? 'page' : nothing}
                                            >${t(`view.${view}`)}</a
                                        >
                                    </li>`,
                            )}
                        </ul>
                    </nav>
                </div>
            </header>
            <main class="inner" tabindex="-1">
                <div class="stack">
                    <div role="status">${this.#notice()}</div>
                    ${this.#content()}
                </div>
                <footer class="soft">Zerith Markers ${__VERSION__}</footer>
            </main>
            <section class="inner bottom" aria-label=${t('save.region')}>
                <div role="status">${this.#lost()}</div>
                ${editable ? html`<zm-save-bar></zm-save-bar>` : nothing}
            </section>
        `;
    }
}
