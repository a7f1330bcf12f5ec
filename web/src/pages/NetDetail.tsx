// What the details of the network are shown on: switches with the one that is open, the map, addresses. One part, one feed.

import { useMemo } from "preact/hooks";
import { isStale } from "../data/connection";
import { clock, span } from "../data/format";
import type { NetDetail as Told } from "../data/netdetail";
import { addressOf, findSwitch, switchLine } from "../data/ports";
import { links, type Route } from "../data/route";
import { detailInterval, useNetDetail } from "../detail";
import type { Situation } from "../situation";
import { Empty } from "../parts/basics";
import { useEscape } from "../parts/escape";
import { Lines } from "../parts/Lines";
import "../parts/listSheet";
import { NetTabs } from "../parts/NetTabs";
import { addSheet } from "../parts/sheet";
import detailSheet from "../styles/detail.part.css";
import { Addresses } from "./Addresses";
import { NetMap } from "./NetMap";
import { Switch } from "./Switch";
import { Unread } from "./Unread";
import "../parts/shared";

addSheet(detailSheet);

export type DetailRoute = Extract<Route, { page: "switches" | "map" | "netdetail" }>;

const titles: Record<DetailRoute["page"], string> = { switches: "Switches", map: "Netz-Karte", netdetail: "Netz-Details" };

function SwitchList({ detail, current, elapsed }: { detail: Told; current: string | null; elapsed: number }) {
  const lines = useMemo(() => detail.switches.map(switchLine), [detail]);
  return lines.length > 0 ? <Lines name="Switches" lines={lines} elapsed={elapsed} current={current} /> : <Unread />;
}

export function NetDetail({ route, situation }: { route: DetailRoute; situation: Situation }) {
  const { data, receivedAt, refusal } = useNetDetail();
  const name = route.page === "switches" ? route.switch : null;
  useEscape(name === null ? links.network : links.switches, true);
  const now = Math.max(situation.now, receivedAt ?? 0);
  const elapsed = receivedAt === null ? 0 : (now - receivedAt) / 1000;
  const stale = isStale(receivedAt, detailInterval, now);
  const told = name !== null && data ? findSwitch(data.switches, name) : null;
  const age = stale && receivedAt !== null && (
    <p class="age-old quiet">
      Stand {clock(receivedAt / 1000)}, vor {span(elapsed)}
    </p>
  );
  const waiting = <Empty title={refusal ? "Keine Netz-Details" : "Lade …"}>{refusal}</Empty>;
  return (
    <div class={`page network ${name === null ? "" : "with-detail"} ${stale ? "stale" : ""}`}>
      <div class="master">
        <h1>{titles[route.page]}</h1>
        <NetTabs current={route.page} />
        {name === null && age}
        {!data && waiting}
        {data && route.page === "switches" && <SwitchList detail={data} current={told ? addressOf(told) : null} elapsed={elapsed} />}
        {data && route.page === "map" && <NetMap detail={data} elapsed={elapsed} />}
        {data && route.page === "netdetail" && <Addresses detail={data} elapsed={elapsed} />}
      </div>
      {name !== null && (
        <div class="detail">
          {age}
          {data ? <Switch key={name} name={name} told={told} detail={data} problems={situation.network?.problems ?? []} /> : waiting}
        </div>
      )}
    </div>
  );
}
