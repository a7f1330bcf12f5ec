import { useMemo } from "preact/hooks";
import { sparkline } from "../data/trend";
import type { Reading } from "../data/shapes";

const width = 160;
const height = 36;

/** The course of a value without axes; the figure beside it says how much, so it is silent for screen readers. */
export function Spark({ values }: { values: Reading[] }) {
  const line = useMemo(() => sparkline(values, width, height - 2), [values]);
  return (
    <svg class="spark" viewBox={`0 -1 ${width} ${height}`} preserveAspectRatio="none" aria-hidden="true">
      <path class="spark-area" d={line.area} />
      <path class="spark-line" d={line.path} vector-effect="non-scaling-stroke" />
    </svg>
  );
}
