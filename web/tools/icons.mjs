// Draws the app's icons into public/: three arcs, one a phase, around the point that watches them. node tools/icons.mjs
import { writeFile } from "node:fs/promises";
import { deflateSync } from "node:zlib";

const folder = new URL("../public/", import.meta.url);
const ground = [0x0e, 0x11, 0x16];
const arcs = [
  { color: [0xd0, 0x8b, 0x5b], middle: -90 },
  { color: [0xe7, 0xec, 0xf1], middle: 30 },
  { color: [0x8c, 0x9b, 0xab], middle: 150 },
];
const dot = [0x4c, 0xc3, 0x8a];
// In parts of the edge length; everything lies within the circle that a maskable icon keeps.
const radius = 0.27;
const stroke = 0.085;
const half = 41;
const dotRadius = 0.085;

const radians = (degrees) => (degrees * Math.PI) / 180;
const at = (degrees) => [0.5 + radius * Math.cos(radians(degrees)), 0.5 + radius * Math.sin(radians(degrees))];

/** Distance from a point to an arc's middle line. */
function toArc(x, y, middle) {
  const angle = (Math.atan2(y - 0.5, x - 0.5) * 180) / Math.PI;
  const off = ((angle - middle + 540) % 360) - 180;
  if (Math.abs(off) <= half) return Math.abs(Math.hypot(x - 0.5, y - 0.5) - radius);
  const [endX, endY] = at(middle + Math.sign(off) * half);
  return Math.hypot(x - endX, y - endY);
}

function pixels(size) {
  const rows = Buffer.alloc(size * (size * 3 + 1));
  const cover = (distance) => Math.min(1, Math.max(0, 0.5 - distance * size));
  for (let row = 0; row < size; row += 1) {
    for (let column = 0; column < size; column += 1) {
      const x = (column + 0.5) / size;
      const y = (row + 0.5) / size;
      let color = ground;
      const paint = (over, share) => {
        color = color.map((below, channel) => below + (over[channel] - below) * share);
      };
      for (const arc of arcs) paint(arc.color, cover(toArc(x, y, arc.middle) - stroke / 2));
      paint(dot, cover(Math.hypot(x - 0.5, y - 0.5) - dotRadius));
      // Each row begins with its filter: none.
      color.forEach((value, channel) => (rows[row * (size * 3 + 1) + 1 + column * 3 + channel] = Math.round(value)));
    }
  }
  return rows;
}

const table = Array.from({ length: 256 }, (_, index) => {
  let value = index;
  for (let bit = 0; bit < 8; bit += 1) value = value & 1 ? 0xedb88320 ^ (value >>> 1) : value >>> 1;
  return value >>> 0;
});
const crc = (bytes) => (bytes.reduce((sum, byte) => table[(sum ^ byte) & 255] ^ (sum >>> 8), 0xffffffff) ^ 0xffffffff) >>> 0;

/** PNG, 3rd edition, 5.3: length, type, data, checksum. */
function chunk(type, data) {
  const body = Buffer.concat([Buffer.from(type, "latin1"), data]);
  const out = Buffer.alloc(body.length + 8);
  out.writeUInt32BE(data.length, 0);
  body.copy(out, 4);
  out.writeUInt32BE(crc(body), body.length + 4);
  return out;
}

function png(size) {
  const header = Buffer.alloc(13);
  header.writeUInt32BE(size, 0);
  header.writeUInt32BE(size, 4);
  header.set([8, 2, 0, 0, 0], 8); // 8 bits a channel, colour without transparency
  const signature = Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]);
  const data = deflateSync(pixels(size), { level: 9 });
  return Buffer.concat([signature, chunk("IHDR", header), chunk("IDAT", data), chunk("IEND", Buffer.alloc(0))]);
}

function svg() {
  const hex = (color) => "#" + color.map((value) => value.toString(16).padStart(2, "0")).join("");
  const point = (degrees) => at(degrees).map((value) => (value * 512).toFixed(1)).join(" ");
  const r = (radius * 512).toFixed(1);
  const paths = arcs.map(
    (arc) => `  <path d="M${point(arc.middle - half)}A${r} ${r} 0 0 1 ${point(arc.middle + half)}" stroke="${hex(arc.color)}"/>\n`,
  );
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 512 512" fill="none" stroke-width="${(stroke * 512).toFixed(1)}" stroke-linecap="round">
  <rect width="512" height="512" rx="112" fill="${hex(ground)}"/>
${paths.join("")}  <circle cx="256" cy="256" r="${(dotRadius * 512).toFixed(1)}" fill="${hex(dot)}"/>
</svg>
`;
}

await writeFile(new URL("icon.svg", folder), svg());
for (const size of [192, 512]) await writeFile(new URL(`icon-${size}.png`, folder), png(size));
