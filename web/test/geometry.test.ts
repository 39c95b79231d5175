import { describe, expect, it } from 'vitest';
import {
    doubleArea, linesMeet, middle, moved, numbersOf, quadOf, quadProblem, sameQuad, storableQuad, untangled, withCorner,
} from '../src/model/geometry';

describe('area', () => {
    it('is proposed in the middle', () => {
        expect(quadProblem(middle)).toBeUndefined();
        expect(doubleArea(middle)).toBe(5000);
    });

    it('survives the way through numbers', () => {
        expect(sameQuad(quadOf(numbersOf(middle)), middle)).toBe(true);
    });

    it.each([
        ['all corners at one place', [0, 0, 0, 0, 0, 0, 0, 0], 'flat'],
        ['corners on one upright line', [10, 0, 10, 20, 10, 40, 10, 60], 'flat'],
        ['corners on one slanting line', [0, 0, 10, 10, 20, 20, 30, 30], 'flat'],
        ['two pairs of equal corners', [10, 10, 10, 10, 50, 50, 50, 50], 'flat'],
        ['a bow tie', [0, 0, 50, 50, 50, 0, 0, 50], 'crossing'],
        ['the other bow tie', [0, 0, 50, 0, 0, 50, 50, 50], 'crossing'],
        ['a corner on the opposite side', [0, 0, 100, 0, 50, 0, 50, 50], 'crossing'],
        ['a corner beyond the edge', [0, 0, 101, 0, 50, 50, 0, 50], 'outside'],
        ['a corner that is no number', [0, 0, NaN, 0, 50, 50, 0, 50], 'outside'],
        ['a square', [25, 25, 75, 25, 75, 75, 25, 75], undefined],
        ['a square the other way round', [25, 25, 25, 75, 75, 75, 75, 25], undefined],
        ['a dart', [0, 0, 50, 20, 100, 0, 50, 100], undefined],
        ['the whole picture', [0, 0, 100, 0, 100, 100, 0, 100], undefined],
    ] as const)('%s', (_, numbers, problem) => {
        expect(quadProblem(quadOf(numbers))).toBe(problem);
    });

    it('is put in order so that no lines cross, with the same corners', () => {
        const tie = quadOf([20, 20, 80, 80, 80, 20, 20, 80]);
        const tidy = untangled(tie);
        expect(quadProblem(tidy)).toBeUndefined();
        expect(numbersOf(tidy)).toEqual([20, 20, 80, 20, 80, 80, 20, 80]);
    });

    it('moves as a whole and stops at the edges with its shape', () => {
        expect(numbersOf(moved(middle, 10, -5))).toEqual([35, 20, 85, 20, 85, 70, 35, 70]);
        expect(numbersOf(moved(middle, 90, -90))).toEqual([50, 0, 100, 0, 100, 50, 50, 50]);
    });

    it('changes one corner only', () => {
        expect(numbersOf(withCorner(middle, 2, { x: 90, y: 95 }))).toEqual([25, 25, 75, 25, 90, 95, 25, 75]);
    });

    it('lines that touch meet', () => {
        const p = (x: number, y: number) => ({ x, y });
        expect(linesMeet(p(0, 0), p(10, 0), p(5, 0), p(5, 5))).toBe(true);
        expect(linesMeet(p(0, 0), p(10, 0), p(5, 1), p(5, 5))).toBe(false);
        expect(linesMeet(p(0, 0), p(10, 0), p(20, 0), p(30, 0))).toBe(false);
    });

    it('is put where the camera can keep it', () => {
        expect(numbersOf(storableQuad(quadOf([26, 26, 74, 25, 75, 75, 25, 76]), { width: 1920, height: 1080 }))).toEqual([
            25, 25, 74, 25, 75, 75, 25, 75,
        ]);
    });
});
