/** The area of interest: four corners in whole percent of the picture, in the order in which they are joined. */

import { storable } from './percent';

export interface Point {
    readonly x: number;
    readonly y: number;
}

export type Quad = readonly [Point, Point, Point, Point];

export interface Size {
    readonly width: number;
    readonly height: number;
}

/** What is wrong with an area. */
export type QuadProblem = 'outside' | 'crossing' | 'flat';

const corners = [0, 1, 2, 3] as const;

/** The proposal for a camera that has no area yet: the middle of the picture. */
export const middle: Quad = [
    { x: 25, y: 25 },
    { x: 75, y: 25 },
    { x: 75, y: 75 },
    { x: 25, y: 75 },
];

export function quadOf(numbers: readonly number[]): Quad {
    const at = (i: number): Point => ({ x: numbers[2 * i] ?? 0, y: numbers[2 * i + 1] ?? 0 });
    return [at(0), at(1), at(2), at(3)];
}

export function numbersOf(quad: Quad): number[] {
    return quad.flatMap((corner) => [corner.x, corner.y]);
}

export function sameQuad(a: Quad, b: Quad): boolean {
    return corners.every((i) => a[i].x === b[i].x && a[i].y === b[i].y);
}

export function mapQuad(quad: Quad, change: (corner: Point) => Point): Quad {
    return [change(quad[0]), change(quad[1]), change(quad[2]), change(quad[3])];
}

export function withCorner(quad: Quad, index: number, corner: Point): Quad {
    const at = (i: 0 | 1 | 2 | 3): Point => (i === index ? corner : quad[i]);
    return [at(0), at(1), at(2), at(3)];
}

/** Twice the area, above 0 when the corners go round clockwise as seen in a picture. */
export function doubleArea(quad: Quad): number {
    return corners.reduce<number>((sum, i) => {
        const a = quad[i];
        const b = quad[((i + 1) % 4) as 0 | 1 | 2 | 3];
        return sum + a.x * b.y - b.x * a.y;
    }, 0);
}

/** Above 0: c lies to the one side of the line from a to b, below 0: to the other, 0: on it. */
function side(a: Point, b: Point, c: Point): number {
    return Math.sign((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
}

function inBox(a: Point, b: Point, p: Point): boolean {
    return (
        Math.min(a.x, b.x) <= p.x && p.x <= Math.max(a.x, b.x) && Math.min(a.y, b.y) <= p.y && p.y <= Math.max(a.y, b.y)
    );
}

/** Whether the lines a-b and c-d have a point in common. */
export function linesMeet(a: Point, b: Point, c: Point, d: Point): boolean {
    const sides = [side(a, b, c), side(a, b, d), side(c, d, a), side(c, d, b)] as const;
    if (sides[0] * sides[1] < 0 && sides[2] * sides[3] < 0) {
        return true;
    }
    return (
        (sides[0] === 0 && inBox(a, b, c)) ||
        (sides[1] === 0 && inBox(a, b, d)) ||
        (sides[2] === 0 && inBox(c, d, a)) ||
        (sides[3] === 0 && inBox(c, d, b))
    );
}

/** What is wrong with an area, or nothing. */
export function quadProblem(quad: Quad): QuadProblem | undefined {
    if (quad.some((c) => !(c.x >= 0 && c.x <= 100 && c.y >= 0 && c.y <= 100))) {
        return 'outside';
    }
    if (corners.every((i) => side(quad[0], quad[1], quad[i]) === 0 && side(quad[0], quad[2], quad[i]) === 0)) {
        return 'flat';
    }
    if (linesMeet(quad[0], quad[1], quad[2], quad[3]) || linesMeet(quad[1], quad[2], quad[3], quad[0])) {
        return 'crossing';
    }
    return doubleArea(quad) === 0 ? 'flat' : undefined;
}

/** The same corners, joined in an order in which no lines cross: clockwise from the one at the top left. */
export function untangled(quad: Quad): Quad {
    const centre = {
        x: quad.reduce((sum, c) => sum + c.x, 0) / 4,
        y: quad.reduce((sum, c) => sum + c.y, 0) / 4,
    };
    const angle = (c: Point): number => Math.atan2(c.y - centre.y, c.x - centre.x);
    const round = [...quad].sort((a, b) => angle(a) - angle(b));
    const first = round.reduce((best, c, i) => {
        const other = round[best];
        return other !== undefined && c.x + c.y < other.x + other.y ? i : best;
    }, 0);
    return quadOf([0, 1, 2, 3].flatMap((i) => {
        const c = round[(first + i) % 4];
        return c === undefined ? [] : [c.x, c.y];
    }));
}

/** A position as the camera can keep it: inside the picture, in whole percent that come back as they are. */
export function storablePoint(point: Point, length: Size, from?: Point): Point {
    return {
        x: storable(point.x, length.width, from === undefined ? -1 : point.x - from.x),
        y: storable(point.y, length.height, from === undefined ? -1 : point.y - from.y),
    };
}

/** The area moved by so many percent, as far as it stays inside the picture. Its shape is kept. */
export function moved(quad: Quad, dx: number, dy: number): Quad {
    const xs = quad.map((c) => c.x);
    const ys = quad.map((c) => c.y);
    const x = Math.min(100 - Math.max(...xs), Math.max(-Math.min(...xs), dx));
    const y = Math.min(100 - Math.max(...ys), Math.max(-Math.min(...ys), dy));
    return mapQuad(quad, (c) => ({ x: c.x + x, y: c.y + y }));
}

/** Every corner as the camera can keep it. */
export function storableQuad(quad: Quad, length: Size, from?: Quad): Quad {
    const at = (i: 0 | 1 | 2 | 3): Point => storablePoint(quad[i], length, from?.[i]);
    return [at(0), at(1), at(2), at(3)];
}
