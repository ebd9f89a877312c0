import { CryptoImplementation, StoredKey } from "./crypto";

/** Some seconds, or a quarter of a minute on a slow phone. */
const kMostAtOnce = 10_000_000;

/** Web Cryptography. Its keys are not extractable: the database holds them, no script can read them. */
export const browserCrypto: CryptoImplementation = {
  importKey: (bytes) => crypto.subtle.importKey("raw", bytes, "AES-GCM", false, ["encrypt", "decrypt"]),

  async derive(passphrase, salt, iterations, signal) {
    if (iterations > kMostAtOnce) {
      // The browser's derivation cannot be ended, not even with its worker or its page.
      const key = (await import("./plain_crypto")).plainCrypto.derive(passphrase, salt, iterations, signal);
      return this.importKey((await key) as Uint8Array<ArrayBuffer>);
    }
    const secret = await crypto.subtle.importKey("raw", passphrase, "PBKDF2", false, ["deriveKey"]);
    return crypto.subtle.deriveKey(
      { name: "PBKDF2", hash: "SHA-256", salt, iterations },
      secret,
      { name: "AES-GCM", length: 256 },
      false,
      ["encrypt", "decrypt"],
    );
  },

  seal: async (key, iv, text) =>
    new Uint8Array(await crypto.subtle.encrypt({ name: "AES-GCM", iv }, own(key), text)),
  open: async (key, iv, body) =>
    new Uint8Array(await crypto.subtle.decrypt({ name: "AES-GCM", iv }, own(key), body)),
};

function own(key: StoredKey): CryptoKey {
  if (key instanceof Uint8Array) throw new TypeError("a key of another implementation");
  return key;
}
