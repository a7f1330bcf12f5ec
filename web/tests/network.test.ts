import assert from "node:assert/strict";
import { test } from "node:test";
import { columnsFor, levelText, moved, overview, percent } from "../src/data/channel";
import { milliseconds, rate } from "../src/data/format";
import { harmless } from "../src/data/json";
import { filterUniverses, listSections, silentAfter, universeLine } from "../src/data/lines";
import { readDmx, readNetwork, steadySource } from "../src/data/network";
import { links, routeOf } from "../src/data/route";
import { readPower, type LogEvent } from "../src/data/shapes";
import { allRightSince, problems, verdict } from "../src/data/verdict";

const now = Date.UTC(2025, 10, 21, 21, 0, 0) / 1000;
const sender = (name: string, more: object = {}) => ({ name, ip: "10.0.0.5", fps: 43.97, priority: null, interface: "Licht", active: true, ...more });
const universe = (number: number, more: object = {}) => ({
  proto: "Art-Net", universe: number, label: `${number} (0:0:${number})`, status: "ok", senders: [sender("Pult")], receivers: 0, ...more,
});
const told = (more: object = {}) => readNetwork({ running: true, ...more });
const event = (text: string, time: number, level: LogEvent["level"] = "alarm"): LogEvent => ({ source: "Netzwerk", text, time, level });

test("an answer of any shape becomes a complete network and a complete universe", () => {
  for (const body of [null, 7, [], {}, { universeList: 3, health: "x", ptp: [null], igmp: [{ queriers: 4 }] }, { universeList: [null, {}, { senders: [7] }] }]) {
    const network = readNetwork(body);
    assert.ok(Array.isArray(network.universeList) && Array.isArray(network.problems));
    assert.doesNotThrow(() => listSections(network));
    assert.doesNotThrow(() => network.universeList.map(universeLine));
    const dmx = readDmx(body);
    assert.deepEqual([dmx.data, dmx.sources, dmx.source], [[], [], ""]);
  }
});

test("levels stay within 0 and 255, and there are 512 at most", () => {
  assert.deepEqual(readDmx({ data: [-1, 0, 255, 256, "7", null, 12.4] }).data, [0, 0, 255, 255, 0, 0, 12]);
  assert.equal(readDmx({ data: Array(600).fill(1) }).data.length, 512);
});

test("sources keep their places, and the one shown stays as long as it is active", () => {
  const source = (id: string, priority: number | null, active = true) => ({ id, ip: id, name: "", priority, active });
  const dmx = (shown: string, active = true) => readDmx({ source: shown, sources: [source("10.0.0.10", 100), source("10.0.0.9", 100, active), source("10.0.0.20", 120)] });
  assert.deepEqual(dmx("").sources.map((one) => one.id), ["10.0.0.20", "10.0.0.9", "10.0.0.10"]);
  assert.deepEqual([steadySource(dmx("10.0.0.9")), steadySource(dmx("10.0.0.9", false)), steadySource(dmx("gone")), steadySource(null)], ["10.0.0.9", null, null, null]);
});

test("a place that is not known is left out", () => {
  const [nodes] = listSections(told({ nodeList: [{ name: "N", ip: "10.0.0.8", age: 2, interface: "–" }] }));
  assert.equal(nodes!.lines[0]!.note, "10.0.0.8");
});

test("names from the network do nothing but stand there", () => {
  const rows: [string, string][] = [
    ["Pult Bühne – links", "Pult Bühne – links"],
    ["<b>fett</b>", "<b>fett</b>"],
    ["a\nb\tc\u0000", "a\ufffdb\ufffdc\ufffd"],
    ["\u202etxt.exe\u202c", "\ufffdtxt.exe\ufffd"],
    ["\u2066x\u2069\u200f\u061c", "\ufffdx\ufffd\ufffd\ufffd"],
    ["e\u0301\u0302\u0303\u0304\u0305", "e\u0301\u0302\u0303"],
    ["\u{e0041}", "\ufffd"],
    ["מזרח", "מזרח"],
    ["日本語 🎛", "日本語 🎛"],
  ];
  for (const [from, shown] of rows) assert.equal(harmless(from), shown);
});

