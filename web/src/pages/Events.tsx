import { useMemo, useState } from "preact/hooks";
import { count } from "../data/format";
import { Empty } from "../parts/basics";
import { EventList } from "../parts/EventList";
import { events, useFeed } from "../station";

const filters = [
  { name: "Alle", shows: ["alarm", "warning", "info"] },
  { name: "Alarme", shows: ["alarm"] },
  { name: "Warnungen", shows: ["warning"] },
];

export function Events() {
  const { data } = useFeed(events);
  const [chosen, setChosen] = useState(0);
  const shown = useMemo(() => data?.filter((event) => filters[chosen]!.shows.includes(event.level)) ?? [], [data, chosen]);
  return (
    <div class="page narrow">
      <header class="section-head">
        <h1>Ereignisse</h1>
        {data && <span class="quiet">{count(shown.length, "Eintrag", "Einträge")}</span>}
      </header>
      <div class="choices" role="group" aria-label="Was gezeigt wird">
        {filters.map((filter, index) => (
          <button key={filter.name} type="button" aria-pressed={index === chosen} onClick={() => setChosen(index)}>
            {filter.name}
          </button>
        ))}
      </div>
      {!data && <Empty title="Lade …" />}
      {data && shown.length === 0 && <Empty title={chosen === 0 ? "Noch keine Ereignisse" : "Keine dabei"} />}
      {shown.length > 0 && <EventList key={chosen} events={shown} />}
    </div>
  );
}
