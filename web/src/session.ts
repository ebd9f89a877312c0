import { HubApi, HubError } from "./api";
import { canWriteAlone, copyUnasked } from "./clipboard";
import { CryptoImplementation, isSealed, loadCrypto, openText, sealText } from "./crypto";
import { keyFromPassphrase, NotEncrypted } from "./join";
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

export type Warning = { kind: "undecryptable" | "notText"; device: string };
export type SendResult = { at: number; recipients: number | null } | { at: number; failure: HubError };

const kMaxClips = 20;
const kMaxClipChars = 32e6; // of all clips but the newest

/**
 * This page's one truth: whether this browser is a member, the connection, the clips of this session.
 * A change calls the subscriber; views read and keep no truth of their own.
 */
export class Session {
  phase: "loading" | "joining" | "member" = "loading";
  membership: Membership | null = null;
  connection: SyncState = "disconnected";
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
  private opening: Promise<void> = Promise.resolve(); // items are opened one after another

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
    const old = this.membership;
    this.end();
    this.begin(membership);
    this.changed();
    this.notKept = await this.store.save(membership);
    this.changed();
    if (old) await new HubApi(old.token).remove(old.deviceId).catch(() => undefined);
  }

  async send(text: string): Promise<boolean> {
    const { membership, client } = this;
    if (!membership || !client || text === "" || this.sending) return false;
    this.sending = true;
    this.changed();
    const outcome = await client.publish(await sealText(await this.crypto(), membership.key, text));
    this.sending = false;
    const accepted = outcome.status === 200;
    const failure = new HubError(outcome.status === 0 ? "network" : "status", outcome.status);
    this.lastSent = accepted
      ? { at: Date.now(), recipients: outcome.recipients }
      : { at: Date.now(), failure };
    this.changed();
    return accepted;
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
    await this.store.clear();
    if (membership) await new HubApi(membership.token).remove(membership.deviceId).catch(() => undefined);
  }

  /** A key from another passphrase, when items cannot be opened. */
  async rekey(passphrase: string): Promise<void> {
    const { membership } = this;
    if (!membership) return;
    const key = await keyFromPassphrase(await this.crypto(), membership.token, passphrase, () => undefined);
    if (key === null) throw new NotEncrypted();
    await this.keep({ ...membership, key });
    this.warning = null;
    this.changed();
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

  forget(id: string): void {
    this.clips = this.clips.filter((clip) => clip.id !== id);
    this.changed();
  }

  dismissWarning(): void {
    this.warning = null;
    this.changed();
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
      item: (item) => {
        this.opening = this.opening.then(() => this.receive(item)).catch(() => undefined);
      },
    });
  }

  private end(): void {
    this.client?.shutdown();
    this.client = null;
    this.membership = null;
    this.connection = "disconnected";
    this.devices = [];
    this.clips = [];
    this.warning = null;
    this.notKept = null;
    this.lastSent = null;
    this.draft = "";
  }

  private async keep(membership: Membership): Promise<void> {
    this.membership = membership;
    this.changed();
    this.notKept = await this.store.save(membership);
    this.changed();
  }

  /** Another tab has changed the membership. */
  private async reload(removed: boolean): Promise<void> {
    const stored = await this.store.load();
    if (stored?.token === this.membership?.token) {
      if (stored) this.membership = stored;
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
    this.connection = state;
    if (state === "revoked") {
      this.end();
      this.phase = "joining";
      this.removed = true;
      void this.store.clear(true);
    }
    this.changed();
  }

  private async receive(item: Item): Promise<void> {
    const { membership } = this;
    if (!membership || item.from === membership.deviceId) return;
    const { device } = item;
    if (item.mime !== kTextMime) {
      this.warning = { kind: "notText", device };
      return this.changed();
    }
    const sealed = isSealed(item.payload);
    let text: string;
    try {
      text = sealed ? await openText(await this.crypto(), membership.key, item.payload) : item.payload;
    } catch {
      this.warning = { kind: "undecryptable", device };
      return this.changed();
    }
    if (this.membership?.token !== membership.token) return; // left meanwhile
    this.warning = null;
    if (!this.clips.some((clip) => clip.id === item.id))
      this.add({ id: item.id, text, device, at: Math.min(item.ts, Date.now()), sealed });
    this.changed();
    await this.copyNewest();
  }

  private add(clip: Clip): void {
    let room = kMaxClipChars;
    this.clips = [clip, ...this.clips]
      .slice(0, kMaxClips)
      .filter((old, index) => index === 0 || (room -= old.text.length) >= 0);
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
