// The JSON interface as values of this app. Whatever arrives is read field by field: what is absent or of another type becomes
// null, empty or an empty list, so that nothing further on has to doubt it.

import { answer, exact, fields, level, list, reading, readings, text } from "./json";

export type Level = "alarm" | "warning" | "info";
export type Control = "view" | "find" | "full";
export type Reading = number | null;

export interface Info {
  name: string;
  control: Control;
  authed: boolean;
  pinSet: boolean;
  https: boolean;
  httpsURL: string | null;
  user: string;
  time: Reading;
  version: string;
  build: string;
  copyright: string;
}

export interface Alarm {
  text: string;
  severity: "warning" | "alarm";
}

export interface Extremes {
  u: Reading[];
  i: Reading[];
  p: Reading;
  f: Reading;
}

export interface SubMeter {
  name: string;
  value: Reading;
  unit: string;
  running: boolean;
  since: Reading;
}

export interface Meter {
  id: string;
  name: string;
  status: string;
  p: Reading;
  s: Reading;
  q: Reading;
  f: Reading;
  energy: Reading;
  u: Reading[];
  i: Reading[];
  in: Reading;
  pPhase: Reading[];
  iMax: Reading;
  max: Extremes;
  alarms: Alarm[];
  planned: Reading;
  trend: Reading[];
}

export interface Ups {
  name: string;
  ip: string;
  /** null: not known yet. */
  online: boolean | null;
  /** Where its output comes from, in words: "Netzbetrieb", "Bypass". */
  source: string;
  /** % */
  charge: Reading;
  /** Minutes. */
  runtime: Reading;
  /** % of the phase that carries most. */
  load: Reading;
  onBattery: boolean;
  /** "normal", "schwach", "leer" …, "unbekannt". */
  battery: string;
  /** Why the last reading failed; the figures are then those of the last that did not. Empty when it did not. */
  error: string;
  protocol: string;
  model: string;
  /** Attached to the station itself instead of reached through the network. */
  local: boolean;
}

export interface Power {
  devices: Meter[];
  ups: Ups[];
  totalP: Reading;
  recording: { name: string; since: Reading } | null;
}

export interface Row {
  label: string;
  value: string;
  min: string;
  max: string;
  maxTime: Reading;
}

export interface Group {
  name: string;
  rows: Row[];
}

export interface LogEvent {
  time: number;
  source: string;
  level: Level;
  text: string;
}

export interface DeviceDetail {
  name: string;
  status: string;
  connection: string;
  profile: string;
  lastUpdate: Reading;
  latency: Reading;
  minMaxSince: Reading;
  p: Reading;
  i: Reading[];
  trendP: Reading[];
  trendI: Reading[][];
  trendSeconds: Reading;
  groups: Group[];
  alarms: Alarm[];
  events: LogEvent[];
  meters: SubMeter[];
}

/** Always three, one a phase. */
function phases(value: unknown): Reading[] {
  const all = readings(value);
  return [all[0] ?? null, all[1] ?? null, all[2] ?? null];
}

function alarms(value: unknown): Alarm[] {
  return list(value).map((entry) => {
    const from = fields(entry);
    return { text: text(from.text), severity: from.severity === "warning" ? "warning" : "alarm" };
  });
}

function extremes(value: unknown): Extremes {
  const from = fields(value);
  return { u: phases(from.u), i: phases(from.i), p: reading(from.p), f: reading(from.f) };
}

function meter(value: unknown): Meter {
  const from = fields(value);
  return {
    id: exact(from.id),
    name: text(from.name),
    status: text(from.status),
    p: reading(from.p),
    s: reading(from.s),
    q: reading(from.q),
    f: reading(from.f),
    energy: reading(from.energy),
    u: phases(from.u),
    i: phases(from.i),
    in: reading(from.in),
    pPhase: phases(from.pPhase),
    iMax: reading(from.iMax),
    max: extremes(from.max),
    alarms: alarms(from.alarms),
    planned: reading(from.planned),
    trend: readings(from.trend),
  };
}

export function readUps(value: unknown): Ups {
  const from = fields(value);
  return {
    name: text(from.name),
    ip: text(from.ip),
    online: answer(from.online),
    source: text(from.source),
    charge: reading(from.charge),
    runtime: reading(from.runtime),
    load: reading(from.load),
    onBattery: from.onBattery === true,
    battery: text(from.battery),
    error: text(from.error),
    protocol: text(from.protocol),
    model: text(from.model),
    local: from.local === true,
  };
}

/** Events without a time cannot be placed and are left out. */
function events(value: unknown): LogEvent[] {
  const found: LogEvent[] = [];
  for (const entry of list(value)) {
    const from = fields(entry);
    const time = reading(from.time);
    if (time !== null) found.push({ time, source: text(from.source), level: level(from.level), text: text(from.text) });
  }
  return found;
}

export function readInfo(value: unknown): Info {
  const from = fields(value);
  return {
    name: text(from.name) || "Brantholme",
    control: from.control === "find" || from.control === "full" ? from.control : "view",
    authed: from.authed === true,
    pinSet: from.pinSet === true,
    https: from.https === true,
    httpsURL: text(from.httpsURL) || null,
    user: text(from.user),
    time: reading(from.time),
    version: text(from.version),
    build: text(from.build),
    copyright: text(from.copyright),
  };
}

export function readPower(value: unknown): Power {
  const from = fields(value);
  const recording = fields(from.recording);
  return {
    devices: list(from.devices).map(meter),
    ups: list(from.ups).map(readUps),
    totalP: reading(from.totalP),
    recording: typeof recording.name === "string" ? { name: recording.name, since: reading(recording.since) } : null,
  };
}

export function readDevice(value: unknown): DeviceDetail {
  const from = fields(value);
  return {
    name: text(from.name),
    status: text(from.status),
    connection: text(from.connection),
    profile: text(from.profile),
    lastUpdate: reading(from.lastUpdate),
    latency: reading(from.latency),
    minMaxSince: reading(from.minMaxSince),
    p: reading(from.p),
    i: phases(from.i),
    trendP: readings(from.trendP),
    trendI: [0, 1, 2].map((phase) => readings(list(from.trendI)[phase])),
    trendSeconds: reading(from.trendSeconds),
    groups: list(from.groups).map((entry) => {
      const group = fields(entry);
      return {
        name: text(group.name),
        rows: list(group.rows).map((line) => {
          const row = fields(line);
          return {
            label: text(row.label),
            value: text(row.value) || "–",
            min: text(row.min) || "–",
            max: text(row.max) || "–",
            maxTime: reading(row.maxTime),
          };
        }),
      };
    }),
    alarms: alarms(from.alarms),
    events: events(from.events),
    meters: list(from.meters).map((entry) => {
      const sub = fields(entry);
      return { name: text(sub.name), value: reading(sub.value), unit: text(sub.unit), running: sub.running === true, since: reading(sub.since) };
    }),
  };
}

export function readEvents(value: unknown): LogEvent[] {
  return events(fields(value).events);
}
