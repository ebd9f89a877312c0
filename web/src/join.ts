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
    return { kind: "elsewhere", server: link.server, link: `${link.server}/${trimmed.slice(trimmed.indexOf("#"))}` };
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

/** What a derivation of the key tells, and how it is ended. */
export interface Deriving {
  signal: AbortSignal;
  began(): void;
  /** It takes longer than one waits without a word: the hub asks for so many iterations. */
  takesLong(iterations: number): void;
}

const kPatience = 5_000; // milliseconds

/**
 * Joins a group, in steps that a failed attempt can go on from: a code works once, so what it gave is
 * kept until the key is there as well. One that is cancelled takes its device out of the group again.
 */
export class JoinFlow {
  private claimed: { code: string; joined: Joined } | null = null;

  constructor(private readonly implementation: () => Promise<CryptoImplementation>) {}

  async join(
    code: string,
    keyInLink: string | null,
    passphrase: string,
    name: string,
    deriving: Deriving,
  ): Promise<Membership> {
    const implementation = await this.implementation();
    const ready = keyInLink === null ? null : await importKey(implementation, keyInLink);
    if (this.claimed?.code !== code) {
      const joined = await new HubApi().claim(code.trim(), name);
      this.claimed = { code, joined };
    }
    const { joined } = this.claimed;
    let key = ready;
    try {
      key ??= await keyFromPassphrase(implementation, joined.token, passphrase, deriving);
    } catch (error) {
      if (!deriving.signal.aborted) throw error;
    }
    this.claimed = null;
    if (key !== null && !deriving.signal.aborted) return { ...joined, key };
    await new HubApi(joined.token).remove(joined.deviceId).catch(() => undefined);
    throw deriving.signal.aborted ? new CryptoError("cancelled") : new NotEncrypted();
  }
}

/** null: the group does not encrypt. */
export async function keyFromPassphrase(
  implementation: CryptoImplementation,
  token: string,
  passphrase: string,
  deriving: Deriving,
  patience = kPatience,
): Promise<StoredKey | null> {
  const record = await new HubApi(token).crypto();
  if (record === null) return null;
  deriving.began();
  const impatient = setTimeout(() => deriving.takesLong(record.iters), patience);
  try {
    return await deriveKey(implementation, passphrase, record.salt, record.iters, deriving.signal);
  } catch (error) {
    throw error instanceof CryptoError ? error : new CryptoError("badFormat");
  } finally {
    clearTimeout(impatient);
  }
}

/** Whether a link's key can be used, so that no passphrase is needed. */
export function isUsableKey(key: string | null): boolean {
  return key !== null && /^[A-Za-z0-9+/]{43}=$/.test(key);
}
