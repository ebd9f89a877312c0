import { StoredKey } from "./crypto";

/** What this browser needs to be a member of its group. */
export interface Membership {
  groupId: string;
  deviceId: string;
  deviceName: string;
  token: string;
  key: StoredKey;
}

/** Why the membership is not kept: no database at all (a private window), or no room in it. */
export type NotKept = "unavailable" | "full";

const kDatabase = "sorrelwind";
const kStore = "membership";
const kEntry = "current";

/**
 * The membership in IndexedDB, shared by all tabs of this browser; nothing else is ever written
 * there. Where there is no database the membership lives as long as the page.
 */
export class Store {
  private readonly channel = "BroadcastChannel" in globalThis ? new BroadcastChannel(kDatabase) : null;

  /** Called when another tab has joined, renamed, or left; `removed` if it did not leave by itself. */
  onChange(callback: (removed: boolean) => void): void {
    if (this.channel) this.channel.onmessage = ({ data }) => callback(data === true);
  }

  async load(): Promise<Membership | null> {
    try {
      return (await this.perform("readonly")) ?? null;
    } catch {
      return null;
    }
  }

  /** Keeps a new membership; null when it is kept. */
  save(membership: Membership): Promise<NotKept | null> {
    return this.put(membership, () => true);
  }

  /** Keeps a change of the membership, unless another tab has replaced that meanwhile. */
  update(membership: Membership): Promise<NotKept | null> {
    return this.put(membership, (kept) => kept?.token === membership.token);
  }

  /** Forgets the membership with this token, and no other that another tab has put in its place. */
  async clear(token: string, removed = false): Promise<void> {
    try {
      await this.perform("readwrite", (store, kept) => kept?.token === token && store.delete(kEntry));
    } catch {
      return; // then nothing was kept
    }
    this.channel?.postMessage(removed);
  }

  private async put(membership: Membership, allowed: (kept?: Membership) => boolean): Promise<NotKept | null> {
    try {
      await this.perform("readwrite", (store, kept) => allowed(kept) && store.put(membership, kEntry));
    } catch (error) {
      return error instanceof DOMException && error.name === "QuotaExceededError" ? "full" : "unavailable";
    }
    this.channel?.postMessage(false);
    return null;
  }

  /** Reads what is kept, and lets `act` change it in the same transaction. */
  private async perform(
    mode: IDBTransactionMode,
    act?: (store: IDBObjectStore, kept?: Membership) => void,
  ): Promise<Membership | undefined> {
    const database = await open();
    try {
      return await new Promise((resolve, reject) => {
        const transaction = database.transaction(kStore, mode);
        const store = transaction.objectStore(kStore);
        const request: IDBRequest<Membership | undefined> = store.get(kEntry);
        request.onsuccess = () => {
          try {
            act?.(store, request.result);
          } catch (error) {
            reject(error); // such as a key that this browser cannot keep
            transaction.abort();
          }
        };
        transaction.oncomplete = () => resolve(request.result);
        transaction.onabort = () => reject(transaction.error ?? request.error);
      });
    } finally {
      database.close();
    }
  }
}

function open(): Promise<IDBDatabase> {
  return new Promise((resolve, reject) => {
    const request = indexedDB.open(kDatabase, 1);
    request.onupgradeneeded = () => request.result.createObjectStore(kStore);
    request.onsuccess = () => resolve(request.result);
    request.onerror = () => reject(request.error);
    request.onblocked = () => reject(new DOMException("blocked"));
  });
}
