// Runs the unit tests: each file is bundled for Node, then given to Node's own test runner.
import { build } from "esbuild";
import { spawnSync } from "node:child_process";
import { mkdtemp, readdir, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const names = (await readdir(here)).filter((name) => name.endsWith(".test.ts"));
const outdir = await mkdtemp(join(tmpdir(), "kestrelyne-web-tests-"));
try {
  await build({
    entryPoints: names.map((name) => join(here, name)),
    outdir,
    bundle: true,
    platform: "node",
    format: "esm",
    target: "node18",
    outExtension: { ".js": ".mjs" },
    sourcemap: "inline",
    logLevel: "warning",
  });
  const files = names.map((name) => join(outdir, name.replace(/\.ts$/, ".mjs")));
  // Times of day are compared as text, so the zone is fixed.
  const run = spawnSync(process.execPath, ["--enable-source-maps", "--test", ...files], {
    stdio: "inherit",
    env: { ...process.env, TZ: "Europe/Berlin" },
  });
  process.exitCode = run.status ?? 1;
} finally {
  await rm(outdir, { recursive: true, force: true });
}
