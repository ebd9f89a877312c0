import { Device, Item, kSlowestUpload, newItemId, OutgoingItem, readEnvelope } from "./wire";

export type SyncState = "disconnected" | "connecting" | "connected" | "revoked";
export type ProbeResult = "accepted" | "unauthorized" | "otherFailure";

/** How a publish ended: `status` is that of HTTP, 0 when the hub could not be reached. */
export interface Outcome {
  status: number;
  recipients: number | null;
}

export type Action =
  | { do: "open"; connection: number } // replaces a previous socket
  | { do: "close" } // with code 1000
  | { do: "sendReceipt"; id: string }
  | { do: "sendPublish"; item: OutgoingItem }
  | { do: "sendCheck"; id: string } // a publish without content, which the hub refuses by name
  | { do: "probe"; connection: number } // ask for the crypto record, answer with probed()
  | { do: "scheduleReconnect"; delay: number } // milliseconds; replaces a previous one
  | { do: "cancelReconnect" }
  | { do: "complain" } // of a frame with more than a group can have
  | { do: "startAckTimer"; id: string; delay: number } // replaces a previous one
  | { do: "cancelAckTimer"; id: string }
  | { do: "post"; item: OutgoingItem } // over REST; its outcome completes the publish
  | { do: "reportState"; state: SyncState }
  | { do: "reportDevices"; devices: Device[] }
  | { do: "reportItem"; item: Item }
  | { do: "complete"; id: string; outcome: Outcome };

export const kConnectTimeout = 20_000; // milliseconds
export const kTick = 5_000;
const kAckTimeout = 4_000;
const kMaxReconnectDelay = 30_000;
const kQuiet = 5; // ticks without a word from the hub, then it is asked for one
const kPatience = 2; // ticks to answer in
const kMaxPatience = 32; // for slow networks, on which a large item comes before the answer
const kDisplaced = 1008; // a device may hold four sockets, a fifth closes the oldest

/**
 * The rules of keeping one connection to the hub, without any input or output: events go in, the
 * actions to carry out come back, in order. Owned and driven by SyncClient. A connection is named by
 * the number in its "open"; events of any other connection are stale and do nothing.
 */
export class SyncMachine {
  state: SyncState = "disconnected";
  private connection: number | null = null;
  private last = 0;
  private attempts = 0; // reconnects since the last successful open
  private closed = false;
  private displaced = false;
  private shunned = false; // the hub broke the rules: it is tried again when its time has come, not before
  private pending: OutgoingItem[] = []; // published, not yet acknowledged, oldest first
  private quiet = 0; // ticks since the last word from the hub
  private patience = kPatience;
  private check = ""; // the id of the last question

  connect(): Action[] {
    this.closed = false;
    this.displaced = false;
    this.shunned = false;
    this.connection = ++this.last;
    return [...this.enter("connecting"), { do: "open", connection: this.connection }];
  }

  publish(item: OutgoingItem): Action[] {
    if (this.state !== "connected" || this.connection === null) return [{ do: "post", item }];
    this.pending.push(item);
    const delay = kAckTimeout + item.payload.length / kSlowestUpload;
    return [{ do: "startAckTimer", id: item.id, delay }, { do: "sendPublish", item }];
  }

  /** Every kTick while someone looks. A script cannot ping, and a dead connection may look alive for hours. */
  tick(): Action[] {
    if (this.state !== "connected" || this.pending.length > 0) return [];
    ++this.quiet;
    if (this.quiet === kQuiet) return this.ask();
    if (this.quiet <= kQuiet + this.patience) return [];
    this.patience = Math.min(2 * this.patience, kMaxPatience);
    return this.nudge(true);
  }

  /** Someone looks again: connects, or asks the hub for a word. */
  lookedAt(): Action[] {
    if (this.state !== "connected") return this.state === "connecting" ? [] : this.nudge();
    return this.quiet < kQuiet ? this.ask() : [];
  }

  /** Connects now rather than later. `distrust` replaces even a connection that looks alive. */
  nudge(distrust = false): Action[] {
    if (this.closed || this.shunned || (this.state === "connected" && !distrust)) return [];
    this.attempts = 0;
    return [{ do: "cancelReconnect" }, ...this.hurry(), ...this.connect()];
  }

