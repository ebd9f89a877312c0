import { gcm } from "@noble/ciphers/aes";
import { hmac } from "@noble/hashes/hmac";
import { sha256 } from "@noble/hashes/sha2";

import { CryptoError, CryptoImplementation, StoredKey } from "./crypto";

const kRoundsBetweenLooks = 256;
const kBreath = 20; // milliseconds of work at a time

/** The same in plain script, for pages over plain http. Its keys are bytes that a script can read. */
export const plainCrypto: CryptoImplementation = {
  importKey: async (bytes) => bytes,

  // The library's own loop neither lets the page draw nor can be ended. 32 bytes are a single block
  // (RFC 8018, section 5.2).
  async derive(passphrase, salt, iterations, signal) {
    const keyed = hmac.create(sha256, passphrase);
    const working = keyed.clone();
    const round = keyed.clone().update(salt).update(Uint8Array.of(0, 0, 0, 1)).digest();
    const key = new Uint8Array(round);
    let breath = performance.now();
    for (let i = 1; i < iterations; i++) {
      keyed._cloneInto(working).update(round).digestInto(round);
      for (let at = 0; at < key.length; at++) key[at]! ^= round[at]!;
      if (i % kRoundsBetweenLooks !== 0 || performance.now() - breath < kBreath) continue;
      await nextTask();
      if (signal.aborted) throw new CryptoError("cancelled");
      breath = performance.now();
    }
    keyed.destroy();
    working.destroy();
    return key;
  },

  seal: async (key, nonce, text) => new Uint8Array(gcm(own(key), nonce).encrypt(text)),
  open: async (key, nonce, body) => new Uint8Array(gcm(own(key), nonce).decrypt(body)),
};

/** Lets the page do what waits; timers are slowed down in tabs that are not in front. */
function nextTask(): Promise<void> {
  const { port1, port2 } = new MessageChannel();
  return new Promise((resolve) => {
    port1.onmessage = () => {
      port1.close();
      resolve();
    };
    port2.postMessage(null);
  });
}

function own(key: StoredKey): Uint8Array {
  if (!(key instanceof Uint8Array)) throw new TypeError("a key of another implementation");
  return key;
}
