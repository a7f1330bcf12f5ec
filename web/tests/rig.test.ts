import assert from "node:assert/strict";
import { test } from "node:test";
import { readFixture, readPatch, readRig } from "../src/data/patch";
import {
  amount, amountText, differences, fitsUniverse, grouped, hindranceOf, hoursText, isLit, orderOf, personalityText, rangeText, rdmMark, sameTarget, scanShare, sendingText,
  titleOf, universesIn, wishOf, wishText, wishTrouble, type Action, type LightWish,
} from "../src/data/rig";
import { links, routeOf } from "../src/data/route";

const rdm = (more: object = {}) => ({ uid: "4D50:00000001", online: true, identify: false, temp: 41.9, hot: false, firmware: "1.8", hours: 12, ...more });
const wish = (more: Partial<LightWish> = {}): LightWish => ({ ...wishOf(readRig({}).light), ...more });

test("whatever comes becomes a complete patch", () => {
  for (const value of [null, 7, "x", [], {}, { fixtures: 1, total: "3", dmx: [] }, { fixtures: [null, 4, { rdm: "x", address: "1" }] }]) {
    const patch = readPatch(value, "q");
    assert.equal(patch.query, "q");
    assert.equal(patch.total, patch.fixtures.length);
    assert.deepEqual([patch.rig.light.sending, patch.rig.light.mode, patch.rig.light.level, patch.rig.light.priority], [false, "off", 1, 100]);
    for (const one of patch.fixtures) assert.deepEqual([one.address, one.rdm, one.lit, one.power], [0, null, false, null]);
  }
  assert.deepEqual(readFixture({}).rdm, null);
  assert.deepEqual(readFixture({ rdm: {} }).rdm!.personalities, []);
});

test("a name that hides or turns its neighbours round is made harmless", () => {
  assert.equal(readPatch({ fixtures: [{ name: "a\u202eb" }] }, "").fixtures[0]!.name, "a\ufffdb");
});

test("the light on a lamp is told of lamps without a device too", () => {
  const lit = (one: object) => readPatch({ fixtures: [one] }, "").fixtures[0]!.lit;
  assert.deepEqual([lit({ lit: true, rdm: null }), lit({ rdm: { lit: true } }), lit({ rdm: { lit: false } }), lit({ lit: "yes" })], [true, true, false, false]);
});

test("a lamp is no longer bright as soon as the light is out or has gone on", () => {
  const light = (dmx: object) => readRig({ dmx }).light;
  const lamp = { id: "a", lit: true };
  assert.equal(isLit(lamp, null), true);
  assert.equal(isLit(lamp, light({ sending: true, mode: "all" })), true);
  assert.equal(isLit(lamp, light({ sending: false })), false);
  assert.equal(isLit(lamp, light({ sending: true, mode: "chase", current: "b" })), false);
  assert.equal(isLit({ id: "b", lit: false }, light({ sending: true, mode: "chase", current: "b" })), true);
  assert.equal(isLit({ id: "b", lit: false }, light({ sending: true, mode: "fixtures" })), false);
});

test("how much was found, and that the list was cut", () => {
  const rows: [number, number, boolean, string][] = [
    [300, 4812, false, "300 von 4.812 – weiter eingrenzen"], [300, 1250, true, "300 von 1.250 – weiter eingrenzen"], [23, 23, true, "23 Treffer"],
    [1, 1, false, "1 Lampe"], [300, 300, false, "300 Lampen"], [0, 0, true, "0 Treffer"],
  ];
  for (const [shown, total, searching, text] of rows) assert.equal(amountText(shown, total, searching), text);
  assert.deepEqual([grouped(999), grouped(1000), grouped(1234567)], ["999", "1.000", "1.234.567"]);
});

test("a device tells whether it answers, is too hot, or was never searched for", () => {
  const mark = (told: object | null, scanned = true) => {
    const { tone, word } = rdmMark(readPatch({ fixtures: [{ rdm: told }] }, "").fixtures[0]!.rdm, scanned);
    return [tone, word];
  };
  assert.deepEqual(mark(null), ["quiet", "kein RDM"]);
  assert.deepEqual(mark(null, false), ["quiet", "RDM nicht gesucht"]);
  assert.deepEqual(mark(rdm()), ["ok", "RDM da · 41 °C"]);
  assert.deepEqual(mark(rdm({ temp: null })), ["ok", "RDM da"]);
  assert.deepEqual(mark(rdm({ temp: 92.4, hot: true })), ["alarm", "zu heiß · 92 °C"]);
  // What it told before it fell silent is no alarm of now.
  assert.deepEqual(mark(rdm({ online: false, temp: 92.4, hot: true })), ["warning", "antwortet nicht"]);
});

