// Curves: points of a trend placed in time and in a drawing.

import type { Reading } from "./shapes";

/** Times for the points of a trend that ends now and spans that many seconds. */
export function trendTimes(points: number, spanSeconds: number, end: number): number[] {
  if (points < 2) return points === 1 ? [end] : [];
  const step = spanSeconds / (points - 1);
  return Array.from({ length: points }, (_, index) => end - spanSeconds + index * step);
}

export interface Line {
  path: string;
  /** The same closed down to the ground, for the light filling; one piece for each run without a gap. */
  area: string;
}

/**
 * A small curve without axes in a box of that size, from the lowest to the highest value: it shows that and when a load changes,
 * the figure beside it how large it is. Gaps stay gaps.
 */
export function sparkline(values: Reading[], width: number, height: number): Line {
  const known = values.filter((value): value is number => value !== null);
  if (known.length < 2) return { path: "", area: "" };
  let low = Math.min(...known);
  let high = Math.max(...known);
  // Never blow noise up to the full height: at least 5 % of the size is shown.
  const least = Math.max(Math.abs(high), Math.abs(low)) * 0.05 || 1;
  if (high - low < least) {
    const middle = (high + low) / 2;
    low = middle - least / 2;
    high = middle + least / 2;
  }
  const x = (index: number) => ((index / (values.length - 1)) * width).toFixed(1);
  const y = (value: number) => (height - ((value - low) / (high - low)) * height).toFixed(1);
  let path = "";
  let area = "";
  let start: string | null = null;
  let last = "";
  const close = () => {
    if (start !== null) area += `L${last} ${height}L${start} ${height}Z`;
    start = null;
  };
  values.forEach((value, index) => {
    if (value === null) {
      close();
      return;
    }
    const point = `${x(index)} ${y(value)}`;
    path += (start === null ? "M" : "L") + point;
    area += (start === null ? "M" : "L") + point;
    start ??= x(index);
    last = x(index);
  });
  close();
  return { path, area };
}
