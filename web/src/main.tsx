import { render } from "preact";

import { language } from "./l10n";
import { parseFragment } from "./link";
import { Session } from "./session";
import { appearance, applyAppearance } from "./settings";
import { takeShared } from "./shared_text";
import { App } from "./views/app";
import { Opened } from "./views/join_view";

/** Reads the fragment and removes it at once: it may carry a pairing code and a key. */
function takeFragment(): string {
  const fragment = location.hash.slice(1);
  if (location.hash !== "" || location.search !== "") history.replaceState(null, "", location.pathname);
  return fragment;
}

const fragment = takeFragment();
let opened: Opened | null = parseFragment(fragment);
const root = document.getElementById("app")!;

function draw(): void {
  document.documentElement.lang = language();
  render(
    <App
      session={session}
      opened={opened}
      redraw={draw}
      onUsed={() => {
        opened = null;
        draw();
      }}
    />,
    root,
  );
}

applyAppearance(appearance());
const session = new Session(draw);
draw();

// A link that is opened in a tab that shows this page already.
addEventListener("hashchange", () => {
  const link = parseFragment(takeFragment());
  if (!link) return;
  opened = link;
  draw();
});

async function start(): Promise<void> {
  await session.start();
  if (!("serviceWorker" in navigator)) return;
  await navigator.serviceWorker.register("/sw.js", { updateViaCache: "none" }).catch(() => undefined);
  if (fragment !== "shared") return;
  // Not sent by itself: any site can have a form posted to this page.
  const text = await takeShared();
  if (text === "") return;
  session.setDraft(text);
  root.querySelector(".send")?.scrollIntoView({ block: "center" });
}

void start();
