import assert from "node:assert/strict";
import { test } from "node:test";
import { addressLine, filterAddresses, queryingLine } from "../src/data/detailLines";
import { listSections } from "../src/data/lines";
import { boxHeight, draw, findAttached, hangsOn, isUnread, linkTexts, plan, summary, tellingPorts } from "../src/data/mapping";
import { readNetDetail, type SwitchPort } from "../src/data/netdetail";
import { readNetwork } from "../src/data/network";
import {
  bitRate, blockTitle, failedPorts, findSwitch, isSilentSwitch, movedPort, notices, panelBlocks, poeText, portLabel, portNumber, portState, speedSign, speedText, switchLine,
  switchMark, uplinksOf,
} from "../src/data/ports";
import { links, routeOf } from "../src/data/route";
import { readPower, type LogEvent } from "../src/data/shapes";
import { batteryTrouble, silence, sourceMark, upsLine } from "../src/data/ups";
import { allRightSince, problems } from "../src/data/verdict";

const detail = (more: object) => readNetDetail(more);
const oneSwitch = (more: object = {}) => detail({ switches: [{ id: "s", name: "Core", ip: "10.0.0.1", online: true, state: "ok", ...more }] }).switches[0]!;
const ports = (names: string[], more: object = {}): SwitchPort[] => oneSwitch({ ports: names.map((name) => ({ name, up: true, admin: true, speed: 1000, ...more })) }).ports;
const numbered = (stem: string, count: number, first = 1) => Array.from({ length: count }, (_, at) => `${stem}${first + at}`);

test("details of any shape become a complete value", () => {
  const bodies = [
    null, 7, [], {}, { switches: 3, map: null, igmp: [null], services: "x" }, { switches: [null, { ports: [7], temps: {}, poe: 4 }] },
    { map: { switches: [null, { ports: [null] }], links: [null], levels: [null, 3, ["x", 7]], unplaced: [null] } },
  ];
  for (const body of bodies) {
    const told = readNetDetail(body);
    assert.doesNotThrow(() => told.switches.map(switchLine));
    assert.doesNotThrow(() => draw(plan(told.map), 328));
    assert.doesNotThrow(() => [told.addresses.map(addressLine), told.igmp.map(queryingLine), findAttached(told.map, "x")]);
  }
});

test("what a switch does not tell stays missing", () => {
  const one = oneSwitch({ ports: [{ name: "1", poe: "yes", inBps: "3" }], poe: {}, state: "melted", online: "maybe" });
  assert.deepEqual([one.cpu, one.poe, one.state, one.online, one.error], [null, null, "none", null, ""]);
  assert.deepEqual([one.ports[0]!.poe, one.ports[0]!.inBps, one.ports[0]!.up, one.ports[0]!.admin], [null, null, false, true]);
  assert.deepEqual(oneSwitch({ poe: { budget: 370, used: null } }).poe, { budget: 370, used: null });
});

test("groups and members are told by number or by name", () => {
  const told = detail({ igmp: [{ interface: "a", groups: 24, members: 61, missing: true }, { interface: "b", groups: ["239.1.1.1"], members: [], queriers: ["10.0.0.1"], version: 2 }] });
  assert.deepEqual(told.igmp.map(queryingLine).map((line) => [line.note, line.figures, line.mark!.word]), [
    ["kein Querier", "24 Gruppen · 61 Mitglieder", "Querier fehlt"], ["10.0.0.1 · IGMPv2", "1 Gruppe · 0 Mitglieder", "1 Querier"],
  ]);
});

test("speeds and rates are told in the unit that fits", () => {
  assert.deepEqual([10, 100, 1000, 2500, 10_000, 0, null].map(speedText), ["10 Mbit/s", "100 Mbit/s", "1 Gbit/s", "2,5 Gbit/s", "10 Gbit/s", "–", "–"]);
  assert.deepEqual([100, 1000, 2500, 0, null].map(speedSign), ["100M", "1G", "2,5G", "", ""]);
  const rows: [number | null, string][] = [
    [null, "–"], [0, "0 bit/s"], [812.4, "812 bit/s"], [999.9, "1,0 kbit/s"], [12_400, "12 kbit/s"], [9_940_000, "9,9 Mbit/s"], [9_960_000, "10 Mbit/s"],
    [999_600_000, "1,0 Gbit/s"], [40e9, "40 Gbit/s"], [4e12, "4000 Gbit/s"], [-1, "–"],
  ];
  for (const [rate, text] of rows) assert.equal(bitRate(rate), text, String(rate));
});

