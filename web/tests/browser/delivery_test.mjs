// What the real hub answers for the page that was really built.
import assert from "node:assert/strict";
import { request } from "node:http";
import { after, before, describe, it } from "node:test";
import { brotliDecompressSync, gunzipSync } from "node:zlib";

import { Stage } from "./programs.mjs";

describe("the page as the hub hands it out", { timeout: 60_000 }, () => {
  let stage, hub;
  before(async () => {
    stage = await Stage.open();
    hub = await stage.hub(); // finds the page beside itself
  });
  after(() => stage?.close());

  function ask(path, headers = {}, method = "GET") {
    return new Promise((resolve, reject) => {
      const asked = request({ host: "127.0.0.1", port: hub.port, path, method, headers }, (reply) => {
        const pieces = [];
        reply.on("data", (piece) => pieces.push(piece));
        reply.on("end", () => resolve({ status: reply.statusCode, headers: reply.headers, body: Buffer.concat(pieces) }));
      });
      asked.on("error", reject).end();
    });
  }
  /** The paths of all files of the page, from what its files name. */
  async function paths() {
    const found = ["/", "/sw.js", "/icon-180.png"];
    for (const path of found) {
      const text = (await ask(path)).body.toString("latin1");
      const named = text.match(/(?<=["'(])(?:\/|\.\/)(?:assets\/)?[\w-]+(?:-[\w]+)?\.(?:js|css|svg|png|webmanifest)(?=["')])/g) ?? [];
      for (const name of named.map((name) => name.replace(/^\.\//, "/assets/"))) if (!found.includes(name)) found.push(name);
    }
    return found;
  }

  it("is whole, small, compressed, and says nothing of where it was built", async (t) => {
    const all = await paths();
    assert.ok(all.filter((path) => path.startsWith("/assets/")).length >= 4, String(all));
    let weight = 0;
    for (const path of all) {
      const plain = await ask(path);
      assert.equal(plain.status, 200, path);
      assert.match(plain.headers["content-security-policy"], /^default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self';/);
      assert.doesNotMatch(plain.headers["content-security-policy"], /unsafe|\*|https?:|data:|blob:/);
      assert.ok(plain.headers["content-security-policy"].includes(`connect-src 'self' ws://127.0.0.1:${hub.port} `));
      assert.equal(plain.headers["referrer-policy"], "no-referrer");
      assert.equal(plain.headers["x-content-type-options"], "nosniff");
      assert.ok(!/sourceMapping|\/home\/|\/root\/|\/tmp\/|node_modules/.test(plain.body.toString("latin1")), path);
      assert.ok(!plain.body.includes(process.cwd()), path);
      assert.equal((await ask(path + ".map")).status, 404);
      const cached = path.startsWith("/assets/") ? /immutable/ : path === "/" ? /^no-store$/ : /^no-cache$/;
      assert.match(plain.headers["cache-control"], cached, path);

      const packed = await ask(path, { "Accept-Encoding": "gzip" });
      weight += packed.body.length;
      if (path.endsWith(".png")) continue;
      assert.deepEqual(gunzipSync(packed.body), plain.body, path);
      const smaller = await ask(path, { "Accept-Encoding": "gzip, deflate, br, zstd" });
      assert.equal(smaller.headers["content-encoding"], "br");
      assert.deepEqual(brotliDecompressSync(smaller.body), plain.body, path);

      const { etag } = packed.headers;
      assert.equal((await ask(path, { "Accept-Encoding": "gzip", "If-None-Match": etag })).status, 304);
      assert.equal((await ask(path, { "If-None-Match": etag })).status, 200, "the tag of another variant");
      const head = await ask(path, { "Accept-Encoding": "gzip" }, "HEAD");
      assert.equal(Number(head.headers["content-length"]), packed.body.length);
      assert.equal(head.body.length, 0);
    }
    t.diagnostic(`${all.length} files, ${weight} bytes compressed`);
    assert.ok(weight < 60_000, String(weight));
  });

  it("has no inline script or style, and all that its manifest names", async () => {
    const html = (await ask("/")).body.toString();
    assert.doesNotMatch(html, /<script(?![^>]*\ssrc=)|<style|\sstyle=|\son\w+=|https?:/);
    assert.doesNotMatch(html, /user-scalable|maximum-scale/);
    const manifest = JSON.parse((await ask("/manifest.webmanifest")).body);
    for (const { src, sizes, type } of manifest.icons) {
      const icon = await ask(src);
      assert.equal(icon.headers["content-type"], type);
      if (type === "image/png") assert.equal(`${icon.body.readUInt32BE(16)}x${icon.body.readUInt32BE(20)}`, sizes);
    }
    assert.equal(manifest.share_target.method, "POST", "what is shared stands in no address");
  });

  it("hands out nothing else", async () => {
    for (const path of ["/../hub.d/hub.db", "/%2e%2e/hub.d/hub.db", "/assets/..%2f..%2fhub.d/hub.db", "/assets/", "/index.html.br", "/package.json", "//index.html", "/share"])
      assert.equal((await ask(path)).status, 404, path);
  });
});
