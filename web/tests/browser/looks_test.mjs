// Every state of the page, on small and large screens, light and dark, in both languages: nothing runs
// out of the screen, everything can be read, pressed and told apart. With SCREENSHOTS=FOLDER it also
// leaves a picture of each there.
import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import { join as path } from "node:path";
import { after, before, describe, it } from "node:test";

import { join, kept, openTab, send, shows } from "./page.mjs";
import { Stage, until } from "./programs.mjs";

const kWidths = { small: [320, 640], phone: [390, 844], desktop: [1200, 800] };
const kPictures = process.env.SCREENSHOTS;
if (kPictures) mkdirSync(kPictures, { recursive: true });

/** In the page: what is wrong with what it shows now. */
function faults() {
  /** The last of an element's lines of text, null if there is but one. */
  function lastLine(element) {
    const walker = document.createTreeWalker(element, NodeFilter.SHOW_TEXT);
    const lines = [];
    let bottom = -Infinity;
    for (let node = walker.nextNode(); node; node = walker.nextNode())
      for (let i = 0; i < node.length; ++i) {
        const range = document.createRange();
        range.setStart(node, i);
        range.setEnd(node, i + 1);
        const rect = range.getBoundingClientRect();
        if (rect.width === 0) continue;
        if (rect.top >= bottom - 2) lines.push("");
        bottom = Math.max(rect.bottom, bottom);
        lines[lines.length - 1] += node.data[i];
      }
    return lines.length > 1 ? lines[lines.length - 1].trim() : null;
  }
  const found = [];
  if (document.documentElement.scrollWidth > innerWidth) found.push(`wider than the screen: ${document.documentElement.scrollWidth}`);
  const describe = (element) => `${element.tagName} ${element.className} "${(element.ariaLabel ?? element.textContent).slice(0, 30)}"`;

  for (const control of document.querySelectorAll("button, input, textarea, summary")) {
    const { width, height } = control.getBoundingClientRect();
    if (width === 0) continue;
    if (width < 43.5 || height < 43.5) found.push(`too small to press: ${describe(control)} ${width}x${height}`);
    const name = control.ariaLabel || control.textContent || [...(control.labels ?? [])].map((label) => label.textContent).join("");
    if (!name.trim()) found.push(`nameless: ${describe(control)}`);
  }
  const ids = [...document.querySelectorAll("[id]")].map(({ id }) => id);
  if (new Set(ids).size !== ids.length) found.push(`an id twice: ${ids}`);

  for (const element of document.querySelectorAll("p, label, summary, h1, h2, button span")) {
    if (element.matches(".excerpt, .name, .origin *") || element.querySelector("bdi, textarea")) continue;
    const last = lastLine(element);
    if (last !== null && last.length < 4) found.push(`alone in its line: "${last}" of ${describe(element)}`);
  }

  const parse = (color) => color.match(/[\d.]+/g).map(Number);
  const luminance = ([r, g, b]) => {
    const linear = [r, g, b].map((value) => ((value /= 255) <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4));
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2];
  };
  const background = (element) => {
    for (let at = element; at; at = at.parentElement) {
      const color = parse(getComputedStyle(at).backgroundColor);
      if (color.length < 4 || color[3] > 0) return color;
    }
    return [255, 255, 255];
  };
  for (const element of document.querySelectorAll("body *")) {
    const own = [...element.childNodes].some((node) => node.nodeType === Node.TEXT_NODE && node.data.trim());
    if (!own || element.closest("noscript") || element.getClientRects().length === 0) continue;
    const [a, b] = [luminance(parse(getComputedStyle(element).color)), luminance(background(element))];
    const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    if (contrast < 4.5) found.push(`contrast ${contrast.toFixed(2)}: ${describe(element)}`);
  }
  return found;
}

