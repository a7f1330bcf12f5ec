// The map: switches by levels from the root downwards, the lines between them, and behind a tap what hangs on their ports.

import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { count, joined } from "../data/format";
import {
  attachedLine, attachedTo, boxHeight, draw, findAttached, hangsOn, isUnread, linkTexts, plan, summary, tellingPorts, type Plan,
} from "../data/mapping";
import type { MapPort, MapSwitch, NetDetail, NetworkMap } from "../data/netdetail";
import { addressOf, findSwitch } from "../data/ports";
import { deviceMark } from "../data/lines";
import { links } from "../data/route";
import { Empty, Section, Sheet, StateSign } from "../parts/basics";
import { Icon } from "../parts/icons";
import { Lines } from "../parts/Lines";
import { Unread } from "./Unread";

/** More on one port is told by their number: it is an uplink in all but name. */
const mostOnPort = 32;

function PortEntry({ port }: { port: MapPort }) {
  const rest = port.attached.length - mostOnPort;
  // Of an uplink only the number of addresses behind it says something.
  const behind = port.macCount > port.attached.length ? count(port.macCount, "Adresse", "Adressen") : "";
  return (
    <li>
      <p class="port-title">
        <bdi>
          <b>{port.name}</b> {joined([port.lldp && `Nachbar ${port.lldp}`, behind])}
        </bdi>
        {port.uplink && (
          <span class="mark quiet">
            <span class="upwards">
              <Icon name="forward" size={18} />
            </span>
            Uplink
          </span>
        )}
      </p>
      {port.attached.length > 0 && (
        <ul>
          {port.attached.slice(0, mostOnPort).map((one, index) => (
            <li key={index}>
              <bdi>{one.name || one.ip || one.mac}</bdi>{" "}
              <span class="quiet">
                <bdi>{joined([one.name && one.ip, (one.name || one.ip) && one.mac])}</bdi>
              </span>
            </li>
          ))}
          {rest > 0 && <li class="quiet">und {rest} weitere</li>}
        </ul>
      )}
    </li>
  );
}

function PortSheet({ told, detail, onClose }: { told: MapSwitch; detail: NetDetail; onClose: () => void }) {
  const { ports, idle } = tellingPorts(told);
  const known = findSwitch(detail.switches, told.ip) ?? findSwitch(detail.switches, told.name);
  const cables = linkTexts(detail.map.links, told.name);
  return (
    <Sheet title={told.name || told.ip} onClose={onClose}>
      <p class="port-title">
        <StateSign mark={deviceMark(told.online)} />
        <span class="quiet">{told.ip}</span>
      </p>
      {known && (
        <a class="more-link" href={links.switch(addressOf(known))}>
          Zum Switch
          <Icon name="forward" size={18} />
        </a>
      )}
      {cables.length > 0 && (
        <ul class="cables" aria-label="Verbindungen zu Switches">
          {cables.map((text, index) => (
            <li key={index}>
              <bdi>{text}</bdi>
            </li>
          ))}
        </ul>
      )}
      {ports.length > 0 ? (
        <ul class="map-ports" aria-label="Ports">
          {ports.map((port, index) => (
            <PortEntry key={index} port={port} />
          ))}
        </ul>
      ) : (
        <p class="quiet">Auf keinem Port wurde etwas gesehen.</p>
      )}
      {idle > 0 && ports.length > 0 && <p class="quiet">{idle === 1 ? "Auf einem Port" : `Auf ${idle} Ports`} hängt nichts.</p>}
    </Sheet>
  );
}

function MapBox({ told, level, place, style, onOpen, onFocus }: {
  told: MapSwitch;
  level: number;
  place: string;
  style: Record<string, string>;
  onOpen: () => void;
  onFocus: () => void;
}) {
  const devices = count(attachedTo(told), "Gerät", "Geräte");
  const mark = deviceMark(told.online);
  return (
    <button
      type="button"
      class={`map-box ${mark.tone}`}
      style={style}
      onClick={onOpen}
      onFocus={onFocus}
      aria-haspopup="dialog"
      aria-label={joined([told.name || told.ip, `Ebene ${level}`, mark.word, devices, place], ", ")}
    >
      <bdi class="map-name">{told.name || told.ip}</bdi>
      <StateSign mark={{ ...mark, word: told.online === true ? devices : told.online === false ? "offline" : "unbekannt" }} />
      <bdi class="map-place">{place}</bdi>
    </button>
  );
}

