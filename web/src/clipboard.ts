/** The browser's clipboard. */

export const canRead = typeof navigator.clipboard?.readText === "function";
export const canWriteAlone = typeof navigator.clipboard?.writeText === "function";

export async function copyText(text: string): Promise<boolean> {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return copyBySelection(text); // no such interface on plain http, or not allowed
  }
}

/** Without the older way, which needs a press of a button. */
export async function copyUnasked(text: string): Promise<boolean> {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return false;
  }
}

export async function readText(): Promise<string | null> {
  try {
    return await navigator.clipboard.readText();
  } catch {
    return null;
  }
}

function copyBySelection(text: string): boolean {
  // Some browsers copy only from an element with a selection; what is copied is set by the event,
  // since a text area changes line ends.
  const area = document.createElement("textarea");
  area.value = " ";
  area.readOnly = true;
  area.className = "offscreen";
  const before = document.activeElement;
  document.body.append(area);
  let copied = false;
  const provide = (event: ClipboardEvent) => {
    if (!event.clipboardData) return;
    event.clipboardData.setData("text/plain", text);
    event.preventDefault();
    copied = true;
  };
  document.addEventListener("copy", provide, true);
  try {
    area.focus({ preventScroll: true });
    area.setSelectionRange(0, 1);
    return document.execCommand("copy") && copied;
  } catch {
    return false;
  } finally {
    document.removeEventListener("copy", provide, true);
    area.remove();
    if (before instanceof HTMLElement) before.focus({ preventScroll: true });
  }
}
