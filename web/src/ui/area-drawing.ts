/**
 * The area of interest over the picture: corners and the whole area are dragged, moved with the arrow
 * keys, or placed one after the other by clicks.
 */

import { css, html, nothing, svg, type TemplateResult } from 'lit';
import { customElement, property, query, state } from 'lit/decorators.js';
import { t } from '../i18n/texts';
import { moved, quadOf, storablePoint, storableQuad, withCorner, type Point, type Quad } from '../model/geometry';
import { look, ZmElement } from './base';

interface Drag {
    readonly pointer: number;
    /** A corner, or the whole area. */
    readonly corner: number | undefined;
    readonly from: Point;
    readonly before: Quad;
}

const arrows: Readonly<Record<string, Point>> = {
    ArrowLeft: { x: -1, y: 0 },
    ArrowRight: { x: 1, y: 0 },
    ArrowUp: { x: 0, y: -1 },
    ArrowDown: { x: 0, y: 1 },
};

@customElement('zm-area-drawing')
export class ZmAreaDrawing extends ZmElement {
    /** Corners are being placed by clicks. */
    @property({ type: Boolean }) placing = false;
    @state() private placed: readonly Point[] = [];
    @state() private width = 0;
    @query('svg') private readonly drawing!: SVGSVGElement;

    #drag: Drag | undefined;
    readonly #observer = new ResizeObserver((entries) => (this.width = entries[0]?.contentRect.width ?? 0));

    static override readonly styles = [
        look,
        css`
            :host {
                position: absolute;
                inset: 0;
            }
            svg {
                width: 100%;
                height: 100%;
                display: block;
                overflow: visible;
                touch-action: none;
            }
            .area {
                fill: rgb(124 188 240 / 16%);
                stroke: #fff;
                cursor: move;
            }
            .edge {
                fill: none;
                stroke: #10151b;
                pointer-events: none;
            }
            .wrong .area {
                stroke: #ff9d96;
                fill: rgb(255 157 150 / 20%);
            }
            .corner {
                cursor: grab;
            }
            .corner .reach {
                fill: transparent;
            }
            .corner .knob {
                fill: #0b5c94;
                stroke: #fff;
            }
            .corner text {
                fill: #fff;
                font-weight: 700;
                text-anchor: middle;
                dominant-baseline: central;
                pointer-events: none;
                user-select: none;
            }
            .corner:focus,
            .area:focus {
                outline: none;
            }
            .corner:focus-visible .knob {
                stroke: #ffd866;
                fill: #10151b;
            }
            .area:focus-visible {
                stroke: #ffd866;
            }
            .place {
                fill: transparent;
                cursor: crosshair;
            }
        `,
    ];

    override connectedCallback(): void {
        super.connectedCallback();
        this.#observer.observe(this);
    }

    override disconnectedCallback(): void {
        super.disconnectedCallback();
        this.#observer.disconnect();
    }

    override willUpdate(changed: Map<string, unknown>): void {
        if (changed.has('placing') && this.placing) this.placed = [];
    }

