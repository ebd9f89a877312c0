// The page as a person uses it.
import assert from "node:assert/strict";

export const kPhone = { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true, deviceScaleFactor: 2 };

/** A new tab; what it says on its console is collected in `said`. */
export async function openTab(context, address) {
  const page = await context.newPage();
  page.said = [];
  page.on("console", (message) => page.said.push(message.text()));
  page.on("pageerror", (error) => page.said.push(String(error)));
  page.setDefaultTimeout(20_000);
  await page.goto(address);
  return page;
}

/** Joins by what the page shows, with a passphrase if one is given; the milliseconds that it took. */
export async function join(page, { name, passphrase, code } = {}) {
  const began = Date.now();
  if (code) await page.getByLabel(/Pairing link or code|配对链接或配对码/).fill(code);
  if (passphrase) await page.getByLabel(/Group passphrase|设备组口令/).fill(passphrase);
  if (name) await page.getByLabel(/Device name|设备名称/).fill(name);
  await page.getByRole("button", { name: /^(Join Group|加入)$/ }).click();
  await connected(page);
  return Date.now() - began;
}

export async function connected(page) {
  await page.getByText(/Connected · Encrypted|已连接 · 已加密/).waitFor();
}

export async function shows(page, text) {
  await page.locator(".newest .text", { hasText: text }).waitFor();
}

export async function newest(page) {
  return page.locator(".newest .text").textContent();
}

export async function send(page, text) {
  await page.getByLabel(/Send to your other devices|发送到其他设备/).fill(text);
  await page.getByRole("button", { name: /^(Send|发送)$/ }).click();
}

/** What the page keeps: the membership as far as it can be read, or null. */
export function kept(page) {
  return page.evaluate(
    () =>
      new Promise((resolve, reject) => {
        const request = indexedDB.open("sorrelwind");
        request.onerror = () => reject(request.error);
        request.onsuccess = () => {
          const database = request.result;
          const get = database.transaction("membership").objectStore("membership").get("current");
          get.onsuccess = () => {
            database.close();
            const found = get.result;
            resolve(found ? { ...found, key: found.key instanceof Uint8Array ? "bytes" : { extractable: found.key.extractable } } : null);
          };
        };
      }),
  );
}

/** None of the texts stands on the console, nor does anything else. */
export function assertSilent(page, ...secrets) {
  const expected = /Failed to load resource|WebSocket connection to .* failed|ERR_/;
  for (const line of page.said) {
    for (const secret of secrets) assert.ok(!line.includes(secret), "a secret on the console");
    assert.match(line, expected, "only the browser's own lines about requests that failed");
  }
}
