// Is everything all right? The one line of the first screen and the problems under it.

import { count, since } from "./format";
import { networkProblems } from "./networkProblems";
import type { Network } from "./network";
import { links } from "./route";
import type { LogEvent, Meter, Power, Ups } from "./shapes";

export type DeviceState = "online" | "connecting" | "off" | "error";

const errorPrefix = "Fehler";
const restoredPrefix = "Behoben: ";

export function deviceState(status: string): DeviceState {
  if (status === "verbunden") return "online";
  if (status.startsWith(errorPrefix)) return "error";
  return status === "getrennt" ? "off" : "connecting";
}

/** The reason behind "Fehler: ", empty for any other status. */
export function errorReason(status: string): string {
  return deviceState(status) === "error" ? status.slice(errorPrefix.length).replace(/^:\s*/, "") : "";
}

/** No reading is being taken, so what is shown is old. */
export function isSilent(status: string): boolean {
  const state = deviceState(status);
  return state === "off" || state === "error";
}

export interface Problem {
  key: string;
  source: "power" | "network";
  severity: "alarm" | "warning";
  what: string;
  where: string;
  /** Seconds since 1970, null when the events do not tell. */
  since: number | null;
  /** The page with more about it, a hash. */
  link: string;
}

export type Mood = "ok" | "warning" | "alarm" | "unknown";

export interface Verdict {
  mood: Mood;
  text: string;
}

/** The event that raised an alarm says the same and then the value: "Strom L1 > 63,00 A – aktuell 70,10 A". */
function raisedAt(events: LogEvent[], where: string, what: string): number | null {
  const found = events.find((event) => event.source === where && (event.text === what || event.text.startsWith(what + " – ")));
  return found ? found.time : null;
}

function meterProblems(meter: Meter, events: LogEvent[]): Problem[] {
  const link = links.device(meter.id);
  const found: Problem[] = meter.alarms.map((alarm) => ({
    key: `${meter.id} ${alarm.text}`,
    source: "power",
    severity: alarm.severity,
    what: alarm.text,
    where: meter.name,
    since: raisedAt(events, meter.name, alarm.text),
    link,
  }));
  // A failing meter is told before its alarm for lost communication comes, and also where that alarm is switched off.
  if (deviceState(meter.status) === "error" && !meter.alarms.some((alarm) => alarm.text === "Kommunikationsausfall"))
    found.push({
      key: `${meter.id} Fehler`,
      source: "power",
      severity: "warning",
      what: errorReason(meter.status) || "Fehler",
      where: meter.name,
      since: null,
      link,
    });
  return found;
}

function upsProblems(ups: Ups, events: LogEvent[]): Problem[] {
  if (!ups.onBattery) return [];
  const rest = ups.runtime === null ? "" : ` – ${Math.floor(ups.runtime)} min`;
  return [
    {
      key: `USV ${ups.name}`,
      source: "power",
      severity: "alarm",
      what: `auf Batterie${rest}`,
      where: `USV ${ups.name}`,
      // One at the station itself is told of with an addition behind its name.
      since: events.find(({ text }) => text.startsWith(ups.name) && text.includes(": USV läuft auf Batterie"))?.time ?? null,
      link: links.power,
    },
  ];
}

export function powerProblems(power: Power, events: LogEvent[]): Problem[] {
  return [...power.devices.flatMap((meter) => meterProblems(meter, events)), ...power.ups.flatMap((ups) => upsProblems(ups, events))];
}

/** Newest first; those of unknown age behind, alarms before warnings. */
export function problems(power: Power | null, network: Network | null, events: LogEvent[]): Problem[] {
  const ofPower = power ? powerProblems(power, events) : [];
  // A UPS on battery is told by both; once is enough.
  const told = power?.ups.filter((ups) => ups.onBattery).map((ups) => `USV ${ups.name} `) ?? [];
  const ofNetwork = network ? networkProblems(network, events).filter((problem) => !told.some((ups) => problem.what.startsWith(ups))) : [];
  const all = [...ofPower, ...ofNetwork];
  const rank = (problem: Problem) => (problem.severity === "alarm" ? 0 : 1);
  return all.sort((a, b) => (b.since ?? 0) - (a.since ?? 0) || rank(a) - rank(b));
}

// How the end of a trouble is told: "Konflikt auf … behoben", "… wieder online nach 12 s", "Temperatur … wieder normal (61 °C)", "Bypass beendet".
const restored = / behoben$| wieder online| wieder (aktiv|normal|ausreichend|in Ordnung|im Netzbetrieb)(?!\S)|: Bypass beendet$|: Batterietemperatur normal$/;

/** When the last trouble ended, by the events. */
export function allRightSince(events: LogEvent[]): number | null {
  const ended = ({ level, text }: LogEvent) => text.startsWith(restoredPrefix) || (level === "info" && restored.test(text));
  return events.find(ended)?.time ?? null;
}

/** What is known of the network: its last answer; "none" where the station has none to give; null before the first. */
export type NetworkKnown = Network | "none" | null;

/**
 * @param rightSince when the last trouble ended, seconds since 1970
 * @param now the station's time
 */
export function verdict(power: Power | null, network: NetworkKnown, found: Problem[], rightSince: number | null, now: number): Verdict {
  if (!power) return { mood: "unknown", text: "Noch keine Daten" };
  const alarms = found.filter((problem) => problem.severity === "alarm").length;
  const warnings = found.length - alarms;
  if (found.length > 0) {
    const parts: string[] = [];
    if (alarms > 0) parts.push(count(alarms, "Alarm", "Alarme"));
    if (warnings > 0) parts.push(count(warnings, "Warnung", "Warnungen"));
    return { mood: alarms > 0 ? "alarm" : "warning", text: parts.join(", ") };
  }
  // Nothing is vouched for before everything has been looked at.
  if (network === null) return { mood: "unknown", text: "Noch keine Daten vom Netz" };
  const watched = power.devices.filter((meter) => deviceState(meter.status) === "online").length + power.ups.length;
  if (watched === 0 && (network === "none" || !network.running)) {
    if (power.devices.length === 0) return { mood: "unknown", text: "Noch keine Stromquellen" };
    return power.devices.some((meter) => deviceState(meter.status) === "connecting")
      ? { mood: "unknown", text: "Messgeräte werden verbunden …" }
      : { mood: "unknown", text: "Kein Messgerät verbunden" };
  }
  return { mood: "ok", text: rightSince === null ? "Alles in Ordnung" : `Alles in Ordnung seit ${since(rightSince, now)}` };
}
