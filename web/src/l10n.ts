import { readSetting, writeSetting } from "./settings";

export type Lang = "zh" | "en";

function fromBrowser(): Lang {
  const wanted = navigator.languages.find((tag) => /^(zh|en)\b/i.test(tag)) ?? "en";
  return wanted.toLowerCase().startsWith("zh") ? "zh" : "en";
}

const chosen = readSetting("language");
let current: Lang = chosen === "zh" || chosen === "en" ? chosen : fromBrowser();

export function language(): Lang {
  return current;
}

export function setLanguage(lang: Lang): void {
  current = lang;
  writeSetting("language", lang);
}

/** Every text for a person is a pair of literals, chosen at the moment of use. */
export function t(zh: string, en: string): string {
  return current === "zh" ? zh : en;
}

const kUnits: [Intl.RelativeTimeFormatUnit, number][] = [
  ["year", 31_536_000],
  ["month", 2_592_000],
  ["week", 604_800],
  ["day", 86_400],
  ["hour", 3_600],
  ["minute", 60],
  ["second", 1],
];

/** "just now" below 45 seconds, then such as "2 min. ago". Times in milliseconds. */
export function relativeTime(at: number, now: number): string {
  const seconds = Math.max(0, (now - at) / 1000);
  if (seconds < 45) return t("刚刚", "just now");
  const [unit, size] = kUnits.find(([, length]) => seconds >= length)!;
  const format = new Intl.RelativeTimeFormat(t("zh-CN", "en-US"), { style: "short" });
  return format.format(-Math.floor(seconds / size), unit);
}

/** Such as "6.1 MB"; bytes. */
export function fileSize(bytes: number): string {
  if (bytes < 1e6) return `${Math.max(1, Math.round(bytes / 1e3))} KB`;
  return `${(bytes / 1e6).toFixed(1)} MB`;
}
