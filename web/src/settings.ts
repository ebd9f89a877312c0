/** The choices of this browser, kept in localStorage where there is one. None of them is a secret. */

const kPrefix = "sorrelwind.";

export function readSetting(name: string): string | null {
  try {
    return localStorage.getItem(kPrefix + name);
  } catch {
    return null;
  }
}

export function writeSetting(name: string, value: string): void {
  try {
    localStorage.setItem(kPrefix + name, value);
  } catch {
    // Then it holds for this page.
  }
}

export type Appearance = "system" | "light" | "dark";

export function appearance(): Appearance {
  const value = readSetting("appearance");
  return value === "light" || value === "dark" ? value : "system";
}

const dark = matchMedia("(prefers-color-scheme: dark)");
dark.addEventListener("change", () => applyAppearance(appearance()));

/** The style sheet knows light and dark; here it is decided what the system's choice is. */
export function applyAppearance(value: Appearance): void {
  document.documentElement.dataset.appearance = value === "system" ? (dark.matches ? "dark" : "light") : value;
}
