import { energy, figure } from "../data/format";
import { links } from "../data/route";
import type { Meter } from "../data/shapes";
import { deviceState, errorReason, isSilent } from "../data/verdict";
import { Figure, LevelMark, StateMark } from "./basics";
import { Spark } from "./Spark";

/** One line a phase: voltage, current, power; the bar compares the currents of the three. */
export function Phases({ meter }: { meter: Meter }) {
  const largest = Math.max(...meter.i.map((current) => Math.abs(current ?? 0)), Math.abs(meter.in ?? 0));
  const share = (current: number | null) => (current === null || largest === 0 ? 0 : Math.abs(current) / largest);
  return (
    <div class="phases">
      {[0, 1, 2].map((phase) => (
        <div class={`phase l${phase + 1}`} key={phase}>
          <span class="phase-name">L{phase + 1}</span>
          <Figure of={figure(meter.u[phase] ?? null, "V")} />
          <Figure of={figure(meter.i[phase] ?? null, "A")} />
          <Figure of={figure(meter.pPhase[phase] ?? null, "W")} />
          <span class="bar" style={{ transform: `scaleX(${share(meter.i[phase] ?? null).toFixed(3)})` }} />
        </div>
      ))}
      <div class="phase n">
        <span class="phase-name">N</span>
        <span />
        <Figure of={figure(meter.in, "A")} />
        <span />
        <span class="bar" style={{ transform: `scaleX(${share(meter.in).toFixed(3)})` }} />
      </div>
    </div>
  );
}

/** A meter in the list; the whole card leads to its detail. */
export function MeterCard({ meter, current }: { meter: Meter; current: boolean }) {
  const reason = errorReason(meter.status);
  return (
    <a class={`card meter ${isSilent(meter.status) ? "old" : ""}`} href={links.device(meter.id)} aria-current={current ? "true" : undefined}>
      <header class="card-head">
        <h3>{meter.name || "Messgerät"}</h3>
        <StateMark status={meter.status} />
      </header>
      {meter.alarms.length > 0 && (
        <ul class="card-alarms">
          {meter.alarms.map((alarm) => (
            <li key={alarm.text}>
              <LevelMark level={alarm.severity} />
              <span>{alarm.text}</span>
            </li>
          ))}
        </ul>
      )}
      {reason && <p class="reason">{reason}</p>}
      <div class="card-main">
        <div>
          <p class="caption">Wirkleistung Σ</p>
          <Figure of={figure(meter.p, "W")} size="main" />
        </div>
        <Spark values={meter.trend} />
      </div>
      <Phases meter={meter} />
      <dl class="card-foot">
        <div>
          <dt>Frequenz</dt>
          <dd>
            <Figure of={figure(meter.f, "Hz")} />
          </dd>
        </div>
        <div>
          <dt>Energie</dt>
          <dd>
            <Figure of={energy(meter.energy)} />
          </dd>
        </div>
        {meter.planned !== null && (
          <div>
            <dt>Geplant</dt>
            <dd>
              <Figure of={figure(meter.planned, "W")} />
            </dd>
          </div>
        )}
        {deviceState(meter.status) === "online" && meter.max.p !== null && (
          <div>
            <dt>Höchstwert</dt>
            <dd>
              <Figure of={figure(meter.max.p, "W")} />
            </dd>
          </div>
        )}
      </dl>
    </a>
  );
}
