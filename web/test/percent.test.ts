import { describe, expect, it } from 'vitest';
import { isStorable, positionOf, readBack, storable, toPercent, toPixel } from '../src/model/percent';

const lengths = [320, 360, 480, 640, 720, 768, 800, 1024, 1080, 1280, 1920, 2160, 2592, 3840];

describe('percent', () => {
    it('converts as the camera does', () => {
        expect(toPixel(50, 640)).toBe(320);
        expect(toPercent(321, 640)).toBe(50);
        expect(toPercent(1, 0)).toBe(0);
        expect(readBack(33, 640)).toBe(32);
    });

    it.each(lengths)('shows what was saved, for every position that can be saved (%i pixels)', (length) => {
        for (let position = 0; position <= 100; ++position) {
            const saved = storable(position, length);
            expect(positionOf(readBack(saved, length), length)).toBe(saved);
            expect(Math.abs(saved - position)).toBeLessThanOrEqual(1);
        }
    });

    it.each(lengths)('does not creep when what is shown is saved again and again (%i pixels)', (length) => {
        for (let pixel = 0; pixel <= length; ++pixel) {
            const first = positionOf(toPercent(pixel, length), length);
            let shown = first;
            for (let times = 0; times < 5; ++times) shown = positionOf(readBack(shown, length), length);
            expect(shown).toBe(first);
            expect(Math.abs(toPixel(shown, length) - pixel)).toBeLessThanOrEqual(length / 100);
        }
    });

    it('steps over positions that cannot be kept, in the direction of the step', () => {
        expect(isStorable(26, 1920)).toBe(false);
        expect(storable(26, 1920, 1)).toBe(27);
        expect(storable(26, 1920, -1)).toBe(25);
        for (const length of lengths) {
            for (let position = 0, before = -1; position < 100; before = position, position = storable(position + 1, length, 1)) {
                expect(position).toBeGreaterThan(before);
            }
        }
    });

    it('keeps edges and what lies beyond them inside the picture', () => {
        expect(storable(-5, 1920)).toBe(0);
        expect(storable(105, 1920)).toBe(100);
    });

    it('lets numbers through when the length is not known', () => {
        expect(positionOf(33, 0)).toBe(33);
        expect(storable(33, 0)).toBe(33);
        expect(readBack(33, 0)).toBe(33);
    });
});
