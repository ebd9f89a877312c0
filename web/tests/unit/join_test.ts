import assert from "node:assert/strict";
import { afterEach, test } from "node:test";

import { CryptoError, CryptoImplementation } from "../../src/crypto";
import { JoinFlow, keyFromPassphrase } from "../../src/join";
import { plainCrypto } from "../../src/plain_crypto";

const kIterations = 9_000_000;
const kAnswers: Record<string, object> = {
  "/pair/claim": { token: "secret", device: { id: "d", name: "Pad" } },
  "/crypto": { crypto: { v: 1, kdf: "pbkdf2-sha256", iters: kIterations, salt: "AAAAAAAAAAA=" } },
};
const browserFetch = globalThis.fetch;
afterEach(() => void (globalThis.fetch = browserFetch));

/** A hub's answers; the requests that it got. */
function hub(): string[] {
  const asked: string[] = [];
  globalThis.fetch = async (path, options) => {
    asked.push(`${options?.method} ${path} ${new Headers(options?.headers).get("Authorization")}`);
    return new Response(JSON.stringify(kAnswers[String(path)] ?? {}));
  };
  return asked;
}

/** A cipher whose derivation comes to an end when it is told to, asked to stop or not. */
function deaf() {
  let end = () => {};
  const key = new Promise<Uint8Array<ArrayBuffer>>((resolve) => (end = () => resolve(new Uint8Array(32))));
  return { end, implementation: { ...plainCrypto, derive: () => key } as CryptoImplementation };
}
const isCancelled = (error: unknown) => error instanceof CryptoError && error.kind === "cancelled";

test("a derivation that takes long says so", async () => {
  hub();
  const { end, implementation } = deaf();
  const said: (string | number)[] = [];
  const { signal } = new AbortController();
  const takesLong = (iterations: number) => (said.push(iterations), end());
  await keyFromPassphrase(implementation, "t", "p", { signal, began: () => said.push("began"), takesLong }, 0);
  assert.deepEqual(said, ["began", kIterations]);
});

test("a join that is cancelled gives its device back, whenever that was", async () => {
  for (const when of ["while claiming", "while deriving"]) {
    const asked = hub();
    const { end, implementation } = deaf();
    const flow = new JoinFlow(async () => implementation);
    const stop = new AbortController();
    const began = () => queueMicrotask(() => stop.abort());
    const joining = flow.join("ABCD-2345", null, "p", "Pad", { signal: stop.signal, began, takesLong: () => {} });
    if (when === "while claiming") stop.abort();
    await assert.rejects(joining, isCancelled, when);
    end();
    const first = ["POST /pair/claim null", "GET /crypto Bearer secret", "DELETE /devices/d Bearer secret"];
    assert.deepEqual(asked, first, when);
    const wanted = { signal: new AbortController().signal, began: () => {}, takesLong: () => {} };
    await flow.join("ABCD-2345", null, "p", "Pad", wanted);
    assert.equal(asked[first.length], first[0], "the membership that was given back is not used again");
  }
});