    #pointOf(event: MouseEvent): Point {
        const box = this.drawing.getBoundingClientRect();
        return {
            x: ((event.clientX - box.left) / box.width) * 100,
            y: ((event.clientY - box.top) / box.height) * 100,
        };
    }

    #grab(event: PointerEvent, corner: number | undefined): void {
        const before = this.store.draft?.area;
        if (event.button !== 0 || before === undefined || this.placing) return;
        this.#drag = { pointer: event.pointerId, corner, from: this.#pointOf(event), before };
        this.drawing.setPointerCapture(event.pointerId);
    }

    #draw(event: PointerEvent): void {
        const drag = this.#drag;
        if (drag?.pointer !== event.pointerId) return;
        const now = this.#pointOf(event);
        const dx = now.x - drag.from.x;
        const dy = now.y - drag.from.y;
        const { length } = this.store;
        const old = drag.corner === undefined ? undefined : drag.before[drag.corner];
        if (drag.corner !== undefined && old !== undefined) {
            this.store.setArea(withCorner(drag.before, drag.corner, storablePoint({ x: old.x + dx, y: old.y + dy }, length)));
        } else {
            this.store.setArea(storableQuad(moved(drag.before, dx, dy), length));
        }
    }

    #drop(event: PointerEvent): void {
        const drag = this.#drag;
        if (drag?.pointer !== event.pointerId || this.store.draft === undefined) return;
        this.#drag = undefined;
        this.store.setArea(this.store.draft.area, drag.before);
    }

    #cancel(): void {
        if (this.#drag === undefined) return;
        this.store.setArea(this.#drag.before);
        this.#drag = undefined;
    }

    #key(event: KeyboardEvent, corner: number | undefined): void {
        if (event.key === 'Escape') this.#cancel();
        const arrow = arrows[event.key];
        const area = this.store.draft?.area;
        if (arrow === undefined || area === undefined || event.altKey || event.ctrlKey || event.metaKey) return;
        event.preventDefault();
        const step = event.shiftKey ? 5 : 1;
        const { length } = this.store;
        const old = corner === undefined ? undefined : area[corner];
        const next =
            corner !== undefined && old !== undefined
                ? withCorner(
                      area,
                      corner,
                      storablePoint({ x: old.x + arrow.x * step, y: old.y + arrow.y * step }, length, old),
                  )
                : storableQuad(moved(area, arrow.x * step, arrow.y * step), length, area);
        this.store.setArea(next, area);
    }

    #place(event: MouseEvent): void {
        const placed = [...this.placed, storablePoint(this.#pointOf(event), this.store.length)];
        const before = this.store.draft?.area;
        this.placed = placed;
        if (placed.length === 4 && before !== undefined) {
            this.store.setArea(quadOf(placed.flatMap((p) => [p.x, p.y])), before);
            this.placed = [];
            this.dispatchEvent(new CustomEvent('placed'));
        } else {
            this.dispatchEvent(new CustomEvent<number>('placing', { detail: placed.length }));
        }
    }

    override render(): TemplateResult | typeof nothing {
        const area = this.store.draft?.area;
        if (area === undefined) return nothing;
        const size = this.store.camera?.picture ?? { width: 1280, height: 720 };
        // Drawn in picture pixels; knobs and lines keep their size on the screen.
        const scale = this.width > 0 ? size.width / this.width : 1;
        const at = (p: Point): Point => ({ x: (p.x * size.width) / 100, y: (p.y * size.height) / 100 });
        const lines = (points: readonly Point[]): string =>
            points.map((p) => `${at(p).x},${at(p).y}`).join(' ');
        const knob = (p: Point, i: number): TemplateResult => {
            const { x, y } = at(p);
            return svg`
                <circle class="reach" cx=${x} cy=${y} r=${22 * scale}></circle>
                <circle class="knob" cx=${x} cy=${y} r=${13 * scale} stroke-width=${2.5 * scale}></circle>
                <text x=${x} y=${y} font-size=${13 * scale}>${i + 1}</text>`;
        };
        const wrong = this.store.problems.area !== undefined;
        return html`
            <svg
                viewBox="0 0 ${size.width} ${size.height}"
                class=${wrong ? 'wrong' : ''}
                role="group"
                aria-label=${t('area.drawing')}
                @pointermove=${(e: PointerEvent) => this.#draw(e)}
                @pointerup=${(e: PointerEvent) => this.#drop(e)}
                @pointercancel=${() => this.#cancel()}
            >
                ${this.placing
                    ? svg`
                        <polyline class="edge" points=${lines(this.placed)} stroke-width=${5 * scale}></polyline>
                        <polyline class="area" points=${lines(this.placed)} stroke-width=${2 * scale}></polyline>
                        ${this.placed.map((p, i) => svg`<g class="corner">${knob(p, i)}</g>`)}
                        <rect class="place" width=${size.width} height=${size.height}
                            @click=${(e: MouseEvent) => this.#place(e)}></rect>`
                    : svg`
                        <polygon class="edge" points=${lines(area)} stroke-width=${5 * scale}></polygon>
                        <polygon class="area" points=${lines(area)} stroke-width=${2 * scale}
                            tabindex="0" role="button" aria-label=${t('area.whole')} aria-describedby="keys"
                            @pointerdown=${(e: PointerEvent) => this.#grab(e, undefined)}
                            @keydown=${(e: KeyboardEvent) => this.#key(e, undefined)}></polygon>
                        ${area.map((p, i) => svg`<g class="corner" tabindex="0" role="button" data-corner=${i}
                            aria-label=${t('area.corner', { n: i + 1, x: p.x, y: p.y })} aria-describedby="keys"
                            @pointerdown=${(e: PointerEvent) => this.#grab(e, i)}
                            @keydown=${(e: KeyboardEvent) => this.#key(e, i)}>${knob(p, i)}</g>`)}`}
            </svg>
            <span id="keys" class="hidden-text">${t('area.keys')}</span>
        `;
    }
}
