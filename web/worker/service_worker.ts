/**
 * The service worker: keeps the shell of the page (its own files, nothing else) so that the page opens
 * without the hub, and takes what another app shares, so that it never reaches the hub unsealed.
 */

export {};
declare const self: ServiceWorkerGlobalScope;
/** Paths of the shell and a name that changes with it, from the build. */
declare const SHELL: string[];
declare const SHELL_NAME: string;

const kPatience = 4_000; // milliseconds for the hub to answer before the kept page is shown
let shared = "";

self.addEventListener("install", (event) => {
  const fill = async () => {
    const cache = await caches.open(SHELL_NAME);
    await cache.addAll(SHELL.map((path) => new Request(path, { cache: "no-cache", credentials: "omit" })));
    await self.skipWaiting();
  };
  event.waitUntil(fill());
});

self.addEventListener("activate", (event) => {
  const tidy = async () => {
    for (const name of await caches.keys()) if (name !== SHELL_NAME) await caches.delete(name);
    await self.clients.claim();
  };
  event.waitUntil(tidy());
});

self.addEventListener("fetch", (event) => {
  const { request } = event;
  const { origin, pathname } = new URL(request.url);
  if (origin !== location.origin) return;
  if (request.method === "POST" && pathname === "/share") event.respondWith(share(request));
  else if (request.method === "GET" && request.mode === "navigate" && pathname === "/")
    event.respondWith(fresh(request));
  else if (request.method === "GET" && SHELL.includes(pathname)) event.respondWith(kept(request));
});

self.addEventListener("message", (event) => {
  if (event.data !== "take-shared") return;
  event.ports[0]?.postMessage(shared);
  shared = "";
});

async function share(request: Request): Promise<Response> {
  const form = await request.formData();
  const parts = ["text", "url"].map((name) => form.get(name)).filter((part) => typeof part === "string" && part !== "");
  shared = [...new Set(parts)].join("\n"); // the text is often the address again
  return Response.redirect("/#shared", 303);
}

async function fresh(request: Request): Promise<Response> {
  const patience = AbortSignal.timeout?.(kPatience);
  try {
    const reply = await fetch(request.url, { cache: "no-store", credentials: "omit", signal: patience ?? null });
    if (reply.ok) return reply;
  } catch {
    // No hub; the kept page says so itself.
  }
  return (await caches.match("/")) ?? Response.error();
}

async function kept(request: Request): Promise<Response> {
  return (await caches.match(request, { ignoreVary: true })) ?? fetch(request);
}
