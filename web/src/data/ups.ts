// An uninterruptible power supply in words: where its output comes from, and what it tells in one line.

import { joined, whole } from "./format";
import type { Line, Mark } from "./lines";
import { links } from "./route";
import type { Ups } from "./shapes";

export function sourceMark({ source, onBattery }: Ups): Mark {
  const word = source || "unbekannt";
  if (onBattery) return { tone: "alarm", sign: "battery", word };
  if (source === "Ausgang aus") return { tone: "alarm", sign: "alarm", word };
  // It passes the mains through and could not take over.
  if (source === "Bypass") return { tone: "warning", sign: "warning", word };
  return word === "unbekannt" ? { tone: "quiet", sign: "unknown", word } : { tone: "ok", sign: "mains", word };
}

/** What is shown of it is old: why, or empty. */
export function silence(ups: Ups): string {
  if (ups.error) return `Keine neuen Werte: ${ups.error}`;
  return ups.online === false ? "nicht erreichbar" : "";
}

/** "Batterie schwach"; empty where nothing is wrong with it or nothing known. */
export const batteryTrouble = ({ battery }: Ups): string => (["", "normal", "unbekannt"].includes(battery) ? "" : `Batterie ${battery}`);

/** What it is and how it is read: "Eaton 9PX · UPS-MIB (RFC 1628) · 10.0.0.9". */
export const identity = (ups: Ups): string => joined([ups.model, ups.protocol, ups.local ? "an diesem Rechner" : ups.ip]);

export function upsLine(ups: Ups, index: number): Line {
  return {
    key: `${index} ${ups.name}`,
    title: ups.name || "USV",
    note: silence(ups) || identity(ups),
    figures: joined([
      batteryTrouble(ups),
      whole(ups.charge, "%"),
      ups.runtime !== null && `noch ${whole(ups.runtime, "min")}`,
      ups.load !== null && `Last ${whole(ups.load, "%")}`,
    ]),
    mark: sourceMark(ups),
    age: null,
    silent: silence(ups) !== "",
    link: links.power,
    facts: [],
  };
}
