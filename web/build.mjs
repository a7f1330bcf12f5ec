// Builds the web app: node build.mjs [--outdir=]FOLDER [--watch]. The folder is made when it is missing.
import { build, context, transform } from "esbuild";
import { cp, mkdir, readdir, readFile, rm, stat, writeFile } from "node:fs/promises";
import { basename, dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const target = process.argv.slice(2).find((argument) => argument !== "--watch")?.replace(/^--outdir=/, "");
if (!target) {
  console.error("usage: node build.mjs FOLDER [--watch]");
  process.exit(2);
}
const outdir = resolve(target);
const limit = 150_000;

/** A style sheet of a part comes as text with that part, which puts it into the page: it weighs on no other. */
const sheets = {
  name: "sheets",
  setup: ({ onLoad }) =>
    onLoad({ filter: /\.part\.css$/ }, async ({ path }) => {
      const { code } = await transform(await readFile(path, "utf8"), { loader: "css", minify: true, target: options.target });
      return { contents: code.trim(), loader: "text" };
    }),
};

/** @type {import("esbuild").BuildOptions} */
const options = {
  absWorkingDir: here,
  entryPoints: { app: "src/main.tsx" },
  outdir,
  bundle: true,
  minify: true,
  format: "esm",
  // What only some pages need comes when one of them is opened.
  splitting: true,
  chunkNames: "part-[name]-[hash]",
  metafile: true,
  target: "es2020",
  jsx: "automatic",
  jsxImportSource: "preact",
  legalComments: "none",
  logLevel: "warning",
  logLimit: 10,
  plugins: [sheets, { name: "page", setup: ({ onEnd }) => void onEnd(({ metafile, errors }) => (errors.length > 0 ? undefined : finish(metafile))) }],
};

/** The files that come with this one: those it imports outright. */
function together(outputs, name, found = new Set()) {
  if (found.has(name)) return found;
  found.add(name);
  for (const { path, kind } of outputs.get(name).imports) if (kind === "import-statement") together(outputs, basename(path), found);
  return found;
}

/** Tells the page what to fetch at once and the service worker what to keep; weighs the result. */
async function finish(metafile) {
  const outputs = new Map(Object.entries(metafile.outputs).map(([path, output]) => [basename(path), output]));
  const first = together(outputs, "app.js");
  const parts = [...outputs.keys()].filter((name) => name.startsWith("part-"));
  const replace = async (name, mark, text) => {
    const source = await readFile(join(here, "public", name), "utf8");
    if (!source.includes(mark)) throw new Error(`${name} has no place for ${mark}`);
    await writeFile(join(outdir, name), source.replace(mark, text));
  };
  const preload = [...first].filter((name) => name !== "app.js").map((name) => `<link rel="modulepreload" href="/${name}" />`);
  await replace("index.html", "<!-- parts -->", preload.join("\n    "));
  await replace("sw.js", "const parts = [];", `const parts = ${JSON.stringify(parts.map((name) => `/${name}`))};`);

  const weigh = async (names) => {
    let sum = 0;
    for (const name of new Set(["index.html", "app.css", "sw.js", "manifest.webmanifest", ...names])) sum += (await stat(join(outdir, name))).size;
    return sum;
  };
  let heaviest = 0;
  for (const name of ["app.js", ...parts.filter((part) => outputs.get(part).entryPoint)]) {
    const size = await weigh([...first, ...together(outputs, name)]);
    heaviest = Math.max(heaviest, size);
    console.log(`web app: ${(size / 1000).toFixed(1)} kB of ${limit / 1000} kB ${name === "app.js" ? `in ${outdir}` : `with ${outputs.get(name).entryPoint}`}`);
  }
  if (heaviest > limit) throw new Error("larger than a page may be");
}

// Only what this script makes is replaced, so that a mistyped folder loses nothing.
const copied = await readdir(join(here, "public"));
await mkdir(outdir, { recursive: true });
const made = (await readdir(outdir)).filter((name) => /^(app\.(js|css)|part-\w+-\w+\.js)$/.test(name));
for (const name of [...copied, ...made]) await rm(join(outdir, name), { force: true, recursive: true });
await cp(join(here, "public"), outdir, { recursive: true });

if (process.argv.includes("--watch")) {
  await (await context(options)).watch();
} else {
  try {
    await build(options);
  } catch (error) {
    console.error(`web app: ${error.message}`);
    process.exit(1);
  }
}
