import assert from "node:assert/strict";
import { test } from "node:test";
import { readDevice, readEvents, readInfo, readPower } from "../src/data/shapes";

test("an answer of any shape becomes a complete value", () => {
  for (const body of [null, 7, "x", [], {}, { devices: 3, ups: null, events: {}, groups: "?" }, { devices: [null, 4] }]) {
    assert.ok(Array.isArray(readPower(body).devices));
    assert.deepEqual(readEvents(body), []);
    assert.deepEqual(readDevice(body).groups, []);
    assert.equal(readInfo(body).name, "Brantholme");
  }
});

test("a missing or foreign number stays missing", () => {
  const [meter] = readPower({ devices: [{ id: "a", p: "12", f: null, u: [230, null], i: "no", trend: [1, null, "x"] }] }).devices;
  assert.equal(meter!.p, null);
  assert.equal(meter!.f, null);
  assert.deepEqual(meter!.u, [230, null, null]);
  assert.deepEqual(meter!.i, [null, null, null]);
  assert.deepEqual(meter!.trend, [1, null, null]);
});

test("a severity that is not known is taken as an alarm, a level as information", () => {
  const [meter] = readPower({ devices: [{ alarms: [{ text: "A", severity: "warning" }, { text: "B" }] }] }).devices;
  assert.deepEqual(meter!.alarms.map((alarm) => alarm.severity), ["warning", "alarm"]);
  assert.equal(readEvents({ events: [{ time: 1, level: "fatal" }] })[0]!.level, "info");
});

test("an event without a time is left out", () => {
  assert.deepEqual(readEvents({ events: [{ text: "x" }, { time: 5, text: "y", source: "Bühne", level: "alarm" }] }), [
    { time: 5, text: "y", source: "Bühne", level: "alarm" },
  ]);
});

test("there is no recording where none is told", () => {
  assert.equal(readPower({ recording: null }).recording, null);
  assert.deepEqual(readPower({ recording: { name: "Tag 2", since: 9 } }).recording, { name: "Tag 2", since: 9 });
});

test("a row without texts shows dashes", () => {
  const device = readDevice({ groups: [{ name: "Strom", rows: [{ label: "L1", value: "", maxTime: "soon" }] }], trendI: [[1], null] });
  assert.deepEqual(device.groups[0]!.rows[0], { label: "L1", value: "–", min: "–", max: "–", maxTime: null });
  assert.deepEqual(device.trendI, [[1], [], []]);
});

test("an unknown level of control allows nothing but looking", () => {
  assert.equal(readInfo({ control: "admin" }).control, "view");
  assert.equal(readInfo({ control: "full" }).control, "full");
  assert.equal(readInfo({ authed: "yes" }).authed, false);
});
