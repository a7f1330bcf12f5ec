// Whether the station answers, and how old what is shown has become.

import { clock, span } from "./format";

/** Silence for this long counts as a lost connection: with a request a second, that is several unanswered ones in a row. */
export const lostAfter = 3500;

export interface Connection {
  state: "connecting" | "there" | "lost";
  /** Milliseconds since the last answer; 0 while the connection is there. */
  silent: number;
}

/**
 * @param contactAt when the station last said anything, null when never
 * @param watchedSince when asking began or was taken up again: a page that slept has asked nothing
 */
export function connection(contactAt: number | null, watchedSince: number, now: number): Connection {
  if (now - Math.max(contactAt ?? 0, watchedSince) < lostAfter) return { state: contactAt === null ? "connecting" : "there", silent: 0 };
  return { state: "lost", silent: now - (contactAt ?? watchedSince) };
}

/** "keine Verbindung seit 8 s – Stand 21:14:03". */
export function lostText(silent: number, receivedAt: number | null): string {
  const text = `keine Verbindung seit ${span(silent / 1000)}`;
  return receivedAt === null ? text : `${text} – Stand ${clock(receivedAt / 1000)}`;
}

/** Older than three intervals. */
export function isStale(receivedAt: number | null, interval: number, now: number): boolean {
  return receivedAt !== null && now - receivedAt > 3 * interval;
}

/** Seconds that the station's clock is ahead of this device's, taking the answer as made in the middle of the request. */
export function clockOffset(stationTime: number, askedAt: number, answeredAt: number): number {
  return stationTime - (askedAt + answeredAt) / 2000;
}
