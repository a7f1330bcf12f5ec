// The list of lamps: found while typing, each with where it listens, where its power comes from and whether it answers.

import { useEffect, useMemo, useState } from "preact/hooks";
import { ago } from "../data/format";
import { hindranceOf, scanShare } from "../data/rig";
import type { Rig } from "../data/patch";
import { links } from "../data/route";
import { scan, useSearch } from "../light";
import { info, stationNow, useFeed } from "../station";
import { Empty, Gauge, LevelMark } from "../parts/basics";
import { FixtureRows } from "../parts/FixtureRows";
import { Hindered } from "../parts/Hindered";
import { SearchField } from "../parts/SearchField";

function Scan({ rig }: { rig: Rig }) {
  const rights = useFeed(info).data;
  // From the tap until the station tells of the scan itself.
  const [asked, setAsked] = useState(false);
  const [failure, setFailure] = useState("");
  useEffect(() => {
    if (rig.scanning) setAsked(false);
  }, [rig.scanning]);
  const begin = () => {
    setAsked(true);
    setFailure("");
    void scan()
      .catch((wrong: string) => setFailure(wrong))
      .finally(() => setTimeout(() => setAsked(false), 1500));
  };
  const hindered = hindranceOf("scan", rights, true);
  if (rig.scanning || asked)
    return (
      <div class="scan" role="status">
        <p>RDM-Scan läuft</p>
        <p class="quiet">{rig.scanProgress || "Beginnt …"}</p>
        <Gauge name="RDM-Scan" share={scanShare(rig.scanProgress)} tone="ok" />
      </div>
    );
  return (
    <div class="scan">
      <div class="scan-line">
        <p class="quiet">
          RDM-Geräte suchen, ändert nichts. {rig.rdmScan === null ? "Noch nicht gesucht." : `Zuletzt ${ago(rig.rdmScan, stationNow())}.`}
        </p>
        {!hindered && (
          <button type="button" class="big" onClick={begin}>
            RDM-Scan
          </button>
        )}
      </div>
      {rig.scanProgress && (
        <p class="reason" role="status">
          {rig.scanProgress}
        </p>
      )}
      {hindered && <Hindered by={hindered} />}
      {failure && (
        <p class="reason" role="alert">
          {failure}
        </p>
      )}
    </div>
  );
}

function NoPatch() {
  return (
    <Empty title="Noch kein Patch">
      Am Rechner einlesen, als CSV, MVR oder Showdatei: <code>kestrelyne patch import DATEI</code>
    </Empty>
  );
}

export function Patch({ rig, current }: { rig: Rig | null; current: string | null }) {
  const search = useSearch();
  const patch = search.state.data;
  const told = rig ?? patch?.rig ?? null;
  const open = () => {
    const [first, second] = patch && !search.behind ? patch.fixtures : [];
    if (first && (!second || first.fid.toLowerCase() === search.query.trim().toLowerCase())) location.hash = links.fixture(first.id);
  };
  const scanned = told?.rdmScan != null;
  const light = told?.light ?? null;
  // Neither a key nor what else is told changes the rows.
  const listed = useMemo(
    () =>
      patch && (
        <FixtureRows
          fixtures={patch.fixtures}
          scanned={scanned}
          light={light}
          row={(fixture, content) => (
            <a class="lamp" href={links.fixture(fixture.id)} aria-current={fixture.id === current ? "true" : undefined}>
              {content}
            </a>
          )}
        />
      ),
    [patch?.fixtures, scanned, current, light?.sending, light?.mode, light?.current],
  );
  if (!patch || !told) return <Empty title={search.state.refusal ? "Diese Station hat keinen Patch" : "Lade …"} />;
  const empty = patch.query === "" && patch.total === 0;
  return (
    <>
      {empty && search.query === "" ? <NoPatch /> : <SearchField search={search} onEnter={open} />}
      {told.overlaps > 0 && (
        <p class="overlaps">
          <LevelMark level="warning" />
          Adressüberschneidung: {told.overlaps}
        </p>
      )}
      {!empty && <Scan rig={told} />}
      {patch.fixtures.length > 0 && (
        <div class={search.behind ? "behind" : ""} aria-busy={search.behind}>
          {listed}
        </div>
      )}
      {patch.fixtures.length === 0 && !empty && <Empty title="Keine dabei" />}
      {told.source && (
        <p class="quiet patch-source">
          Patch aus <bdi>{told.source}</bdi>
        </p>
      )}
    </>
  );
}
