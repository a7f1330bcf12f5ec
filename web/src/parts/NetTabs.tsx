// The views of the network, one beside the other.

import { links } from "../data/route";

const tabs = [
  { id: "network", name: "Überblick", link: links.network },
  { id: "switches", name: "Switches", link: links.switches },
  { id: "map", name: "Karte", link: links.map },
  { id: "netdetail", name: "Details", link: links.netdetail },
] as const;

export function NetTabs({ current }: { current: (typeof tabs)[number]["id"] }) {
  return (
    <nav class="tabs" aria-label="Ansichten des Netzes">
      {tabs.map((tab) => (
        <a key={tab.id} href={tab.link} aria-current={tab.id === current ? "page" : undefined}>
          {tab.name}
        </a>
      ))}
    </nav>
  );
}