test("what is sent back to the station stays as it came", () => {
  const dmx = readDmx({ sources: [{ id: "a\u202eb", name: "a\u202eb" }], source: "a\u202eb" });
  assert.equal(dmx.sources[0]!.id, "a\u202eb");
  assert.equal(dmx.source, "a\u202eb");
  assert.equal(dmx.sources[0]!.name, "a\ufffdb");
});

test("rates and spans have a decimal comma where one decimal says something", () => {
  assert.deepEqual([44.02, 9.9, 0.87, 0, null].map(rate), ["44/s", "9,9/s", "0,9/s", "0,0/s", "–"]);
  assert.deepEqual([0.0004, 0.0123, null].map(milliseconds), ["0,4 ms", "12 ms", "–"]);
});

test("a universe tells who sends it", () => {
  const line = (more: object) => universeLine(told({ universeList: [universe(1, more)] }).universeList[0]!);
  assert.deepEqual([line({}).title, line({}).note, line({}).figures, line({}).mark!.word], ["Art-Net 1 (0:0:1)", "Pult (10.0.0.5)", "44/s", "aktiv"]);
  const fight = line({ status: "conflict", senders: [sender("A"), sender("B"), sender("C", { active: false })], receivers: 2, nodeOutput: true });
  assert.equal(fight.note, "A ↔ B");
  assert.equal(fight.figures, "44/s · 2 Empf. · Node gibt aus");
  assert.equal(fight.mark!.tone, "alarm");
  assert.equal(line({ senders: [sender("A", { priority: 120 }), sender("B", { active: false })] }).note, "A (10.0.0.5) und 1 weitere");
  assert.equal(line({ senders: [sender("10.0.0.5", { priority: 120 })] }).note, "10.0.0.5");
  assert.equal(line({ senders: [sender("", { priority: 120 })] }).figures, "44/s · Prio 120");
  const lost = line({ status: "lost", senders: [sender("A", { active: false })] });
  assert.deepEqual([lost.mark!.word, lost.silent, lost.figures], ["verloren", true, ""]);
  assert.deepEqual([line({ status: "none", senders: [] }).note, line({ status: "?", senders: [] }).mark!.word], ["niemand sendet", "ohne Quelle"]);
});

test("universes are found by status and by all words of the search", () => {
  const all = told({
    universeList: [universe(1), universe(2, { status: "lost" }), universe(3, { proto: "sACN", label: "3", senders: [sender("Medienserver", { ip: "10.0.9.9" })] })],
  }).universeList;
  const found = (status: Parameters<typeof filterUniverses>[1], search: string) => filterUniverses(all, status, search).map((one) => one.id);
  assert.deepEqual(found("all", " "), ["Art-Net:1", "Art-Net:2", "sACN:3"]);
  assert.deepEqual(found("lost", ""), ["Art-Net:2"]);
  assert.deepEqual(found("all", "SERVER sacn"), ["sACN:3"]);
  assert.deepEqual(found("all", "10.0.9"), ["sACN:3"]);
  assert.deepEqual(found("conflict", ""), []);
});

test("a node that has not answered for a while is silent, whatever its name", () => {
  const [nodes] = listSections(told({ nodeList: [{ name: "", ip: "10.0.0.7", age: silentAfter + 1 }, { name: "N", ip: "10.0.0.8", age: 2 }] }));
  assert.deepEqual(nodes!.lines.map((line) => [line.title, line.silent, line.mark!.word]), [["10.0.0.7", true, "verstummt"], ["N", false, "da"]]);
});

test("a device is unknown before its first answer, and a figure that is not there is left out", () => {
  const [devices] = listSections(told({ online: 1, total: 3, devices: [
    { name: "a", role: "Switch", ip: "1", online: true, latency: 0.0004, temp: 41.4 },
    { name: "b", role: "Pult", ip: "2", online: null, latency: null },
    { name: "c", role: "Node", ip: "3", online: false, latency: null },
  ] }));
  assert.equal(devices!.count, "1 von 3");
  assert.deepEqual(devices!.lines.map((line) => [line.figures, line.mark!.word]), [
    ["0,4 ms · 41 °C", "online"], ["", "noch unbekannt"], ["", "nicht erreichbar"],
  ]);
});

