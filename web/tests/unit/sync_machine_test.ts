import assert from "node:assert/strict";
import { test } from "node:test";

import { Action, SyncMachine } from "../../src/sync_machine";
import { outgoing, readEnvelope } from "../../src/wire";

const kDevice = { id: "d", name: "n", platform: "web", createdAt: 1, lastSeen: 2, online: true };
const kItem = { id: "i", ts: 3, from: "f", device: "n", mime: "text/plain", payload: "sw1.x.y" };

function connected(): SyncMachine {
  const machine = new SyncMachine();
  machine.connect();
  machine.opened(1);
  return machine;
}
const names = (actions: Action[]) => actions.map((action) => action.do);
const delays = (actions: Action[]) => actions.flatMap((action) => (action.do === "scheduleReconnect" ? [action.delay] : []));

test("pauses between attempts grow, and begin anew after a success or a nudge", () => {
  const machine = new SyncMachine();
  let connection = 0;
  const fail = () => {
    machine.lost(++connection);
    const seen = delays(machine.probed(connection, "otherFailure"));
    machine.reconnectDue();
    return seen[0];
  };
  machine.connect();
  assert.deepEqual([1, 2, 3, 4, 5, 6, 7].map(fail), [1000, 2000, 4000, 8000, 16000, 30000, 30000]);
  machine.opened(connection + 1);
  assert.equal(fail(), 1000);
  assert.equal(fail(), 2000);
  machine.lost(++connection);
  assert.deepEqual(names(machine.nudge()), ["cancelReconnect", "reportState", "open"]);
  assert.equal(fail(), 1000);
});

test("only 401 to the probe, and the word of the hub, end the membership", () => {
  for (const result of ["accepted", "otherFailure"] as const) {
    const machine = connected();
    machine.lost(1);
    assert.deepEqual(delays(machine.probed(1, result)), [1000]);
  }
  const ends = [
    (machine: SyncMachine) => (machine.lost(1), machine.probed(1, "unauthorized")),
    (machine: SyncMachine) => machine.received(1, '{"type":"removed"}'),
  ];
  for (const end of ends) {
    const machine = connected();
    assert.deepEqual(end(machine).at(-1), { do: "reportState", state: "revoked" });
    for (const later of [machine.nudge(true), machine.reconnectDue(), machine.lost(1), machine.probed(1, "accepted")])
      assert.deepEqual(later, []);
  }
});

test("what belongs to an earlier connection does nothing", () => {
  const machine = connected();
  machine.lost(1);
  machine.nudge(); // connection 2, while the probe after the loss of 1 is under way
  for (const stale of [machine.probed(1, "accepted"), machine.opened(1), machine.lost(1), machine.received(1, '{"type":"removed"}')])
    assert.deepEqual(stale, []);
  assert.equal(machine.state, "connecting");
});

test("a nudge replaces a live connection only when that is not trusted", () => {
  const machine = connected();
  assert.deepEqual(machine.nudge(), []);
  assert.deepEqual(names(machine.nudge(true)), ["cancelReconnect", "reportState", "open"]);
});

test("a connection that has gone silent is asked for a word, and replaced when none comes", () => {
  const ticks = (machine: SyncMachine, count: number) => Array.from({ length: count }, () => names(machine.tick()).at(-1));
  const silence = [...Array(4).fill(undefined), "sendCheck", undefined, undefined, "open"];
  const machine = connected();
  assert.deepEqual(ticks(machine, 8), silence);
  machine.opened(2);
  // It takes longer the next time: a large item may be on its way.
  assert.deepEqual(ticks(machine, 10), [...silence.slice(0, 7), undefined, undefined, "open"]);

  machine.opened(3);
  const [check] = machine.lookedAt();
  assert.ok(check?.do === "sendCheck");
  assert.deepEqual(machine.lookedAt(), [], "it is asked already");
  const item = outgoing("a", 1);
  machine.publish(item);
  assert.deepEqual(machine.tick(), [], "an ack is awaited anyway");
  assert.deepEqual(machine.received(3, JSON.stringify({ type: "ack", ref: check.id, status: 400 })), [], "no ack of the item");
  assert.deepEqual(names(machine.fallBack(item.id)), ["cancelAckTimer", "post"]);
  assert.deepEqual(ticks(machine, 4), ["sendCheck", undefined, undefined, "open"]);
});

test("a tab whose place another one took waits to be looked at", () => {
  const machine = connected();
  machine.lost(1, 1008);
  assert.deepEqual(machine.probed(1, "accepted"), []);
  assert.deepEqual(names(machine.nudge()), ["cancelReconnect", "reportState", "open"]);
  machine.lost(2, 1006);
  assert.deepEqual(delays(machine.probed(2, "accepted")), [1000]);
});

