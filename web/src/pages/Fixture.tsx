// One lamp: where it listens and where its power comes from, what it reports by RDM, and what can be done to it from here.

import { useState } from "preact/hooks";
import { isStale } from "../data/connection";
import { clock, joined, missing, span } from "../data/format";
import type { FixtureDetail, RdmDetail, RdmSensor, Rig } from "../data/patch";
import {
  amount, circuitText, differences, hindranceOf, hoursText, identifyMark, isLit, litMark, nameOf, protoNames, rangeText, rdmMark, sendingText, titleOf,
} from "../data/rig";
import { links } from "../data/route";
import { highlight, identify, refresh, useFixture } from "../light";
import { info, useFeed } from "../station";
import { Empty, LevelMark, Section, StateSign } from "../parts/basics";
import { Ask } from "../parts/Ask";
import { Hindered } from "../parts/Hindered";
import { Icon } from "../parts/icons";
import { Outcome } from "../parts/Outcome";
import { ChangeAddress, ChangeMode } from "./FixtureChange";
import { useDeed, type Deed } from "../parts/deed";

function Facts({ fixture }: { fixture: FixtureDetail }) {
  const { universe, address, footprint } = fixture;
  const facts: [string, string][] = [
    ["Position", fixture.position],
    ["Stromkreis", circuitText(fixture)],
    ["Anschluss", joined([fixture.plugbox, fixture.socket])],
    ["Leistung", fixture.power === null ? "" : amount(fixture.power, "W")],
    ["Typ", fixture.type],
    ["Modus", fixture.mode],
    ["Ebene", fixture.layer],
    ["Notiz", fixture.notes],
  ];
  return (
    <div class="card lamp-facts">
      <div class="lamp-main">
        <span class="tile">
          <span class="caption">Adresse</span>
          <span class="figure main">{fixture.addressText}</span>
        </span>
        <span class="quiet">
          {address >= 1 ? (
            <>
              Universum {universe ?? missing}
              <br />
              {footprint > 1 ? `Kanäle ${rangeText(address, footprint)}` : "1 Kanal"}
              {fixture.estimated && ", geschätzt"}
            </>
          ) : (
            "nicht gepatcht"
          )}
        </span>
      </div>
      <dl class="facts">
        {facts.map(
          ([name, value]) =>
            value && (
              <>
                <dt>{name}</dt>
                <dd>
                  <bdi>{value}</bdi>
                </dd>
              </>
            ),
        )}
      </dl>
    </div>
  );
}

/** With the device goes the place where the outcome of its commands stands. */
const all = ["light", "identify", "address", "mode", "refresh"];