function MapDrawing({ map, made, onOpen }: { map: NetworkMap; made: Plan; onOpen: (index: number) => void }) {
  const box = useRef<HTMLDivElement>(null);
  const [width, setWidth] = useState(0);
  const [focused, setFocused] = useState<number | null>(null);
  useEffect(() => {
    const resized = new ResizeObserver(([entry]) => entry && setWidth(Math.floor(entry.contentRect.width)));
    resized.observe(box.current!);
    return () => resized.disconnect();
  }, []);
  const drawing = useMemo(() => (width > 0 ? draw(made, width) : null), [made, width]);
  const levelOf = useMemo(() => new Map(made.levels.flatMap((level, depth) => level.map((index) => [index, depth + 1] as const))), [made]);
  const broken = (index: number) => map.switches[index]?.online === false;
  return (
    <div class="map-box-list" ref={box} role="group" aria-label="Switches nach Ebenen" style={{ height: `${drawing?.height ?? 0}px` }}>
      {drawing && (
        <>
          <svg class="map-lines" width={width} height={drawing.height} viewBox={`0 0 ${width} ${drawing.height}`} aria-hidden="true">
            {made.edges.map((edge, index) => (
              <path
                key={`${edge.a} ${edge.b}`}
                d={drawing.paths[index]}
                class={`${broken(edge.a) || broken(edge.b) ? "broken" : ""} ${focused === edge.a || focused === edge.b ? "near-focus" : ""}`}
              />
            ))}
          </svg>
          {drawing.boxes.map(({ index, x, y }) => (
            <MapBox
              key={index}
              told={map.switches[index]!}
              level={levelOf.get(index)!}
              place={hangsOn(index, made, map.switches)}
              style={{ left: `${x.toFixed(1)}px`, top: `${y}px`, width: `${drawing.boxWidth.toFixed(1)}px`, height: `${boxHeight}px` }}
              onOpen={() => onOpen(index)}
              onFocus={() => setFocused(index)}
            />
          ))}
        </>
      )}
    </div>
  );
}

export function NetMap({ detail, elapsed }: { detail: NetDetail; elapsed: number }) {
  const { map } = detail;
  const [open, setOpen] = useState<{ name: string; ip: string } | null>(null);
  const [search, setSearch] = useState("");
  const made = useMemo(() => plan(map), [map]);
  const drawing = useMemo(() => <MapDrawing map={map} made={made} onOpen={(index) => setOpen(map.switches[index]!)} />, [map, made]);
  const found = useMemo(() => findAttached(map, search), [map, search]);
  const unplaced = useMemo(() => map.unplaced.map((one, index) => attachedLine(one, index, "")), [map]);
  const opened = open === null ? undefined : map.switches.find((one) => one.ip === open.ip && one.name === open.name);
  return (
    <>
      {isUnread(map) && <Unread />}
      {map.switches.length > 0 && !isUnread(map) && (
        <>
          <p class="quiet map-sum">{summary(map)}</p>
          <input
            type="search"
            class="filter"
            placeholder="Wo hängt …? Name, IP oder MAC"
            aria-label="Gerät auf der Karte suchen"
            autocomplete="off"
            value={search}
            onInput={(event) => setSearch(event.currentTarget.value)}
          />
          {search.trim() !== "" && (
            <Section title="Gefunden" aside={<span class="quiet">{found.length}</span>}>
              {found.length > 0 ? <Lines name="Gefunden" lines={found} elapsed={elapsed} /> : <Empty title="Keins dabei" />}
            </Section>
          )}
          {drawing}
        </>
      )}
      {unplaced.length > 0 && (
        <Section title={`Ohne Port-Zuordnung (${unplaced.length})`}>
          <Lines name="Ohne Port-Zuordnung" lines={unplaced} elapsed={elapsed} />
        </Section>
      )}
      {opened && <PortSheet told={opened} detail={detail} onClose={() => setOpen(null)} />}
    </>
  );
}
