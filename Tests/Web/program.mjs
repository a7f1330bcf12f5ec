// Starts the program with a simulated meter, an alarm rule that it violates and the app built afresh, lets the browser test run against
// it, and ends it. The program is named by KESTRELYNE_BINARY.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { skipWithoutProgram, startProgram, tell } from "./started.mjs";
import { buildApp, skipUnlessInstalled } from "./support.mjs";

skipUnlessInstalled();
skipWithoutProgram();

const pin = "4711";
const app = await buildApp();
const data = mkdtempSync(join(tmpdir(), "kestrelyne-web-"));
const meter = "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A01";
const rule = {
  id: "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A02", enabled: true, address: 19050, condition: "größer als", threshold: 40, hysteresis: 0, delay: 0,
  severity: "Alarm", notify: true, sound: true, note: "", displayScale: 1,
};

let result = 1;
let program = null;
try {
  for (const [key, value] of [
    ["devices.v1", [{ id: meter, name: "Messgerät im Versuch", kind: "Demo-Gerät", autoConnect: true }]],
    [`alarms.${meter}`, { rules: [rule], commLossEnabled: true, commLossDelay: 10 }],
  ])
    tell(data, ["settings", "set", key, "-", "--type", "json"], JSON.stringify(value));
  program = await startProgram({ webRoot: app.folder, data, pin });
  const test = spawn(process.execPath, [fileURLToPath(new URL("app.test.mjs", import.meta.url))], {
    env: { ...process.env, KESTRELYNE_TEST_URL: program.url, KESTRELYNE_TEST_PIN: pin },
    stdio: "inherit",
  });
  result = await new Promise((done) => test.once("exit", (code) => done(code ?? 1)));
} catch (error) {
  console.error(error.message);
} finally {
  const how = (await program?.stop()) ?? 0;
  if (how !== 0) {
    console.error(`the program ended with ${how}`);
    result ||= 1;
  }
  await app.remove();
  rmSync(data, { recursive: true, force: true });
}
process.exit(result);
