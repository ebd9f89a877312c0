import assert from "node:assert/strict";
import { createServer, ServerResponse } from "node:http";
import { AddressInfo } from "node:net";
import { after, before, test } from "node:test";

import { HubApi, HubError } from "../../src/api";

const browserFetch = globalThis.fetch;
let answer: (reply: ServerResponse, path: string) => void;
const server = createServer((request, reply) => answer(reply, request.url!));

before(async () => {
  await new Promise<void>((listening) => server.listen(0, "127.0.0.1", listening));
  const origin = `http://127.0.0.1:${(server.address() as AddressInfo).port}`;
  globalThis.fetch = (path, options) => browserFetch(origin + path, options);
});
after(() => {
  globalThis.fetch = browserFetch;
  server.closeAllConnections();
  server.close();
});

test("an answer that never ends is given up", { timeout: 15_000 }, async () => {
  for (const status of [200, 500]) {
    let gone: Promise<void>;
    answer = (reply) => {
      reply.writeHead(status);
      const writing = setInterval(() => reply.write("x".repeat(65_536)), 1);
      gone = new Promise((resolve) => reply.on("close", () => (clearInterval(writing), resolve())));
    };
    const kind = status === 200 ? "decode" : "status";
    await assert.rejects(new HubApi().crypto(), (error) => error instanceof HubError && error.kind === kind);
    await gone!;
  }
});

test("an id is no path", async () => {
  let asked = "";
  answer = (reply, path) => {
    asked = path;
    reply.end("{}");
  };
  await new HubApi().remove("../groups?a#b");
  assert.equal(asked, "/devices/..%2Fgroups%3Fa%23b");
});
