// A feed asks one address again and again and keeps the last answer.
//
// Never more than one request is under way; the next is started a pause after the answer, so a slow server is asked less often.
// A request that takes too long is given up. Failures lengthen the pause up to `longestPause`, the first answer restores it.
// A paused feed ends its request and asks nothing; resuming asks at once.

export interface FeedState<T> {
  /** The last good answer; kept while later ones fail. */
  data: T | null;
  /** When it came, in milliseconds of the local clock. */
  receivedAt: number | null;
  /** What the server said instead of an answer ("Gerät nicht gefunden"); null when it answered or did not speak at all. */
  refusal: string | null;
}

/** An answer of the server that is no success: it is there, but has not what was asked for. */
export class Refusal extends Error {}

export interface FeedTimes {
  pause: number;
  timeout: number;
  longestPause: number;
}

/** What a feed needs of its surroundings; tests bring their own. */
export interface Surroundings {
  now(): number;
  after(milliseconds: number, run: () => void): () => void;
}

export const browser: Surroundings = {
  now: () => Date.now(),
  after(milliseconds, run) {
    const timer = setTimeout(run, milliseconds);
    return () => clearTimeout(timer);
  },
};

export type Ask<T> = (signal: AbortSignal) => Promise<T>;

export class Feed<T> {
  private current: FeedState<T> = { data: null, receivedAt: null, refusal: null };
  private readonly listeners = new Set<() => void>();
  private wanted = false;
  private failures = 0;
  private cancelTimer: (() => void) | null = null;
  private request: AbortController | null = null;
  private lastContact: number | null = null;
  private pauseNow: number;

  constructor(
    private readonly ask: Ask<T>,
    private readonly times: FeedTimes,
    private readonly around: Surroundings = browser,
  ) {
    this.pauseNow = times.pause;
  }

  get state(): FeedState<T> {
    return this.current;
  }

  /** When the server last said anything here, a refusal included. */
  get contactAt(): number | null {
    return this.lastContact;
  }

  get interval(): number {
    return this.pauseNow;
  }

  /** Changes the pause between an answer and the next request, from the next pause on. */
  pace(pause: number): void {
    this.pauseNow = pause;
  }

  subscribe(listener: () => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }

  resume(): void {
    if (this.wanted) return;
    this.wanted = true;
    this.failures = 0;
    void this.round();
  }

  pause(): void {
    this.wanted = false;
    this.end();
  }

  /** Asks now instead of after the pause. Does nothing while a request is under way. */
  refresh(): void {
    if (!this.wanted || this.request) return;
    this.cancelTimer?.();
    this.cancelTimer = null;
    void this.round();
  }

  /**
   * What is asked for has changed: an answer under way is of no use any more. Asks anew after that pause, in milliseconds; of several calls
   * within it only the last one asks.
   */
  restart(pause: number): void {
    if (!this.wanted) return;
    this.end();
    this.askIn(pause);
  }

  /** An answer that came by another way, such as that to a command. One still under way would be older. */
  put(data: T): void {
    this.end();
    this.answered({ data, receivedAt: this.around.now(), refusal: null });
    if (this.wanted) this.askIn(this.pauseNow);
  }

  private end(): void {
    this.cancelTimer?.();
    this.cancelTimer = null;
    this.request?.abort();
    this.request = null;
  }

  private askIn(pause: number): void {
    this.cancelTimer = this.around.after(pause, () => {
      this.cancelTimer = null;
      void this.round();
    });
  }

  private async round(): Promise<void> {
    const request = new AbortController();
    this.request = request;
    const giveUp = this.around.after(this.times.timeout, () => request.abort());
    try {
      const data = await this.ask(request.signal);
      if (this.request === request) this.answered({ data, receivedAt: this.around.now(), refusal: null });
    } catch (error) {
      if (this.request === request) this.failed(error);
    } finally {
      giveUp();
    }
    if (this.request !== request) return;
    this.request = null;
    this.askIn(this.nextPause());
  }

  private answered(state: FeedState<T>): void {
    this.failures = 0;
    this.lastContact = this.around.now();
    this.publish(state);
  }

  private failed(error: unknown): void {
    this.failures += 1;
    if (error instanceof Refusal) {
      this.lastContact = this.around.now();
      this.publish({ ...this.current, refusal: error.message });
    }
  }

  private nextPause(): number {
    if (this.failures === 0) return this.pauseNow;
    const { pause, longestPause } = this.times;
    return Math.min(pause * 2 ** (this.failures - 1), Math.max(longestPause, pause));
  }

  private publish(state: FeedState<T>): void {
    this.current = state;
    for (const listener of [...this.listeners]) listener();
  }
}
