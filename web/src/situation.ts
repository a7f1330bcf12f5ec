// What all pages look at: the last answers, the problems in them, and how far they can be trusted.

import { useEffect, useRef, useState } from "preact/hooks";
import { isStale, type Connection } from "./data/connection";
import { newProblems } from "./data/fresh";
import type { LogEvent, Power } from "./data/shapes";
import { allRightSince, problems, verdict, type Problem, type Verdict } from "./data/verdict";
import { connectionAt, events, power, stationNow, useFeed, useTick } from "./station";

export interface Situation {
  power: Power | null;
  /** When the power figures came, milliseconds of the device's clock. */
  receivedAt: number | null;
  events: LogEvent[] | null;
  problems: Problem[];
  /** Those that were not there at the answer before; empty at the first answer. */
  fresh: Problem[];
  verdict: Verdict;
  connection: Connection;
  /** The figures are older than three intervals. */
  stale: boolean;
  /** Milliseconds of the device's clock. */
  now: number;
}

export function useSituation(): Situation {
  // Twice a second: silence is noticed by the clock, and the banner has five seconds from the last answer.
  const now = useTick(500);
  const powerState = useFeed(power);
  const eventState = useFeed(events);
  const found = powerState.data ? problems(powerState.data, eventState.data ?? []) : [];

  // What this page has seen itself: the events may not tell when a trouble went, as when a meter was disconnected by hand.
  const [rightSince, setRightSince] = useState<number | null>(null);
  const known = useRef<Set<string> | null>(null);
  const [fresh, setFresh] = useState<Problem[]>([]);
  useEffect(() => {
    if (!powerState.data) return;
    const added = newProblems(known.current, found);
    if (known.current && known.current.size > 0 && found.length === 0) setRightSince(stationNow());
    if (known.current && (added.length > 0 || known.current.size !== found.length)) events.refresh();
    known.current = new Set(found.map((problem) => problem.key));
    if (added.length > 0) setFresh(added);
  }, [powerState.data]);

  const told = allRightSince(eventState.data ?? []);
  const since = rightSince === null ? told : Math.max(rightSince, told ?? 0);
  return {
    power: powerState.data,
    receivedAt: powerState.receivedAt,
    events: eventState.data,
    problems: found,
    fresh,
    verdict: verdict(powerState.data, found, since, stationNow()),
    connection: connectionAt(now),
    stale: isStale(powerState.receivedAt, power.interval, Math.max(now, powerState.receivedAt ?? 0)),
    now,
  };
}
