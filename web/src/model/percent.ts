/**
 * What the camera makes of an area's corners. It keeps a corner in whole pixels of the picture that it
 * analyses, takes it as a whole percentage of that picture's width or height, and gives it back as one;
 * both conversions cut off what is behind the point. So a number that was sent may come back smaller by
 * one, and sending that back again would move the area a little with every save.
 *
 * Everything outside this file holds positions as a user means them. Here they are turned into what is
 * read from and written to the camera, so that what was saved is what is shown, for ever.
 *
 * A length is that of the analysed picture in pixels; 0 means that it is not known, and numbers go
 * through as they are.
 */

/** The pixel that the camera keeps for a percentage. */
export function toPixel(percent: number, length: number): number {
    return Math.trunc((percent * length) / 100);
}

/** The percentage that the camera gives back for a pixel. */
export function toPercent(pixel: number, length: number): number {
    return length === 0 ? 0 : Math.trunc((pixel * 100) / length);
}

/** What the camera gives back after a percentage was sent. */
export function readBack(percent: number, length: number): number {
    return length <= 0 ? percent : toPercent(toPixel(percent, length), length);
}

/** The position that a percentage from the camera stands for: the one that, when sent, gives it. */
export function positionOf(read: number, length: number): number {
    if (length <= 0) {
        return read;
    }
    for (const sent of [read, read + 1]) {
        if (sent <= 100 && readBack(sent, length) === read) {
            return sent;
        }
    }
    return read; // was not stored as a percentage; the nearest there is
}

/** Whether a position comes back as itself. About every fifth one does not: two positions share one answer. */
export function isStorable(position: number, length: number): boolean {
    return positionOf(readBack(position, length), length) === position;
}

/**
 * The storable position nearest to one. Of two that are equally near the one in the direction of a move
 * is taken, so that a step never ends where it began.
 * @param direction above 0: the larger one, else the smaller one
 */
export function storable(position: number, length: number, direction = -1): number {
    const start = Math.min(100, Math.max(0, Math.round(position)));
    const first = direction > 0 ? 1 : -1;
    for (let distance = 0; distance <= 100; ++distance) {
        for (const candidate of [start + first * distance, start - first * distance]) {
            if (candidate >= 0 && candidate <= 100 && isStorable(candidate, length)) {
                return candidate;
            }
        }
    }
    return start;
}
