/** What is not saved yet, and what became of the last save. It stays in sight at the lower edge. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement } from 'lit/decorators.js';
import { t } from '../i18n/texts';
import { failureText, fieldList, look, ZmElement } from './base';

@customElement('zm-save-bar')
export class ZmSaveBar extends ZmElement {
    static override readonly styles = [
        look,
        css`
            .bar {
                background: var(--card);
                border: 1px solid var(--line);
                border-radius: var(--radius) var(--radius) 0 0;
                box-shadow: 0 -4px 16px rgb(16 24 32 / 12%);
                padding: 0.7rem 1rem;
                display: grid;
                gap: 0.6rem;
            }
            .row {
                justify-content: space-between;
            }
            /* On a telephone the bar leaves room for what it is about. */
            @media (max-width: 30rem) {
                .bar {
                    padding: 0.5rem 0.7rem;
                    gap: 0.4rem;
                    font-size: 0.9rem;
                }
                .note {
                    padding: 0.35rem 0.6rem;
                }
                .proposed {
                    display: none;
                }
            }
        `,
    ];

    #result(): TemplateResult | typeof nothing {
        const result = this.store.saveResult;
        switch (result?.kind) {
            case undefined:
                return nothing;
            case 'saved':
                return html`<p class="note good">
                    ${t('save.saved', { fields: fieldList(result.fields) })}
                    ${result.rounded ? t('save.rounded') : nothing}
                </p>`;
            case 'nothing':
                return html`<p class="note">${t('save.nothing')}</p>`;
            case 'wrong':
                return html`<p class="note bad">${t('save.wrong', { fields: fieldList(result.fields) })}</p>`;
            case 'conflict':
                return html`<p class="note warn">${t('save.conflict', { fields: fieldList(result.fields) })}</p>`;
            case 'different':
                return html`<p class="note bad">${t('save.different', { fields: fieldList(result.fields) })}</p>`;
            case 'failed':
                return html`<p class="note bad">${t('save.failed')} ${failureText(result.failure)}</p>`;
        }
    }

    override render(): TemplateResult | typeof nothing {
        const { changed, edited, proposed, conflicts, saving, saveResult } = this.store;
        const result = this.#result();
        const pending = changed.length > 0;
        const open = pending || result !== nothing;
        return html`<div class=${open ? 'bar' : ''}>
            <div role="status" class="stack">
                ${result}
                ${conflicts.length > 0 && saveResult?.kind !== 'conflict'
                    ? html`<p class="note warn">${t('save.conflicts', { fields: fieldList(conflicts) })}</p>`
                    : nothing}
            </div>
            ${pending
                ? html`<div class="row">
                      <span>
                          ${edited.length > 0 ? t('save.changed', { fields: fieldList(edited) }) : nothing}
                          ${proposed.length > 0
                              ? html`<span class="proposed">${t('save.proposed', { fields: fieldList(proposed) })}</span>`
                              : nothing}
                      </span>
                      <span class="row">
                          ${edited.length > 0
                              ? html`<button ?disabled=${saving} @click=${() => this.store.discard()}>${t('save.discard')}</button>`
                              : nothing}
                          <button class="main" ?disabled=${saving} @click=${() => void this.store.save()}>
                              ${saving ? t('save.saving') : t('save.save')}
                          </button>
                      </span>
                  </div>`
                : nothing}
        </div>`;
    }
}
