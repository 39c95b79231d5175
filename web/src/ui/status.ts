/** What the application is doing, in plain words, with what to do about it; and the alert by hand. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement } from 'lit/decorators.js';
import { clockTime, t } from '../i18n/texts';
import { toneOf } from '../model/status';
import { failureText, look, ZmElement } from './base';

@customElement('zm-status')
export class ZmStatus extends ZmElement {
    static override readonly styles = [
        look,
        css`
            .state {
                font-size: 1.2rem;
                font-weight: 650;
            }
            dl {
                display: grid;
                grid-template-columns: auto 1fr;
                gap: 0.1rem 0.8rem;
            }
            dt {
                color: var(--soft);
            }
            dd {
                overflow-wrap: anywhere;
            }
        `,
    ];

    override render(): TemplateResult {
        const { state, code, text, failure } = this.store.connection;
        return html`
            <section class="card" aria-labelledby="title">
                <h3 id="title">${t('status.title')}</h3>
                <div role="status" class="note ${toneOf(state)}">
                    <p class="state" data-state=${state}>${t(`state.${state}`)}</p>
                    <p>${t(`state.${state}.do`)}</p>
                    ${failure === undefined ? nothing : html`<p class="soft">${failureText(failure)}</p>`}
                </div>
                ${code === undefined
                    ? nothing
                    : html`<dl class="soft">
                          <dt>${t('status.code')}</dt>
                          <dd id="code">${code}</dd>
                          <dt>${t('status.text')}</dt>
                          <dd id="text">${text}</dd>
                      </dl>`}
            </section>
        `;
    }
}

@customElement('zm-manual')
export class ZmManual extends ZmElement {
    static override readonly styles = [look];

    #result(): TemplateResult | typeof nothing {
        const done = this.store.switched;
        if (done === undefined) return nothing;
        if (done.failure !== undefined) {
            return html`<p class="note bad">
                ${t(done.on ? 'manual.onFailed' : 'manual.offFailed')} ${failureText(done.failure)}
            </p>`;
        }
        return html`<p class="note good">${t(done.on ? 'manual.on.done' : 'manual.off.done', { time: clockTime(done.at) })}</p>`;
    }

    override render(): TemplateResult {
        const off = this.store.switching || this.store.connection.code === undefined;
        return html`
            <section class="card" aria-labelledby="title">
                <h3 id="title">${t('manual.title')}</h3>
                <div class="row">
                    <button ?disabled=${off} @click=${() => void this.store.switchAlert(true)}>${t('manual.on')}</button>
                    <button ?disabled=${off} @click=${() => void this.store.switchAlert(false)}>${t('manual.off')}</button>
                </div>
                <div role="status">${this.#result()}</div>
                <p class="soft">${t('manual.remember')}</p>
            </section>
        `;
    }
}
