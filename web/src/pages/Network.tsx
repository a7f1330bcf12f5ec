// The show network: what is wrong, who sends what, and all that is there. A chosen universe stands beside the lists where there is room,
// instead of them where there is none.

import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { count, since, span } from "../data/format";
import { filterUniverses, listSections, universeLine, type UniverseFilter } from "../data/lines";
import type { Network as Told } from "../data/network";
import { links, type NetworkSection } from "../data/route";
import type { Situation } from "../situation";
import { stationNow, useNetwork } from "../station";
import { Empty, LevelMark, Section } from "../parts/basics";
import { useEscape } from "../parts/escape";
import { Icon } from "../parts/icons";
import { Lines } from "../parts/Lines";
import "../parts/listSheet";
import { NetTabs } from "../parts/NetTabs";
import { ProblemList } from "../parts/ProblemList";
import { Universe } from "./Universe";
import "../parts/shared";

/** Which lists there are and how much is in each; a tap leads there. */
function Summary({ entries, onGo }: { entries: { id: NetworkSection; title: string; count: string }[]; onGo: (id: NetworkSection) => void }) {
  return (
    <nav class="summary" aria-label="Teile dieser Seite">
      {entries.map((entry) => (
        <button key={entry.id} type="button" onClick={() => onGo(entry.id)}>
          <span class="figure">{entry.count}</span> {entry.title}
        </button>
      ))}
    </nav>
  );
}

const filters: { id: UniverseFilter; name: string }[] = [
  { id: "all", name: "alle" },
  { id: "conflict", name: "Konflikt" },
  { id: "ok", name: "aktiv" },
  { id: "lost", name: "verloren" },
];

function Universes({ told, elapsed, current }: { told: Told; elapsed: number; current: string | null }) {
  const [status, setStatus] = useState<UniverseFilter>("all");
  const [search, setSearch] = useState("");
  const { universeList } = told;
  const lines = useMemo(() => filterUniverses(universeList, status, search).map(universeLine), [universeList, status, search]);
  const amounts = useMemo(() => {
    const amount = (id: UniverseFilter) => (id === "all" ? universeList.length : universeList.filter((one) => one.status === id).length);
    return filters.map((filter) => amount(filter.id));
  }, [universeList]);
  if (universeList.length === 0) return <Empty title="Noch kein Universum gehört">Sobald ein Pult Art-Net oder sACN sendet, steht es hier.</Empty>;
  return (
    <>
      <input
        type="search"
        class="filter"
        placeholder="Universum, Name oder Adresse"
        aria-label="Universen filtern"
        autocomplete="off"
        value={search}
        onInput={(event) => setSearch(event.currentTarget.value)}
      />
      <div class="choices" role="group" aria-label="Welche Universen gezeigt werden">
        {filters.map((filter, index) => (
          <button key={filter.id} type="button" aria-pressed={filter.id === status} onClick={() => setStatus(filter.id)}>
            {filter.name} <span class="figure">{amounts[index]}</span>
          </button>
        ))}
      </div>
      {lines.length > 0 ? (
        <Lines name="Universen" lines={lines} elapsed={elapsed} current={current} />
      ) : (
        <Empty title="Keins dabei" />
      )}
    </>
  );
}

/** What stands now and is no alarm: "3 Geräte wieder online". */
function Remarks({ told }: { told: Told }) {
  const remarks = told.problems.filter((problem) => problem.level === "info");
  if (remarks.length === 0) return null;
  return (
    <ul class="remarks">
      {remarks.map((remark) => (
        <li key={remark.text}>
          <LevelMark level="info" />
          <span>{remark.text}</span>
        </li>
      ))}
    </ul>
  );
}

function Errors({ told }: { told: Told }) {
  const { dropped, refused } = told.health;
  return (
    <ul class="card remarks">
      {told.errors.map((error) => (
        <li key={error}>
          <LevelMark level="warning" />
          <span>{error}</span>
        </li>
      ))}
      {dropped > 0 && (
        <li>
          <LevelMark level="warning" />
          <span>{count(dropped, "Paket", "Pakete")} in diesem Rechner verloren, nicht im Netz: er kommt mit dem Empfangen nicht nach.</span>
        </li>
      )}
      {refused > 0 && (
        <li>
          <LevelMark level="warning" />
          <span>{count(refused, "Eintrag", "Einträge")} nicht aufgenommen: mehr Absender, als eine Anlage haben kann.</span>
        </li>
      )}
    </ul>
  );
}

