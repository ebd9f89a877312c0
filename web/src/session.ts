import { HubApi, HubError } from "./api";
import { canWriteAlone, copyUnasked } from "./clipboard";
import { CryptoImplementation, isSealed, loadCrypto, openText, sealText, StoredKey } from "./crypto";
import { Deriving, keyFromPassphrase, NotEncrypted, WrongPassphrase } from "./join";
import { utf8Length } from "./long_text";
import { readSetting, writeSetting } from "./settings";
import { Membership, NotKept, Store } from "./store";
import { SyncClient } from "./sync_client";
import { SyncState } from "./sync_machine";
import { Device, Item, kTextMime } from "./wire";

/** A text that another device copied. Kept in memory only. */
export interface Clip {
  id: string;
  text: string;
  device: string;
  at: number; // milliseconds since the epoch
  sealed: boolean;
}

export type Warning = { kind: "undecryptable" | "notText" | "tooLarge"; device: string };
/** `devices`: how many the group had then, 0 if that was not known yet. */
export type SendResult =
  | { at: number; recipients: number | null; devices: number }
  | { at: number; failure: unknown; bytes: number };

const kMaxClips = 20;
const kMaxClipChars = 32e6; // of all clips but the newest
const kMaxPayload = 24e6; // characters; 16 MiB of text, sealed

/**
 * This page's one truth: whether this browser is a member, the connection, the clips of this session.
 * A change calls the subscriber; views read and keep no truth of their own.
 */
export class Session {
  phase: "loading" | "joining" | "member" = "loading";
  membership: Membership | null = null;
  connection: SyncState = "disconnected";
  lostAt = 0; // the connection, milliseconds since the epoch
  devices: Device[] = [];
  clips: Clip[] = [];
  warning: Warning | null = null;
  removed = false; // by another device; a notice until the next join
  notKept: NotKept | null = null;
  lastSent: SendResult | null = null;
  sending = false;
  draft = "";
  autoCopy = canWriteAlone && readSetting("autoCopy") === "yes";
  autoCopied: { id: string; done: boolean } | null = null;

  private readonly store = new Store();
  private client: SyncClient | null = null;
  private implementation: Promise<CryptoImplementation> | null = null;
  private unopened: Item | null = null; // the item of the warning
  private arrived: Item[] = []; // to be opened one after another, newest first
  private opening = false;

  constructor(private readonly changed: () => void) {
    this.store.onChange((removed) => void this.reload(removed));
    addEventListener("focus", () => void this.copyNewest());
  }

  crypto = (): Promise<CryptoImplementation> => (this.implementation ??= loadCrypto());

  async start(): Promise<void> {
    const membership = await this.store.load();
    if (membership) this.begin(membership);
    else this.phase = "joining";
    this.changed();
  }

  /** Takes up a new membership. One that it replaces is given up at the hub. */
  async adopt(membership: Membership): Promise<void> {
    const { membership: old, draft } = this;
    this.end();
    if (!old) this.draft = draft; // what was shared with a browser that had yet to join
    this.begin(membership);
    this.changed();
    this.notKept = await this.store.save(membership);
    this.changed();
    if (old) await new HubApi(old.token).remove(old.deviceId).catch(() => undefined);
  }

  async send(text: string): Promise<boolean> {
    const { client } = this;
    if (!client || text === "" || this.sending) return false;
    this.sending = true;
    this.changed();
    let result: SendResult;
    try {
      const { status, recipients } = await client.publish(await this.seal(text));
      if (status !== 200) throw new HubError(status === 0 ? "network" : "status", status);
      result = { at: Date.now(), recipients, devices: this.devices.length };
    } catch (failure) {
      result = { at: Date.now(), failure, bytes: utf8Length(text) };
    }
    this.sending = false;
    if (this.client === client) this.lastSent = result; // else it has left meanwhile
    this.changed();
    return "recipients" in result;
  }

  async rename(name: string): Promise<void> {
    const { membership } = this;
    if (!membership || name === "" || name === membership.deviceName) return;
    await new HubApi(membership.token).rename(membership.deviceId, name);
    await this.keep({ ...membership, deviceName: name });
  }

  async remove(deviceId: string): Promise<void> {
    if (this.membership) await new HubApi(this.membership.token).remove(deviceId);
  }

  /** Always succeeds here, whatever the hub says. */
  async leave(): Promise<void> {
    const { membership } = this;
    this.end();
    this.phase = "joining";
    this.changed();
    if (!membership) return;
    await this.store.clear(membership.token);
    await new HubApi(membership.token).remove(membership.deviceId).catch(() => undefined);
  }

  /** A key from another passphrase, which has to open the item that could not be opened. */
  async rekey(passphrase: string, deriving: Deriving): Promise<void> {
    const { membership, unopened } = this;
    if (!membership || !unopened) return;
    const implementation = await this.crypto();
    const key = await keyFromPassphrase(implementation, membership.token, passphrase, deriving);
    if (key === null) throw new NotEncrypted();
    await openText(implementation, key, unopened.payload).catch(() => {
      throw new WrongPassphrase();
    });
    if (this.membership?.token !== membership.token) return; // left meanwhile
    await this.keep({ ...this.membership, key });
    this.take(this.unopened ?? unopened);
  }

