import { gcm } from "@noble/ciphers/aes";
import { pbkdf2Async } from "@noble/hashes/pbkdf2";
import { sha256 } from "@noble/hashes/sha2";

import { CryptoImplementation, kKeyBytes, StoredKey } from "./crypto";

/** The same in plain script, for pages over plain http. Its keys are bytes that a script can read. */
export const plainCrypto: CryptoImplementation = {
  importKey: async (bytes) => bytes,
  // Lets the page breathe in between.
  derive: async (passphrase, salt, iterations) =>
    new Uint8Array(await pbkdf2Async(sha256, passphrase, salt, { c: iterations, dkLen: kKeyBytes, asyncTick: 30 })),
  seal: async (key, nonce, text) => new Uint8Array(gcm(own(key), nonce).encrypt(text)),
  open: async (key, nonce, body) => new Uint8Array(gcm(own(key), nonce).decrypt(body)),
};

function own(key: StoredKey): Uint8Array {
  if (!(key instanceof Uint8Array)) throw new TypeError("a key of another implementation");
  return key;
}
