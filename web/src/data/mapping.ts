// Where the switches of the map stand and how the lines between them run.

import { count, joined } from "./format";
import type { Line } from "./lines";
import type { Attached, MapLink, MapPort, MapSwitch, NetworkMap } from "./netdetail";

const unknown = "?";

/** Two switches that are linked, as indexes, once for however many cables; `a` stands above or before `b`. */
export interface Edge {
  a: number;
  b: number;
  /** Of each cable: the port at `a` and the one at `b`. */
  ports: [string, string][];
}

export interface Plan {
  /** Indexes of switches from the root downwards; those without a level stand in the last. */
  levels: number[][];
  edges: Edge[];
}

export function plan(map: NetworkMap): Plan {
  // Several may bear one name: each mention takes the next of them.
  const waiting = new Map<string, number[]>();
  map.switches.forEach((one, index) => waiting.set(one.name, [...(waiting.get(one.name) ?? []), index]));
  const first = new Map([...waiting].map(([name, [index]]) => [name, index!]));
  const told = map.levels.map((names) => names.map((name) => waiting.get(name)?.shift()).filter((index): index is number => index !== undefined));
  const rest = [...waiting.values()].flat().sort((a, b) => a - b);
  const levels = [...told, rest].filter((level) => level.length > 0);

  const order = new Map(levels.flat().map((index, place) => [index, place]));
  const edges = new Map<string, Edge>();
  for (const link of map.links) {
    const ends = [first.get(link.a), first.get(link.b)];
    if (ends[0] === undefined || ends[1] === undefined || ends[0] === ends[1]) continue;
    const turned = order.get(ends[0])! > order.get(ends[1])!;
    const [a, b] = turned ? [ends[1], ends[0]] : [ends[0], ends[1]];
    const key = `${a} ${b}`;
    const edge = edges.get(key) ?? { a, b, ports: [] };
    edge.ports.push(turned ? [link.bPort, link.aPort] : [link.aPort, link.bPort]);
    edges.set(key, edge);
  }
  return { levels: besideSiblings(levels, [...edges.values()]), edges: [...edges.values()] };
}

/** Those under one switch stand beside each other, in the order of those they hang on: fewer lines cross. */
function besideSiblings(levels: number[][], edges: Edge[]): number[][] {
  const places = new Map<number, number>();
  return levels.map((level) => {
    const above = (index: number) => Math.min(Infinity, ...edges.filter((edge) => edge.b === index).map((edge) => places.get(edge.a) ?? Infinity));
    const wanted = new Map(level.map((index) => [index, above(index)]));
    const sorted = [...level].sort((one, other) => (wanted.get(one) === wanted.get(other) ? 0 : wanted.get(one)! - wanted.get(other)!));
    for (const index of sorted) places.set(index, places.size);
    return sorted;
  });
}

/** Where a switch hangs: "an Core · Port 12"; empty at the root. */
export function hangsOn(index: number, { edges }: Plan, switches: MapSwitch[]): string {
  const above = edges.filter((edge) => edge.b === index);
  const [nearest] = above;
  if (!nearest) return "";
  const more = above.reduce((sum, edge) => sum + edge.ports.length, 0) - 1;
  const port = nearest.ports[0]?.[0];
  return `an ${joined([switches[nearest.a]!.name, port && port !== unknown && port])}${more > 0 ? ` +${more}` : ""}`;
}

export interface Box {
  index: number;
  x: number;
  y: number;
}

export interface Drawing {
  height: number;
  boxWidth: number;
  boxes: Box[];
  /** One for each edge, in their order: the path of its line. */
  paths: string[];
}

export const boxHeight = 100;
/** Two beside each other on a phone; where there is room a name has more of it. */
const narrowest = (width: number) => (width < 720 ? 140 : 168);
const widest = 220;
const gutter = 16;
const channel = 28;
/** Lines from different switches run beside each other. */
const lanes = 4;
const laneWidth = 4;

