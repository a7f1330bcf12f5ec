// The program as a browser test runs it: on a folder and a port of its own, with the app built afresh. Named by KESTRELYNE_BINARY.
import { spawn, spawnSync } from "node:child_process";
import { existsSync } from "node:fs";
import { createServer } from "node:net";
import { until } from "./support.mjs";

const binary = process.env.KESTRELYNE_BINARY ?? "";

/** Ends with the code that the test runner takes as skipped when there is no program. */
export function skipWithoutProgram() {
  if (existsSync(binary)) return;
  console.log(`skipped: no program at KESTRELYNE_BINARY "${binary}"`);
  process.exit(77);
}

const freePort = () =>
  new Promise((done) => {
    const probe = createServer().listen(0, "127.0.0.1", () => {
      const { port } = probe.address();
      probe.close(() => done(port));
    });
  });

/** A command to the program that runs on that folder, or to the folder itself while none does; gives what it prints. */
export function tell(data, words, input = "") {
  const { status, stdout, stderr } = spawnSync(binary, [...words, "--data", data], { input, encoding: "utf8" });
  if (status !== 0) throw new Error(`${words.join(" ")} ended with ${status}: ${stderr}${stdout}`);
  return stdout;
}

/** Waits until it answers. `stop` gives how it ended: 0 when all is well. */
export async function startProgram({ webRoot, data, pin, words = [] }) {
  const port = await freePort();
  const url = `http://127.0.0.1:${port}`;
  const program = spawn(binary, ["run", "--data", data, "--web", "--no-lan", "--port", String(port), "--pin", pin, ...words], {
    env: { ...process.env, KESTRELYNE_WEB_ROOT: webRoot },
    stdio: ["ignore", "inherit", "inherit"],
  });
  const ended = new Promise((done) => program.once("exit", (code, signal) => done(code ?? signal)));
  const stop = async () => {
    program.kill("SIGTERM");
    return ended;
  };
  const answers = () => fetch(`${url}/api/info`).then((answer) => answer.ok, () => false);
  try {
    await until(async () => program.exitCode !== null || (await answers()), "the program answers", 30);
    if (program.exitCode !== null) throw new Error(`the program ended with ${program.exitCode}`);
  } catch (error) {
    await stop();
    throw error;
  }
  return { url, stop };
}
