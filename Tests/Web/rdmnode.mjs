// An Art-Net node with RDM devices behind it, and a console, on loopback (Art-Net 4; ANSI E1.20).
import { createSocket } from "node:dgram";

const artNetPort = 6454;
const op = { pollReply: 0x2100, dmx: 0x5000, todRequest: 0x8000, todData: 0x8100, rdm: 0x8300 };
const pids = {
  supported: 0x0050, info: 0x0060, model: 0x0080, manufacturer: 0x0081, label: 0x0082, factory: 0x0090, software: 0x00c0, personality: 0x00e0,
  personalityDescription: 0x00e1, address: 0x00f0, sensor: 0x0200, sensorValue: 0x0201, hours: 0x0400, lampHours: 0x0401, identify: 0x1000,
};
const nack = { unknown: 0, outOfRange: 6 };

function packet(code, size) {
  const made = Buffer.alloc(size);
  made.write("Art-Net\0", 0, "latin1");
  made.writeUInt16LE(code, 8);
  made[11] = 14;
  return made;
}

const big16 = (...values) => Buffer.from(values.flatMap((value) => [(value >> 8) & 255, value & 255]));
const big32 = (value) => big16(value >>> 16, value & 0xffff);

/** What a device answers to a parameter: its data, or the number of a reason against it. */
function answerOf(device, isSet, pid, data) {
  const { modes } = device;
  if (isSet)
    switch (pid) {
      case pids.identify:
        device.identify = data[0] === 1;
        return Buffer.alloc(0);
      case pids.address: {
        const wanted = data.readUInt16BE(0);
        if (wanted > 512 - modes[device.mode - 1].footprint + 1) return nack.outOfRange;
        device.address = wanted;
        return Buffer.alloc(0);
      }
      case pids.personality:
        if (!modes[data[0] - 1]) return nack.outOfRange;
        device.mode = data[0];
        return Buffer.alloc(0);
      default:
        return nack.unknown;
    }
  switch (pid) {
    case pids.supported:
      return big16(pids.label, pids.factory, pids.personality, pids.personalityDescription, pids.identify, pids.hours, pids.lampHours);
    case pids.info:
      return Buffer.concat([
        big16(0x0100, 0x0101, 0x0101), big32(0x01080000), big16(modes[device.mode - 1].footprint), Buffer.from([device.mode, modes.length]),
        big16(device.address, 0), Buffer.from([device.sensors.length]),
      ]);
    case pids.model:
      return Buffer.from(device.model);
    case pids.manufacturer:
      return Buffer.from("Beispiel");
    case pids.label:
      return Buffer.from(device.label);
    case pids.software:
      return Buffer.from("1.8.0");
    case pids.factory:
      return Buffer.from([1]);
    case pids.personality:
      return Buffer.from([device.mode, modes.length]);
    case pids.personalityDescription: {
      const mode = modes[data[0] - 1];
      return mode ? Buffer.concat([data.subarray(0, 1), big16(mode.footprint), Buffer.from(mode.name)]) : nack.outOfRange;
    }
    case pids.sensor: {
      const sensor = device.sensors[data[0]];
      // A temperature in °C, whose range and normal range follow.
      return sensor ? Buffer.concat([Buffer.from([data[0], 0, 1, 0]), big16(0, 150, 0, sensor.max), Buffer.from([0]), Buffer.from(sensor.name)]) : nack.outOfRange;
    }
    case pids.sensorValue: {
      const sensor = device.sensors[data[0]];
      return sensor ? Buffer.concat([data.subarray(0, 1), big16(sensor.value, 0, 0, 0)]) : nack.outOfRange;
    }
    case pids.hours:
      return big32(1234);
    case pids.lampHours:
      return big32(567);
    case pids.identify:
      return Buffer.from([device.identify ? 1 : 0]);
    default:
      return nack.unknown;
  }
}

