// Addresses inside the app: everything behind "#", since the server knows the page only under "/" and "/foh".

export type Route =
  | { page: "overview" }
  | { page: "power"; device: string | null }
  | { page: "events" }
  | { page: "more" };

export const links = {
  overview: "#/",
  power: "#/power",
  device: (id: string) => `#/device/${encodeURIComponent(id)}`,
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