const none: ReadonlySet<string> = new Set();

test("a port is connected, not connected, switched off or failed", () => {
  const state = (more: object, failed = none) => portState(ports(["1"], more)[0]!, failed);
  assert.deepEqual([state({}), state({ up: false }), state({ up: false, admin: false }), state({ admin: false })], ["up", "down", "off", "up"]);
  assert.deepEqual([state({ up: false }, new Set(["1"])), state({ up: false, admin: false }, new Set(["1"])), state({}, new Set(["1"]))], ["failed", "failed", "up"]);
  assert.deepEqual([true, false, null].map(poeText), ["liefert Strom", "liefert nicht", "–"]);
});

test("ports stand in blocks of twelve, and another kind in blocks of its own", () => {
  const sizes = (names: string[]) => panelBlocks(ports(names)).map((block) => block.length);
  assert.deepEqual(sizes([...numbered("gi1/0/", 48), ...numbered("te1/0/", 4)]), [12, 12, 12, 12, 4]);
  assert.deepEqual(sizes([...numbered("gi1/0/", 8), ...numbered("gi2/0/", 8)]), [8, 8]);
  assert.deepEqual(sizes(numbered("", 10)), [10]);
  assert.deepEqual(sizes(["a", "b", "c", "d"]), [4]);
  assert.deepEqual(sizes([]), []);
  assert.deepEqual(panelBlocks(ports(numbered("p", 14))).flat(), Array.from({ length: 14 }, (_, at) => at));
});

test("a block is titled where numbers begin anew", () => {
  const titles = (names: string[]) => {
    const all = ports(names);
    const blocks = panelBlocks(all);
    return blocks.map((_, at) => blockTitle(all, blocks, at));
  };
  assert.deepEqual(titles([...numbered("gi1/0/", 24), ...numbered("te1/0/", 4)]), ["gi1/0/", "", "te1/0/"]);
  assert.deepEqual([titles(numbered("p", 24)), titles(["a", "b"]), titles([])], [["", ""], [""], []]);
});

test("a port is numbered by the end of its name, else by its place", () => {
  assert.deepEqual(ports(["gi1/0/24", "Port A", "swp3", "1234"]).map(portNumber), ["24", "2", "3", "234"]);
});

test("arrow keys lead from port to port as they stand and stop at the ends", () => {
  // 0 2 4 | 12 14
  // 1 3 5 | 13
  const blocks = [[0, 1, 2, 3, 4, 5], [12, 13, 14]];
  const rows: [number, string, number | null][] = [
    [0, "ArrowRight", 2], [0, "ArrowLeft", 0], [0, "ArrowDown", 1], [0, "ArrowUp", 0], [1, "ArrowDown", 1], [1, "ArrowUp", 0], [5, "ArrowRight", 13],
    [13, "ArrowRight", 14], [14, "ArrowRight", 14], [14, "ArrowDown", 14], [13, "ArrowLeft", 5], [5, "Home", 0], [0, "End", 14], [0, "a", null], [99, "ArrowLeft", null],
  ];
  for (const [at, key, to] of rows) assert.equal(movedPort(blocks, at, key), to, `${key} at ${at}`);
});

test("who does not see the panel hears all of a port", () => {
  const [port] = ports(["gi1/0/3"], { alias: "FOH", poe: true, neighbor: "Core" });
  assert.equal(portLabel(port!, "up", true, 2), "Port gi1/0/3, FOH, verbunden, 1 Gbit/s, Uplink, PoE liefert Strom, Nachbar Core, Fehler nehmen zu");
  assert.equal(portLabel(ports(["4"], { up: false, speed: 0 })[0]!, "down", false, 0), "Port 4, nicht verbunden");
});

test("a switch out of reach, in alarm or not read says so in that order", () => {
  const rows: [object, string, boolean][] = [
    [{ online: false, state: "alarm", error: "x" }, "nicht erreichbar", true], [{ state: "alarm", error: "x" }, "Alarm", true], [{ error: "x" }, "SNMP-Fehler", true],
    [{ state: "warning" }, "Warnung", false], [{}, "in Ordnung", false], [{ state: "none" }, "noch keine Werte", false],
  ];
  for (const [more, word, silent] of rows) assert.deepEqual([switchMark(oneSwitch(more)).word, isSilentSwitch(oneSwitch(more))], [word, silent]);
});

