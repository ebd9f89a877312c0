import {
  CryptoRecord, isObject, Joined, kSlowestUpload, OutgoingItem, readCrypto, readError, readJoined, readRecipients,
} from "./wire";

/** Why a request failed. `network`: no answer at all; `decode`: an answer that is none of ours. */
export class HubError extends Error {
  constructor(readonly kind: "status" | "network" | "decode", readonly status = 0, readonly said: string | null = null) {
    super(`${kind} ${status}`);
  }
}

const kTimeout = 20_000;
const kPublishTimeout = 15_000; // and more for what is large
const kMaxAnswer = 1024 * 1024; // characters; every answer of ours is far shorter

/** The hub's REST interface at this page's own origin. Success is exactly status 200. */
export class HubApi {
  constructor(private readonly token: string | null = null) {}

  claim(code: string, name: string): Promise<Joined> {
    return this.send("POST", "/pair/claim", { code, name, platform: "web" }, readJoined);
  }
  /** null: the group does not encrypt. */
  async crypto(): Promise<CryptoRecord | null> {
    return (await this.send("GET", "/crypto", null, readCrypto)).record;
  }
  async rename(deviceId: string, name: string): Promise<void> {
    await this.send("PATCH", devicePath(deviceId), { name }, (body) => isObject(body) || null);
  }
  async remove(deviceId: string): Promise<void> {
    await this.send("DELETE", devicePath(deviceId), null, (body) => isObject(body) || null);
  }
  /** The number of recipients, null if the hub does not say. */
  async publish(item: OutgoingItem): Promise<number | null> {
    const read = (body: string) => ({ recipients: readRecipients(body) });
    const timeout = kPublishTimeout + item.payload.length / kSlowestUpload;
    return (await this.send("POST", "/items", item, read, timeout)).recipients;
  }

  private async send<T>(
    method: string,
    path: string,
    body: object | null,
    read: (body: string) => T | null,
    timeout = kTimeout,
  ): Promise<T> {
    const headers: Record<string, string> = {};
    if (this.token !== null) headers.Authorization = `Bearer ${this.token}`;
    if (body !== null) headers["Content-Type"] = "application/json";
    const abort = new AbortController();
    const timer = setTimeout(() => abort.abort(), timeout);
    let status: number;
    let answer: string;
    try {
      const reply = await fetch(path, {
        method,
        headers,
        body: body === null ? null : JSON.stringify(body),
        cache: "no-store",
        credentials: "omit",
        redirect: "error",
        signal: abort.signal,
      });
      status = reply.status;
      answer = await beginning(reply);
    } catch {
      throw new HubError("network");
    } finally {
      clearTimeout(timer);
    }
    if (status !== 200) throw new HubError("status", status, readError(answer));
    const value = read(answer);
    if (value === null) throw new HubError("decode");
    return value;
  }
}

function devicePath(id: string): string {
  return `/devices/${encodeURIComponent(id)}`;
}

/** The answer as a text; of one that is too long, or never ends, only so much that it cannot be read. */
async function beginning(reply: Response): Promise<string> {
  const reader = reply.body?.getReader();
  const decoder = new TextDecoder();
  let text = "";
  for (;;) {
    const piece = await reader?.read();
    if (!piece || piece.done) return text + decoder.decode();
    text += decoder.decode(piece.value, { stream: true });
    if (text.length <= kMaxAnswer) continue;
    await reader?.cancel();
    return "";
  }
}
