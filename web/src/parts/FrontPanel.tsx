// The front of a switch: its ports in two rows, each a socket whose filling, outline and signs tell its state. One stop for the keyboard;
// the arrow keys lead from port to port.

import { useEffect, useRef } from "preact/hooks";
import type { SwitchPort } from "../data/netdetail";
import { blockTitle, movedPort, panelBlocks, portLabel, portNumber, portState, speedSign, type PortState } from "../data/ports";
import { Icon } from "./icons";

interface Props {
  ports: SwitchPort[];
  uplinks: ReadonlySet<string>;
  failed: ReadonlySet<string>;
  /** How many errors each port has had since the page was opened. */
  newErrors: number[];
  selected: number | null;
  onSelect: (index: number) => void;
}

function Socket({ port, state }: { port: SwitchPort; state: PortState }) {
  const signs = { up: speedSign(port.speed), down: "", off: "aus", failed: <Icon name="close" size={18} /> };
  return <span class={`socket ${state}`}>{signs[state]}</span>;
}

export function FrontPanel({ ports, uplinks, failed, newErrors, selected, onSelect }: Props) {
  const panel = useRef<HTMLDivElement>(null);
  const blocks = panelBlocks(ports);
  const stop = selected ?? 0;
  const at = (index: number) => panel.current?.querySelector<HTMLElement>(`[data-port="${index}"]`);
  // What is told of it comes up from below and must not cover it.
  useEffect(() => {
    if (selected !== null) at(selected)?.scrollIntoView({ block: "nearest" });
  }, [selected]);
  const onKey = (event: KeyboardEvent) => {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const to = movedPort(blocks, stop, event.key);
    if (to === null) return;
    event.preventDefault();
    onSelect(to);
    at(to)?.focus({ preventScroll: true });
  };
  return (
    <div class="panel card" ref={panel} role="group" aria-label="Ports, mit den Pfeiltasten von einem zum nächsten" onKeyDown={onKey}>
      {blocks.map((block, number) => (
        <div key={block[0]} class="panel-block" data-title={blockTitle(ports, blocks, number) || undefined}>
          {block.map((index) => {
            const port = ports[index]!;
            const state = portState(port, failed);
            const uplink = uplinks.has(port.name);
            const grown = newErrors[index] ?? 0;
            return (
              <button
                key={index}
                type="button"
                class="port"
                data-port={index}
                tabIndex={index === stop ? 0 : -1}
                aria-pressed={index === selected}
                aria-label={portLabel(port, state, uplink, grown)}
                onClick={() => onSelect(index)}
              >
                <span class="port-head">
                  {portNumber(port, index)}
                  {grown > 0 && <Icon name="warning" size={13} />}
                  {port.poe === true && <Icon name="power" size={13} />}
                  {uplink ? <span class="upwards"><Icon name="forward" size={13} /></span> : port.neighbor && <Icon name="network" size={13} />}
                </span>
                <Socket port={port} state={state} />
              </button>
            );
          })}
        </div>
      ))}
    </div>
  );
}

/** What the panel's drawing means. */
export function PanelLegend({ withErrors, withFailed }: { withErrors: boolean; withFailed: boolean }) {
  return (
    <ul class="legend quiet" aria-hidden="true">
      <li>
        <span class="socket up" /> verbunden
      </li>
      <li>
        <span class="socket down" /> nicht verbunden
      </li>
      <li>
        <span class="socket off" /> abgeschaltet
      </li>
      {withFailed && (
        <li>
          <span class="socket failed">
            <Icon name="close" size={12} />
          </span>{" "}
          ausgefallen
        </li>
      )}
      <li>
        <Icon name="power" size={14} /> PoE
      </li>
      <li>
        <span class="upwards">
          <Icon name="forward" size={14} />
        </span>{" "}
        Uplink
      </li>
      <li>
        <Icon name="network" size={14} /> Nachbar
      </li>
      {withErrors && (
        <li>
          <Icon name="warning" size={14} /> Fehler nehmen zu
        </li>
      )}
    </ul>
  );
}