test("what its sensors find wrong stands first, degrees cut", () => {
  const one = oneSwitch({
    temps: [{ name: "CPU", c: 71.9, hot: true, warm: true }, { name: "PSU", c: 63.9, hot: false, warm: true }, { name: "In", c: 20 }],
    components: [{ name: "Lüfter 1", ok: true, state: "in Ordnung" }, { name: "Lüfter 2", ok: false, state: "ausgefallen" }, { name: "Netzteil", ok: false, state: "" }],
  });
  assert.deepEqual(notices(one, []).map((notice) => `${notice.severity} ${notice.text}`), [
    "alarm Lüfter 2 ausgefallen", "alarm Netzteil gestört", "alarm Temperatur CPU 71 °C", "warning Temperatur PSU 63 °C – nahe der Grenze",
  ]);
});

test("a line sums up a switch and leads to it", () => {
  const line = switchLine(oneSwitch({ model: "GigaCore", software: "1.5", temps: [{ name: "a", c: 41.9 }, { name: "b", c: 30 }], poe: { budget: 370, used: 181.9 }, ports: [{ up: true }, {}] }));
  assert.deepEqual([line.note, line.figures, line.link], ["10.0.0.1 · GigaCore · 1.5", "1 von 2 Ports · 41 °C · PoE 181 W", "#/switch/s"]);
  assert.deepEqual([switchLine(oneSwitch({ error: "Zeitüberschreitung" })).note, switchLine(oneSwitch({})).figures], ["Zeitüberschreitung", ""]);
});

test("a port has failed when the network's problems say so of this switch and it is not back yet", () => {
  const one = oneSwitch({ ports: [{ name: "1" }, { name: "2" }, { name: "12", up: true }] });
  const { problems: standing } = readNetwork({ problems: [
    { text: "Core: Port 1 ist ausgefallen" }, { text: "Core: Port 12 ist ausgefallen" }, { text: "Andere: Port 2 ist ausgefallen" }, { text: "Core: CPU 71 °C" },
  ] });
  assert.deepEqual(failedPorts(standing, one), ["1"]);
  assert.deepEqual(notices(one, ["1"]).map((notice) => notice.text), ["Port 1 ist ausgefallen"]);
});

test("a link names a switch by id or by address", () => {
  const { switches } = detail({ switches: [{ id: "a", ip: "10.0.0.1", name: "x" }, { id: "b", ip: "10.0.0.1", name: "y" }] });
  assert.deepEqual(["b", "10.0.0.1", "y", "z"].map((name) => findSwitch(switches, name)?.id ?? null), ["b", "a", "b", null]);
});

const mapSwitch = (name: string, more: object = {}) => ({ name, ip: `ip ${name}`, online: true, ports: [{ name: "1", up: true }], ...more });
const mapOf = (more: object) => detail({ map: more }).map;
const tree = mapOf({
  switches: ["Core", "A", "B", "A1"].map((name) => mapSwitch(name)),
  links: [
    { a: "A", aPort: "24", b: "Core", bPort: "1" }, { a: "Core", aPort: "2", b: "B", bPort: "24" }, { a: "Core", aPort: "3", b: "B", bPort: "23" },
    { a: "A", aPort: "5", b: "A1", bPort: "?" }, { a: "B", aPort: "9", b: "?", bPort: "?" }, { a: "A", aPort: "1", b: "A", bPort: "2" },
  ],
  levels: [["Core"], ["A", "B"], ["A1", "gone"]],
});

test("links join what is on the map, once for several cables, and lead downwards", () => {
  const made = plan(tree);
  assert.deepEqual(made.levels, [[0], [1, 2], [3]]);
  assert.deepEqual(made.edges.map((edge) => [edge.a, edge.b, edge.ports.length]), [[0, 1, 1], [0, 2, 2], [1, 3, 1]]);
  assert.deepEqual([0, 1, 2, 3].map((index) => hangsOn(index, made, tree.switches)), ["", "an Core · 1", "an Core · 2 +1", "an A · 5"]);
});

