// Events, newest first. Only the rows in sight are in the page, so thousands scroll like ten.

import { useLayoutEffect, useRef, useState } from "preact/hooks";
import { ago, dateAndClock } from "../data/format";
import type { LogEvent } from "../data/shapes";
import { stationNow, useTick } from "../station";
import { LevelMark, Sheet } from "./basics";
import { useWindowed } from "./windowed";

/** Two lines of text on a phone, one where there is room. */
const heights = { narrow: 84, wide: 64 };
const keyOf = (event: LogEvent) => `${event.time} ${event.source} ${event.text}`;

export function EventRow({ event, now, onOpen }: { event: LogEvent; now: number; onOpen: () => void }) {
  return (
    <button type="button" class={`event ${event.level}`} onClick={onOpen}>
      <span class="event-text">{event.text}</span>
      <span class="event-meta">
        <LevelMark level={event.level} />
        {event.source && <span class="event-source">{event.source}</span>}
        <span class="event-age">{ago(event.time, now)}</span>
      </span>
    </button>
  );
}

export function EventSheet({ event, onClose }: { event: LogEvent; onClose: () => void }) {
  return (
    <Sheet title="Ereignis" onClose={onClose}>
      <LevelMark level={event.level} />
      <p class="event-full">{event.text}</p>
      <p class="quiet">
        {event.source && `${event.source} · `}
        {dateAndClock(event.time)}
      </p>
    </Sheet>
  );
}

/** The first few without a window. */
export function EventExcerpt({ events }: { events: LogEvent[] }) {
  useTick();
  const [open, setOpen] = useState<LogEvent | null>(null);
  return (
    <div class="events card">
      {events.map((event) => (
        <EventRow key={keyOf(event)} event={event} now={stationNow()} onOpen={() => setOpen(event)} />
      ))}
      {open && <EventSheet event={open} onClose={() => setOpen(null)} />}
    </div>
  );
}

/** All of them, moved by the page's own scrolling. */
export function EventList({ events }: { events: LogEvent[] }) {
  useTick();
  const box = useRef<HTMLDivElement>(null);
  const { first, end, rowHeight, top, wide } = useWindowed(box, events.length, heights);
  const [open, setOpen] = useState<LogEvent | null>(null);

  // Who reads further down keeps the lines under the eyes when new ones come in above.
  const firstKey = useRef<string | null>(null);
  useLayoutEffect(() => {
    const before = firstKey.current;
    firstKey.current = events[0] ? keyOf(events[0]) : null;
    if (before === null || top <= rowHeight) return;
    const added = events.findIndex((event) => keyOf(event) === before);
    if (added > 0) window.scrollBy(0, added * rowHeight);
  }, [events]);

  return (
    <div class={`events card ${wide ? "wide" : ""}`} ref={box} style={{ height: `${events.length * rowHeight}px` }} role="list">
      {events.slice(first, end).map((event, index) => (
        <div
          key={keyOf(event)}
          class="event-place"
          role="listitem"
          aria-posinset={first + index + 1}
          aria-setsize={events.length}
          style={{ top: `${(first + index) * rowHeight}px`, height: `${rowHeight}px` }}
        >
          <EventRow event={event} now={stationNow()} onOpen={() => setOpen(event)} />
        </div>
      ))}
      {open && <EventSheet event={open} onClose={() => setOpen(null)} />}
    </div>
  );
}
