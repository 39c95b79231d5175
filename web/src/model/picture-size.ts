/**
 * The size of the picture that the camera analyses. The service does not tell it; it is the largest size
 * of the sensor's shape among those that the camera offers, turned as the camera is. After a save the
 * answer shows whether that was right.
 */

import type { Size } from './geometry';

type Shape = 'wide' | 'full' | 'square';

function shapeOf(size: Size): Shape | undefined {
    const ratio = Math.fround(Math.fround(size.width) / Math.fround(size.height));
    if (ratio > 1.7 && ratio < 1.8) return 'wide';
    if (ratio > 1.2 && ratio < 1.4) return 'full';
    if (ratio > 0.9 && ratio < 1.1) return 'square';
    return undefined;
}

const shapeOfSensor: Readonly<Record<string, Shape>> = { '16:9': 'wide', '4:3': 'full', '1:1': 'square' };

/** Not known: 0 by 0, with which percentages go through unchanged. */
export const unknownSize: Size = { width: 0, height: 0 };

export function analysedSize(offered: readonly Size[], sensor: string, portrait: boolean): Size {
    const shape = shapeOfSensor[sensor];
    let best = unknownSize;
    for (const size of offered) {
        if (shape !== undefined && shapeOf(size) === shape && size.width * size.height > best.width * best.height) {
            best = size;
        }
    }
    return portrait ? { width: best.height, height: best.width } : best;
}

/** "1280x720", as the service writes and reads sizes. Anything else is none. */
export function parseSize(text: string): Size | undefined {
    const found = /^([1-9]\d{0,4})x([1-9]\d{0,4})$/.exec(text);
    return found === null ? undefined : { width: Number(found[1]), height: Number(found[2]) };
}

export function sizeText(size: Size): string {
    return `${size.width}x${size.height}`;
}
