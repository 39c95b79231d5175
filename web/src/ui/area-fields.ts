/** The area's corners as numbers, and what else can be done with the area beside the picture. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement, property, state } from 'lit/decorators.js';
import { live } from 'lit/directives/live.js';
import { t } from '../i18n/texts';
import { quadOf, numbersOf, storableQuad, untangled } from '../model/geometry';
import { storable } from '../model/percent';
import { wholeNumberProblem } from '../model/settings';
import { look, mark, ZmElement } from './base';

@customElement('zm-area-fields')
export class ZmAreaFields extends ZmElement {
    @property({ type: Boolean }) placing = false;
    @property({ type: Number }) placed = 0;
    /** The field that is being typed into, with what it holds: nothing else may write to it meanwhile. */
    @state() private typing: { readonly place: number; readonly text: string } | undefined;
    /** A typed position that the camera cannot keep, and the one that it got instead. */
    @state() private replaced: { readonly typed: number; readonly used: number } | undefined;

    static override readonly styles = [
        look,
        css`
            .corners {
                display: grid;
                grid-template-columns: auto 1fr 1fr;
                gap: 0.45rem 0.6rem;
                align-items: center;
                max-width: 26rem;
            }
            .head {
                font-size: 0.875rem;
                color: var(--soft);
            }
            input {
                width: 100%;
                min-width: 3.5rem;
            }
        `,
    ];

    #type(place: number, text: string): void {
        const { draft, length } = this.store;
        if (draft === undefined) return;
        this.replaced = undefined;
        this.typing = undefined;
        const typed = text.trim();
        if (wholeNumberProblem(typed, 100) !== undefined) {
            this.store.edit({ cornerTexts: { ...draft.cornerTexts, [place]: text } });
            return;
        }
        const numbers = numbersOf(draft.area);
        const used = storable(Number(typed), place % 2 === 0 ? length.width : length.height, Number(typed) - (numbers[place] ?? 0));
        if (used !== Number(typed)) this.replaced = { typed: Number(typed), used };
        const others = Object.entries(draft.cornerTexts).filter(([key]) => Number(key) !== place);
        this.store.setArea(quadOf(numbers.map((n, i) => (i === place ? used : n))), draft.area);
        if (others.length > 0) this.store.edit({ cornerTexts: Object.fromEntries(others) });
    }

    #untangle(): void {
        const area = this.store.draft?.area;
        if (area !== undefined) this.store.setArea(storableQuad(untangled(area), this.store.length), area);
    }

    #problem(): TemplateResult | typeof nothing {
        const problem = this.store.problems.area;
        if (problem === undefined) return nothing;
        const text = problem === 'crossing' || problem === 'flat' || problem === 'outside' ? problem : 'corner';
        return html`<p class="error">${t(`area.problem.${text}`)}</p>
            ${problem === 'crossing'
                ? html`<div><button @click=${() => this.#untangle()}>${t('area.untangle')}</button></div>`
                : nothing}`;
    }

    override render(): TemplateResult | typeof nothing {
        const draft = this.store.draft;
        if (draft === undefined) return nothing;
        const numbers = numbersOf(draft.area);
        const field = (place: number, label: string): TemplateResult => html`
            <input
                type="text"
                inputmode="numeric"
                autocomplete="off"
                aria-label=${label}
                aria-invalid=${draft.cornerTexts[place] === undefined ? 'false' : 'true'}
                aria-describedby="problem"
                .value=${live(
                    this.typing?.place === place
                        ? this.typing.text
                        : (draft.cornerTexts[place] ?? String(numbers[place] ?? '')),
                )}
                @input=${(e: Event) => (this.typing = { place, text: (e.target as HTMLInputElement).value })}
                @blur=${() => (this.typing = undefined)}
                @change=${(e: Event) => this.#type(place, (e.target as HTMLInputElement).value)}
            />
        `;
        return html`
            <section class="card" aria-labelledby="title">
                <h3 id="title" class="label">${t('area.title')} ${mark('area')}</h3>
                <p class="soft">${t('area.explain')}</p>
                <div class="row">
                    <button
                        aria-pressed=${this.placing ? 'true' : 'false'}
                        @click=${() => this.dispatchEvent(new CustomEvent('place'))}
                    >
                        ${t('area.place')}
                    </button>
                    <button ?disabled=${!this.store.canUndo} @click=${() => this.store.undoArea()}>${t('area.undo')}</button>
                    <button ?disabled=${!this.store.changed.includes('area')} @click=${() => this.store.resetArea()}>
                        ${t('area.reset')}
                    </button>
                </div>
                <div role="status" class="soft">${this.placing ? t('area.placing', { n: this.placed + 1 }) : nothing}</div>
                <div class="corners">
                    <span></span>
                    <span class="head">${t('area.fromLeft')}</span>
                    <span class="head">${t('area.fromTop')}</span>
                    ${[0, 1, 2, 3].map(
                        (i) => html`
                            <span>${t('area.cornerShort', { n: i + 1 })}</span>
                            ${field(2 * i, t('area.cornerLeft', { n: i + 1 }))}
                            ${field(2 * i + 1, t('area.cornerTop', { n: i + 1 }))}
                        `,
                    )}
                </div>
                <div role="status" id="problem" class="stack">
                    ${this.#problem()}
                    ${this.replaced === undefined
                        ? nothing
                        : html`<p class="soft">
                              ${t('area.replaced', { typed: this.replaced.typed, used: this.replaced.used })}
                          </p>`}
                </div>
            </section>
        `;
    }
}
