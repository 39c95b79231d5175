/** What one has to know to make it work. */

import { css, html, type PropertyValues, type TemplateResult } from 'lit';
import { customElement, property } from 'lit/decorators.js';
import { t, type Key } from '../i18n/texts';
import { explainedStates, toneOf } from '../model/status';
import { look, ZmElement } from './base';

const steps: readonly Key[] = ['help.start.1', 'help.start.2', 'help.start.3'];

const reasons: readonly Key[] = [
    'help.why.wrongDictionary',
    'help.why.border',
    'help.why.size',
    'help.why.blur',
    'help.why.light',
    'help.why.mirrored',
    'help.why.bent',
    'help.why.outside',
];

@customElement('zm-help-view')
export class ZmHelpView extends ZmElement {
    static override readonly styles = [
        look,
        css`
            .text {
                columns: 2 26rem;
                column-gap: 1rem;
            }
            .card {
                break-inside: avoid;
                margin-bottom: 1rem;
            }
            ol {
                padding-left: 1.3rem;
            }
            ul {
                padding-left: 1.2rem;
                display: grid;
                gap: 0.3rem;
            }
            dl {
                display: grid;
                gap: 0.7rem;
            }
            dt {
                font-weight: 600;
            }
            dt .note {
                padding: 0 0.5rem;
            }
        `,
    ];

    /** The section to show at once: what follows "help." in its title's key. */
    @property() topic = '';

    override updated(changed: PropertyValues<this>): void {
        if (!changed.has('topic') || this.topic === '') return;
        const title = this.renderRoot.querySelector<HTMLElement>(`#${CSS.escape(this.topic)}`);
        title?.scrollIntoView({ block: 'center' });
        title?.focus({ preventScroll: true });
    }

    #section(title: Key, ...texts: Key[]): TemplateResult {
        return html`<section class="card">
            <h3 id=${title.replace('help.', '')} tabindex="-1">${t(title)}</h3>
            ${texts.map((text) => html`<p>${t(text)}</p>`)}
        </section>`;
    }

    override render(): TemplateResult {
        return html`<div class="stack">
            <h2>${t('view.help')}</h2>
            <div class="text">
            <section class="card">
                <h3>${t('help.start')}</h3>
                <ol>
                    ${steps.map((step) => html`<li>${t(step)}</li>`)}
                </ol>
            </section>
            ${this.#section('help.dictionary', 'help.dictionary.1', 'help.dictionary.2', 'help.dictionary.3')}
            ${this.#section('help.size', 'help.size.1', 'help.size.2', 'help.size.3')}
            <section class="card">
                <h3>${t('help.why')}</h3>
                <ul>
                    ${reasons.map((reason) => html`<li>${t(reason)}</li>`)}
                </ul>
            </section>
            ${this.#section('help.area', 'help.area.1', 'help.area.2')}
            ${this.#section('help.alert', 'help.alert.1', 'help.alert.2', 'help.alert.3')}
            <section class="card">
                <h3>${t('help.states')}</h3>
                <dl>
                    ${explainedStates.map(
                        (state) => html`<div>
                            <dt><span class="note ${toneOf(state)}">${t(`state.${state}`)}</span></dt>
                            <dd>${t(`state.${state}.do`)}</dd>
                        </div>`,
                    )}
                </dl>
            </section>
            </div>
        </div>`;
    }
}
