// Lamps as rows of one height. Only those in sight are in the page.

import type { ComponentChildren } from "preact";
import { useRef } from "preact/hooks";
import { joined } from "../data/format";
import type { Fixture, TestLight } from "../data/patch";
import { chosenMark, identifyMark, isLit, litMark, nameOf, rdmMark } from "../data/rig";
import { StateSign } from "./basics";
import { useWindowed } from "./windowed";

const heights = { narrow: 112, wide: 64 };

function Content({ fixture, scanned, lit, chosen }: { fixture: Fixture; scanned: boolean; lit: boolean; chosen: boolean }) {
  return (
    <>
      <bdi class="lamp-number">{fixture.fid || "–"}</bdi>
      <span class="lamp-what">
        <bdi class="lamp-name">{nameOf(fixture)}</bdi>
        <bdi class="lamp-note">{joined([fixture.name && fixture.type, fixture.mode])}</bdi>
      </span>
      <span class="lamp-address figure">
        <span class="aside-text">Adresse </span>
        {fixture.addressText}
      </span>
      <span class="lamp-place">
        <bdi>{fixture.position}</bdi>
        <span class="lamp-circuit">
          <bdi>{fixture.distributor}</bdi>
          <bdi>{joined([fixture.breaker, fixture.phase])}</bdi>
        </span>
      </span>
      <span class="lamp-marks">
        {chosen && <StateSign mark={chosenMark} />}
        <StateSign mark={rdmMark(fixture.rdm, scanned)} />
        {fixture.rdm?.identify && <StateSign mark={identifyMark} />}
        {lit && <StateSign mark={litMark} />}
      </span>
    </>
  );
}

interface Props {
  fixtures: Fixture[];
  /** Devices have been searched for. */
  scanned: boolean;
  /** The test light as it is now. */
  light: TestLight | null;
  /** Those that are marked as chosen. */
  chosen?: ReadonlyMap<string, unknown>;
  /** The whole of a row around its content. */
  row: (fixture: Fixture, content: ComponentChildren) => ComponentChildren;
}

export function FixtureRows({ fixtures, scanned, light, chosen, row }: Props) {
  const box = useRef<HTMLDivElement>(null);
  const { first, end, rowHeight, wide } = useWindowed(box, fixtures.length, heights);
  return (
    <div class={`events lamps card ${wide ? "wide" : ""}`} ref={box} style={{ height: `${fixtures.length * rowHeight + 2}px` }} role="list" aria-label="Lampen">
      {fixtures.slice(first, end).map((fixture, index) => (
        <div
          key={fixture.id}
          class="event-place"
          role="listitem"
          aria-posinset={first + index + 1}
          aria-setsize={fixtures.length}
          style={{ top: `${(first + index) * rowHeight}px`, height: `${rowHeight}px` }}
        >
          {row(fixture, <Content fixture={fixture} scanned={scanned} lit={isLit(fixture, light)} chosen={chosen?.has(fixture.id) ?? false} />)}
        </div>
      ))}
    </div>
  );
}
