import { describe, expect, it } from 'vitest';
import { boundaryOf, MultipartReader } from '../src/model/multipart';

const bytes = (text: string) => Uint8Array.from(text, (c) => c.charCodeAt(0));
const text = (part: Uint8Array) => String.fromCharCode(...part);
const stream =
    '--myboundary\r\nContent-Type: image/jpeg\r\nContent-Length: 4\r\n\r\nabcd\r\n' +
    '--myboundary\r\nContent-Type: image/jpeg\r\nContent-Length: 14\r\n\r\n--myboundary\r\n\r\n' +
    '--myboundary\r\nContent-Type: image/jpeg\r\nContent-Length: 0\r\n\r\n\r\n' +
    '--myboundary\r\nContent-Type: image/jpeg\r\nContent-Length: 2\r\n\r\nxy\r\n';

describe('the picture stream', () => {
    it.each([1, 2, 3, 7, 50, 10000])('gives its pictures however it is cut (%i bytes at a time)', (size) => {
        const reader = new MultipartReader('myboundary');
        const all = bytes(stream);
        const parts: string[] = [];
        for (let i = 0; i < all.length; i += size) parts.push(...reader.push(all.slice(i, i + size)).map(text));
        expect(parts).toEqual(['abcd', '--myboundary\r\n', '', 'xy']);
    });

    it('goes by the boundary where no length is told', () => {
        const reader = new MultipartReader('--b');
        expect(reader.push(bytes('--b\r\nContent-Type: image/jpeg\r\n\r\nabc\r\n--b\r\n\r\nd')).map(text)).toEqual(['abc']);
        expect(reader.push(bytes('ef\r\n--b\r\n')).map(text)).toEqual(['def']);
    });

    it('is given up when it cannot be one', () => {
        expect(() => new MultipartReader('b').push(new Uint8Array(9000))).toThrow();
        expect(() => new MultipartReader('b').push(bytes('--b\r\nContent-Length: 999999999\r\n\r\n'))).toThrow();
        expect(() => new MultipartReader('b').push(bytes('--b\r\n' + 'x'.repeat(9000)))).toThrow();
    });

    it('is known by its content type', () => {
        expect(boundaryOf('multipart/x-mixed-replace; boundary=myboundary')).toBe('myboundary');
        expect(boundaryOf('multipart/x-mixed-replace;boundary="--a b"')).toBe('--a b');
        expect(boundaryOf('text/html; charset=utf-8')).toBeUndefined();
        expect(boundaryOf('image/jpeg')).toBeUndefined();
    });
});
