import assert from "node:assert/strict";
import { test } from "node:test";
import { addUnseen, newProblems } from "../src/data/fresh";
import { readPower, type LogEvent } from "../src/data/shapes";
import { allRightSince, deviceState, errorReason, isSilent, problems, verdict } from "../src/data/verdict";

const now = Date.UTC(2025, 10, 21, 21, 0, 0) / 1000;
const station = (devices: object[], ups: object[] = []) => readPower({ devices, ups });
const meter = (name: string, more: object = {}) => ({ id: name, name, status: "verbunden", ...more });
const raised = (source: string, text: string, time: number): LogEvent => ({ source, text, time, level: "alarm" });

test("a status text tells the state", () => {
  assert.deepEqual(["verbunden", "verbinde …", "getrennt", "Fehler: Zeitüberschreitung", "Fehler", ""].map(deviceState), [
    "online", "connecting", "off", "error", "error", "connecting",
  ]);
  assert.equal(errorReason("Fehler: Zeitüberschreitung"), "Zeitüberschreitung");
  assert.equal(errorReason("verbunden"), "");
  assert.equal(isSilent("getrennt"), true);
  assert.equal(isSilent("verbinde …"), false);
});

test("all is right only where something is watched", () => {
  const told = (power: ReturnType<typeof station>) => verdict(power, "none", problems(power, null, []), null, now);
  assert.deepEqual(told(station([meter("a")])), { mood: "ok", text: "Alles in Ordnung" });
  assert.deepEqual(told(station([])), { mood: "unknown", text: "Noch keine Stromquellen" });
  assert.deepEqual(told(station([meter("a", { status: "getrennt" })])), { mood: "unknown", text: "Kein Messgerät verbunden" });
  assert.deepEqual(told(station([meter("a", { status: "verbinde …" })])), { mood: "unknown", text: "Messgeräte werden verbunden …" });
  assert.deepEqual(told(station([], [{ name: "Rack" }])), { mood: "ok", text: "Alles in Ordnung" });
  assert.equal(verdict(null, null, [], null, now).mood, "unknown");
});

test("the verdict tells since when all is right", () => {
  const power = station([meter("a")]);
  assert.equal(verdict(power, "none", [], Date.UTC(2025, 10, 21, 20, 14, 3) / 1000, now).text, "Alles in Ordnung seit 21:14");
});

test("the last ending of an alarm tells when", () => {
  const events = [raised("a", "x", 30), raised("a", "Behoben: Wieder normal: Strom L1 = 61,02 A", 20), raised("a", "Behoben: älter", 10)];
  assert.equal(allRightSince(events), 20);
  assert.equal(allRightSince([]), null);
});

test("alarms and warnings are counted apart", () => {
  const power = station([
    meter("a", { alarms: [{ text: "Strom L1 > 63,00 A", severity: "alarm" }, { text: "Strom L2 > 63,00 A", severity: "alarm" }] }),
    meter("b", { alarms: [{ text: "THD Spannung L1 > 8,00 %", severity: "warning" }] }),
  ]);
  assert.deepEqual(verdict(power, "none", problems(power, null, []), 5, now), { mood: "alarm", text: "2 Alarme, 1 Warnung" });
  const mild = station([meter("b", { alarms: [{ text: "x", severity: "warning" }] })]);
  assert.deepEqual(verdict(mild, "none", problems(mild, null, []), 5, now), { mood: "warning", text: "1 Warnung" });
});

test("problems are newest first by the event that raised them", () => {
  const power = station([
    meter("Bühne", { alarms: [{ text: "Strom L1 > 63,00 A", severity: "alarm" }] }),
    meter("Licht", { alarms: [{ text: "Frequenz > 50,500 Hz", severity: "alarm" }, { text: "unbekannt", severity: "warning" }] }),
  ]);
  const found = problems(power, null, [
    raised("Licht", "Frequenz > 50,500 Hz – aktuell 50,612 Hz", 50),
    raised("Licht", "Strom L1 > 63,00 A – aktuell 70,00 A", 45),
    raised("Bühne", "Strom L1 > 63,00 A – aktuell 70,10 A (Grenze anpassen)", 40),
    raised("Bühne", "Strom L1 > 63,00 A – aktuell 66,00 A", 10),
  ]);
  assert.deepEqual(found.map((problem) => [problem.where, problem.what, problem.since]), [
    ["Licht", "Frequenz > 50,500 Hz", 50],
    ["Bühne", "Strom L1 > 63,00 A", 40],
    ["Licht", "unbekannt", null],
  ]);
  assert.equal(found[0]!.link, "#/device/Licht");
});

test("a failing meter is a warning until its alarm for lost communication stands", () => {
  const failing = { status: "Fehler: Zeitüberschreitung" };
  assert.deepEqual(
    problems(station([meter("a", failing)]), null, []).map((problem) => [problem.severity, problem.what]),
    [["warning", "Zeitüberschreitung"]],
  );
  const lost = station([meter("a", { ...failing, alarms: [{ text: "Kommunikationsausfall", severity: "alarm" }] })]);
  const events = [raised("a", "Kommunikationsausfall – keine Antwort seit 10 s", 7)];
  assert.deepEqual(
    problems(lost, null, events).map((problem) => [problem.severity, problem.what, problem.since]),
    [["alarm", "Kommunikationsausfall", 7]],
  );
});

test("a UPS on battery is an alarm with whole minutes", () => {
  const [problem] = problems(station([], [{ name: "Rack", onBattery: true, runtime: 34.9 }]), null, []);
  assert.equal(`${problem!.where} ${problem!.what}`, "USV Rack auf Batterie – 34 min");
  assert.equal(problems(station([], [{ name: "Rack", onBattery: true, runtime: null }]), null, [])[0]!.what, "auf Batterie");
});

test("only what was not known before is new, and nothing is at the first answer", () => {
  const found = problems(station([meter("a", { alarms: [{ text: "x" }, { text: "y" }] })]), null, []);
  assert.deepEqual(newProblems(null, found), []);
  assert.deepEqual(newProblems(new Set(["a x"]), found).map((problem) => problem.what), ["y"]);
});

test("a problem that comes back unseen stays one line, at the top", () => {
  const [x, y] = problems(station([meter("a", { alarms: [{ text: "x" }, { text: "y" }] })]), null, []);
  assert.deepEqual(addUnseen([y!, x!], [x!]), [x, y]);
});