test("a clock tells whom it follows by name where that one is known", () => {
  const clock = (sender: string, name: string, grandmaster: string) => ({ sender, name, grandmaster, priority1: 128, priority2: 120, clockClass: 6, rate: 1 });
  const [clocks] = listSections(told({ ptp: [{ label: "PTPv2 · Domäne 0", grandmaster: "Stagebox", conflict: false, clocks: [
    clock("aa", "Stagebox", "aa"), clock("bb", "Pult", "aa"), clock("cc", "", "zz"),
  ] }] }));
  assert.equal(clocks!.count, "1");
  assert.deepEqual(clocks!.lines.map((line) => [line.title, line.note]), [
    ["PTPv2 · Domäne 0", "Grandmaster Stagebox"], ["Stagebox", "ist Grandmaster"], ["Pult", "folgt Stagebox"], ["cc", "folgt zz"],
  ]);
  assert.equal(clocks!.lines[1]!.figures, "Prio 128/120 · Klasse 6 · 1,0/s");
});

test("empty lists have no section", () => {
  assert.deepEqual(listSections(told()), []);
});

const withoutPower = readPower({});

test("a conflict leads to its universe and is dated by the log, however it is worded", () => {
  const network = told({
    universeList: [universe(1, { status: "conflict" }), universe(2, { proto: "sACN", label: "2", status: "conflict" }), universe(2),
      universe(3, { status: "conflict" })],
    problems: [
      { level: "alarm", area: "light", text: "Art-Net 1 (0:0:1): Konflikt A ↔ B" },
      { level: "alarm", area: "light", text: "3 Quellen gleicher Priorität (2)" },
      { level: "alarm", area: "light", text: "3 Quellen gleicher Priorität (3 (0:0:3))" },
    ],
  });
  const found = problems(withoutPower, network, [
    event("Konflikt auf Art-Net-Universum 1 (0:0:1) behoben", 60, "info"),
    event("Konflikt auf sACN-Universum 2: mehrere Quellen gleicher Priorität (a, b, c)", 50),
    event("Konflikt auf Art-Net-Universum 1 (0:0:1): mehrere Quellen gleicher Priorität (A, B)", 40),
  ]);
  assert.deepEqual(found.map((problem) => [problem.what, problem.since, problem.link, problem.where]), [
    ["3 Quellen gleicher Priorität (2)", 50, "#/universe/sACN%3A2", "Netz"],
    ["Art-Net 1 (0:0:1): Konflikt A ↔ B", 40, "#/universe/Art-Net%3A1", "Netz"],
    ["3 Quellen gleicher Priorität (3 (0:0:3))", null, "#/universe/Art-Net%3A3", "Netz"],
  ]);
});

test("other problems lead to the list that tells more", () => {
  const place = (text: string, area = "light") => problems(withoutPower, told({ problems: [{ level: "warning", area, text }] }), [])[0]!.link;
  assert.equal(place("Switch (10.0.0.2) nicht erreichbar"), "#/network/devices");
  assert.equal(place("PTPv2 · Domäne 0: mehrere Grandmaster"), "#/network/clocks");
  assert.equal(place("Kein IGMP-Querier auf Licht"), "#/network/queriers");
  assert.equal(place("USV Rack auf Batterie – 5 min", "power"), "#/power");
  assert.equal(place("etwas Neues"), "#/network/problems");
});

test("a problem stays the same while its figures change", () => {
  const key = (text: string) => problems(withoutPower, told({ problems: [{ level: "alarm", text }] }), [])[0]!.key;
  assert.equal(key("Switch: CPU 71 °C"), key("Switch: CPU 72,5 °C"));
  assert.equal(key("USV A auf Batterie – 12 min"), key("USV A auf Batterie – 11 min"));
  assert.notEqual(key("A (10.0.0.1) nicht erreichbar"), key("A (10.0.0.2) nicht erreichbar"));
});

test("a UPS that both tell of stands once", () => {
  const power = readPower({ ups: [{ name: "Rack", onBattery: true, runtime: 12.4 }] });
  const network = told({ problems: [{ level: "alarm", area: "power", text: "USV Rack auf Batterie – 11 min" }] });
  assert.deepEqual(problems(power, network, []).map((problem) => `${problem.where} ${problem.what}`), ["USV Rack auf Batterie – 12 min"]);
});

