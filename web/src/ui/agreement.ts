/** The end-user agreement, shown until it is accepted. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement } from 'lit/decorators.js';
import { t, type Key } from '../i18n/texts';
import { failureText, look, ZmElement } from './base';

const paragraphs: readonly Key[] = ['agreement.1', 'agreement.2', 'agreement.3', 'agreement.4', 'agreement.5'];

@customElement('zm-agreement')
export class ZmAgreement extends ZmElement {
    static override readonly styles = [
        look,
        css`
            .card {
                max-width: 42rem;
                margin: 1.5rem auto;
                padding: 1.6rem;
            }
        `,
    ];

    override render(): TemplateResult {
        const failure = this.store.acceptFailure;
        return html`<section class="card" aria-labelledby="title">
            <h2 id="title">${t('agreement.title')}</h2>
            <p>${t('agreement.intro')}</p>
            ${paragraphs.map((key) => html`<p>${t(key)}</p>`)}
            <div class="row">
                <button class="main" ?disabled=${this.store.accepting} @click=${() => void this.store.acceptAgreement()}>
                    ${t('agreement.accept')}
                </button>
            </div>
            <div role="alert">
                ${failure === undefined
                    ? nothing
                    : html`<p class="note bad">${t('agreement.failed')} ${failureText(failure)}</p>`}
            </div>
        </section>`;
    }
}
