/** The log, and settings as a file. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement, state } from 'lit/decorators.js';
import { t, tn } from '../i18n/texts';
import { check } from '../model/settings';
import { exportText, importText, maxLength, type Finding } from '../model/transfer';
import { look, ZmElement } from './base';
import { download } from './download';
import './log-list';

interface Report {
    readonly file: string;
    readonly taken: boolean;
    readonly findings: readonly Finding[];
}

@customElement('zm-advanced-view')
export class ZmAdvancedView extends ZmElement {
    @state() private logOpen = false;
    @state() private report: Report | undefined;

    static override readonly styles = [
        look,
        css`
            ul {
                padding-left: 1.2rem;
            }
            code {
                overflow-wrap: anywhere;
            }
        `,
    ];

    async #import(input: HTMLInputElement): Promise<void> {
        const file = input.files?.[0];
        if (file === undefined) return;
        const text = file.size > 4 * maxLength ? 'x'.repeat(maxLength + 1) : await file.text();
        input.value = '';
        const { settings, findings } = importText(text, this.store.document?.offered ?? [], this.store.length);
        if (settings !== undefined) this.store.takeImported(settings);
        this.report = { file: file.name, taken: settings !== undefined, findings };
    }

    #reportText(): TemplateResult | typeof nothing {
        if (this.report === undefined) return nothing;
        const { file, taken, findings } = this.report;
        const errors = findings.filter((finding) => finding.severity === 'error').length;
        return html`<div class="note ${taken ? 'good' : 'bad'}">
            <p>${taken ? t('import.taken', { file }) : tn('import.refused', errors, { file })}</p>
            ${findings.length === 0
                ? nothing
                : html`<ul>
                      ${findings.map(
                          ({ path, code, severity }) => html`<li>
                              ${severity === 'warning' ? t('import.warning') : nothing}
                              ${path === '' ? nothing : html`<code>${path}</code>: `}${t(`import.${code}`)}
                          </li>`,
                      )}
                  </ul>`}
        </div>`;
    }

    override render(): TemplateResult {
        const stored = this.store.stored === undefined ? undefined : check(this.store.stored).settings;
        return html`<div class="stack">
            <h2>${t('view.advanced')}</h2>
            <section class="card" aria-labelledby="log-title">
                <h3 id="log-title">${t('log.title')}</h3>
                <div>
                    <button aria-expanded=${this.logOpen ? 'true' : 'false'} @click=${() => (this.logOpen = !this.logOpen)}>
                        ${this.logOpen ? t('log.close') : t('log.view')}
                    </button>
                </div>
                ${this.logOpen ? html`<zm-log-list></zm-log-list>` : html`<p class="soft">${t('log.explain')}</p>`}
            </section>
            <section class="card" aria-labelledby="file-title">
                <h3 id="file-title">${t('file.title')}</h3>
                <p class="soft">${t('file.explain')}</p>
                <div>
                    <button
                        ?disabled=${stored === undefined}
                        @click=${() =>
                            stored !== undefined &&
                            download('zerith-markers-settings.json', 'application/json', exportText(stored))}
                    >
                        ${t('file.export')}
                    </button>
                </div>
                ${stored === undefined && this.store.stored !== undefined
                    ? html`<p class="soft">${t('file.nothing')}</p>`
                    : nothing}
                <div class="field">
                    <button
                        ?disabled=${this.store.draft === undefined}
                        @click=${() => this.renderRoot.querySelector<HTMLInputElement>('#file')?.click()}
                    >
                        ${t('file.import')}
                    </button>
                    <input
                        id="file"
                        type="file"
                        hidden
                        accept=".json,application/json"
                        @change=${(e: Event) => void this.#import(e.target as HTMLInputElement)}
                    />
                </div>
                <div role="status">${this.#reportText()}</div>
            </section>
        </div>`;
    }
}
