/**
 * The hub's records. What does not have the right shape reads as null, as a whole; a frame with more than
 * a group can have reads as "excess".
 */

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

const kMaxFrame = 64 * 1024 * 1024; // characters
const kMaxDevices = 256;
const kMaxLabel = 256; // characters of any text but the payload
const kMaxValues = 64 * kMaxDevices;
const kMaxInteger = 2 ** 63;

type Members = Record<string, unknown>;
class Misshapen extends Error {}
class Excess extends Error {}

/** Runs a reader of a text in JSON; what it finds misshapen makes the whole null. */
function whole<T>(json: string, read: (value: Members) => T): T | null {
  let value: unknown;
  try {
    value = JSON.parse(json);
  } catch {
    return null; // no JSON, or nested too deep for this browser
  }
  try {
    return read(object(value));
  } catch (error) {
    if (error instanceof Misshapen) return null;
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
function label(value: unknown): string {
  const short = text(value);
  if (short.length > kMaxLabel) throw new Excess();
  return short;
}
function integer(value: unknown): number {
  if (typeof value !== "number" || !Number.isInteger(value) || Math.abs(value) > kMaxInteger) throw new Misshapen();
  return value;
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
    id: label(item.id),
    ts: integer(item.ts),
    from: optional(item.from, label),
    device: label(item.device),
    mime: label(item.mime),
    payload: text(item.payload),
  };
}

function readDevice(value: unknown): Device {
  const device = object(value);
  return {
    id: label(device.id),
    name: label(device.name),
    platform: label(device.platform),
    createdAt: integer(device.createdAt),
    lastSeen: integer(device.lastSeen),
    online: boolean(device.online),
  };
}

function readDevices(value: unknown): Device[] {
  if (!Array.isArray(value)) throw new Misshapen();
  if (value.length > kMaxDevices) throw new Excess();
  return value.map(readDevice);
}

/** Whether there are more values than a frame can need: in memory each takes many times its characters. */
function isCrowded(json: string): boolean {
  if (json.length < kMaxValues) return false;
  let values = 0;
  for (let i = 0; i < json.length; ++i) {
    if (json[i] === '"') i = endOfString(json, i);
    else if ((json[i] === "," || json[i] === "[" || json[i] === "{") && ++values > kMaxValues) return true;
  }
  return false;
}

function endOfString(json: string, start: number): number {
  for (let end = json.indexOf('"', start + 1); end >= 0; end = json.indexOf('"', end + 1)) {
    let slashes = 0;
    while (json[end - 1 - slashes] === "\\") ++slashes;
    if (slashes % 2 === 0) return end;
  }
  return json.length;
}

export function readEnvelope(frame: string): Envelope | "excess" | null {
  if (frame.length > kMaxFrame || isCrowded(frame)) return "excess";
  try {
    return whole(frame, (envelope) => ({
      type: label(envelope.type),
      item: optional(envelope.item, readItem),
      devices: optional(envelope.devices, readDevices),
      ref: optional(envelope.ref, label),
      status: optional(envelope.status, integer),
      recipients: optional(envelope.recipients, integer),
    }));
  } catch (error) {
    if (error instanceof Excess) return "excess";
    throw error;
  }
}

export function readJoined(body: string): Joined | null {
  return whole(body, (joined) => {
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
  return whole(body, (reply) => {
    const record = optional(reply.crypto, (value) => {
      const { v, kdf, iters, salt } = object(value);
      integer(v);
      text(kdf);
      return { iters: integer(iters), salt: text(salt) };
    });
    return { record };
  });
}

export function readRecipients(body: string): number | null {
  return whole(body, (reply) => optional(reply.recipients, integer));
}

export function readError(body: string): string | null {
  return whole(body, (reply) => optional(reply.error, text));
}

export function isObject(body: string): boolean {
  return whole(body, () => true) !== null;
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
