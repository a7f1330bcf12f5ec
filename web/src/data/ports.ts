// The ports of a switch: their state in words, their places on the front panel, and where the keyboard leads among them.

import { decimal, joined, missing, whole } from "./format";
import type { Line, Mark } from "./lines";
import { links } from "./route";
import type { NetworkMap, Switch, SwitchPort } from "./netdetail";
import type { NetProblem } from "./network";
import type { Reading } from "./shapes";

export type PortState = "up" | "down" | "off" | "failed";
export const portWords: Record<PortState, string> = { up: "verbunden", down: "nicht verbunden", off: "abgeschaltet", failed: "ausgefallen" };

/** @param failed the names of ports that were connected and are an alarm now */
export function portState(port: SwitchPort, failed: ReadonlySet<string>): PortState {
  if (port.up) return "up";
  if (failed.has(port.name)) return "failed";
  return port.admin ? "down" : "off";
}

const failure = (port: string) => `Port ${port} ist ausgefallen`;

/** The names of the ports of that switch whose failure stands among the network's problems. */
export function failedPorts(problems: NetProblem[], one: Switch): string[] {
  const standing = new Set(problems.map((problem) => problem.text));
  return one.ports.filter((port) => !port.up && standing.has(`${one.name}: ${failure(port.name)}`)).map((port) => port.name);
}

const short = (value: number) => decimal(value, Number.isInteger(value) ? 0 : 1);

/** @param speed Mbit/s; a port that is not up has 0 */
export function speedText(speed: Reading): string {
  if (speed === null || speed <= 0) return missing;
  return speed < 1000 ? `${short(speed)} Mbit/s` : `${short(speed / 1000)} Gbit/s`;
}

/** For the front panel: "100M", "2,5G". */
export function speedSign(speed: Reading): string {
  if (speed === null || speed <= 0) return "";
  return speed < 1000 ? `${short(speed)}M` : `${short(speed / 1000)}G`;
}

/** @param rate bit/s */
export function bitRate(rate: Reading): string {
  if (rate === null || rate < 0) return missing;
  const steps = ["bit/s", "kbit/s", "Mbit/s", "Gbit/s"];
  // By what is shown: 999 950 bit/s are 1,0 Mbit/s, not 1000 kbit/s.
  let step = 0;
  let value = rate;
  while (step < steps.length - 1 && value >= 999.5) {
    value /= 1000;
    step += 1;
  }
  return `${decimal(value, step > 0 && value < 9.95 ? 1 : 0)} ${steps[step]}`;
}

export function poeText(poe: boolean | null): string {
  if (poe === null) return missing;
  return poe ? "liefert Strom" : "liefert nicht";
}

/** What is printed beside the socket: the number at the end of its name, else its place, counted from 1. */
export const portNumber = (port: SwitchPort, index: number) => /\d{1,3}$/.exec(port.name)?.[0] ?? String(index + 1);

const perBlock = 12;

/** What the names of ports of one kind begin with: "gi1/0/". */
const kind = (port: SwitchPort) => port.name.replace(/\d+$/, "");

/** Ports as they stand on the front: blocks of at most twelve, a new one where the kind in the name changes. Indexes, in order. */
export function panelBlocks(ports: SwitchPort[]): number[][] {
  const groups: number[][] = [];
  ports.forEach((port, index) => {
    const before = ports[index - 1];
    if (before && kind(before) === kind(port)) groups[groups.length - 1]!.push(index);
    else groups.push([index]);
  });
  // Names without a pattern are no order.
  const ordered = groups.length * 2 <= ports.length ? groups : [ports.map((_, index) => index)];
  return ordered.flatMap((group) => {
    const blocks: number[][] = [];
    for (let at = 0; at < group.length; at += perBlock) blocks.push(group.slice(at, at + perBlock));
    return blocks;
  });
}

/** What stands above a block: the kind of its ports, where another begins there and numbers begin anew. */
export function blockTitle(ports: SwitchPort[], blocks: number[][], at: number): string {
  const kindOf = (block: number[] | undefined) => (block?.[0] === undefined ? null : kind(ports[block[0]]!));
  const one = kindOf(blocks[at]) ?? "";
  const alone = blocks.every((block) => kindOf(block) === one);
  return alone || kindOf(blocks[at - 1]) === one ? "" : one;
}