  setAutoCopy(on: boolean): void {
    this.autoCopy = on;
    writeSetting("autoCopy", on ? "yes" : "no");
    this.autoCopied = null;
    this.changed();
    if (on) void this.copyNewest();
  }

  setDraft(text: string): void {
    this.draft = text;
    this.changed();
  }

  dismissWarning(): void {
    this.warn(null);
  }

  private begin(membership: Membership): void {
    this.membership = membership;
    this.phase = "member";
    this.removed = false;
    this.client = new SyncClient(membership.token, {
      state: (state) => this.connectionChanged(state),
      devices: (devices) => {
        this.devices = devices;
        this.changed();
      },
      item: (item) => this.take(item),
    });
  }

  private end(): void {
    this.client?.shutdown();
    this.client = null;
    if (this.membership?.key instanceof Uint8Array) this.membership.key.fill(0);
    this.membership = null;
    this.connection = "disconnected";
    this.devices = [];
    this.clips = [];
    this.warn(null);
    this.notKept = null;
    this.lastSent = null;
    this.draft = "";
    this.arrived = [];
    this.autoCopied = null;
  }

  private async keep(membership: Membership): Promise<void> {
    this.membership = membership;
    this.changed();
    this.notKept = await this.store.update(membership);
    this.changed();
  }

  private async seal(text: string): Promise<string> {
    return sealText(await this.crypto(), this.key(), text);
  }
  private async open(payload: string): Promise<string> {
    return openText(await this.crypto(), this.key(), payload);
  }
  /** To be asked for at the moment of use: a key that was given up is wiped. */
  private key(): StoredKey {
    if (!this.membership) throw new Error("left meanwhile");
    return this.membership.key;
  }

  /** Another tab has changed the membership. */
  private async reload(removed: boolean): Promise<void> {
    const stored = await this.store.load();
    if (stored?.token === this.membership?.token) {
      if (stored) this.membership = stored;
      if (this.unopened) this.take(this.unopened); // the key may be another now
    } else {
      this.end();
      if (stored) this.begin(stored);
      else {
        this.phase = "joining";
        this.removed = removed;
      }
    }
    this.changed();
  }

  private connectionChanged(state: SyncState): void {
    if (this.connection === "connected") this.lostAt = Date.now();
    this.connection = state;
    if (state === "revoked") {
      const token = this.membership?.token;
      this.end();
      this.phase = "joining";
      this.removed = true;
      // Another tab may have joined again meanwhile.
      if (token) void this.store.clear(token, true).then(() => this.reload(true));
    }
    this.changed();
  }

  private take(item: Item): void {
    this.arrived = newest(item, this.arrived, ({ payload }) => payload.length);
    if (!this.opening) void this.openArrived();
  }

  private async openArrived(): Promise<void> {
    this.opening = true;
    for (let item = this.arrived.pop(); item; item = this.arrived.pop())
      await this.receive(item).catch(() => undefined);
    this.opening = false;
  }

  private async receive(item: Item): Promise<void> {
    const { membership } = this;
    if (!membership || item.from === membership.deviceId) return;
    if (item.mime !== kTextMime) return this.warn({ kind: "notText", device: item.device });
    if (item.payload.length > kMaxPayload) return this.warn({ kind: "tooLarge", device: item.device });
    const sealed = isSealed(item.payload);
    const text = sealed ? await this.open(item.payload).catch(() => null) : item.payload;
    if (this.membership?.token !== membership.token) return; // left meanwhile
    if (text === null) return this.warn({ kind: "undecryptable", device: item.device }, item);
    const { device } = item;
    this.warn(null);
    if (!this.clips.some((clip) => clip.id === item.id)) {
      const clip = { id: item.id, text, device, at: Math.min(item.ts, Date.now()), sealed };
      this.clips = newest(clip, this.clips, (old) => old.text.length);
    }
    this.changed();
    await this.copyNewest();
  }

  private warn(warning: Warning | null, unopened: Item | null = null): void {
    this.warning = warning;
    this.unopened = unopened;
    this.changed();
  }

  /** A browser lets only the page in front write; the others do it when they come to the front. */
  private async copyNewest(): Promise<void> {
    const newest = this.clips[0];
    if (!this.autoCopy || !newest || !document.hasFocus()) return;
    if (this.autoCopied?.id === newest.id && this.autoCopied.done) return;
    const done = await copyUnasked(newest.text);
    this.autoCopied = { id: newest.id, done };
    this.changed();
  }
}

/** The list with one more in front, without the oldest where it would become too long or too large. */
function newest<T>(first: T, others: T[], size: (one: T) => number): T[] {
  let room = kMaxClipChars;
  return [first, ...others].slice(0, kMaxClips).filter((one, index) => index === 0 || (room -= size(one)) >= 0);
}
