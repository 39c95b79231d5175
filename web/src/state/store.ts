/**
 * The page's one state: what the camera says, what the user has changed and what became of it. Views show
 * it and call its methods; it emits "change" after everything that they show may have changed.
 */

import { ApiClient, ApiFailure, type FailureKind } from '../api/client';
import { CannotCarry, type SettingsDocument } from '../model/document';
import { sameQuad, type Quad, type Size } from '../model/geometry';
import { analysedSize, unknownSize } from '../model/picture-size';
import {
    acceptedAgreement,
    changedFields,
    check,
    draftOf,
    firstDraft,
    storedDraft,
    wireOf,
    type Draft,
    type Field,
    type Problems,
    type Settings,
} from '../model/settings';
import { stateOf, type State } from '../model/status';

/** What the camera tells of itself. */
export interface Camera {
    readonly portrait: boolean;
    readonly sensor: string;
    /** The picture with overlays, as it is seen. */
    readonly picture: Size;
}

export interface Connection {
    readonly state: State;
    readonly code?: number;
    /** The application's own words. */
    readonly text?: string;
    readonly failure?: ApiFailure;
}

/** What became of a save, for the line that says so. */
export type SaveResult =
    | { readonly kind: 'saved'; readonly fields: readonly Field[]; readonly rounded: boolean }
    | { readonly kind: 'nothing' }
    | { readonly kind: 'wrong'; readonly fields: readonly Field[] }
    | { readonly kind: 'conflict'; readonly fields: readonly Field[] }
    | { readonly kind: 'different'; readonly fields: readonly Field[] }
    | { readonly kind: 'failed'; readonly failure: ApiFailure | CannotCarry };

export interface SwitchResult {
    readonly on: boolean;
    readonly at: Date;
    readonly failure?: ApiFailure;
}

const second = 1000;
/** Seconds. Every reading of the settings leaves a line in the application's log, so it is not done often. */
const settingsEvery = 60;
const hiddenEvery = 10;

const stateOfFailure: Readonly<Record<FailureKind, State>> = {
    unreachable: 'noConnection',
    timeout: 'noConnection',
    broken: 'noConnection',
    noAnswer: 'noAnswer',
    login: 'login',
    rejected: 'oddAnswer',
    odd: 'oddAnswer',
};

function asFailure(error: unknown): ApiFailure {
    return error instanceof ApiFailure ? error : new ApiFailure('odd', undefined, String(error));
}

export class Store extends EventTarget {
    connection: Connection = { state: 'connecting' };
    camera: Camera | undefined;
    /** What the camera has stored; undefined until it was read. */
    document: SettingsDocument | undefined;
    /** Why the settings could not be read, as long as they cannot. */
    documentFailure: ApiFailure | undefined;
    stored: Draft | undefined;
    draft: Draft | undefined;
    problems: Problems = {};
    saving = false;
    saveResult: SaveResult | undefined;
    /** The fields that another page changed while they were being changed here. */
    conflicts: readonly Field[] = [];
    switching = false;
    switched: SwitchResult | undefined;
    accepting = false;
    acceptFailure: ApiFailure | CannotCarry | undefined;

    /** The size of the analysed picture, which decides how the camera rounds corners. */
    #length: Size = unknownSize;
    #lengthIsWrong = false;
    #undo: Quad[] = [];
    #timer: ReturnType<typeof setTimeout> | undefined;
    #polling = false;
    #settingsRead = 0;
    /** Tells the other pages of this browser that something was saved. */
    readonly #others = new BroadcastChannel('zerith-markers');

    constructor(readonly api = new ApiClient()) {
        super();
    }

    get length(): Size {
        return this.#length;
    }

    /** Begins to ask the camera, every second while the page is seen. */
    start(): void {
        const look = (): void => {
            this.#settingsRead = 0;
            this.#schedule(0);
        };
        document.addEventListener('visibilitychange', () => {
            if (!document.hidden) look();
        });
        window.addEventListener('online', look);
        window.addEventListener('focus', look);
        this.#others.addEventListener('message', look);
        this.#schedule(0);
    }

    #schedule(delay: number): void {
        clearTimeout(this.#timer);
        this.#timer = setTimeout(() => void this.#poll(), delay);
    }