/** Where a key leads from that port: ports stand in pairs, the first above the second. null for a key that leads nowhere. */
export function movedPort(blocks: number[][], at: number, key: string): number | null {
  const columns = blocks.flatMap((block) => Array.from({ length: Math.ceil(block.length / 2) }, (_, column) => block.slice(column * 2, column * 2 + 2)));
  const here = columns.findIndex((column) => column.includes(at));
  if (here < 0) return null;
  const row = columns[here]!.indexOf(at);
  const beside = (column: number[] | undefined) => column?.[row] ?? column?.[0] ?? at;
  switch (key) {
    case "ArrowRight":
      return beside(columns[here + 1]);
    case "ArrowLeft":
      return beside(columns[here - 1]);
    case "ArrowUp":
      return columns[here]![0]!;
    case "ArrowDown":
      return columns[here]![1] ?? at;
    case "Home":
      return columns[0]![0]!;
    case "End":
      return columns.at(-1)!.at(-1)!;
    default:
      return null;
  }
}

/** All that the panel shows of a port, for who does not see it. */
export function portLabel(port: SwitchPort, state: PortState, uplink: boolean, newErrors: number): string {
  return joined(
    [
      `Port ${port.name}`,
      port.alias,
      portWords[state],
      port.up && speedText(port.speed),
      uplink && "Uplink",
      port.poe === true && "PoE liefert Strom",
      port.neighbor && `Nachbar ${port.neighbor}`,
      newErrors > 0 && "Fehler nehmen zu",
    ],
    ", ",
  );
}

/** The names of those ports of that switch that lead on to others, by the map. */
export function uplinksOf(map: NetworkMap, one: Switch): ReadonlySet<string> {
  const same = map.switches.filter((other) => other.ip === one.ip);
  const found = same.find((other) => other.name === one.name) ?? same[0];
  return new Set(found?.ports.filter((port) => port.uplink).map((port) => port.name));
}

export function switchMark(one: Switch): Mark {
  if (one.online === false) return { tone: "alarm", sign: "error", word: "nicht erreichbar" };
  if (one.state === "alarm") return { tone: "alarm", sign: "alarm", word: "Alarm" };
  if (one.error) return { tone: "warning", sign: "warning", word: "SNMP-Fehler" };
  if (one.state === "warning") return { tone: "warning", sign: "warning", word: "Warnung" };
  if (one.state === "ok") return { tone: "ok", sign: "ok", word: "in Ordnung" };
  return { tone: "quiet", sign: "unknown", word: "noch keine Werte" };
}

/** What is shown of it is old. */
export const isSilentSwitch = (one: Switch) => one.online === false || one.error !== "";

export interface Notice {
  severity: "alarm" | "warning";
  text: string;
}

/** What is wrong with it, alarms first. */
export function notices(one: Switch, failed: Iterable<string>): Notice[] {
  const heat = (severity: Notice["severity"], end: string) =>
    one.temps
      .filter((temp) => (severity === "alarm" ? temp.hot : temp.warm && !temp.hot))
      .map((temp): Notice => ({ severity, text: `Temperatur ${temp.name} ${whole(temp.c, "°C")}${end}` }));
  return [
    ...one.components.filter((part) => !part.ok).map((part): Notice => ({ severity: "alarm", text: `${part.name} ${part.state || "gestört"}` })),
    ...heat("alarm", ""),
    ...[...failed].map((port): Notice => ({ severity: "alarm", text: failure(port) })),
    ...heat("warning", " – nahe der Grenze"),
  ];
}

export function hottest(one: Switch): Reading {
  const known = one.temps.map((temp) => temp.c).filter((c): c is number => c !== null);
  return known.length > 0 ? Math.max(...known) : null;
}

export const identityOf = (one: Switch) => joined([one.model, one.software]);
/** How a link names it: two may stand behind one address. */
export const addressOf = (one: { id?: string; ip: string; name: string }) => one.id || one.ip || one.name;

export function switchLine(one: Switch): Line {
  const up = one.ports.filter((port) => port.up).length;
  const heat = hottest(one);
  return {
    key: addressOf(one),
    title: one.name || one.ip,
    note: one.error && one.online !== false ? one.error : joined([one.ip, identityOf(one)]),
    figures: joined([
      one.ports.length > 0 && `${up} von ${one.ports.length} Ports`,
      heat !== null && whole(heat, "°C"),
      one.poe?.used != null && `PoE ${whole(one.poe.used, "W")}`,
    ]),
    mark: switchMark(one),
    age: null,
    silent: isSilentSwitch(one),
    link: links.switch(addressOf(one)),
    facts: [],
  };
}

/** By its id, else by its address: a link may name either. */
export function findSwitch(switches: Switch[], name: string): Switch | null {
  return switches.find((one) => one.id === name) ?? switches.find((one) => one.ip === name) ?? switches.find((one) => one.name === name) ?? null;
}