/** The response to a frame without its start code; null when no device here is meant. */
function respond(devices, frame) {
  const device = devices.find((one) => one.uid.equals(frame.subarray(2, 8)) && !one.silent);
  if (!device) return null;
  const [command, pid] = [frame[19], frame.readUInt16BE(20)];
  const said = answerOf(device, command === 0x30, pid, frame.subarray(23, 23 + frame[22]));
  const refused = typeof said === "number";
  const data = refused ? big16(said) : said;
  const head = Buffer.from([1, 24 + data.length]);
  const body = Buffer.concat([
    head, frame.subarray(8, 14), device.uid, Buffer.from([frame[14], refused ? 2 : 0, 0, 0, 0, command + 1]), big16(pid), Buffer.from([data.length]), data,
  ]);
  return Buffer.concat([body, big16([...body].reduce((sum, one) => sum + one, 0xcc))]);
}

/**
 * A node that puts out the universes from 0 on. It tells of itself as long as it runs; `levels` has what was sent to it last, by universe.
 * @param devices `{ uid: Buffer, model, label, address, mode, modes: [{ name, footprint }], sensors: [{ name, value, max }] }`, all on universe 0
 */
export async function startNode(devices, { address = "127.0.0.2", universes = 4, station = "127.0.0.1" } = {}) {
  const socket = createSocket({ type: "udp4", reuseAddr: true });
  const levels = new Map();
  let frames = 0;
  socket.on("message", (message, from) => {
    if (message.length < 14 || message.toString("latin1", 0, 7) !== "Art-Net") return;
    switch (message.readUInt16LE(8)) {
      case op.dmx:
        frames += 1;
        levels.set(message.readUInt16LE(14), message.subarray(18));
        break;
      case op.todRequest: {
        if (message[24] !== 0) break;
        const told = packet(op.todData, 28 + 6 * devices.length);
        told[12] = told[13] = 1;
        told[25] = told[27] = devices.length;
        devices.forEach((device, index) => device.uid.copy(told, 28 + 6 * index));
        socket.send(told, from.port, from.address);
        break;
      }
      case op.rdm: {
        const response = respond(devices, message.subarray(24));
        if (!response) break;
        const told = Buffer.concat([packet(op.rdm, 24), response]);
        told[12] = 1;
        told[23] = message[23];
        socket.send(told, from.port, from.address);
        break;
      }
    }
  });
  await new Promise((done, fail) => socket.once("error", fail).bind(artNetPort, address, done));
  const reply = () => {
    for (let bind = 0; bind * 4 < universes; bind += 1) {
      const told = packet(op.pollReply, 239);
      told.set(address.split(".").map(Number), 10);
      told.writeUInt16LE(artNetPort, 14);
      told.write("Node im Versuch", 26, "latin1");
      told.write("Node im Versuch", 44, "latin1");
      const ports = Math.min(4, universes - bind * 4);
      told[173] = ports;
      told[19] = (bind * 4) >> 4;
      for (let port = 0; port < ports; port += 1) {
        told[174 + port] = told[182 + port] = 0x80;
        told[190 + port] = (bind * 4 + port) & 15;
      }
      told.set(address.split(".").map(Number), 207);
      told[211] = bind + 1;
      socket.send(told, artNetPort, station);
    }
  };
  reply();
  const timer = setInterval(reply, 1000);
  return {
    levels,
    frames: () => frames,
    stop: () => new Promise((done) => (clearInterval(timer), socket.close(done))),
  };
}

/** A console that sends one universe as Art-Net, 40 times a second. */
export async function startConsole(universe, { address = "127.0.0.3", station = "127.0.0.1" } = {}) {
  const socket = createSocket("udp4");
  await new Promise((done) => socket.bind(0, address, done));
  let sequence = 0;
  const timer = setInterval(() => {
    const told = packet(op.dmx, 18 + 512);
    told[12] = sequence = (sequence % 255) + 1;
    told.writeUInt16LE(universe, 14);
    told.writeUInt16BE(512, 16);
    socket.send(told, artNetPort, station);
  }, 25);
  return { stop: () => new Promise((done) => (clearInterval(timer), socket.close(done))) };
}