    async #poll(): Promise<void> {
        if (this.#polling) return;
        this.#polling = true;
        const begun = Date.now();
        try {
            const code = await this.api.statusCode();
            const before = this.connection;
            const text = before.code === code && before.text !== undefined ? before.text : await this.api.statusText();
            this.connection = { state: stateOf(code), code, text };
            // After a start of the application, or a lost connection, everything may be different.
            if (before.code === undefined || this.camera === undefined || this.documentFailure !== undefined) {
                await this.#readCamera();
                await this.#readSettings();
            } else if (begun - this.#settingsRead >= settingsEvery * second && !this.saving && !this.accepting) {
                await this.#readSettings();
            }
        } catch (error) {
            const failure = asFailure(error);
            this.connection = { state: stateOfFailure[failure.kind], failure };
        }
        this.#polling = false;
        this.#changed();
        const pause = (document.hidden ? hiddenEvery : 1) * second;
        this.#schedule(Math.max(0, pause - (Date.now() - begun)));
    }

    async #readCamera(): Promise<void> {
        const picture = await this.api.applicationSize();
        const portrait = await this.api.isPortrait();
        const sensor = await this.api.aspectRatio();
        this.camera = { portrait, sensor, picture };
    }

    async #readSettings(): Promise<void> {
        try {
            this.#take(await this.api.settings());
        } catch (error) {
            this.documentFailure = asFailure(error);
            if (this.documentFailure.kind !== 'odd') throw error;
        }
    }

    /** Takes over what the camera has stored, and keeps what was changed here. */
    #take(document: SettingsDocument): void {
        this.#settingsRead = Date.now();
        if (!this.#lengthIsWrong) {
            this.#length = analysedSize(document.offered, this.camera?.sensor ?? '', this.camera?.portrait ?? false);
        }
        const stored = storedDraft(document, this.#length);
        const before = this.stored;
        this.document = document;
        this.documentFailure = undefined;
        this.stored = stored;
        const fresh = firstDraft(stored, this.camera?.picture ?? unknownSize, this.#length);
        if (before === undefined || this.draft === undefined) {
            this.#setDraft(fresh);
            return;
        }
        const elsewhere = changedFields(before, stored);
        if (elsewhere.length === 0) return;
        const begun = firstDraft(before, this.camera?.picture ?? unknownSize, this.#length);
        const here = changedFields(begun, this.draft);
        const merged: Record<string, unknown> = { ...this.draft };
        for (const field of elsewhere) {
            if (here.includes(field)) continue;
            merged[field] = fresh[field];
            if (field === 'area') merged['cornerTexts'] = {};
        }
        this.#setDraft(merged as unknown as Draft);
        const both = elsewhere.filter((field) => here.includes(field));
        this.conflicts = [...new Set([...this.conflicts, ...both])].filter((field) => this.changed.includes(field));
        // Undoing would bring back corners of before.
        if (elsewhere.includes('area') && !here.includes('area')) this.#undo = [];
    }

    #changed(): void {
        this.dispatchEvent(new Event('change'));
    }

    #setDraft(draft: Draft): void {
        this.draft = draft;
        this.problems = check(draft).problems;
        if (this.stored !== undefined) {
            const changed = changedFields(this.stored, draft);
            this.conflicts = this.conflicts.filter((field) => changed.includes(field));
        }
    }

    // --- editing --------------------------------------------------------------------------------

    /** The fields that are not as the camera has them. */
    get changed(): readonly Field[] {
        return this.stored === undefined || this.draft === undefined ? [] : changedFields(this.stored, this.draft);
    }

    /** What a discarded draft becomes: the stored settings, with proposals where these cannot be used. */
    get #fresh(): Draft | undefined {
        return this.stored && firstDraft(this.stored, this.camera?.picture ?? unknownSize, this.#length);
    }

    /** The fields that the user has changed, as opposed to those that differ because they were proposed. */
    get edited(): readonly Field[] {
        const fresh = this.#fresh;
        return fresh === undefined || this.draft === undefined ? [] : changedFields(fresh, this.draft);
    }

    /** The fields that hold a proposal. */
    get proposed(): readonly Field[] {
        return this.changed.filter((field) => !this.edited.includes(field));
    }

    edit(change: Partial<Draft>): void {
        if (this.draft === undefined) return;
        if (this.saveResult?.kind !== 'failed') this.saveResult = undefined;
        this.#setDraft({ ...this.draft, ...change });
        this.#changed();
    }

    /** @param before the area to come back to with undo; left out while a drag is under way */
    setArea(area: Quad, before?: Quad): void {
        if (before !== undefined && !sameQuad(before, area)) this.#undo = [...this.#undo.slice(-99), before];
        this.edit({ area, cornerTexts: {} });
    }

    get canUndo(): boolean {
        return this.#undo.length > 0;
    }

    undoArea(): void {
        const area = this.#undo.pop();
        if (area !== undefined) this.edit({ area, cornerTexts: {} });
    }

    /** The area as it is stored, or the proposal where none is. */
    get resetTarget(): Quad | undefined {
        return this.#fresh?.area;
    }

    resetArea(): void {
        const area = this.resetTarget;
        if (area !== undefined && this.draft !== undefined) this.setArea(area, this.draft.area);
    }

    discard(): void {
        const fresh = this.#fresh;
        if (fresh === undefined) return;
        this.conflicts = [];
        this.#undo = [];
        this.saveResult = undefined;
        this.#setDraft(fresh);
        this.#changed();
    }

    /** Takes imported settings as changes that are not saved yet. */
    takeImported(settings: Settings): void {
        const before = this.draft?.area;
        this.edit({ ...draftOf(settings) });
        if (before !== undefined && !sameQuad(before, settings.area)) this.#undo.push(before);
        this.#changed();
    }

    // --- saving ---------------------------------------------------------------------------------

    async save(): Promise<void> {
        if (this.draft === undefined || this.saving) return;
        const { settings, problems } = check(this.draft);
        if (settings === undefined) {
            this.saveResult = { kind: 'wrong', fields: Object.keys(problems) as Field[] };
            this.#changed();
            return;
        }
        this.saving = true;
        this.saveResult = undefined;
        this.#changed();
        try {
            this.saveResult = await this.#store(settings);
        } catch (error) {
            this.saveResult = { kind: 'failed', failure: error instanceof CannotCarry ? error : asFailure(error) };
        }
        this.saving = false;
        this.#changed();
    }

    async #store(settings: Settings): Promise<SaveResult> {
        // Somebody else may have saved in the meantime; nothing of theirs is overwritten unasked.
        const known = this.conflicts;
        this.#take(await this.api.settings(true));
        const fresh = this.conflicts.filter((field) => !known.includes(field));
        if (fresh.length > 0) return { kind: 'conflict', fields: fresh };
        const wanted = check(this.draft ?? draftOf(settings)).settings ?? settings;
        const fields = this.changed;
        if (fields.length === 0) return { kind: 'nothing' };
        await this.api.saveSettings(wireOf(wanted, this.document?.eulaAccepted ?? false));
        return this.#verify(wanted, fields);
    }

    /** The service's answer tells little: only what it gives back afterwards shows what it has taken. */
    async #verify(wanted: Settings, fields: readonly Field[]): Promise<SaveResult> {
        const answer = await this.api.settings(true);
        const sent = wireOf(wanted, true).area;
        const read = changedFields(storedDraft(answer, this.#length), draftOf(wanted));
        // Corners that come back one smaller were taken; only the size of the picture was guessed wrongly.
        const rounded =
            read.length === 1 && read[0] === 'area' && answer.area.every((n, i) => Math.abs(n - (sent[i] ?? NaN)) <= 1);
        if (rounded) {
            this.#lengthIsWrong = true;
            this.#length = unknownSize;
        }
        this.conflicts = [];
        if (read.length === 0 || rounded) {
            this.document = answer;
            this.stored = storedDraft(answer, this.#length);
            this.documentFailure = undefined;
            // What was changed while this was under way stays a change.
            if (this.draft !== undefined && changedFields(this.draft, draftOf(wanted)).length === 0) {
                this.#setDraft(this.stored);
            }
            this.#others.postMessage('saved');
            return { kind: 'saved', fields, rounded };
        }
        this.document = answer;
        this.stored = storedDraft(answer, this.#length);
        return { kind: 'different', fields: read };
    }

    /** Stores that the agreement is accepted, and nothing else. */
    async acceptAgreement(): Promise<void> {
        if (this.accepting) return;
        this.accepting = true;
        this.acceptFailure = undefined;
        this.#changed();
        try {
            const document = await this.api.settings(true);
            await this.api.saveSettings(acceptedAgreement(document, this.#length));
            const answer = await this.api.settings(true);
            if (!answer.eulaAccepted) throw new ApiFailure('odd', 200, '');
            this.#take(answer);
            this.#others.postMessage('saved');
        } catch (error) {
            this.acceptFailure = error instanceof CannotCarry ? error : asFailure(error);
        }
        this.accepting = false;
        this.#changed();
    }

    // --- the alert by hand ----------------------------------------------------------------------

    async switchAlert(on: boolean): Promise<void> {
        if (this.switching) return;
        this.switching = true;
        this.#changed();
        try {
            await this.api.switchAlert(on);
            this.switched = { on, at: new Date() };
        } catch (error) {
            this.switched = { on, at: new Date(), failure: asFailure(error) };
        }
        this.switching = false;
        this.#changed();
    }
}

export const store = new Store();