/** What can be done from a ladder: light it, let it show itself. Both end without a question. */
function Find({ fixture, rig, deed }: { fixture: FixtureDetail; rig: Rig | null; deed: Deed }) {
  const rights = useFeed(info).data;
  const [asking, setAsking] = useState<"light" | "identify" | null>(null);
  const { rdm } = fixture;
  const noLight = hindranceOf("light", rights, true);
  const noIdentify = rdm ? hindranceOf("identify", rights, rdm.writeEnabled) : null;
  const name = titleOf(fixture);
  const light = rig?.light ?? null;
  const lit = isLit(fixture, light);
  const others = light?.sending && !lit;
  return (
    <Section title="Finden">
      {!noLight && (
        <div class="deeds">
          <button
            type="button"
            class={`big ${lit ? "on" : ""}`}
            aria-pressed={lit}
            aria-disabled={deed.busy !== null || fixture.address < 1}
            onClick={() => {
              if (deed.busy || fixture.address < 1) return;
              if (lit) deed.run("light", "Aus …", () => highlight(fixture.id, false).then(() => "Testausgabe beendet."));
              else setAsking("light");
            }}
          >
            <Icon name="light" size={20} />
            {deed.busy === "light" ? deed.doing : lit ? "Licht aus" : "Hell machen"}
          </button>
          {rdm && !noIdentify && (
            <button
              type="button"
              class={`big ${rdm.identify ? "on" : ""}`}
              aria-pressed={rdm.identify}
              aria-disabled={deed.busy !== null}
              onClick={() => {
                if (deed.busy) return;
                if (!rdm.identify) return setAsking("identify");
                const said = (now: FixtureDetail) => (now.rdm?.identify ? null : "Identify ist aus.");
                deed.tell("identify", "Frage …", () => identify(fixture.id, false), said);
              }}
            >
              <Icon name="identify" size={20} />
              {deed.busy === "identify" ? deed.doing : rdm.identify ? "Identify aus" : "Identify"}
            </button>
          )}
        </div>
      )}
      <Outcome deed={deed} of={rdm ? ["light", "identify"] : all} />
      {noLight && <Hindered by={noLight} what={rdm ? "Hell machen und Identify" : "Hell machen"} />}
      {!noLight && noIdentify && <Hindered by={noIdentify} what="Identify" />}
      {!noLight && fixture.address < 1 && <p class="quiet">Ohne Adresse lässt sich die Lampe nicht hell machen.</p>}
      {!noLight && !rdm && (
        <p class="quiet">Kein RDM-Gerät an dieser Adresse gefunden{rig?.rdmScan === null ? " – RDM-Scan starten" : ""}.</p>
      )}
      {light && !light.sending && light.blockedBy && (
        <p class="blocked">
          <LevelMark level="warning" />
          <span>{light.blockedBy}</span>
        </p>
      )}
      {asking === "light" && (
        <Ask
          title={`${name} hell machen?`}
          verb="Hell machen"
          onClose={() => setAsking(null)}
          onYes={() => deed.run("light", "Starte …", () => highlight(fixture.id, true).then(() => `${name} wird hell gemacht.`))}
        >
          <p>
            Die Testausgabe sendet über {protoNames[light?.proto ?? "artnet"]} auf Universum {fixture.universe ?? missing}: diese Lampe
            {light && light.level < 1 ? ` auf ${Math.round(light.level * 100)} %` : " hell"}, alle
            anderen Kanäle auf 0. Sendet dort schon jemand, startet sie nicht.
          </p>
          {others && <p>Was jetzt läuft, endet damit: {sendingText(light)}</p>}
        </Ask>
      )}
      {asking === "identify" && (
        <Ask
          title={`${name}: Identify einschalten?`}
          verb="Identify einschalten"
          onClose={() => setAsking(null)}
          onYes={() =>
            deed.tell("identify", "Frage …", () => identify(fixture.id, true), (now) => (now.rdm?.identify ? "Die Lampe meldet: Identify an." : null))
          }
        >
          <p>Die Lampe macht sich bemerkbar, je nach Gerät blinkt sie hell auf, bis Identify wieder aus ist.</p>
        </Ask>
      )}
    </Section>
  );
}

function SensorRow({ sensor }: { sensor: RdmSensor }) {
  return (
    <li>
      <bdi>{sensor.name}</bdi>
      <span class="figure">{amount(sensor.value, sensor.unit)}</span>
      <span class="figure quiet">
        {sensor.max === null ? "ohne Grenze" : `Grenze ${amount(sensor.max, sensor.unit)}`}
      </span>
      {sensor.hot && <StateSign mark={{ tone: "alarm", sign: "alarm", word: "zu heiß" }} />}
    </li>
  );
}

