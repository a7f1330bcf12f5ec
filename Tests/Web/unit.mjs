// Checks the web app's types and runs its unit tests.
import { spawnSync } from "node:child_process";
import { existsSync } from "node:fs";
import { fileURLToPath } from "node:url";

const web = fileURLToPath(new URL("../../web/", import.meta.url));
if (!existsSync(`${web}node_modules/typescript`)) {
  console.log("skipped: web/node_modules is missing (npm ci in web)");
  process.exit(77);
}
for (const command of [
  ["node_modules/typescript/bin/tsc", "--noEmit"],
  ["node_modules/typescript/bin/tsc", "--noEmit", "-p", "tests"],
  ["tests/run.mjs"],
]) {
  const { status } = spawnSync(process.execPath, command, { cwd: web, stdio: "inherit" });
  if (status !== 0) process.exit(status ?? 1);
}