describe("how the page looks", { timeout: 240_000 }, () => {
  let stage, hub, desktop, passphrase, browser;
  before(async () => {
    stage = await Stage.open();
    hub = await stage.hub();
    desktop = await stage.desktop("Studio");
    passphrase = await desktop.createGroup(hub);
    browser = await stage.browser({ args: ["--host-resolver-rules=MAP hub.lan 127.0.0.1"] });
  });
  after(() => stage?.close());

  /** Looks at the state that the page is in, from all sides; in English at the end as at the start. */
  async function look(page, name) {
    const wrong = [];
    for (const lang of ["zh", "en"]) {
      await page.getByRole("button", { name: lang === "zh" ? "中文" : "English", exact: true }).click();
      await page.locator(`html[lang=${lang}]`).waitFor();
      for (const colorScheme of ["light", "dark"])
        for (const [size, [width, height]] of Object.entries(kWidths)) {
          await page.setViewportSize({ width, height });
          await page.emulateMedia({ colorScheme, reducedMotion: "reduce" });
          const here = `${name}-${size}-${colorScheme}-${lang}`;
          for (const fault of await page.evaluate(faults)) wrong.push(`${here}: ${fault}`);
          if (kPictures) await page.screenshot({ path: path(kPictures, `${here}.png`), fullPage: true });
        }
    }
    assert.deepEqual(wrong, []);
  }
  const tab = async (address, options = {}) =>
    openTab(await browser.newContext({ locale: "en-US", deviceScaleFactor: kPictures ? 2 : 1, ...options }), address);

  it("while joining", async () => {
    const page = await tab(hub.url);
    await look(page, "join");
    await page.getByLabel("Pairing link or code").fill("ABCD-2345");
    await page.getByLabel("Group passphrase").fill("something");
    await look(page, "join-code");
    await page.getByRole("button", { name: "Join Group" }).click();
    const refused = page.getByText("Invalid or expired");
    await refused.waitFor();
    await look(page, "join-refused");
    await page.getByRole("button", { name: "中文" }).click();
    await page.getByText("配对码无效或已过期").waitFor();
    await page.getByRole("button", { name: "English" }).click();
    await page.getByLabel("Pairing link or code").fill("https://a.rather.long.name.of.another.hub.example:8443/#pair=ABCD-2345");
    assert.equal(await refused.count(), 0, "it was about another code");
    await look(page, "join-elsewhere");
    await page.context().close();
  });

  it("as a member", async () => {
    const page = await tab((await desktop.pair()).link);
    await look(page, "join-link");
    await join(page, { name: "Pixel Tablet" });
    await look(page, "member-empty");
    for (const text of [
      "https://example.org/a/rather/long/address/without/any/place/to/break/it/into/lines?and=a&query=as-well",
      "Dinner at 7, table by the window.\nBring the blue folder!",
      "会议改到周四下午三点，地点不变。",
      "Meet me at the north entrance at 18:30 — I have both tickets.",
    ]) {
      await desktop.copy(text);
      await shows(page, text.slice(0, 20));
    }
    await page.getByRole("button", { name: "Copy" }).first().click();
    await send(page, "from the page");
    await page.getByText("Sent to 1 device").waitFor();
    await look(page, "member");
    await page.getByRole("button", { name: "Rename" }).click();
    await page.getByLabel("Device name").fill("a\u200bb");
    await page.getByRole("button", { name: "Save" }).click();
    await page.getByText("A name has 1 to 64 characters").waitFor();
    await page.getByRole("button", { name: "中文" }).click();
    await page.getByText("名称须为 1 至 64 个字符").waitFor();
    await page.getByRole("button", { name: "English" }).click();
    await page.getByRole("button", { name: "Remove “Studio”" }).click();
    await page.getByRole("button", { name: "Leave Group…" }).click();
    await look(page, "member-asking");
    await page.evaluate(() => {
      Clipboard.prototype.writeText = () => Promise.reject(new DOMException("", "NotAllowedError"));
      Document.prototype.execCommand = () => false;
    });
    const copies = page.getByRole("button", { name: "Copy", exact: true });
    await copies.nth(3).waitFor(); // the first says "Copied" for a while
    for (let i = 0; i < 4; ++i) {
      await copies.nth(i).click();
      await page.getByText("did not allow copying").nth(i).waitFor();
    }
    await look(page, "member-by-hand");
    await hub.kill();
    await page.getByText("Offline — reconnecting…").waitFor();
    assert.match(await page.locator(".device").allInnerTexts().then(String), /seen just now.*This browser · Offline/s);
    assert.equal(await page.locator(".device .dot.success").count(), 0);
    await send(page, "into the void");
    await page.getByText("Not sent").waitFor();
    await look(page, "member-offline");
    await hub.start();
    await page.getByText("Connected · Encrypted").waitFor();
    const [, own] = JSON.parse(await desktop.command("devices", "--json"));
    await desktop.command("remove", own.id);
    await page.getByText("was removed from its group").waitFor();
    await look(page, "join-removed");
    await page.context().close();
  });

  it("with a hub and members that mean harm", async () => {
    const page = await tab((await desktop.pair()).link);
    await join(page, { name: "Pixel" });
    const { deviceId } = await kept(page);
    const device = (id, name, platform) => ({ id, name, platform, createdAt: 1, lastSeen: -(2 ** 62), online: false });
    const item = (id, mime, payload, name) => ({ type: "item", item: { id, ts: 2 ** 62, from: "x", device: name, mime, payload } });
    const markup = `<img src=x onerror="document.title='run'">`;
    let socket;
    await page.routeWebSocket(/\/ws\?/, (route) => (socket = route));
    await page.reload();
    await until("it is connected", () => socket);
    const say = (frame) => socket.send(JSON.stringify(frame));
    const devices = [
      device(deviceId, "Pixel", "web"),
      device("../groups", markup, "constructor"),
      device("a", "\u202egpj.ecioJ\u202c", "macos"),
      device("b", "هاتف أحمد 12", "\u2067linux"),
      device("c", "W".repeat(256), "W".repeat(256)),
      device("d", "\u200b\ufeff", "__proto__"),
      device("e", "Z" + "\u0353\u0317".repeat(100), "android"),
    ];
    say({ type: "hello", devices });
    say(item("1", "text/plain", "made up by the hub", "\u2067هاتف أحمد 12"));
    say(item("2", "text/plain", "x".repeat(24e6 + 1), markup));
    await page.getByText("too large for this page").waitFor();
    say(item("3", "image/png", "", "\u202egpj.ecioJ"));
    await page.getByText("is not text").waitFor();
    await page.getByText("the hub could read it").waitFor();
    await look(page, "hostile");
    const said = await page.locator("#app").innerText();
    assert.doesNotMatch(said, /[\u200b\u202a-\u202e\u2066-\u2069\ufeff]|native code|\[object/);
    assert.match(said, /gpj\.ecioJ\n+Computer · /);
    assert.equal(await page.locator(".device .name > bdi").count(), devices.length);
    assert.equal(await page.locator(".sender > bdi, .notice bdi").count(), 2);
    assert.equal(await page.title(), "Sorrelwind");

    say({ type: "devices", devices: Array(257).fill(devices[0]) });
    await page.getByText("Offline — reconnecting…").waitFor();
    assert.equal(await page.locator(".device").count(), devices.length);
    await page.context().close();
  });

  /** The hub's answer about the derivation asks for hours of work from now on. */
  const endless = (page) =>
    page.route("**/crypto", (route) =>
      route.fulfill({ json: { crypto: { v: 1, kdf: "pbkdf2-sha256", iters: 2 ** 31 - 1, salt: "AAAAAAAAAAA=" } } }),
    );
  const cancelLong = async (page) => {
    await page.getByText("the hub asks for 2147483647 rounds").waitFor();
    await page.getByRole("button", { name: "Cancel" }).click();
    await page.getByText("2147483647").waitFor({ state: "detached" });
  };

  it("while a hub has a key derived for hours", async () => {
    const visits = async () => (await desktop.command("devices", "--json")).includes("Visitor");
    for (const address of [hub.url, `http://hub.lan:${hub.port}/`]) {
      const page = await tab(address);
      await endless(page);
      const { code } = await desktop.pair();
      await page.getByLabel("Pairing link or code").fill(code);
      await page.getByLabel("Group passphrase").fill(passphrase);
      await page.getByLabel("Device name").fill("Visitor");
      await page.getByRole("button", { name: "Join Group" }).click();
      await until("it is in the group", visits);
      if (address === hub.url) {
        await page.getByText("the hub asks for").waitFor();
        await look(page, "join-deriving");
      }
      await cancelLong(page);
      assert.equal(await page.getByLabel("Pairing link or code").inputValue(), code);
      assert.equal(await page.getByLabel("Group passphrase").inputValue(), passphrase);
      assert.ok(await page.getByRole("button", { name: "Join Group" }).isEnabled());
      await until("it is out again", async () => !(await visits()));
      assert.equal(await kept(page), null);
      await page.context().close();
    }
  });

  it("over plain http, with a wrong key, where nothing is kept", async () => {
    const context = { permissions: [] };
    const page = await tab("about:blank", context);
    await page.addInitScript(() => (IDBFactory.prototype.open = () => { throw new DOMException("", "SecurityError"); }));
    await page.goto(`http://hub.lan:${hub.port}/`);
    await look(page, "http-join");
    await join(page, { code: (await desktop.pair()).code, passphrase: passphrase + "x", name: "iPhone" });
    await desktop.copy("not for this key");
    await page.getByText("can’t be decrypted").waitFor();
    await page.getByText("What to do").click();
    await page.getByRole("button", { name: "Enter the passphrase again" }).click();
    await look(page, "http-warnings");
    await endless(page);
    await page.getByLabel("Group passphrase").fill(passphrase);
    await page.getByRole("button", { name: "Use this passphrase" }).click();
    await page.getByText("the hub asks for").waitFor();
    await look(page, "http-deriving");
    await cancelLong(page);
    assert.equal(await page.getByLabel("Group passphrase").inputValue(), passphrase);
    await page.context().close();
  });
});
