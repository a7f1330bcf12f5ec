// Which lamps the test light is to light: found by the search of the patch, kept as names that a tap takes away.

import { useState } from "preact/hooks";
import type { TestLight } from "../data/patch";
import { titleOf } from "../data/rig";
import { useSearch } from "../light";
import { Empty, Sheet } from "../parts/basics";
import { FixtureRows } from "../parts/FixtureRows";
import { Icon } from "../parts/icons";
import { SearchField } from "../parts/SearchField";

const mostChips = 12;

function Picker({ light, chosen, onChange, onClose }: {
  light: TestLight;
  chosen: Map<string, string>;
  onChange: (chosen: Map<string, string>) => void;
  onClose: () => void;
}) {
  const search = useSearch();
  const patch = search.state.data;
  const all = patch?.fixtures ?? [];
  const put = (into: Map<string, string>, fixtures: typeof all) => {
    for (const one of fixtures) if (one.address >= 1) into.set(one.id, titleOf(one));
    return into;
  };
  const toggle = (one: (typeof all)[number]) => {
    const next = new Map(chosen);
    if (!next.delete(one.id)) put(next, [one]);
    onChange(next);
  };
  return (
    <Sheet title="Lampen wählen" onClose={onClose}>
      <div class="picker">
        <SearchField search={search} />
        {all.length > 0 && !search.behind && (
          <button type="button" class="text-button" onClick={() => onChange(put(new Map(chosen), all))}>
            {all.length === 1 ? "Diese wählen" : `Alle ${all.length} gezeigten wählen`}
          </button>
        )}
        <div class={`picker-list ${search.behind ? "behind" : ""}`}>
          {all.length > 0 ? (
            <FixtureRows
              fixtures={all}
              light={light}
              chosen={chosen}
              scanned={patch?.rig.rdmScan !== null}
              row={(one, content) => (
                <button
                  type="button"
                  class="lamp"
                  aria-pressed={chosen.has(one.id)}
                  aria-disabled={one.address < 1}
                  onClick={() => one.address >= 1 && toggle(one)}
                >
                  {content}
                </button>
              )}
            />
          ) : (
            <Empty title={patch ? "Keine dabei" : "Lade …"} />
          )}
        </div>
        <form method="dialog" class="ask-answers">
          <button type="submit" class="big primary">
            Fertig – {chosen.size === 1 ? "1 Lampe" : `${chosen.size} Lampen`}
          </button>
        </form>
      </div>
    </Sheet>
  );
}

export function LampChoice({ light, chosen, onChange }: { light: TestLight; chosen: Map<string, string>; onChange: (chosen: Map<string, string>) => void }) {
  const [picking, setPicking] = useState(false);
  const shown = [...chosen].slice(0, mostChips);
  return (
    <div class="field">
      <span class="field-name">Lampen</span>
      {shown.length > 0 && (
        <ul class="chips">
          {shown.map(([id, title]) => (
            <li key={id}>
              <button
                type="button"
                aria-label={`${title} abwählen`}
                onClick={() => {
                  const next = new Map(chosen);
                  next.delete(id);
                  onChange(next);
                }}
              >
                <bdi>{title}</bdi>
                <Icon name="close" size={16} />
              </button>
            </li>
          ))}
          {chosen.size > mostChips && <li class="quiet">und {chosen.size - mostChips} weitere</li>}
        </ul>
      )}
      <div class="field-line">
        <button type="button" class="big" onClick={() => setPicking(true)}>
          Lampen wählen
        </button>
        {chosen.size > 0 && (
          <button type="button" class="text-button" onClick={() => onChange(new Map())}>
            Auswahl leeren
          </button>
        )}
      </div>
      {picking && <Picker light={light} chosen={chosen} onChange={onChange} onClose={() => setPicking(false)} />}
    </div>
  );
}
