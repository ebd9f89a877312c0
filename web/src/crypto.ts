import { decodeBase64, encodeBase64 } from "./base64";

/**
 * The group's key and the sealed text "sw1.NONCE.BODY". Two implementations: the browser's own, which
 * never gives a key away again, and one in plain script for pages without it (`plain_crypto.ts`, which
 * is fetched only there).
 */
export interface CryptoImplementation {
  importKey(bytes: Uint8Array<ArrayBuffer>): Promise<StoredKey>;
  /** PBKDF2-HMAC-SHA-256 (RFC 8018) to a key of 32 bytes. What would take long ends when `signal` asks for it. */
  derive(
    passphrase: Uint8Array<ArrayBuffer>,
    salt: Uint8Array<ArrayBuffer>,
    iterations: number,
    signal: AbortSignal,
  ): Promise<StoredKey>;
  /** AES-256-GCM; the ciphertext and its tag of 16 bytes. */
  seal(key: StoredKey, nonce: Uint8Array<ArrayBuffer>, text: Uint8Array<ArrayBuffer>): Promise<Uint8Array<ArrayBuffer>>;
  /** Throws when the tag is not right. */
  open(key: StoredKey, nonce: Uint8Array<ArrayBuffer>, body: Uint8Array<ArrayBuffer>): Promise<Uint8Array<ArrayBuffer>>;
}

/** A key as it can be put into the browser's database. */
export type StoredKey = CryptoKey | Uint8Array<ArrayBuffer>;

/**
 * badFormat: not of the form that it must have. cipher: another key, or altered. decryptFailed: no UTF-8.
 * cancelled: was asked to end.
 */
export type CryptoFailure = "badFormat" | "cipher" | "decryptFailed" | "cancelled";

export class CryptoError extends Error {
  constructor(readonly kind: CryptoFailure) {
    super(kind);
  }
}

export const kKeyBytes = 32;
const kNonceBytes = 12;
const kTagBytes = 16;
const kPrefix = "sw1.";
const kMaxIterations = 2 ** 31 - 1;

export function isSealed(payload: string): boolean {
  return payload.startsWith(kPrefix);
}

/** What this page can use: the browser's cryptography exists in secure contexts only. */
export async function loadCrypto(): Promise<CryptoImplementation> {
  if (globalThis.crypto?.subtle) return (await import("./browser_crypto")).browserCrypto;
  return (await import("./plain_crypto")).plainCrypto;
}

export async function deriveKey(
  implementation: CryptoImplementation,
  passphrase: string,
  salt: string,
  iterations: number,
  signal: AbortSignal,
): Promise<StoredKey> {
  const bytes = decodeBase64(salt);
  if (!bytes?.length || iterations < 1 || iterations > kMaxIterations) throw new CryptoError("badFormat");
  if (signal.aborted) throw new CryptoError("cancelled");
  const cancelled = new Promise<never>((_, reject) => {
    signal.addEventListener("abort", () => reject(new CryptoError("cancelled")), { once: true });
  });
  return Promise.race([implementation.derive(new TextEncoder().encode(passphrase), bytes, iterations, signal), cancelled]);
}

/** The key in a pairing link; null unless it is exactly 32 bytes. */
export async function importKey(implementation: CryptoImplementation, key: string): Promise<StoredKey | null> {
  const bytes = decodeBase64(key);
  return bytes?.length === kKeyBytes ? implementation.importKey(bytes) : null;
}

export async function sealText(
  implementation: CryptoImplementation,
  key: StoredKey,
  text: string,
): Promise<string> {
  const nonce = crypto.getRandomValues(new Uint8Array(kNonceBytes));
  const body = await implementation.seal(key, nonce, new TextEncoder().encode(text));
  return `${kPrefix}${encodeBase64(nonce)}.${encodeBase64(body)}`;
}

export async function openText(
  implementation: CryptoImplementation,
  key: StoredKey,
  wire: string,
): Promise<string> {
  const pieces = wire.slice(kPrefix.length).split(".");
  if (!isSealed(wire) || pieces.length !== 2) throw new CryptoError("badFormat");
  const nonce = decodeBase64(pieces[0]!);
  const body = decodeBase64(pieces[1]!);
  if (!nonce || !body || body.length <= kTagBytes) throw new CryptoError("badFormat");
  if (nonce.length !== kNonceBytes) throw new CryptoError("cipher");
  let plain: Uint8Array<ArrayBuffer>;
  try {
    plain = await implementation.open(key, nonce, body);
  } catch {
    throw new CryptoError("cipher");
  }
  try {
    // A byte order mark is part of the text.
    return new TextDecoder("utf-8", { fatal: true, ignoreBOM: true }).decode(plain);
  } catch {
    throw new CryptoError("decryptFailed");
  }
}
