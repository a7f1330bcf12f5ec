// Who is logged in and what that allows, the address of the wall screen, and what this program is.

import { useState } from "preact/hooks";
import type { Control, Info } from "../data/shapes";
import { Icon } from "../parts/icons";
import { Section } from "../parts/basics";
import { info, login, logout, useFeed } from "../station";
import "../parts/shared";

const controlWords: Record<Control, string> = {
  view: "Nur ansehen",
  find: "Suchen & Identify / Hellmachen",
  full: "Voller RDM-Zugriff",
};

function LoginForm({ told }: { told: Info }) {
  const [pin, setPin] = useState("");
  const [busy, setBusy] = useState(false);
  const [failure, setFailure] = useState<string | null>(null);
  const submit = async (event: Event) => {
    event.preventDefault();
    if (busy) return;
    setBusy(true);
    const wrong = await login(pin);
    setBusy(false);
    setFailure(wrong);
    setPin("");
  };
  return (
    <form class="card login" onSubmit={submit}>
      <p>Ansehen geht ohne Anmeldung. Wer angemeldet ist, darf: {controlWords[told.control]}.</p>
      <label for="pin">PIN</label>
      <div class="login-line">
        <input
          id="pin"
          type="password"
          autocomplete="current-password"
          value={pin}
          aria-describedby="login-failure"
          onInput={(event) => setPin(event.currentTarget.value)}
        />
        <button type="submit" class="primary" disabled={busy || pin === ""}>
          {busy ? "Prüfe …" : "Anmelden"}
        </button>
      </div>
      <p id="login-failure" class="reason" role="alert">
        {failure}
      </p>
    </form>
  );
}

function LoggedIn({ told }: { told: Info }) {
  const [busy, setBusy] = useState(false);
  const [failure, setFailure] = useState<string | null>(null);
  const leave = async () => {
    setBusy(true);
    setFailure(await logout());
    setBusy(false);
  };
  return (
    <div class="card login">
      <p class="mark ok">
        <Icon name="person" size={20} />
        Angemeldet{told.user && ` als ${told.user}`}
      </p>
      <p>Dieses Gerät darf: {controlWords[told.control]}.</p>
      <button type="button" disabled={busy} onClick={leave}>
        Abmelden
      </button>
      {failure && (
        <p class="reason" role="alert">
          {failure}
        </p>
      )}
    </div>
  );
}

function Access({ told }: { told: Info }) {
  if (!told.pinSet)
    return (
      <div class="card login">
        <p class="mark quiet">
          <Icon name="lock" size={20} />
          Anmelden nicht möglich
        </p>
        <p>Es ist noch keine PIN gesetzt. Sie wird am Rechner unter „Web-App & Fernzugriff“ festgelegt. Ansehen geht ohne Anmeldung.</p>
      </div>
    );
  return told.authed ? <LoggedIn told={told} /> : <LoginForm told={told} />;
}

export function More() {
  const told = useFeed(info).data;
  const wall = `${location.origin}/foh`;
  return (
    <div class="page narrow">
      <h1>Mehr</h1>
      <Section title="Anmeldung">{told ? <Access told={told} /> : <p class="quiet">Lade …</p>}</Section>
      <Section title="FOH-Bildschirm">
        <div class="card">
          <p>Nur ansehen, groß und immer dunkel. Adresse für den Bildschirm am Mischplatz:</p>
          <a class="address" href={wall}>
            <Icon name="screen" size={20} />
            {wall}
          </a>
        </div>
      </Section>
      {told && !told.https && told.httpsURL && (
        <Section title="Sichere Adresse">
          <div class="card">
            <p>Unter dieser Adresse ist die Verbindung verschlüsselt und die App öffnet sich auch ohne Netz:</p>
            <a class="address" href={told.httpsURL}>
              <Icon name="lock" size={20} />
              {told.httpsURL}
            </a>
          </div>
        </Section>
      )}
      <Section title="Über">
        <dl class="card facts">
          <dt>Rechner</dt>
          <dd>{told?.name ?? "–"}</dd>
          <dt>Programm</dt>
          <dd>Brantholme {told ? `${told.version}${told.build && ` (${told.build})`}` : ""}</dd>
          {told?.copyright && (
            <>
              <dt>Rechte</dt>
              <dd>{told.copyright}</dd>
            </>
          )}
        </dl>
      </Section>
    </div>
  );
}
