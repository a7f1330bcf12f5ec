import assert from "node:assert/strict";
import { test } from "node:test";
import { ago, clock, count, dateAndClock, decimal, energy, figure, since, span, whole, withUnit } from "../src/data/format";

test("decimals follow from the value after scaling", () => {
  const rows: [number, string, string][] = [
    [999.4, "W", "999,4 W"],
    [1500, "W", "1,500 kW"],
    [12_400, "W", "12,40 kW"],
    [184_300, "W", "184,3 kW"],
    [2_400_000, "W", "2,400 MW"],
    [9999, "V", "9999 V"],
    [10_000, "V", "10,00 kV"],
    [230.14, "V", "230,1 V"],
    [9.5, "A", "9,500 A"],
    [63, "A", "63,00 A"],
    [1250, "A", "1250 A"],
    [50.0014, "Hz", "50,001 Hz"],
    [8.744, "%", "8,74 %"],
    [0.94, "", "0,940"],
    [1_234_567, "Wh", "1,235 MWh"],
    [-2500, "W", "-2,500 kW"],
  ];
  for (const [value, unit, expected] of rows) assert.equal(withUnit(value, unit), expected);
});

test("what is missing or no number is a dash and never zero", () => {
  for (const value of [null, NaN, Infinity]) assert.equal(figure(value, "W").text, "–");
  assert.equal(whole(null, "%"), "–");
  assert.equal(energy(null).text, "–");
});

test("zero carries no sign", () => {
  assert.equal(decimal(-0.0001, 2), "0,00");
  assert.equal(decimal(0, 1), "0,0");
});

test("counted energy is never shown in the bare unit", () => {
  assert.deepEqual(energy(500), { text: "0,5", unit: "kWh" });
  assert.deepEqual(energy(9999), { text: "10,0", unit: "kWh" });
  assert.deepEqual(energy(184_000), { text: "184", unit: "kWh" });
  assert.deepEqual(energy(1_234_000), { text: "1,23", unit: "MWh" });
  assert.deepEqual(energy(2000, "varh"), { text: "2,0", unit: "kvarh" });
});

test("ages use the largest unit that says enough", () => {
  assert.deepEqual([0.4, 59.9, 60, 3599, 3600, 86_400, 172_800].map(span), ["0 s", "59 s", "1 min", "59 min", "1 h", "1 Tag", "2 Tagen"]);
  assert.equal(ago(100, 112.6), "vor 12 s");
});

test("a time ahead of the clock counts as now", () => {
  assert.equal(ago(105, 100), "jetzt");
  assert.equal(span(-3), "0 s");
});

test("times of day are local, with the day where it is another", () => {
  const friday = Date.UTC(2025, 10, 21, 20, 14, 3) / 1000; // 21:14:03 in Berlin
  assert.equal(clock(friday), "21:14:03");
  assert.equal(since(friday, friday + 60), "21:14");
  assert.equal(since(friday, friday + 86_400), "Fr 21:14");
  assert.equal(since(friday, friday + 30 * 86_400), "21.11. 21:14");
  assert.equal(dateAndClock(friday), "21.11.2025, 21:14:03");
});

test("counts agree with their noun", () => {
  assert.equal(count(1, "Alarm", "Alarme"), "1 Alarm");
  assert.equal(count(2, "Alarm", "Alarme"), "2 Alarme");
});
