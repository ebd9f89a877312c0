import assert from "node:assert/strict";
import { test } from "node:test";

import { browserCrypto } from "../../src/browser_crypto";
import { decodeBase64, encodeBase64 } from "../../src/base64";
import { CryptoError, deriveKey, importKey, openText, sealText, StoredKey } from "../../src/crypto";
import { plainCrypto } from "../../src/plain_crypto";
import { vectors } from "./vectors";

const kImplementations = { "the browser's": browserCrypto, plain: plainCrypto };
const kWanted = new AbortController().signal;
const kKey = "LHDhK3oGRvkiefQnx7OOczTY5Tic/xZ6HcMOc/gmtoM=";

/** Two keys are equal when one opens what the other has sealed; the browser's cannot be read. */
async function sameKey(implementation: typeof plainCrypto, key: StoredKey, base64: string): Promise<boolean> {
  const other = (await importKey(plainCrypto, base64))!;
  const wire = await sealText(implementation, key, "probe");
  return openText(plainCrypto, other, wire).then((text) => text === "probe", () => false);
}

for (const [name, implementation] of Object.entries(kImplementations)) {
  test(`derivation, ${name}`, async (t) => {
    for (const c of vectors("derivation"))
      await t.test(c.name, async () => {
        const derived = deriveKey(implementation, c.passphrase, c.salt, c.iters, kWanted);
        if (c.outcome === "ok") assert.ok(await sameKey(implementation, await derived, c.key));
        else await assert.rejects(derived, (error) => error instanceof CryptoError && error.kind === c.outcome);
      });
  });

  test(`a derivation that lasts lets the page work and stops, ${name}`, { timeout: 20_000 }, async () => {
    const stop = new AbortController();
    setTimeout(() => stop.abort(), 100);
    const derived = implementation.derive(new Uint8Array(1), new Uint8Array(8), 2 ** 31 - 1, stop.signal);
    await assert.rejects(derived, (error) => error instanceof CryptoError && error.kind === "cancelled");
  });

  test(`sealed texts, ${name}`, async (t) => {
    for (const c of vectors("sealed"))
      await t.test(c.name, async () => {
        const opened = openText(implementation, (await importKey(implementation, c.key))!, c.wire);
        if (c.outcome === "ok") assert.equal(await opened, c.text);
        else await assert.rejects(opened, (error) => error instanceof CryptoError && error.kind === c.outcome);
      });
  });

  test(`what ${name} implementation seals, the other opens`, async () => {
    const other = implementation === plainCrypto ? browserCrypto : plainCrypto;
    for (const text of ["x", "多行\n文字\r\n", "\ufeffmark", "a\0b", "é".repeat(300_000)]) {
      const wire = await sealText(implementation, (await importKey(implementation, kKey))!, text);
      assert.match(wire, /^sw1\.[A-Za-z0-9+/]{16}\.[A-Za-z0-9+/]+={0,2}$/);
      assert.equal(await openText(other, (await importKey(other, kKey))!, wire), text);
      assert.notEqual(wire, await sealText(implementation, (await importKey(implementation, kKey))!, text));
    }
  });
}

test("the browser's keys cannot be taken out", async () => {
  const imported = (await importKey(browserCrypto, kKey)) as CryptoKey;
  const derived = (await deriveKey(browserCrypto, "p", "AAAAAAAAAAA=", 1, kWanted)) as CryptoKey;
  for (const key of [imported, derived]) await assert.rejects(crypto.subtle.exportKey("raw", key));
});

test("a key is exactly 32 bytes of strict base64", async () => {
  for (const text of ["", "AA==", kKey.slice(0, -1), kKey + "=", kKey.replace("L", " "), encodeBase64(new Uint8Array(33))])
    assert.equal(await importKey(plainCrypto, text), null, text);
});

test("base64 both ways, of any length", () => {
  for (const size of [0, 1, 2, 3, 0x7fff, 0x8000, 0x8001, 1_000_000]) {
    const bytes = Uint8Array.from({ length: size }, (_, i) => (i * 7) % 256);
    assert.deepEqual(decodeBase64(encodeBase64(bytes)), bytes);
  }
  for (const bad of ["A", "AA", "AA=", "=AAA", "A===", "AA==AAAA", "AA\n=", "AA-_", "AA==\n"])
    assert.equal(decodeBase64(bad), null, JSON.stringify(bad));
});