test("how far a scan has come is read from what it tells", () => {
  const rows: [string, number | null][] = [
    ["Frage Gerätelisten von 3 Nodes ab …", null], ["Lese Gerät 1 von 8 (4D50:00000001) …", 0], ["Lese Gerät 5 von 8 (4D50:00000001) …", 0.5], ["", null],
    ["Sensoren 3 von 0", null], ["Lese Gerät 9 von 4 (x) …", 1],
  ];
  for (const [text, share] of rows) assert.equal(scanShare(text), share, text);
});

test("figures of a device keep their unit, and what is not known is a dash", () => {
  assert.deepEqual([amount(41.7, "°C"), amount(38, "°C"), amount(0.255, "A AC"), amount(2140, ""), amount(null, "°C")], ["41,7 °C", "38 °C", "0,26 A AC", "2140", "–"]);
  assert.deepEqual([hoursText(1234), hoursText(0), hoursText(null)], ["1.234 h", "0 h", "–"]);
  assert.equal(personalityText({ number: 2, name: "Extended", footprint: 25 }), "Modus 2 · Extended · 25 Kanäle");
  assert.equal(personalityText({ number: 1, name: "", footprint: 1 }), "Modus 1 · 1 Kanal");
});

test("channels of a lamp and whether they fit the universe", () => {
  assert.deepEqual([rangeText(41, 16), rangeText(41, 1), rangeText(41, 0)], ["41–56", "41", "41"]);
  assert.deepEqual([[497, 16], [498, 16], [512, 0], [0, 1]].map(([address, footprint]) => fitsUniverse(address!, footprint!)), [true, false, true, false]);
  assert.deepEqual([titleOf({ fid: "101", name: "", type: "MAC" }), titleOf({ fid: "", name: "", type: "" })], ["101 · MAC", "Lampe"]);
});

test("where the device and the patch disagree is told, and only there", () => {
  const told = (patch: object, device: object | null) => differences(readFixture({ addressText: "2.041", ...patch, rdm: device && rdm(device) }));
  assert.deepEqual(told({ address: 41, footprint: 16 }, { startAddress: 41, footprint: 16 }), []);
  assert.deepEqual(told({ address: 41, footprint: 16 }, { startAddress: 101, footprint: 25 }), [
    "Die Lampe meldet DMX-Adresse 101, im Patch steht 2.041.", "Die Lampe belegt 25 Kanäle, im Patch stehen 16.",
  ]);
  assert.deepEqual(told({ address: 0, footprint: 0 }, { startAddress: 7, footprint: 3 }), ["Die Lampe meldet DMX-Adresse 7, im Patch steht keine."]);
  // A device without channels of its own tells an address beyond all (ANSI E1.20, 10.5.1), or nothing.
  assert.deepEqual(told({ address: 41, footprint: 16 }, { startAddress: null, footprint: 0 }), []);
  assert.deepEqual(told({ address: 41 }, null), []);
});

test("who may do what, and what stands against it", () => {
  const text = (action: Action, authed: boolean, control: "view" | "find" | "full", writeEnabled = true) =>
    hindranceOf(action, { authed, control }, writeEnabled)?.text ?? null;
  for (const action of ["scan", "light", "refresh", "identify", "address", "mode"] as const) {
    assert.equal(text(action, false, "full"), "Anmeldung nötig");
    assert.equal(text(action, true, "full"), null);
    assert.equal(hindranceOf(action, null, true)?.login, true);
  }
  assert.equal(text("scan", true, "view"), null);
  for (const action of ["light", "refresh", "identify", "address", "mode"] as const) assert.match(text(action, true, "view")!, /nur ansehen/);
  for (const action of ["light", "refresh", "identify"] as const) assert.equal(text(action, true, "find"), null);
  assert.equal(text("address", true, "find", false), "Adressänderung ist in den Web-App-Einstellungen nicht freigegeben");
  assert.equal(text("mode", true, "find"), "Modusänderung ist in den Web-App-Einstellungen nicht freigegeben");
  for (const action of ["identify", "address", "mode"] as const) {
    assert.match(text(action, true, "full", false)!, /^Schreiben ist gesperrt/);
    assert.equal(hindranceOf(action, { authed: true, control: "full" }, false)!.command, "kestrelyne rdm write on");
  }
  assert.equal(text("light", true, "full", false), null);
  assert.equal(text("refresh", true, "full", false), null);
});

test("universes are written as people write them", () => {
  const rows: [string, number[] | null][] = [
    ["", []], ["1", [1]], ["3, 1", [1, 3]], ["1, 3-5 7", [1, 3, 4, 5, 7]], ["3–5;4", [3, 4, 5]], ["0", null], ["5-3", null], ["a", null], ["1,,2", [1, 2]], ["64000", null],
    ["1-2000", null],
  ];
  for (const [text, universes] of rows) assert.deepEqual(universesIn(text), universes, text);
});

