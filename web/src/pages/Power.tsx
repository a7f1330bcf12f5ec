// All sources of power; a chosen meter stands beside the list where there is room, instead of it where there is none.

import { count, figure } from "../data/format";
import { links } from "../data/route";
import { deviceState } from "../data/verdict";
import type { Situation } from "../situation";
import { Empty, Figure, Near, Section } from "../parts/basics";
import { useEscape } from "../parts/escape";
import { lazy } from "../parts/lazy";
import { MeterCard } from "../parts/MeterCard";
import { UpsCard } from "../parts/UpsCard";

const Device = lazy(() => import("./Device").then((part) => part.Device));
const cardHeight = 310;

export function Power({ situation, device }: { situation: Situation; device: string | null }) {
  const { power } = situation;
  useEscape(links.power, device !== null);
  const online = power?.devices.filter((meter) => deviceState(meter.status) === "online").length ?? 0;
  return (
    <div class={`page power ${device ? "with-detail" : ""}`}>
      <div class="master">
        <h1>Strom</h1>
        {!power && <Empty title="Lade …" />}
        {power && power.devices.length === 0 && power.ups.length === 0 && (
          <Empty title="Noch keine Stromquellen">Sobald am Rechner ein Messgerät eingerichtet ist, steht es hier.</Empty>
        )}
        {power && power.devices.length > 0 && (
          <div class="total">
            <span>
              <span class="caption">Gesamtleistung</span>
              <Figure of={figure(power.totalP, "W")} size="main" />
            </span>
            <span class="quiet">
              {online} von {count(power.devices.length, "Messgerät", "Messgeräten")} verbunden
            </span>
          </div>
        )}
        <div class="cards">
          {power?.devices.map((meter) => (
            <Near key={meter.id} height={cardHeight} current={meter.id === device}>
              {() => <MeterCard meter={meter} current={meter.id === device} />}
            </Near>
          ))}
        </div>
        {power && power.ups.length > 0 && (
          <Section title="Unterbrechungsfreie Stromversorgung">
            <div class="cards">
              {power.ups.map((ups, index) => (
                <UpsCard key={index} ups={ups} />
              ))}
            </div>
          </Section>
        )}
      </div>
      {device && (
        <div class="detail">
          <Device key={device} id={device} />
        </div>
      )}
    </div>
  );
}