test("switches stand in the order of those they hang on", () => {
  const map = mapOf({
    switches: ["Core", "A", "B", "a1", "b1", "a2", "x"].map((name) => mapSwitch(name)),
    links: [["Core", "A"], ["Core", "B"], ["B", "b1"], ["a1", "A"], ["A", "a2"]].map(([a, b]) => ({ a, b })),
    levels: [["Core"], ["A", "B"], ["x", "b1", "a1", "a2"]],
  });
  assert.deepEqual(plan(map).levels.map((level) => level.map((index) => map.switches[index]!.name)), [["Core"], ["A", "B"], ["a1", "a2", "b1", "x"]]);
});

test("switches of one name and such without a level have their places all the same", () => {
  const made = plan(mapOf({ switches: [mapSwitch("S"), mapSwitch("S"), mapSwitch("T"), mapSwitch("")], levels: [["S"], ["S"]] }));
  assert.deepEqual(made.levels, [[0], [1], [2, 3]]);
});

test("a phone has two switches beside each other; none lies over another or outside, and no line runs through one", () => {
  const switches = Array.from({ length: 20 }, (_, index) => mapSwitch(`S${index}`));
  const parent = (index: number) => (index <= 4 ? 0 : 1 + ((index - 5) % 4));
  const map = mapOf({
    switches,
    links: [...switches.slice(1).map((one, at) => ({ a: `S${parent(at + 1)}`, b: one.name })), { a: "S3", b: "S4" }, { a: "S19", b: "S5" }],
    levels: [["S0"], ["S1", "S2", "S3", "S4"], switches.slice(5).map((one) => one.name)],
  });
  for (const width of [328, 358, 700, 1300]) {
    const made = plan(map);
    const { boxes, boxWidth, height, paths } = draw(made, width);
    if (width < 400) assert.equal(new Set(boxes.slice(1).map((box) => box.x)).size, 2);
    assert.equal(boxes.length, 20);
    for (const box of boxes) {
      assert.ok(box.x >= 0 && box.x + boxWidth <= width && box.y + boxHeight <= height, `${box.index} at ${width}`);
      assert.ok(boxWidth >= 140);
      assert.ok(!boxes.some((other) => other !== box && other.y === box.y && Math.abs(other.x - box.x) < boxWidth + 8));
    }
    for (const path of paths) {
      let [x, y] = [0, 0];
      for (const [, letter, first, second] of path.matchAll(/([MHV])([\d.]+)(?: ([\d.]+))?/g)) {
        const from = [x, y] as const;
        if (letter === "M") [x, y] = [Number(first), Number(second)];
        else if (letter === "H") x = Number(first);
        else y = Number(first);
        if (letter === "M") continue;
        const [left, right] = [Math.min(from[0], x), Math.max(from[0], x)];
        const [top, bottom] = [Math.min(from[1], y), Math.max(from[1], y)];
        const struck = boxes.filter((box) => right > box.x && left < box.x + boxWidth && bottom > box.y && top < box.y + boxHeight);
        assert.deepEqual(struck.map((box) => box.index), [], `${path} at ${width}`);
        assert.ok(left >= 0 && right <= width && bottom <= height, `${path} at ${width}`);
      }
    }
  }
});

test("nothing read means no links and no ports anywhere", () => {
  assert.equal(isUnread(mapOf({})), true);
  assert.equal(isUnread(mapOf({ switches: [mapSwitch("A", { ports: [] })], unplaced: [{ mac: "x" }] })), true);
  assert.equal(isUnread(mapOf({ switches: [mapSwitch("A", { ports: [] }), mapSwitch("B")] })), false);
});

test("ports that tell something stand there, uplinks first, and the rest is counted", () => {
  const { switches } = mapOf({ switches: [mapSwitch("A", { ports: [
    { name: "1", attached: [{ mac: "m" }], macCount: 1 }, { name: "2", up: true }, { name: "3", uplink: true, macCount: 40 }, { name: "4", lldp: "Pult" },
  ] })] });
  const { ports: telling, idle } = tellingPorts(switches[0]!);
  assert.deepEqual([telling.map((port) => port.name), idle], [["3", "1", "4"], 1]);
});

test("cables are told from the side of the switch that is looked at", () => {
  assert.deepEqual(linkTexts(tree.links, "B"), ["24 ↔ Core, 2", "23 ↔ Core, 3", "9 ↔ unbekannt"]);
  assert.deepEqual(linkTexts(tree.links, "A1"), ["unbekannter Port ↔ A, 5"]);
});

