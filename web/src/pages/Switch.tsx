// One switch: what is wrong with it, its ports as they stand on its front, and what its sensors tell.

import { useMemo, useRef, useState } from "preact/hooks";
import { count, joined, missing, span, whole } from "../data/format";
import type { Component, NetDetail, Sensor, Switch as Told, SwitchPort } from "../data/netdetail";
import type { NetProblem } from "../data/network";
import {
  bitRate, failedPorts, hottest, identityOf, isSilentSwitch, notices, poeText, portState, portWords, speedText, switchMark, uplinksOf, type PortState,
} from "../data/ports";
import { links } from "../data/route";
import { Empty, Gauge, LevelMark, Section, StateSign } from "../parts/basics";
import { FrontPanel, PanelLegend } from "../parts/FrontPanel";
import { Icon } from "../parts/icons";

/** How many errors each port has had since this was first drawn: what a switch counts may be from long ago. */
function useNewErrors(ports: SwitchPort[]): number[] {
  const first = useRef(new Map<string, number>());
  return ports.map((port, index) => {
    if (port.errors === null) return 0;
    const key = `${index} ${port.name}`;
    const before = first.current.get(key);
    // A count that went back began anew.
    if (before === undefined || port.errors < before) first.current.set(key, port.errors);
    return Math.max(0, port.errors - (before ?? port.errors));
  });
}

const errorText = (port: SwitchPort, grown: number) =>
  port.errors === null ? missing : `${port.errors}${grown > 0 ? ` (${grown} seit dem Öffnen)` : ""}`;

const portMarks = {
  up: { tone: "ok", sign: "online" },
  down: { tone: "quiet", sign: "unknown" },
  off: { tone: "quiet", sign: "pause" },
  failed: { tone: "alarm", sign: "alarm" },
} as const;

function PortFacts({ port, state, uplink, grown }: { port: SwitchPort; state: PortState; uplink: boolean; grown: number }) {
  const facts: [string, string][] = [
    ["Geschwindigkeit", port.up ? speedText(port.speed) : missing],
    ["Empfängt", bitRate(port.inBps)],
    ["Sendet", bitRate(port.outBps)],
    ["PoE", poeText(port.poe)],
    ["Fehler", errorText(port, grown)],
    ["Nachbar", port.neighbor || missing],
  ];
  return (
    <>
      <p class="port-title">
        <bdi>
          <b>{port.name || "Port"}</b> {port.alias}
        </bdi>
        <StateSign mark={{ ...portMarks[state], word: joined([portWords[state], uplink && "Uplink"], ", ") }} />
      </p>
      <dl class="port-facts">
        {facts.map(([name, value]) => (
          <div key={name}>
            <dt>{name}</dt>
            <dd class="figure">
              <bdi>{value}</bdi>
            </dd>
          </div>
        ))}
      </dl>
    </>
  );
}

/** The same in rows: for wide screens, and everywhere for screen readers. */
function PortTable({ ports, uplinks, failed, newErrors }: {
  ports: SwitchPort[];
  uplinks: ReadonlySet<string>;
  failed: ReadonlySet<string>;
  newErrors: number[];
}) {
  return (
    <div class="port-table card">
      <table>
        <caption class="aside-text">Ports</caption>
        <thead>
          <tr>
            {["Port", "Zustand", "Empfängt", "Sendet", "Fehler", "PoE", "Nachbar"].map((name) => (
              <th key={name} scope="col">
                {name}
              </th>
            ))}
          </tr>
        </thead>
        <tbody>
          {ports.map((port, index) => (
            <tr key={index}>
              <th scope="row">
                {port.name}
                {port.alias && <span class="quiet"> {port.alias}</span>}
              </th>
              <td>
                {portWords[portState(port, failed)]}
                {port.up && <span class="figure"> {speedText(port.speed)}</span>}
              </td>
              <td class="figure">{bitRate(port.inBps)}</td>
              <td class="figure">{bitRate(port.outBps)}</td>
              <td class="figure">{errorText(port, newErrors[index] ?? 0)}</td>
              <td>{poeText(port.poe)}</td>
              <td>{joined([uplinks.has(port.name) && "Uplink", port.neighbor]) || missing}</td>
            </tr>
          ))}
        </tbody>
      </table>
    </div>
  );
}

