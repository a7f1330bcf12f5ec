// The show network of the station of arithmetic: universes, nodes, devices and DMX values that change with time.

const hex = (value) => value.toString(16);
const artnetLabel = (number) => `${number} (${number >> 8}:${hex((number >> 4) & 15)}:${hex(number & 15)})`;

/** What a malicious or broken device may call itself. */
export const hostileNames = [
  '<img src=x onerror="document.title=\'hacked\'">',
  "\u202Etxt.exe\u202C abgedreht",
  "Zeile\nzwei\u0000\u0007\u001b[31m",
  "Z\u0351\u036b\u0343\u036a\u0302\u036b\u033d\u034f\u0334\u0319\u0324\u031e\u0349\u035a\u032f\u031e\u0320\u034dalgo",
  "מזרח רמקול",
  "W".repeat(400),
  "",
];

export const healthyNetwork = {
  running: true, universes: 12, conflict: false, tripleConflict: false, lost: false, hostile: false, offline: false, noQuerier: false,
  addressConflict: false, twoMasters: false, dmxSource: true, errors: false, fixtures: false, devices: 6,
  switches: 3, switchPorts: 28, addresses: 40, hot: false, warm: false, fanFailed: false, snmpError: false, portDown: false, errorsGrow: false,
  firstReading: false, mapUnread: false,
};

