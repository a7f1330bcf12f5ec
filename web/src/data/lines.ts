// What the network page lists, as lines of one form: a title, who or where, figures, a state, and all facts for the sheet behind it.

import { count, joined, milliseconds, missing, rate, whole } from "./format";
import { links, type NetworkSection } from "./route";
import type { Adapter, ClockDomain, Console, Network, NetDevice, NetNode, QuerierState, Station, Timecode, Universe, UniverseStatus } from "./network";
import type { Reading } from "./shapes";
import { upsLine } from "./ups";

/** A state as icon and word; the colour only repeats it. */
export interface Mark {
  tone: "alarm" | "warning" | "ok" | "quiet" | "lit";
  sign: "alarm" | "warning" | "ok" | "lost" | "unknown" | "online" | "error" | "pause" | "battery" | "mains" | "light" | "identify";
  word: string;
}

export interface Line {
  key: string;
  title: string;
  /** Who or where. */
  note: string;
  figures: string;
  mark: Mark | null;
  /** Seconds since it was last heard, at the time of the answer; null where that says nothing. */
  age: Reading;
  /** Not heard any more: drawn dimmed. */
  silent: boolean;
  /** Leads there; without one the facts open. */
  link: string | null;
  facts: [string, string][];
}

/** Nodes answer and consoles ask every 2.5 to 3 s (Art-Net 4, "ArtPoll"): after five missed ones they are silent. */
export const silentAfter = 15;

const number = (value: Reading) => (value === null ? missing : String(value));
export const facts = (pairs: [string, string][]): [string, string][] => pairs.map(([name, value]) => [name, value || missing]);

export const universeMarks: Record<UniverseStatus, Mark> = {
  conflict: { tone: "alarm", sign: "alarm", word: "Konflikt" },
  ok: { tone: "ok", sign: "ok", word: "aktiv" },
  lost: { tone: "quiet", sign: "lost", word: "verloren" },
  none: { tone: "quiet", sign: "unknown", word: "ohne Quelle" },
};

/** Who sends: all that fight over a universe, else the one that counts and how many more. */
function sendersOf({ senders, status }: Universe): string {
  const active = senders.filter((sender) => sender.active);
  const name = (sender: Universe["senders"][number]) => sender.name || sender.ip;
  if (status === "conflict") return active.map(name).join(" ↔ ");
  const [first] = active.length > 0 ? active : senders;
  if (!first) return "niemand sendet";
  const where = first.name && first.name !== first.ip ? ` (${first.ip})` : "";
  return `${name(first)}${where}${senders.length > 1 ? ` und ${senders.length - 1} weitere` : ""}`;
}

export function universeLine(universe: Universe): Line {
  const sender = universe.senders.find((one) => one.active) ?? universe.senders[0];
  return {
    key: universe.id,
    title: universe.title,
    note: sendersOf(universe),
    figures: joined([
      universe.status !== "lost" && sender ? rate(sender.fps) : null,
      sender && sender.priority !== null && `Prio ${sender.priority}`,
      universe.receivers > 0 && `${universe.receivers} Empf.`,
      universe.nodeOutput && "Node gibt aus",
    ]),
    mark: universeMarks[universe.status],
    age: null,
    silent: universe.status === "lost",
    link: links.universe(universe.id),
    facts: [],
  };
}

const heard = (age: Reading): Mark =>
  age !== null && age > silentAfter
    ? { tone: "quiet", sign: "lost", word: "verstummt" }
    : { tone: "ok", sign: "online", word: "da" };

function nodeLine(node: NetNode): Line {
  return {
    key: node.ip,
    title: node.name || node.ip,
    note: joined([node.ip, node.interface]),
    figures: node.outputs ? `gibt aus: ${node.outputs}` : "keine Ausgabe",
    mark: heard(node.age),
    age: node.age,
    silent: node.age !== null && node.age > silentAfter,
    link: null,
    facts: facts([["Adresse", node.ip], ["Adapter", node.interface], ["Gibt aus", node.outputs]]),
  };
}

