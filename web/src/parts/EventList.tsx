// Events, newest first. Only the rows in sight are in the page, so thousands scroll like ten.

import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import { ago, dateAndClock } from "../data/format";
import type { LogEvent } from "../data/shapes";
import { visibleRows } from "../data/windowing";
import { stationNow, useTick } from "../station";
import { LevelMark, Sheet } from "./basics";

/** Two lines of text on a phone, one where there is room; the style sheet has the same limit. */
const wide = matchMedia("(min-width: 720px)");
const rowHeightNow = () => (wide.matches ? 64 : 84);
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
  const [top, setTop] = useState(0);
  const [rowHeight, setRowHeight] = useState(rowHeightNow);
  const [open, setOpen] = useState<LogEvent | null>(null);

  useEffect(() => {
    let frame = 0;
    const measure = () => {
      frame = 0;
      setRowHeight(rowHeightNow());
      if (box.current) setTop(-box.current.getBoundingClientRect().top);
    };
    const later = () => {
      frame ||= requestAnimationFrame(measure);
    };
    measure();
    window.addEventListener("scroll", later, { passive: true });
    window.addEventListener("resize", later);
    return () => {
      cancelAnimationFrame(frame);
      window.removeEventListener("scroll", later);
      window.removeEventListener("resize", later);
    };
  }, []);

  // Who reads further down keeps the lines under the eyes when new ones come in above.
  const firstKey = useRef<string | null>(null);
  useLayoutEffect(() => {
    const before = firstKey.current;
    firstKey.current = events[0] ? keyOf(events[0]) : null;
    if (before === null || top <= rowHeight) return;
    const added = events.findIndex((event) => keyOf(event) === before);
    if (added > 0) window.scrollBy(0, added * rowHeight);
  }, [events]);

  const shown = visibleRows(events.length, rowHeight, top, window.innerHeight);
  return (
    <div class="events card" ref={box} style={{ height: `${events.length * rowHeight}px` }} role="list">
      {events.slice(shown.first, shown.end).map((event, index) => (
        <div
          key={keyOf(event)}
          class="event-place"
          role="listitem"
          aria-posinset={shown.first + index + 1}
          aria-setsize={events.length}
          style={{ top: `${(shown.first + index) * rowHeight}px`, height: `${rowHeight}px` }}
        >
          <EventRow event={event} now={stationNow()} onOpen={() => setOpen(event)} />
        </div>
      ))}
      {open && <EventSheet event={open} onClose={() => setOpen(null)} />}
    </div>
  );
}
