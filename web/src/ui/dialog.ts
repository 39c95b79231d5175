/** A question that has to be answered before anything else. */

import { css, html, type TemplateResult } from 'lit';
import { customElement, property, query } from 'lit/decorators.js';
import { t } from '../i18n/texts';
import { look, ZmElement } from './base';

@customElement('zm-question')
export class ZmQuestion extends ZmElement {
    @property() heading = '';
    @property() text = '';
    @property() yes = '';
    @query('dialog') private readonly dialog!: HTMLDialogElement;

    static override readonly styles = [
        look,
        css`
            dialog {
                border: 1px solid var(--line);
                border-radius: var(--radius);
                background: var(--card);
                color: var(--text);
                padding: 1.3rem;
                max-width: min(30rem, calc(100vw - 2rem));
            }
            dialog::backdrop {
                background: rgb(8 12 16 / 55%);
            }
        `,
    ];

    ask(): void {
        this.dialog.returnValue = '';
        this.dialog.showModal();
        this.renderRoot.querySelector<HTMLElement>('#no')?.focus();
    }

    #closed(): void {
        if (this.dialog.returnValue === 'yes') this.dispatchEvent(new CustomEvent('yes'));
    }

    override render(): TemplateResult {
        return html`<dialog aria-labelledby="heading" aria-describedby="text" @close=${() => this.#closed()}>
            <div class="stack">
                <h3 id="heading">${this.heading}</h3>
                <p id="text">${this.text}</p>
                <div class="row">
                    <button class="main" @click=${() => this.dialog.close('yes')}>${this.yes}</button>
                    <button id="no" @click=${() => this.dialog.close('no')}>${t('cancel')}</button>
                </div>
            </div>
        </dialog>`;
    }
}
