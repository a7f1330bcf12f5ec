// Starts the program with a simulated meter, an alarm rule that it violates and the app built afresh, lets the browser test run against
// it, and ends it. The program is named by KESTRELYNE_BINARY.
import { spawn, spawnSync } from "node:child_process";
import { existsSync, mkdtempSync, rmSync } from "node:fs";
import { createServer } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { buildApp, skipUnlessInstalled, until } from "./support.mjs";

skipUnlessInstalled();
const binary = process.env.KESTRELYNE_BINARY ?? "";
if (!existsSync(binary)) {
  console.log(`skipped: no program at KESTRELYNE_BINARY "${binary}"`);
  process.exit(77);
}

const pin = "4711";
const port = await new Promise((done) => {
  const probe = createServer().listen(0, "127.0.0.1", () => {
    const { port: free } = probe.address();
    probe.close(() => done(free));
  });
});
const url = `http://127.0.0.1:${port}`;
const app = await buildApp();
const data = mkdtempSync(join(tmpdir(), "kestrelyne-web-"));
const meter = "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A01";
const rule = {
  id: "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A02", enabled: true, address: 19050, condition: "größer als", threshold: 40, hysteresis: 0, delay: 0,
  severity: "Alarm", notify: true, sound: true, note: "", displayScale: 1,
};
for (const [key, value] of [
  ["devices.v1", [{ id: meter, name: "Messgerät im Versuch", kind: "Demo-Gerät", autoConnect: true }]],
  [`alarms.${meter}`, { rules: [rule], commLossEnabled: true, commLossDelay: 10 }],
])
  spawnSync(binary, ["settings", "set", key, "-", "--type", "json", "--data", data], { input: JSON.stringify(value) });
const program = spawn(binary, ["run", "--data", data, "--web", "--no-lan", "--port", String(port), "--pin", pin], {
  env: { ...process.env, KESTRELYNE_WEB_ROOT: app.folder },
  stdio: ["ignore", "inherit", "inherit"],
});
const ended = new Promise((done) => program.once("exit", (code, signal) => done(code ?? signal)));

let result = 1;
try {
  await until(async () => program.exitCode !== null || (await fetch(`${url}/api/info`).then((answer) => answer.ok, () => false)), "the program answers", 30);
  if (program.exitCode !== null) throw new Error(`the program ended with ${program.exitCode}`);
  const test = spawn(process.execPath, [fileURLToPath(new URL("app.test.mjs", import.meta.url))], {
    env: { ...process.env, KESTRELYNE_TEST_URL: url, KESTRELYNE_TEST_PIN: pin },
    stdio: "inherit",
  });
  result = await new Promise((done) => test.once("exit", (code) => done(code ?? 1)));
} catch (error) {
  console.error(error.message);
} finally {
  program.kill("SIGTERM");
  const how = await ended;
  if (how !== 0) {
    console.error(`the program ended with ${how}`);
    result ||= 1;
  }
  await app.remove();
  rmSync(data, { recursive: true, force: true });
}
process.exit(result);