function Reported({ fixture, rdm, deed }: { fixture: FixtureDetail; rdm: RdmDetail; deed: Deed }) {
  const rights = useFeed(info).data;
  const personality = rdm.personalities.find((one) => one.number === rdm.personality);
  const facts: [string, string][] = [
    ["Gerät", joined([rdm.manufacturer, rdm.model], " ")],
    ["Name im Gerät", rdm.label],
    ["DMX-Adresse", rdm.startAddress === null || rdm.startAddress < 1 ? "" : rangeText(rdm.startAddress, rdm.footprint ?? 1)],
    ["Modus", joined([rdm.personality !== null && String(rdm.personality), personality?.name])],
    ["Firmware", rdm.firmware],
    ["Gerät in Betrieb", rdm.hours === null ? "" : hoursText(rdm.hours)],
    ["Lampe in Betrieb", rdm.lampHours === null ? "" : hoursText(rdm.lampHours)],
    ["Einstellungen", rdm.factory === true ? "steht auf Werkseinstellungen" : ""],
    ["Node", rdm.node],
    ["UID", rdm.uid],
  ];
  const wrong = differences(fixture);
  return (
    <>
      <Section
        title="Gerät meldet"
        aside={
          hindranceOf("refresh", rights, true) === null && (
            <button
              type="button"
              class="text-button"
              aria-disabled={deed.busy !== null}
              onClick={() => !deed.busy && deed.tell("refresh", "Lese …", () => refresh(fixture.id), () => "Neu gelesen.")}
            >
              {deed.busy === "refresh" ? deed.doing : "Neu lesen"}
            </button>
          )
        }
      >
        <Outcome deed={deed} of={["refresh"]} />
        {wrong.length > 0 && (
          <ul class="device-alarms lamp-differs">
            {wrong.map((text) => (
              <li key={text} class="warning">
                <LevelMark level="warning" />
                <span>{text}</span>
              </li>
            ))}
          </ul>
        )}
        <dl class={`card facts ${rdm.online ? "" : "old"}`}>
          {facts.map(
            ([name, value]) =>
              value && (
                <>
                  <dt>{name}</dt>
                  <dd class="figure">
                    <bdi>{value}</bdi>
                  </dd>
                </>
              ),
          )}
        </dl>
      </Section>
      {rdm.sensors.length > 0 && (
        <Section title="Sensoren" aside={<span class="quiet">{rdm.sensors.length}</span>}>
          <ul class={`card sensors ${rdm.online ? "" : "old"}`}>
            {rdm.sensors.map((sensor, index) => (
              <SensorRow key={index} sensor={sensor} />
            ))}
          </ul>
        </Section>
      )}
    </>
  );
}

export function FixturePage({ id, rig, now }: { id: string; rig: Rig | null; now: number }) {
  const feed = useFixture(id);
  const deed = useDeed(feed);
  const { data: fixture, receivedAt, refusal } = feed.state;
  const age = receivedAt === null ? 0 : Math.max(0, now - receivedAt);
  // While the device is asked for the first time or written to, the answer takes its time.
  const stale = deed.busy === null && isStale(receivedAt, feed.interval, now);
  return (
    <article class={`fixture ${stale ? "stale" : ""}`}>
      <a class="back" href={links.patch}>
        <Icon name="back" size={20} />
        Patch
      </a>
      {!fixture && <Empty title={refusal ?? "Lade …"} />}
      {fixture && (
        <>
          <header class="device-head">
            <div class="device-title">
              <h1>
                {fixture.fid && <span class="lamp-fid">{fixture.fid} </span>}
                <bdi>{nameOf(fixture)}</bdi>
              </h1>
              <StateSign mark={rdmMark(fixture.rdm, rig?.rdmScan !== null)} />
              {fixture.rdm?.identify && <StateSign mark={identifyMark} />}
              {isLit(fixture, rig?.light ?? null) && <StateSign mark={litMark} />}
            </div>
            {stale && receivedAt !== null && (
              <p class="quiet age-old">
                Stand {clock(receivedAt / 1000)}, vor {span(age / 1000)}
              </p>
            )}
          </header>
          {refusal && <p class="reason">{refusal}</p>}
          <div class="fixture-parts">
            <div class="fixture-main">
              <Facts fixture={fixture} />
              <Find fixture={fixture} rig={rig} deed={deed} />
            </div>
            {fixture.rdm && (
              <>
                <div class="fixture-told">
                  <Reported fixture={fixture} rdm={fixture.rdm} deed={deed} />
                </div>
                <div class="fixture-change">
                  <Section title="Ändern">
                    <ChangeAddress fixture={fixture} rdm={fixture.rdm} deed={deed} />
                    <ChangeMode fixture={fixture} rdm={fixture.rdm} deed={deed} />
                  </Section>
                </div>
              </>
            )}
          </div>
        </>
      )}
    </article>
  );
}