function consoleLine(console: Console): Line {
  return {
    key: console.ip,
    title: console.name || console.ip,
    note: joined([console.ip, console.interface]),
    figures: console.subscribed ? "dieser Rechner ist bei ihm angemeldet" : "",
    mark: heard(console.age),
    age: console.age,
    silent: console.age !== null && console.age > silentAfter,
    link: null,
    facts: facts([["Adresse", console.ip], ["Adapter", console.interface], ["Dieser Rechner angemeldet", console.subscribed ? "ja" : "nein"]]),
  };
}

function stationLine(station: Station): Line {
  const ways = station.channels.join(", ");
  return {
    key: `${station.version} ${station.ip}`,
    title: station.name || station.ip,
    note: joined([station.version, station.ip]),
    figures: joined([rate(station.rate), station.versions.join(", "), ways]),
    mark: null,
    age: null,
    silent: false,
    link: null,
    facts: facts([
      ["Art", station.version], ["Adresse", station.ip], ["Pakete", rate(station.rate)], ["Kanäle", ways], ["Versionen", station.versions.join(", ")],
    ]),
  };
}

/** The domain first, its clocks under it. */
function domainLines(domain: ClockDomain): Line[] {
  const head: Line = {
    key: domain.label,
    title: domain.label,
    note: `Grandmaster ${domain.grandmaster || missing}`,
    figures: count(domain.clocks.length, "Uhr", "Uhren"),
    mark: domain.conflict ? { tone: "alarm", sign: "alarm", word: "mehrere Grandmaster" } : { tone: "ok", sign: "ok", word: "eindeutig" },
    age: null,
    silent: false,
    link: null,
    facts: facts([["Grandmaster", domain.grandmaster], ["Uhren", String(domain.clocks.length)]]),
  };
  const named = (identity: string) => domain.clocks.find((clock) => clock.sender === identity)?.name || identity;
  const clocks = domain.clocks.map((clock): Line => ({
    key: `${domain.label} ${clock.sender}`,
    title: clock.name || clock.sender,
    note: joined([clock.sender === clock.grandmaster ? "ist Grandmaster" : `folgt ${named(clock.grandmaster) || missing}`, clock.interface]),
    figures: joined([
      clock.priority1 !== null && `Prio ${joined([number(clock.priority1), clock.priority2 === null ? null : number(clock.priority2)], "/")}`,
      clock.clockClass !== null && `Klasse ${clock.clockClass}`,
      clock.stratum !== null && `Stratum ${clock.stratum}`,
      rate(clock.rate),
    ]),
    mark: null,
    age: clock.age,
    silent: clock.age !== null && clock.age > silentAfter,
    link: null,
    facts: facts([
      ["Kennung", clock.sender], ["Grandmaster", clock.grandmaster], ["Priorität 1", number(clock.priority1)], ["Priorität 2", number(clock.priority2)],
      ["Klasse", number(clock.clockClass)], ["Stratum", number(clock.stratum)], ["Schritte entfernt", number(clock.stepsRemoved)],
      ["Ansagen", rate(clock.rate)], ["Adapter", clock.interface],
    ]),
  }));
  return [head, ...clocks];
}

function timecodeLine(code: Timecode): Line {
  return {
    key: code.ip,
    title: code.tc || missing,
    note: joined([code.name !== code.ip && code.name, code.ip]),
    figures: code.fps,
    mark: code.running ? { tone: "ok", sign: "ok", word: "läuft" } : { tone: "quiet", sign: "pause", word: "steht" },
    age: null,
    silent: false,
    link: null,
    facts: facts([["Quelle", code.name], ["Adresse", code.ip], ["Bildrate", code.fps]]),
  };
}

export const deviceMark = (online: boolean | null): Mark => {
  if (online === null) return { tone: "quiet", sign: "unknown", word: "noch unbekannt" };
  return online ? { tone: "ok", sign: "online", word: "online" } : { tone: "alarm", sign: "error", word: "nicht erreichbar" };
};