test("two devices with one address are an alarm that names both", () => {
  const [problem] = problems(withoutPower, told({ conflicts: [{ ip: "10.0.0.7", macs: ["A", "B"], since: 77 }] }), []);
  assert.deepEqual([problem!.severity, problem!.what, problem!.where, problem!.since], [
    "alarm", "IP-Konflikt: 10.0.0.7 wird von 2 Geräten benutzt", "A, B", 77,
  ]);
});

test("what is only told is no problem, and nothing is one while nobody listens", () => {
  const remark = { level: "info", area: "light", text: "3 Geräte wieder online" };
  assert.deepEqual(problems(withoutPower, told({ problems: [remark] }), []), []);
  assert.deepEqual(problems(withoutPower, readNetwork({ running: false, problems: [{ level: "alarm", text: "x" }] }), []), []);
});

test("the verdict counts the network's problems and vouches for nothing it has not heard of", () => {
  const power = readPower({ devices: [{ id: "a", name: "a", status: "verbunden" }] });
  const network = told({ problems: [{ level: "alarm", text: "x" }, { level: "warning", text: "y" }] });
  assert.deepEqual(verdict(power, network, problems(power, network, []), null, now), { mood: "alarm", text: "1 Alarm, 1 Warnung" });
  assert.equal(verdict(power, null, [], null, now).mood, "unknown");
  assert.equal(verdict(power, "none", [], null, now).mood, "ok");
  assert.equal(verdict(power, told(), [], null, now).mood, "ok");
});

test("a network that is listened to is something watched, one that is not is nothing", () => {
  assert.equal(verdict(withoutPower, told(), [], null, now).mood, "ok");
  assert.deepEqual(verdict(withoutPower, readNetwork({ running: false }), [], null, now), { mood: "unknown", text: "Noch keine Stromquellen" });
});

test("the end of a trouble on the network counts as well", () => {
  const rows: [LogEvent, number | null][] = [
    [event("Konflikt auf sACN-Universum 1 behoben", 5, "info"), 5],
    [event("Switch (10.0.0.2) wieder online nach 12 s", 6, "info"), 6],
    [event("IGMP-Querier auf Licht wieder aktiv", 7, "info"), 7],
    [event("Quelle aktiv: wieder da", 8, "info"), null],
    [event("Switch wieder online", 9, "alarm"), null],
  ];
  for (const [one, since] of rows) assert.equal(allRightSince([one]), since, one.text);
});

test("addresses of the network's pages", () => {
  assert.deepEqual(routeOf(links.network), { page: "network", universe: null, section: null });
  assert.deepEqual(routeOf(links.networkSection("clocks")), { page: "network", universe: null, section: "clocks" });
  assert.deepEqual(routeOf("#/network/elsewhere"), { page: "network", universe: null, section: null });
  assert.deepEqual(routeOf(links.universe("Art-Net:1")), { page: "network", universe: "Art-Net:1", section: null });
});

test("percent is cut: only full is full", () => {
  assert.deepEqual([0, 1, 127, 128, 254, 255].map(percent), [0, 0, 49, 50, 99, 100]);
  assert.deepEqual([levelText(128, "percent"), levelText(128, "value"), levelText(undefined, "value")], ["50", "128", "–"]);
});

test("channels stand in lines of a power of two", () => {
  assert.deepEqual([320, 358, 640, 900, 1300].map(columnsFor), [8, 8, 16, 16, 32]);
});

test("keys lead from channel to channel and stop at the ends", () => {
  const rows: [number, string, number | null][] = [
    [0, "ArrowRight", 1], [0, "ArrowLeft", 0], [0, "ArrowUp", 0], [3, "ArrowDown", 19], [511, "ArrowRight", 511], [500, "ArrowDown", 500],
    [40, "PageUp", 0], [500, "PageDown", 511], [77, "Home", 0], [77, "End", 511], [5, "a", null], [5, "Enter", null],
  ];
  for (const [at, key, to] of rows) assert.equal(moved(at, key, 16, 512), to, `${key} at ${at}`);
});

test("one sentence tells of all channels", () => {
  assert.equal(overview([]), "keine Werte");
  assert.equal(overview([0, 0, 0]), "alle 3 Kanäle auf 0");
  assert.equal(overview([0, 12, 255, 255]), "3 von 4 Kanälen über 0, höchster Wert 255 auf Kanal 3");
});
