// A curve over time with the unit on its axis, gaps where nothing was measured, and the value under the finger.

import { useEffect, useRef, useState } from "preact/hooks";
import uPlot from "uplot";
import { clock, decimal, scaleOf, withUnit } from "../data/format";
import type { Reading } from "../data/shapes";

export interface Series {
  name: string;
  /** Name of the colour token, such as "--l1". */
  color: string;
  values: Reading[];
}

interface Props {
  title: string;
  unit: string;
  times: number[];
  series: Series[];
  /** The point under the finger, shared by the charts of a page. */
  cursor: number | null;
  onCursor: (index: number | null) => void;
}

const height = 220;
const token = (name: string) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

/** Room above and below, at least a fiftieth of the size: a steady load is a line, not a mountain range. */
function range(low: number | null, high: number | null): [number, number] {
  if (low === null || high === null) return [0, 1];
  const room = Math.max((high - low) * 0.1, Math.abs(high) * 0.02, 1e-3);
  return [low >= 0 ? Math.max(0, low - room) : low - room, high + room];
}

function ticks(unit: string) {
  return (_: uPlot, splits: number[], __: number, ___: number, step: number): string[] => {
    const { factor, prefix } = scaleOf(Math.max(...splits.map(Math.abs)), unit);
    const decimals = Math.min(3, Math.max(0, -Math.floor(Math.log10(step / factor) + 1e-9)));
    return splits.map((value) => `${decimal(value / factor, decimals)} ${prefix}${unit}`);
  };
}

function options({ unit, series, width }: { unit: string; series: Series[]; width: number }): uPlot.Options {
  const quiet = token("--quiet");
  const axis = { stroke: quiet, font: "12px system-ui, sans-serif", ticks: { show: false }, grid: { stroke: token("--line"), width: 1 } };
  const mute = () => null;
  return {
    width,
    height,
    padding: [8, 12, 0, 0],
    legend: { show: false },
    cursor: {
      drag: { x: false, y: false },
      y: false,
      // The position comes from the page, so that all charts of it show the same moment.
      bind: { mousemove: mute, mousedown: mute, mouseup: mute, click: mute, dblclick: mute, mouseenter: mute, mouseleave: mute },
    },
    scales: { x: { time: true }, y: { range: (_, low, high) => range(low, high) } },
    axes: [
      { ...axis, size: 30, space: 64, values: (_, splits, __, ___, step) => splits.map((time) => (step < 60 ? clock(time) : clock(time).slice(0, 5))) },
      { ...axis, size: width < 480 ? 60 : 72, values: ticks(unit) },
    ],
    series: [
      {},
      ...series.map((line) => ({ label: line.name, stroke: token(line.color), width: 1.75, spanGaps: false, points: { show: false } })),
    ],
  };
}

export function Chart(props: Props) {
  const { title, unit, times, series, cursor, onCursor } = props;
  const box = useRef<HTMLDivElement>(null);
  const plot = useRef<uPlot | null>(null);
  const [width, setWidth] = useState(0);
  const [dark, setDark] = useState(() => matchMedia("(prefers-color-scheme: dark)").matches);
  const data: uPlot.AlignedData = [times, ...series.map((line) => line.values)];

  useEffect(() => {
    const resized = new ResizeObserver(([entry]) => setWidth(Math.floor(entry?.contentRect.width ?? 0)));
    resized.observe(box.current!);
    const scheme = matchMedia("(prefers-color-scheme: dark)");
    const changed = () => setDark(scheme.matches);
    scheme.addEventListener("change", changed);
    return () => {
      resized.disconnect();
      scheme.removeEventListener("change", changed);
    };
  }, []);

  useEffect(() => {
    if (width < 80) return;
    const made = new uPlot(options({ unit, series, width }), data, box.current!);
    plot.current = made;
    return () => {
      made.destroy();
      plot.current = null;
    };
  }, [width > 0, dark, unit, series.length]);

  useEffect(() => {
    if (width >= 80) plot.current?.setSize({ width, height });
  }, [width]);

  useEffect(() => {
    plot.current?.setData(data);
  }, [times]);

  useEffect(() => {
    const time = cursor === null ? undefined : times[cursor];
    plot.current?.setCursor(time === undefined ? { left: -10, top: -10 } : { left: plot.current.valToPos(time, "x"), top: 0 });
  }, [cursor, times, width, dark]);

  const follow = (event: PointerEvent) => {
    const over = plot.current?.over;
    if (!over || times.length === 0) return;
    const left = event.clientX - over.getBoundingClientRect().left;
    onCursor(Math.max(0, Math.min(times.length - 1, plot.current!.posToIdx(left))));
  };
  const step = (event: KeyboardEvent) => {
    const last = times.length - 1;
    const at = cursor ?? last;
    const to = { ArrowLeft: at - 1, ArrowRight: at + 1, Home: 0, End: last }[event.key];
    if (to === undefined || last < 0) return;
    event.preventDefault();
    onCursor(Math.max(0, Math.min(last, to)));
  };

  const at = cursor ?? times.length - 1;
  const shownTime = times[at];
  return (
    <figure class="chart">
      <figcaption class="chart-head">
        <h3>{title}</h3>
        <span class="readout">
          {series.map((line) => (
            <span key={line.name} class="readout-value">
              <span class="swatch" style={{ background: `var(${line.color})` }} />
              {series.length > 1 && <span class="readout-name">{line.name}</span>}
              <span class="figure">{withUnit(line.values[at] ?? null, unit)}</span>
            </span>
          ))}
          <span class="quiet readout-time">{shownTime === undefined ? "–" : clock(shownTime)}</span>
        </span>
      </figcaption>
      <div
        class="chart-box"
        ref={box}
        tabIndex={0}
        role="img"
        aria-label={`${title}: Verlauf, mit den Pfeiltasten Punkt für Punkt`}
        style={{ height: `${height}px` }}
        onPointerDown={follow}
        onPointerMove={follow}
        onPointerUp={(event) => event.pointerType !== "mouse" && onCursor(null)}
        onPointerCancel={() => onCursor(null)}
        onPointerLeave={() => onCursor(null)}
        onKeyDown={step}
        onBlur={() => onCursor(null)}
      />
    </figure>
  );
}
