// Switches, their map, addresses, queriers and services of the station of arithmetic: a tree of switches whose rates change with time.
import { hostileNames } from "./mocknetwork.mjs";

const names = ["Core-Switch", "Truss-Switch links", "Truss-Switch rechts", "FOH-Switch", "Dimmerstadt", "Monitorplatz"];
const devices = ["Node Bühne", "Lichtpult", "Medienserver", "Stagebox", "Intercom", "Kamera", "LED-Prozessor"];
const round = (value) => Number(value.toFixed(1));
const two = (value) => value.toString(16).toUpperCase().padStart(2, "0");

/** Under which a switch hangs: four under the root, the others under those. */
const above = (index) => (index <= 4 ? 0 : 1 + ((index - 5) % 4));
const depth = (index) => (index === 0 ? 0 : 1 + depth(above(index)));

export function makeNetDetail(faults, seconds) {
  const began = seconds();
  const named = (plain, index) => (faults.hostile ? hostileNames[index % hostileNames.length] : plain);
  const nameOf = (index) => named(names[index] ?? `Switch ${index + 1}`, index);
  const ipOf = (index) => `10.101.0.${index === 0 ? 1 : 20 + index}`;
  const copper = () => Math.max(1, faults.switchPorts - 4);
  const portName = (at) => (at < copper() ? `gi1/0/${at + 1}` : `te1/0/${at - copper() + 1}`);
  const children = (index) => Array.from({ length: faults.switches }, (_, one) => one).filter((one) => one > 0 && above(one) === index);
  /** The port towards the root is the last one; those downwards are the first of the fast ones, then copper. */
  const upPort = () => faults.switchPorts - 1;
  const downPort = (index) => {
    const place = children(above(index)).indexOf(index);
    return place < 3 ? copper() + place : place - 3;
  };
  const neighborAt = (index, at) => {
    if (index > 0 && at === upPort()) return above(index);
    return children(index).find((one) => downPort(one) === at) ?? null;
  };
  const connected = (index, at) => neighborAt(index, at) !== null || (at < copper() && (at * 7 + index) % 3 !== 0 && !(faults.portDown && index === 1 && at === 1));

  function port(index, at, time) {
    const up = connected(index, at);
    const off = !up && at % 11 === 6;
    const fast = at >= copper();
    const neighbor = neighborAt(index, at);
    const load = up ? (fast ? 3e8 : 4e6) * (1 + 0.5 * Math.sin(time / 9 + at + index)) : 0;
    return {
      name: portName(at), alias: named(at === 1 ? "Multicore Bühne" : "", at), up, admin: !off,
      speed: up ? (fast ? 10_000 : at === 4 ? 100 : 1000) : 0,
      errors: at === 4 ? 17 + (faults.errorsGrow ? Math.floor(time - began) : 0) : 0,
      poe: fast ? null : at < 8 ? up : at < 16 ? false : null,
      neighbor: neighbor === null ? null : nameOf(neighbor), inBps: faults.firstReading ? null : round(load), outBps: faults.firstReading ? null : round(load / 5),
    };
  }

  function oneSwitch(index, time) {
    const failing = faults.snmpError && index === 1;
    const down = faults.portDown && index === 1;
    const hot = faults.hot && index === 1;
    const fan = faults.fanFailed && index === 1;
    const warm = faults.warm && index === 2;
    return {
      id: `switch-${index}`, name: nameOf(index), ip: ipOf(index), online: faults.offline && index === 1 ? false : true,
      error: failing ? named("Zeitüberschreitung", 0) : null, state: hot || fan || down ? "alarm" : warm ? "warning" : "ok",
      model: named("Luminex GigaCore 30i", 0), software: named("1.5.2", 1), serial: `LX${1000 + index}`, uptime: 1_036_800 + time - began,
      temps: [
        { name: named("CPU", 2), c: hot ? 71.8 : warm ? 63.2 : 41.4 + index * 0.3, hot, warm: hot || warm },
        { name: named("Netzteil", 3), c: 36.2, hot: false, warm: false },
      ],
      components: [
        { name: named("Lüfter 1", 4), ok: true, state: "in Ordnung" },
        { name: named("Lüfter 2", 5), ok: !fan, state: fan ? "ausgefallen" : "in Ordnung" },
        { name: "Netzteil 1", ok: true, state: "in Ordnung" },
      ],
      cpu: round(12 + 4 * Math.sin(time / 5 + index)), poe: { budget: 370, used: round(180 + 6 * Math.sin(time / 11 + index)) },
      ports: Array.from({ length: faults.switchPorts }, (_, at) => port(index, at, time)),
      custom: [{ name: named("Uhrzeit am Gerät", 0), value: named("21:14:03", 1) }],
    };
  }

  function attachedAt(index, at) {
    if (!connected(index, at) || neighborAt(index, at) !== null) return [];
    const number = index * 64 + at;
    return [{ name: named(`${devices[number % devices.length]} ${number}`, number), ip: at % 5 === 0 ? null : `10.101.${2 + index}.${at + 1}`, mac: `00:1D:C1:00:${two(index)}:${two(at)}` }];
  }

  function map() {
    const all = Array.from({ length: faults.switches }, (_, index) => index);
    return {
      switches: all.map((index) => ({
        name: nameOf(index), ip: ipOf(index), online: faults.offline && index === 1 ? false : true,
        ports: faults.mapUnread ? [] : Array.from({ length: faults.switchPorts }, (_, at) => {
          const neighbor = neighborAt(index, at);
          const attached = attachedAt(index, at);
          return { name: portName(at), up: connected(index, at), uplink: neighbor !== null, lldp: neighbor === null ? null : nameOf(neighbor), macCount: neighbor === null ? attached.length : 40, attached };
        }),
      })),
      links: faults.mapUnread ? [] : all.slice(1).map((index) => ({ a: nameOf(above(index)), aPort: portName(downPort(index)), b: nameOf(index), bPort: index === 2 ? "?" : portName(upPort()) })),
      levels: [0, 1, 2].map((level) => all.filter((index) => depth(index) === level).map(nameOf)).filter((level) => level.length > 0),
      unplaced: [{ name: named("Funkstrecke", 0), ip: "10.101.0.90", mac: "00:1D:C1:AA:00:01" }, { name: named("Drucker", 1), ip: "10.101.0.91", mac: "00:1D:C1:AA:00:02" }],
    };
  }

  function netdetail() {
    const time = seconds();
    const running = faults.running;
    return {
      switches: running ? Array.from({ length: faults.switches }, (_, index) => oneSwitch(index, time)) : [],
      map: running ? map() : { switches: [], links: [], levels: [], unplaced: [] },
      addresses: running ? Array.from({ length: faults.addresses }, (_, index) => ({
        ip: `10.101.${3 + (index >> 8)}.${index & 255}`, mac: `00:1D:C1:10:${two(index >> 8)}:${two(index & 255)}`, name: named(`${devices[index % devices.length]} ${index}`, index),
        interface: "Licht", new: index % 10 === 3, age: index % 40,
      })) : [],
      baseline: running ? Math.floor(began) - 86_400 : null,
      ipConflicts: faults.addressConflict ? [{ ip: "10.101.0.77", macs: ["00:1D:C1:12:34:56", "00:1D:C1:65:43:21"] }] : [],
      igmp: running ? [
        { interface: "enp1s0", name: named("Licht", 2), page: "igmp/enp1s0", queriers: faults.noQuerier ? [] : ["10.101.0.1"], version: faults.noQuerier ? null : 2, age: faults.noQuerier ? null : time % 125, groups: 24, members: 61, missing: faults.noQuerier },
      ] : [],
      services: running ? [{ type: "_http._tcp", name: named("Stagebox", 3), host: "stagebox.local", ips: ["10.101.0.25"] }] : [],
    };
  }

  return { netdetail };
}