test("every publish ends once, by its ack or over REST", () => {
  const [a, b] = [outgoing("a", 1), outgoing("b", 2)];
  const offline = new SyncMachine();
  assert.deepEqual(offline.publish(a), [{ do: "post", item: a }]);

  const machine = connected();
  machine.publish(a);
  machine.publish(b);
  const ack = (members: object) => machine.received(1, JSON.stringify({ type: "ack", ...members }));
  assert.deepEqual(ack({ ref: b.id, status: 200, recipients: 2 }).at(-1), {
    do: "complete",
    id: b.id,
    outcome: { status: 200, recipients: 2 },
  });
  assert.deepEqual(machine.fallBack(b.id), []);
  assert.deepEqual(machine.fallBack(a.id).at(-1), { do: "post", item: a });
  assert.deepEqual(ack({ ref: a.id, status: 200 }), []);

  machine.publish(a);
  machine.publish(b);
  const accepted = { status: 200, recipients: null };
  assert.deepEqual(ack({ ref: "unknown", status: 200 }).at(-1), { do: "complete", id: a.id, outcome: accepted });
  assert.deepEqual(ack({}).at(-1), { do: "complete", id: b.id, outcome: { status: 0, recipients: null } });
});

test("frames are taken whole or not at all", () => {
  const both = { type: "hello", devices: [kDevice], item: kItem };
  const machine = connected();
  assert.deepEqual(machine.received(1, JSON.stringify(both)), [
    { do: "reportDevices", devices: [kDevice] },
    { do: "sendReceipt", id: "i" },
    { do: "reportItem", item: kItem },
  ]);
  const bad = [
    "", "null", "[]", "{", '"hello"',
    { devices: [kDevice] },
    { ...both, item: { ...kItem, device: undefined } },
    { ...both, item: { ...kItem, ts: 1.5 } },
    { ...both, item: { ...kItem, ts: 1e300 } },
    { ...both, item: { ...kItem, payload: 1 } },
    { ...both, devices: {} },
    ...Object.keys(kDevice).map((key) => ({ ...both, devices: [{ ...kDevice, [key]: undefined }] })),
    { ...both, type: "news" },
  ];
  for (const frame of bad) {
    const text = typeof frame === "string" ? frame : JSON.stringify(frame);
    assert.deepEqual(machine.received(1, text), [], text);
  }
  assert.deepEqual(readEnvelope('{"type":"ack","ref":null,"more":1}'), {
    type: "ack", item: null, devices: null, ref: null, status: null, recipients: null,
  });
});

test("a hub that sends more than a group can have is left, and tried again after the longest pause", () => {
  const long = "x".repeat(257);
  const most = { type: "hello", devices: Array(256).fill({ ...kDevice, name: long.slice(1) }) };
  assert.deepEqual(names(connected().received(1, JSON.stringify(most))), ["reportDevices"]);
  const commas = { type: "item", item: { ...kItem, payload: ',[{"\\'.repeat(100_000) } };
  assert.deepEqual(names(connected().received(1, JSON.stringify(commas))), ["sendReceipt", "reportItem"]);
  const excesses = [
    { type: "hello", devices: Array(257).fill(kDevice) },
    ...["id", "name", "platform"].map((key) => ({ type: "devices", devices: [{ ...kDevice, [key]: long }] })),
    ...["id", "from", "device", "mime"].map((key) => ({ type: "item", item: { ...kItem, [key]: long } })),
    { type: long },
    { type: "ack", ref: long },
    { type: "news", more: "x".repeat(64 * 1024 * 1024) },
    { type: "news", more: Array(20_000).fill([]) },
  ];
  for (const frame of excesses) {
    const machine = connected();
    const actions = machine.received(1, JSON.stringify(frame));
    assert.deepEqual(names(actions), ["complain", "close", "reportState", "scheduleReconnect"]);
    assert.deepEqual(delays(actions), [30_000]);
    for (const soon of [machine.nudge(true), machine.lookedAt(), machine.lost(1), machine.received(1, JSON.stringify(frame))])
      assert.deepEqual(soon, []);
    assert.deepEqual(names(machine.reconnectDue()), ["reportState", "open"]);
  }
});

test("an item of our own", () => {
  const { id, ...rest } = outgoing("sw1.x.y", 1234.9);
  assert.match(id, /^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$/);
  assert.deepEqual(rest, { ts: 1234, mime: "text/plain", payload: "sw1.x.y" });
});
