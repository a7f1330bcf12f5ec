// The network page and the view of one universe in a real browser, against the station of arithmetic.
import assert from "node:assert/strict";
import { after, afterEach, before, describe, test } from "node:test";
import { buildApp, openBrowser, overflow, skipUnlessInstalled, until, webFolder } from "./support.mjs";

skipUnlessInstalled();

const first = "/#/universe/Art-Net%3A1";
const phone = { width: 390, height: 844 };
const desk = { width: 1440, height: 900 };
const text = (page, selector) => page.locator(selector).first().innerText();
const universes = (page) => page.locator("[data-section=universes]");

/** As when another tab comes to the front. */
const show = (page, state) =>
  page.evaluate((told) => {
    Object.defineProperty(document, "visibilityState", { configurable: true, get: () => told });
    document.dispatchEvent(new Event("visibilitychange"));
  }, state);

describe("the network", () => {
  let app, browser, station, url;
  before(async () => {
    const { makeStation } = await import(new URL("tests/mockserver.mjs", `file://${webFolder}`).href);
    app = await buildApp();
    station = makeStation(app.folder);
    url = `http://127.0.0.1:${await station.start()}`;
    browser = await openBrowser();
  });
  after(async () => {
    await browser.close();
    await station.stop();
    await app.remove();
  });
  afterEach(async () => {
    station.heal();
    for (const page of browser.context.pages().slice(1)) await page.close();
  });
  const open = async (path, size = phone) => {
    const page = await browser.page(size);
    await page.goto(`${url}${path}`);
    return page;
  };

  test("everything heard is listed: who sends what at which rate, nodes, consoles, stations, clocks, timecode, devices", async () => {
    const page = await open("/#/network");
    const line = universes(page).locator(".line").nth(1);
    await line.waitFor();
    assert.match(await line.innerText(), /sACN 1\s+aktiv\s+grandMA Pult \(10\.101\.0\.10\)\s+4[34]\/s · Prio 100 · 1 Empf\./);
    for (const [section, expected] of [
      ["nodes", /Node Truss 1[\s\S]*da[\s\S]*gibt aus: 1 \(0:0:1\), 2 \(0:0:2\)/],
      ["nodes", /Node Truss 3\s+verstummt[\s\S]*vor 6 min/],
      ["consoles", /Lichtpult[\s\S]*vor \d s/],
      ["manet", /MA-Net3 · 10\.101\.0\.10\s+61\/s/],
      ["clocks", /PTPv2 · Domäne 0\s+eindeutig[\s\S]*ist Grandmaster/],
      ["timecode", /\d\d:\d\d:\d\d:\d\d\s+läuft/],
      ["devices", /Truss-Switch links\s+online[\s\S]*0,4 ms · 41 °C[\s\S]*Rekorder\s+noch unbekannt/],
      ["adapters", /WLAN\s+nicht benutzt/],
      ["queriers", /Core-Switch \(IGMPv2\)[\s\S]*Keine Rechte zum Mitschneiden/],
    ]) {
      const box = page.locator(`[data-section=${section}]`);
      await box.evaluate((at) => at.scrollIntoView());
      await until(async () => expected.test(await box.innerText()), `${section}: ${expected}`, 5);
    }
    await page.locator(".summary").getByText("3 Nodes").click();
    await until(() => page.locator("[data-section=nodes]").evaluate((at) => Math.abs(at.getBoundingClientRect().top) < 100), "the nodes");
    await page.locator("[data-section=nodes] .line").first().click();
    await page.getByRole("dialog").getByText("Adapter").waitFor();
    await page.keyboard.press("Escape");
    assert.equal(await page.locator("dialog[open]").count(), 0);
    assert.deepEqual(page.complaints, []);
  });

  for (const [amount, most] of [[200, 40], [1000, 40]])
    test(`${amount} universes keep a short page that scrolls to its end and is filtered at once`, async () => {
      station.setNet("universes", amount);
      station.setNet("conflict", true);
      station.setNet("lost", true);
      const page = await open("/#/network");
      const lines = universes(page).locator(".line");
      await page.locator(".summary").getByText(`${amount} Universen`).waitFor();
      assert.ok((await lines.count()) < most, `${await lines.count()} lines`);
      await universes(page).locator(".event-place").last().waitFor();
      await page.evaluate(() => {
        const list = document.querySelector("[data-section=universes] [role=list]").getBoundingClientRect();
        window.scrollTo(0, window.scrollY + list.bottom - 400);
      });
      await until(async () => (await universes(page).locator(`[aria-posinset="${amount}"]`).count()) === 1, "the last universe");
      assert.match(await universes(page).locator(`[aria-posinset="${amount}"]`).innerText(), new RegExp(`sACN ${amount / 2}\\s+ohne Quelle`));
      assert.ok((await lines.count()) < most);
      await page.getByLabel("Universen filtern").fill(`sacn ${amount / 2}`);
      await until(async () => (await lines.count()) === 1, "one universe");
      await page.getByLabel("Universen filtern").fill("");
      await page.getByRole("button", { name: "Konflikt 1" }).click();
      await until(async () => (await lines.count()) === 1 && /grandMA Pult ↔ Backup-Pult/.test(await lines.first().innerText()), "the conflict");
      await page.getByRole("button", { name: "verloren 1" }).click();
      await until(async () => /verloren/.test(await lines.first().innerText()), "the lost one");
      await page.getByLabel("Universen filtern").fill("gibt es nicht");
      await page.getByText("Keins dabei").waitFor();
      assert.deepEqual(page.complaints, []);
    });

  test("a long answer is asked for less often, and never twice at once", async () => {
    station.setNet("universes", 1000);
    const page = await open("/#/network");
    await universes(page).locator(".line").first().waitFor();
    station.requests.most = 0;
    const before = station.asked.network;
    await page.waitForTimeout(6000);
    const asked = station.asked.network - before;
    assert.ok(asked >= 2 && asked <= 4, `${asked} times in 6 s`);
    assert.ok(station.requests.most <= 5, `${station.requests.most} requests at once`);
    // Away from the page it is asked for less often still.
    await page.evaluate(() => (location.hash = "#/more"));
    await page.waitForTimeout(2500);
    const left = station.asked.network;
    await page.waitForTimeout(4000);
    assert.ok(station.asked.network - left <= 1, `${station.asked.network - left} times in 4 s`);
  });

  test("a conflict is in the verdict, leads to its universe, and is gone when it is over", async () => {
    const page = await open("/#/");
    await page.getByText("Alles in Ordnung").waitFor();
    station.setNet("conflict", true);
    await page.getByText("1 Alarm", { exact: true }).waitFor();
    await until(async () => /Netz · seit \d\d:\d\d/.test(await text(page, ".problem")), "since when");
    assert.match(await text(page, ".problem"), /Alarm\s+Art-Net 1 \(0:0:1\): Konflikt grandMA Pult ↔ Backup-Pult/);
    assert.match(await text(page, ".event"), /Konflikt auf Art-Net-Universum 1/);
    await page.locator(".problem").click();
    await page.waitForURL(/#\/universe\/Art-Net%3A1$/);
    await page.locator(".universe").getByText("Backup-Pult").waitFor();
    await page.goBack();
    station.setNet("conflict", false);
    await page.getByText(/Alles in Ordnung seit \d\d:\d\d/).waitFor();
    assert.deepEqual(page.complaints, []);
  });

  test("a conflict of three, two masters, a lost querier, a doubled address and a silent device all stand first on the page", async () => {
    for (const fault of ["tripleConflict", "twoMasters", "noQuerier", "addressConflict", "offline"]) station.setNet(fault, true);
    const page = await open("/#/network");
    await until(async () => (await page.locator(".problem").count()) === 5, "five problems");
    const told = await page.locator("[data-section=problems]").innerText();
    for (const one of [/3 Quellen gleicher Priorität \(1\)/, /mehrere Grandmaster/, /Kein IGMP-Querier/, /IP-Konflikt: 10\.101\.0\.77/, /nicht erreichbar/])
      assert.match(told, one);
    assert.equal(await page.locator(".problem.warning").count(), 1);
    assert.equal(await page.locator(".problem", { hasText: "3 Quellen" }).getAttribute("href"), "#/universe/sACN%3A1");
    await page.locator(".problem", { hasText: "nicht erreichbar" }).click();
    await page.waitForURL(/#\/network\/devices$/);
    await until(() => page.locator("[data-section=devices]").evaluate((at) => at.getBoundingClientRect().top < innerHeight), "the devices");
    await page.goto(`${url}/#/`);
    await page.getByText("4 Alarme, 1 Warnung").waitFor();
    assert.deepEqual(page.complaints, []);
  });

  test("an alarm of the network slides over another page, but not one that stood before", async () => {
    station.setNet("offline", true);
    const page = await open("/#/power");
    await page.locator(".badge").waitFor();
    await page.waitForTimeout(2500);
    assert.equal(await page.locator(".fresh").count(), 0);
    station.setNet("conflict", true);
    await page.locator(".fresh").getByText("Konflikt").waitFor();
    assert.match(await page.locator("[aria-live=assertive]").innerText(), /Alarm: Netz, Art-Net 1/);
  });

  test("names that are markup, turn the writing round or hold control characters do nothing", async () => {
    station.setNet("hostile", true);
    station.setNet("conflict", true);
    station.setNet("universes", 30);
    for (const path of ["/#/network", first, "/#/", "/foh"]) {
      const page = await open(path);
      await page.locator(path === first ? ".cell" : path === "/#/network" ? ".line" : ".verdict.alarm").first().waitFor();
      await page.waitForTimeout(300);
      assert.equal(await page.locator("img, script:not([src])").count(), 0, path);
      assert.notEqual(await page.title(), "hacked");
      const shown = await page.evaluate(() => document.body.textContent);
      assert.ok(shown.includes("<img src=x"), `${path} shows the markup`);
      assert.doesNotMatch(shown, /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]/u, path);
      assert.equal(await overflow(page), 0, path);
      assert.deepEqual(page.complaints, []);
      await page.close();
    }
  });

  test("the channels of a universe live, five to ten times a second, one request at a time, and none while the page is hidden", async () => {
    const page = await open(first);
    const cell = page.locator(".cell").nth(40);
    await until(async () => /^41\s*\d+$/.test((await cell.innerText()).trim()), "a level");
    const level = await cell.innerText();
    await until(async () => (await cell.innerText()) !== level, "another level");
    station.requests.most = 0;
    const before = station.asked.dmx;
    await page.waitForTimeout(3000);
    const perSecond = (station.asked.dmx - before) / 3;
    assert.ok(perSecond >= 4 && perSecond <= 10, `${perSecond} a second`);
    await show(page, "hidden");
    await page.waitForTimeout(300);
    const hidden = station.asked.dmx;
    await page.waitForTimeout(1500);
    assert.equal(station.asked.dmx, hidden);
    await show(page, "visible");
    await until(() => station.asked.dmx > hidden + 2, "asking again");
    station.faults.delay = 900;
    await page.waitForTimeout(1500);
    station.requests.most = 0;
    await page.waitForTimeout(3000);
    assert.ok(station.requests.most <= 6, `${station.requests.most} requests at once for six things`);
    station.faults.delay = 2500;
    await page.locator(".universe").getByText(/Stand \d\d:\d\d:\d\d, vor \d s/).waitFor();
    assert.equal(await page.locator(".old > .channels").count(), 1);
    assert.deepEqual(page.complaints, []);
  });

  test("only cells whose level has changed are touched", async () => {
    const page = await open(first);
    await page.locator(".cell.lit").first().waitFor();
    const touched = await page.evaluate(
      () =>
        new Promise((done) => {
          const found = new Set();
          const watch = new MutationObserver((changes) => {
            for (const { target } of changes) found.add((target.nodeType === 3 ? target.parentElement : target).closest(".cell").dataset.channel);
          });
          watch.observe(document.querySelector(".channels"), { subtree: true, childList: true, characterData: true, attributes: true });
          setTimeout(() => (watch.disconnect(), done([...found].map(Number))), 1500);
        }),
    );
    assert.ok(touched.length > 40, `${touched.length} cells`);
    assert.deepEqual(touched.filter((index) => index >= 24 && index % 10 !== 0), []);
  });

  test("arrow keys lead from channel to channel and say what stands there; Escape leads back", async () => {
    const page = await open(first, desk);
    await page.locator(".cell.lit").first().waitFor();
    await page.locator(".channels").focus();
    const said = page.locator(".universe [aria-live=polite]");
    for (const [key, channel] of [["ArrowRight", 2], ["ArrowDown", 18], ["End", 512], ["ArrowRight", 512], ["Home", 1]]) {
      await page.keyboard.press(key);
      await until(async () => new RegExp(`^Kanal ${channel}: \\d+, \\d+ %$`).test(await said.innerText()), `${key} to ${channel}`);
      assert.equal(await page.locator(".cell[data-cursor] span").innerText(), String(channel));
    }
    assert.ok((await page.locator(".channels").getAttribute("aria-label")).startsWith("512 Kanäle"));
    assert.match(await text(page, "#channels-sum"), /\d+ von 512 Kanälen über 0, höchster Wert 255 auf Kanal \d+/);
    await page.keyboard.press("Escape");
    await page.waitForURL(/#\/network$/);
    assert.deepEqual(page.complaints, []);
  });

  test("a tap on a channel tells it in both units, and the switch changes all cells", async () => {
    const page = await open(first);
    await page.locator(".cell").nth(28).click();
    await until(async () => /Kanal 29\s+128 · 50 %/.test(await text(page, ".channel-info")), "channel 29");
    await page.getByRole("button", { name: "%", exact: true }).click();
    await until(async () => /^29\s*50$/.test((await page.locator(".cell").nth(28).innerText()).trim()), "percent");
    assert.equal(await page.locator(".cell").count(), 512);
  });

  test("the source is chosen, stays chosen, and gives way when it is gone", async () => {
    station.setNet("conflict", true);
    const page = await open(first);
    const sources = page.locator(".source");
    await until(async () => (await sources.count()) === 2, "two sources");
    assert.equal(await sources.nth(0).getAttribute("aria-pressed"), "true");
    assert.match(await sources.nth(1).innerText(), /Backup-Pult\s+aktiv\s+10\.101\.0\.11 · 4[34]\/s · Licht/);
    await sources.nth(1).click();
    await until(async () => (await sources.nth(1).getAttribute("aria-pressed")) === "true", "the other source");
    await page.waitForTimeout(700);
    assert.equal(await sources.nth(1).getAttribute("aria-pressed"), "true");
    station.setNet("conflict", false);
    await page.getByText("Die gewählte Quelle ist nicht mehr da.").waitFor();
    await page.getByRole("button", { name: "wieder die aktive zeigen" }).click();
    await until(async () => (await page.getByText("Die gewählte Quelle ist nicht mehr da.").count()) === 0, "the active one");
    assert.deepEqual(page.complaints, []);
  });

  test("a universe that nobody sends says so, and fixtures stand under their channels", async () => {
    station.setNet("fixtures", true);
    const page = await open(first);
    await page.locator(".universe").getByText("101 Spot links").last().waitFor();
    await page.locator(".cell").nth(5).click();
    await until(async () => /101 Spot links/.test(await text(page, ".channel-info")), "the fixture of channel 6");
    station.setNet("dmxSource", false);
    await page.getByText("Niemand sendet dieses Universum").waitFor();
  });

  test("without the monitor the page says so and how to start it, calmly", async () => {
    station.setNet("running", false);
    const page = await open("/#/network");
    await page.getByText("Überwachung läuft nicht").waitFor();
    await page.getByText("kestrelyne monitor start").waitFor();
    assert.equal(await page.locator(".mark.alarm, .mark.warning").count(), 0);
    await page.goto(`${url}/#/`);
    await page.getByText("Alles in Ordnung").waitFor();
    await page.getByText("Überwachung läuft nicht").waitFor();
    assert.deepEqual(page.complaints, []);
  });

  test("nothing is vouched for before the network has been heard of", async () => {
    station.asked.broken = true;
    const page = await open("/#/");
    await page.getByText("Noch keine Daten vom Netz").waitFor();
    station.asked.broken = false;
    await page.getByText("Alles in Ordnung").waitFor();
  });

  test("what limits the listening stands on the page", async () => {
    station.setNet("errors", true);
    const page = await open("/#/network");
    const box = page.locator("[data-section=errors]");
    await box.getByText("Art-Net: Port 6454 ist belegt").waitFor();
    await box.getByText("12 Pakete in diesem Rechner verloren, nicht im Netz").waitFor();
  });

  test("the detail stands beside the list on a desk and instead of it on a phone, which comes back where it was", async () => {
    station.setNet("universes", 200);
    const page = await open("/#/network", desk);
    await universes(page).locator(".line").nth(2).click();
    await page.locator(".cell").first().waitFor();
    const list = await page.locator(".master").boundingBox();
    const detail = await page.locator(".detail").boundingBox();
    assert.ok(detail.x >= list.x + list.width);
    assert.equal(await page.locator(".line[aria-current]").count(), 1);
    await page.setViewportSize(phone);
    assert.equal(await page.locator(".master").isVisible(), false);
    await page.keyboard.press("Escape");
    await universes(page).locator(".line").first().waitFor();
    await page.evaluate(() => window.scrollTo(0, 5000));
    await until(async () => (await universes(page).locator('[aria-posinset="60"]').count()) === 1, "the middle of the list");
    await universes(page).locator('[aria-posinset="60"] .line').click();
    await page.locator(".cell").first().waitFor();
    assert.equal(await page.evaluate(() => window.scrollY), 0);
    await page.goBack();
    await until(() => page.evaluate(() => Math.abs(window.scrollY - 5000) < 200), "where it was");
    assert.deepEqual(page.complaints, []);
  });

  test("nothing is wider than the screen and everything to tap is 44 pixels high, dark and light", async () => {
    station.setNet("conflict", true);
    station.setNet("universes", 200);
    for (const size of [{ width: 360, height: 740 }, phone, { width: 1024, height: 768 }, desk])
      for (const scheme of ["dark", "light"]) {
        const page = await browser.page({ ...size, scheme });
        for (const path of ["/#/network", first]) {
          await page.goto(`${url}${path}`);
          await page.locator(path === first ? ".cell.lit" : ".line").first().waitFor();
          assert.equal(await overflow(page), 0, `${path} at ${size.width}`);
          const small = await page.evaluate(() =>
            [...document.querySelectorAll("a:not(.skip), button, input, .cell")]
              .filter((at) => at.checkVisibility())
              .map((at) => ({ name: at.textContent || at.id, height: at.getBoundingClientRect().height }))
              .filter(({ height }) => height < 44),
          );
          assert.deepEqual(small, [], `${path} at ${size.width}`);
        }
        assert.deepEqual(page.complaints, []);
        await page.close();
      }
  });

  test("the wall tells of the network and its alarms", async () => {
    station.setNet("conflict", true);
    const page = await open("/foh", { width: 1920, height: 1080 });
    await page.getByText("Netz: Art-Net 1 (0:0:1): Konflikt grandMA Pult ↔ Backup-Pult").waitFor();
    assert.match(await text(page, ".wall-network"), /Universen aktiv\s+11\s+Nodes da\s+2\s+Geräte online\s+5\s*von 6/);
    assert.equal(await page.locator("button, a, input").count(), 0);
    assert.equal(await page.evaluate(() => document.documentElement.scrollHeight), 1080);
    assert.deepEqual(page.complaints, []);
  });
});
