// The show network as values of this app: what /api/network and /api/dmx tell.

import { answer, each, exact, fields, level, list, place, reading, text, texts, type Fields } from "./json";
import { readUps, type Level, type Reading, type Ups } from "./shapes";

export type UniverseStatus = "conflict" | "ok" | "lost" | "none";

export interface Sender {
  name: string;
  ip: string;
  fps: Reading;
  priority: Reading;
  interface: string;
  active: boolean;
}

export interface Universe {
  /** "Art-Net:1": how the interface names it. */
  id: string;
  /** "Art-Net 1 (0:0:1)": for people. */
  title: string;
  status: UniverseStatus;
  senders: Sender[];
  receivers: number;
  fixtures: number;
  nodeOutput: boolean;
}

export interface NetNode {
  name: string;
  ip: string;
  outputs: string;
  age: Reading;
  interface: string;
}

export interface NetDevice {
  id: string;
  name: string;
  ip: string;
  role: string;
  /** null: not known yet. */
  online: boolean | null;
  /** Seconds. */
  latency: Reading;
  /** °C */
  temp: Reading;
  /** Why its last reading failed; empty when it did not or none is wished. */
  error: string;
}

export interface Station {
  ip: string;
  name: string;
  version: string;
  rate: Reading;
  channels: string[];
  versions: string[];
}

export interface Clock {
  sender: string;
  name: string;
  grandmaster: string;
  priority1: Reading;
  priority2: Reading;
  clockClass: Reading;
  stratum: Reading;
  stepsRemoved: Reading;
  rate: Reading;
  interface: string;
  age: Reading;
}

export interface ClockDomain {
  label: string;
  grandmaster: string;
  conflict: boolean;
  clocks: Clock[];
}

export interface Timecode {
  name: string;
  ip: string;
  tc: string;
  fps: string;
  running: boolean;
}

export interface Console {
  name: string;
  ip: string;
  interface: string;
  age: Reading;
  subscribed: boolean;
}

export interface NetProblem {
  level: Level;
  area: "light" | "power";
  text: string;
}

export interface AddressConflict {
  ip: string;
  macs: string[];
  since: Reading;
}

export interface Adapter {
  device: string;
  name: string;
  subnet: string;
  role: string;
  active: boolean;
}

export interface Querier {
  ip: string;
  name: string;
  version: Reading;
  age: Reading;
}

export interface QuerierState {
  interface: string;
  name: string;
  error: string;
  queriers: Querier[];
}

export interface Network {
  running: boolean;
  online: number;
  total: number;
  nodeList: NetNode[];
  universeList: Universe[];
  devices: NetDevice[];
  ups: Ups[];
  maNet: Station[];
  ptp: ClockDomain[];
  timecode: Timecode[];
  controllers: Console[];
  problems: NetProblem[];
  conflicts: AddressConflict[];
  errors: string[];
  interfaces: Adapter[];
  igmp: QuerierState[];
  /** Datagrams lost in the station's own buffers; what its limits refused. */
  health: { dropped: number; refused: number };
}

export interface DmxSource {
  id: string;
  name: string;
  ip: string;
  priority: Reading;
  active: boolean;
}

export interface DmxFixture {
  fid: string;
  name: string;
  type: string;
  start: number;
  footprint: number;
}

export interface Dmx {
  label: string;
  sources: DmxSource[];
  /** The id of the source whose values these are; empty when there is none. */
  source: string;
  /** 0 … 255, at most 512. */
  data: number[];
  fixtures: DmxFixture[];
  nodeOutput: boolean;
}

export const channels = 512;

const amount = (value: unknown): number => reading(value) ?? 0;
const statuses: readonly unknown[] = ["conflict", "ok", "lost"] satisfies UniverseStatus[];

function universe(from: Fields): Universe {
  const proto = text(from.proto) || "Art-Net";
  return {
    id: `${proto}:${amount(from.universe)}`,
    title: `${proto} ${text(from.label) || amount(from.universe)}`,
    status: statuses.includes(from.status) ? (from.status as UniverseStatus) : "none",
    senders: each(from.senders, (sender) => ({
      name: text(sender.name),
      ip: text(sender.ip),
      fps: reading(sender.fps),
      priority: reading(sender.priority),
      interface: place(sender.interface),
      active: sender.active === true,
    })),
    receivers: amount(from.receivers),
    fixtures: amount(from.fixtures),
    nodeOutput: from.nodeOutput === true,
  };
}

