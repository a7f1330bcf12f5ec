// Addresses, queriers and services as lines of the one form.

import { count, joined, missing } from "./format";
import type { Line, Mark } from "./lines";
import type { Address, Querying, Service } from "./netdetail";

export function addressLine(one: Address): Line {
  return {
    key: `${one.mac} ${one.ip}`,
    title: one.name || one.ip,
    note: joined([one.ip, one.mac]),
    figures: one.interface,
    mark: one.new ? { tone: "quiet", sign: "unknown", word: "neu" } : null,
    age: one.age,
    silent: false,
    link: null,
    facts: [["Adresse", one.ip || missing], ["MAC", one.mac || missing], ["Adapter", one.interface || missing], ["Seit der Referenz neu", one.new ? "ja" : "nein"]],
  };
}

/** Those with all words of the search in what is told of them. */
export function filterAddresses(addresses: Address[], search: string, onlyNew: boolean): Address[] {
  const words = search.toLowerCase().split(/\s+/).filter(Boolean);
  return addresses.filter((one) => {
    if (onlyNew && !one.new) return false;
    const told = `${one.name} ${one.ip} ${one.mac} ${one.interface}`.toLowerCase();
    return words.every((word) => told.includes(word));
  });
}

export function queryingLine(one: Querying): Line {
  const mark: Mark = one.missing
    ? { tone: "warning", sign: "warning", word: "Querier fehlt" }
    : one.queriers.length === 0
      ? { tone: "quiet", sign: "unknown", word: "keiner gehört" }
      : { tone: "ok", sign: "ok", word: count(one.queriers.length, "Querier", "Querier") };
  const version = one.version === null ? "" : `IGMPv${one.version}`;
  return {
    key: one.interface,
    title: one.name || one.interface,
    note: joined([one.queriers.join(", "), version]) || "kein Querier",
    figures: joined([count(one.groups, "Gruppe", "Gruppen"), count(one.members, "Mitglied", "Mitglieder")]),
    mark,
    age: one.age,
    silent: false,
    link: null,
    facts: [
      ["Adapter", one.interface || missing], ["Querier", one.queriers.join(", ") || missing], ["Version", version || missing],
      ["Gruppen", String(one.groups)], ["Mitglieder", String(one.members)],
    ],
  };
}

export function serviceLine(one: Service, index: number): Line {
  return {
    key: `${index} ${one.type} ${one.name}`,
    title: one.name || one.host,
    note: joined([one.type, one.host]),
    figures: one.ips.join(", "),
    mark: null,
    age: null,
    silent: false,
    link: null,
    facts: [["Art", one.type || missing], ["Rechner", one.host || missing], ["Adressen", one.ips.join(", ") || missing]],
  };
}
