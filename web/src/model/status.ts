/** What the application's status codes mean to whoever looks at the page. */

export type State =
    | 'running'
    | 'alert'
    | 'slow'
    | 'starting'
    | 'stopped'
    | 'agreement'
    | 'failed'
    | 'problem'
    | 'unknown'
    // The page cannot tell, because ...
    | 'connecting'
    | 'noConnection'
    | 'noAnswer'
    | 'login'
    | 'oddAnswer';

/** How a state is to be taken. */
export type Tone = 'good' | 'alert' | 'warn' | 'bad' | 'idle';

const states: Readonly<Record<number, State>> = {
    50: 'failed',
    100: 'starting',
    200: 'running',
    300: 'stopped',
    400: 'problem',
    402: 'problem',
    403: 'problem',
    405: 'problem',
    406: 'problem',
    408: 'agreement',
    502: 'alert',
    600: 'slow',
    700: 'problem',
};

export function stateOf(code: number): State {
    return states[code] ?? 'unknown';
}

const tones: Readonly<Record<State, Tone>> = {
    running: 'good',
    alert: 'alert',
    slow: 'warn',
    starting: 'idle',
    stopped: 'bad',
    agreement: 'warn',
    failed: 'bad',
    problem: 'bad',
    unknown: 'warn',
    connecting: 'idle',
    noConnection: 'bad',
    noAnswer: 'bad',
    login: 'bad',
    oddAnswer: 'bad',
};

export function toneOf(state: State): Tone {
    return tones[state];
}

/** All states in the order in which the help explains them. */
export const explainedStates = Object.keys(tones).filter((state) => state !== 'connecting') as State[];

/** The code in an answer; undefined when the answer is none. */
export function parseCode(answer: string): number | undefined {
    return /^\d{1,9}$/.test(answer) ? Number(answer) : undefined;
}
