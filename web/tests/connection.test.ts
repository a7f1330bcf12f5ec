import assert from "node:assert/strict";
import { test } from "node:test";
import { clockOffset, connection, isStale, lostText } from "../src/data/connection";

test("silence of three and a half seconds is a lost connection and counts from the last answer", () => {
  assert.deepEqual(connection(10_000, 0, 13_499), { state: "there", silent: 0 });
  assert.deepEqual(connection(10_000, 0, 13_500), { state: "lost", silent: 3500 });
  assert.deepEqual(connection(10_000, 0, 18_200), { state: "lost", silent: 8200 });
});

test("a page that slept gets its time to ask before it says the connection is lost", () => {
  assert.equal(connection(10_000, 600_000, 603_000).state, "there");
  assert.deepEqual(connection(10_000, 600_000, 603_500), { state: "lost", silent: 593_500 });
});

test("without any answer the page is connecting, then lost since it began", () => {
  assert.equal(connection(null, 1000, 2000).state, "connecting");
  assert.deepEqual(connection(null, 1000, 6000), { state: "lost", silent: 5000 });
});

test("the banner tells how long and from when the figures are", () => {
  const received = Date.UTC(2025, 10, 21, 20, 14, 3);
  assert.equal(lostText(8200, received), "keine Verbindung seit 8 s – Stand 21:14:03");
  assert.equal(lostText(8200, null), "keine Verbindung seit 8 s");
});

test("figures are old after three intervals", () => {
  assert.equal(isStale(null, 1000, 9000), false);
  assert.equal(isStale(1000, 1000, 4000), false);
  assert.equal(isStale(1000, 1000, 4001), true);
});

test("the station's clock is read in the middle of the request", () => {
  assert.equal(clockOffset(110, 100_000, 102_000), 9);
});
