import { render } from "preact";
import { App } from "./App";
import { start } from "./station";
import { lazy } from "./parts/lazy";
import "uplot/dist/uPlot.min.css";
import "./styles/tokens.css";
import "./styles/layout.css";
import "./styles/parts.css";

const Wall = lazy(() => import("./pages/Wall").then((part) => part.Wall));

const wall = location.pathname === "/foh";
if (wall) document.documentElement.dataset.wall = "";

start();
const root = document.getElementById("app")!;
root.textContent = "";
render(wall ? <Wall /> : <App />, root);

// Without it the app works as well, only not without the network: it exists on https and on this computer alone.
if ("serviceWorker" in navigator) navigator.serviceWorker.register("/sw.js").catch(() => undefined);
