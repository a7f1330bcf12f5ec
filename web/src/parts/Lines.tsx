// A list of lines of one form and height. Only those in sight are in the page, so a thousand scroll like ten.

import { useRef, useState } from "preact/hooks";
import { span } from "../data/format";
import type { Line } from "../data/lines";
import { Sheet, StateSign } from "./basics";
import { useWindowed } from "./windowed";

const heights = { narrow: 84, wide: 56 };

/** @param elapsed seconds since the answer that the line is from */
function Content({ line, elapsed }: { line: Line; elapsed: number }) {
  return (
    <>
      <bdi class="line-title">{line.title}</bdi>
      {line.mark && <StateSign mark={line.mark} />}
      <bdi class="line-note">{line.note}</bdi>
      <span class="line-figures figure">
        <bdi>{line.figures}</bdi>
        {line.age !== null && <span class="line-age">vor {span(line.age + elapsed)}</span>}
      </span>
    </>
  );
}

function Facts({ line, elapsed, onClose }: { line: Line; elapsed: number; onClose: () => void }) {
  return (
    <Sheet title={line.title} onClose={onClose}>
      {line.mark && <StateSign mark={line.mark} />}
      <dl class="facts">
        {line.facts.map(([name, value]) => (
          <>
            <dt>{name}</dt>
            <dd>{value}</dd>
          </>
        ))}
        {line.age !== null && (
          <>
            <dt>Zuletzt gehört</dt>
            <dd>vor {span(line.age + elapsed)}</dd>
          </>
        )}
      </dl>
    </Sheet>
  );
}

interface Props {
  name: string;
  lines: Line[];
  elapsed: number;
  /** The key of the line whose detail is open. */
  current?: string | null;
}

export function Lines({ name, lines, elapsed, current = null }: Props) {
  const box = useRef<HTMLDivElement>(null);
  const { first, end, rowHeight, wide } = useWindowed(box, lines.length, heights);
  const [open, setOpen] = useState<string | null>(null);
  const opened = open === null ? undefined : lines.find((line) => line.key === open);
  return (
    <div class={`events card ${wide ? "wide" : ""}`} ref={box} style={{ height: `${lines.length * rowHeight + 2}px` }} role="list" aria-label={name}>
      {lines.slice(first, end).map((line, index) => (
        <div
          // By place and not by key: what is heard on the network may hold the same name twice.
          key={first + index}
          class="event-place"
          role="listitem"
          aria-posinset={first + index + 1}
          aria-setsize={lines.length}
          style={{ top: `${(first + index) * rowHeight}px`, height: `${rowHeight}px` }}
        >
          {line.link ? (
            <a class={`line ${line.silent ? "old" : ""}`} href={line.link} aria-current={line.key === current ? "true" : undefined}>
              <Content line={line} elapsed={elapsed} />
            </a>
          ) : (
            <button type="button" class={`line ${line.silent ? "old" : ""}`} onClick={() => setOpen(line.key)}>
              <Content line={line} elapsed={elapsed} />
            </button>
          )}
        </div>
      ))}
      {opened && <Facts line={opened} elapsed={elapsed} onClose={() => setOpen(null)} />}
    </div>
  );
}
