// One command at a time to a lamp, and what came of it.

import { useRef, useState } from "preact/hooks";
import type { Feed } from "../data/feed";
import type { FixtureDetail } from "../data/patch";

export interface Deed {
  /** The command that is under way. */
  busy: string | null;
  /** What stands on its button meanwhile. */
  doing: string;
  /** The command that `outcome` and `failure` are about. */
  last: string | null;
  outcome: string;
  failure: string;
  /** @param act gives what is said of its success; throws a text for people */
  run(name: string, doing: string, act: () => Promise<string>): void;
  /**
   * A command that the lamp answers with what it reports now, which is shown at once.
   * @param said what is said of that; null where the lamp does not report what it was told
   */
  tell(name: string, doing: string, act: () => Promise<FixtureDetail>, said: (now: FixtureDetail) => string | null): void;
}

export function useDeed(feed: Feed<FixtureDetail>): Deed {
  const [busy, setBusy] = useState<string | null>(null);
  const [doing, setDoing] = useState("");
  const [result, setResult] = useState<Pick<Deed, "last" | "outcome" | "failure">>({ last: null, outcome: "", failure: "" });
  const under = useRef(false);
  const run: Deed["run"] = (name, word, act) => {
    if (under.current) return;
    under.current = true;
    setBusy(name);
    setDoing(word);
    setResult({ last: name, outcome: "", failure: "" });
    void act()
      .then(
        (outcome) => setResult({ last: name, outcome, failure: "" }),
        (failure: unknown) => setResult({ last: name, outcome: "", failure: typeof failure === "string" ? failure : "Unverständliche Antwort." }),
      )
      .finally(() => {
        under.current = false;
        setBusy(null);
        feed.refresh();
      });
  };
  const tell: Deed["tell"] = (name, word, act, said) =>
    run(name, word, async () => {
      const now = await act();
      feed.put(now);
      if (now.failure) throw `Nicht ausgeführt: ${now.failure}`;
      const text = said(now);
      if (text === null) throw "Nicht übernommen. Was die Lampe jetzt meldet, steht unter „Gerät meldet“.";
      return text;
    });
  return { busy, doing, ...result, run, tell };
}
