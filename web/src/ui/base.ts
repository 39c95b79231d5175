/** What all components share: they follow the state and the language, and look alike. */

import { css, LitElement, nothing, html, type TemplateResult } from 'lit';
import { t, onLanguage, listOf, type Key } from '../i18n/texts';
import { ApiFailure } from '../api/client';
import type { CannotCarry } from '../model/document';
import type { Field } from '../model/settings';
import { store } from '../state/store';

export class ZmElement extends LitElement {
    readonly store = store;
    #leave: (() => void)[] = [];

    override connectedCallback(): void {
        super.connectedCallback();
        const update = (): void => this.requestUpdate();
        store.addEventListener('change', update);
        this.#leave = [() => store.removeEventListener('change', update), onLanguage(update)];
    }

    override disconnectedCallback(): void {
        super.disconnectedCallback();
        this.#leave.forEach((leave) => leave());
    }
}

const fieldNames: Readonly<Record<Field, Key>> = {
    requirePresent: 'field.requirePresent',
    seconds: 'field.seconds',
    dictionary: 'field.dictionary',
    displayNonAoi: 'field.displayNonAoi',
    overlaysOn: 'field.overlaysOn',
    overlayStream: 'field.overlayStream',
    area: 'field.area',
};

export function fieldList(fields: readonly Field[]): string {
    return listOf(fields.map((field) => t(fieldNames[field])));
}

/** Why something failed, as a sentence. What an answer held is quoted, as text. */
export function failureText(failure: ApiFailure | CannotCarry): string {
    if (!(failure instanceof ApiFailure)) return t('failure.cannotCarry', { element: failure.element });
    const why = failure.problem === undefined ? t(`failure.${failure.kind}`) : t(`failure.document.${failure.problem}`);
    const status = failure.status === undefined || failure.status === 200 ? '' : ` (HTTP ${failure.status})`;
    const said = failure.detail === undefined || failure.detail === '' ? '' : ` ${t('failure.said', { text: failure.detail })}`;
    return why + status + said;
}

/** The mark beside a field that is not as the camera has it. */
export function mark(field: Field): TemplateResult | typeof nothing {
    if (store.proposed.includes(field)) return html`<span class="chip proposal">${t('mark.proposal')}</span>`;
    if (store.changed.includes(field)) return html`<span class="chip">${t('mark.changed')}</span>`;
    return nothing;
}

export const look = css`
    :host {
        display: block;
    }
    :host([hidden]),
    [hidden] {
        display: none !important;
    }
    *,
    *::before,
    *::after {
        box-sizing: border-box;
    }
    h1,
    h2,
    h3,
    p,
    ul,
    ol,
    dl,
    dd,
    fieldset,
    legend,
    figure {
        margin: 0;
        padding: 0;
    }
    h2 {
        font-size: 1.35rem;
        line-height: 1.3;
        font-weight: 650;
    }
    h3 {
        font-size: 1.05rem;
        line-height: 1.35;
        font-weight: 650;
    }
    a {
        color: var(--accent);
    }
    fieldset {
        border: 0;
        min-width: 0;
    }
    legend {
        font-weight: 600;
    }
    .card {
        background: var(--card);
        border: 1px solid var(--line);
        border-radius: var(--radius);
        box-shadow: var(--shadow);
        padding: 1.1rem 1.2rem;
        display: grid;
        gap: 0.8rem;
        align-content: start;
        min-width: 0;
    }
    .stack {
        display: grid;
        gap: 1rem;
        align-content: start;
        min-width: 0;
    }
    .row {
        display: flex;
        flex-wrap: wrap;
        gap: 0.6rem;
        align-items: center;
    }
    .soft {
        color: var(--soft);
        font-size: 0.925rem;
    }
    .field {
        display: grid;
        gap: 0.3rem;
        justify-items: start;
    }
    .label {
        display: flex;
        flex-wrap: wrap;
        gap: 0.25rem 0.6rem;
        align-items: center;
        font-weight: 600;
    }
    button,
    input,
    select {
        font: inherit;
        color: inherit;
    }
    button {
        min-height: 2.5rem;
        padding: 0.4rem 0.95rem;
        border-radius: 8px;
        border: 1px solid var(--control);
        background: var(--card);
        cursor: pointer;
        font-weight: 550;
    }
    button:hover:not(:disabled) {
        background: var(--sunken);
    }
    button.main {
        background: var(--accent);
        border-color: var(--accent);
        color: var(--on-accent);
    }
    button.main:hover:not(:disabled) {
        background: var(--accent);
        filter: brightness(1.08);
    }
    button:disabled {
        color: var(--soft);
        background: var(--sunken);
        border-color: var(--line);
        cursor: default;
    }
    button[aria-pressed='true'] {
        background: var(--accent-soft);
        border-color: var(--accent);
    }
    input[type='text'],
    input[type='search'],
    select {
        min-height: 2.5rem;
        padding: 0.35rem 0.6rem;
        border: 1px solid var(--control);
        border-radius: 8px;
        background: var(--card);
        max-width: 100%;
    }
    input[aria-invalid='true'],
    select[aria-invalid='true'] {
        border-color: var(--bad);
        box-shadow: inset 0 0 0 1px var(--bad);
    }
    input[type='checkbox'],
    input[type='radio'] {
        width: 1.35rem;
        height: 1.35rem;
        margin: 0.1rem 0 0;
        accent-color: var(--accent);
        flex: none;
    }
    .choice {
        display: flex;
        gap: 0.65rem;
        align-items: flex-start;
        padding: 0.25rem 0;
    }
    .choice > span {
        display: grid;
    }
    :focus-visible {
        outline: 3px solid var(--accent);
        outline-offset: 2px;
    }
    .chip {
        font-size: 0.8rem;
        font-weight: 600;
        line-height: 1.5;
        padding: 0 0.5rem;
        border-radius: 99px;
        background: var(--accent-soft);
        color: var(--accent);
    }
    .chip.proposal {
        background: var(--warn-soft);
        color: var(--warn);
    }
    .note {
        border-radius: 8px;
        padding: 0.6rem 0.8rem;
        background: var(--idle-soft);
        overflow-wrap: anywhere;
    }
    .note.good {
        background: var(--good-soft);
        color: var(--good);
    }
    .note.warn {
        background: var(--warn-soft);
        color: var(--warn);
    }
    .note.bad,
    .note.alert {
        background: var(--bad-soft);
        color: var(--bad);
    }
    .error {
        color: var(--bad);
        font-weight: 550;
    }
    .hidden-text {
        position: absolute;
        width: 1px;
        height: 1px;
        overflow: hidden;
        clip-path: inset(50%);
        white-space: nowrap;
    }
    @media (forced-colors: active) {
        .chip,
        .note,
        .card {
            border: 1px solid;
        }
    }
`;
