// One universe: who sends it, and what stands on its 512 channels right now.

import { useEffect, useReducer, useState } from "preact/hooks";
import { overview, type LevelUnit } from "../data/channel";
import { clock, count, missing, rate, span } from "../data/format";
import { universeMarks } from "../data/lines";
import type { Dmx, DmxSource, Universe as Listed } from "../data/network";
import { links } from "../data/route";
import { useDmx, useTick } from "../station";
import { Empty, Section, StateSign } from "../parts/basics";
import { ChannelBoard } from "../parts/ChannelBoard";
import { Icon } from "../parts/icons";
import { Lines } from "../parts/Lines";

/** Values come several times a second; what lags this long (milliseconds) has a reason worth telling. */
const oldAfter = 1500;

function SourceButton({ source, told, shown, onChoose }: { source: DmxSource; told: Listed | null; shown: boolean; onChoose: () => void }) {
  const name = source.name || source.ip;
  const sender = told?.senders.find((one) => one.ip === source.ip && (one.name || one.ip) === name);
  const facts = [source.ip !== name && source.ip, source.priority !== null && `Prio ${source.priority}`, sender && sender.active && rate(sender.fps), sender?.interface];
  return (
    <button type="button" class="source" aria-pressed={shown} onClick={onChoose}>
      <bdi class="line-title">{name || missing}</bdi>
      <StateSign mark={universeMarks[source.active ? "ok" : "lost"]} />
      <span class="line-note figure">{facts.filter(Boolean).join(" · ")}</span>
    </button>
  );
}

function Sources({ dmx, told, chosen, onChoose }: { dmx: Dmx; told: Listed | null; chosen: string | null; onChoose: (id: string | null) => void }) {
  if (dmx.sources.length === 0) return null;
  const title = dmx.sources.length === 1 ? "Quelle" : "Quellen";
  return (
    <Section
      title={title}
      aside={
        chosen !== null && (
          <button type="button" class="text-button" onClick={() => onChoose(null)}>
            wieder die aktive zeigen
          </button>
        )
      }
    >
      <div class="sources" role="group" aria-label="Wessen Werte gezeigt werden">
        {dmx.sources.map((source) => (
          <SourceButton key={source.id} source={source} told={told} shown={source.id === dmx.source} onChoose={() => onChoose(source.id)} />
        ))}
      </div>
      {chosen !== null && chosen !== dmx.source && <p class="reason">Die gewählte Quelle ist nicht mehr da.</p>}
    </Section>
  );
}

function fixtureLines(dmx: Dmx) {
  return dmx.fixtures.map((fixture) => {
    const place = fixture.footprint > 1 ? `Kanal ${fixture.start}–${fixture.start + fixture.footprint - 1}` : `Kanal ${fixture.start}`;
    return {
      key: `${fixture.fid} ${fixture.start}`,
      title: [fixture.fid, fixture.name].filter(Boolean).join(" "),
      note: fixture.type,
      figures: place,
      mark: null,
      age: null,
      silent: false,
      link: null,
      facts: [["Typ", fixture.type], ["Platz", place], ["Werte", dmx.data.slice(fixture.start - 1, fixture.start - 1 + fixture.footprint).join(" ")]] as [string, string][],
    };
  });
}

/** @param told what the list of universes says about it, null when it is not there */
export function Universe({ id, told }: { id: string; told: Listed | null }) {
  const [chosen, setChosen] = useState<string | null>(null);
  const [unit, setUnit] = useState<LevelUnit>("value");
  const feed = useDmx(id, chosen);
  // All but the channels is drawn twice a second; only the first answer is not waited for.
  const now = useTick(500);
  const [, redraw] = useReducer((version: number) => version + 1, 0);
  useEffect(() => {
    const stop = feed.subscribe(() => {
      redraw(0);
      stop();
    });
    return stop;
  }, [feed]);

  const { data: dmx, receivedAt, refusal } = feed.state;
  const title = dmx?.label || told?.title || id.replace(":", " ");
  const age = receivedAt === null ? 0 : Math.max(0, now - receivedAt);
  const lagging = receivedAt !== null && age > oldAfter;
  const source = dmx?.sources.find((one) => one.id === dmx.source);
  const facts = [
    told && told.receivers > 0 && count(told.receivers, "Empfänger", "Empfänger"),
    told && told.fixtures > 0 && count(told.fixtures, "Lampe", "Lampen"),
    dmx?.nodeOutput && "ein Node gibt es aus",
  ].filter(Boolean);
  return (
    <article class="universe">
      <a class="back" href={links.network}>
        <Icon name="back" size={20} />
        Netz
      </a>
      <header class="device-head">
        <div class="device-title">
          <h1>{title}</h1>
          {told && <StateSign mark={universeMarks[told.status]} />}
        </div>
        <p class="quiet">
          {facts.join(" · ")}
          {lagging && (
            <span class="age-old">
              {facts.length > 0 && " · "}Stand {clock(receivedAt / 1000)}, vor {span(age / 1000)}
            </span>
          )}
        </p>
      </header>
      {dmx && refusal && <p class="reason">{refusal}</p>}
      {!dmx && <Empty title={refusal ?? "Lade …"} />}
      {dmx && (
        <>
          <Sources dmx={dmx} told={told} chosen={chosen} onChoose={setChosen} />
          {dmx.sources.length === 0 && <Empty title="Niemand sendet dieses Universum" />}
          {dmx.sources.length > 0 && (
            <Section
              title="Kanäle"
              aside={
                <div class="choices" role="group" aria-label="Wie Werte gezeigt werden">
                  <button type="button" aria-pressed={unit === "value"} onClick={() => setUnit("value")}>
                    0–255
                  </button>
                  <button type="button" aria-pressed={unit === "percent"} onClick={() => setUnit("percent")}>
                    %
                  </button>
                </div>
              }
            >
              <p id="channels-sum" class="quiet channels-sum">{overview(dmx.data)}</p>
              <ChannelBoard feed={feed} unit={unit} fixtures={dmx.fixtures} old={lagging || !source?.active} described="channels-sum" />
            </Section>
          )}
          {dmx.fixtures.length > 0 && (
            <Section title="Lampen" aside={<span class="quiet">{dmx.fixtures.length}</span>}>
              <Lines name="Lampen" lines={fixtureLines(dmx)} elapsed={0} />
            </Section>
          )}
        </>
      )}
    </article>
  );
}
