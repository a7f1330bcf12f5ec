// The lighting rig: the list of lamps with the one that is open, and the test light. One part, one search.

import type { Route } from "../data/route";
import { links } from "../data/route";
import type { Situation } from "../situation";
import { useRig } from "../light";
import { useEscape } from "../parts/escape";
import "../parts/listSheet";
import { addSheet } from "../parts/sheet";
import lightSheet from "../styles/light.part.css";
import testLightSheet from "../styles/testlight.part.css";
import { FixturePage } from "./Fixture";
import { Patch } from "./Patch";
import { TestLight } from "./TestLight";
import "../parts/shared";

addSheet(lightSheet);
addSheet(testLightSheet);

export type LightRoute = Extract<Route, { page: "patch" | "testlight" }>;

function Tabs({ page }: { page: LightRoute["page"] }) {
  return (
    <nav class="tabs" aria-label="Ansichten der Lichtanlage">
      <a href={links.patch} aria-current={page === "patch" ? "page" : undefined}>
        Patch
      </a>
      <a href={links.testlight} aria-current={page === "testlight" ? "page" : undefined}>
        DMX-Test
      </a>
    </nav>
  );
}

export function Light({ route, situation }: { route: LightRoute; situation: Situation }) {
  const rig = useRig();
  const fixture = route.page === "patch" ? route.fixture : null;
  useEscape(links.patch, fixture !== null);
  return (
    <div class={`page light ${fixture === null ? "" : "with-detail"}`}>
      <div class="master">
        <h1>{route.page === "patch" ? "Patch" : "DMX-Test"}</h1>
        <Tabs page={route.page} />
        {route.page === "patch" ? <Patch rig={rig} current={fixture} /> : <TestLight rig={rig} />}
      </div>
      {fixture !== null && (
        <div class="detail">
          <FixturePage key={fixture} id={fixture} rig={rig} now={situation.now} />
        </div>
      )}
    </div>
  );
}