function deviceLine(device: NetDevice): Line {
  const isSwitch = device.role === "Switch";
  return {
    key: `${device.ip} ${device.name}`,
    title: device.name || device.ip,
    note: joined([device.role, device.ip]),
    figures: joined([
      device.online === true && device.latency !== null && milliseconds(device.latency),
      device.temp !== null && whole(device.temp, "°C"),
      device.error && "SNMP-Fehler",
    ]),
    mark: deviceMark(device.online),
    age: null,
    silent: device.online === false,
    link: isSwitch ? links.switch(device.id || device.ip) : null,
    facts: facts([
      ["Rolle", device.role], ["Adresse", device.ip], ["Antwort in", milliseconds(device.latency)], ["Temperatur", whole(device.temp, "°C")],
      ...(device.error ? [["SNMP", device.error] as [string, string]] : []),
    ]),
  };
}

function adapterLine(adapter: Adapter): Line {
  return {
    key: `${adapter.device} ${adapter.subnet}`,
    title: adapter.name || adapter.device,
    note: joined([adapter.name !== adapter.device && adapter.device, adapter.subnet]),
    figures: adapter.role,
    mark: adapter.active ? { tone: "ok", sign: "online", word: "in Benutzung" } : { tone: "quiet", sign: "unknown", word: "nicht benutzt" },
    age: null,
    silent: false,
    link: null,
    facts: facts([["Gerät", adapter.device], ["Netz", adapter.subnet], ["Aufgabe", adapter.role]]),
  };
}

function querierLine(state: QuerierState): Line {
  const ages = state.queriers.map((querier) => querier.age).filter((age): age is number => age !== null);
  const named = state.queriers.map((querier) => `${querier.name || querier.ip}${querier.version === null ? "" : ` (IGMPv${querier.version})`}`);
  const mark: Mark = state.error
    ? { tone: "warning", sign: "warning", word: "nicht abgehört" }
    : state.queriers.length === 0
      ? { tone: "quiet", sign: "unknown", word: "keiner gehört" }
      : { tone: "ok", sign: "ok", word: count(state.queriers.length, "Querier", "Querier") };
  return {
    key: state.interface,
    title: state.name || state.interface,
    note: state.error || named.join(", "),
    figures: "",
    mark,
    age: ages.length > 0 ? Math.min(...ages) : null,
    silent: false,
    link: null,
    facts: facts([["Querier", named.join(", ")], ["Adapter", state.interface], ...(state.error ? [["Fehler", state.error] as [string, string]] : [])]),
  };
}

export interface ListSection {
  id: NetworkSection;
  title: string;
  /** Beside the title and on the way there: a number of things, which may be fewer than the lines. */
  count: string;
  lines: Line[];
}

/** All lists but that of the universes, in the order of the page; empty ones are left out. */
export function listSections(network: Network): ListSection[] {
  const section = (id: NetworkSection, title: string, lines: Line[], told = String(lines.length)): ListSection => ({ id, title, count: told, lines });
  return [
    section("nodes", "Nodes", network.nodeList.map(nodeLine)),
    section("consoles", "Pulte", network.controllers.map(consoleLine)),
    section("manet", "MA-Net", network.maNet.map(stationLine)),
    section("clocks", "Uhren (PTP)", network.ptp.flatMap(domainLines), String(network.ptp.length)),
    section("timecode", "Timecode", network.timecode.map(timecodeLine)),
    section("devices", "Geräte", network.devices.map(deviceLine), `${network.online} von ${network.total}`),
    section("ups", "USV", network.ups.map(upsLine)),
    section("adapters", "Adapter", network.interfaces.map(adapterLine)),
    section("queriers", "IGMP-Querier", network.igmp.map(querierLine), String(network.igmp.reduce((sum, one) => sum + one.queriers.length, 0))),
  ].filter((one) => one.lines.length > 0);
}

export type UniverseFilter = "all" | "conflict" | "ok" | "lost";

/** Those with that status that have all words of the search in their name or in who sends them, whatever the case. */
export function filterUniverses(universes: Universe[], status: UniverseFilter, search: string): Universe[] {
  const words = search.toLowerCase().split(/\s+/).filter(Boolean);
  return universes.filter((universe) => {
    if (status !== "all" && universe.status !== status) return false;
    if (words.length === 0) return true;
    const told = [universe.title, ...universe.senders.flatMap((sender) => [sender.name, sender.ip, sender.interface])].join(" ").toLowerCase();
    return words.every((word) => told.includes(word));
  });
}
