// Addresses inside the app: everything behind "#", since the server knows the page only under "/" and "/foh".

export type Route =
  | { page: "overview" }
  | { page: "power"; device: string | null }
  | { page: "network"; universe: string | null; section: NetworkSection | null }
  | { page: "switches"; switch: string | null }
  | { page: "map" }
  | { page: "netdetail" }
  | { page: "patch"; fixture: string | null }
  | { page: "testlight" }
  | { page: "events" }
  | { page: "more" };

/** What the network page is divided into; each can be led to. */
export const networkSections = [
  "problems", "universes", "nodes", "consoles", "manet", "clocks", "timecode", "devices", "ups", "adapters", "queriers", "errors",
] as const;
export type NetworkSection = (typeof networkSections)[number];

export const links = {
  overview: "#/",
  power: "#/power",
  device: (id: string) => `#/device/${encodeURIComponent(id)}`,
  network: "#/network",
  networkSection: (section: NetworkSection) => `#/network/${section}`,
  /** @param id "Art-Net:1" */
  universe: (id: string) => `#/universe/${encodeURIComponent(id)}`,
  switches: "#/switch",
  /** @param name its address or its id */
  switch: (name: string) => `#/switch/${encodeURIComponent(name)}`,
  map: "#/map",
  netdetail: "#/netdetail",
  patch: "#/patch",
  fixture: (id: string) => `#/fixture/${encodeURIComponent(id)}`,
  testlight: "#/testlight",
  events: "#/events",
  more: "#/more",
};

export function routeOf(hash: string): Route {
  const [page, ...rest] = hash.replace(/^#?\/?/, "").split("/");
  switch (page) {
    case "power":
      return { page: "power", device: null };
    case "device":
      return { page: "power", device: rest[0] ? decode(rest[0]) : null };
    case "network":
      return { page: "network", universe: null, section: networkSections.find((section) => section === rest[0]) ?? null };
    case "universe":
      return { page: "network", universe: rest[0] ? decode(rest[0]) : null, section: null };
    case "switch":
      return { page: "switches", switch: rest[0] ? decode(rest[0]) : null };
    case "map":
      return { page: "map" };
    case "netdetail":
      return { page: "netdetail" };
    case "patch":
      return { page: "patch", fixture: null };
    case "fixture":
      return { page: "patch", fixture: rest[0] ? decode(rest[0]) : null };
    case "testlight":
      return { page: "testlight" };
    case "events":
      return { page: "events" };
    case "more":
      return { page: "more" };
    default:
      return { page: "overview" };
  }
}

function decode(piece: string): string {
  try {
    return decodeURIComponent(piece);
  } catch {
    return piece;
  }
}
