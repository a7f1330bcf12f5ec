// The bar that stands over every page while the test light is on, with what ends it; then once with why it has ended.

import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { fields, text } from "../data/json";
import { links } from "../data/route";
import { command, info, rig, useFeed } from "../station";
import css from "../styles/lightbar.part.css";
import { Icon } from "./icons";
import "./shared";
import { addSheet } from "./sheet";

addSheet(css);

export function LightBanner() {
  const { data } = useFeed(rig);
  // Only what stands here is read: the rest of the reading comes with the pages of the light.
  const light = useMemo(() => {
    const dmx = fields(fields(data?.told).dmx);
    return { sending: dmx.sending === true, text: text(dmx.text), blockedBy: text(dmx.blockedBy) };
  }, [data]);
  const authed = useFeed(info).data?.authed ?? false;
  const [busy, setBusy] = useState(false);
  const [failure, setFailure] = useState("");
  /** Why it ended while this page was open, until it is tapped away. */
  const [ended, setEnded] = useState("");
  const sentBefore = useRef(false);
  useEffect(() => {
    if (light.sending) setEnded("");
    else if (sentBefore.current) setEnded(light.blockedBy);
    if (!light.sending) setFailure("");
    sentBefore.current = light.sending;
  }, [light]);

  const shown = light.sending || ended !== "";
  useEffect(() => {
    document.documentElement.toggleAttribute("data-light", shown);
    return () => document.documentElement.removeAttribute("data-light");
  }, [shown]);

  const stop = () => {
    if (busy) return;
    setBusy(true);
    setFailure("");
    void command("/api/dmx/stop", {})
      .catch((wrong: string) => setFailure(wrong))
      .finally(() => {
        setBusy(false);
        rig.refresh();
      });
  };
  if (!shown) return null;
  if (!light.sending)
    return (
      <div class="light-bar" role="alert">
        <Icon name="warning" />
        <p class="light-bar-text">{ended}</p>
        <button type="button" class="plain" aria-label="Gesehen" onClick={() => setEnded("")}>
          <Icon name="close" size={20} />
        </button>
      </div>
    );
  return (
    <div class="light-bar on" role="region" aria-label="Testausgabe">
      <Icon name="light" />
      <a class="light-bar-text" href={links.testlight}>
        <b role="status">Testausgabe läuft</b>
        {failure ? (
          <span class="light-bar-failure" role="alert">
            {failure}
          </span>
        ) : (
          <bdi>{light.text}</bdi>
        )}
      </a>
      {authed ? (
        <button type="button" class="light-off" aria-label="Testausgabe aus" aria-disabled={busy} onClick={stop}>
          Aus
        </button>
      ) : (
        <a class="light-off" href={links.more}>
          Anmelden
        </a>
      )}
    </div>
  );
}
