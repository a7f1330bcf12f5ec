// Keeps the app's own files so that it opens without the network and can say that the station is silent. The network comes first
// always: a new version reaches the phone at its next opening. Nothing under /api/ is ever kept: old figures must not look new.

const cacheName = "app";
// Filled in by the build.
const parts = [];
const shell = ["/", "/app.js", ...parts, "/app.css", "/manifest.webmanifest", "/icon.svg", "/icon-192.png"];
const patience = 4000;

self.addEventListener("install", (event) => {
  event.waitUntil(
    caches
      .open(cacheName)
      .then((cache) => cache.addAll(shell.map((path) => new Request(path, { cache: "reload" }))))
      .then(() => self.skipWaiting()),
  );
});

self.addEventListener("activate", (event) => {
  event.waitUntil(self.clients.claim());
});

self.addEventListener("fetch", (event) => {
  const url = new URL(event.request.url);
  if (event.request.method !== "GET" || url.origin !== location.origin || url.pathname.startsWith("/api/")) return;
  // The wall screen is the same page under another address.
  const kept = event.request.mode === "navigate" ? "/" : url.pathname;
  if (shell.includes(kept)) event.respondWith(networkFirst(event.request, kept));
});

async function networkFirst(request, kept) {
  const cache = await caches.open(cacheName);
  const old = await cache.match(kept);
  // Without a copy there is nothing to fall back on, so the network gets all the time it needs.
  const signal = old ? abortAfter(patience) : undefined;
  try {
    const answer = await fetch(request, { signal });
    if (answer.ok) await cache.put(kept, answer.clone());
    return answer.status >= 500 && old ? old : answer;
  } catch (error) {
    if (old) return old;
    throw error;
  }
}

function abortAfter(milliseconds) {
  const controller = new AbortController();
  setTimeout(() => controller.abort(), milliseconds);
  return controller.signal;
}
