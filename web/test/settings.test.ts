import { describe, expect, it } from 'vitest';
import type { SettingsDocument } from '../src/model/document';
import { writeDocument } from '../src/model/document';
import { middle, numbersOf, quadOf } from '../src/model/geometry';
import { analysedSize, parseSize, sizeText, unknownSize } from '../src/model/picture-size';
import {
    acceptedAgreement, changedFields, check, draftOf, firstDraft, storedDraft, wholeNumberProblem, wireOf, type Draft,
    type Settings,
} from '../src/model/settings';

const hd = { width: 1920, height: 1080 };
const application = { width: 1280, height: 720 };
const settings: Settings = {
    requirePresent: true, seconds: 5, dictionary: '5x5', displayNonAoi: false, overlaysOn: true,
    overlayStream: '1280x720', area: middle,
};
const factory: SettingsDocument = {
    seconds: 0, requirePresent: false, displayNonAoi: false, dictionary: '0', eulaAccepted: false, overlaysOn: false,
    overlayStream: '0', area: [0, 0, 0, 0, 0, 0, 0, 0], offered: [application],
};

describe('a typed number', () => {
    it.each([
        ['', 'empty'], ['  ', 'empty'], ['5.5', 'notWhole'], ['5,5', 'notWhole'], ['5 s', 'notWhole'], ['five', 'notWhole'],
        ['-1', 'negative'], ['0x10', 'notWhole'], ['1e3', 'notWhole'], ['+5', 'notWhole'], ['86401', 'tooLarge'],
        ['4294967295', 'tooLarge'], ['99999999999999999999', 'tooLarge'], ['٥', 'notWhole'],
        ['0', undefined], ['5', undefined], [' 5 ', undefined], ['86400', undefined],
    ])('%j', (text, problem) => {
        expect(wholeNumberProblem(text, 86400)).toBe(problem);
    });
});

describe('checking a draft', () => {
    it('gives the settings of a good one', () => {
        expect(check(draftOf(settings))).toEqual({ problems: {}, settings });
    });

    it.each<[Partial<Draft>, object]>([
        [{ seconds: '' }, { seconds: 'empty' }],
        [{ seconds: '90000' }, { seconds: 'tooLong' }],
        [{ dictionary: '4X4' }, { dictionary: 'dictionary' }],
        [{ overlayStream: '0' }, { overlayStream: 'stream' }],
        [{ overlaysOn: false, overlayStream: '<b>' }, { overlayStream: 'stream' }],
        [{ area: quadOf([0, 0, 0, 0, 0, 0, 0, 0]) }, { area: 'flat' }],
        [{ cornerTexts: { 3: '1.5' } }, { area: 'corner' }],
    ])('finds what is wrong in %j', (change, problems) => {
        const checked = check({ ...draftOf(settings), ...change });
        expect(checked.problems).toEqual(problems);
        expect(checked.settings).toBeUndefined();
    });

    it('does not mind an odd overlay stream while overlays are off', () => {
        expect(check({ ...draftOf(settings), overlaysOn: false, overlayStream: '0' }).problems).toEqual({});
    });
});

describe('the first draft', () => {
    it('proposes everything for a camera that was never set up', () => {
        const draft = firstDraft(storedDraft(factory, hd), application, hd);
        expect(draft).toEqual({
            requirePresent: false, seconds: '5', dictionary: '5x5', displayNonAoi: false, overlaysOn: true,
            overlayStream: '1280x720', area: middle, cornerTexts: {},
        });
        expect(changedFields(draft, storedDraft(factory, hd))).toEqual([
            'seconds', 'dictionary', 'overlaysOn', 'overlayStream', 'area',
        ]);
    });

    it('leaves good settings alone', () => {
        const stored = { ...factory, ...wireOf(settings, true) };
        expect(changedFields(firstDraft(storedDraft(stored, hd), application, hd), draftOf(settings))).toEqual([]);
    });

    it('mends only what cannot be used', () => {
        const stored = { ...factory, ...wireOf({ ...settings, seconds: 0 }, true), dictionary: '<i>x</i>' };
        const draft = firstDraft(storedDraft(stored, hd), application, hd);
        expect(changedFields(draft, storedDraft(stored, hd))).toEqual(['dictionary']);
        expect(draft.dictionary).toBe('5x5');
    });

    it('shows corners where they were put', () => {
        const stored = { ...factory, area: [32, 25, 75, 25, 75, 75, 25, 75] };
        expect(numbersOf(storedDraft(stored, { width: 640, height: 360 }).area)[0]).toBe(33);
    });
});

describe('accepting the agreement', () => {
    it('changes nothing else of a factory state', () => {
        const { offered: _, ...wire } = factory;
        expect(acceptedAgreement(factory, hd)).toMatchObject({ ...wire, eulaAccepted: true });
    });

    it('can be written whatever is stored', () => {
        const odd: SettingsDocument = {
            ...factory, seconds: -1, dictionary: '</root>', overlaysOn: true, overlayStream: 'none', area: [-1, 0, 900, 0, 0, 0, 0, 0],
        };
        expect(() => writeDocument(acceptedAgreement(odd, hd))).not.toThrow();
    });
});

describe('sizes', () => {
    it('are read strictly', () => {
        expect(parseSize('1280x720')).toEqual(application);
        expect(['', '0x0', '0', '1280', '1280x', 'x720', '1280X720', ' 1280x720', '1280x720,', '-1x5'].map(parseSize)).toEqual(
            Array<undefined>(10).fill(undefined),
        );
        expect(sizeText(hd)).toBe('1920x1080');
    });

    it('tell which picture is analysed', () => {
        const offered = ['640x360', '1280x960', '1280x720', '1920x1080', '2048x2048'].map((t) => parseSize(t) ?? unknownSize);
        expect(analysedSize(offered, '16:9', false)).toEqual(hd);
        expect(analysedSize(offered, '16:9', true)).toEqual({ width: 1080, height: 1920 });
        expect(analysedSize(offered, '4:3', false)).toEqual({ width: 1280, height: 960 });
        expect(analysedSize(offered, '1:1', false)).toEqual({ width: 2048, height: 2048 });
        expect(analysedSize(offered, '5:4', false)).toEqual(unknownSize);
        expect(analysedSize([], '16:9', true)).toEqual(unknownSize);
    });
});