function domain(from: Fields): ClockDomain {
  return {
    label: text(from.label),
    grandmaster: text(from.grandmaster),
    conflict: from.conflict === true,
    clocks: each(from.clocks, (clock) => ({
      sender: text(clock.sender),
      name: text(clock.name),
      grandmaster: text(clock.grandmaster),
      priority1: reading(clock.priority1),
      priority2: reading(clock.priority2),
      clockClass: reading(clock.clockClass),
      stratum: reading(clock.stratum),
      stepsRemoved: reading(clock.stepsRemoved),
      rate: reading(clock.rate),
      interface: place(clock.interface),
      age: reading(clock.age),
    })),
  };
}

export function readNetwork(value: unknown): Network {
  const from = fields(value);
  const health = fields(from.health);
  return {
    running: from.running === true,
    online: amount(from.online),
    total: amount(from.total),
    nodeList: each(from.nodeList, (node) => ({
      name: text(node.name),
      ip: text(node.ip),
      outputs: text(node.outputs),
      age: reading(node.age),
      interface: place(node.interface),
    })),
    universeList: each(from.universeList, universe),
    devices: each(from.devices, (device) => ({
      id: exact(device.id),
      name: text(device.name),
      ip: text(device.ip),
      role: text(device.role),
      online: answer(device.online),
      latency: reading(device.latency),
      temp: reading(device.temp),
      error: text(device.error),
    })),
    ups: list(from.ups).map(readUps),
    maNet: each(from.maNet, (station) => ({
      ip: text(station.ip),
      name: text(station.name),
      version: text(station.version),
      rate: reading(station.rate),
      channels: texts(station.channels),
      versions: texts(station.versions),
    })),
    ptp: each(from.ptp, domain),
    timecode: each(from.timecode, (code) => ({
      name: text(code.name),
      ip: text(code.ip),
      tc: text(code.tc),
      fps: text(code.fps),
      running: code.running === true,
    })),
    controllers: each(from.controllers, (console) => ({
      name: text(console.name),
      ip: text(console.ip),
      interface: place(console.interface),
      age: reading(console.age),
      subscribed: console.subscribed === true,
    })),
    problems: each(from.problems, (problem) => ({
      level: level(problem.level),
      area: problem.area === "power" ? "power" : "light",
      text: text(problem.text),
    })),
    conflicts: each(from.conflicts, (conflict) => ({ ip: text(conflict.ip), macs: texts(conflict.macs), since: reading(conflict.since) })),
    errors: texts(from.errors),
    interfaces: each(from.interfaces, (adapter) => ({
      device: text(adapter.device),
      name: text(adapter.name),
      subnet: text(adapter.subnet),
      role: text(adapter.role),
      active: adapter.active === true,
    })),
    igmp: each(from.igmp, (state) => ({
      interface: text(state.interface),
      name: text(state.name),
      error: text(state.error),
      queriers: each(state.queriers, (querier) => ({
        ip: text(querier.ip),
        name: text(querier.name),
        version: reading(querier.version),
        age: reading(querier.age),
      })),
    })),
    health: { dropped: amount(health.dropped), refused: amount(health.refused) },
  };
}

/** By priority, then by address: they keep their places whoever sent last. */
function inOrder(sources: DmxSource[]): DmxSource[] {
  return sources.sort((a, b) => (b.priority ?? 0) - (a.priority ?? 0) || a.ip.localeCompare(b.ip, "de", { numeric: true }));
}

/** The source that was shown last, while it is active. */
export function steadySource(last: Dmx | null): string | null {
  return last?.sources.some((source) => source.id === last.source && source.active) ? last.source : null;
}

export function readDmx(value: unknown): Dmx {
  const from = fields(value);
  return {
    label: text(from.label),
    sources: inOrder(
      each(from.sources, (source) => ({
        id: exact(source.id),
        name: text(source.name),
        ip: text(source.ip),
        priority: reading(source.priority),
        active: source.active === true,
      })),
    ),
    source: exact(from.source),
    data: list(from.data)
      .slice(0, channels)
      .map((level) => Math.min(255, Math.max(0, Math.round(amount(level))))),
    fixtures: each(from.fixtures, (fixture) => ({
      fid: typeof fixture.fid === "number" ? String(fixture.fid) : text(fixture.fid),
      name: text(fixture.name),
      type: text(fixture.type),
      start: amount(fixture.start),
      footprint: amount(fixture.footprint),
    })),
    nodeOutput: from.nodeOutput === true,
  };
}
