// The station this page was loaded from: what is asked of it, how often, and what was told last.

import { useEffect, useMemo, useReducer, useRef, useState } from "preact/hooks";
import { clockOffset, connection, type Connection } from "./data/connection";
import { Feed, type FeedState, Refusal } from "./data/feed";
import { exact, fields, harmless } from "./data/json";
import { readDmx, readNetwork, steadySource, type Dmx, type Network } from "./data/network";
import { readDevice, readEvents, readInfo, readPower, type DeviceDetail, type LogEvent } from "./data/shapes";

const timeout = 3500;
const longestPause = 4000;
const eventPause = 3000;

/** The body of a success; throws a `Refusal` with what the station says against it. */
export async function answer(path: string, init: RequestInit): Promise<string> {
  const response = await fetch(path, { ...init, cache: "no-store", credentials: "same-origin" });
  const body = await response.text();
  if (response.ok) return body;
  // The station says what is wrong; what says nothing, as a proxy in front of a stopped station, is not the station.
  const told = exact(fields(JSON.parse(body)).error);
  if (!told) throw new Error(`status ${response.status}`);
  throw new Refusal(harmless(told));
}

export const get = async (path: string, signal: AbortSignal): Promise<unknown> => JSON.parse(await answer(path, { signal }));

let offset = 0;

/** The station's time in seconds since 1970: ages are counted by its clock, not by the phone's. */
export const stationNow = () => Date.now() / 1000 + offset;

export const info = new Feed(
  async (signal) => {
    const askedAt = Date.now();
    const told = readInfo(await get("/api/info", signal));
    if (told.time !== null) offset = clockOffset(told.time, askedAt, Date.now());
    return told;
  },
  { pause: 15_000, timeout, longestPause },
);
export const power = new Feed(async (signal) => readPower(await get("/api/power", signal)), { pause: 1000, timeout, longestPause });
export const network = new Feed(askForNetwork, { pause: networkPause(0, false), timeout, longestPause });
export const events = new Feed(askForEvents, { pause: eventPause, timeout, longestPause });

// A long list is asked for less often, so that it does not fill a slow line; what raises an event calls for it at once.
const longList = 100_000;
const longListPause = 15_000;
let lastEvents: { text: string; list: LogEvent[] } | null = null;

async function askForEvents(signal: AbortSignal): Promise<LogEvent[]> {
  const text = await answer("/api/events", { signal });
  events.pace(text.length > longList ? longListPause : eventPause);
  // Mostly nothing has happened: the same list then needs no reading and no drawing.
  if (lastEvents?.text !== text) lastEvents = { text, list: readEvents(JSON.parse(text)) };
  return lastEvents.list;
}

let networkWatchers = 0;
let networkSize = 0;

/** With hundreds of universes an answer is long: it is asked for less often then, and less often still while no page shows it. */
function networkPause(size: number, watched: boolean): number {
  const long = size > 100_000;
  if (watched) return long ? 2000 : 1000;
  return long ? 5000 : 2000;
}

async function askForNetwork(signal: AbortSignal): Promise<Network> {
  const text = await answer("/api/network", { signal });
  networkSize = text.length;
  network.pace(networkPause(networkSize, networkWatchers > 0));
  return readNetwork(JSON.parse(text));
}

/** Asks for the network more often as long as the component that shows it is there. */
export function useNetwork(): FeedState<Network> {
  useEffect(() => {
    const watch = (watchers: number) => {
      networkWatchers += watchers;
      network.pace(networkPause(networkSize, networkWatchers > 0));
    };
    watch(1);
    network.refresh();
    return () => watch(-1);
  }, []);
  return useFeed(network);
}

/** Of the patch and the test light, unread as it came, so that reading comes with the pages that show it. */
export interface ToldRig {
  sending: boolean;
  told: unknown;
}

// Universe 0, address 0: no lamp stands there, so the answer has all but lamps and is short.
const noLamp = "0.0";
const rigPause = { shown: 1000, sending: 2000, off: 5000 };
let rigWatchers = 0;

/** Asked for on all pages: wherever somebody is, the test light must not be on unseen. */
export const rig: Feed<ToldRig> = new Feed(
  async (signal) => {
    const told = fields(await get(`/api/patch?q=${noLamp}`, signal));
    const sending = fields(told.dmx).sending === true;
    rig.pace(rigWatchers > 0 ? rigPause.shown : sending ? rigPause.sending : rigPause.off);
    return { sending, told };
  },
  { pause: rigPause.off, timeout, longestPause: rigPause.off },
);

