// The patch, single lamps and the test light: what is asked of the station while a page shows them, and the commands.

import { useEffect, useMemo, useState } from "preact/hooks";
import { Feed, type FeedState } from "./data/feed";
import { readFixture, readPatch, readRig, type FixtureDetail, type Patch, type Rig } from "./data/patch";
import { orderOf, type LightWish } from "./data/rig";
import { answer, command, get, info, rig, use, useFeed, watchRig } from "./station";

const timeout = 5000;
const longestPause = 4000;

/** Long answers are asked for less often, so that they do not fill a slow line. */
const listPause = { short: 2000, long: 6000 };
const longList = 40_000;
/** From the last key on: whoever types a number asks once, not four times. */
const typingPause = 120;

/** What is typed in the search stays while other pages are open. */
let query = "";
let last: { text: string; patch: Patch } | null = null;

/** One for all pages: the next one opens with what the one before has shown. */
const list: Feed<Patch> = new Feed(
  async (signal) => {
    const asked = query.trim();
    const text = await answer(`/api/patch?q=${encodeURIComponent(asked)}`, { signal });
    list.pace(text.length > longList ? listPause.long : listPause.short);
    // The same answer again needs no reading and no drawing.
    if (last?.text !== text || last.patch.query !== asked) last = { text, patch: readPatch(JSON.parse(text), asked) };
    return last.patch;
  },
  { pause: listPause.short, timeout, longestPause },
);

export interface Search {
  state: FeedState<Patch>;
  query: string;
  /** The list is of what was typed before. */
  behind: boolean;
  search(text: string): void;
}

export function useSearch(): Search {
  const [shown, setShown] = useState(query);
  useEffect(() => use(list), []);
  const state = useFeed(list);
  const search = (text: string) => {
    query = text;
    setShown(text);
    if (text.trim() !== state.data?.query) list.restart(typingPause);
  };
  return { state, query: shown, behind: state.data !== null && state.data.query !== shown.trim(), search };
}

/** The state of the whole rig, asked for each second while the component that shows it is there. */
export function useRig(): Rig | null {
  useEffect(watchRig, []);
  const { data } = useFeed(rig);
  return useMemo(() => data && readRig(data.told), [data]);
}

/** The device of a lamp is read when it is looked at first: one that is silent costs seconds for each of its parameters. */
const readingPatience = 30_000;

export function useFixture(id: string): Feed<FixtureDetail> {
  const feed = useMemo(
    () =>
      new Feed(async (signal) => readFixture(await get(`/api/fixture/${encodeURIComponent(id)}`, signal)), {
        pause: 2000,
        timeout: readingPatience,
        longestPause,
      }),
    [id],
  );
  useEffect(() => use(feed), [feed]);
  useFeed(feed);
  return feed;
}

/** What all pages show is asked for anew at once. */
function changed(): void {
  rig.refresh();
  list.refresh();
}

/** Throws a text for people when it does not succeed. */
const order = async (path: string, body: object, patience?: number): Promise<string> => {
  try {
    return await command(path, body, patience);
  } catch (wrong) {
    // The session may have ended meanwhile.
    info.refresh();
    throw wrong;
  } finally {
    changed();
  }
};

export const scan = () => order("/api/rdm/scan", {});
export const stopLight = () => order("/api/dmx/stop", {});
export const startLight = (wish: LightWish) => order("/api/dmx/start", orderOf(wish));

const lamp = (id: string, action: string, body: object) => order(`/api/fixture/${encodeURIComponent(id)}/${action}`, body, readingPatience);

export const highlight = (id: string, on: boolean) => lamp(id, "highlight", { on });
/** The others answer with what the lamp reports now. */
const reported = async (id: string, action: string, body: object) => readFixture(JSON.parse(await lamp(id, action, body)));
export const identify = (id: string, on: boolean) => reported(id, "identify", { on });
export const setAddress = (id: string, address: number) => reported(id, "address", { address });
export const setMode = (id: string, number: number) => reported(id, "mode", { number });
export const refresh = (id: string) => reported(id, "refresh", {});

/** What was set on the test page, kept while others are open; before that it is as the station has it. */
export const wished: { wish: LightWish | null; names: Map<string, string> } = { wish: null, names: new Map() };