test("a device is found with the port it hangs on, by all words of the search", () => {
  const map = mapOf({
    switches: [mapSwitch("A", { ports: [{ name: "7", attached: [{ name: "Lichtpult", ip: "10.0.0.9", mac: "00:1D" }, { name: "", ip: null, mac: "AA:BB" }] }] })],
    unplaced: [{ name: "Drucker", ip: "10.0.0.10", mac: "CC" }],
  });
  const found = (search: string) => findAttached(map, search).map((line) => [line.title, line.note]);
  assert.deepEqual(found("pult 10.0"), [["Lichtpult", "A · 7"]]);
  assert.deepEqual(found("aa:bb"), [["AA:BB", "A · 7"]]);
  assert.deepEqual(found("druck"), [["Drucker", "ohne Port-Zuordnung"]]);
  assert.deepEqual([found(" "), found("nichts")], [[], []]);
  assert.equal(summary(map), "1 von 1 Switch erreichbar, 2 Geräte an ihren Ports");
});

test("the map knows which ports of a switch lead on", () => {
  const told = detail({
    switches: [{ id: "a", name: "A", ip: "10.0.0.1" }, { id: "c", name: "C", ip: "10.0.0.3" }],
    map: { switches: [{ name: "B", ip: "10.0.0.1", ports: [{ name: "9", uplink: true }] }, { name: "A", ip: "10.0.0.1", ports: [{ name: "1" }, { name: "2", uplink: true }] }] },
  });
  assert.deepEqual(told.switches.map((one) => [...uplinksOf(told.map, one)]), [["2"], []]);
});

test("addresses are found by all words, and the new ones alone", () => {
  const { addresses } = detail({ addresses: [{ ip: "10.0.0.1", mac: "AA", name: "Pult", interface: "–" }, { ip: "10.0.0.2", mac: "BB", name: "", new: true, interface: "Licht" }] });
  const found = (search: string, onlyNew = false) => filterAddresses(addresses, search, onlyNew).map((one) => one.ip);
  assert.deepEqual([found(""), found("pult 10."), found("licht"), found("", true), found("pult", true)], [["10.0.0.1", "10.0.0.2"], ["10.0.0.1"], ["10.0.0.2"], ["10.0.0.2"], []]);
  assert.deepEqual(addresses.map(addressLine).map((line) => [line.title, line.figures, line.mark?.word ?? null]), [["Pult", "", null], ["10.0.0.2", "Licht", "neu"]]);
});

const ups = (more: object = {}) => readPower({ ups: [{ name: "Rack", source: "Netzbetrieb", charge: 99.9, runtime: 34.6, load: 22.9, online: true, model: "9PX", protocol: "UPS-MIB", ip: "10.0.0.6", ...more }] }).ups[0]!;

test("a UPS tells where its output comes from; what is no mains is no green", () => {
  const rows: [object, string, string][] = [
    [{}, "ok", "Netzbetrieb"], [{ source: "Batteriebetrieb", onBattery: true }, "alarm", "Batteriebetrieb"], [{ source: "Bypass" }, "warning", "Bypass"],
    [{ source: "Ausgang aus" }, "alarm", "Ausgang aus"], [{ source: "unbekannt" }, "quiet", "unbekannt"], [{ source: null }, "quiet", "unbekannt"],
    [{ source: "Boost (Unterspannung)" }, "ok", "Boost (Unterspannung)"],
  ];
  for (const [more, tone, word] of rows) assert.deepEqual([sourceMark(ups(more)).tone, sourceMark(ups(more)).word], [tone, word]);
});

test("a UPS in one line: figures cut, and why they are old", () => {
  const line = upsLine(ups(), 0);
  assert.deepEqual([line.note, line.figures, line.silent, line.link], ["9PX · UPS-MIB · 10.0.0.6", "99 % · noch 34 min · Last 22 %", false, "#/power"]);
  assert.equal(upsLine(ups({ battery: "schwach", charge: null, load: null }), 0).figures, "Batterie schwach · – · noch 34 min");
  assert.deepEqual(["normal", "unbekannt", "", "leer"].map((battery) => batteryTrouble(ups({ battery }))), ["", "", "", "Batterie leer"]);
  const failed = upsLine(ups({ error: "Zeitüberschreitung" }), 0);
  assert.deepEqual([failed.note, failed.silent, failed.figures], ["Keine neuen Werte: Zeitüberschreitung", true, "99 % · noch 34 min · Last 22 %"]);
  assert.deepEqual([silence(ups({ online: false })), silence(ups({ online: null })), upsLine(ups({ local: true }), 0).note], ["nicht erreichbar", "", "9PX · UPS-MIB · an diesem Rechner"]);
});

