import assert from "node:assert/strict";
import { test } from "node:test";

import { readInvitation } from "../../src/join";
import { looksLikeCode, normalizeServer, parseLink } from "../../src/link";
import { vectors } from "./vectors";

test("pairing links", async (t) => {
  for (const c of vectors("links").parse)
    await t.test(c.name, () => assert.deepEqual(parseLink(c.text), c.link));
});

test("typed codes", () => {
  for (const c of vectors("links").typedCode) assert.equal(looksLikeCode(c.text), c.accepted, c.text);
});

test("hub addresses", async (t) => {
  for (const c of vectors("addresses")) await t.test(c.name, () => assert.equal(normalizeServer(c.text), c.address));
});

test("what a person brings", () => {
  const origin = "https://hub.example";
  const key = "A".repeat(43);
  const cases: [string, object][] = [
    ["", { kind: "empty" }],
    ["ABCD", { kind: "unknown" }],
    [" abcd-2345 ", { kind: "code", code: "abcd-2345", key: null }],
    [`${origin}/#pair=ABCD-2345&k=${key}`, { kind: "code", code: "ABCD-2345", key: key + "=" }],
    [`https://HUB.example:443/#pair=ABCD-2345`, { kind: "code", code: "ABCD-2345", key: null }],
    ["hub.example:1/#pair=X&k=Y", { kind: "elsewhere", server: "https://hub.example:1", link: "https://hub.example:1/#pair=X&k=Y" }],
    ["http://hub.example/#pair=X", { kind: "elsewhere", server: "http://hub.example", link: "http://hub.example/#pair=X" }],
    ["javascript://hub.example/#pair=X", { kind: "unknown" }],
  ];
  for (const [text, expected] of cases) assert.deepEqual(readInvitation(text, origin), expected, text);
});
