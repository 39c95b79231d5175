import { describe, expect, it } from 'vitest';
import { middle } from '../src/model/geometry';
import type { Settings } from '../src/model/settings';
import { exportText, importText, maxLength } from '../src/model/transfer';

const hd = { width: 1920, height: 1080 };
const offered = [{ width: 1280, height: 720 }];
const settings: Settings = {
    requirePresent: true, seconds: 5, dictionary: '5x5', displayNonAoi: false, overlaysOn: true,
    overlayStream: '1280x720', area: middle,
};

interface File { format: unknown; version: unknown; settings: Record<string, unknown>; [more: string]: unknown }

function changed(change: (file: File) => void): string {
    const file = JSON.parse(exportText(settings)) as File;
    change(file);
    return JSON.stringify(file);
}

function codes(text: string): string[] {
    return importText(text, offered, hd).findings.map((f) => `${f.severity} ${f.path} ${f.code}`);
}

describe('import', () => {
    it('takes what was exported', () => {
        expect(importText(exportText(settings), offered, hd)).toEqual({ settings, findings: [] });
        const other: Settings = { ...settings, requirePresent: false, displayNonAoi: true, overlaysOn: false };
        expect(importText(exportText(other), offered, hd)).toEqual({ settings: other, findings: [] });
    });

    it.each<[string, string, string[]]>([
        ['nothing', '', ['error  notJson']],
        ['no JSON', '<html>', ['error  notJson']],
        ['a list', '[]', ['error  notObject']],
        ['null', 'null', ['error  notObject']],
        ['another format', '{"format":"x"}', ['error format format']],
        ['a later version', changed((f) => (f.version = 2)), ['error version version']],
        ['no settings', '{"format":"zerith-markers-settings","version":1}', ['error settings missing']],
        ['a huge file', ' '.repeat(maxLength + 1), ['error  tooLarge']],
        ['seconds as text', changed((f) => (f.settings['seconds'] = '5')), ['error settings.seconds seconds']],
        ['a fraction', changed((f) => (f.settings['seconds'] = 5.5)), ['error settings.seconds seconds']],
        ['negative seconds', changed((f) => (f.settings['seconds'] = -1)), ['error settings.seconds seconds']],
        ['a wrong word', changed((f) => (f.settings['alertWhen'] = 'never')), ['error settings.alertWhen alertWhen']],
        ['markup as dictionary', changed((f) => (f.settings['dictionary'] = '<b>')), ['error settings.dictionary dictionary']],
        ['a name of every object', changed((f) => (f.settings['dictionary'] = 'toString')), ['error settings.dictionary dictionary']],
        ['a number as flag', changed((f) => (f.settings['markersOutsideArea'] = 1)), ['error settings.markersOutsideArea boolean']],
        ['an odd stream', changed((f) => (f.settings['overlays'] = { on: true, stream: '0x0' })), ['error settings.overlays.stream stream']],
        ['three corners', changed((f) => (f.settings['area'] = [1, 2, 3])), ['error settings.area corners']],
        ['a corner outside', changed((f) => (f.settings['area'] = [{ x: 0, y: 0 }, { x: 101, y: 0 }, { x: 9, y: 9 }, { x: 0, y: 9 }])),
            ['error settings.area[1].x position']],
        ['a bow tie', changed((f) => (f.settings['area'] = [{ x: 0, y: 0 }, { x: 50, y: 50 }, { x: 50, y: 0 }, { x: 0, y: 50 }])),
            ['error settings.area crossing']],
    ])('says what is wrong with %s, and takes nothing', (_, text, wanted) => {
        expect(codes(text)).toEqual(wanted);
        expect(importText(text, offered, hd).settings).toBeUndefined();
    });

    it('reports all mistakes of a file together', () => {
        const text = changed((f) => {
            f.settings['seconds'] = null;
            delete f.settings['dictionary'];
            f.settings['area'] = [{ x: 'a' }, 5, { x: 1, y: 1 }, { x: 2, y: 2 }];
        });
        expect(codes(text)).toEqual([
            'error settings.seconds seconds', 'error settings.dictionary missing', 'error settings.area[0].x position',
            'error settings.area[0].y missing', 'error settings.area[1] notObject',
        ]);
    });

    it.each<[string, string, string[]]>([
        ['unknown names', changed((f) => { f['more'] = 1; f.settings['x'] = 2; }), ['warning more unknown', 'warning settings.x unknown']],
        ['a stream that the camera lacks', changed((f) => (f.settings['overlays'] = { on: true, stream: '800x450' })),
            ['warning settings.overlays.stream notOffered']],
        ['corners that the camera rounds', changed((f) => (f.settings['area'] = [{ x: 26, y: 25 }, { x: 75, y: 25 }, { x: 75, y: 75 }, { x: 25, y: 75 }])),
            ['warning settings.area rounded']],
    ])('warns of %s and takes the rest', (_, text, wanted) => {
        expect(codes(text)).toEqual(wanted);
        expect(importText(text, offered, hd).settings).toBeDefined();
    });
});
