import { describe, expect, it } from 'vitest';
import { filterLog, levels, looksLikeLog, parseLog } from '../src/model/log';

const text =
    '2024-05-01 13:45:10|Zerith Markers|warning|STARTING Zerith Markers\n' +
    '2024-05-01 13:45:11|Zerith Markers|info|init: Socket: x\n' +
    '2024-05-01 13:45:12|Zerith Markers|error|<img src=x onerror=alert(1)>\n' +
    '2024-05-01 13:45:13|Zerith Markers|warning|\n' +
    'no log line\n';

describe('the log', () => {
    it('is read line by line', () => {
        const lines = parseLog(text);
        expect(lines.map((l) => l.level)).toEqual(['warning', 'info', 'error', 'warning', '']);
        expect(lines[2]?.message).toBe('<img src=x onerror=alert(1)>');
        expect(lines[3]?.message).toBe('');
        expect(lines[4]).toEqual({ time: '', application: '', level: '', message: 'no log line' });
    });

    it('shows the second line of a message as such', () => {
        expect(parseLog('|||and more\n')).toEqual([{ time: '', application: '', level: '', message: 'and more' }]);
    });

    it('may be empty', () => {
        expect(parseLog('')).toEqual([]);
    });

    it('keeps bars in what follows the level', () => {
        expect(parseLog('2024-05-01 13:45:10|a|info|b|c')[0]?.message).toBe('b|c');
    });

    it('is filtered by level and by text', () => {
        const lines = parseLog(text);
        expect(filterLog(lines, { levels: new Set(['error']), text: '' }).length).toBe(2);
        expect(filterLog(lines, { levels: new Set(levels), text: ' SOCKET ' }).length).toBe(1);
        expect(filterLog(lines, { levels: new Set(levels), text: 'onerror' }).length).toBe(1);
    });

    it('is told from an error page', () => {
        expect(looksLikeLog('')).toBe(true);
        expect(looksLikeLog(text)).toBe(true);
        expect(looksLikeLog('<html><body>502</body></html>')).toBe(false);
        expect(looksLikeLog('Bad Gateway')).toBe(false);
        expect(looksLikeLog('|||the end of a line\n' + text)).toBe(true);
    });
});