/** Levels from top to bottom, each in as many rows as the width asks for; lines run between the rows and between the columns only. */
export function draw({ levels, edges }: Plan, width: number): Drawing {
  const longest = Math.max(1, ...levels.map((level) => level.length));
  const columns = Math.max(1, Math.min(longest, Math.floor((width - gutter) / (narrowest(width) + gutter))));
  const boxWidth = Math.max(1, Math.min(widest, (width - gutter * (columns + 1)) / columns));
  const left = (width - columns * boxWidth - (columns - 1) * gutter) / 2;
  const rowTop = (row: number) => row * (boxHeight + channel);

  const boxes: Box[] = [];
  const rows = new Map<number, number>();
  let row = 0;
  for (const level of levels) {
    for (let at = 0; at < level.length; at += columns) {
      const inRow = level.slice(at, at + columns);
      // Nothing runs past the first row, so a short one may stand in the middle; elsewhere the columns stay free of each other's lines.
      const shift = row === 0 ? ((columns - inRow.length) * (boxWidth + gutter)) / 2 : 0;
      inRow.forEach((index, column) => {
        boxes.push({ index, x: left + shift + column * (boxWidth + gutter), y: rowTop(row) });
        rows.set(index, row);
      });
      row += 1;
    }
  }

  const byIndex = new Map(boxes.map((box) => [box.index, box]));
  const middle = (index: number) => byIndex.get(index)!.x + boxWidth / 2;
  const upper = [...new Set(edges.map((edge) => edge.a))];
  const paths = edges.map((edge) => {
    const [a, b] = rows.get(edge.a)! <= rows.get(edge.b)! ? [edge.a, edge.b] : [edge.b, edge.a];
    const lane = ((upper.indexOf(edge.a) % lanes) - (lanes - 1) / 2) * laneWidth;
    const [top, bottom] = [rows.get(a)!, rows.get(b)!];
    const from = middle(a) + lane;
    const below = rowTop(top) + boxHeight + channel / 2 + lane;
    const start = `M${round(from)} ${rowTop(top) + boxHeight}V${round(below)}`;
    if (top === bottom) return `${start}H${round(middle(b) + lane)}V${rowTop(bottom) + boxHeight}`;
    if (bottom === top + 1) return `${start}H${round(middle(b))}V${rowTop(bottom)}`;
    // Down beside the column of the lower one, on the side where the upper one stands.
    const side = from > middle(b) ? 1 : -1;
    const past = middle(b) + side * (boxWidth / 2 + gutter / 2) + lane;
    return `${start}H${round(past)}V${round(rowTop(bottom) - channel / 2 + lane)}H${round(middle(b))}V${rowTop(bottom)}`;
  });
  return { height: rowTop(row), boxWidth, boxes, paths };
}

const round = (value: number) => Number(value.toFixed(1));

/** No switch has been read yet. */
export const isUnread = (map: NetworkMap) => map.links.length === 0 && map.switches.every((one) => one.ports.length === 0);

/** Devices that hang on the ports of a switch. */
export const attachedTo = (one: MapSwitch) => one.ports.reduce((sum, port) => sum + port.attached.length, 0);

/** Ports with something to tell, uplinks first; the rest is only counted. */
export function tellingPorts(one: MapSwitch): { ports: MapPort[]; idle: number } {
  const telling = one.ports.filter((port) => port.uplink || port.lldp || port.attached.length > 0 || port.macCount > 0);
  return { ports: [...telling.filter((port) => port.uplink), ...telling.filter((port) => !port.uplink)], idle: one.ports.length - telling.length };
}

/** The links of a switch by its name, each seen from it: "Port 24 ↔ Core, Port 1". */
export function linkTexts(links: MapLink[], name: string): string[] {
  const side = (port: string) => (port && port !== unknown ? port : "unbekannter Port");
  const other = (who: string, port: string) => (who === unknown || who === "" ? "unbekannt" : `${who}, ${side(port)}`);
  return links.flatMap(({ a, aPort, b, bPort }) => {
    if (a === name) return [`${side(aPort)} ↔ ${other(b, bPort)}`];
    return b === name ? [`${side(bPort)} ↔ ${other(a, aPort)}`] : [];
  });
}

const titleOf = (one: Attached) => one.name || one.ip || one.mac;

export function attachedLine(one: Attached, index: number, place: string): Line {
  return {
    key: `${index} ${one.mac}`,
    title: titleOf(one),
    note: place || one.ip,
    figures: joined([place && one.ip !== titleOf(one) && one.ip, one.mac !== titleOf(one) && one.mac]),
    mark: null,
    age: null,
    silent: false,
    link: null,
    facts: [["Name", one.name || "–"], ["Adresse", one.ip || "–"], ["MAC", one.mac || "–"], ...(place ? [["Hängt an", place] as [string, string]] : [])],
  };
}

/** Devices whose name or address has all words of the search, with the port they hang on. */
export function findAttached(map: NetworkMap, search: string): Line[] {
  const words = search.toLowerCase().split(/\s+/).filter(Boolean);
  if (words.length === 0) return [];
  const found: Line[] = [];
  const look = (one: Attached, place: string) => {
    const told = `${one.name} ${one.ip} ${one.mac}`.toLowerCase();
    if (words.every((word) => told.includes(word))) found.push(attachedLine(one, found.length, place));
  };
  for (const at of map.switches) for (const port of at.ports) for (const one of port.attached) look(one, joined([at.name || at.ip, port.name]));
  for (const one of map.unplaced) look(one, "ohne Port-Zuordnung");
  return found;
}

/** "2 von 3 Switches erreichbar, 41 Geräte an ihren Ports". */
export function summary({ switches }: NetworkMap): string {
  const online = switches.filter((one) => one.online === true).length;
  const devices = switches.reduce((sum, one) => sum + attachedTo(one), 0);
  return `${online} von ${count(switches.length, "Switch", "Switches")} erreichbar, ${count(devices, "Gerät", "Geräte")} an ihren Ports`;
}
