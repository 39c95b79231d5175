/** Marker sheets to print. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement, state } from 'lit/decorators.js';
import { live } from 'lit/directives/live.js';
import { t, tn } from '../i18n/texts';
import { dictionaries, isDictionary, markerCounts, type Dictionary } from '../model/settings';
import {
    checkLength,
    drawPage,
    layoutSheets,
    maxSide,
    minSide,
    papers,
    parseIds,
    parseSide,
    svgText,
    type Drawing,
    type Layout,
    type Paper,
    type Table,
} from '../model/sheet';
import { look, ZmElement } from './base';
import { download } from './download';

const maxPages = 100;
const previewed = 6;

function element(drawing: Drawing): Element {
    const node = document.createElementNS('http://www.w3.org/2000/svg', drawing.tag);
    for (const [name, value] of Object.entries(drawing.attributes)) {
        if (name !== 'xmlns') node.setAttribute(name, String(value));
    }
    if (typeof drawing.content === 'string') node.textContent = drawing.content;
    else node.append(...drawing.content.map(element));
    return node;
}

@customElement('zm-sheets-view')
export class ZmSheetsView extends ZmElement {
    @state() private tables: Readonly<Record<Dictionary, Table>> | undefined;
    @state() private failed = false;
    @state() private chosen: Dictionary | undefined;
    @state() private ids = '0-5';
    @state() private side = '60';
    @state() private paper: Paper = 'A4';

    static override readonly styles = [
        look,
        css`
            .columns {
                display: grid;
                gap: 1rem;
                align-items: start;
            }
            @media (min-width: 60rem) {
                .columns {
                    grid-template-columns: 22rem minmax(0, 1fr);
                }
            }
            .pages {
                display: grid;
                gap: 1rem;
                grid-template-columns: repeat(auto-fill, minmax(min(100%, 20rem), 1fr));
                list-style: none;
            }
            .pages svg {
                display: block;
                width: 100%;
                height: auto;
                border: 1px solid var(--line);
                background: #fff;
            }
            .page {
                display: grid;
                gap: 0.4rem;
                justify-items: start;
            }
            #ids {
                width: 100%;
            }
            #side {
                width: 6rem;
            }
        `,
    ];

    override connectedCallback(): void {
        super.connectedCallback();
        import('../model/tables.json').then(
            (tables) => (this.tables = tables.default),
            () => (this.failed = true),
        );
    }

    get #dictionary(): Dictionary {
        const draft = this.store.draft?.dictionary ?? '';
        return this.chosen ?? (isDictionary(draft) ? draft : '5x5');
    }

    #layout(): Layout | undefined {
        const ids = parseIds(this.ids, markerCounts[this.#dictionary]);
        const side = parseSide(this.side);
        return 'ids' in ids && side !== undefined ? layoutSheets(this.#dictionary, ids.ids, side, this.paper) : undefined;
    }

    #drawings(layout: Layout, count: number): Drawing[] {
        const table = this.tables?.[this.#dictionary];
        const side = parseSide(this.side);
        if (table === undefined || side === undefined) return [];
        const dictionary = this.#dictionary;
        return layout.pages.slice(0, count).map((_, page) =>
            drawPage(layout, page, dictionary, table, side, {
                label: (id) => t('sheet.label', { dictionary, id, side }),
                check: t('sheet.check', { length: checkLength }),
                title: t('sheet.footer', { page: page + 1, pages: layout.pages.length }),
            }),
        );
    }

    /** Printing takes a copy of the pages outside all components, where it alone is seen. */
    #print(layout: Layout): void {
        const pages = document.createElement('div');
        pages.id = 'sheets-to-print';
        pages.append(...this.#drawings(layout, maxPages).map(element));
        const size = new CSSStyleSheet();
        size.replaceSync(`@page { size: ${layout.paper.width}mm ${layout.paper.height}mm; margin: 0; }`);
        const before = document.adoptedStyleSheets;
        document.body.append(pages);
        document.body.classList.add('sheets');
        document.adoptedStyleSheets = [...before, size];
        const tidy = (): void => {
            pages.remove();
            document.body.classList.remove('sheets');
            document.adoptedStyleSheets = before;
        };
        window.addEventListener('afterprint', tidy, { once: true });
        window.print();
    }

    #idsProblem(): string {
        const count = markerCounts[this.#dictionary];
        const ids = parseIds(this.ids, count);
        return 'problem' in ids ? t(`sheet.ids.${ids.problem}`, { text: ids.text, last: count - 1 }) : '';
    }

    #controls(layout: Layout | undefined): TemplateResult {
        const idsProblem = this.#idsProblem();
        const sideProblem = parseSide(this.side) === undefined ? t('sheet.side.problem', { min: minSide, max: maxSide }) : '';
        const tooMany = layout !== undefined && layout.pages.length > maxPages;
        const ready = layout !== undefined && !tooMany && this.tables !== undefined;
        return html`<section class="card" aria-labelledby="what">
            <h3 id="what">${t('sheet.what')}</h3>
            <div class="field">
                <label class="label" for="kind">${t('markers.dictionary')}</label>
                <select id="kind" @change=${(e: Event) => {
                    const name = (e.target as HTMLSelectElement).value;
                    if (isDictionary(name)) this.chosen = name;
                }}>
                    ${dictionaries.map(
                        (name) => html`<option value=${name} .selected=${live(name === this.#dictionary)}>
                            ${t('markers.option', { name, last: markerCounts[name] - 1 })}
                        </option>`,
                    )}
                </select>
            </div>
            <div class="field">
                <label class="label" for="ids">${t('sheet.ids')}</label>
                <input id="ids" type="text" autocomplete="off" .value=${live(this.ids)}
                    aria-invalid=${idsProblem === '' ? 'false' : 'true'} aria-describedby="ids-problem"
                    @input=${(e: Event) => (this.ids = (e.target as HTMLInputElement).value)} />
                <span id="ids-problem" role="status" class="error">${idsProblem}</span>
            </div>
            <div class="field">
                <label class="label" for="side">${t('sheet.side')}</label>
                <input id="side" type="text" inputmode="decimal" autocomplete="off" .value=${live(this.side)}
                    aria-invalid=${sideProblem === '' ? 'false' : 'true'} aria-describedby="side-problem side-explained"
                    @input=${(e: Event) => (this.side = (e.target as HTMLInputElement).value)} />
                <span id="side-problem" role="status" class="error">${sideProblem}</span>
                <span id="side-explained" class="soft">${t('sheet.side.explain')} <a href="#help/size">${t('markers.more')}</a></span>
            </div>
            <div class="field">
                <label class="label" for="paper">${t('sheet.paper')}</label>
                <select id="paper" @change=${(e: Event) => (this.paper = (e.target as HTMLSelectElement).value as Paper)}>
                    ${(Object.keys(papers) as Paper[]).map(
                        (name) => html`<option value=${name} .selected=${live(name === this.paper)}>${name}</option>`,
                    )}
                </select>
            </div>
            <p role="status" class=${tooMany ? 'error' : 'soft'}>
                ${layout === undefined ? nothing : tn('sheet.pages', layout.pages.length)}
                ${tooMany ? t('sheet.tooMany', { max: maxPages }) : nothing}
                ${this.failed ? t('sheet.noTables') : nothing}
            </p>
            <div class="row">
                <button class="main" ?disabled=${!ready} @click=${() => layout !== undefined && this.#print(layout)}>
                    ${t('sheet.print')}
                </button>
            </div>
            <p class="soft">${t('sheet.print.explain', { length: checkLength })}</p>
        </section>`;
    }

    override render(): TemplateResult {
        const layout = this.#layout();
        const shown = layout === undefined ? [] : this.#drawings(layout, previewed);
        const more = (layout?.pages.length ?? 0) - shown.length;
        return html`<div class="stack">
            <h2>${t('view.sheets')}</h2>
            <div class="columns">
                ${this.#controls(layout)}
                <div class="stack">
                    <ol class="pages">
                        ${shown.map(
                            (drawing, i) => html`<li class="page">
                                <div role="img" aria-label=${t('sheet.preview', { page: i + 1 })}>${element(drawing)}</div>
                                <button
                                    @click=${() =>
                                        download(
                                            `markers-${this.#dictionary}-${i + 1}.svg`,
                                            'image/svg+xml',
                                            `<?xml version="1.0" encoding="UTF-8"?>\n${svgText(drawing)}\n`,
                                        )}
                                >
                                    ${t('sheet.save', { page: i + 1 })}
                                </button>
                            </li>`,
                        )}
                    </ol>
                    ${more > 0 && shown.length > 0 ? html`<p class="soft">${tn('sheet.more', more)}</p>` : nothing}
                </div>
            </div>
        </div>`;
    }
}
