// New alarms: slid in once over whatever page is open, and kept until they have been seen.

import { useEffect, useState } from "preact/hooks";
import { addUnseen } from "../data/fresh";
import type { Problem } from "../data/verdict";
import { LevelMark, levelWords } from "./basics";
import { Icon } from "./icons";

const shown = 3;

interface Props {
  fresh: Problem[];
  current: Problem[];
  /** The open page shows the problems itself: whoever looks at it has seen them. */
  silent: boolean;
}

export function NewAlarms({ fresh, current, silent }: Props) {
  const [unseen, setUnseen] = useState<Problem[]>([]);
  useEffect(() => setUnseen((before) => (silent ? [] : addUnseen(before, fresh))), [fresh]);
  useEffect(() => {
    if (silent) setUnseen([]);
  }, [silent]);
  useEffect(() => {
    if (unseen.length === 0) return;
    const escape = (event: KeyboardEvent) => {
      if (event.key === "Escape" && !document.querySelector("dialog[open]")) setUnseen([]);
    };
    window.addEventListener("keydown", escape);
    return () => window.removeEventListener("keydown", escape);
  }, [unseen.length > 0]);

  const seen = (problem: Problem) => setUnseen((before) => before.filter((other) => other !== problem));
  if (unseen.length === 0) return null;
  const there = new Set(current.map((problem) => problem.key));
  return (
    <div class="fresh" role="region" aria-label="Neue Meldungen">
      {unseen.slice(0, shown).map((problem) => (
        <div key={problem.key} class={`fresh-one ${problem.severity}`}>
          <a href={problem.link} onClick={() => seen(problem)}>
            <LevelMark level={problem.severity} />
            <span class="fresh-text">
              {problem.what}
              <span class="quiet">
                {problem.where}
                {!there.has(problem.key) && " · inzwischen behoben"}
              </span>
            </span>
          </a>
          <button type="button" class="plain" aria-label="Gesehen" onClick={() => seen(problem)}>
            <Icon name="close" size={20} />
          </button>
        </div>
      ))}
      {unseen.length > shown && (
        <button type="button" class="fresh-rest" onClick={() => setUnseen([])}>
          {unseen.length - shown} weitere – alle gesehen
        </button>
      )}
    </div>
  );
}

/** Reads new alarms out to a screen reader. It is always in the page: a region that comes with its text is not read. */
export function Announcer({ fresh }: { fresh: Problem[] }) {
  return (
    <div class="aside-text" role="alert" aria-live="assertive">
      {fresh.map((problem) => `${levelWords[problem.severity]}: ${problem.where}, ${problem.what}. `)}
    </div>
  );
}
