/** The hub's records. What does not have the right shape reads as null, as a whole. */

export interface Item {
  id: string;
  ts: number; // milliseconds since the epoch
  from: string | null; // device id of the publisher
  device: string; // its name
  mime: string;
  payload: string;
}

export type OutgoingItem = Pick<Item, "id" | "ts" | "mime" | "payload">;

export interface Device {
  id: string;
  name: string;
  platform: string;
  createdAt: number;
  lastSeen: number; // milliseconds since the epoch
  online: boolean;
}

export interface Envelope {
  type: string;
  item: Item | null;
  devices: Device[] | null;
  ref: string | null;
  status: number | null;
  recipients: number | null;
}

export interface CryptoRecord {
  iters: number;
  salt: string;
}

export interface Joined {
  groupId: string;
  deviceId: string;
  deviceName: string;
  token: string;
}

export const kTextMime = "text/plain";
export const kSlowestUpload = 100; // bytes a millisecond: a large item is given its time

type Members = Record<string, unknown>;
class Misshapen extends Error {}

/** Runs a reader; what it finds misshapen makes the whole null. */
function whole<T>(read: () => T): T | null {
  try {
    return read();
  } catch (error) {
    if (error instanceof Misshapen || error instanceof SyntaxError) return null;
    throw error;
  }
}

function object(value: unknown): Members {
  if (typeof value !== "object" || value === null || Array.isArray(value)) throw new Misshapen();
  return value as Members;
}
function text(value: unknown): string {
  if (typeof value !== "string") throw new Misshapen();
  return value;
}
function integer(value: unknown): number {
  if (!Number.isInteger(value)) throw new Misshapen();
  return value as number;
}
function boolean(value: unknown): boolean {
  if (typeof value !== "boolean") throw new Misshapen();
  return value;
}
function optional<T>(value: unknown, read: (value: unknown) => T): T | null {
  return value === undefined || value === null ? null : read(value);
}

function readItem(value: unknown): Item {
  const item = object(value);
  return {
    id: text(item.id),
    ts: integer(item.ts),
    from: optional(item.from, text),
    device: text(item.device),
    mime: text(item.mime),
    payload: text(item.payload),
  };
}

function readDevice(value: unknown): Device {
  const device = object(value);
  return {
    id: text(device.id),
    name: text(device.name),
    platform: text(device.platform),
    createdAt: integer(device.createdAt),
    lastSeen: integer(device.lastSeen),
    online: boolean(device.online),
  };
}

function readDevices(value: unknown): Device[] {
  if (!Array.isArray(value)) throw new Misshapen();
  return value.map(readDevice);
}

export function readEnvelope(frame: string): Envelope | null {
  return whole(() => {
    const envelope = object(JSON.parse(frame));
    return {
      type: text(envelope.type),
      item: optional(envelope.item, readItem),
      devices: optional(envelope.devices, readDevices),
      ref: optional(envelope.ref, text),
      status: optional(envelope.status, integer),
      recipients: optional(envelope.recipients, integer),
    };
  });
}

export function readJoined(body: string): Joined | null {
  return whole(() => {
    const joined = object(JSON.parse(body));
    const device = object(joined.device);
    const token = text(joined.token);
    return {
      groupId: optional(joined.groupId, text) ?? token.split(".").find((piece) => piece !== "") ?? "",
      deviceId: text(device.id),
      deviceName: text(device.name),
      token,
    };
  });
}

/** `{record: null}` stands for a group without encryption. */
export function readCrypto(body: string): { record: CryptoRecord | null } | null {
  return whole(() => {
    const record = optional(object(JSON.parse(body)).crypto, (value) => {
      const { v, kdf, iters, salt } = object(value);
      integer(v);
      text(kdf);
      return { iters: integer(iters), salt: text(salt) };
    });
    return { record };
  });
}

export function readRecipients(body: string): number | null {
  return whole(() => optional(object(JSON.parse(body)).recipients, integer));
}

export function readError(body: string): string | null {
  return whole(() => optional(object(JSON.parse(body)).error, text));
}

export function isObject(body: string): boolean {
  return whole(() => object(JSON.parse(body))) !== null;
}

/** A random UUID (RFC 4122, version 4) in capitals. crypto.randomUUID is for secure contexts only. */
export function newItemId(): string {
  const bytes = crypto.getRandomValues(new Uint8Array(16));
  bytes[6] = (bytes[6]! & 0x0f) | 0x40;
  bytes[8] = (bytes[8]! & 0x3f) | 0x80;
  const hex = [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join("").toUpperCase();
  return hex.replace(/^(.{8})(.{4})(.{4})(.{4})/, "$1-$2-$3-$4-");
}

export function outgoing(payload: string, now: number): OutgoingItem {
  return { id: newItemId(), ts: Math.trunc(now), mime: kTextMime, payload };
}
