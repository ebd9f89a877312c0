// How a browser becomes a member: over https and plain http, by link and by code.
import assert from "node:assert/strict";
import { createCipheriv, createDecipheriv, randomBytes } from "node:crypto";
import { execFileSync } from "node:child_process";
import { request } from "node:https";
import { after, before, describe, it } from "node:test";

import { assertSilent, connected, join, kept, kPhone, openTab, send, shows } from "./page.mjs";
import { Stage, until } from "./programs.mjs";

describe("over plain http, with an agent", { timeout: 120_000 }, () => {
  let stage, hub, desktop, passphrase, screen, browser;
  before(async () => {
    stage = await Stage.open();
    hub = await stage.hub();
    desktop = await stage.desktop("Studio");
    passphrase = await desktop.createGroup(hub);
    // To the browser "hub.lan" is an address of the network, not its own computer.
    screen = await stage.screen("phone");
    browser = await stage.browser({ display: screen.display, args: ["--host-resolver-rules=MAP hub.lan 127.0.0.1"] });
  });
  after(() => stage?.close());
  const lan = () => `http://hub.lan:${hub.port}/`;

  it("joins by the link's key in plain script, and says what is weaker", async (t) => {
    const { link } = await desktop.pair();
    const context = await browser.newContext({ ...kPhone, locale: "en-US" });
    const page = await openTab(context, link.replace(/^.*?#/, lan() + "#"));
    assert.equal(page.url(), lan(), "the fragment is gone");
    assert.equal(await page.evaluate(() => isSecureContext || "subtle" in crypto), false);
    await page.getByText("plain http").waitFor();
    t.diagnostic(`from the press to connected: ${await join(page, { name: "phone" })} ms`);
    await desktop.copy("to a plain page 你好");
    await shows(page, "to a plain page 你好");
    await send(page, "from a plain page");
    await desktop.pastes("from a plain page");
    // Without the clipboard interface, Copy goes by a selection; line ends stay as they are.
    await desktop.copy("one\r\ntwo\n");
    await shows(page, "one");
    await page.getByRole("button", { name: "Copy" }).first().click();
    await page.getByText("Copied").waitFor();
    await screen.pastes("one\r\ntwo\n");
    assert.equal((await kept(page)).key, "bytes");
    assertSilent(page, "plain page", "one");
    await context.close();
  });

  it("joins by a typed code and the passphrase, in Chinese", async (t) => {
    const { code } = await desktop.pair();
    const context = await browser.newContext({ locale: "zh-CN" });
    const page = await openTab(context, lan());
    await page.getByRole("heading", { name: "加入设备组" }).waitFor();
    const typed = code.toLowerCase().replace("-", " ");
    t.diagnostic(`with the derivation: ${await join(page, { code: typed, passphrase, name: "浏览器" })} ms`);
    await desktop.copy("打字的配对码");
    await shows(page, "打字的配对码");
    await until("the agent knows it", async () => (await desktop.devices()).some(({ name }) => name === "浏览器"));
    await context.close();
  });

  it("says what is wrong with a code, and goes on from there", async () => {
    const context = await browser.newContext({ locale: "en-US" });
    const page = await openTab(context, hub.url);
    const entry = page.getByLabel("Pairing link or code");
    const button = page.getByRole("button", { name: "Join Group" });
    await entry.fill("ABCD");
    await page.getByText("Neither a pairing link nor a pairing code yet.").waitFor();
    assert.ok(await button.isDisabled());
    await entry.fill("https://other.example/#pair=ABCD-2345");
    await page.getByText("This link belongs to another hub:").waitFor();
    assert.ok(await button.isDisabled());
    await entry.fill("ABCD-2345");
    await page.getByLabel("Group passphrase").fill("not the right one");
    await button.click();
    await page.getByText("Invalid or expired pairing code").waitFor();

    await join(page, { code: (await desktop.pair()).code });
    const otherTab = await openTab(context, hub.url);
    await until("both tabs are there", async () => (await otherTab.getByText("Connected").count()) === 1);
    await desktop.copy("sealed with another key");
    for (const tab of [page, otherTab]) await tab.getByText("can’t be decrypted").waitFor();
    await page.getByRole("button", { name: "Enter the passphrase again" }).click();
    await page.getByLabel("Group passphrase").fill(passphrase + "x");
    await page.getByRole("button", { name: "Use this passphrase" }).click();
    await page.getByText("does not open it either").waitFor();
    await page.getByLabel("Group passphrase").fill(passphrase);
    await page.getByRole("button", { name: "Use this passphrase" }).click();
    await page.getByText("can’t be decrypted").waitFor({ state: "hidden" });
    for (const tab of [page, otherTab]) await shows(tab, "sealed with another key");
    await page.reload();
    await page.getByText("Connected").waitFor(); // else the other tab takes it for both
    await desktop.copy("sealed with the same key");
    await shows(page, "sealed with the same key");
    assertSilent(page, "sealed with", passphrase);
    await context.close();
  });

  it("a link in a browser that is a member already replaces the membership when asked to", async () => {
    const context = await browser.newContext({ locale: "en-US" });
    const page = await openTab(context, (await desktop.pair()).link);
    await join(page, { name: "first" });
    const before = await kept(page);
    const second = (await desktop.pair()).link;
    await page.evaluate((fragment) => void (location.hash = fragment), second.split("#")[1]);
    await page.getByText("This browser is already in a group.").waitFor();
    assert.equal(new URL(page.url()).hash, "");
    await page.getByRole("button", { name: "Stay in the current group" }).click();
    await connected(page);
    assert.equal((await kept(page)).deviceId, before.deviceId);
    await page.evaluate((fragment) => void (location.hash = fragment), second.split("#")[1]);
    await join(page, { name: "second" });
    assert.notEqual((await kept(page)).deviceId, before.deviceId);
    await until("the first is gone", async () => {
      const names = (await desktop.devices()).map(({ name }) => name);
      return names.includes("second") && !names.includes("first");
    });
    await context.close();
  });

  for (const [what, sentence, breakIt] of [
    ["without a database", "This browser keeps no data here", () => (IDBFactory.prototype.open = () => { throw new DOMException("", "SecurityError"); })],
    ["with a full storage", "storage is full", () => (IDBObjectStore.prototype.put = () => { throw new DOMException("", "QuotaExceededError"); })],
  ])
    it(`${what} it says so, and works while it is open`, async () => {
      const context = await browser.newContext({ locale: "en-US" });
      await context.addInitScript(breakIt);
      const page = await openTab(context, (await desktop.pair()).link);
      await join(page);
      await page.getByText(sentence).waitFor();
      await send(page, `sent ${what}`);
      await desktop.pastes(`sent ${what}`);
      await context.close();
    });
});

describe("over https, from the hub itself", { timeout: 60_000 }, () => {
  let stage, hub, browser;
  const key = randomBytes(32);
  before(async () => {
    stage = await Stage.open();
    const [cert, secret] = [stage.path("cert.pem"), stage.path("key.pem")];
    execFileSync("openssl", [
      ...["req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2"],
      ...["-subj", "/CN=hub", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", secret, "-out", cert],
    ], { stdio: "ignore" });
    hub = await stage.hub(["--tls-cert", cert, "--tls-key", secret], "https");
    const pin = execFileSync("sh", ["-c", `openssl x509 -in "$1" -pubkey -noout | openssl pkey -pubin -outform der | openssl dgst -sha256 -binary | base64`, "sh", cert], { encoding: "utf8" });
    browser = await stage.browser({ args: [`--ignore-certificate-errors-spki-list=${pin.trim()}`] });
  });
  after(() => stage?.close());

  /** Another device of the group, which this test is itself. */
  function ask(method, path, body, token) {
    return new Promise((resolve, reject) => {
      const headers = { "Content-Type": "application/json" };
      if (token) headers.Authorization = `Bearer ${token}`;
      const asked = request(hub.url + path, { method, headers, rejectUnauthorized: false }, (reply) => {
        let text = "";
        reply.setEncoding("utf8").on("data", (piece) => (text += piece)).on("end", () => resolve(JSON.parse(text)));
      });
      asked.on("error", reject).end(body && JSON.stringify(body));
    });
  }
  function sealed(text) {
    const nonce = randomBytes(12);
    const cipher = createCipheriv("aes-256-gcm", key, nonce);
    const body = Buffer.concat([cipher.update(text, "utf8"), cipher.final(), cipher.getAuthTag()]);
    return `sw1.${nonce.toString("base64")}.${body.toString("base64")}`;
  }
  function opened(wire) {
    const [nonce, body] = wire.slice(4).split(".").map((piece) => Buffer.from(piece, "base64"));
    const decipher = createDecipheriv("aes-256-gcm", key, nonce).setAuthTag(body.subarray(-16));
    return decipher.update(body.subarray(0, -16), undefined, "utf8") + decipher.final("utf8");
  }

  it("keeps a key that no script can read, and opens without the hub", async (t) => {
    const { token } = await ask("POST", "/groups", { name: "first", platform: "linux" });
    await ask("POST", "/crypto", { salt: randomBytes(16).toString("base64") }, token);
    const { code } = await ask("POST", "/pair", null, token);
    const context = await browser.newContext({ ...kPhone, locale: "en-US" });
    const began = Date.now();
    const page = await openTab(context, `${hub.url}/#pair=${code}&k=${key.toString("base64url")}`);
    assert.equal(page.url(), `${hub.url}/`);
    await join(page, { name: "phone" });
    t.diagnostic(`from the link to connected: ${Date.now() - began} ms`);
    assert.deepEqual((await kept(page)).key, { extractable: false });
    assert.ok(!(await page.evaluate(() => JSON.stringify(localStorage))).includes(code));

    const publish = (text) =>
      ask("POST", "/items", { id: randomBytes(8).toString("hex"), ts: Date.now(), mime: "text/plain", payload: sealed(text) }, token);
    assert.deepEqual(await publish("sealed elsewhere"), { recipients: 1 });
    await shows(page, "sealed elsewhere");

    // What a shell keeps is the page's own files: no answer of the interface, no text.
    await page.evaluate(() => navigator.serviceWorker.ready);
    const cached = await until("the shell is kept", () =>
      page.evaluate(async () => {
        const names = await caches.keys();
        const requests = (await Promise.all(names.map(async (name) => (await caches.open(name)).keys()))).flat();
        const paths = requests.map(({ url }) => new URL(url).pathname);
        return paths.includes("/") && paths;
      }),
    );
    for (const path of cached) assert.match(path, /^\/(assets\/[\w-]+\.(js|css)|icon\.svg|manifest\.webmanifest)?$/);
    await hub.kill();
    await page.reload();
    await page.getByText("Offline — reconnecting…").waitFor();
    await hub.start();
    await connected(page);

    // What another app shares waits in the box to be sent, and never reaches the hub unsealed.
    await page.evaluate(() => {
      const form = new FormData();
      form.append("text", "shared by an app");
      return fetch("/share", { method: "POST", body: form, redirect: "manual" });
    });
    const sent = new Promise((resolve) => {
      page.on("websocket", (socket) =>
        socket.on("framesent", ({ payload }) => String(payload).includes('"publish"') && resolve(JSON.parse(payload).item)),
      );
    });
    await page.goto("about:blank");
    await page.goto(`${hub.url}/#shared`);
    await until("it is in the box", async () => (await page.getByLabel("Send to your").inputValue()) === "shared by an app");
    await connected(page);
    await page.getByRole("button", { name: "Send", exact: true }).click();
    assert.equal(opened((await sent).payload), "shared by an app");
    assertSilent(page, "sealed elsewhere", "shared by", code);
  });
});
