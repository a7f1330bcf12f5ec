// The 512 channels of a universe, drawn again up to ten times a second: the cells are made once, and only those whose level has changed
// are touched, past the component's own drawing.

import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import { columnsFor, levelText, moved, percent, type LevelUnit } from "../data/channel";
import type { Feed } from "../data/feed";
import { channels, type Dmx, type DmxFixture } from "../data/network";

interface Cell {
  box: HTMLElement;
  level: Text;
  shown: number | undefined;
}

function makeCells(board: HTMLElement): Cell[] {
  return Array.from({ length: channels }, (_, index) => {
    const box = document.createElement("div");
    box.className = "cell nothing";
    box.dataset.channel = String(index);
    const number = document.createElement("span");
    number.textContent = String(index + 1);
    const level = document.createTextNode("–");
    box.append(number, level);
    board.append(box);
    return { box, level, shown: undefined };
  });
}

function draw(cell: Cell, value: number | undefined, unit: LevelUnit): void {
  cell.shown = value;
  cell.level.data = levelText(value, unit);
  cell.box.className = value === undefined ? "cell nothing" : value === 0 ? "cell" : "cell lit";
  cell.box.style.setProperty("--level", value === undefined ? "0" : (value / 255).toFixed(3));
}

function fixtureAt(fixtures: DmxFixture[], channel: number): DmxFixture | undefined {
  return fixtures.find((fixture) => channel >= fixture.start && channel < fixture.start + fixture.footprint);
}

interface Props {
  feed: Feed<Dmx>;
  unit: LevelUnit;
  fixtures: DmxFixture[];
  /** What is shown has ended or is old. */
  old: boolean;
  /** Where all channels are told in one sentence: the id of that element. */
  described: string;
}

export function ChannelBoard({ feed, unit, fixtures, old, described }: Props) {
  const board = useRef<HTMLDivElement>(null);
  const cells = useRef<Cell[]>([]);
  const level = useRef<HTMLElement>(null);
  const bar = useRef<HTMLElement>(null);
  const [cursor, setCursor] = useState(0);
  const [columns, setColumns] = useState(8);
  const [said, setSaid] = useState("");

  useEffect(() => {
    cells.current = makeCells(board.current!);
    const resized = new ResizeObserver(([entry]) => entry && setColumns(columnsFor(entry.contentRect.width)));
    resized.observe(board.current!);
    return () => resized.disconnect();
  }, []);

  const valueAt = (channel: number) => feed.state.data?.data[channel];
  const words = (channel: number) => {
    const value = valueAt(channel);
    return value === undefined ? "kein Wert" : `${value}, ${percent(value)} %`;
  };
  const showCursor = () => {
    if (level.current) level.current.textContent = valueAt(cursor) === undefined ? "–" : `${valueAt(cursor)} · ${percent(valueAt(cursor)!)} %`;
    bar.current?.style.setProperty("transform", `scaleX(${((valueAt(cursor) ?? 0) / 255).toFixed(3)})`);
  };

  useEffect(() => {
    const draws = (all: boolean) => {
      const data = feed.state.data?.data ?? [];
      cells.current.forEach((cell, index) => {
        if (all || cell.shown !== data[index]) draw(cell, data[index], unit);
      });
    };
    draws(true);
    return feed.subscribe(() => draws(false));
  }, [feed, unit]);

  useLayoutEffect(() => {
    showCursor();
    const box = cells.current[cursor]?.box;
    box?.toggleAttribute("data-cursor", true);
    const stop = feed.subscribe(showCursor);
    return () => {
      stop();
      box?.toggleAttribute("data-cursor", false);
    };
  }, [feed, unit, cursor]);

  const go = (channel: number) => {
    setCursor(channel);
    const fixture = fixtureAt(fixtures, channel + 1);
    setSaid(`Kanal ${channel + 1}: ${words(channel)}${fixture ? `, ${fixture.fid} ${fixture.name}` : ""}`);
  };
  const onKey = (event: KeyboardEvent) => {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const to = moved(cursor, event.key, columns, channels);
    if (to === null) return;
    event.preventDefault();
    go(to);
    cells.current[to]?.box.scrollIntoView({ block: "nearest" });
  };
  const onTap = (event: MouseEvent) => {
    const tapped = (event.target as Element).closest<HTMLElement>("[data-channel]");
    if (tapped) go(Number(tapped.dataset.channel));
  };

  const fixture = fixtureAt(fixtures, cursor + 1);
  return (
    <div class={old ? "old" : undefined}>
      <div class="channel-info" aria-hidden="true">
        <span class="channel-name">
          Kanal <b>{cursor + 1}</b>
        </span>
        <span class="figure" ref={level}>
          –
        </span>
        {fixture && (
          <bdi class="line-note">
            {fixture.fid} {fixture.name}
          </bdi>
        )}
        <span class="bar" ref={bar} />
      </div>
      <div
        class="channels"
        ref={board}
        style={{ gridTemplateColumns: `repeat(${columns}, minmax(0, 1fr))` }}
        tabIndex={0}
        role="img"
        aria-label="512 Kanäle, mit den Pfeiltasten Kanal für Kanal"
        aria-describedby={described}
        onKeyDown={onKey}
        onClick={onTap}
      />
      <p class="aside-text" aria-live="polite">
        {said}
      </p>
    </div>
  );
}