function Ports({ told, uplinks, failed }: { told: Told; uplinks: ReadonlySet<string>; failed: ReadonlySet<string> }) {
  const [chosen, setChosen] = useState<{ index: number; name: string } | null>(null);
  const newErrors = useNewErrors(told.ports);
  // One that comes or goes moves those behind it.
  const isChosen = (one: SwitchPort | undefined) => one !== undefined && one.name === chosen?.name;
  const place = chosen && isChosen(told.ports[chosen.index]) ? chosen.index : told.ports.findIndex(isChosen);
  const selected = place < 0 ? null : place;
  const port = selected === null ? undefined : told.ports[selected];
  const up = told.ports.filter((one) => one.up).length;
  return (
    <Section
      title="Ports"
      aside={
        <span class="quiet">
          {up} von {told.ports.length} verbunden
        </span>
      }
    >
      <div class="panel-box">
        <FrontPanel ports={told.ports} uplinks={uplinks} failed={failed} newErrors={newErrors} selected={selected} onSelect={(index) => setChosen({ index, name: told.ports[index]!.name })} />
        <div class="port-info" data-empty={port ? undefined : ""}>
          {port ? (
            <PortFacts port={port} state={portState(port, failed)} uplink={uplinks.has(port.name)} grown={newErrors[selected!] ?? 0} />
          ) : (
            <p class="quiet">Ein Tipp auf einen Port zeigt, was er tut.</p>
          )}
        </div>
      </div>
      <PanelLegend withErrors={newErrors.some((grown) => grown > 0)} withFailed={failed.size > 0} />
      <PortTable ports={told.ports} uplinks={uplinks} failed={failed} newErrors={newErrors} />
    </Section>
  );
}

function SensorRow({ sensor }: { sensor: Sensor }) {
  const mark = sensor.hot
    ? ({ tone: "alarm", sign: "alarm", word: "zu heiß" } as const)
    : sensor.warm
      ? ({ tone: "warning", sign: "warning", word: "warm" } as const)
      : ({ tone: "ok", sign: "ok", word: "normal" } as const);
  return (
    <li>
      <bdi>{sensor.name}</bdi>
      <span class="figure">{whole(sensor.c, "°C")}</span>
      <StateSign mark={mark} />
    </li>
  );
}

function ComponentRow({ part }: { part: Component }) {
  const word = part.state || (part.ok ? "in Ordnung" : "Störung");
  return (
    <li>
      <bdi>{part.name}</bdi>
      <StateSign mark={{ tone: part.ok ? "ok" : "alarm", sign: part.ok ? "ok" : "alarm", word }} />
    </li>
  );
}

function Tiles({ told }: { told: Told }) {
  const heat = hottest(told);
  const hot = told.temps.find((temp) => temp.c === heat);
  return (
    <div class="tiles">
      {heat !== null && (
        <div class="card tile">
          <p class="caption">Temperatur</p>
          <span class="figure tile">{whole(heat, "°C")}</span>
          <p class="tile-note">{hot?.name}</p>
        </div>
      )}
      {told.cpu !== null && (
        <div class="card tile">
          <p class="caption">Prozessor</p>
          <span class="figure tile">{whole(told.cpu, "%")}</span>
          <Gauge name="Prozessor" share={told.cpu / 100} tone="quiet" />
        </div>
      )}
      {told.poe && (
        <div class="card tile">
          <p class="caption">PoE</p>
          <span class="figure tile">{told.poe.used === null ? missing : whole(told.poe.used, "W")}</span>
          {told.poe.used !== null && told.poe.budget !== null && told.poe.budget > 0 && (
            <Gauge name="PoE" share={told.poe.used / told.poe.budget} tone={told.poe.used >= told.poe.budget ? "warning" : "quiet"} />
          )}
          {told.poe.budget !== null && <p class="tile-note">von {whole(told.poe.budget, "W")}</p>}
        </div>
      )}
    </div>
  );
}

