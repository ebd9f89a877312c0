import { HubApi, HubError } from "./api";
import { Action, kConnectTimeout, kTick, Outcome, SyncMachine, SyncState } from "./sync_machine";
import { Device, Item, outgoing, OutgoingItem } from "./wire";

export interface SyncEvents {
  state(state: SyncState): void;
  devices(devices: Device[]): void;
  item(item: Item): void;
}

const kStopped = 20_000; // milliseconds without a tick, when the page comes into sight
const kAsleep = 70_000; // out of sight a browser may run timers once a minute

/**
 * Carries out what SyncMachine decides, with a WebSocket, timers and REST. A session owns one. A
 * connection from before a sleep, or from before the network was lost, is replaced without asking.
 */
export class SyncClient {
  private readonly machine = new SyncMachine();
  private readonly api: HubApi;
  private readonly ackTimers = new Map<string, number>();
  private readonly waiting = new Map<string, (outcome: Outcome) => void>();
  private readonly listening = new AbortController();
  private socket: WebSocket | null = null;
  private connectTimer = 0;
  private reconnectTimer = 0;
  private lastTick = Date.now();

  constructor(
    private readonly token: string,
    private readonly events: SyncEvents,
  ) {
    this.api = new HubApi(token);
    const { signal } = this.listening;
    window.addEventListener("online", () => this.run(this.machine.nudge(true)), { signal });
    window.addEventListener("pageshow", (event) => event.persisted && this.run(this.machine.nudge(true)), { signal });
    window.addEventListener("focus", () => this.lookedAt(), { signal });
    document.addEventListener("visibilitychange", () => document.hidden || this.lookedAt(), { signal });
    const ticking = setInterval(() => this.tick(), kTick);
    signal.addEventListener("abort", () => clearInterval(ticking));
    this.run(this.machine.connect());
  }

  publish(payload: string): Promise<Outcome> {
    const item = outgoing(payload, Date.now());
    return new Promise((resolve) => {
      this.waiting.set(item.id, resolve);
      this.run(this.machine.publish(item));
    });
  }

  /** Ends the connection for good. */
  shutdown(): void {
    this.listening.abort();
    this.run(this.machine.shutdown());
  }

  private lookedAt(): void {
    this.run(this.stoppedFor(kStopped) ? this.machine.nudge(true) : this.machine.lookedAt());
  }

  private tick(): void {
    if (this.stoppedFor(kAsleep)) this.run(this.machine.nudge(true));
    else if (!document.hidden) this.run(this.machine.tick());
  }

  /** Whether this page has not run for that long. */
  private stoppedFor(milliseconds: number): boolean {
    const since = Date.now() - this.lastTick;
    this.lastTick = Date.now();
    return since > milliseconds;
  }

  private run(actions: Action[]): void {
    for (const action of actions) this.carryOut(action);
  }

  private carryOut(action: Action): void {
    switch (action.do) {
      case "open":
        return this.open(action.connection);
      case "close":
        return this.release();
      case "sendReceipt":
        return this.send({ type: "received", id: action.id });
      case "sendPublish":
        return this.send({ type: "publish", item: action.item });
      case "sendCheck":
        return this.send({ type: "publish", item: { id: action.id } });
      case "probe":
        return void this.probe(action.connection);
      case "scheduleReconnect":
        clearTimeout(this.reconnectTimer);
        this.reconnectTimer = window.setTimeout(() => this.run(this.machine.reconnectDue()), action.delay);
        return;
      case "cancelReconnect":
        return clearTimeout(this.reconnectTimer);
      case "complain":
        return console.warn("The hub sent more than a group can have; it is tried again later.");
      case "startAckTimer": {
        const { id, delay } = action;
        clearTimeout(this.ackTimers.get(id));
        this.ackTimers.set(id, window.setTimeout(() => this.run(this.machine.fallBack(id)), delay));
        return;
      }
      case "cancelAckTimer":
        clearTimeout(this.ackTimers.get(action.id));
        this.ackTimers.delete(action.id);
        return;
      case "post":
        return void this.post(action.item);
      case "reportState":
        return this.events.state(action.state);
      case "reportDevices":
        return this.events.devices(action.devices);
      case "reportItem":
        return this.events.item(action.item);
      case "complete":
        this.waiting.get(action.id)?.(action.outcome);
        this.waiting.delete(action.id);
    }
  }

  private open(connection: number): void {
    this.release();
    const scheme = location.protocol === "http:" ? "ws:" : "wss:";
    const socket = new WebSocket(`${scheme}//${location.host}/ws?token=${encodeURIComponent(this.token)}`);
    this.socket = socket;
    this.connectTimer = window.setTimeout(() => this.run(this.machine.lost(connection)), kConnectTimeout);
    socket.onopen = () => {
      if (socket === this.socket) clearTimeout(this.connectTimer);
      this.run(this.machine.opened(connection));
    };
    socket.onmessage = ({ data }) => {
      if (typeof data === "string") this.run(this.machine.received(connection, data));
    };
    socket.onclose = ({ code }) => this.run(this.machine.lost(connection, code));
  }

  private release(): void {
    clearTimeout(this.connectTimer);
    this.socket?.close(1000);
    this.socket = null;
  }

  private send(frame: object): void {
    if (this.socket?.readyState === WebSocket.OPEN) this.socket.send(JSON.stringify(frame));
  }

  private async probe(connection: number): Promise<void> {
    try {
      await this.api.crypto();
      this.run(this.machine.probed(connection, "accepted"));
    } catch (error) {
      const dead = error instanceof HubError && error.status === 401;
      this.run(this.machine.probed(connection, dead ? "unauthorized" : "otherFailure"));
    }
  }

  private async post(item: OutgoingItem): Promise<void> {
    let outcome: Outcome;
    try {
      outcome = { status: 200, recipients: await this.api.publish(item) };
    } catch (error) {
      outcome = { status: error instanceof HubError ? error.status : 0, recipients: null };
    }
    this.carryOut({ do: "complete", id: item.id, outcome });
  }
}
