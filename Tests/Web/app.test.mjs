// The web app in a real browser: against the station of arithmetic, or against a running program when KESTRELYNE_TEST_URL names one
// (its PIN in KESTRELYNE_TEST_PIN).
import assert from "node:assert/strict";
import { after, afterEach, before, describe, test } from "node:test";
import { buildApp, openBrowser, overflow, skipUnlessInstalled, until, webFolder } from "./support.mjs";

skipUnlessInstalled();

const programURL = process.env.KESTRELYNE_TEST_URL?.replace(/\/$/, "");
const meterId = "5B7A2F10-0C3E-4A57-9A0B-6D1E2C3B4A01";
const pages = ["/#/", "/#/power", "/#/network", "/#/switch", "/#/map", "/#/netdetail", "/#/patch", "/#/testlight", "/#/events", "/#/more"];
const text = (page, selector) => page.locator(selector).first().innerText();

/** What holds against any station. */
function everywhere(target) {
  test("values change by themselves", async () => {
    const page = await target().page();
    await page.goto(`${target().url}/#/power`);
    const figure = page.locator(".meter .phases .figure").first();
    await until(async () => /\d/.test(await figure.innerText()), "a voltage", 30);
    const first = await text(page, ".meter");
    await until(async () => (await text(page, ".meter")) !== first, "another value");
    assert.deepEqual(page.complaints, []);
    await page.close();
  });

  test("a meter opens with its curves, groups and extremes, and Escape leads back", async () => {
    const page = await target().page();
    await page.goto(`${target().url}/#/power`);
    await page.locator(".meter").first().click();
    await page.waitForURL(/#\/device\//);
    await page.locator(".group tbody tr").first().waitFor();
    await until(async () => (await page.locator(".chart canvas").count()) === 2, "two charts", 30);
    assert.match(await text(page, ".group td.now"), /^-?\d+,\d+ \S+$/);
    assert.equal(await overflow(page), 0);
    await page.keyboard.press("Escape");
    await page.waitForURL(/#\/power$/);
    assert.deepEqual(page.complaints, []);
    await page.close();
  });

  test("the network page tells what is heard or that nobody listens, and a universe opens with its channels", async () => {
    const page = await target().page();
    await page.goto(`${target().url}/#/network`);
    const line = page.locator("[data-section=universes] .line");
    await until(async () => (await line.count()) > 0 || (await page.getByText(/Überwachung läuft nicht|Noch kein Universum gehört/).count()) > 0, "a word about the network");
    assert.equal(await overflow(page), 0);
    if ((await line.count()) > 0) {
      await line.first().click();
      await page.waitForURL(/#\/universe\//);
      await page.locator(".cell, .empty").first().waitFor();
      await page.keyboard.press("Escape");
      await page.waitForURL(/#\/network$/);
    }
    assert.deepEqual(page.complaints, []);
    await page.close();
  });

  test("the PIN logs in and out, and a wrong one is told", async () => {
    const page = await target().page();
    await page.goto(`${target().url}/#/more`);
    await page.getByLabel("PIN").fill("not the PIN");
    await page.getByRole("button", { name: "Anmelden" }).click();
    await page.getByText("PIN falsch").waitFor();
    // The browser itself notes the refused request.
    assert.equal(page.complaints.filter((complaint) => !complaint.includes("401")).length, 0);
    await page.getByLabel("PIN").fill(target().pin);
    await page.keyboard.press("Enter");
    await page.getByRole("button", { name: "Abmelden" }).waitFor();
    await page.getByText(/Dieses Gerät darf: /).waitFor();
    await page.getByRole("button", { name: "Abmelden" }).click();
    await page.getByLabel("PIN").waitFor();
    await page.close();
  });

  test("no page is wider than a phone or a desk, in dark and in light", async () => {
    for (const [width, height] of [[360, 740], [1280, 800]]) {
      for (const scheme of ["dark", "light"]) {
        const page = await target().page({ width, height, scheme });
        for (const path of pages) {
          await page.goto(`${target().url}${path}`);
          await page.locator("main .page").waitFor();
          assert.equal(await overflow(page), 0, `${path} at ${width}`);
        }
        const ground = await page.evaluate(() => getComputedStyle(document.body).backgroundColor);
        assert.equal(ground, scheme === "dark" ? "rgb(14, 17, 22)" : "rgb(244, 246, 248)");
        assert.deepEqual(page.complaints, []);
        await page.close();
      }
    }
  });

  test("the wall screen is dark in any scheme, fills the screen and has nothing to touch", async () => {
    const page = await target().page({ width: 1920, height: 1080, scheme: "light" });
    await page.goto(`${target().url}/foh`);
    await page.locator(".wall-meter .figure").first().waitFor();
    assert.equal(await page.evaluate(() => getComputedStyle(document.body).backgroundColor), "rgb(14, 17, 22)");
    assert.equal(await page.locator("button, a, input").count(), 0);
    assert.ok(parseFloat(await page.locator(".wall-total .figure").evaluate((at) => getComputedStyle(at).fontSize)) >= 88);
    assert.equal(await page.evaluate(() => document.documentElement.scrollHeight), 1080);
    assert.equal(await overflow(page), 0);
    assert.deepEqual(page.complaints, []);
    await page.close();
  });
}

if (programURL) {
  describe("against the program", () => {
    let browser;
    before(async () => {
      browser = await openBrowser();
    });
    after(() => browser.close());

    // The meter's frequency is above the limit of its rule from the first reading on.
    test("an alarm of the program appears on the first screen, among the events and on the wall", async () => {
      const page = await browser.page();
      for (const path of ["/#/", "/#/events", "/foh"]) {
        await page.goto(`${programURL}${path}`);
        await page.getByText(/Netz Frequenz > 40,000 Hz/).first().waitFor();
      }
      await page.goto(`${programURL}/#/`);
      await page.getByText("1 Alarm").first().waitFor();
      assert.deepEqual(page.complaints, []);
      await page.close();
    });

    everywhere(() => ({ url: programURL, pin: process.env.KESTRELYNE_TEST_PIN ?? "", page: (options) => browser.page(options) }));
  });
} else {
  describe("against the station of arithmetic", () => {
    let app, browser, station, port, url;
    before(async () => {
      const { makeStation } = await import(new URL("tests/mockserver.mjs", `file://${webFolder}`).href);
      app = await buildApp();
      station = makeStation(app.folder);
      port = await station.start();
      url = `http://127.0.0.1:${port}`;
      browser = await openBrowser();
    });
    after(async () => {
      await browser.close();
      await station.stop();
      await app.remove();
    });
    // Whatever a test broke is whole again for the next.
    afterEach(async () => {
      station.heal();
      await station.start(port);
      for (const page of browser.context.pages().slice(1)) await page.close();
    });
    everywhere(() => ({ url, pin: station.faults.pin, page: (options) => browser.page(options) }));

    test("a new alarm is in the verdict, at the top of the problems, and goes again", async () => {
      const page = await browser.page();
      await page.goto(`${url}/`);
      await page.getByText("Alles in Ordnung").waitFor();
      station.set("warning", true);
      await page.getByText("1 Warnung", { exact: true }).waitFor();
      station.set("alarm", true);
      await page.getByText("1 Alarm, 1 Warnung").waitFor();
      await until(async () => /seit \d\d:\d\d/.test(await text(page, ".problem")), "since when");
      assert.match(await text(page, ".problem"), /Alarm\s+Strom L1 > 63,00 A\s+Hauptverteilung Bühne/);
      await page.locator(".problem").first().click();
      await page.waitForURL(new RegExp(`#/device/${meterId}`));
      await page.locator(".device-alarms").getByText("Strom L1 > 63,00 A").waitFor();
      await page.goBack();
      station.set("alarm", false);
      station.set("warning", false);
      await page.getByText(/Alles in Ordnung seit \d\d:\d\d/).waitFor();
      assert.deepEqual(page.complaints, []);
    });

    test("an alarm that comes while another page is open slides over it, is announced, and stays until it is seen", async () => {
      const page = await browser.page();
      await page.goto(`${url}/#/events`);
      await page.locator(".event").first().waitFor();
      await until(() => page.evaluate(() => document.title === "foh-rechner"), "the name");
      await page.waitForTimeout(1500);
      station.set("alarm", true);
      await page.locator(".fresh").getByText("Strom L1 > 63,00 A").waitFor();
      assert.match(await page.locator("[aria-live=assertive]").innerText(), /Alarm: Hauptverteilung Bühne, Strom L1 > 63,00 A/);
      station.set("alarm", false);
      await page.locator(".fresh").getByText("inzwischen behoben").waitFor();
      await page.getByRole("button", { name: "Gesehen" }).click();
      assert.equal(await page.locator(".fresh").count(), 0);
      assert.deepEqual(page.complaints, []);
    });

    test("alarms that stood before the page was opened do not slide in", async () => {
      station.set("alarm", true);
      const page = await browser.page();
      await page.goto(`${url}/#/events`);
      await page.locator(".badge").waitFor();
      await page.waitForTimeout(1500);
      assert.equal(await page.locator(".fresh").count(), 0);
    });

    test("a meter that fails says why and shows dashes, never zeros", async () => {
      station.set("failed", true);
      const page = await browser.page();
      await page.goto(`${url}/#/power`);
      const card = page.locator(".meter", { hasText: "Ton FOH" });
      await card.getByText("Zeitüberschreitung").waitFor();
      await card.getByText("Kommunikationsausfall").waitFor();
      assert.equal(await card.locator(".figure.main").innerText(), "– W");
      assert.ok(Number(await card.locator(".figure.main").evaluate((at) => getComputedStyle(at).opacity)) < 1);
    });

    test("a stopped station is told within five seconds with all figures dimmed, and heals by itself", async () => {
      const page = await browser.page();
      await page.goto(`${url}/#/power`);
      const figure = page.locator(".total .figure");
      await until(async () => /\d/.test(await figure.innerText()), "a figure");
      await station.stop();
      const stopped = Date.now();
      await page.getByText(/keine Verbindung seit \d+ s – Stand \d\d:\d\d:\d\d/).waitFor({ timeout: 8000 });
      assert.ok(Date.now() - stopped < 5000, `told after ${Date.now() - stopped} ms`);
      await until(async () => Number(await figure.evaluate((at) => getComputedStyle(at).opacity)) < 1, "dimmed figures");
      const seconds = async () => Number(/seit (\d+) s/.exec(await text(page, ".banner"))[1]);
      const before = await seconds();
      await until(async () => (await seconds()) > before, "the count goes on");
      await page.evaluate(() => (location.hash = "#/"));
      assert.match(await text(page, ".verdict"), /Keine Verbindung/);
      await station.start(port);
      await until(async () => (await page.locator(".banner").count()) === 0, "the banner goes", 10);
      await page.getByText("Alles in Ordnung").waitFor();
    });

    test("a slow station is never asked twice at once for the same thing, and answers to taps all the same", async () => {
      const page = await browser.page();
      await page.goto(`${url}/#/power`);
      await page.locator(".meter").first().waitFor();
      station.faults.delay = 1800;
      await page.waitForTimeout(2500);
      station.requests.most = 0;
      await page.waitForTimeout(5000);
      assert.ok(station.requests.most <= 5, `${station.requests.most} requests at once`);
      await page.locator(".nav").getByText("Mehr").click();
      await page.getByRole("heading", { name: "Mehr" }).waitFor({ timeout: 300 });
      assert.deepEqual(page.complaints, []);
    });

    test("thousands of events keep a short page that scrolls to its end", async () => {
      station.faults.events = 5000;
      const page = await browser.page();
      await page.goto(`${url}/#/events`);
      await page.getByText(/50\d\d Einträge/).waitFor();
      assert.ok((await page.locator(".event").count()) < 40);
      await page.evaluate(() => window.scrollTo(0, document.documentElement.scrollHeight));
      await until(
        async () => (await page.locator(".event-place").last().getAttribute("aria-posinset")) === (await page.locator(".event-place").last().getAttribute("aria-setsize")),
        "the last row",
      );
      assert.ok((await page.locator(".event").count()) < 40);
      await page.locator(".event").last().click();
      await page.getByRole("dialog").waitFor();
      await page.keyboard.press("Escape");
      assert.equal(await page.locator("dialog[open]").count(), 0);
      assert.deepEqual(page.complaints, []);
    });

    test("with sixty-four meters only the cards near the screen are in the page", async () => {
      station.faults.meters = 64;
      const page = await browser.page();
      await page.goto(`${url}/#/power`);
      await page.locator(".meter").first().waitFor();
      assert.equal(await page.locator(".near").count(), 64);
      assert.ok((await page.locator(".meter").count()) < 12);
      await page.evaluate(() => window.scrollTo(0, document.documentElement.scrollHeight));
      await page.getByText("Unterverteilung 64").waitFor();
    });

    test("the value under the finger is told for all curves of the page", async () => {
      const page = await browser.page({ width: 1280, height: 800 });
      await page.goto(`${url}/#/device/${meterId}`);
      const chart = page.locator(".chart-box").first();
      await until(async () => (await page.locator(".chart canvas").count()) === 2, "two charts");
      const box = await chart.boundingBox();
      await page.mouse.move(box.x + box.width * 0.75, box.y + 60);
      const times = page.locator(".readout-time");
      await until(async () => (await times.first().innerText()) === (await times.last().innerText()), "the same moment in both");
      const pointed = await times.first().innerText();
      await page.mouse.move(box.x + box.width / 2, box.y + 60);
      await until(async () => (await times.first().innerText()) !== pointed, "another moment");
      await page.mouse.move(2, 2);
      await chart.focus();
      await page.keyboard.press("Home");
      await until(async () => (await times.first().innerText()) < pointed, "the first moment");
      assert.deepEqual(page.complaints, []);
    });

    test("the rail stands on the left of a desk and the detail beside the list", async () => {
      const page = await browser.page({ width: 1280, height: 800 });
      await page.goto(`${url}/#/device/${meterId}`);
      await page.locator(".device").waitFor();
      const list = await page.locator(".master").boundingBox();
      const detail = await page.locator(".detail").boundingBox();
      const nav = await page.locator(".nav").boundingBox();
      assert.ok(nav.x === 0 && nav.width < 120 && nav.height === 800);
      assert.ok(list.x > nav.width && detail.x >= list.x + list.width);
      await page.setViewportSize({ width: 360, height: 740 });
      assert.equal(await page.locator(".master").isVisible(), false);
      const bottom = await page.locator(".nav").boundingBox();
      assert.ok(bottom.y + bottom.height === 740 && bottom.width === 360);
    });

    test("everything to tap is 44 pixels or more", async () => {
      station.set("alarm", true);
      const page = await browser.page();
      for (const path of [...pages, `/#/device/${meterId}`]) {
        await page.goto(`${url}${path}`);
        await page.locator("main .page").waitFor();
        await page.waitForTimeout(1200);
        const small = await page.evaluate(() =>
          [...document.querySelectorAll("a:not(.skip), button, input")]
            .map((at) => ({ name: at.textContent || at.id, height: at.getBoundingClientRect().height }))
            .filter(({ height }) => height < 44),
        );
        assert.deepEqual(small, [], path);
      }
    });

    test("without a PIN the page says why nobody can log in", async () => {
      station.faults.pin = "";
      const page = await browser.page();
      await page.goto(`${url}/#/more`);
      await page.getByText("Anmelden nicht möglich").waitFor();
      assert.equal(await page.getByLabel("PIN").count(), 0);
    });

    test("an empty station says what is missing instead of that all is right", async () => {
      station.faults.empty = true;
      station.faults.events = 0;
      const page = await browser.page();
      await page.goto(`${url}/`);
      await page.getByText("Noch keine Stromquellen").waitFor();
    });

    test("the app opens without the network, says so, and has kept no figures", async () => {
      const page = await browser.page();
      await page.goto(`${url}/`);
      await page.evaluate(() => navigator.serviceWorker.ready);
      await until(
        () => page.evaluate(async () => (await (await caches.open("app")).keys()).some((request) => request.url.endsWith("/app.js"))),
        "the kept files",
      );
      await page.reload();
      await page.getByText("Alles in Ordnung").waitFor();
      const kept = await page.evaluate(async () => (await (await caches.open("app")).keys()).map((request) => new URL(request.url).pathname));
      assert.ok(!kept.some((path) => path.startsWith("/api/")), kept.join(" "));
      assert.ok(kept.some((path) => path.startsWith("/part-Network-")), kept.join(" "));
      await station.stop();
      await page.reload();
      await page.getByText(/keine Verbindung seit \d+ s/).waitFor();
      await page.getByText("Noch keine Daten erhalten").waitFor();
      await station.start(port);
      await page.getByText("Alles in Ordnung").waitFor();
    });
  });
}
