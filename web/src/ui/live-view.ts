/** The view that one sets the camera up in and looks at it with. */

import { css, html, nothing, type TemplateResult } from 'lit';
import { customElement, state } from 'lit/decorators.js';
import { t } from '../i18n/texts';
import './area-drawing';
import './area-fields';
import { look, ZmElement } from './base';
import './picture';
import './status';

@customElement('zm-live-view')
export class ZmLiveView extends ZmElement {
    @state() private placing = false;
    @state() private placed = 0;

    static override readonly styles = [
        look,
        css`
            .columns {
                display: grid;
                gap: 1rem;
                align-items: start;
                grid-template-columns: minmax(0, 1fr);
            }
            @media (min-width: 60rem) {
                .columns {
                    grid-template: 'picture side' auto 'area side' 1fr / minmax(0, 1fr) 22rem;
                }
                .picture {
                    grid-area: picture;
                }
                .side {
                    grid-area: side;
                }
                .area {
                    grid-area: area;
                }
            }
        `,
    ];

    #place(): void {
        this.placing = !this.placing;
        this.placed = 0;
        // What is to be clicked into has to be in sight.
        if (this.placing) this.renderRoot.querySelector('zm-picture')?.scrollIntoView({ block: 'nearest' });
    }

    override render(): TemplateResult {
        const known = this.store.draft !== undefined;
        return html`
            <div class="stack">
                <h2>${t('view.live')}</h2>
                <div class="columns">
                    <zm-picture class="picture">
                        ${known
                            ? html`<zm-area-drawing
                                  .placing=${this.placing}
                                  @placing=${(e: CustomEvent<number>) => (this.placed = e.detail)}
                                  @placed=${() => (this.placing = false)}
                              ></zm-area-drawing>`
                            : nothing}
                    </zm-picture>
                    <div class="stack side">
                        <zm-status></zm-status>
                        <zm-manual></zm-manual>
                    </div>
                    ${known
                        ? html`<zm-area-fields
                              class="area"
                              .placing=${this.placing}
                              .placed=${this.placed}
                              @place=${() => this.#place()}
                          ></zm-area-fields>`
                        : nothing}
                </div>
            </div>
        `;
    }
}
