import type { Problem } from "./verdict";

/** Problems that were not known before. Without a before (the first answer) nothing is new: the page just came to know all of it. */
export function newProblems(known: ReadonlySet<string> | null, current: Problem[]): Problem[] {
  return known ? current.filter((problem) => !known.has(problem.key)) : [];
}

/** The unseen ones after more came in, newest first; one that comes back while unseen stays a single line. */
export function addUnseen(unseen: Problem[], fresh: Problem[]): Problem[] {
  const added = new Set(fresh.map((problem) => problem.key));
  return [...fresh, ...unseen.filter((problem) => !added.has(problem.key))];
}
