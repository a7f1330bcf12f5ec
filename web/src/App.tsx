// The frame around the pages: navigation, the banner of a lost connection, new alarms.

import { useEffect, useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import { count } from "./data/format";
import { links, routeOf, type Route } from "./data/route";
import { Announcer, NewAlarms } from "./parts/NewAlarms";
import { Banner } from "./parts/Banner";
import { Icon, type IconName } from "./parts/icons";
import { lazy } from "./parts/lazy";
import { Events } from "./pages/Events";
import { Overview } from "./pages/Overview";
import { Power } from "./pages/Power";
import { useSituation } from "./situation";
import { info, rig, useFeed } from "./station";

const More = lazy(() => import("./pages/More").then((part) => part.More));
const Network = lazy(() => import("./pages/Network").then((part) => part.Network));
const NetDetail = lazy(() => import("./pages/NetDetail").then((part) => part.NetDetail));
const Light = lazy(() => import("./pages/Light").then((part) => part.Light));
const LightBanner = lazy(() => import("./parts/LightBanner").then((part) => part.LightBanner), null);

interface Destination {
  page: Route["page"];
  name: string;
  icon: IconName;
  link: string;
}

const destinations: Destination[] = [
  { page: "overview", name: "Übersicht", icon: "overview", link: links.overview },
  { page: "power", name: "Strom", icon: "power", link: links.power },
  { page: "network", name: "Netz", icon: "network", link: links.network },
  { page: "patch", name: "Licht", icon: "light", link: links.patch },
  { page: "events", name: "Ereignisse", icon: "events", link: links.events },
  { page: "more", name: "Mehr", icon: "more", link: links.more },
];

/** Switches, the map and the details belong to the network, the test light to the patch. */
const areaOf = (page: Route["page"]): Route["page"] =>
  page === "switches" || page === "map" || page === "netdetail" ? "network" : page === "testlight" ? "patch" : page;

/** A detail of one thing: it begins at its top. */
function isDetail(route: Route): boolean {
  return (
    (route.page === "power" && route.device !== null) ||
    (route.page === "network" && route.universe !== null) ||
    (route.page === "switches" && route.switch !== null) ||
    (route.page === "patch" && route.fixture !== null)
  );
}

/** The open page. One that was open before comes back where it had been scrolled to; a detail begins at its top. */
function useRoute(): Route {
  const [hash, setHash] = useState(location.hash);
  const left = useRef(new Map<string, number>());
  const route = useMemo(() => routeOf(hash), [hash]);
  useEffect(() => {
    history.scrollRestoration = "manual";
    let open = location.hash;
    const changed = () => {
      left.current.set(open, window.scrollY);
      open = location.hash;
      setHash(open);
    };
    window.addEventListener("hashchange", changed);
    return () => window.removeEventListener("hashchange", changed);
  }, []);
  useLayoutEffect(() => {
    window.scrollTo(0, isDetail(route) ? 0 : (left.current.get(hash) ?? 0));
    // What had the focus is gone with its page: the keyboard goes on in the new one.
    if (document.activeElement === document.body) document.getElementById("inhalt")?.focus({ preventScroll: true });
  }, [hash]);
  return route;
}

function Navigation({ page, problems }: { page: Route["page"]; problems: number }) {
  return (
    <nav class="nav" aria-label="Bereiche">
      {destinations.map((to) => (
        <a key={to.page} href={to.link} aria-current={to.page === areaOf(page) ? "page" : undefined}>
          <span class="nav-icon">
            <Icon name={to.icon} />
            {to.page === "overview" && problems > 0 && (
              <span class="badge" aria-label={count(problems, "Meldung", "Meldungen")}>
                {problems}
              </span>
            )}
          </span>
          <span>{to.name}</span>
        </a>
      ))}
    </nav>
  );
}

export function App() {
  const route = useRoute();
  const situation = useSituation();
  const name = useFeed(info).data?.name ?? "Brantholme";
  const sending = useFeed(rig).data?.sending ?? false;
  // Once it was on, its bar stays to tell how it ended.
  const lightSeen = useRef(false);
  lightSeen.current ||= sending;

  useEffect(() => {
    document.title = situation.problems.length > 0 ? `(${situation.problems.length}) ${name}` : name;
  }, [name, situation.problems.length]);

  return (
    <div class={`app ${situation.connection.state === "lost" ? "lost" : ""} ${situation.stale ? "stale" : ""}`}>
      <a class="skip" href="#inhalt" onClick={(event) => (event.preventDefault(), document.getElementById("inhalt")?.focus())}>
        Zum Inhalt
      </a>
      <Navigation page={route.page} problems={situation.problems.length} />
      <div class="column">
        <Banner situation={situation} />
        <main id="inhalt" tabIndex={-1}>
          {route.page === "overview" && <Overview situation={situation} />}
          {route.page === "power" && <Power situation={situation} device={route.device} />}
          {route.page === "network" && <Network situation={situation} universe={route.universe} section={route.section} />}
          {(route.page === "switches" || route.page === "map" || route.page === "netdetail") && <NetDetail situation={situation} route={route} />}
          {(route.page === "patch" || route.page === "testlight") && <Light route={route} situation={situation} />}
          {route.page === "events" && <Events />}
          {route.page === "more" && <More />}
        </main>
      </div>
      {lightSeen.current && <LightBanner />}
      <NewAlarms fresh={situation.fresh} current={situation.problems} silent={route.page === "overview"} />
      <Announcer fresh={situation.fresh} />
    </div>
  );
}
