// The lighting patch, its RDM devices and the test light as values of this app: what /api/patch and /api/fixture tell.

import { answer, each, exact, fields, text, reading, readings, type Fields } from "./json";
import type { Reading } from "./shapes";

export interface Rdm {
  uid: string;
  /** Answered the last reading. */
  online: boolean;
  identify: boolean;
  /** The hottest sensor, °C */
  temp: Reading;
  /** It is beyond its limit. */
  hot: boolean;
  firmware: string;
  hours: Reading;
}

export interface Fixture {
  id: string;
  /** The console's number, a text: "101", "12.3". */
  fid: string;
  name: string;
  type: string;
  mode: string;
  universe: Reading;
  /** 1…512; 0 where it is not patched. */
  address: number;
  footprint: number;
  /** "2.041" */
  addressText: string;
  position: string;
  distributor: string;
  plugbox: string;
  socket: string;
  breaker: string;
  phase: string;
  /** W */
  power: Reading;
  notes: string;
  /** The test light is on it. */
  lit: boolean;
  rdm: Rdm | null;
}

export interface Personality {
  number: number;
  name: string;
  footprint: number;
}

export interface RdmSensor {
  name: string;
  value: Reading;
  unit: string;
  max: Reading;
  /** A temperature that has reached its limit. */
  hot: boolean;
}

export interface RdmDetail extends Rdm {
  manufacturer: string;
  model: string;
  label: string;
  /** The node through which it answers. */
  node: string;
  startAddress: Reading;
  footprint: Reading;
  personality: Reading;
  personalities: Personality[];
  lampHours: Reading;
  sensors: RdmSensor[];
  /** Stands as it came from the factory; null when it does not tell. */
  factory: boolean | null;
  writeEnabled: boolean;
}

export interface FixtureDetail extends Omit<Fixture, "rdm"> {
  layer: string;
  /** The footprint is a guess of the import. */
  estimated: boolean;
  rdm: RdmDetail | null;
  /** Why the command that this answers was not carried out. */
  failure: string;
}

export type LightMode = "off" | "fixtures" | "raw" | "all" | "chase";
export type LightProto = "artnet" | "sacn";

export interface TestLight {
  sending: boolean;
  mode: LightMode;
  /** What is sent, in one line. */
  text: string;
  /** Why a start was refused or sending has ended. */
  blockedBy: string;
  proto: LightProto;
  /** 0…1 */
  level: number;
  /** sACN, 0…200 */
  priority: number;
  /** s a lamp */
  step: number;
  /** The console's; none means all. */
  universes: number[];
  /** The lamp of a chase at this moment. */
  current: string | null;
}

/** All that the patch tells besides lamps. */
export interface Rig {
  /** When the devices were last searched for, seconds since 1970. */
  rdmScan: Reading;
  scanning: boolean;
  /** What a scan is doing, or why the last one ended early. */
  scanProgress: string;
  writeEnabled: boolean;
  /** Pairs of lamps whose addresses collide. */
  overlaps: number;
  /** The file it was imported from. */
  source: string;
  light: TestLight;
}

export interface Patch {
  /** What it was searched for. */
  query: string;
  fixtures: Fixture[];
  /** Found; more than are listed where the station has cut the list. */
  total: number;
  rig: Rig;
}

const modes: readonly unknown[] = ["fixtures", "raw", "all", "chase"] satisfies LightMode[];
const number = (value: unknown): number => reading(value) ?? 0;

function readRdm(from: Fields): Rdm {
  return {
    uid: text(from.uid),
    online: from.online === true,
    identify: from.identify === true,
    temp: reading(from.temp),
    hot: from.hot === true,
    firmware: text(from.firmware),
    hours: reading(from.hours),
  };
}

function readSummary(from: Fields): Omit<Fixture, "rdm"> {
  return {
    id: exact(from.id),
    fid: text(from.fid),
    name: text(from.name),
    type: text(from.type),
    mode: text(from.mode),
    universe: reading(from.universe),
    address: number(from.address),
    footprint: number(from.footprint),
    addressText: text(from.addressText),
    position: text(from.position),
    distributor: text(from.distributor),
    plugbox: text(from.plugbox),
    socket: text(from.socket),
    breaker: text(from.breaker),
    phase: text(from.phase),
    power: reading(from.power),
    notes: text(from.notes),
    lit: from.lit === true || fields(from.rdm).lit === true,
  };
}

const isThere = (value: unknown) => typeof value === "object" && value !== null;

function readFixtureLine(from: Fields): Fixture {
  return { ...readSummary(from), rdm: isThere(from.rdm) ? readRdm(fields(from.rdm)) : null };
}

export function readFixture(value: unknown): FixtureDetail {
  const from = fields(value);
  const rdm = fields(from.rdm);
  return {
    ...readSummary(from),
    layer: text(from.layer),
    estimated: from.estimated === true,
    failure: text(from.failure),
    rdm: isThere(from.rdm)
      ? {
          ...readRdm(rdm),
          manufacturer: text(rdm.manufacturer),
          model: text(rdm.model),
          label: text(rdm.label),
          node: text(rdm.node),
          startAddress: reading(rdm.startAddress),
          footprint: reading(rdm.footprint),
          personality: reading(rdm.personality),
          personalities: each(rdm.personalities, (one) => ({ number: number(one.number), name: text(one.name), footprint: number(one.footprint) })),
          lampHours: reading(rdm.lampHours),
          sensors: each(rdm.sensors, (one) => ({
            name: text(one.name), value: reading(one.value), unit: text(one.unit), max: reading(one.max), hot: one.hot === true,
          })),
          factory: answer(rdm.factory),
          writeEnabled: rdm.writeEnabled === true,
        }
      : null,
  };
}

export function readRig(value: unknown): Rig {
  const from = fields(value);
  const dmx = fields(from.dmx);
  return {
    rdmScan: reading(from.rdmScan),
    scanning: from.scanning === true,
    scanProgress: text(from.scanProgress),
    writeEnabled: from.writeEnabled === true,
    overlaps: number(from.overlaps),
    source: text(from.source),
    light: {
      sending: dmx.sending === true,
      mode: modes.includes(dmx.mode) ? (dmx.mode as LightMode) : "off",
      text: text(dmx.text),
      blockedBy: text(dmx.blockedBy),
      proto: dmx.proto === "sacn" ? "sacn" : "artnet",
      level: Math.min(1, Math.max(0, reading(dmx.level) ?? 1)),
      priority: reading(dmx.priority) ?? 100,
      step: reading(dmx.step) ?? 1,
      universes: readings(dmx.universes).filter((universe): universe is number => universe !== null),
      current: exact(dmx.current) || null,
    },
  };
}

export function readPatch(value: unknown, query: string): Patch {
  const from = fields(value);
  const found = each(from.fixtures, readFixtureLine);
  return { query, fixtures: found, total: Math.max(found.length, number(from.total)), rig: readRig(from) };
}