test("what cannot be started says why", () => {
  const rows: [Partial<LightWish>, RegExp | null][] = [
    [{}, /keine Lampe/], [{ ids: ["a"] }, null], [{ mode: "all" }, null], [{ mode: "raw" }, null], [{ mode: "raw", channel: 513 }, /Kanal/], [{ mode: "raw", channel: NaN }, /Kanal/],
    [{ mode: "raw", universe: 0 }, /Universum/], [{ mode: "raw", value: 256 }, /Wert/], [{ mode: "raw", value: 1.5 }, /Wert/], [{ mode: "chase", step: 0 }, /Zeit/],
    [{ mode: "chase", step: NaN }, /Zeit/], [{ mode: "chase", step: 0.5 }, null], [{ mode: "all", proto: "sacn", priority: 201 }, /Priorität/], [{ mode: "all", priority: 999 }, null],
  ];
  for (const [more, expected] of rows) {
    const told = wishTrouble(wish(more));
    if (expected) assert.match(told ?? "", expected, JSON.stringify(more));
    else assert.equal(told, null, JSON.stringify(more));
  }
});

test("what would be sent stands in one sentence", () => {
  assert.equal(wishText(wish({ ids: ["a"] })), "Eine Lampe auf 100 %, über Art-Net.");
  assert.equal(wishText(wish({ ids: ["a", "b"], level: 0.5, proto: "sacn", priority: 120 })), "2 Lampen auf 50 %, über sACN mit Priorität 120.");
  assert.equal(wishText(wish({ mode: "all", universes: [1, 3] })), "Alle Lampen der Universen 1, 3 auf 100 %, über Art-Net.");
  assert.equal(wishText(wish({ mode: "chase", universes: [2], step: 0.5 })), "Die Lampen von Universum 2 nacheinander auf 100 %, je 0,5 s, über Art-Net.");
  assert.equal(wishText(wish({ mode: "raw", universe: 2, channel: 41, value: 128 })), "Universum 2, Kanal 41 auf 128, über Art-Net.");
  const light = readRig({ dmx: { sending: true, mode: "all", text: "Alle Lampen hell – sACN, Universum 1, 2", proto: "sacn", level: 0.5, universes: [1, 2] } }).light;
  assert.equal(sendingText(light), "Alle Lampen hell – sACN, Universum 1, 2 · 50 %");
  assert.equal(sendingText({ ...light, mode: "raw", text: "Kanal 2 auf 3 – sACN, Universum 1" }), "Kanal 2 auf 3 – sACN, Universum 1");
});

test("the station is told what belongs to the mode and nothing else", () => {
  const half = { priority: NaN, step: NaN, channel: NaN };
  assert.deepEqual(orderOf(wish({ ...half, ids: ["a"] })), { mode: "fixtures", proto: "artnet", level: 1, fixtures: ["a"] });
  assert.deepEqual(orderOf(wish({ ...half, mode: "all", universes: [2] })), { mode: "all", proto: "artnet", level: 1, universes: [2] });
  assert.deepEqual(orderOf(wish({ mode: "chase", step: 0.5, proto: "sacn", priority: 90 })), { mode: "chase", proto: "sacn", level: 1, universes: [], step: 0.5, priority: 90 });
  assert.deepEqual(orderOf(wish({ mode: "raw", universe: 2, channel: 3, value: 4 })), { mode: "raw", proto: "artnet", level: 1, universe: 2, channel: 3, value: 4 });
});

test("only brightness and pace follow without asking again", () => {
  const all = wish({ mode: "all" });
  for (const more of [{ level: 0.2 }, { step: 3 }, { priority: 50 }]) assert.equal(sameTarget(all, { ...all, ...more }), true);
  for (const more of [{ mode: "chase" as const }, { proto: "sacn" as const }, { universes: [1] }]) assert.equal(sameTarget(all, { ...all, ...more }), false);
  const raw = wish({ mode: "raw" });
  assert.deepEqual([{ value: 3 }, { channel: 2 }, { universe: 2 }].map((more) => sameTarget(raw, { ...raw, ...more })), [true, false, false]);
  const lamps = wish({ ids: ["a", "b"] });
  assert.deepEqual([["a", "b"], ["a"]].map((ids) => sameTarget(lamps, { ...lamps, ids })), [true, false]);
});

test("addresses of the patch, a lamp and the test light", () => {
  assert.deepEqual(routeOf(links.patch), { page: "patch", fixture: null });
  assert.deepEqual(routeOf(links.fixture("A-1")), { page: "patch", fixture: "A-1" });
  assert.deepEqual(routeOf(links.testlight), { page: "testlight" });
});