  shutdown(): Action[] {
    this.closed = true;
    this.connection = null;
    return [{ do: "cancelReconnect" }, { do: "close" }];
  }

  opened(connection: number): Action[] {
    if (connection !== this.connection) return [];
    this.attempts = 0;
    this.quiet = 0;
    return this.enter("connected");
  }

  /** Closed, failed, or never came up. */
  lost(connection: number, closeCode = 1006): Action[] {
    if (connection !== this.connection || this.closed) return [];
    this.connection = null;
    this.displaced = closeCode === kDisplaced;
    return [{ do: "close" }, ...this.enter("disconnected"), ...this.hurry(), { do: "probe", connection }];
  }

  /** The answer to the probe after the loss of `connection`. */
  probed(connection: number, result: ProbeResult): Action[] {
    if (this.closed || connection !== this.last || this.state !== "disconnected") return [];
    if (result === "unauthorized") return this.revoke();
    // Its place was taken by another tab: it waits until someone looks at it, or they would take
    // turns for ever.
    if (this.displaced && result === "accepted") return [];
    ++this.attempts;
    const delay = Math.min(500 * 2 ** this.attempts, kMaxReconnectDelay);
    return [{ do: "scheduleReconnect", delay }];
  }

  reconnectDue(): Action[] {
    return this.closed ? [] : this.connect();
  }

  /** No acknowledgement in time, or it could not be sent. */
  fallBack(id: string): Action[] {
    const item = this.take(id);
    this.quiet = Math.max(this.quiet, kQuiet - 1); // perhaps nobody is there
    return item ? [{ do: "cancelAckTimer", id }, { do: "post", item }] : [];
  }

  received(connection: number, frame: string): Action[] {
    if (connection !== this.connection) return [];
    this.quiet = 0;
    const envelope = readEnvelope(frame);
    if (envelope === "excess") return this.shun();
    const actions: Action[] = [];
    switch (envelope?.type) {
      case "hello":
      case "item":
      case "devices":
        if (envelope.devices) actions.push({ do: "reportDevices", devices: envelope.devices });
        if (envelope.item)
          actions.push({ do: "sendReceipt", id: envelope.item.id }, { do: "reportItem", item: envelope.item });
        break;
      case "ack": {
        if (this.check !== "" && envelope.ref === this.check) {
          this.patience = kPatience;
          break;
        }
        // Acknowledgements come in the order of the publishes, so one that names none of ours
        // speaks of the oldest.
        const id = (this.pending.find((item) => item.id === envelope.ref) ?? this.pending[0])?.id;
        if (id === undefined) break;
        this.take(id);
        const outcome = { status: envelope.status ?? 0, recipients: envelope.recipients };
        actions.push({ do: "cancelAckTimer", id }, { do: "complete", id, outcome });
        break;
      }
      case "removed":
        actions.push(...this.revoke());
    }
    return actions;
  }

  private enter(state: SyncState): Action[] {
    if (this.state === state) return [];
    this.state = state;
    return [{ do: "reportState", state }];
  }

  private ask(): Action[] {
    this.quiet = kQuiet;
    this.check = newItemId();
    return [{ do: "sendCheck", id: this.check }];
  }

  private shun(): Action[] {
    this.connection = null;
    this.shunned = true;
    return [
      { do: "complain" },
      { do: "close" },
      ...this.enter("disconnected"),
      ...this.hurry(),
      { do: "scheduleReconnect", delay: kMaxReconnectDelay },
    ];
  }

  private revoke(): Action[] {
    return [...this.shutdown(), ...this.enter("revoked")];
  }

  /** What was going up on a connection that is gone waits no longer than a small item does. */
  private hurry(): Action[] {
    return this.pending.map(({ id }) => ({ do: "startAckTimer", id, delay: kAckTimeout }));
  }

  private take(id: string): OutgoingItem | undefined {
    const at = this.pending.findIndex((item) => item.id === id);
    return at < 0 ? undefined : this.pending.splice(at, 1)[0];
  }
}
