import { whole } from "../data/format";
import type { Ups } from "../data/shapes";
import { Icon } from "./icons";

export function UpsCard({ ups }: { ups: Ups }) {
  return (
    <div class="card ups">
      <header class="card-head">
        <h3>{ups.name || "USV"}</h3>
        <span class={`mark ${ups.onBattery ? "alarm" : "ok"}`}>
          <Icon name={ups.onBattery ? "battery" : "mains"} size={18} />
          {ups.source || "unbekannt"}
        </span>
      </header>
      <dl class="card-foot">
        <div>
          <dt>Ladung</dt>
          <dd class="figure">{whole(ups.charge, "%")}</dd>
        </div>
        <div>
          <dt>Restlaufzeit</dt>
          <dd class="figure">{whole(ups.runtime, "min")}</dd>
        </div>
        <div>
          <dt>Last</dt>
          <dd class="figure">{whole(ups.load, "%")}</dd>
        </div>
      </dl>
    </div>
  );
}