function NotRunning() {
  return (
    <div class="card not-running">
      <p class="mark quiet">
        <Icon name="pause" size={20} />
        Überwachung läuft nicht
      </p>
      <p>
        Am Rechner startet sie mit <code>kestrelyne monitor start</code>. Bis dahin wird im Netz nichts gehört.
      </p>
    </div>
  );
}

function Everything({ told, situation, elapsed, current, section }: {
  told: Told;
  situation: Situation;
  elapsed: number;
  current: string | null;
  section: NetworkSection | null;
}) {
  const box = useRef<HTMLDivElement>(null);
  const go = (id: NetworkSection) => box.current?.querySelector(`[data-section="${id}"]`)?.scrollIntoView();
  useEffect(() => {
    if (section) go(section);
  }, [section]);
  const lists = useMemo(() => listSections(told), [told]);
  const problems = situation.problems.filter((problem) => problem.source === "network");
  const troubles = told.errors.length + (told.health.dropped > 0 ? 1 : 0) + (told.health.refused > 0 ? 1 : 0);
  const withUniverses = told.running || told.universeList.length > 0;
  const entries = [
    ...(withUniverses ? [{ id: "universes" as const, title: "Universen", count: String(told.universeList.length) }] : []),
    ...lists,
    ...(troubles > 0 ? [{ id: "errors" as const, title: "Einschränkungen", count: String(troubles) }] : []),
  ];
  return (
    <div ref={box} class={told.running ? undefined : "old"}>
      {!told.running && <NotRunning />}
      <div data-section="problems">
        {problems.length > 0 && <ProblemList problems={problems} now={stationNow()} />}
        {told.running && problems.length === 0 && (
          <p class="mark ok all-right">
            <Icon name="ok" size={20} />
            Keine Meldungen im Netz
          </p>
        )}
        <Remarks told={told} />
      </div>
      {entries.length > 0 && <Summary entries={entries} onGo={go} />}
      {withUniverses && (
        <div data-section="universes">
          <Section title="Universen">
            <Universes told={told} elapsed={elapsed} current={current} />
          </Section>
        </div>
      )}
      {lists.map((list) => (
        <div key={list.id} data-section={list.id}>
          <Section title={list.title} aside={<span class="quiet">{list.id === "devices" ? `${list.count} online` : list.count}</span>}>
            <Lines name={list.title} lines={list.lines} elapsed={elapsed} />
          </Section>
        </div>
      ))}
      {troubles > 0 && (
        <div data-section="errors">
          <Section title="Einschränkungen">
            <Errors told={told} />
          </Section>
        </div>
      )}
    </div>
  );
}

export function Network({ situation, universe, section }: { situation: Situation; universe: string | null; section: NetworkSection | null }) {
  const { data, receivedAt, refusal } = useNetwork();
  useEscape(links.network, universe !== null);
  const elapsed = receivedAt === null ? 0 : Math.max(0, (situation.now - receivedAt) / 1000);
  const stale = situation.networkStale;
  return (
    <div class={`page network ${universe ? "with-detail" : ""} ${stale ? "stale" : ""}`}>
      <div class="master">
        <header class="section-head">
          <h1>Netz</h1>
          {stale && receivedAt !== null && (
            <span class="quiet">
              Stand {since(stationNow() - elapsed, stationNow())}, vor {span(elapsed)}
            </span>
          )}
        </header>
        <NetTabs current="network" />
        {data ? (
          <Everything told={data} situation={situation} elapsed={elapsed} current={universe} section={section} />
        ) : (
          <Empty title={refusal ? "Diese Station überwacht kein Netz" : "Lade …"} />
        )}
      </div>
      {universe && (
        <div class="detail">
          <Universe key={universe} id={universe} told={data?.universeList.find((one) => one.id === universe) ?? null} />
        </div>
      )}
    </div>
  );
}
