// What is wrong on the network: each with the place that shows more of it and the event that told of it first.

import type { NetDevice, Network, NetProblem, Universe } from "./network";
import { links } from "./route";
import type { LogEvent } from "./shapes";
import type { Problem } from "./verdict";

/** Universes in conflict by what they are called in texts: with their protocol, and without it. */
function inConflict(universes: Universe[]): Map<string, Universe> {
  const found = new Map<string, Universe>();
  for (const universe of universes)
    if (universe.status === "conflict") found.set(universe.title, universe).set(universe.title.slice(universe.title.indexOf(" ") + 1), universe);
  return found;
}

/** The universe a conflict is about: at the beginning ("Art-Net 1 (0:0:1): Konflikt …") or in brackets at the end ("… (1 (0:0:1))"). */
function universeOf(text: string, conflicts: ReadonlyMap<string, Universe>): Universe | null {
  const name = /^(.*?): Konflikt /.exec(text)?.[1] ?? / gleicher Priorität \((.*)\)$/.exec(text)?.[1];
  return (name !== undefined && conflicts.get(name)) || null;
}

/** Where more about it stands. */
function placeOf(problem: NetProblem, universe: Universe | null, one: NetDevice | undefined): string {
  if (universe) return links.universe(universe.id);
  if (one) return links.switch(one.id || one.ip);
  if (problem.text.startsWith("USV ")) return links.power;
  if (/nicht erreichbar|wieder online/.test(problem.text)) return links.networkSection("devices");
  if (problem.text.includes("Grandmaster")) return links.networkSection("clocks");
  if (problem.text.includes("IGMP")) return links.networkSection("queriers");
  return problem.area === "power" ? links.power : links.networkSection("problems");
}

/** What stays the same while the figures in it change: a temperature, the minutes left. */
const changing = /[\d,.]+ (°C|min|s)(?![\p{L}\d])/gu;
const lasting = (text: string) => text.replace(changing, "$1");

/** The event begins with what the problem says; a conflict is told there by another sentence. */
function raisedAt(problem: NetProblem, universe: Universe | null, one: NetDevice | undefined, events: LogEvent[]): number | null {
  const [proto, ...label] = universe?.title.split(" ") ?? [];
  const conflict = universe ? `Konflikt auf ${proto}-Universum ${label.join(" ")}: ` : null;
  // Heat stands there as "Switch: CPU 71 °C" and here as "Switch: Temperatur CPU 70 °C (Grenze 70 °C)".
  const heat = one && / °C$/.test(problem.text);
  const begin = heat ? `${one.name}: Temperatur ${problem.text.slice(one.name.length + 2)}` : problem.text;
  const stem = lasting(begin);
  const [head = ""] = begin.split(changing, 1);
  const same = (text: string) => text.startsWith(head) && lasting(text).startsWith(stem);
  const raised = (event: LogEvent) => event.level !== "info" && (same(event.text) || (conflict !== null && event.text.startsWith(conflict)));
  return events.find(raised)?.time ?? null;
}

const words = { light: "Netz", power: "Strom" };

/** Alarms and warnings; what is only told ("3 Geräte wieder online") is none. */
export function networkProblems(network: Network, events: LogEvent[]): Problem[] {
  if (!network.running) return [];
  const conflicts = inConflict(network.universeList);
  const switches = network.devices.filter((device) => device.role === "Switch" && device.name !== "");
  const found = network.problems.flatMap((problem): Problem[] => {
    if (problem.level === "info") return [];
    const universe = universeOf(problem.text, conflicts);
    const one = switches.find((device) => problem.text.startsWith(`${device.name}: `));
    return [
      {
        // Who fights over a universe may change while the fight goes on.
        key: `Netz ${universe?.title ?? lasting(problem.text)}`,
        source: "network",
        severity: problem.level,
        what: problem.text,
        where: words[problem.area],
        since: raisedAt(problem, universe, one, events),
        link: placeOf(problem, universe, one),
      },
    ];
  });
  const addresses = network.conflicts.map(
    (conflict): Problem => ({
      key: `Netz IP-Konflikt ${conflict.ip}`,
      source: "network",
      severity: "alarm",
      what: `IP-Konflikt: ${conflict.ip} wird von ${conflict.macs.length} Geräten benutzt`,
      where: conflict.macs.join(", "),
      since: conflict.since,
      link: links.networkSection("problems"),
    }),
  );
  return [...found, ...addresses];
}
