// What is said of lamps, RDM devices and the test light, and who may do what to them.

import { decimal, joined, missing } from "./format";
import type { Mark } from "./lines";
import type { Fixture, FixtureDetail, LightMode, LightProto, Personality, Rdm, TestLight } from "./patch";
import type { Control, Reading } from "./shapes";

export const protoNames: Record<LightProto, string> = { artnet: "Art-Net", sacn: "sACN" };
export const modeNames: Record<Exclude<LightMode, "off">, string> = { fixtures: "Lampen", all: "Alle", chase: "Lauflicht", raw: "Kanal" };

/** "4.812": a count is read, not compared in a column. */
export const grouped = (number: number): string => String(number).replace(/\B(?=(\d{3})+$)/g, ".");

/** The name, else the type. */
export const nameOf = (fixture: Pick<Fixture, "name" | "type">): string => fixture.name || fixture.type || "Lampe";
export const titleOf = (fixture: Pick<Fixture, "fid" | "name" | "type">): string => joined([fixture.fid, nameOf(fixture)]);

/** "Dimmer links · F12 · L2" */
export const circuitText = (fixture: Pick<Fixture, "distributor" | "breaker" | "phase">): string =>
  joined([fixture.distributor, fixture.breaker, fixture.phase]);

/** "41–56"; one channel is one number. */
export function rangeText(address: number, footprint: number): string {
  return footprint > 1 ? `${address}–${address + footprint - 1}` : String(address);
}

export const fitsUniverse = (address: number, footprint: number): boolean => address >= 1 && address + Math.max(footprint, 1) - 1 <= 512;

/** "300 von 4.812 – weiter eingrenzen" */
export function amountText(shown: number, total: number, searching: boolean): string {
  if (shown < total) return `${grouped(shown)} von ${grouped(total)} – weiter eingrenzen`;
  if (searching) return `${grouped(total)} Treffer`;
  return total === 1 ? "1 Lampe" : `${grouped(total)} Lampen`;
}

/** How far a scan has come, 0…1, out of "Lese Gerät 3 von 20 (…) …"; null while that is not known. */
export function scanShare(progress: string): number | null {
  const [, done, all] = /(\d+) von (\d+)/.exec(progress) ?? [];
  return done && all && Number(all) > 0 ? Math.min(1, (Number(done) - 1) / Number(all)) : null;
}

/** @param scanned devices have been searched for at all */
export function rdmMark(rdm: Rdm | null, scanned: boolean): Mark {
  if (!rdm) return { tone: "quiet", sign: "unknown", word: scanned ? "kein RDM" : "RDM nicht gesucht" };
  if (!rdm.online) return { tone: "warning", sign: "lost", word: "antwortet nicht" };
  const temp = rdm.temp === null ? "" : `${decimal(Math.trunc(rdm.temp), 0)} °C`;
  if (rdm.hot) return { tone: "alarm", sign: "alarm", word: joined(["zu heiß", temp]) };
  return { tone: "ok", sign: "online", word: joined(["RDM da", temp]) };
}

/**
 * Whether the test light is on that lamp now: a list of lamps is asked for more rarely than the light.
 * @param light null while nothing is known of it
 */
export function isLit({ id, lit }: Pick<Fixture, "id" | "lit">, light: TestLight | null): boolean {
  if (!light) return lit;
  return light.sending && (light.mode === "chase" ? light.current === id : lit);
}

export const litMark: Mark = { tone: "lit", sign: "light", word: "hell" };
export const chosenMark: Mark = { tone: "lit", sign: "ok", word: "gewählt" };
export const identifyMark: Mark = { tone: "lit", sign: "identify", word: "Identify an" };

/** A value as the device tells it: whole numbers stay whole. */
export function amount(value: Reading, unit: string): string {
  if (value === null) return missing;
  const number = decimal(value, Number.isInteger(value) ? 0 : Math.abs(value) < 10 ? 2 : 1);
  return unit ? `${number} ${unit}` : number;
}

export const hoursText = (hours: Reading): string => (hours === null ? missing : `${grouped(hours)} h`);

export const personalityText = (one: Personality): string =>
  joined([`Modus ${one.number}`, one.name, one.footprint > 0 && (one.footprint === 1 ? "1 Kanal" : `${one.footprint} Kanäle`)]);

/** In what the device itself differs from its place in the patch. */
export function differences({ address, footprint, addressText, rdm }: FixtureDetail): string[] {
  if (!rdm) return [];
  const found: string[] = [];
  if (rdm.startAddress !== null && rdm.startAddress >= 1 && rdm.startAddress !== address)
    found.push(`Die Lampe meldet DMX-Adresse ${rdm.startAddress}, im Patch steht ${address >= 1 ? addressText : "keine"}.`);
  if (rdm.footprint !== null && rdm.footprint >= 1 && footprint >= 1 && rdm.footprint !== footprint)
    found.push(`Die Lampe belegt ${rdm.footprint} Kanäle, im Patch stehen ${footprint}.`);
  return found;
}

/** What keeps somebody from doing something; `login` is mended by logging in. */
export interface Hindrance {
  text: string;
  login: boolean;
  /** A command on the station's computer that lifts it. */
  command: string;
}

export interface Rights {
  authed: boolean;
  control: Control;
}

export type Action = "scan" | "light" | "refresh" | "identify" | "address" | "mode";

