import { describe, expect, it } from 'vitest';
import {
    asServiceReads, CannotCarry, canCarry, isHtml, readDocument, writeDocument, type WireSettings,
} from '../src/model/document';

const settings: WireSettings = {
    seconds: 5,
    requirePresent: true,
    displayNonAoi: false,
    dictionary: '5x5',
    eulaAccepted: true,
    overlaysOn: true,
    overlayStream: '1280x720',
    area: [25, 25, 75, 25, 75, 75, 25, 75],
};

/** The document as the service writes it. */
function served(dictionary = '5x5', stream = '1280x720', offered = '640x360,1280x720,', seconds = '5'): string {
    const area = (n: number, v: readonly number[]) => v.map((p, i) => `<Detection${n}_${i}>${p}</Detection${n}_${i}>`).join('');
    const none = [0, 0, 0, 0, 0, 0, 0, 0];
    return (
        `<app><Markers_Secs>${seconds}</Markers_Secs><Markers_Present>1</Markers_Present><DisplayNonAOI>0</DisplayNonAOI>` +
        `<SelectedDictionary>${dictionary}</SelectedDictionary><Eula>1</Eula><DetectionOverlaysOn>1</DetectionOverlaysOn>` +
        `<SelectedDetectionOverlay>${stream}</SelectedDetectionOverlay><CamsResAsCsv>${offered}</CamsResAsCsv>` +
        area(1, settings.area) + area(2, none) + area(3, none) + '</app>'
    );
}

describe('reading the document', () => {
    it('takes every element', () => {
        const read = readDocument(served());
        expect(read).toEqual({
            ok: true,
            document: { ...settings, offered: [{ width: 640, height: 360 }, { width: 1280, height: 720 }] },
        });
    });

    it('takes a camera without resolutions and with a negative number', () => {
        const read = readDocument(served('0', '0', '', '-1'));
        expect(read.ok && [read.document.offered, read.document.seconds]).toEqual([[], -1]);
    });

    it.each([
        '<script>alert(1)</script>',
        '</SelectedDictionary>',
        '</app>',
        '<Eula>0</Eula>',
        '&lt;b&gt; & "quotes" \' <',
        'x'.repeat(100000),
        '',
    ])('takes a hostile text as text: %.40s', (text) => {
        const read = readDocument(served(text));
        expect(read.ok && read.document.dictionary).toBe(text);
        expect(read.ok && read.document.eulaAccepted).toBe(true);
        const stream = readDocument(served('5x5', text));
        expect(stream.ok && stream.document.overlayStream).toBe(text);
    });

    it('does not guess where a text imitates what follows it', () => {
        const fake =
            '5x5</SelectedDictionary><Eula>0</Eula><DetectionOverlaysOn>0</DetectionOverlaysOn><SelectedDetectionOverlay>x';
        expect(readDocument(served(fake))).toEqual({ ok: false, problem: 'ambiguous' });
    });

    it.each([
        ['nothing', '', 'empty'],
        ['an error page', '<!DOCTYPE html><html><body>502 Bad Gateway</body></html>', 'html'],
        ['an error page with an XML line', '<?xml version="1.0"?>\n<html><head></head></html>', 'html'],
        ['half a document', served().slice(0, 400), 'incomplete'],
        ['a document without its end', served().slice(0, -1), 'incomplete'],
        ['another document', '<app></app>', 'foreign'],
        ['a text', 'Invalid action', 'foreign'],
        ['two answers in one', `${served()}Status: 200 OK\r\n\r\n${served()}`, 'ambiguous'],
        ['a number with a point', served('5x5', '1280x720', '', '5.5'), 'foreign'],
    ])('says why it cannot use %s', (_, text, problem) => {
        expect(readDocument(text)).toEqual({ ok: false, problem });
    });

    it('knows an error page from a document', () => {
        expect(isHtml(served())).toBe(false);
        expect(isHtml(' <HTML lang="en">')).toBe(true);
    });
});

describe('writing the document', () => {
    it('is understood by the service as it was meant', () => {
        const read = asServiceReads(writeDocument(settings));
        expect(Object.fromEntries(read)).toEqual({
            Markers_Secs: '5', Markers_Present: '1', DisplayNonAOI: '0', SelectedDictionary: '5x5', Eula: '1',
            DetectionOverlaysOn: '1', SelectedDetectionOverlay: '1280x720',
            Detection1_0: '25', Detection1_1: '25', Detection1_2: '75', Detection1_3: '25',
            Detection1_4: '75', Detection1_5: '75', Detection1_6: '25', Detection1_7: '75',
        });
    });

    it('carries signs that would have to be escaped elsewhere', () => {
        const text = 'a > b & "c" \'d\' é 漢 </ '.replace('</', '/');
        expect(asServiceReads(writeDocument({ ...settings, dictionary: text })).get('SelectedDictionary')).toBe(text);
    });

    it.each([
        ['an opening bracket', { dictionary: '4<5' }, 'SelectedDictionary'],
        ['an element', { dictionary: '<Eula>0</Eula>' }, 'SelectedDictionary'],
        ['the end of the document', { overlaysOn: false, overlayStream: '</root>' }, 'SelectedDetectionOverlay'],
        ['a line break', { dictionary: '5x5\n' }, 'SelectedDictionary'],
        ['a zero byte', { dictionary: '5x5\u0000' }, 'SelectedDictionary'],
        ['an overlay stream that is no size', { overlayStream: '0' }, 'SelectedDetectionOverlay'],
        ['a fraction', { seconds: 5.5 }, 'Markers_Secs'],
        ['a negative number', { seconds: -1 }, 'Markers_Secs'],
        ['a number beyond 32 bits', { seconds: 2147483648 }, 'Markers_Secs'],
        ['no number', { seconds: NaN }, 'Markers_Secs'],
        ['a missing corner', { area: [1, 2, 3, 4, 5, 6, 7] }, 'Detection1_7'],
        ['a corner between numbers', { area: [1, 2, 3.5, 4, 5, 6, 7, 8] }, 'Detection1_2'],
    ])('refuses %s', (_, change, element) => {
        let refused: unknown;
        try {
            writeDocument({ ...settings, ...change });
        } catch (error) {
            refused = error;
        }
        expect(refused).toBeInstanceOf(CannotCarry);
        expect((refused as CannotCarry).element).toBe(element);
    });

    it('does not care about the overlay stream while overlays are off', () => {
        expect(() => writeDocument({ ...settings, overlaysOn: false, overlayStream: '0' })).not.toThrow();
    });

    it('knows what can be carried', () => {
        expect(['', '5x5', 'a>b', '"&\''].every(canCarry)).toBe(true);
        expect(['<', 'a\tb', '\u007f'].some(canCarry)).toBe(false);
    });
});

describe('the model of the service\'s reader', () => {
    it('lets the last of two elements win', () => {
        expect(asServiceReads('<root><Eula>0</Eula><Eula>1</Eula></root>').get('Eula')).toBe('1');
    });

    it('begins at the fifth sign without a root', () => {
        expect(Object.fromEntries(asServiceReads('<app><a>1</a></app>'))).toEqual({ a: '1' });
    });

    it('takes attributes as part of the name and stops at an open bracket', () => {
        expect(Object.fromEntries(asServiceReads('<root><a b="c">1</a><d'))).toEqual({ 'a b="c"': '1' });
    });

    it('finds nothing in nothing', () => {
        expect(asServiceReads('').size).toBe(0);
    });
});
