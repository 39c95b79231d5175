/** The application's log as the service hands it out: date and time, application, level, message a line. */

export type Level = 'info' | 'warning' | 'error';
export const levels: readonly Level[] = ['info', 'warning', 'error'];

export interface LogLine {
    readonly time: string;
    readonly application: string;
    /** Empty where a line has no such level; the message is then the whole line. */
    readonly level: Level | '';
    readonly message: string;
}

const linePattern = /^(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\|([^|]*)\|(info|warning|error)\|(.*)$/s;

export function parseLog(text: string): LogLine[] {
    const lines = text.split('\n');
    if (lines.at(-1) === '') lines.pop();
    return lines.map((line) => {
        const found = linePattern.exec(line);
        // The service puts its separators before what goes on from the line above.
        if (found === null) return { time: '', application: '', level: '', message: line.replace(/^\|\|\|/, '') };
        const [, time = '', application = '', level = '', message = ''] = found;
        return { time, application, level: level as Level, message };
    });
}

export interface LogFilter {
    readonly levels: ReadonlySet<Level>;
    /** Matches anywhere in a line, whatever the case. */
    readonly text: string;
}

/** The lines that a filter lets through. Lines without a level are never held back by their level. */
export function filterLog(lines: readonly LogLine[], filter: LogFilter): LogLine[] {
    const wanted = filter.text.trim().toLowerCase();
    return lines.filter(
        (line) =>
            (line.level === '' || filter.levels.has(line.level)) &&
            (wanted === '' || `${line.time} ${line.level} ${line.message}`.toLowerCase().includes(wanted)),
    );
}

/** Whether an answer can be the log. An empty one can: it has just been cleared. */
export function looksLikeLog(text: string): boolean {
    return text === '' || text.split('\n').some((line) => linePattern.test(line));
}
