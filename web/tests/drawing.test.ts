import assert from "node:assert/strict";
import { test } from "node:test";
import { routeOf, links } from "../src/data/route";
import { sparkline, trendTimes } from "../src/data/trend";
import { visibleRows } from "../src/data/windowing";

test("a trend's points span its seconds and end now", () => {
  assert.deepEqual(trendTimes(5, 8, 100), [92, 94, 96, 98, 100]);
  assert.deepEqual(trendTimes(1, 8, 100), [100]);
  assert.deepEqual(trendTimes(0, 8, 100), []);
});

test("a gap in a small curve stays a gap", () => {
  const { path, area } = sparkline([0, 10, null, 5, 10], 40, 10);
  assert.equal(path, "M0.0 10.0L10.0 0.0M30.0 5.0L40.0 0.0");
  assert.equal(area.match(/Z/g)?.length, 2);
});

test("a steady value is a line in the middle, not magnified noise", () => {
  assert.equal(sparkline([1000, 1000], 10, 10).path, "M0.0 5.0L10.0 5.0");
  assert.equal(sparkline([0, 0], 10, 10).path, "M0.0 5.0L10.0 5.0");
  const [, first, second] = /M0\.0 ([\d.]+)L10\.0 ([\d.]+)/.exec(sparkline([1000, 1001], 10, 10).path)!;
  assert.ok(Math.abs(Number(first) - Number(second)) < 0.5);
});

test("fewer than two values draw nothing", () => {
  for (const values of [[], [1], [null, 4, null]]) assert.deepEqual(sparkline(values, 10, 10), { path: "", area: "" });
});

test("only rows in sight and a few beyond are in the page", () => {
  assert.deepEqual(visibleRows(5000, 64, 64_000, 640), { first: 992, end: 1018 });
  assert.deepEqual(visibleRows(5000, 64, -300, 640), { first: 0, end: 14 });
  assert.deepEqual(visibleRows(5000, 64, 5000 * 64 - 640, 640), { first: 4982, end: 5000 });
  assert.deepEqual(visibleRows(3, 64, 0, 640), { first: 0, end: 3 });
  assert.deepEqual(visibleRows(0, 64, 0, 640), { first: 0, end: 0 });
});

test("a list out of sight keeps a few rows to begin with", () => {
  assert.deepEqual(visibleRows(100, 64, -5000, 640), { first: 0, end: 8 });
  assert.deepEqual(visibleRows(3, 64, 9000, 640), { first: 0, end: 3 });
});

test("addresses lead to their pages and unknown ones to the first", () => {
  assert.deepEqual(routeOf("#/power"), { page: "power", device: null });
  assert.deepEqual(routeOf(links.device("a b/ü")), { page: "power", device: "a b/ü" });
  assert.deepEqual(routeOf("#/events"), { page: "events" });
  assert.deepEqual(routeOf("#/more"), { page: "more" });
  for (const hash of ["", "#", "#/", "#/nowhere"]) assert.deepEqual(routeOf(hash), { page: "overview" });
});

test("a broken escape in an address is taken as it stands", () => {
  assert.deepEqual(routeOf("#/device/%zz"), { page: "power", device: "%zz" });
});
