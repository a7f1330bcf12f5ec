// Reading JSON field by field: what is absent or of another type becomes null, empty or an empty list.

import type { Level, Reading } from "./shapes";

export type Fields = Record<string, unknown>;

// Anyone on the show network can give a device any name. Markup is no concern here, since texts are never read as such; what is left are
// characters that reverse or hide their neighbours, and piles of accents that run over the next line.
const harmful = /[\u0000-\u001f\u007f-\u009f\u061c\u200b\u200e\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb\u{e0000}-\u{e007f}]/gu;
const piledUp = /(\p{M}{3})\p{M}+/gu;
const plain = /^[ -~\u00a1-\u02af\u2013\u2014\u2026\u2194]*$/;

/** The text with "�" in place of each character that does not show itself, and of a pile of accents only the first few. */
export function harmless(text: string): string {
  return plain.test(text) ? text : text.replace(harmful, "\ufffd").replace(piledUp, "$1");
}

export const fields = (value: unknown): Fields =>
  typeof value === "object" && value !== null && !Array.isArray(value) ? (value as Fields) : {};
export const list = (value: unknown): unknown[] => (Array.isArray(value) ? value : []);
/** As it came: for what is sent back. */
export const exact = (value: unknown): string => (typeof value === "string" ? value : "");
/** For people. */
export const text = (value: unknown): string => harmless(exact(value));
export const texts = (value: unknown): string[] => list(value).map(text);
export const reading = (value: unknown): Reading => (typeof value === "number" && Number.isFinite(value) ? value : null);
/** Yes, no, or not known. */
export const answer = (value: unknown): boolean | null => (typeof value === "boolean" ? value : null);
export const each = <T>(value: unknown, read: (from: Fields) => T): T[] => list(value).map((entry) => read(fields(entry)));
/** Where something was heard; a dash says that it is not known. */
export const place = (value: unknown): string => (value === "–" ? "" : text(value));
export const readings = (value: unknown): Reading[] => list(value).map(reading);

export function level(value: unknown): Level {
  return value === "alarm" || value === "warning" ? value : "info";
}