export function makeNetwork(faults, seconds) {
  const name = (plain, index) => (faults.hostile ? hostileNames[index % hostileNames.length] : plain);
  const consoleIp = "10.101.0.10";

  function universe(index) {
    const proto = index % 2 === 0 ? "Art-Net" : "sACN";
    const number = Math.floor(index / 2) + 1;
    const label = proto === "Art-Net" ? artnetLabel(number) : String(number);
    const idle = index === faults.universes - 1 && index > 0;
    const lost = faults.lost && index === 2;
    const sender = (plain, ip, more) => ({
      name: name(plain, index), ip, fps: lost ? 0 : Number((43.6 + Math.sin(seconds() + index) * 0.4).toFixed(2)), priority: proto === "sACN" ? 100 : null,
      interface: "Licht", active: !lost, ...more,
    });
    const senders = idle ? [] : [sender("grandMA Pult", consoleIp)];
    if (faults.conflict && index === 0) senders.push(sender("Backup-Pult", "10.101.0.11"));
    if (faults.tripleConflict && index === 1) senders.push(sender("Medienserver A", "10.101.0.31"), sender("Medienserver B", "10.101.0.32"));
    const conflict = senders.filter((one) => one.active).length > 1;
    return {
      proto, universe: number, label, status: conflict ? "conflict" : idle ? "none" : lost ? "lost" : "ok", sources: senders.length, senders,
      receivers: index % 3, fixtures: 0, nodeOutput: index % 4 === 0,
    };
  }

  function problems(universes) {
    const list = [];
    if (faults.offline) list.push({ level: "alarm", area: "light", text: "Truss-Switch links (10.101.0.21) nicht erreichbar" });
    for (const one of universes)
      if (one.status === "conflict")
        list.push({
          level: "alarm", area: "light",
          text: one.senders.length === 2
            ? `${one.proto} ${one.label}: Konflikt ${one.senders[0].name} ↔ ${one.senders[1].name}`
            : `${one.senders.length} Quellen gleicher Priorität (${one.label})`,
        });
    if (faults.hot) list.push({ level: "warning", area: "light", text: "Truss-Switch links: CPU 71 °C" });
    if (faults.fanFailed) list.push({ level: "warning", area: "light", text: "Truss-Switch links: Lüfter 2 ausgefallen" });
    if (faults.portDown) list.push({ level: "warning", area: "light", text: "Truss-Switch links: Port gi1/0/2 ist ausgefallen" });
    if (faults.twoMasters) list.push({ level: "alarm", area: "light", text: "PTPv2 · Domäne 0: mehrere Grandmaster" });
    if (faults.noQuerier) list.push({ level: "warning", area: "light", text: "Kein IGMP-Querier auf Licht" });
    return list;
  }

  function network() {
    if (!faults.running)
      return {
        running: false, online: 0, total: 0, nodes: 0, universes: 0, nodeList: [], universeList: [], devices: [], ups: [], maNet: [], ptp: [],
        timecode: [], controllers: [], problems: [], conflicts: [], errors: [], interfaces: [], igmp: [], health: { dropped: 0, refused: 0 },
      };
    const time = seconds();
    const universeList = Array.from({ length: faults.universes }, (_, index) => universe(index));
    const roles = ["Switch", "Node", "Pult", "Medienserver", "Audio / Dante", "Sonstiges"];
    const devices = Array.from({ length: faults.devices }, (_, index) => ({
      name: name(["Truss-Switch links", "Node Bühne", "Lichtpult", "Server A", "Stagebox", "Rekorder"][index % 6], index), ip: `10.101.0.${21 + index}`,
      id: index === 0 ? "switch-1" : `device-${index}`, error: faults.snmpError && index === 0 ? "Zeitüberschreitung" : null,
      role: roles[index % 6], online: faults.offline && index === 0 ? false : index === 5 ? null : true,
      latency: faults.offline && index === 0 ? null : 0.0004 + index * 0.003, temp: index === 0 ? 41.4 : null,
    }));
    const nodeList = [1, 2, 3].map((index) => ({
      name: name(`Node Truss ${index}`, index), ip: `10.101.1.${index}`, outputs: [artnetLabel(index * 2 - 1), artnetLabel(index * 2)].join(", "),
      age: index === 3 ? 412.6 : (time % 3) + 0.2, interface: "Licht",
    }));
    const grandmaster = name("Stagebox", 1);
    const frame = Math.floor(time * 25);
    const two = (value) => String(value).padStart(2, "0");
    return {
      running: true,
      online: devices.filter((one) => one.online).length, total: devices.length, nodes: nodeList.length, universes: universeList.length,
      nodeList, universeList, devices, ups: [],
      maNet: [{ ip: consoleIp, name: name("Lichtpult", 0), version: "MA-Net3", rate: 61.4, channels: ["225.1.1.1"], versions: ["2.1.1.5"] }],
      ptp: [{
        label: "PTPv2 · Domäne 0", version: 2, grandmaster, conflict: faults.twoMasters,
        clocks: [{ sender: "001dc1fffe123456", name: grandmaster, grandmaster: "001dc1fffe123456", priority1: 128, priority2: 128, clockClass: 248, stratum: null, stepsRemoved: 0, rate: 1, interface: "Audio", age: (time % 1) + 0.1 }],
      }],
      timecode: [{ name: "Lichtpult", ip: consoleIp, tc: `${two(Math.floor(frame / 90_000) % 24)}:${two(Math.floor(frame / 1500) % 60)}:${two(Math.floor(frame / 25) % 60)}:${two(frame % 25)}`, fps: "EBU (25)", running: true }],
      controllers: [{ name: name("Lichtpult", 0), ip: consoleIp, interface: "Licht", age: (time % 2.8) + 0.1, subscribed: true }],
      problems: problems(universeList),
      conflicts: faults.addressConflict ? [{ ip: "10.101.0.77", macs: ["00:1D:C1:12:34:56", "00:1D:C1:65:43:21"], since: time - 40 }] : [],
      errors: faults.errors ? ["Art-Net: Port 6454 ist belegt"] : [],
      interfaces: [
        { device: "enp1s0", name: "Licht", subnet: "10.101.0.2/16", role: "Licht", active: true },
        { device: "enp2s0", name: "Audio", subnet: "192.168.1.2/24", role: "Audio", active: true },
        { device: "wlp3s0", name: "WLAN", subnet: "192.168.8.20/24", role: "", active: false },
      ],
      igmp: [
        { interface: "enp1s0", name: "Licht", error: "", queriers: faults.noQuerier ? [] : [{ ip: "10.101.0.1", name: "Core-Switch", version: 2, age: time % 125 }] },
        { interface: "enp2s0", name: "Audio", error: "Keine Rechte zum Mitschneiden", queriers: [] },
      ],
      health: { dropped: faults.errors ? 12 : 0, refused: 0 },
    };
  }

  /** A chase over the first channels, a slow fade on every tenth, and the rest still. */
  function values(shift) {
    const time = seconds();
    return Array.from({ length: 512 }, (_, index) => {
      if (index < 24) return Math.floor(time * 4 + shift) % 24 === index ? 255 : 0;
      if (index % 10 === 0) return Math.round(127.5 + 127.5 * Math.sin(time + index / 40 + shift));
      return index % 7 === 0 ? 128 : 0;
    });
  }

  function dmx(query) {
    const [proto, number, ...more] = (query.get("u") ?? "").split(":");
    if (more.length > 0 || !/^\d+$/.test(number ?? "")) return { status: 400, body: { error: "Universum fehlt" } };
    if (!faults.running) return { status: 503, body: { error: "Netzwerk nicht bereit" } };
    const found = network().universeList.find((one) => one.proto === proto && one.universe === Number(number));
    const senders = found && faults.dmxSource ? found.senders : [];
    const sources = senders.map((sender) => ({ id: sender.ip, name: sender.name, ip: sender.ip, priority: sender.priority, active: sender.active }));
    const source = sources.find((one) => one.id === query.get("src")) ?? sources.find((one) => one.active) ?? sources[0];
    return {
      status: 200,
      body: {
        label: `${proto} ${found?.label ?? number}`, sources, source: source?.id ?? null, data: source ? values(sources.indexOf(source) * 5) : [],
        fixtures: faults.fixtures ? [{ fid: "101", name: "Spot links", type: "Spot 16-Kanal", start: 1, footprint: 16, data: [] }, { fid: "7", name: "Dimmer", type: "Dimmer", start: 21, footprint: 1, data: [] }] : [],
        nodeOutput: found?.nodeOutput ?? false,
      },
    };
  }

  return { network, dmx };
}
