// The first screen: is everything all right, what has just happened, what are the figures.

import { clock, count, figure, since, whole } from "../data/format";
import { silentAfter } from "../data/lines";
import type { Network } from "../data/network";
import { links } from "../data/route";
import { silence, sourceMark } from "../data/ups";
import { deviceState, type Mood } from "../data/verdict";
import type { Situation } from "../situation";
import { stationNow } from "../station";
import { Empty, Figure, Section, StateSign } from "../parts/basics";
import { EventExcerpt } from "../parts/EventList";
import { Icon, type IconName } from "../parts/icons";
import { ProblemList } from "../parts/ProblemList";

export const moodIcons: Record<Mood, IconName> = { ok: "ok", warning: "warning", alarm: "alarm", unknown: "unknown" };

/** The verdict; when the station is silent it says so instead of vouching for what it cannot know. */
export function VerdictLine({ situation }: { situation: Situation }) {
  const { verdict, connection, receivedAt } = situation;
  if (connection.state === "connecting" && !situation.power)
    return (
      <div class="verdict unknown">
        <Icon name="unknown" size={40} />
        <p class="verdict-text">Verbinde …</p>
      </div>
    );
  if (connection.state === "lost")
    return (
      <div class="verdict unknown">
        <Icon name="lost" size={40} />
        <p class="verdict-text">
          Keine Verbindung
          <span class="verdict-sub">{receivedAt === null ? "Noch keine Daten erhalten" : `Zuletzt ${clock(receivedAt / 1000)}: ${verdict.text}`}</span>
        </p>
      </div>
    );
  return (
    <div class={`verdict ${verdict.mood}`}>
      <Icon name={moodIcons[verdict.mood]} size={40} />
      <p class="verdict-text">{verdict.text}</p>
    </div>
  );
}

function PowerTiles({ situation }: { situation: Situation }) {
  const { power } = situation;
  if (!power) return null;
  const online = power.devices.filter((meter) => deviceState(meter.status) === "online");
  const currents = online.map((meter) => meter.iMax).filter((current): current is number => current !== null);
  const largest = currents.length > 0 ? Math.max(...currents) : null;
  const loaded = online.find((meter) => meter.iMax === largest && largest !== null);
  const measured = online.find((meter) => meter.f !== null);
  return (
    <div class="tiles">
      <a class="card tile wide" href={links.power}>
        <p class="caption">Gesamtleistung</p>
        <Figure of={figure(power.totalP, "W")} size="main" />
      </a>
      <a class="card tile" href={loaded ? links.device(loaded.id) : links.power}>
        <p class="caption">Größter Strom</p>
        <Figure of={figure(largest, "A")} size="tile" />
        <p class="tile-note">{loaded?.name ?? "–"}</p>
      </a>
      <a class="card tile" href={measured ? links.device(measured.id) : links.power}>
        <p class="caption">Frequenz</p>
        <Figure of={figure(measured?.f ?? null, "Hz")} size="tile" />
        <p class="tile-note">{measured?.name ?? "–"}</p>
      </a>
      <a class="card tile" href={links.power}>
        <p class="caption">Messgeräte</p>
        <span class="figure tile">
          {online.length}
          <span class="unit"> von {power.devices.length}</span>
        </span>
        <p class="tile-note">verbunden</p>
      </a>
      {power.ups.map((ups, index) => (
        <a class={`card tile ${silence(ups) ? "old" : ""}`} href={links.power} key={index}>
          <p class="caption">USV {ups.name}</p>
          <Figure of={{ text: whole(ups.charge, "%").replace(" %", ""), unit: ups.charge === null ? "" : "%" }} size="tile" />
          {ups.onBattery ? <StateSign mark={sourceMark(ups)} /> : <p class="tile-note">{silence(ups) || ups.source || "unbekannt"}</p>}
        </a>
      ))}
    </div>
  );
}

function NetworkTiles({ network }: { network: Network }) {
  const conflicts = network.universeList.filter((universe) => universe.status === "conflict").length;
  const active = network.universeList.filter((universe) => universe.status === "ok").length + conflicts;
  const silent = network.nodeList.filter((node) => node.age !== null && node.age > silentAfter).length;
  if (!network.running)
    return (
      <a class="card tile" href={links.network}>
        <p class="mark quiet">
          <Icon name="pause" size={18} />
          Überwachung läuft nicht
        </p>
      </a>
    );
  return (
    <div class="tiles three">
      <a class="card tile" href={links.networkSection("universes")}>
        <p class="caption">Universen</p>
        <span class="figure tile">{active}</span>
        <p class="tile-note">{conflicts > 0 ? `aktiv, ${count(conflicts, "Konflikt", "Konflikte")}` : "aktiv"}</p>
      </a>
      <a class="card tile" href={links.networkSection("nodes")}>
        <p class="caption">Nodes</p>
        <span class="figure tile">{network.nodeList.length - silent}</span>
        <p class="tile-note">{silent > 0 ? `da, ${silent} verstummt` : "da"}</p>
      </a>
      <a class="card tile" href={links.networkSection("devices")}>
        <p class="caption">Geräte</p>
        <span class="figure tile">
          {network.online}
          <span class="unit"> von {network.total}</span>
        </span>
        <p class="tile-note">online</p>
      </a>
    </div>
  );
}

export function Overview({ situation }: { situation: Situation }) {
  const { power, network, events, problems } = situation;
  return (
    <div class="page overview">
      <h1 class="aside-text">Übersicht</h1>
      <VerdictLine situation={situation} />
      {power?.recording && (
        <p class="recording">
          <Icon name="record" size={18} />
          Aufzeichnung läuft: {power.recording.name}
          {power.recording.since !== null && ` seit ${since(power.recording.since, stationNow())}`}
        </p>
      )}
      {problems.length > 0 && <ProblemList problems={problems} now={stationNow()} />}
      <div class="overview-columns">
        <Section
          title="Letzte Ereignisse"
          aside={
            <a class="more-link" href={links.events}>
              Alle
              <Icon name="forward" size={18} />
            </a>
          }
        >
          {events && events.length > 0 ? <EventExcerpt events={events.slice(0, 5)} /> : <Empty title={events ? "Noch keine Ereignisse" : "Lade …"} />}
        </Section>
        <div>
          <Section title="Strom">{power ? <PowerTiles situation={situation} /> : <Empty title="Lade …" />}</Section>
          {network && (
            <div class={situation.networkStale ? "old" : undefined}>
              <Section title="Netz">
                <NetworkTiles network={network} />
              </Section>
            </div>
          )}
        </div>
      </div>
    </div>
  );
}
