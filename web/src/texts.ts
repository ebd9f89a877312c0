import { HubError } from "./api";
import { CryptoError } from "./crypto";
import { NotEncrypted, WrongPassphrase } from "./join";
import { t } from "./l10n";
import { Device } from "./wire";

/** What the hub refused, by the status and the field that its own words, which are English, begin with. */
function refusal(status: number, said: string): string {
  const field = /^\w+/.exec(said)?.[0];
  switch (status) {
    case 400:
      if (field === "name")
        return t(
          "名称须为 1 至 64 个字符，不能含控制字符或不可见的字符",
          "A name has 1 to 64 characters, none of them a control character or invisible",
        );
      break;
    case 401:
      return t("此浏览器已不在设备组中", "This browser is no longer in the group");
    case 403:
      return t("配对码无效或已过期", "Invalid or expired pairing code");
    case 404:
      return t("设备组中没有这台设备", "The group has no such device");
    case 409:
      return t("设备组已满，请先移除一台设备", "The group is full — remove a device first");
    case 413:
      return t("内容太大，服务器不接收", "Too large for this hub");
    case 429:
      return t("尝试次数过多，请稍后再试", "Too many attempts — try again later");
    case 503:
      return t("服务器暂时不可用，请稍后再试", "The hub is not available now — try again later");
  }
  return t(`服务器错误（${status}）`, said === "" ? `Hub error (${status})` : shown(said, kMaxSentence));
}

/** One sentence for any failure of a request. */
export function failureText(error: unknown): string {
  if (error instanceof CryptoError) return t("密钥派生失败", "Couldn’t derive the encryption key");
  if (error instanceof WrongPassphrase)
    return t(
      "用这个口令也无法解密，因此没有更改。请与发送它的设备核对。",
      "This passphrase does not open it either, so nothing was changed. Compare it with the device that sent the text.",
    );
  if (error instanceof NotEncrypted)
    return t(
      "服务器说这个设备组没有加密，此页面只加入加密的设备组。请在另一台设备上新建设备组。",
      "The hub says that this group is not encrypted. This page joins encrypted groups only: make a new group on your other device.",
    );
  if (!(error instanceof HubError)) return t("出了问题，请重试。", "Something went wrong. Try again.");
  if (error.kind === "network") return t("无法连接服务器，请检查网络", "Can’t reach the hub — check your connection");
  if (error.kind === "decode") return t("服务器返回了无法识别的数据", "Unexpected response from the hub");
  return refusal(error.status, error.said ?? "");
}

/** Of a derivation of the key that takes long: the hub chooses the iterations. */
export function longDerivation(iterations: number): string {
  return t(
    `生成密钥需要较长时间：服务器要求计算 ${iterations} 轮（通常为 600000 轮）。可以取消。`,
    `Making the encryption key takes long: the hub asks for ${iterations} rounds (600000 are usual). You can cancel.`,
  );
}

// Control characters, and those that turn the direction of the text around them or cannot be seen. The
// joiners inside emoji stay.
const kTricks = /[\p{Cc}\u061c\u200b\u200e\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]/gu;
const kMaxName = 64; // characters
const kMaxPlatform = 20;
const kMaxSentence = 200;

/** A name, or another short text from outside, as it can be shown. */
export function shown(text: string, most = kMaxName): string {
  const characters = [...text.replace(kTricks, "").trim()];
  return (characters.length > most ? characters.slice(0, most).join("") + "…" : characters.join("")) || "?";
}

export function kindLabel(platform: string): string {
  const known = new Map([
    ["macos", t("电脑", "Computer")],
    ["windows", "Windows"],
    ["linux", "Linux"],
    ["web", t("浏览器", "Browser")],
    ["android", "Android"],
    ["ios", "iOS"],
  ]);
  return known.get(platform) ?? shown(platform, kMaxPlatform);
}

export type DeviceSymbol = "laptop" | "desktop" | "phone" | "tablet" | "globe";

export function deviceSymbol({ name, platform }: Device): DeviceSymbol {
  const lower = name.toLowerCase();
  const tablet = /pad|tab|平板/.test(lower);
  if (platform === "macos") return "laptop";
  if (platform === "windows") return "desktop";
  if (platform === "android" || platform === "ios") return tablet ? "tablet" : "phone";
  if (/phone|手机/.test(lower)) return "phone";
  return tablet ? "tablet" : "globe";
}

/** A first name for this browser, such as "iPhone" or "Firefox on Linux". */
export function suggestedName(agent: string, touchPoints: number): string {
  if (/iPhone|iPod/.test(agent)) return "iPhone";
  if (/iPad/.test(agent) || (/Macintosh/.test(agent) && touchPoints > 1)) return "iPad";
  if (/Android/.test(agent))
    return /Mobile/.test(agent) ? t("Android 手机", "Android phone") : t("Android 平板", "Android tablet");
  const system = (/Windows|CrOS|Macintosh|Linux/.exec(agent)?.[0] ?? "")
    .replace("CrOS", "ChromeOS")
    .replace("Macintosh", "Mac");
  const found = [/Edg/, /OPR/, /Firefox/, /Chrome/, /Safari/].find((mark) => mark.test(agent));
  const browser =
    found?.source.replace("Edg", "Edge").replace("OPR", "Opera") ?? t("浏览器", "Browser");
  return system ? t(`${system} 上的 ${browser}`, `${browser} on ${system}`) : browser;
}
