import { whole, type Figure as Split } from "../data/format";
import type { Ups } from "../data/shapes";
import { batteryTrouble, identity, silence, sourceMark } from "../data/ups";
import { Figure, Gauge, StateSign } from "./basics";

/** The number and the unit behind it apart. */
function split(value: number | null, unit: string): Split {
  return { text: whole(value, "").trim(), unit };
}

export function UpsCard({ ups }: { ups: Ups }) {
  const old = silence(ups);
  return (
    <div class={`card ups ${ups.onBattery ? "alarm" : ""} ${old ? "old" : ""}`}>
      <header class="card-head">
        <h3>
          <bdi>{ups.name || "USV"}</bdi>
        </h3>
        <StateSign mark={sourceMark(ups)} />
      </header>
      {old && <p class="reason">{old}</p>}
      {batteryTrouble(ups) && <StateSign mark={{ tone: "alarm", sign: "alarm", word: batteryTrouble(ups) }} />}
      <div>
        <p class="caption">Ladung</p>
        <Figure of={split(ups.charge, "%")} size="tile" />
        <Gauge name="Ladung" share={ups.charge === null ? null : ups.charge / 100} tone={ups.onBattery ? "alarm" : "ok"} />
      </div>
      <dl class="card-foot">
        <div>
          <dt>Restlaufzeit</dt>
          <dd class="figure">{whole(ups.runtime, "min")}</dd>
        </div>
        <div>
          <dt>Last</dt>
          <dd class="figure">{whole(ups.load, "%")}</dd>
        </div>
      </dl>
      {identity(ups) && <p class="quiet anywhere">{identity(ups)}</p>}
    </div>
  );
}