/** Asks more often from now on, until the given function is called. */
export function watchRig(): () => void {
  rigWatchers += 1;
  rig.refresh();
  return () => {
    rigWatchers -= 1;
  };
}

/** Feeds that run while the page is in sight; those of an open detail come and go. */
const running = new Set<Feed<unknown>>([info, power, network, events, rig]);
let watchedSince = Date.now();

function run(): void {
  if (document.visibilityState === "hidden") {
    for (const feed of running) feed.pause();
  } else {
    watchedSince = Date.now();
    for (const feed of running) feed.resume();
  }
}

export function start(): void {
  document.addEventListener("visibilitychange", run);
  // The network is back: no need to wait for the pause to end.
  window.addEventListener("online", () => running.forEach((feed) => feed.refresh()));
  run();
}

/** Asks from now on, while the page is in sight, until the given function is called. */
export function use(feed: Feed<unknown>): () => void {
  running.add(feed);
  if (document.visibilityState !== "hidden") feed.resume();
  return () => {
    running.delete(feed);
    feed.pause();
  };
}

export function useFeed<T>(feed: Feed<T>): FeedState<T> {
  const [, redraw] = useReducer((version: number) => version + 1, 0);
  useEffect(() => feed.subscribe(() => redraw(0)), [feed]);
  return feed.state;
}

/** Asks for one meter as long as the component that shows it is there. */
export function useDevice(id: string): { state: FeedState<DeviceDetail>; interval: number } {
  const [feed, setFeed] = useState(() => deviceFeed(id));
  useEffect(() => {
    const made = deviceFeed(id);
    setFeed(made);
    return use(made);
  }, [id]);
  return { state: useFeed(feed), interval: feed.interval };
}

function deviceFeed(id: string): Feed<DeviceDetail> {
  return new Feed(async (signal) => readDevice(await get(`/api/device/${encodeURIComponent(id)}`, signal)), {
    pause: 2000,
    timeout,
    longestPause,
  });
}

/** With the answer's own time this is about eight frames a second: smooth to the eye, and no queue on a slow line. */
const dmxPause = 110;

/**
 * Asks for the values of one universe as long as the component that shows it is there. Of that source from the next request on; without a
 * choice of whichever the station took first, until it falls silent: two that fight must not take turns.
 */
export function useDmx(universe: string, source: string | null): Feed<Dmx> {
  const chosen = useRef(source);
  chosen.current = source;
  const feed = useMemo(() => {
    const path = `/api/dmx?u=${encodeURIComponent(universe)}`;
    const ask = async (signal: AbortSignal): Promise<Dmx> => {
      const wanted = chosen.current ?? steadySource(made.state.data);
      return readDmx(await get(wanted === null ? path : `${path}&src=${encodeURIComponent(wanted)}`, signal));
    };
    const made: Feed<Dmx> = new Feed(ask, { pause: dmxPause, timeout, longestPause });
    return made;
  }, [universe]);
  useEffect(() => use(feed), [feed]);
  return feed;
}

/** Redraws at that pace, in milliseconds; gives the device's time in milliseconds. */
export function useTick(pace = 1000): number {
  const [now, setNow] = useState(Date.now);
  useEffect(() => {
    const timer = setInterval(() => setNow(Date.now()), pace);
    return () => clearInterval(timer);
  }, []);
  return now;
}

export function connectionAt(now: number): Connection {
  const contacts = [info, power, network, events, rig].map((feed) => feed.contactAt).filter((at): at is number => at !== null);
  return connection(contacts.length > 0 ? Math.max(...contacts) : null, watchedSince, now);
}

/** What the station answers to a command; throws a text for people when it refuses or is silent for so many milliseconds. */
export async function command(path: string, body: object, patience = timeout): Promise<string> {
  const abort = new AbortController();
  const timer = setTimeout(() => abort.abort(), patience);
  try {
    return await answer(path, { method: "POST", headers: { "Content-Type": "application/json" }, body: JSON.stringify(body), signal: abort.signal });
  } catch (error) {
    throw error instanceof Refusal ? error.message : "Keine Antwort. Bitte noch einmal versuchen.";
  } finally {
    clearTimeout(timer);
  }
}

const post = (path: string, body: object): Promise<string | null> =>
  command(path, body)
    .then(() => null, (wrong: string) => wrong)
    .finally(() => info.refresh());

/** What went wrong, or null. */
export const login = (pin: string) => post("/api/login", { pin });
export const logout = () => post("/api/logout", {});
