import { since, span } from "../data/format";
import type { Problem } from "../data/verdict";
import { LevelMark } from "./basics";
import { Icon } from "./icons";

/** A rig in trouble may have hundreds; who reads more than these looks at the page they lead to. */
const most = 30;

export function ProblemList({ problems, now }: { problems: Problem[]; now: number }) {
  const rest = problems.length - most;
  return (
    <ul class="problems">
      {problems.slice(0, most).map((problem) => (
        <li key={problem.key}>
          <a class={`problem ${problem.severity}`} href={problem.link}>
            <span class="problem-body">
              <LevelMark level={problem.severity} />
              <span class="problem-text">
                <bdi class="problem-what">{problem.what}</bdi>
                <span class="quiet">
                  {problem.where}
                  {problem.since !== null && ` · seit ${since(problem.since, now)} (${span(now - problem.since)})`}
                </span>
              </span>
            </span>
            <Icon name="forward" size={20} />
          </a>
        </li>
      ))}
      {rest > 0 && <li class="quiet">und {rest} weitere</li>}
    </ul>
  );
}
