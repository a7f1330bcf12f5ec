// A station made of arithmetic, for development and the browser test: serves the built app and answers the interface with values
// that change, and with faults that can be switched on. node tests/mockserver.mjs FOLDER [PORT]
import { createServer } from "node:http";
import { readFile } from "node:fs/promises";
import { extname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { makeNetDetail } from "./mocknetdetail.mjs";
import { healthyNetwork, hostileNames, makeNetwork } from "./mocknetwork.mjs";

const types = {
  ".html": "text/html; charset=utf-8",
  ".js": "text/javascript; charset=utf-8",
  ".css": "text/css; charset=utf-8",
  ".json": "application/json; charset=utf-8",
  ".webmanifest": "application/manifest+json",
  ".png": "image/png",
  ".svg": "image/svg+xml",
};
const policy = "default-src 'self'; img-src 'self' data:; style-src 'self' 'unsafe-inline'; script-src 'self'; connect-src 'self'";

const seconds = () => Date.now() / 1000;
const round = (value, decimals = 3) => Number(value.toFixed(decimals));
const comma = (value, decimals) => value.toFixed(decimals).replace(".", ",");

const allMeters = [
  { id: "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A01", name: "Hauptverteilung Bühne", load: 62000 },
  { id: "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A02", name: "Licht links", load: 18400 },
  { id: "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A03", name: "Ton FOH", load: 3150 },
  { id: "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A04", name: "Catering", load: 740 },
];

/** A slow swell and a quick ripple: enough to see that values live. */
function wave(meter, phase, time) {
  return 1 + 0.08 * Math.sin(time / 17 + meter + phase) + 0.015 * Math.sin(time * 2.3 + phase * 2);
}

function reading(index, time) {
  const meter = allMeters[index];
  const pPhase = [0, 1, 2].map((phase) => (meter.load / 3) * wave(index, phase, time) * [1.1, 1, 0.9][phase]);
  const u = [0, 1, 2].map((phase) => 230 + 1.4 * Math.sin(time / 11 + phase * 2 + index));
  const i = pPhase.map((p, phase) => p / u[phase] / 0.94);
  const p = pPhase[0] + pPhase[1] + pPhase[2];
  return { p, pPhase, u, i, in: Math.max(...i) - Math.min(...i), f: 50 + 0.018 * Math.sin(time / 7) };
}

/** @typedef {{ meters: number, alarm: boolean, warning: boolean, failed: boolean, off: boolean, empty: boolean, ups: boolean, onBattery: boolean, upsError: boolean, batteryLow: boolean, pin: string, events: number, delay: number, recording: boolean, httpsURL: string | null }} Faults */

export function makeStation(root) {
  /** @type {Faults} */
  const healthy = {
    meters: 4, alarm: false, warning: false, failed: false, off: false, empty: false, ups: true, onBattery: false, upsError: false, batteryLow: false,
    pin: "4711", events: 40, delay: 0, recording: true, httpsURL: null,
  };
  const faults = { ...healthy };
  /** Faults of the network. */
  const net = { ...healthyNetwork };
  const show = makeNetwork(net, seconds);
  const { netdetail } = makeNetDetail(net, seconds);
  /** How often it was asked for; `broken` answers as a proxy in front of a stopped station would. */
  const asked = { network: 0, dmx: 0, netdetail: 0, broken: false };
  const began = seconds();
  const attempts = [];
  const raised = [];
  const requests = { open: 0, most: 0 };
  const token = "0123456789abcdef".repeat(4);

  function alarmsOf(index) {
    const alarms = [];
    if (index === 0 && faults.alarm) alarms.push({ text: "Strom L1 > 63,00 A", severity: "alarm" });
    if (index === 1 && faults.warning) alarms.push({ text: "N-Leiterstrom > 20,00 A", severity: "warning" });
    if (index === 2 && faults.failed) alarms.push({ text: "Kommunikationsausfall", severity: "alarm" });
    return alarms;
  }

  function statusOf(index) {
    if (index === 2 && faults.failed) return "Fehler: Zeitüberschreitung";
    if (index === 3 && faults.off) return "getrennt";
    return "verbunden";
  }

  /** Switches a fault and writes its event, as the alarm engine would. */
  function set(name, value) {
    if (faults[name] === value) return;
    faults[name] = value;
    const told = {
      alarm: ["Hauptverteilung Bühne", "alarm", "Strom L1 > 63,00 A – aktuell 98,71 A", "Wieder normal: Strom L1 = 61,02 A"],
      warning: ["Licht links", "warning", "N-Leiterstrom > 20,00 A – aktuell 22,41 A", "Wieder normal: N-Leiterstrom = 17,90 A"],
      onBattery: ["Strom", "alarm", "FOH-Rack: USV läuft auf Batterie – Restlaufzeit 35 min", "FOH-Rack: wieder im Netzbetrieb"],
      failed: ["Ton FOH", "alarm", "Kommunikationsausfall – keine Antwort seit 10 s", "Kommunikation wiederhergestellt"],
    }[name];
    if (told)
      raised.unshift({ time: seconds(), source: told[0], level: value ? told[1] : "info", text: value ? told[2] : told[0] === "Strom" ? told[3] : `Behoben: ${told[3]}` });
  }

  /** The same for the network, with the sentences of its log. */
  function setNet(name, value) {
    if (net[name] === value) return;
    net[name] = value;
    const conflict = "Konflikt auf Art-Net-Universum 1 (0:0:1)";
    const told = {
      conflict: ["alarm", `${conflict}: mehrere Quellen gleicher Priorität (grandMA Pult, Backup-Pult)`, `${conflict} behoben`],
      hot: ["alarm", "Truss-Switch links: Temperatur CPU 70 °C (Grenze 70 °C)", "Truss-Switch links: Temperatur CPU wieder normal (61 °C)"],
      fanFailed: ["alarm", "Truss-Switch links: Lüfter 2 ausgefallen", "Truss-Switch links: Lüfter 2 wieder in Ordnung"],
      portDown: ["alarm", "Truss-Switch links: Port gi1/0/2 ist ausgefallen (war: Node Bühne)", null],
      offline: ["alarm", "Truss-Switch links (10.101.0.21) nicht erreichbar", "Truss-Switch links (10.101.0.21) wieder online nach 12 s"],
    }[name];
    if (told && (value || told[2]))
      raised.unshift({ time: seconds(), source: "Netzwerk", level: value ? told[0] : "info", text: value ? told[1] : told[2] });
  }

  function events() {
    const old = Array.from({ length: faults.events }, (_, index) => {
      const meter = allMeters[index % 3];
      const kinds = [
        ["info", "Behoben: Wieder normal: Spannung L-N L2 = 231,4 V"],
        ["alarm", "Spannung L-N L2 > 253,0 V – aktuell 254,1 V"],
        ["info", "Behoben: Wieder normal: THD Spannung L1 = 6,90 %"],
        ["warning", "THD Spannung L1 > 8,00 % – aktuell 8,74 %"],
      ];
      return { time: began - 700 - index * 431, source: meter.name, level: kinds[index % 4][0], text: kinds[index % 4][1] };
    });
    return [...raised, ...old];
  }

  function ups() {
    if (!faults.ups || faults.empty) return [];
    const { onBattery } = faults;
    return [
      {
        name: net.hostile ? hostileNames[0] : "FOH-Rack", ip: "10.101.0.60", online: true, source: onBattery ? "Batteriebetrieb" : "Netzbetrieb",
        charge: onBattery ? 81.6 : 100, runtime: 34.6, load: 22, onBattery, error: faults.upsError ? "Zeitüberschreitung" : null,
        protocol: "UPS-MIB (RFC 1628)", model: "Eaton 9PX 3000", local: false, battery: "normal",
      },
      {
        name: "Rechner am FOH", ip: "", online: null, source: "unbekannt", charge: null, runtime: null, load: null, onBattery: false, error: null,
        protocol: "NUT", model: "Back-UPS 700", local: true, battery: faults.batteryLow ? "schwach" : "unbekannt",
      },
    ];
  }

  function power() {
    const now = seconds();
    const devices = Array.from({ length: faults.empty ? 0 : faults.meters }, (_, place) => {
      const index = place % allMeters.length;
      const status = statusOf(place);
      const value = reading(index, now);
      const there = status === "verbunden";
      const dark = [null, null, null];
      const copy = place >= allMeters.length;
      return {
        id: copy ? allMeters[index].id.replace(/..$/, String(place).padStart(2, "0")) : allMeters[index].id,
        name: copy ? `Unterverteilung ${place + 1}` : allMeters[index].name,
        status,
        p: there ? round(value.p) : null,
        s: there ? round(value.p / 0.94) : null,
        q: there ? round(value.p * 0.36) : null,
        f: there ? round(value.f) : null,
        energy: 184_000 + index * 61_000 + (now - began) * 9,
        u: there ? value.u.map((x) => round(x)) : dark,
        ull: there ? value.u.map((x) => round(x * 1.732)) : dark,
        i: there ? value.i.map((x) => round(x)) : dark,
        in: there ? round(value.in) : null,
        pPhase: there ? value.pPhase.map((x) => round(x)) : dark,
        star: 0.4, starPct: 0.17, starComputed: true, unbalance: 0.6, thdU: [1.9, 2.1, 2.0],
        iMax: there ? round(Math.max(...value.i)) : null,
        min: { u: [228, 228.2, 228.1], i: [0, 0, 0], p: 12, f: 49.97 },
        max: { u: [232, 232.1, 231.8], i: value.i.map((x) => x * 1.2), p: allMeters[index].load * 1.31, f: 50.03 },
        alarms: alarmsOf(place),
        meters: [],
        planned: index === 0 ? 80000 : null,
        trend: Array.from({ length: 180 }, (_, point) => round(reading(index, now - (180 - point) * 2).p, 1)),
      };
    });
    const known = devices.map((device) => device.p).filter((p) => p !== null);
    return {
      devices,
      ups: ups(),
      totalP: known.length > 0 ? round(known.reduce((sum, p) => sum + p, 0)) : null,
      recording: faults.recording ? { name: "Sommerbühne Tag 2", since: began - 5400 } : null,
    };
  }

  function detail(id) {
    const meter = power().devices.find((device) => device.id === id);
    if (!meter) return null;
    const index = Math.max(0, allMeters.findIndex((known) => known.id === id));
    const now = seconds();
    const there = meter.status === "verbunden";
    const points = Array.from({ length: 180 }, (_, point) => reading(index, now - (180 - point) * 5));
    const gap = (value, point) => (point > 70 && point < 84 ? null : round(value));
    const row = (label, value, unit, decimals, span = 0.02) => ({
      label,
      value: value === null ? "–" : `${comma(value, decimals)} ${unit}`,
      min: value === null ? "–" : `${comma(value * (1 - span), decimals)} ${unit}`,
      max: value === null ? "–" : `${comma(value * (1 + span), decimals)} ${unit}`,
      maxTime: value === null ? null : now - 1234,
    });
    const phases = ["L1", "L2", "L3"];
    return {
      name: meter.name,
      status: meter.status,
      connection: "192.168.10.2" + index + ":502",
      profile: "Janitza UMG",
      lastUpdate: there ? now - 0.4 : now - 95,
      latency: 0.0123,
      minMaxSince: began - 5400,
      p: meter.p,
      i: meter.i,
      trendP: points.map((value, point) => gap(value.p, point)),
      trendI: [0, 1, 2].map((phase) => points.map((value, point) => gap(value.i[phase], point))),
      trendSeconds: 900,
      groups: [
        { name: "Spannung L-N", rows: phases.map((name, phase) => row(name, meter.u[phase], "V", 1, 0.006)) },
        { name: "Spannung L-L", rows: ["L1-L2", "L2-L3", "L3-L1"].map((name, phase) => row(name, meter.ull[phase], "V", 1, 0.006)) },
        { name: "Strom", rows: [...phases.map((name, phase) => row(name, meter.i[phase], "A", 2, 0.2)), row("N (Vektorsumme)", meter.in, "A", 2, 0.5)] },
        { name: "Wirkleistung", rows: [...phases.map((name, phase) => row(name, meter.pPhase[phase] && meter.pPhase[phase] / 1000, "kW", 3, 0.2)), row("Σ", meter.p && meter.p / 1000, "kW", 2, 0.2)] },
        { name: "Netz", rows: [row("Frequenz", meter.f, "Hz", 3, 0.0004), { label: "Drehfeld", value: "rechts", min: "–", max: "–", maxTime: null }] },
        { name: "Wirkenergie bezogen", rows: [row("Σ", meter.energy / 1000, "kWh", 3, 0)] },
        { name: "Symmetrie Spannung", rows: [row("Sternpunktverschiebung U0/U1", 0.17, "%", 2, 0.3), row("Unsymmetrie U2/U1", 0.6, "%", 2, 0.3)] },
        { name: "Crest-Faktor", rows: ["U L1", "U L2", "U L3"].map((name) => row(name, null, "", 3)) },
      ],
      alarms: meter.alarms,
      events: events().filter((event) => event.source === meter.name).map(({ time, text, level }) => ({ time, text, level })),
      meters: index === 0 ? [{ name: "Aufbau", value: 12_300, unit: "Wh", running: true, since: began - 7200 }] : [],
    };
  }

  const authed = (request) => faults.pin !== "" && (request.headers.cookie ?? "").includes(`kestrelyne_session=${token}`);
  const json = (status, body, headers = {}) => ({
    status,
    headers: { "Content-Type": types[".json"], "Cache-Control": "no-store", ...headers },
    body: JSON.stringify(body),
  });

  function api(request, { pathname, searchParams }, body) {
    const [, , route, argument] = pathname.split("/");
    if (request.method === "POST") {
      if (!(request.headers["content-type"] ?? "").includes("application/json")) return json(400, { error: "JSON erwartet" });
      if (route === "login") {
        const now = seconds();
        while (attempts.length > 0 && now - attempts[0] > 60) attempts.shift();
        if (attempts.length > 4) return json(429, { error: "Zu viele Versuche – eine Minute warten" });
        attempts.push(now);
        if (faults.pin === "" || body.pin !== faults.pin) return json(401, { error: "PIN falsch" });
        return json(200, { ok: true }, { "Set-Cookie": `kestrelyne_session=${token}; Path=/; Max-Age=2592000; HttpOnly; SameSite=Strict` });
      }
      if (route === "logout") return json(200, { ok: true }, { "Set-Cookie": "kestrelyne_session=; Path=/; Max-Age=0" });
      return json(404, { error: "unbekannt" });
    }
    switch (route) {
      case "info":
        return json(200, {
          name: "foh-rechner", control: "find", authed: authed(request), pinSet: faults.pin !== "", https: false, httpsURL: faults.httpsURL,
          vapidKey: "", user: "", time: seconds(), version: "0.1.0", build: "1", copyright: "© Brantholme", platform: "macOS",
        });
      case "power":
        return json(200, power());
      case "device": {
        const found = detail(decodeURIComponent(argument ?? ""));
        return found ? json(200, found) : json(404, { error: "Gerät nicht gefunden" });
      }
      case "network":
        asked.network += 1;
        if (asked.broken) return json(502, "Bad Gateway");
        return json(200, faults.empty ? makeNetwork({ ...net, running: false }, seconds).network() : { ...show.network(), ups: ups() });
      case "netdetail":
        asked.netdetail += 1;
        return asked.broken ? json(502, "Bad Gateway") : json(200, netdetail());
      case "dmx": {
        asked.dmx += 1;
        const { status, body: told } = show.dmx(searchParams);
        return json(status, told);
      }
      case "patch":
        // Nothing is patched here: what the rig's pages do is tried against the program.
        return json(200, {
          fixtures: [], total: 0, rdmScan: null, scanning: false, scanProgress: "", writeEnabled: false, overlaps: 0, source: "",
          dmx: { sending: false, mode: "off", text: "", blockedBy: null, proto: "artnet", level: 1, priority: 100, step: 1, universes: [], current: null },
        });
      case "events":
        return json(200, { events: events() });
      default:
        return json(404, { error: "unbekannt" });
    }
  }

  async function file(pathname) {
    const name = pathname === "/" || pathname === "/foh" ? "/index.html" : pathname;
    if (name.includes("..")) return json(400, { error: "ungültiger Pfad" });
    const body = await readFile(join(root, name)).catch(() => null);
    if (!body) return json(404, { error: "nicht gefunden" });
    const extension = extname(name);
    const headers = { "Content-Type": types[extension] ?? "application/octet-stream", "Cache-Control": extension === ".png" ? "max-age=86400" : "no-cache" };
    if (extension === ".html") headers["Content-Security-Policy"] = policy;
    if (name.endsWith("/sw.js")) headers["Service-Worker-Allowed"] = "/";
    return { status: 200, headers, body };
  }

  async function handle(request, response) {
    const url = new URL(request.url, "http://station");
    const { pathname } = url;
    const isApi = pathname.startsWith("/api/");
    if (isApi) requests.most = Math.max(requests.most, (requests.open += 1));
    let text = "";
    for await (const piece of request) text += piece;
    if (isApi && faults.delay > 0) await new Promise((done) => setTimeout(done, faults.delay));
    let body = {};
    try {
      body = JSON.parse(text || "{}");
    } catch {
      // A body that is no JSON counts as empty.
    }
    const answer = isApi ? api(request, url, body) : await file(pathname);
    if (isApi) requests.open -= 1;
    response.writeHead(answer.status, { ...answer.headers, Connection: "close", "X-Content-Type-Options": "nosniff", "Referrer-Policy": "no-referrer" });
    response.end(answer.body);
  }

  let server = null;
  return {
    faults,
    net,
    asked,
    requests,
    set,
    setNet,
    /** Ends all faults. */
    heal() {
      for (const name of Object.keys(healthy)) set(name, healthy[name]);
      for (const name of Object.keys(healthyNetwork)) setNet(name, healthyNetwork[name]);
      asked.broken = false;
    },
    /** Listens, if it does not already; gives the port. */
    async start(port = 0) {
      if (server) return server.address().port;
      server = createServer((request, response) => void handle(request, response));
      await new Promise((done, fail) => server.once("error", fail).listen(port, "127.0.0.1", done));
      return server.address().port;
    },
    async stop() {
      if (!server) return;
      server.closeAllConnections();
      await new Promise((done) => server.close(done));
      server = null;
    },
  };
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const [root, port = "8471", ...on] = process.argv.slice(2);
  if (!root) {
    console.error("usage: node tests/mockserver.mjs FOLDER [PORT] [FAULT…]");
    process.exit(2);
  }
  const station = makeStation(root);
  for (const name of on) (name in station.net ? station.setNet : station.set)(name, true);
  console.log(`http://127.0.0.1:${await station.start(Number(port))}/ – PIN ${station.faults.pin}`);
}
