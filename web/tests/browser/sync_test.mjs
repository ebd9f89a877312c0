// A desktop with an agent and this browser, once they are paired.
import assert from "node:assert/strict";
import { request } from "node:http";
import { after, afterEach, before, beforeEach, describe, it } from "node:test";

import { assertSilent, connected, join, kept, newest, openTab, send, shows } from "./page.mjs";
import { Stage, until } from "./programs.mjs";

describe("the page and a desktop", { timeout: 120_000 }, () => {
  let stage, hub, desktop, screen, browser, context, page;
  before(async () => {
    stage = await Stage.open();
    hub = await stage.hub(["--max-payload", "9000000"]);
    desktop = await stage.desktop("Studio");
    await desktop.createGroup(hub);
    screen = await stage.screen("phone"); // the browser's own clipboard
    browser = await stage.browser({ display: screen.display });
  });
  after(() => stage?.close());
  beforeEach(async () => {
    context = await browser.newContext({ locale: "en-US" });
    await context.grantPermissions(["clipboard-read", "clipboard-write"]);
    page = await openTab(context, (await desktop.pair()).link);
    await join(page, { name: "Pixel" });
  });
  afterEach(async () => {
    assertSilent(page, "SECRET");
    if (await kept(page)) await desktop.command("remove", (await kept(page)).deviceId);
    await context.close();
  });

  const devices = async () => (await desktop.devices()).map(({ name }) => name);

  it("shows what the desktop copied, as text, and copies it exactly", async () => {
    const texts = [
      "SECRET plain",
      "机密：多行\n第二行\n",
      "\ufeffSECRET behind a byte order mark",
      "SECRET \r\n crlf\t👩‍👩‍👧‍👦",
      `SECRET <img src=x onerror="document.title='run'"><script>document.title='run'</script>`,
    ];
    for (const text of texts) {
      await desktop.copy(text);
      await until("it is shown", async () => (await newest(page).catch(() => "")) === text);
      await page.getByRole("button", { name: "Copy" }).first().click();
      await screen.pastes(text);
    }
    assert.equal(await page.title(), "Sorrelwind");
    assert.equal(await page.locator(".clip-row").count(), texts.length - 1);
    await page.locator(".clip-row").last().getByRole("button").click();
    await screen.pastes(texts[0]);
  });

  it("sends what is typed, by the button and by the keys, and the clipboard", async () => {
    await send(page, "SECRET <b>typed</b>\n你好");
    await desktop.pastes("SECRET <b>typed</b>\n你好");
    await page.getByText("Sent to 1 device").waitFor();
    const box = page.getByLabel("Send to your other devices");
    assert.equal(await box.inputValue(), "");
    await box.fill("SECRET by keys");
    await box.press("Control+Enter");
    await desktop.pastes("SECRET by keys");
    await screen.copy("SECRET clipboard\n");
    await page.bringToFront();
    await page.getByRole("button", { name: "Send clipboard" }).click();
    await desktop.pastes("SECRET clipboard\n");
  });

  it("copies by itself when it is told to", async () => {
    await page.getByRole("switch").click();
    await desktop.copy("SECRET unasked");
    await screen.pastes("SECRET unasked");
    await page.getByText("The newest text is on the clipboard.").waitFor();
  });

  it("takes and gives texts of several megabytes, and says when one is too large", async () => {
    const large = "SECRET " + "語x, line by line\n".repeat(270_000); // 5.1 MB
    const sendClipboard = page.getByRole("button", { name: "Send clipboard" });
    await desktop.copy(large);
    await page.getByText("Only the beginning is shown").waitFor();
    await page.getByRole("button", { name: "Copy" }).first().click();
    await screen.pastes(large);
    await screen.copy(large.replace("SECRET", "back"));
    await page.bringToFront();
    await sendClipboard.click();
    await desktop.pastes(large.replace("SECRET", "back"));
    await screen.copy(large + large);
    await sendClipboard.click();
    await page.getByText("Not sent: Too large for this hub").waitFor();
    await connected(page);
  });

  it("comes back by itself after the hub did", async () => {
    await hub.kill("SIGKILL");
    await page.getByText("Offline — reconnecting…").waitFor();
    await send(page, "SECRET into the void");
    await page.getByText("Not sent: Can’t reach the hub").waitFor();
    assert.equal(await page.getByLabel("Send to your other devices").inputValue(), "SECRET into the void");
    await hub.start();
    await connected(page);
    await until("the agent is back", async () => /"connected"/.test(await desktop.command("status", "--json")));
    await desktop.copy("SECRET after the restart");
    await shows(page, "SECRET after the restart");
    await send(page, "SECRET back again");
    await desktop.pastes("SECRET back again");
  });

  it("finds out when looked at that its connection died without a word", async () => {
    const road = await stage.road(hub);
    const { code, link } = await desktop.pair();
    const far = await openTab(context, link.replace(/^.*?#/, road.url + "/#"));
    await join(far, { name: "far" });
    road.lose();
    await desktop.copy("SECRET on a dead road");
    await shows(page, "SECRET on a dead road");
    assert.equal(await far.locator(".newest .text").count(), 0);
    await far.evaluate(() => dispatchEvent(new Event("focus")));
    await shows(far, "SECRET on a dead road");
    assertSilent(far, "SECRET", code);
    await desktop.command("remove", (await kept(far)).deviceId);
  });

  it("two tabs share one membership, and lose it together", async () => {
    const second = await openTab(context, hub.url);
    await connected(second);
    assert.deepEqual(await devices(), ["Studio", "Pixel"]);
    await desktop.copy("SECRET for both");
    await Promise.all([shows(page, "SECRET for both"), shows(second, "SECRET for both")]);
    for (const [tab, text] of [[page, "SECRET from one"], [second, "SECRET from the other"]]) {
      await send(tab, text);
      await desktop.pastes(text);
    }
    await page.getByRole("button", { name: "Rename" }).click();
    await page.getByLabel("Device name").fill("Pixel two");
    await page.getByRole("button", { name: "Save" }).click();
    await second.getByText("Pixel two").waitFor();
    await second.getByRole("button", { name: "Leave Group…" }).click();
    await second.getByRole("button", { name: "Leave", exact: true }).click();
    for (const tab of [page, second]) await tab.getByRole("heading", { name: "Join your group" }).waitFor();
    assert.equal(await kept(page), null);
    await until("the group knows", async () => (await devices()).length === 1);
    assertSilent(second, "SECRET");
  });

  it("is led back to joining when the desktop removes it", async () => {
    await desktop.command("remove", (await kept(page)).deviceId);
    await page.getByText("This browser was removed from its group.").waitFor();
    assert.equal(await kept(page), null);
    await page.reload();
    await page.getByRole("heading", { name: "Join your group" }).waitFor();
  });

  it("says what it cannot show, and removes another device", async () => {
    const { token } = await kept(page); // speaks for a third device of the group
    const third = await page.evaluate(
      async ([code]) => {
        const claim = { code, name: "camera", platform: "web" };
        const headers = { "Content-Type": "application/json" };
        return (await fetch("/pair/claim", { method: "POST", headers, body: JSON.stringify(claim) })).json();
      },
      [(await desktop.pair()).code],
    );
    const publish = (mime, payload) =>
      new Promise((resolve, reject) => {
        const headers = { Authorization: `Bearer ${third.token}`, "Content-Type": "application/json" };
        const asked = request(`${hub.url}/items`, { method: "POST", headers }, (reply) => reply.resume().on("end", resolve));
        asked.on("error", reject).end(JSON.stringify({ id: payload.slice(0, 60), ts: 1, mime, payload }));
      });
    assert.ok(token);
    await publish("image/png", "SECRET picture");
    await page.getByText("“camera” sent something that is not text").waitFor();
    await page.getByRole("button", { name: "Dismiss" }).click();
    for (const broken of ["sw1.", "sw1.AAAA.BBBB", `sw1.${"A".repeat(16)}.${"A".repeat(44)}`]) {
      await publish("text/plain", broken);
      await page.getByText("can’t be decrypted").waitFor();
      await page.getByRole("button", { name: "Dismiss" }).click();
    }
    await publish("text/plain", "in the clear");
    await shows(page, "in the clear");
    await page.getByText("Not encrypted", { exact: true }).waitFor();
    await page.getByRole("button", { name: "Remove “camera”" }).click();
    await page.getByRole("button", { name: "Remove", exact: true }).click();
    await until("it is gone", async () => !(await devices()).includes("camera"));
    await page.getByRole("button", { name: "Remove “camera”" }).waitFor({ state: "hidden" });
  });
});
