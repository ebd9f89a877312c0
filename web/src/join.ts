import { HubApi } from "./api";
import { CryptoError, CryptoImplementation, deriveKey, importKey, StoredKey } from "./crypto";
import { looksLikeCode, parseLink } from "./link";
import { Membership } from "./store";
import { Joined } from "./wire";

/** What a person brings to join with: a link or a typed code. */
export type Invitation =
  | { kind: "empty" | "unknown" }
  | { kind: "elsewhere"; server: string; link: string } // of another hub, to be opened there
  | { kind: "code"; code: string; key: string | null };

export function readInvitation(text: string, origin: string): Invitation {
  const trimmed = text.trim();
  if (trimmed === "") return { kind: "empty" };
  const link = parseLink(trimmed);
  if (link && link.server !== origin && sameServer(link.server) !== origin)
    return { kind: "elsewhere", server: link.server, link: trimmed };
  if (link) return { kind: "code", code: link.code, key: link.key };
  return looksLikeCode(trimmed) ? { kind: "code", code: trimmed, key: null } : { kind: "unknown" };
}

/** The address as a browser writes an origin: without a default port, host in lower case. */
function sameServer(server: string): string {
  try {
    return new URL(server).origin;
  } catch {
    return "";
  }
}

/** The hub says that this group does not encrypt: nothing for this page, which sends sealed texts only. */
export class NotEncrypted extends Error {}

/** A passphrase whose key does not open what could not be opened with the present one. */
export class WrongPassphrase extends Error {}

/**
 * Joins a group, in steps that a failed attempt can go on from: a code works once, so what it gave is
 * kept until the key is there as well.
 */
export class JoinFlow {
  private claimed: { code: string; joined: Joined } | null = null;

  constructor(private readonly implementation: () => Promise<CryptoImplementation>) {}

  async join(
    code: string,
    keyInLink: string | null,
    passphrase: string,
    name: string,
    onDeriving: () => void,
  ): Promise<Membership> {
    const implementation = await this.implementation();
    const ready = keyInLink === null ? null : await importKey(implementation, keyInLink);
    if (this.claimed?.code !== code) {
      const joined = await new HubApi().claim(code.trim(), name);
      this.claimed = { code, joined };
    }
    const { joined } = this.claimed;
    const key = ready ?? (await keyFromPassphrase(implementation, joined.token, passphrase, onDeriving));
    if (key === null) {
      this.claimed = null;
      await new HubApi(joined.token).remove(joined.deviceId).catch(() => undefined);
      throw new NotEncrypted();
    }
    this.claimed = null;
    return { ...joined, key };
  }
}

/** null: the group does not encrypt. */
export async function keyFromPassphrase(
  implementation: CryptoImplementation,
  token: string,
  passphrase: string,
  onDeriving: () => void,
): Promise<StoredKey | null> {
  const record = await new HubApi(token).crypto();
  if (record === null) return null;
  onDeriving();
  try {
    return await deriveKey(implementation, passphrase, record.salt, record.iters);
  } catch {
    throw new CryptoError("badFormat");
  }
}

/** Whether a link's key can be used, so that no passphrase is needed. */
export function isUsableKey(key: string | null): boolean {
  return key !== null && /^[A-Za-z0-9+/]{43}=$/.test(key);
}
