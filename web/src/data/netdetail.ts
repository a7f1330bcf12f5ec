// Switches, the map of who hangs on which port, addresses, queriers and services as values of this app: what /api/netdetail tells.

import { answer, each, exact, fields, list, place, reading, text, texts, type Fields } from "./json";
import type { Reading } from "./shapes";

export type SwitchState = "ok" | "warning" | "alarm" | "none";

export interface SwitchPort {
  name: string;
  alias: string;
  up: boolean;
  /** Switched on by whoever set the switch up. */
  admin: boolean;
  /** Mbit/s */
  speed: Reading;
  /** Received with errors since the switch counts. */
  errors: Reading;
  /** Delivers power; null where the port cannot. */
  poe: boolean | null;
  neighbor: string;
  /** bit/s into the switch and out of it; null until two readings exist. */
  inBps: Reading;
  outBps: Reading;
}

export interface Sensor {
  name: string;
  /** °C */
  c: Reading;
  hot: boolean;
  warm: boolean;
}

export interface Component {
  name: string;
  ok: boolean;
  state: string;
}

export interface Switch {
  id: string;
  name: string;
  ip: string;
  online: boolean | null;
  /** Why the last reading failed; what else stands here is then of the last that did not. Empty when it did not. */
  error: string;
  state: SwitchState;
  model: string;
  software: string;
  serial: string;
  /** s */
  uptime: Reading;
  temps: Sensor[];
  components: Component[];
  /** % */
  cpu: Reading;
  /** W */
  poe: { budget: Reading; used: Reading } | null;
  ports: SwitchPort[];
  custom: { name: string; value: string }[];
}

export interface Attached {
  name: string;
  ip: string;
  mac: string;
}

export interface MapPort {
  name: string;
  up: boolean;
  uplink: boolean;
  lldp: string;
  macCount: number;
  attached: Attached[];
}

export interface MapSwitch {
  name: string;
  ip: string;
  online: boolean | null;
  ports: MapPort[];
}

/** Names of switches and of their ports; "?" for a side that is not known. */
export interface MapLink {
  a: string;
  aPort: string;
  b: string;
  bPort: string;
}

export interface NetworkMap {
  switches: MapSwitch[];
  links: MapLink[];
  /** Names of switches, from the root downwards. */
  levels: string[][];
  unplaced: Attached[];
}

export interface Address {
  ip: string;
  mac: string;
  name: string;
  interface: string;
  new: boolean;
  /** s */
  age: Reading;
}

export interface Querying {
  interface: string;
  name: string;
  queriers: string[];
  version: Reading;
  /** s */
  age: Reading;
  groups: number;
  members: number;
  /** Groups are asked for and nobody keeps them alive. */
  missing: boolean;
}

export interface Service {
  type: string;
  name: string;
  host: string;
  ips: string[];
}

export interface NetDetail {
  switches: Switch[];
  map: NetworkMap;
  addresses: Address[];
  /** When the reference of known addresses was last taken, seconds since 1970. */
  baseline: Reading;
  ipConflicts: { ip: string; macs: string[] }[];
  igmp: Querying[];
  services: Service[];
}

const states: readonly unknown[] = ["ok", "warning", "alarm"] satisfies SwitchState[];
/** A number, or how long a list is. */
const amount = (value: unknown): number => (Array.isArray(value) ? value.length : (reading(value) ?? 0));

function port(from: Fields): SwitchPort {
  return {
    name: text(from.name),
    alias: text(from.alias),
    up: from.up === true,
    admin: from.admin !== false,
    speed: reading(from.speed),
    errors: reading(from.errors),
    poe: answer(from.poe),
    neighbor: text(from.neighbor),
    inBps: reading(from.inBps),
    outBps: reading(from.outBps),
  };
}

function readSwitch(from: Fields): Switch {
  const poe = fields(from.poe);
  const power = { budget: reading(poe.budget), used: reading(poe.used) };
  return {
    id: exact(from.id),
    name: text(from.name),
    ip: text(from.ip),
    online: answer(from.online),
    error: text(from.error),
    state: states.includes(from.state) ? (from.state as SwitchState) : "none",
    model: text(from.model),
    software: text(from.software),
    serial: text(from.serial),
    uptime: reading(from.uptime),
    temps: each(from.temps, (one) => ({ name: text(one.name), c: reading(one.c), hot: one.hot === true, warm: one.warm === true })),
    components: each(from.components, (one) => ({ name: text(one.name), ok: one.ok === true, state: text(one.state) })),
    cpu: reading(from.cpu),
    poe: power.budget === null && power.used === null ? null : power,
    ports: each(from.ports, port),
    custom: each(from.custom, (one) => ({ name: text(one.name), value: typeof one.value === "number" ? String(one.value) : text(one.value) })),
  };
}

const attached = (from: Fields): Attached => ({ name: text(from.name), ip: text(from.ip), mac: text(from.mac) });

function map(from: Fields): NetworkMap {
  return {
    switches: each(from.switches, (one) => ({
      name: text(one.name),
      ip: text(one.ip),
      online: answer(one.online),
      ports: each(one.ports, (told) => ({
        name: text(told.name),
        up: told.up === true,
        uplink: told.uplink === true,
        lldp: text(told.lldp),
        macCount: amount(told.macCount),
        attached: each(told.attached, attached),
      })),
    })),
    links: each(from.links, (link) => ({ a: text(link.a), aPort: text(link.aPort), b: text(link.b), bPort: text(link.bPort) })),
    levels: list(from.levels).map(texts),
    unplaced: each(from.unplaced, attached),
  };
}

export function readNetDetail(value: unknown): NetDetail {
  const from = fields(value);
  return {
    switches: each(from.switches, readSwitch),
    map: map(fields(from.map)),
    addresses: each(from.addresses, (one) => ({
      ip: text(one.ip),
      mac: text(one.mac),
      name: text(one.name),
      interface: place(one.interface),
      new: one.new === true,
      age: reading(one.age),
    })),
    baseline: reading(from.baseline),
    ipConflicts: each(from.ipConflicts, (one) => ({ ip: text(one.ip), macs: texts(one.macs) })),
    igmp: each(from.igmp, (one) => ({
      interface: text(one.interface),
      name: text(one.name),
      queriers: texts(one.queriers),
      version: reading(one.version),
      age: reading(one.age),
      groups: amount(one.groups),
      members: amount(one.members),
      missing: one.missing === true,
    })),
    services: each(from.services, (one) => ({ type: text(one.type), name: text(one.name), host: text(one.host), ips: texts(one.ips) })),
  };
}
