// The test light: lamps lit without a console. What would be sent stands there before it is; a refusal stands there with its reason.

import { useEffect, useRef, useState } from "preact/hooks";
import type { Rig, TestLight as Light } from "../data/patch";
import { hindranceOf, modeNames, protoNames, sameTarget, sendingText, universesIn, wishOf, wishText, wishTrouble, type LightWish } from "../data/rig";
import { startLight, stopLight, wished } from "../light";
import { info, useFeed } from "../station";
import { Ask } from "../parts/Ask";
import { Empty, LevelMark, Section } from "../parts/basics";
import { Choices, Level, NumberField } from "../parts/fields";
import { Hindered } from "../parts/Hindered";
import { Icon } from "../parts/icons";
import { LampChoice } from "./LampChoice";

function Universes({ universes, onChange }: { universes: number[]; onChange: (universes: number[] | null) => void }) {
  const [typed, setTyped] = useState(() => universes.join(", "));
  const wrong = universesIn(typed) === null;
  return (
    <div class="field">
      <label for="light-universes" class="field-name">
        Universen <span class="quiet">leer: alle</span>
      </label>
      <input
        id="light-universes"
        autocomplete="off"
        placeholder="1, 3–5"
        value={typed}
        aria-invalid={wrong}
        aria-describedby="light-universes-note"
        onInput={(event) => {
          setTyped(event.currentTarget.value);
          onChange(universesIn(event.currentTarget.value));
        }}
      />
      <p id="light-universes-note" class="reason">
        {wrong && "Nummern mit Komma oder Bereiche, etwa 1, 3–5."}
      </p>
    </div>
  );
}

export function TestLight({ rig }: { rig: Rig | null }) {
  return rig ? <Form light={rig.light} /> : <Empty title="Lade …" />;
}

function Form({ light }: { light: Light }) {
  const rights = useFeed(info).data;
  const [wish, setWish] = useState<LightWish>(() => wished.wish ?? wishOf(light));
  const [names, setNames] = useState(wished.names);
  const [badUniverses, setBadUniverses] = useState(false);
  /** What was started from here last: what may follow it without asking. */
  const [started, setStarted] = useState<LightWish | null>(null);
  const [asking, setAsking] = useState(false);
  const [busy, setBusy] = useState<"start" | "stop" | null>(null);
  const [failure, setFailure] = useState("");
  const { sending } = light;
  useEffect(() => {
    if (!sending) setStarted(null);
  }, [sending]);
  const reason = failure || (sending ? "" : light.blockedBy);
  const reasonBox = useRef<HTMLDivElement>(null);
  // Whoever has just pressed the button at the end of the page is to see why nothing happens.
  useEffect(() => {
    if (failure) reasonBox.current?.scrollIntoView({ block: "nearest" });
  }, [failure]);

  const change = (more: Partial<LightWish>) => {
    wished.wish = { ...wish, ...more };
    setWish(wished.wish);
    setFailure("");
  };
  const hindered = hindranceOf("light", rights, true);
  const trouble = badUniverses && (wish.mode === "all" || wish.mode === "chase") ? "Die Universen sind so nicht lesbar." : wishTrouble(wish);
  const unchanged = started !== null && JSON.stringify(started) === JSON.stringify(wish);
  const follows = sending && started !== null && sameTarget(started, wish);
  const verb = !sending ? "Starten …" : unchanged ? "Läuft so" : follows ? "Übernehmen" : "Stattdessen starten …";
  const order = (what: "start" | "stop", act: () => Promise<unknown>) => {
    setBusy(what);
    setFailure("");
    void act()
      .then(
        () => setStarted(what === "start" ? wish : null),
        (wrong: string) => setFailure(wrong),
      )
      .finally(() => setBusy(null));
  };
  const start = () => order("start", () => startLight(wish));
  const submit = (event: Event) => {
    event.preventDefault();
    if (busy || trouble || hindered || (sending && unchanged)) return;
    if (follows) start();
    else setAsking(true);
  };
  return (
    <div class="test-light">
      <div class={`card light-state ${sending ? "on" : ""}`}>
        <div role="status">
          <p class={`mark ${sending ? "lit" : "quiet"}`}>
            <Icon name={sending ? "light" : "pause"} size={20} />
            {sending ? "Testausgabe läuft" : "Testausgabe ist aus"}
          </p>
          {sending && <p class="light-what">{sendingText(light)}</p>}
        </div>
        {sending && rights?.authed && (
          <button type="button" class="big stop" aria-disabled={busy !== null} onClick={() => !busy && order("stop", stopLight)}>
            {busy === "stop" ? "Beende …" : "Aus"}
          </button>
        )}
      </div>
      <div role="alert" ref={reasonBox}>
        {reason && (
          <p class="blocked">
            <LevelMark level="warning" />
            <span>{reason}</span>
          </p>
        )}
      </div>
      <Section title="Was leuchten soll">
        <form class="card light-form" onSubmit={submit}>
          <Choices name="Art" values={modeNames} value={wish.mode} onChange={(mode) => change({ mode })} />
          {wish.mode === "fixtures" && (
            <LampChoice
              light={light}
              chosen={names}
              onChange={(chosen) => {
                wished.names = chosen;
                setNames(chosen);
                change({ ids: [...chosen.keys()] });
              }}
            />
          )}
          {(wish.mode === "all" || wish.mode === "chase") && (
            <Universes
              universes={wish.universes}
              onChange={(universes) => {
                setBadUniverses(universes === null);
                if (universes) change({ universes });
              }}
            />
          )}
          {wish.mode === "raw" && (
            <div class="fields">
              <NumberField id="light-universe" name="Universum" value={wish.universe} onChange={(universe) => change({ universe })} />
              <NumberField id="light-channel" name="Kanal" value={wish.channel} onChange={(channel) => change({ channel })} />
              <NumberField id="light-value" name="Wert" unit="0–255" value={wish.value} onChange={(value) => change({ value })} />
            </div>
          )}
          {wish.mode !== "raw" && <Level level={wish.level} onChange={(level) => change({ level })} />}
          <div class="fields">
            <Choices name="Protokoll" values={protoNames} value={wish.proto} onChange={(proto) => change({ proto })} />
            {wish.proto === "sacn" && (
              <NumberField id="light-priority" name="Priorität" unit="0–200" value={wish.priority} onChange={(priority) => change({ priority })} />
            )}
            {wish.mode === "chase" && (
              <NumberField id="light-step" name="Zeit je Lampe" unit="s" decimals value={wish.step} onChange={(step) => change({ step })} />
            )}
          </div>
          {hindered ? (
            <Hindered by={hindered} what="Testausgabe" />
          ) : (
            <>
              <p class="quiet">{trouble ?? wishText(wish)}</p>
              <button type="submit" class="big primary" aria-disabled={busy !== null || trouble !== null || (sending && unchanged)}>
                {busy === "start" ? "Starte …" : verb}
              </button>
            </>
          )}
        </form>
      </Section>
      {asking && (
        <Ask title="Testausgabe starten?" verb="Starten" onClose={() => setAsking(false)} onYes={start}>
          <p>
            {wishText(wish)} Alle anderen Kanäle {wish.mode === "raw" ? "des Universums" : "der Universen dieser Lampen"} stehen dabei auf 0.
          </p>
          <p>
            {sending
              ? `Was jetzt läuft, endet damit: ${sendingText(light)}`
              : "Sendet dort schon jemand, startet sie nicht; fängt jemand an, endet sie von selbst."}
          </p>
        </Ask>
      )}
    </div>
  );
}
