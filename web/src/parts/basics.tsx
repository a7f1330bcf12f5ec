// The small pieces every page is made of.

import type { ComponentChildren } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import type { Figure as Split } from "../data/format";
import type { Mark } from "../data/lines";
import type { Level } from "../data/shapes";
import { deviceState, type DeviceState } from "../data/verdict";
import { Icon, type IconName } from "./icons";

/** A measured number and its unit; dimmed by the page when it is old. */
export function Figure({ of, size = "body" }: { of: Split; size?: "body" | "tile" | "main" }) {
  return (
    <span class={`figure ${size}`}>
      {of.text}
      {of.unit && <span class="unit"> {of.unit}</span>}
    </span>
  );
}

export const levelWords: Record<Level, string> = { alarm: "Alarm", warning: "Warnung", info: "Info" };

export function LevelMark({ level }: { level: Level }) {
  return (
    <span class={`mark ${level}`}>
      <Icon name={level} size={18} />
      {levelWords[level]}
    </span>
  );
}

const stateWords: Record<DeviceState, { icon: IconName; tone: string }> = {
  online: { icon: "online", tone: "ok" },
  connecting: { icon: "connecting", tone: "quiet" },
  off: { icon: "off", tone: "quiet" },
  error: { icon: "error", tone: "warning" },
};

/** The state of a meter as icon and word; the reason of an error stands elsewhere. */
export function StateMark({ status }: { status: string }) {
  const state = deviceState(status);
  const { icon, tone } = stateWords[state];
  return (
    <span class={`mark ${tone}`}>
      <Icon name={icon} size={18} />
      {state === "error" ? "Fehler" : status || "unbekannt"}
    </span>
  );
}

/** A state as icon and word. */
export function StateSign({ mark }: { mark: Mark }) {
  return (
    <span class={`mark ${mark.tone}`}>
      <Icon name={mark.sign} size={18} />
      {mark.word}
    </span>
  );
}

/** How much of a whole, as a bar beside a number that says the same. */
export function Gauge({ name, share, tone }: { name: string; share: number | null; tone: Mark["tone"] }) {
  const part = Math.min(1, Math.max(0, share ?? 0));
  return (
    <div
      class={`gauge ${tone}`}
      role="meter"
      aria-label={name}
      aria-valuemin={0}
      aria-valuemax={100}
      aria-valuenow={Math.trunc(part * 100)}
      aria-valuetext={share === null ? "unbekannt" : undefined}
    >
      <span class="bar" style={{ transform: `scaleX(${part.toFixed(3)})` }} />
    </div>
  );
}

export function Section({ title, aside, children }: { title: string; aside?: ComponentChildren; children: ComponentChildren }) {
  return (
    <section class="section">
      <header class="section-head">
        <h2>{title}</h2>
        {aside}
      </header>
      {children}
    </section>
  );
}

export function Empty({ title, children }: { title: string; children?: ComponentChildren }) {
  return (
    <div class="empty">
      <p class="empty-title">{title}</p>
      {children && <p class="quiet">{children}</p>}
    </div>
  );
}

/** Draws its content only near the visible part; elsewhere an empty box keeps the height. The current one is brought into sight. */
export function Near({ height, current = false, children }: { height: number; current?: boolean; children: () => ComponentChildren }) {
  const box = useRef<HTMLDivElement>(null);
  const [near, setNear] = useState(false);
  const lastHeight = useRef(height);
  useEffect(() => {
    const watch = new IntersectionObserver(
      ([entry]) => {
        if (!entry) return;
        if (!entry.isIntersecting && entry.boundingClientRect.height > 0) lastHeight.current = entry.boundingClientRect.height;
        setNear(entry.isIntersecting);
      },
      // The second is for a list that scrolls by itself; browsers that do not know it draw there a little later.
      { rootMargin: "600px 0px", scrollMargin: "600px 0px" } as IntersectionObserverInit,
    );
    watch.observe(box.current!);
    return () => watch.disconnect();
  }, []);
  useEffect(() => {
    if (current) box.current?.scrollIntoView({ block: "nearest" });
  }, [current]);
  return (
    <div ref={box} class="near" style={near ? undefined : { height: `${lastHeight.current}px` }}>
      {near && children()}
    </div>
  );
}

/** A sheet over the page. The browser's own dialog keeps the focus inside and closes on Escape. */
export function Sheet({ title, onClose, children }: { title: string; onClose: () => void; children: ComponentChildren }) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => dialog.current?.showModal(), []);
  return (
    <dialog
      ref={dialog}
      class="sheet"
      aria-label={title}
      onClose={onClose}
      onClick={(event) => event.target === dialog.current && dialog.current?.close()}
    >
      <div class="sheet-body">
        <header class="sheet-head">
          <h2>{title}</h2>
          <button type="button" class="plain" aria-label="Schließen" onClick={() => dialog.current?.close()}>
            <Icon name="close" />
          </button>
        </header>
        {children}
      </div>
    </dialog>
  );
}
