// The real programs that the page meets: a hub, desktops with an agent, Chromium. All live in a folder
// of their own and are ended by their ids, also when the test dies.
import assert from "node:assert/strict";
import { execFile, spawn } from "node:child_process";
import { closeSync, openSync, readFileSync } from "node:fs";
import { mkdtemp, rm } from "node:fs/promises";
import { connect, createServer } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { chromium } from "playwright-core";

const kBin = process.env.SORRELWIND_BIN_DIR;
const kChromium = process.env.CHROMIUM ?? "/usr/bin/chromium";
const kPatience = 20_000;
assert.ok(kBin, "SORRELWIND_BIN_DIR names the folder of the programs");

/** Asks until the answer is truthy, and gives it. */
export async function until(what, ask) {
  const end = Date.now() + kPatience;
  for (;;) {
    const answer = await ask();
    if (answer) return answer;
    assert.ok(Date.now() < end, `not within ${kPatience} ms: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
}

const kEnvironment = { ...process.env, LC_ALL: "C.UTF-8" };
delete kEnvironment.SORRELWIND_SERVER;
delete kEnvironment.DISPLAY;
delete kEnvironment.WAYLAND_DISPLAY;

function run(program, args, { display, timeout = kPatience } = {}) {
  return new Promise((resolve, reject) => {
    const env = display ? { ...kEnvironment, DISPLAY: display } : kEnvironment;
    const child = execFile(program, args, { env, timeout, maxBuffer: 64e6 }, (error, out, err) =>
      error ? reject(new Error(`${program}: ${error.code ?? error.signal} ${err}`)) : resolve(out),
    );
    child.stdin.on("error", () => undefined).end();
  });
}

/** What a test has started; `close` ends it all, the last first. */
export class Stage {
  #ends = [];

  static async open() {
    const stage = new Stage();
    stage.folder = await mkdtemp(join(tmpdir(), "sorrelwind-web-"));
    stage.#ends.push(() => rm(stage.folder, { recursive: true, force: true }));
    return stage;
  }
  async close() {
    for (const end of this.#ends.splice(0).reverse()) await end();
  }
  path(name) {
    return join(this.folder, name);
  }

  /** A process that the kernel ends should this one die. */
  start(program, args, log, display) {
    const out = openSync(log, "a");
    const env = display ? { ...kEnvironment, DISPLAY: display } : kEnvironment;
    const child = spawn("setpriv", ["--pdeathsig", "KILL", program, ...args], { env, stdio: ["ignore", out, out, out] });
    closeSync(out);
    const gone = new Promise((resolve) => child.once("exit", resolve));
    const end = async (signal = "SIGTERM") => {
      child.kill(signal);
      const last = setTimeout(() => child.kill("SIGKILL"), 10_000);
      await gone;
      clearTimeout(last);
    };
    this.#ends.push(end);
    return end;
  }

  async hub(moreArguments = [], scheme = "http") {
    const hub = new Hub(this, moreArguments, scheme);
    await hub.start();
    return hub;
  }
  async road(hub) {
    const road = new Road(hub);
    await new Promise((resolve) => road.server.listen(0, "127.0.0.1", resolve));
    this.#ends.push(() => road.close());
    return { url: `http://127.0.0.1:${road.server.address().port}`, lose: () => road.lose() };
  }
  async screen(name) {
    const screen = new Screen(this, name);
    await screen.start();
    return screen;
  }
  async desktop(name) {
    const desktop = new Desktop(this, name);
    await desktop.start();
    return desktop;
  }
  /** A browser of its own with a fresh profile; on a desktop it has that desktop's clipboard. */
  async browser({ display, args = [] } = {}) {
    const browser = await chromium.launch({
      executablePath: kChromium,
      headless: !display,
      env: display ? { ...kEnvironment, DISPLAY: display } : kEnvironment,
      args: [
        ...["no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-background-networking"],
        ...["disable-component-update", "disable-sync"],
      ]
        .map((flag) => `--${flag}`)
        .concat(args),
    });
    this.#ends.push(() => browser.close());
    return browser;
  }
}

class Hub {
  #port = 0;
  constructor(stage, moreArguments, scheme) {
    Object.assign(this, { stage, moreArguments, scheme, log: stage.path("hub.log") });
  }
  get url() {
    return `${this.scheme}://127.0.0.1:${this.#port}`;
  }
  get port() {
    return this.#port;
  }
  async start() {
    const seen = this.#said().length;
    const listen = `127.0.0.1:${this.#port}`;
    const args = ["--listen", listen, "--data", this.stage.path("hub.d"), ...this.moreArguments];
    this.kill = this.stage.start(join(kBin, "sorrelwind-hub"), args, this.log);
    const found = await until("the hub listens", () => /listening on \S+:(\d+)/.exec(this.#said().slice(seen)));
    this.#port = Number(found[1]);
  }
  #said() {
    try {
      return readFileSync(this.log, "utf8");
    } catch {
      return "";
    }
  }
}

/** A road to the hub whose open connections can be made to carry nothing, as when a phone changes its network. */
class Road {
  #ends = [];
  constructor(hub) {
    this.server = createServer((near) => {
      const far = connect(hub.port, "127.0.0.1");
      for (const end of [near, far]) end.on("error", () => undefined);
      near.pipe(far).pipe(near);
      this.#ends.push(near, far);
    });
  }
  /** Without a word to either end; new connections are as before. */
  lose() {
    for (const end of this.#ends) end.unpipe().removeAllListeners("end").resume();
  }
  close() {
    for (const end of this.#ends) end.destroy();
    this.server.close();
  }
}

/** An X server with a clipboard of its own. */
class Screen {
  constructor(stage, name) {
    Object.assign(this, { stage, name });
  }
  async start() {
    const log = this.stage.path(`${this.name}.x.log`);
    // The server writes the number of the display that it has found free to descriptor 3.
    this.stage.start("Xvfb", ["-displayfd", "3", "-screen", "0", "1024x768x24", "-nolisten", "tcp", "-noreset"], log);
    const found = await until("a display", () => /^(\d+)\n/m.exec(readFileSync(log, "utf8")));
    this.display = `:${found[1]}`;
  }
  /** xclip goes on by itself until its selection is taken; it may return before the server has heard of it. */
  async copy(text) {
    await new Promise((resolve, reject) => {
      const env = { ...kEnvironment, DISPLAY: this.display };
      const child = spawn("xclip", ["-selection", "clipboard"], { env, stdio: ["pipe", "ignore", "ignore"] });
      child.once("error", reject).once("exit", resolve);
      child.stdin.end(text);
    });
    await this.pastes(text);
  }
  async pastes(text) {
    const paste = () =>
      run("xclip", ["-selection", "clipboard", "-o"], { display: this.display, timeout: 5000 }).catch(() => null);
    await until(`${this.name} pastes what was sent`, async () => (await paste()) === text);
  }
}

/** A screen with an agent. */
class Desktop extends Screen {
  async start() {
    await super.start();
    const args = ["--headless", "--config-dir", this.stage.path(this.name)];
    this.stage.start(join(kBin, "sorrelwind"), args, this.stage.path(`${this.name}.log`), this.display);
    await until("the agent answers", () => this.command("status").catch(() => null));
  }
  command(...args) {
    return run(join(kBin, "sorrelwind"), ["--config-dir", this.stage.path(this.name), ...args]);
  }
  async createGroup(hub) {
    const passphrase = (await this.command("create", "--server", hub.url, "--name", this.name)).trim();
    await until("the agent is connected", async () => /"connected"/.test(await this.command("status", "--json")));
    return passphrase;
  }
  /** `code` and `link` for one more device. */
  async pair() {
    return JSON.parse(await this.command("pair", "--json"));
  }
  async devices() {
    return JSON.parse(await this.command("devices", "--json"));
  }
}
