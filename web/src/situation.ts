// What all pages look at: the last answers, the problems in them, and how far they can be trusted.

import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { isStale, type Connection } from "./data/connection";
import { newProblems } from "./data/fresh";
import type { Network } from "./data/network";
import type { LogEvent, Power } from "./data/shapes";
import { allRightSince, problems, verdict, type Problem, type Verdict } from "./data/verdict";
import { connectionAt, events, network, power, stationNow, useFeed, useTick } from "./station";

export interface Situation {
  power: Power | null;
  /** When the power figures came, milliseconds of the device's clock. */
  receivedAt: number | null;
  network: Network | null;
  events: LogEvent[] | null;
  problems: Problem[];
  /** Those that were not there at the answer before; empty at the first answer. */
  fresh: Problem[];
  verdict: Verdict;
  connection: Connection;
  /** The figures of power are older than three intervals. */
  stale: boolean;
  /** Those of the network are. */
  networkStale: boolean;
  /** Milliseconds of the device's clock. */
  now: number;
}

export function useSituation(): Situation {
  // Twice a second: silence is noticed by the clock, and the banner has five seconds from the last answer.
  const now = useTick(500);
  const powerState = useFeed(power);
  const eventState = useFeed(events);
  const networkState = useFeed(network);
  const found = useMemo(
    () => problems(powerState.data, networkState.data, eventState.data ?? []),
    [powerState.data, networkState.data, eventState.data],
  );

  // What this page has seen itself: the events may not tell when a trouble went, as when a meter was disconnected by hand.
  const [rightSince, setRightSince] = useState<number | null>(null);
  // By source: the first answer of each makes nothing new, whichever comes first.
  const known = useRef<Record<Problem["source"], Set<string> | null>>({ power: null, network: null });
  const [fresh, setFresh] = useState<Problem[]>([]);
  const notice = (source: Problem["source"]): Problem[] => {
    const current = found.filter((problem) => problem.source === source);
    const before = known.current[source];
    const added = newProblems(before, current);
    if (before && before.size > 0 && found.length === 0) setRightSince(stationNow());
    if (before && (added.length > 0 || before.size !== current.length)) events.refresh();
    known.current[source] = new Set(current.map((problem) => problem.key));
    return added;
  };
  useEffect(() => {
    const added = [...(powerState.data ? notice("power") : []), ...(networkState.data ? notice("network") : [])];
    if (added.length > 0) setFresh(added);
  }, [powerState.data, networkState.data]);

  const told = allRightSince(eventState.data ?? []);
  const since = rightSince === null ? told : Math.max(rightSince, told ?? 0);
  return {
    power: powerState.data,
    receivedAt: powerState.receivedAt,
    network: networkState.data,
    events: eventState.data,
    problems: found,
    fresh,
    verdict: verdict(powerState.data, networkState.data ?? (networkState.refusal === null ? null : "none"), found, since, stationNow()),
    connection: connectionAt(now),
    stale: isStale(powerState.receivedAt, power.interval, Math.max(now, powerState.receivedAt ?? 0)),
    networkStale: isStale(networkState.receivedAt, network.interval, Math.max(now, networkState.receivedAt ?? 0)),
    now,
  };
}
