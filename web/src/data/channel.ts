// The channels of one universe: where the keyboard leads among them, and how a level is told.

import { count } from "./format";

/** 0 … 100, cut: only full is 100 %. */
export const percent = (level: number) => Math.floor((level * 100) / 255);

export type LevelUnit = "value" | "percent";

/** "128" or "50"; "–" for a channel that is not sent. */
export function levelText(level: number | undefined, unit: LevelUnit): string {
  if (level === undefined) return "–";
  return String(unit === "percent" ? percent(level) : level);
}

/** How many stand beside each other: a power of two, so that a line begins where a person expects it. */
export function columnsFor(width: number): number {
  if (width >= 1248) return 32;
  return width >= 624 ? 16 : 8;
}

/**
 * Where a key leads from that channel; null for a key that leads nowhere.
 * @param at counted from 0
 */
export function moved(at: number, key: string, columns: number, channels: number): number | null {
  const steps: Record<string, number> = {
    ArrowLeft: -1,
    ArrowRight: 1,
    ArrowUp: -columns,
    ArrowDown: columns,
    PageUp: -4 * columns,
    PageDown: 4 * columns,
    Home: -channels,
    End: channels,
  };
  const step = steps[key];
  if (step === undefined) return null;
  const to = at + step;
  // Up from the first line stays there; a page beyond the end stops at the end.
  if (key.startsWith("Arrow")) return to < 0 || to >= channels ? at : to;
  return Math.min(channels - 1, Math.max(0, to));
}

/** "37 von 512 Kanälen über 0, höchster Wert 255 auf Kanal 12": what a glance at all of them tells. */
export function overview(data: number[]): string {
  if (data.length === 0) return "keine Werte";
  const lit = data.filter((level) => level > 0).length;
  if (lit === 0) return `alle ${data.length} Kanäle auf 0`;
  const highest = data.reduce((best, level) => Math.max(best, level), 0);
  return `${lit} von ${count(data.length, "Kanal", "Kanälen")} über 0, höchster Wert ${highest} auf Kanal ${data.indexOf(highest) + 1}`;
}
