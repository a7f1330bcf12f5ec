// What the browser tests share: whether this machine can run them, the browser, and a page that remembers what went wrong in it.
import assert from "node:assert/strict";
import { existsSync } from "node:fs";
import { mkdtemp, rm } from "node:fs/promises";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";

export const webFolder = fileURLToPath(new URL("../../web/", import.meta.url));
const browserPath = "/usr/bin/chromium";
const browserArguments = [
  "--no-sandbox",
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

/** Ends with the code that the test runner takes as skipped when something is not installed. */
export function skipUnlessInstalled() {
  const reason = !existsSync(join(webFolder, "node_modules/playwright-core"))
    ? "web/node_modules is missing (npm ci in web)"
    : !existsSync(browserPath)
      ? `${browserPath} is missing`
      : null;
  if (!reason) return;
  console.log(`skipped: ${reason}`);
  process.exit(77);
}

/** The app built afresh from its sources into a folder of its own. */
export async function buildApp() {
  const { spawnSync } = await import("node:child_process");
  const folder = await mkdtemp(join(tmpdir(), "kestrelyne-web-"));
  const built = spawnSync(process.execPath, [join(webFolder, "build.mjs"), folder], { encoding: "utf8" });
  assert.equal(built.status, 0, built.stderr);
  return { folder, remove: () => rm(folder, { recursive: true, force: true }) };
}

/** A browser with a fresh profile; ask it for pages of a size and colour scheme. */
export async function openBrowser() {
  const { chromium } = createRequire(join(webFolder, "package.json"))("playwright-core");
  const profile = await mkdtemp(join(tmpdir(), "kestrelyne-profile-"));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: browserPath,
    headless: true,
    args: browserArguments,
    locale: "de-DE",
    timezoneId: "Europe/Berlin",
    viewport: { width: 360, height: 740 },
  });
  context.setDefaultTimeout(15_000);
  return {
    context,
    async page({ width = 360, height = 740, scheme = "dark", reducedMotion = "reduce" } = {}) {
      const page = await context.newPage();
      await page.setViewportSize({ width, height });
      await page.emulateMedia({ colorScheme: scheme, reducedMotion });
      const complaints = [];
      page.on("console", (message) => message.type() === "error" && complaints.push(message.text()));
      page.on("pageerror", (error) => complaints.push(error.message));
      return Object.assign(page, { complaints });
    },
    async close() {
      await context.close();
      await rm(profile, { recursive: true, force: true });
    },
  };
}

/** Waits until the question is answered with something true. */
export async function until(question, what, seconds = 15) {
  const end = Date.now() + seconds * 1000;
  for (;;) {
    const answer = await question();
    if (answer) return answer;
    if (Date.now() > end) assert.fail(`waited ${seconds} s for: ${what}`);
    await new Promise((done) => setTimeout(done, 100));
  }
}

/** How many pixels the page is wider than the window. */
export const overflow = (page) => page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
