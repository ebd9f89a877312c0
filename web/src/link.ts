/** Pairing links and hub addresses, as texts that a person pastes or a camera reads. */

export interface PairingLink {
  server: string; // scheme, host and port
  code: string;
  key: string | null; // standard base64; not judged here
}

/** Scheme, host and port of a hub's address, or null when the text is none. */
export function normalizeServer(text: string): string | null {
  let url = text.trim();
  if (url === "") return null;
  if (!url.includes("://")) url = "https://" + url;
  if (/[\s\p{Cc}]/u.test(url)) return null;

  // The text itself is taken apart: URL lower-cases schemes and repairs what should be refused.
  const colon = url.indexOf("://");
  let scheme = url.slice(0, colon);
  if (scheme === "wss") scheme = "https";
  else if (scheme === "ws") scheme = "http";
  if (scheme !== "https" && scheme !== "http") return null;
  const authority = /^[^/?#]*/.exec(url.slice(colon + 3))![0];
  if (!isAuthority(authority)) return null;
  return `${scheme}://${authority.replace(/:$/, "")}`;
}

/** RFC 3986: user information, a host that is not empty, a port of up to 65535. */
function isAuthority(text: string): boolean {
  const found =
    /^(?:(?:[\w.~!$&'()*+,;=:-]|%[\da-f]{2})*@)?(\[[\da-f:.]+\]|(?:[\p{L}\p{M}\p{N}.~!$&'()*+,;=_-]|%[\da-f]{2})+)(?::(\d*))?$/iu.exec(text);
  if (!found || Number(found[2] ?? 0) > 65535) return false;
  try {
    return new URL(`https://${text}`).hostname !== "";
  } catch {
    return false;
  }
}

/** The parameters of a fragment; null when it carries no pairing code. */
export function parseFragment(fragment: string): Omit<PairingLink, "server"> | null {
  const values = new Map<string, string>();
  for (const item of fragment.split("&")) {
    const equals = item.indexOf("=");
    if (equals >= 0) values.set(item.slice(0, equals), percentDecoded(item.slice(equals + 1)));
  }
  const code = values.get("pair");
  if (!code) return null;
  let key = values.get("k")?.replace(/-/g, "+").replace(/_/g, "/") ?? null;
  while (key !== null && key.length % 4 !== 0) key += "=";
  return { code, key };
}

export function parseLink(text: string): PairingLink | null {
  const trimmed = text.trim();
  const server = normalizeServer(trimmed);
  const hash = trimmed.indexOf("#");
  const parameters = hash < 0 ? null : parseFragment(trimmed.slice(hash + 1));
  return server && parameters ? { server, ...parameters } : null;
}

/** A value whose escapes are broken stays as it is. */
function percentDecoded(raw: string): string {
  try {
    return decodeURIComponent(raw);
  } catch {
    return raw;
  }
}

/** Whether a text has the shape of a pairing code: eight letters and digits. */
export function looksLikeCode(text: string): boolean {
  return (text.match(/[\p{L}\p{N}]/gu) ?? []).length === 8;
}
