// The wall screen: readable from four metres, nothing to touch. Troubled meters come first; as many as fit are shown.

import { useEffect, useRef, useState } from "preact/hooks";
import { clock, figure, since } from "../data/format";
import { silentAfter } from "../data/lines";
import type { Network } from "../data/network";
import type { Meter } from "../data/shapes";
import { deviceState, isSilent, errorReason, type Problem } from "../data/verdict";
import { Figure, LevelMark, StateMark } from "../parts/basics";
import { Banner } from "../parts/Banner";
import { Announcer } from "../parts/NewAlarms";
import { addSheet } from "../parts/sheet";
import { useSituation } from "../situation";
import { info, stationNow, useFeed } from "../station";
import wallSheet from "../styles/wall.part.css";
import { VerdictLine } from "./Overview";
import "../parts/shared";

addSheet(wallSheet);

const smallestCard = { width: 480, height: 236 };
const gap = 24;
const mostProblems = 4;
const scrollingBelow = 720;

/** Troubled ones first, in their order within each kind. */
function byTrouble(meters: Meter[]): Meter[] {
  const rank = (meter: Meter) => (meter.alarms.length > 0 ? 0 : deviceState(meter.status) === "error" ? 1 : 2);
  return [...meters].sort((a, b) => rank(a) - rank(b));
}

function WallMeter({ meter }: { meter: Meter }) {
  return (
    <div class={`card wall-meter ${isSilent(meter.status) ? "old" : ""}`}>
      <header class="card-head">
        <h2>{meter.name || "Messgerät"}</h2>
        {meter.alarms[0] ? <LevelMark level={meter.alarms[0].severity} /> : <StateMark status={meter.status} />}
      </header>
      <Figure of={figure(meter.p, "W")} size="tile" />
      {errorReason(meter.status) ? (
        <p class="reason">{errorReason(meter.status)}</p>
      ) : (
        <div class="wall-phases">
          {[0, 1, 2].map((phase) => (
            <span key={phase} class={`l${phase + 1}`}>
              <span class="phase-name">L{phase + 1}</span> <Figure of={figure(meter.i[phase] ?? null, "A")} />
            </span>
          ))}
        </div>
      )}
    </div>
  );
}

function WallProblems({ problems }: { problems: Problem[] }) {
  const rest = problems.length - mostProblems;
  return (
    <ul class="wall-problems">
      {problems.slice(0, mostProblems).map((problem) => (
        <li key={problem.key} class={problem.severity}>
          <LevelMark level={problem.severity} />
          <span>
            {problem.where}: {problem.what}
          </span>
          {problem.since !== null && <span class="quiet">seit {since(problem.since, stationNow())}</span>}
        </li>
      ))}
      {rest > 0 && <li class="quiet">und {rest} weitere</li>}
    </ul>
  );
}

/** How many cards of the smallest size the box takes. */
function useRoom() {
  const box = useRef<HTMLDivElement>(null);
  const [room, setRoom] = useState(0);
  useEffect(() => {
    const watch = new ResizeObserver(([entry]) => {
      if (!entry) return;
      // On a phone the page is as long as its list and scrolls.
      if (window.innerWidth < scrollingBelow) return setRoom(Infinity);
      const columns = Math.max(1, Math.floor((entry.contentRect.width + gap) / (smallestCard.width + gap)));
      const rows = Math.max(1, Math.floor((entry.contentRect.height + gap) / (smallestCard.height + gap)));
      setRoom(columns * rows);
    });
    watch.observe(box.current!);
    return () => watch.disconnect();
  }, []);
  return { box, room };
}

/** What is there on the network; its alarms stand among the others. */
function WallNetwork({ network, stale }: { network: Network; stale: boolean }) {
  if (!network.running) return <p class="wall-network quiet">Netz: Überwachung läuft nicht</p>;
  const nodes = network.nodeList.filter((node) => node.age === null || node.age <= silentAfter).length;
  const active = network.universeList.filter((universe) => universe.status === "ok" || universe.status === "conflict").length;
  return (
    <div class={`wall-network ${stale ? "old" : ""}`}>
      <span>
        <span class="caption">Universen aktiv</span> <Figure of={{ text: String(active), unit: "" }} size="tile" />
      </span>
      <span>
        <span class="caption">Nodes da</span> <Figure of={{ text: String(nodes), unit: "" }} size="tile" />
      </span>
      <span>
        <span class="caption">Geräte online</span> <Figure of={{ text: String(network.online), unit: `von ${network.total}` }} size="tile" />
      </span>
    </div>
  );
}

export function Wall() {
  const situation = useSituation();
  const name = useFeed(info).data?.name ?? "Brantholme";
  const { box, room } = useRoom();
  const meters = byTrouble(situation.power?.devices ?? []);
  useEffect(() => {
    document.title = `${name} – FOH`;
  }, [name]);
  return (
    <div class={`wall ${situation.connection.state === "lost" ? "lost" : ""} ${situation.stale ? "stale" : ""}`}>
      <Banner situation={situation} />
      <header class="wall-head">
        <VerdictLine situation={situation} />
        <div class="wall-total">
          <p class="caption">Gesamtleistung</p>
          <Figure of={figure(situation.power?.totalP ?? null, "W")} size="main" />
        </div>
        <div class="wall-clock">
          <p class="caption">{name}</p>
          <span class="wall-time">{clock(stationNow()).slice(0, 5)}</span>
        </div>
      </header>
      {situation.problems.length > 0 && <WallProblems problems={situation.problems} />}
      {situation.network && <WallNetwork network={situation.network} stale={situation.networkStale} />}
      <main class="wall-meters" ref={box}>
        {meters.slice(0, room).map((meter) => (
          <WallMeter key={meter.id} meter={meter} />
        ))}
      </main>
      {meters.length > room && room > 0 && <p class="wall-rest quiet">{meters.length - room} weitere Messgeräte</p>}
      <Announcer fresh={situation.fresh} />
    </div>
  );
}
