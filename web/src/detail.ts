// The details of the network: asked for only while a page that shows them is open.

import { useEffect } from "preact/hooks";
import { Feed, type FeedState } from "./data/feed";
import { readNetDetail, type NetDetail } from "./data/netdetail";
import { answer, use, useFeed } from "./station";

// Switches are read about once in ten seconds and their tables once a minute; with dozens of them the answer is long.
const pause = 5000;
const timeout = 10_000;

let last: { text: string; detail: NetDetail } | null = null;

async function ask(signal: AbortSignal): Promise<NetDetail> {
  const text = await answer("/api/netdetail", { signal });
  // The same answer again needs no reading and no drawing.
  if (last?.text !== text) last = { text, detail: readNetDetail(JSON.parse(text)) };
  return last.detail;
}

/** One for all pages: the next one opens with what the one before has shown. */
const feed = new Feed(ask, { pause, timeout, longestPause: pause });
export const detailInterval = pause;

export function useNetDetail(): FeedState<NetDetail> {
  useEffect(() => use(feed), []);
  return useFeed(feed);
}
