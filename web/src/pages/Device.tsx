// One meter: state, curves, all values by group with their extremes, alarms and events.

import { useMemo, useState } from "preact/hooks";
import { ago, clock, decimal, energy, figure, missing, since, span } from "../data/format";
import { links } from "../data/route";
import type { DeviceDetail, Group, SubMeter } from "../data/shapes";
import { trendTimes } from "../data/trend";
import { deviceState, errorReason, isSilent } from "../data/verdict";
import { stationNow, useDevice, useTick } from "../station";
import { Empty, Figure, LevelMark, Section, StateMark } from "../parts/basics";
import { Chart } from "../parts/Chart";
import { EventList } from "../parts/EventList";
import { Icon } from "../parts/icons";
import "../parts/shared";

function Head({ device, stale }: { device: DeviceDetail; stale: boolean }) {
  const facts = [device.connection, device.profile].filter(Boolean).join(" · ");
  const reason = errorReason(device.status);
  return (
    <header class="device-head">
      <div class="device-title">
        <h1>{device.name || "Messgerät"}</h1>
        <StateMark status={device.status} />
      </div>
      {reason && <p class="reason">{reason}</p>}
      <p class="quiet">
        {facts}
        {facts && <br />}
        {device.lastUpdate === null ? (
          "noch keine Werte"
        ) : (
          <>
            <span class={stale ? "age-old" : undefined}>Stand {clock(device.lastUpdate)}{stale && `, ${ago(device.lastUpdate, stationNow())}`}</span>
            {device.latency !== null && deviceState(device.status) === "online" && ` · Antwort in ${decimal(device.latency * 1000, 0)} ms`}
          </>
        )}
      </p>
    </header>
  );
}

function Charts({ device }: { device: DeviceDetail }) {
  const [cursor, setCursor] = useState<number | null>(null);
  const points = Math.max(device.trendP.length, ...device.trendI.map((values) => values.length));
  const seconds = device.trendSeconds ?? 0;
  const end = device.lastUpdate ?? stationNow();
  const times = useMemo(() => trendTimes(points, seconds, end), [device]);
  if (points < 2 || seconds <= 0) return <Empty title="Noch kein Verlauf">Die Kurven erscheinen, sobald einige Messungen da sind.</Empty>;
  const fit = <T,>(values: (T | null)[]) => [...Array<null>(points - values.length).fill(null), ...values];
  const phases = ["L1", "L2", "L3"].map((name, index) => ({ name, color: `--${name.toLowerCase()}`, values: fit(device.trendI[index] ?? []) }));
  return (
    <div class="card charts">
      <Chart
        title="Wirkleistung Σ"
        unit="W"
        times={times}
        series={[{ name: "Σ", color: "--accent", values: fit(device.trendP) }]}
        cursor={cursor}
        onCursor={setCursor}
      />
      <Chart title="Strom" unit="A" times={times} series={phases} cursor={cursor} onCursor={setCursor} />
    </div>
  );
}

function GroupTable({ group }: { group: Group }) {
  const now = stationNow();
  return (
    <div class="card group">
      <h3>{group.name}</h3>
      <table role="table">
        <thead>
          <tr>
            <th scope="col">
              <span class="aside-text">Messwert</span>
            </th>
            <th scope="col">Aktuell</th>
            <th scope="col">Min</th>
            <th scope="col">Max</th>
          </tr>
        </thead>
        <tbody>
          {group.rows.map((row, index) => (
            <tr key={index}>
              <th scope="row">{row.label}</th>
              <td class="figure now">{row.value}</td>
              <td class={`figure ${row.min === missing ? "nothing" : ""}`} data-name="Min">
                {row.min}
              </td>
              <td class={`figure ${row.max === missing ? "nothing" : ""}`} data-name="Max">
                {row.max}
                {row.maxTime !== null && <span class="at">{since(row.maxTime, now)}</span>}
              </td>
            </tr>
          ))}
        </tbody>
      </table>
    </div>
  );
}

const isEmpty = (group: Group) => group.rows.every((row) => row.value === missing && row.min === missing && row.max === missing);

function Groups({ groups }: { groups: Group[] }) {
  const absent = groups.filter(isEmpty).map((group) => group.name);
  const present = groups.filter((group) => !isEmpty(group));
  return (
    <>
      <div class="groups">
        {present.map((group) => (
          <GroupTable key={group.name} group={group} />
        ))}
      </div>
      {absent.length > 0 && <p class="quiet">Keine Werte: {absent.join(", ")}</p>}
    </>
  );
}

function SubMeters({ meters }: { meters: SubMeter[] }) {
  return (
    <div class="card group">
      <table>
        <tbody>
          {meters.map((meter, index) => (
            <tr key={index}>
              <th scope="row">{meter.name}</th>
              <td class="figure now">
                <Figure of={energy(meter.value, meter.unit || "Wh")} />
              </td>
              <td>
                {meter.running ? "läuft" : "angehalten"}
                {meter.since !== null && ` seit ${since(meter.since, stationNow())}`}
              </td>
            </tr>
          ))}
        </tbody>
      </table>
    </div>
  );
}

export function Device({ id }: { id: string }) {
  const { state, interval } = useDevice(id);
  useTick();
  const back = (
    <a class="back" href={links.power}>
      <Icon name="back" size={20} />
      Strom
    </a>
  );
  const device = state.data;
  if (!device)
    return (
      <>
        {back}
        <Empty title={state.refusal ?? "Lade …"}>{state.refusal ? "Vielleicht wurde es am Rechner entfernt." : undefined}</Empty>
      </>
    );
  const age = device.lastUpdate === null ? null : stationNow() - device.lastUpdate;
  const stale = age !== null && age > (3 * interval) / 1000;
  return (
    <article class={`device ${stale || isSilent(device.status) ? "old" : ""}`}>
      {back}
      {state.refusal && <p class="reason">{state.refusal}</p>}
      <Head device={device} stale={stale} />
      {device.alarms.length > 0 && (
        <ul class="device-alarms">
          {device.alarms.map((alarm) => (
            <li key={alarm.text} class={alarm.severity}>
              <LevelMark level={alarm.severity} />
              <span>{alarm.text}</span>
            </li>
          ))}
        </ul>
      )}
      <div class="device-figures">
        <div>
          <p class="caption">Wirkleistung Σ</p>
          <Figure of={figure(device.p, "W")} size="main" />
        </div>
        {device.i.map((current, phase) => (
          <div key={phase} class={`l${phase + 1}`}>
            <p class="caption">
              <span class="swatch" />
              Strom L{phase + 1}
            </p>
            <Figure of={figure(current, "A")} size="tile" />
          </div>
        ))}
      </div>
      <Section title="Verlauf" aside={device.trendSeconds ? <span class="quiet">letzte {span(device.trendSeconds)}</span> : undefined}>
        <Charts device={device} />
      </Section>
      <Section
        title="Messwerte"
        aside={device.minMaxSince !== null ? <span class="quiet">Min und Max seit {since(device.minMaxSince, stationNow())}</span> : undefined}
      >
        {device.groups.length > 0 ? <Groups groups={device.groups} /> : <Empty title="Keine Messwerte" />}
      </Section>
      {device.meters.length > 0 && (
        <Section title="Zwischenzähler">
          <SubMeters meters={device.meters} />
        </Section>
      )}
      <Section title="Ereignisse">
        {device.events.length > 0 ? <EventList events={device.events} /> : <Empty title="Noch keine Ereignisse" />}
      </Section>
    </article>
  );
}