/**
 * @param name its id or its address
 * @param problems what stands as a problem of the network
 */
export function Switch({ name, told, detail, problems }: { name: string; told: Told | null; detail: NetDetail; problems: NetProblem[] }) {
  const back = (
    <a class="back" href={links.switches}>
      <Icon name="back" size={20} />
      Switches
    </a>
  );
  const failed = told ? failedPorts(problems, told) : [];
  // Drawn with each answer, not with each tick of the clock.
  const drawn = useMemo(() => {
    if (!told) return null;
    const uplinks = uplinksOf(detail.map, told);
    const lost = new Set(failed);
    const wrong = notices(told, lost);
    const tiles = hottest(told) !== null || told.cpu !== null || told.poe !== null;
    return (
      <article class={`device switch ${isSilentSwitch(told) ? "old" : ""}`}>
        {back}
        <header class="device-head">
          <div class="device-title">
            <h1>
              <bdi>{told.name || told.ip}</bdi>
            </h1>
            <StateSign mark={switchMark(told)} />
          </div>
          {told.error && <p class="reason">Keine neuen Werte: {told.error}</p>}
          <p class="quiet anywhere">
            {identityOf(told)}
            {identityOf(told) && <br />}
            {joined([told.ip, told.serial && `Seriennummer ${told.serial}`, told.uptime !== null && `läuft seit ${span(told.uptime)}`])}
          </p>
        </header>
        {wrong.length > 0 && (
          <ul class="device-alarms">
            {wrong.map((notice, index) => (
              <li key={index} class={notice.severity}>
                <LevelMark level={notice.severity} />
                <span>{notice.text}</span>
              </li>
            ))}
          </ul>
        )}
        {tiles && <Tiles told={told} />}
        {told.ports.length > 0 ? (
          <Ports told={told} uplinks={uplinks} failed={lost} />
        ) : (
          <Empty title={told.uptime === null ? "Noch keine Ports gelesen" : "Keine Ports genannt"}>
            {told.uptime === null
              ? "Die Ports erscheinen mit der ersten Antwort des Switches über SNMP."
              : "Der Switch antwortet, nennt über SNMP aber keine Ethernet-Ports."}
          </Empty>
        )}
        <div class="groups switch-groups">
          {told.temps.length > 0 && (
            <Section title="Temperaturen" aside={<span class="quiet">{told.temps.length}</span>}>
              <ul class="card rows">
                {told.temps.map((sensor, index) => (
                  <SensorRow key={index} sensor={sensor} />
                ))}
              </ul>
            </Section>
          )}
          {told.components.length > 0 && (
            <Section title="Lüfter und Netzteile" aside={<span class="quiet">{count(told.components.length, "Teil", "Teile")}</span>}>
              <ul class="card rows">
                {told.components.map((part, index) => (
                  <ComponentRow key={index} part={part} />
                ))}
              </ul>
            </Section>
          )}
          {told.custom.length > 0 && (
            <Section title="Eigene Werte">
              <ul class="card rows">
                {told.custom.map((value, index) => (
                  <li key={index}>
                    <bdi>{value.name}</bdi>
                    <span class="figure anywhere">{value.value || missing}</span>
                  </li>
                ))}
              </ul>
            </Section>
          )}
        </div>
      </article>
    );
  }, [told, detail, failed.join("\n")]);
  if (drawn) return drawn;
  return (
    <>
      {back}
      <Empty title="Diesen Switch gibt es hier nicht">
        <bdi>{name}</bdi>: vielleicht wurde er am Rechner entfernt.
      </Empty>
    </>
  );
}
