// Builds the web app: node build.mjs [--outdir=]FOLDER [--watch]. The folder is made when it is missing.
import { build, context } from "esbuild";
import { cp, mkdir, readdir, rm, stat } from "node:fs/promises";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const target = process.argv.slice(2).find((argument) => argument !== "--watch")?.replace(/^--outdir=/, "");
if (!target) {
  console.error("usage: node build.mjs FOLDER [--watch]");
  process.exit(2);
}
const outdir = resolve(target);

/** @type {import("esbuild").BuildOptions} */
const options = {
  absWorkingDir: here,
  entryPoints: { app: "src/main.tsx" },
  outdir,
  bundle: true,
  minify: true,
  format: "iife",
  target: "es2020",
  jsx: "automatic",
  jsxImportSource: "preact",
  legalComments: "none",
  logLevel: "warning",
  logLimit: 10,
};

// Only what this script makes is replaced, so that a mistyped folder loses nothing.
const copied = await readdir(join(here, "public"));
await mkdir(outdir, { recursive: true });
for (const name of [...copied, "app.js", "app.css"]) await rm(join(outdir, name), { force: true, recursive: true });
await cp(join(here, "public"), outdir, { recursive: true });

if (process.argv.includes("--watch")) {
  await (await context(options)).watch();
} else {
  await build(options);
  let total = 0;
  for (const name of ["index.html", "app.js", "app.css", "sw.js", "manifest.webmanifest"]) total += (await stat(join(outdir, name))).size;
  const limit = 150_000;
  console.log(`web app: ${(total / 1000).toFixed(1)} kB of ${limit / 1000} kB in ${outdir}`);
  if (total > limit) {
    console.error("web app: larger than a page may be");
    process.exit(1);
  }
}