const locked: Hindrance = {
  text: "Schreiben ist gesperrt. Am Rechner gibt es bis zum nächsten Programmstart frei:",
  login: false,
  command: "kestrelyne rdm write on",
};
const hindrance = (text: string): Hindrance => ({ text, login: false, command: "" });

/**
 * @param writeEnabled RDM devices may be written to
 * @returns null where nothing stands against it
 */
export function hindranceOf(action: Action, rights: Rights | null, writeEnabled: boolean): Hindrance | null {
  if (!rights?.authed) return { text: "Anmeldung nötig", login: true, command: "" };
  if (action === "scan") return null;
  if (rights.control === "view") return hindrance("Angemeldete dürfen in den Web-App-Einstellungen nur ansehen.");
  if (action === "light" || action === "refresh") return null;
  if (action === "address" && rights.control !== "full") return hindrance("Adressänderung ist in den Web-App-Einstellungen nicht freigegeben");
  if (action === "mode" && rights.control !== "full") return hindrance("Modusänderung ist in den Web-App-Einstellungen nicht freigegeben");
  return writeEnabled ? null : locked;
}

/** What somebody has set on the test page. */
export interface LightWish {
  mode: Exclude<LightMode, "off">;
  ids: string[];
  proto: LightProto;
  /** 0…1 */
  level: number;
  /** sACN, 0…200 */
  priority: number;
  /** s a lamp */
  step: number;
  /** The console's; none means all. */
  universes: number[];
  universe: number;
  channel: number;
  value: number;
}

/** As the station has it set. */
export const wishOf = ({ mode, proto, level, priority, step, universes }: TestLight): LightWish => ({
  mode: mode === "off" ? "fixtures" : mode, ids: [], proto, level, priority, step, universes, universe: 1, channel: 1, value: 255,
});

const percent = (level: number) => `${Math.round(level * 100)} %`;

/** What is being sent and where, as the station words it, and how bright. */
export const sendingText = ({ text, mode, level }: TestLight): string => joined([text, mode !== "raw" && level < 1 && percent(level)]);

/** "1, 3-5 7" as 1, 3, 4, 5, 7; null when it holds anything else than universes. Empty: all. */
export function universesIn(text: string): number[] | null {
  const found = new Set<number>();
  for (const piece of text.split(/[\s,;]+/).filter(Boolean)) {
    const [, from, , to] = /^(\d{1,5})([-–](\d{1,5}))?$/.exec(piece) ?? [];
    const [first, last] = [Number(from), Number(to ?? from)];
    if (!from || first < 1 || last > 63_999 || last < first || last - first > 999) return null;
    for (let universe = first; universe <= last; universe += 1) found.add(universe);
  }
  return [...found].sort((a, b) => a - b);
}

/** Why that cannot be started as it is; null when it can. */
export function wishTrouble(wish: LightWish): string | null {
  const whole = (value: number, least: number, most: number) => Number.isInteger(value) && value >= least && value <= most;
  if (wish.mode === "fixtures" && wish.ids.length === 0) return "Noch keine Lampe gewählt.";
  if (wish.mode === "raw" && !whole(wish.universe, 1, 63_999)) return "Universum: 1 bis 63999.";
  if (wish.mode === "raw" && !whole(wish.channel, 1, 512)) return "Kanal: 1 bis 512.";
  if (wish.mode === "raw" && !whole(wish.value, 0, 255)) return "Wert: 0 bis 255.";
  if (wish.mode === "chase" && !(wish.step >= 0.1 && wish.step <= 60)) return "Zeit je Lampe: 0,1 bis 60 s.";
  if (wish.proto === "sacn" && !whole(wish.priority, 0, 200)) return "Priorität: 0 bis 200.";
  return null;
}

/** As the station is told: what has nothing to do with that mode may be half typed and stays here. */
export function orderOf({ mode, ids, proto, level, priority, step, universes, universe, channel, value }: LightWish): object {
  return {
    mode, proto, level,
    ...(mode === "fixtures" && { fixtures: ids }),
    ...(mode === "raw" && { universe, channel, value }),
    ...((mode === "all" || mode === "chase") && { universes }),
    ...(mode === "chase" && { step }),
    ...(proto === "sacn" && { priority }),
  };
}

/** What goes over the wire once it is started. */
export function wishText({ mode, ids, proto, level, priority, step, universes, universe, channel, value }: LightWish): string {
  const where = universes.length === 0 ? "aller Universen" : universes.length === 1 ? `von Universum ${universes[0]}` : `der Universen ${universes.join(", ")}`;
  const bright = percent(level);
  const what = {
    fixtures: ids.length === 1 ? `Eine Lampe auf ${bright}` : `${grouped(ids.length)} Lampen auf ${bright}`,
    all: `Alle Lampen ${where} auf ${bright}`,
    chase: `Die Lampen ${where} nacheinander auf ${bright}, je ${decimal(step, Number.isInteger(step) ? 0 : 1)} s`,
    raw: `Universum ${universe}, Kanal ${channel} auf ${value}`,
  }[mode];
  return `${what}, über ${proto === "sacn" ? `sACN mit Priorität ${priority}` : "Art-Net"}.`;
}

/** Nothing is sent to where it was not sent before: brightness and pace may follow without asking again. */
export function sameTarget(a: LightWish, b: LightWish): boolean {
  if (a.mode !== b.mode || a.proto !== b.proto) return false;
  if (a.mode === "raw") return a.universe === b.universe && a.channel === b.channel;
  if (a.mode === "fixtures") return a.ids.join() === b.ids.join();
  return a.universes.join() === b.universes.join();
}
