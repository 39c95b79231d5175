/** Takes a camera's endless multipart answer apart into its pictures. */

const lineEnd = [13, 10] as const;

/** No picture is larger, in bytes; what claims to be is no picture stream. */
const maxPart = 32 * 1024 * 1024;
const maxHead = 8192;

function find(bytes: Uint8Array, wanted: Uint8Array, from: number): number {
    const first = wanted[0] ?? 0;
    for (let i = bytes.indexOf(first, from); i >= 0 && i + wanted.length <= bytes.length; i = bytes.indexOf(first, i + 1)) {
        let same = 1;
        while (same < wanted.length && bytes[i + same] === wanted[same]) ++same;
        if (same === wanted.length) return i;
    }
    return -1;
}

/** The boundary that a content type names; undefined when it is no multipart type. */
export function boundaryOf(contentType: string): string | undefined {
    const found = /^multipart\/[^;]+;(?:[^"]*;)?\s*boundary=(?:"([^"]+)"|([^;\s]+))/i.exec(contentType);
    return found?.[1] ?? found?.[2];
}

export class MultipartReader {
    #bytes = new Uint8Array(0);
    readonly #delimiter: Uint8Array;

    constructor(boundary: string) {
        // Some cameras name the boundary with the dashes that precede it, some without.
        this.#delimiter = new TextEncoder().encode(boundary.startsWith('--') ? boundary : `--${boundary}`);
    }

    /**
     * Takes the next bytes and gives the parts that are whole with them, in order.
     * @throws Error when the bytes cannot be such a stream
     */
    push(chunk: Uint8Array): Uint8Array[] {
        const joined = new Uint8Array(this.#bytes.length + chunk.length);
        joined.set(this.#bytes);
        joined.set(chunk, this.#bytes.length);
        this.#bytes = joined;
        const parts: Uint8Array[] = [];
        for (let part = this.#take(); part !== undefined; part = this.#take()) parts.push(part);
        return parts;
    }

    #take(): Uint8Array | undefined {
        const bytes = this.#bytes;
        const start = find(bytes, this.#delimiter, 0);
        if (start < 0) {
            if (bytes.length > maxHead) throw new Error('no boundary');
            return undefined;
        }
        const blank = find(bytes, Uint8Array.of(...lineEnd, ...lineEnd), start);
        if (blank < 0) {
            if (bytes.length - start > maxHead) throw new Error('endless part header');
            return undefined;
        }
        const head = new TextDecoder('latin1').decode(bytes.subarray(start + this.#delimiter.length, blank));
        const body = blank + 4;
        const told = /^content-length:\s*(\d+)\s*$/im.exec(head)?.[1];
        let end: number;
        if (told !== undefined) {
            end = body + Number(told);
            if (end - body > maxPart) throw new Error('part too large');
            if (end > bytes.length) return undefined;
        } else {
            const next = find(bytes, Uint8Array.of(...lineEnd, ...this.#delimiter), body);
            if (next < 0) {
                if (bytes.length - body > maxPart) throw new Error('part too large');
                return undefined;
            }
            end = next;
        }
        const part = bytes.slice(body, end);
        this.#bytes = bytes.slice(end);
        return part;
    }
}
