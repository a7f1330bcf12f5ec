// Numbers, ages and times as the whole system writes them: German, tabular, no digit grouping, "–" for what is not there.

/** A figure split into its number and its unit, so that the unit can be set smaller. */
export interface Figure {
  text: string;
  unit: string;
}

export const missing = "–";

/** A number with exactly that many decimals, decimal comma, no grouping. Zero never carries a sign. */
export function decimal(value: number, decimals: number): string {
  const text = value.toFixed(decimals);
  return (Number(text) === 0 ? text.replace("-", "") : text).replace(".", ",");
}

const scaledFromThousand = new Set(["W", "VA", "var", "Wh", "VAh", "varh"]);
const energyUnits = new Set(["Wh", "VAh", "varh"]);

function decimalsFor(magnitude: number, unit: string): number {
  if (unit === "Hz" || unit === "") return 3;
  if (unit === "%") return 2;
  if (energyUnits.has(unit)) return magnitude < 1000 ? 3 : 2;
  if (magnitude < 10) return 3;
  if (magnitude < 100) return 2;
  return magnitude < 1000 ? 1 : 0;
}

/** The factor and prefix for a value of that magnitude: powers from 1000 on, volts only from 10000 on. */
export function scaleOf(magnitude: number, unit: string): { factor: number; prefix: string } {
  if (scaledFromThousand.has(unit)) {
    if (magnitude >= 1e6) return { factor: 1e6, prefix: "M" };
    if (magnitude >= 1e3) return { factor: 1e3, prefix: "k" };
  }
  if (unit === "V" && magnitude >= 1e4) return { factor: 1e3, prefix: "k" };
  return { factor: 1, prefix: "" };
}

/** A measured value with the unit's scaling; the number of decimals follows from the value after scaling. */
export function figure(value: number | null, unit: string): Figure {
  if (value === null || !Number.isFinite(value)) return { text: missing, unit };
  const { factor, prefix } = scaleOf(Math.abs(value), unit);
  const scaled = value / factor;
  return { text: decimal(scaled, decimalsFor(Math.abs(scaled), unit)), unit: prefix + unit };
}

/** The same as one text: "12,40 kW". */
export function withUnit(value: number | null, unit: string): string {
  const { text, unit: shown } = figure(value, unit);
  return shown ? `${text} ${shown}` : text;
}

/** A whole number with a unit, for charge, load, minutes and temperatures. Cut: only full is 100 %, and only what is at a limit shows it. */
export function whole(value: number | null, unit: string): string {
  return value === null || !Number.isFinite(value) ? missing : `${decimal(Math.trunc(value), 0)} ${unit}`;
}

/** How often something comes in a second: "44/s", "0,9/s". */
export function rate(value: number | null): string {
  return value === null || !Number.isFinite(value) ? missing : `${decimal(value, value < 9.95 ? 1 : 0)}/s`;
}

/** A short span given in seconds, shown in milliseconds: "0,4 ms", "12 ms". */
export function milliseconds(seconds: number | null): string {
  if (seconds === null || !Number.isFinite(seconds)) return missing;
  return `${decimal(seconds * 1000, seconds < 0.00995 ? 1 : 0)} ms`;
}

/** Counted energy, never in the bare unit: 500 Wh is "0,5 kWh". */
export function energy(value: number | null, unit = "Wh"): Figure {
  if (value === null || !Number.isFinite(value)) return { text: missing, unit: "k" + unit };
  const magnitude = Math.abs(value);
  if (magnitude >= 1e6) return { text: decimal(value / 1e6, 2), unit: "M" + unit };
  return { text: decimal(value / 1e3, magnitude < 1e4 ? 1 : 0), unit: "k" + unit };
}

/** A span in seconds in the largest unit that says enough: "12 s", "4 min", "3 h", "2 Tagen". */
export function span(seconds: number): string {
  const elapsed = Math.max(0, Math.floor(seconds));
  if (elapsed < 60) return `${elapsed} s`;
  if (elapsed < 3600) return `${Math.floor(elapsed / 60)} min`;
  if (elapsed < 86400) return `${Math.floor(elapsed / 3600)} h`;
  const days = Math.floor(elapsed / 86400);
  return days === 1 ? "1 Tag" : `${days} Tagen`;
}

/** "vor 12 s"; a time that lies ahead by the clocks' difference counts as now. */
export function ago(time: number, now: number): string {
  const seconds = now - time;
  return seconds < 1 ? "jetzt" : `vor ${span(seconds)}`;
}

const two = (value: number) => String(value).padStart(2, "0");

/** "21:14:03" of a time in seconds since 1970, in the zone of the device. */
export function clock(time: number): string {
  const date = new Date(time * 1000);
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`;
}

/** "21:14" today, "Sa 21:14" within a week, "14.11. 21:14" before that. */
export function since(time: number, now: number): string {
  const date = new Date(time * 1000);
  const today = new Date(now * 1000);
  const minutes = `${two(date.getHours())}:${two(date.getMinutes())}`;
  if (date.toDateString() === today.toDateString()) return minutes;
  if (now - time < 6 * 86400) return `${["So", "Mo", "Di", "Mi", "Do", "Fr", "Sa"][date.getDay()]} ${minutes}`;
  return `${two(date.getDate())}.${two(date.getMonth() + 1)}. ${minutes}`;
}

/** "14.11.2025, 21:14:03". */
export function dateAndClock(time: number): string {
  const date = new Date(time * 1000);
  return `${two(date.getDate())}.${two(date.getMonth() + 1)}.${date.getFullYear()}, ${clock(time)}`;
}

/** "1 Alarm", "2 Alarme". */
export function count(number: number, one: string, many: string): string {
  return `${number} ${number === 1 ? one : many}`;
}

/** Those parts that say something. */
export const joined = (parts: (string | false | null | undefined)[], between = " · ") => parts.filter(Boolean).join(between);
