// Address and mode of a lamp, changed by RDM where that is allowed. Each change says what it will do, asks once and tells what the lamp
// reports afterwards.

import { useState } from "preact/hooks";
import type { FixtureDetail, RdmDetail } from "../data/patch";
import { fitsUniverse, hindranceOf, personalityText, rangeText, titleOf } from "../data/rig";
import { setAddress, setMode } from "../light";
import { info, useFeed } from "../station";
import { Ask } from "../parts/Ask";
import { Hindered } from "../parts/Hindered";
import { Outcome } from "../parts/Outcome";
import type { Deed } from "../parts/deed";

interface Props {
  fixture: FixtureDetail;
  rdm: RdmDetail;
  deed: Deed;
}

export function ChangeAddress({ fixture, rdm, deed }: Props) {
  const rights = useFeed(info).data;
  const [typed, setTyped] = useState("");
  const [asking, setAsking] = useState(false);
  const hindered = hindranceOf("address", rights, rdm.writeEnabled);
  if (hindered) return <Hindered by={hindered} what="DMX-Adresse" />;
  const address = /^\d{1,3}$/.test(typed.trim()) ? Number(typed) : 0;
  const channels = rdm.footprint ?? (fixture.footprint || 1);
  const valid = address >= 1 && address <= 512;
  const fits = fitsUniverse(address, channels);
  const from = rdm.startAddress !== null && rdm.startAddress >= 1 ? rdm.startAddress : null;
  const said = (now: FixtureDetail) => {
    // Where only the address leads to the device, it is no longer found under this lamp.
    if (!now.rdm) return `DMX-Adresse ${address} gesendet. An der Adresse im Patch meldet sich kein Gerät mehr.`;
    return now.rdm.startAddress === address ? `Die Lampe meldet: DMX-Adresse ${address}.` : null;
  };
  return (
    <form
      class="card change"
      onSubmit={(event) => {
        event.preventDefault();
        if (valid && address !== from && !deed.busy) setAsking(true);
      }}
    >
      <label for="new-address">Neue DMX-Adresse</label>
      <div class="login-line">
        <input
          id="new-address"
          inputMode="numeric"
          autocomplete="off"
          placeholder={from === null ? "1–512" : String(from)}
          value={typed}
          aria-describedby="new-address-note"
          onInput={(event) => setTyped(event.currentTarget.value)}
        />
        <button type="submit" class="big" aria-disabled={!valid || address === from || deed.busy !== null}>
          {deed.busy === "address" ? deed.doing : "Ändern …"}
        </button>
      </div>
      <p id="new-address-note" class="quiet">
        {typed.trim() === ""
          ? `Jetzt ${from === null ? "ohne Adresse" : rangeText(from, channels)}, ${channels === 1 ? "1 Kanal" : `${channels} Kanäle`}.`
          : !valid
            ? "1 bis 512."
            : address === from
              ? "Steht schon so."
              : fits
                ? `Belegt dann ${rangeText(address, channels)}.`
                : `Reicht mit ${channels} Kanälen über 512 hinaus.`}
      </p>
      <Outcome deed={deed} of={["address"]} />
      {asking && (
        <Ask
          title={`${titleOf(fixture)}: DMX-Adresse ${address}?`}
          verb="Adresse ändern"
          onClose={() => setAsking(false)}
          onYes={() => {
            deed.tell("address", "Ändere …", () => setAddress(fixture.id, address), said);
            setTyped("");
          }}
        >
          <p>
            Schreibt per RDM die DMX-Adresse {address} in die Lampe, bisher {from ?? "keine"}. Sie hört dann auf {rangeText(address, channels)}; ein Pult,
            das sie unter der alten Adresse führt, erreicht sie nicht mehr. Der Patch hier bleibt, wie er ist.
          </p>
          {!fits && <p>Mit {channels} Kanälen reicht sie über das Ende des Universums hinaus.</p>}
        </Ask>
      )}
    </form>
  );
}

export function ChangeMode({ fixture, rdm, deed }: Props) {
  const rights = useFeed(info).data;
  const [chosen, setChosen] = useState<number | null>(null);
  const [asking, setAsking] = useState(false);
  const hindered = hindranceOf("mode", rights, rdm.writeEnabled);
  // What stands against both stands once, with the address.
  if (hindered) return hindranceOf("address", rights, rdm.writeEnabled)?.text === hindered.text ? null : <Hindered by={hindered} what="Modus" />;
  if (rdm.personalities.length < 2) return null;
  const target = rdm.personalities.find((one) => one.number === chosen && one.number !== rdm.personality);
  return (
    <form
      class="card change"
      onSubmit={(event) => {
        event.preventDefault();
        if (target && !deed.busy) setAsking(true);
      }}
    >
      <fieldset class="modes">
        <legend>Modus</legend>
        {rdm.personalities.map((one) => (
          <label key={one.number} class="choice">
            <input
              type="radio"
              name="personality"
              checked={one.number === (chosen ?? rdm.personality)}
              onChange={() => setChosen(one.number)}
            />
            <span>
              <bdi>{personalityText(one)}</bdi>
              {one.number === rdm.personality && <span class="quiet"> jetzt</span>}
            </span>
          </label>
        ))}
      </fieldset>
      <button type="submit" class="big" aria-disabled={!target || deed.busy !== null}>
        {deed.busy === "mode" ? deed.doing : "Ändern …"}
      </button>
      <Outcome deed={deed} of={["mode"]} />
      {asking && target && (
        <Ask
          title={`${titleOf(fixture)}: Modus ${target.number}?`}
          verb="Modus ändern"
          onClose={() => setAsking(false)}
          onYes={() => {
            deed.tell(
              "mode",
              "Ändere …",
              () => setMode(fixture.id, target.number),
              (now) => (!now.rdm || now.rdm.personality === target.number ? `Die Lampe meldet: Modus ${target.number}.` : null),
            );
            setChosen(null);
          }}
        >
          <p>
            Schreibt per RDM den {personalityText(target)} in die Lampe. Ihre Kanäle liegen danach anders
            {rdm.startAddress !== null && rdm.startAddress >= 1 && target.footprint > 0 ? `, sie belegt ${rangeText(rdm.startAddress, target.footprint)}` : ""};
            ein Pult mit dem alten Modus steuert sie falsch.
          </p>
        </Ask>
      )}
    </form>
  );
}