test("the network lists its UPSs, and a switch among its devices leads to its page", () => {
  const sections = listSections(readNetwork({ devices: [
    { id: "d1", name: "S", ip: "10.0.0.1", role: "Switch", online: true, temp: 41.9, error: "Zeitüberschreitung" }, { name: "T", ip: "10.0.0.2", role: "Switch", online: true },
    { id: "d3", name: "P", ip: "10.0.0.3", role: "Pult", online: true },
  ], ups: [{ name: "Rack" }] }));
  assert.deepEqual(sections.map((section) => section.title), ["Geräte", "USV"]);
  assert.deepEqual(sections[0]!.lines.map((line) => [line.link, line.figures]), [["#/switch/d1", "41 °C · SNMP-Fehler"], ["#/switch/10.0.0.2", ""], [null, ""]]);
});

const event = (text: string, time: number, level: LogEvent["level"] = "alarm"): LogEvent => ({ source: "Strom", text, time, level });

test("a switch's trouble leads to that switch and is dated though the degrees have changed", () => {
  const network = readNetwork({ running: true, devices: [{ id: "d", name: "Truss", ip: "1", role: "Switch" }, { id: "p", name: "Pult", ip: "2", role: "Pult" }], problems: [
    { level: "alarm", text: "Truss: CPU 72 °C" }, { level: "alarm", text: "Truss: Port 3 ist ausgefallen" }, { level: "alarm", text: "Pult: seltsam" }, { level: "alarm", text: "Truss (1) nicht erreichbar" },
  ] });
  const found = problems(readPower({}), network, [event("Truss: Temperatur CPU 70 °C (Grenze 70 °C)", 9), event("Truss: Temperatur CPU wieder normal (60 °C)", 8, "info"),
    event("Truss: Port 3 ist ausgefallen (war: Node)", 6)]);
  assert.deepEqual(found.map((problem) => [problem.what, problem.link, problem.since]), [
    ["Truss: CPU 72 °C", "#/switch/d", 9], ["Truss: Port 3 ist ausgefallen", "#/switch/d", 6], ["Pult: seltsam", "#/network/problems", null], ["Truss (1) nicht erreichbar", "#/network/devices", null],
  ]);
});

test("since when a UPS is on battery is told by its event, also for one at the station itself", () => {
  const on = (name: string, text: string) => problems(readPower({ ups: [{ name, onBattery: true, runtime: 11.9 }] }), null, [event(text, 7)])[0]!;
  const text = "USV läuft auf Batterie – Restlaufzeit 12 min";
  assert.deepEqual([on("Rack", `Rack: ${text}`).since, on("Back", `Back (USB): ${text}`).since, on("Rack", `Andere: ${text}`).since], [7, 7, null]);
  assert.equal(on("Rack", "").what, "auf Batterie – 11 min");
});

test("the end of a switch's or a UPS's trouble counts as well", () => {
  const rows: [string, number | null][] = [
    ["Rack: wieder im Netzbetrieb", 5], ["Truss: Temperatur CPU wieder normal (61 °C)", 5], ["Truss: Lüfter 2 wieder in Ordnung", 5], ["Rack: Bypass beendet", 5],
    ["Rack: Restlaufzeit wieder ausreichend", 5], ["Rack: Auslastung wieder normal", 5], ["Rack: Batteriefehler behoben", 5], ["Rack: Batterietemperatur normal", 5],
    ["Quelle wieder normalerweise da", null],
  ];
  for (const [text, since] of rows) assert.equal(allRightSince([event(text, 5, "info")]), since, text);
});

test("addresses of switches, map and details", () => {
  assert.deepEqual(routeOf(links.switches), { page: "switches", switch: null });
  assert.deepEqual(routeOf(links.switch("10.0.0.1")), { page: "switches", switch: "10.0.0.1" });
  assert.deepEqual(routeOf(links.switch("a/b ü")), { page: "switches", switch: "a/b ü" });
  assert.deepEqual([routeOf(links.map), routeOf(links.netdetail)], [{ page: "map" }, { page: "netdetail" }]);
});
