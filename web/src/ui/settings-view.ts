/** When the alert comes, which markers count, and where they are drawn. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement } from 'lit/decorators.js';
import { live } from 'lit/directives/live.js';
import { t, tn, type Key } from '../i18n/texts';
import { sizeText } from '../model/picture-size';
import { dictionaries, isDictionary, markerCounts, type Field } from '../model/settings';
import { look, mark, ZmElement } from './base';

@customElement('zm-settings-view')
export class ZmSettingsView extends ZmElement {
    static override readonly styles = [
        look,
        css`
            .columns {
                display: grid;
                gap: 1rem;
                grid-template-columns: repeat(auto-fit, minmax(min(100%, 24rem), 1fr));
                align-items: start;
            }
            #seconds {
                width: 7rem;
            }
        `,
    ];

    #problem(field: Field): TemplateResult | typeof nothing {
        const problem = this.store.problems[field];
        const text = problem === undefined ? nothing : html`<span class="error">${t(`problem.${problem}`)}</span>`;
        return html`<span id="${field}-problem" role="status">${text}</span>`;
    }

    #choice(type: 'radio' | 'checkbox', id: string, checked: boolean, label: Key, explain: string, act: (on: boolean) => void): TemplateResult {
        return html`<div class="choice">
            <input
                type=${type}
                id=${id}
                name=${type === 'radio' ? 'when' : id}
                aria-describedby="${id}-explained"
                .checked=${live(checked)}
                @change=${(e: Event) => act((e.target as HTMLInputElement).checked)}
            />
            <span>
                <label for=${id}>${t(label)}</label>
                <span class="soft" id="${id}-explained">${explain}</span>
            </span>
        </div>`;
    }

    #alertCard(): TemplateResult | typeof nothing {
        const { draft, problems } = this.store;
        if (draft === undefined) return nothing;
        const n = Number(draft.seconds.trim());
        const sentence = draft.requirePresent ? 'alert.sentence.present' : 'alert.sentence.missing';
        return html`<section class="card" aria-labelledby="alert-title">
            <h3 id="alert-title">${t('alert.title')}</h3>
            <fieldset>
                <legend class="label">${t('alert.when')} ${mark('requirePresent')}</legend>
                ${this.#choice('radio', 'present', draft.requirePresent, 'alert.present', t('alert.present.explain'), () =>
                    this.store.edit({ requirePresent: true }),
                )}
                ${this.#choice('radio', 'missing', !draft.requirePresent, 'alert.missing', t('alert.missing.explain'), () =>
                    this.store.edit({ requirePresent: false }),
                )}
            </fieldset>
            <div class="field">
                <span class="label"><label for="seconds">${t('alert.seconds')}</label> ${mark('seconds')}</span>
                <input
                    id="seconds"
                    type="text"
                    inputmode="numeric"
                    autocomplete="off"
                    aria-invalid=${problems.seconds === undefined ? 'false' : 'true'}
                    aria-describedby="seconds-problem sentence"
                    .value=${live(draft.seconds)}
                    @input=${(e: Event) => this.store.edit({ seconds: (e.target as HTMLInputElement).value })}
                />
                ${this.#problem('seconds')}
            </div>
            <p class="note" id="sentence">
                ${problems.seconds === undefined ? tn(sentence, n) : t('alert.sentence.none')}
            </p>
        </section>`;
    }

    #markersCard(): TemplateResult | typeof nothing {
        const { draft, problems, stored } = this.store;
        if (draft === undefined) return nothing;
        const odd = stored !== undefined && !isDictionary(stored.dictionary) && !['', '0'].includes(stored.dictionary);
        return html`<section class="card" aria-labelledby="markers-title">
            <h3 id="markers-title">${t('markers.title')}</h3>
            <div class="field">
                <span class="label"><label for="dictionary">${t('markers.dictionary')}</label> ${mark('dictionary')}</span>
                <select
                    id="dictionary"
                    aria-invalid=${problems.dictionary === undefined ? 'false' : 'true'}
                    aria-describedby="dictionary-problem dictionary-explained"
                    @change=${(e: Event) => this.store.edit({ dictionary: (e.target as HTMLSelectElement).value })}
                >
                    ${isDictionary(draft.dictionary) ? nothing : html`<option selected value="">${t('markers.choose')}</option>`}
                    ${dictionaries.map(
                        (name) => html`<option value=${name} .selected=${live(draft.dictionary === name)}>
                            ${t('markers.option', { name, last: markerCounts[name] - 1 })}
                        </option>`,
                    )}
                </select>
                ${this.#problem('dictionary')}
                ${odd ? html`<p class="note warn">${t('markers.odd', { text: stored.dictionary })}</p>` : nothing}
                <span class="soft" id="dictionary-explained">
                    ${t('markers.dictionary.explain')} <a href="#help/dictionary">${t('markers.more')}</a>
                </span>
            </div>
            <div>
                ${this.#choice('checkbox', 'outside', draft.displayNonAoi, 'markers.outside', t('markers.outside.explain'), (on) =>
                    this.store.edit({ displayNonAoi: on }),
                )}
                ${mark('displayNonAoi')}
            </div>
        </section>`;
    }

    #overlayCard(): TemplateResult | typeof nothing {
        const { draft, problems, document, camera } = this.store;
        if (draft === undefined || document === undefined) return nothing;
        const picture = camera === undefined ? '' : sizeText(camera.picture);
        const offered = document.offered.map(sizeText);
        const known = offered.includes(draft.overlayStream);
        const sized = /^\d+x\d+$/.test(draft.overlayStream);
        return html`<section class="card" aria-labelledby="overlay-title">
            <h3 id="overlay-title">${t('overlay.title')}</h3>
            <p class="soft">${t('overlay.always', { size: picture })}</p>
            <div>
                ${this.#choice('checkbox', 'overlays', draft.overlaysOn, 'overlay.on', t('overlay.on.explain'), (on) =>
                    this.store.edit({ overlaysOn: on }),
                )}
                ${mark('overlaysOn')}
            </div>
            <div class="field">
                <span class="label"><label for="stream">${t('overlay.stream')}</label> ${mark('overlayStream')}</span>
                <select
                    id="stream"
                    ?disabled=${!draft.overlaysOn}
                    aria-invalid=${problems.overlayStream === undefined ? 'false' : 'true'}
                    aria-describedby="overlayStream-problem stream-explained"
                    @change=${(e: Event) => this.store.edit({ overlayStream: (e.target as HTMLSelectElement).value })}
                >
                    ${known
                        ? nothing
                        : html`<option value=${draft.overlayStream} .selected=${live(true)}>
                              ${sized ? t('overlay.notOffered', { size: draft.overlayStream }) : t('overlay.choose')}
                          </option>`}
                    ${offered.map(
                        (size) => html`<option value=${size} .selected=${live(draft.overlayStream === size)}>${size}</option>`,
                    )}
                </select>
                ${this.#problem('overlayStream')}
                <span class="soft" id="stream-explained">${t('overlay.stream.explain')}</span>
            </div>
        </section>`;
    }

    override render(): TemplateResult {
        return html`<div class="stack">
            <h2>${t('view.settings')}</h2>
            <div class="columns">${this.#alertCard()} ${this.#markersCard()} ${this.#overlayCard()}</div>
        </div>`;
    }
}
