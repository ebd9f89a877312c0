// Writes derivation.json and sealed.json beside this file. Independent of the program: everything
// here is computed by Node's own crypto module. Usage: node generate.mjs [--check]
import { createCipheriv, createHash, pbkdf2Sync } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";

const base64 = (bytes) => Buffer.from(bytes).toString("base64");
const hash = (text) => createHash("sha256").update(text).digest();

// --- Derivation: PBKDF2-HMAC-SHA-256 of the passphrase's UTF-8 bytes, 32 bytes long ---

const salt = base64(hash("salt").subarray(0, 16));
const derived = (name, passphrase, saltB64, iters) => ({
  name, passphrase, salt: saltB64, iters, outcome: "ok",
  key: base64(pbkdf2Sync(passphrase, Buffer.from(saltB64, "base64"), iters, 32, "sha256")),
});
const refusedSalt = (name, saltB64, iters = 2) =>
  ({ name, passphrase: "p", salt: saltB64, iters, outcome: "badFormat" });

const derivation = [
  derived("one iteration", "abcde-fghjk-mnpqr-stuvw", salt, 1),
  derived("two iterations", "abcde-fghjk-mnpqr-stuvw", salt, 2),
  derived("another salt", "abcde-fghjk-mnpqr-stuvw", base64(hash("other").subarray(0, 16)), 2),
  derived("what a hub asks for", "abcde-fghjk-mnpqr-stuvw", salt, 600000),
  derived("white space of the passphrase counts", " p \n", salt, 2),
  derived("not normalised: composed", "caf\u00e9", salt, 2),
  derived("not normalised: decomposed", "cafe\u0301", salt, 2),
  derived("multi-byte passphrase", "密码🔑", salt, 2),
  derived("passphrase longer than a hash block", "0123456789".repeat(10), salt, 2),
  derived("empty passphrase", "", salt, 2),
  derived("salt of one byte", "p", base64([7]), 2),
  derived("salt of 100 bytes", "p", base64(Buffer.alloc(100, 0xfb)), 2),
  refusedSalt("empty salt", ""),
  refusedSalt("salt without its padding", salt.replaceAll("=", "")),
  refusedSalt("salt in the URL-safe alphabet", "-_-_"),
  refusedSalt("salt with a line break at its end", salt + "\n"),
  refusedSalt("salt with a blank inside", salt.slice(0, 4) + "    " + salt.slice(4)),
  refusedSalt("salt with rubbish after it", salt + "AAAA"),
  refusedSalt("salt of padding alone", "===="),
  refusedSalt("salt of letters outside ASCII", "盐盐盐盐"),
  refusedSalt("no iterations", salt, 0),
  refusedSalt("negative iterations", salt, -1),
];

// --- Sealed text: "sw1." base64(12-byte nonce) "." base64(AES-256-GCM ciphertext, 16-byte tag) ---

const key = hash("key");
function seal(name, plain, nonceBytes = 12, withKey = key) {
  const nonce = hash("nonce " + name).subarray(0, nonceBytes);
  const cipher = createCipheriv("aes-256-gcm", withKey, nonce);
  const body = Buffer.concat([cipher.update(plain), cipher.final(), cipher.getAuthTag()]);
  return { nonce: base64(nonce), body: base64(body) };
}
const wire = ({ nonce, body }) => `sw1.${nonce}.${body}`;
const opens = (name, text, wireText) =>
  ({ name, key: base64(key), wire: wireText ?? wire(seal(name, Buffer.from(text))), outcome: "ok", text });
const fails = (name, outcome, wireText) => ({ name, key: base64(key), wire: wireText, outcome });

// Bodies of 36 bytes, without padding, and of 37, with "==" at the end.
const even = seal("even", Buffer.from("twenty bytes of text"));
const padded = seal("padded", Buffer.from("twenty bytes of text!"));
const swapped = (text, at) =>
  text.slice(0, at) + (text[at] === "A" ? "B" : "A") + text.slice(at + 1);
const altered = (name, change) => fails(name, "cipher", wire({ ...even, ...change }));
const badBody = (name, body) => fails(name, "badFormat", wire({ ...padded, body }));

const sealed = [
  opens("one byte", "a"),
  opens("ASCII", "Hello, clipboard\r\n"),
  opens("Chinese", "剪贴板同步"),
  opens("emoji and combining characters", "👩‍👩‍👧‍👦 e\u0301 🇨🇭"),
  opens("byte order mark in front", "\ufeffname,value"),
  opens("byte order mark alone", "\ufeff"),
  opens("null and control characters", "a\0b\u0007\u001b[0m"),
  opens("noncharacters", "\uffff\ufdd0"),
  opens("many blocks", "剪贴板 0123456789\n".repeat(60)),
  fails("empty text", "badFormat", wire(seal("empty text", Buffer.alloc(0)))),
  fails("not UTF-8: a lone byte", "decryptFailed", wire(seal("ff", Buffer.from([0xff])))),
  fails("not UTF-8: cut short", "decryptFailed", wire(seal("cut", Buffer.from([0x61, 0xe5, 0x89])))),
  fails("not UTF-8: a surrogate", "decryptFailed", wire(seal("sur", Buffer.from([0xed, 0xa0, 0x80])))),
  fails("not UTF-8: overlong", "decryptFailed", wire(seal("long", Buffer.from([0xc0, 0xaf])))),
  fails("another key", "cipher", wire(seal("another key", Buffer.from("text"), 12, hash("no")))),
  fails("nonce of 8 bytes", "cipher", wire(seal("8", Buffer.from("text"), 8))),
  fails("nonce of 16 bytes", "cipher", wire(seal("16", Buffer.from("text"), 16))),
  fails("nonce with bytes to spare", "cipher", wire({ ...even, nonce: base64(Buffer.concat([Buffer.from(even.nonce, "base64"), Buffer.alloc(3)])) })),
  fails("no nonce", "cipher", wire({ ...even, nonce: "" })),
  altered("flipped character in the ciphertext", { body: swapped(even.body, 3) }),
  altered("flipped character in the tag", { body: swapped(even.body, even.body.length - 2) }),
  altered("flipped character in the nonce", { nonce: swapped(even.nonce, 5) }),
  altered("cut ciphertext", { body: even.body.slice(4) }),
  fails("no text at all", "badFormat", ""),
  fails("prefix alone", "badFormat", "sw1."),
  fails("plain text", "badFormat", "Hello"),
  fails("prefix in capitals", "badFormat", wire(even).replace("sw1", "SW1")),
  fails("another version", "badFormat", wire(even).replace("sw1", "sw2")),
  fails("blank in front", "badFormat", " " + wire(even)),
  fails("one piece", "badFormat", "sw1." + even.nonce),
  fails("three pieces", "badFormat", wire(even) + ".AAAA"),
  fails("dot at the end", "badFormat", wire(even) + "."),
  fails("a lone dot", "badFormat", "sw1.."),
  fails("body of a tag alone", "badFormat", wire({ ...even, body: base64(Buffer.alloc(16)) })),
  fails("no body", "badFormat", wire({ ...even, body: "" })),
  badBody("body without its padding", padded.body.replaceAll("=", "")),
  badBody("body with padding to spare", padded.body + "===="),
  badBody("body with one sign of padding missing", padded.body.slice(0, -1)),
  badBody("body with padding inside", "AA==" + padded.body),
  badBody("body with padding instead of a character", padded.body.slice(0, -3) + "==="),
  badBody("body with padding before its last character", padded.body.slice(0, -2) + "=A"),
  badBody("body with a line break at its end", padded.body + "\n"),
  badBody("body with four blanks at its end", even.body + "    "),
  badBody("body with four blanks in front", "    " + even.body),
  badBody("body with a blank for its last character", even.body.slice(0, -1) + " "),
  badBody("body with line breaks inside", padded.body.slice(0, 8) + "\r\n\r\n" + padded.body.slice(8)),
  badBody("body with rubbish after it", even.body + "!!!!"),
  badBody("body with dashes after it", even.body + "----"),
  badBody("body with a null inside", padded.body.slice(0, 8) + "\0" + padded.body.slice(9)),
  badBody("body with a letter outside ASCII", "é" + padded.body.slice(1)),
  badBody("body with a letter outside Latin-1", "剪" + padded.body.slice(1)),
  badBody("body in the URL-safe alphabet", "-_" + padded.body.slice(2)),
  fails("nonce with white space", "badFormat", wire({ ...even, nonce: even.nonce + "\n" })),
  fails("nonce with a dash at its end", "badFormat", wire({ ...even, nonce: even.nonce.slice(0, -1) + "-" })),
];

let same = true;
for (const [name, cases] of Object.entries({ derivation, sealed })) {
  const path = new URL(`${name}.json`, import.meta.url);
  // Some JSON readers swallow a byte order mark, and editors hide it.
  const text = JSON.stringify(cases, null, 2).replaceAll("\ufeff", "\\ufeff") + "\n";
  if (!process.argv.includes("--check")) writeFileSync(path, text);
  else if (readFileSync(path, "utf8") !== text) {
    console.error(`${name}.json differs from what this script computes`);
    same = false;
  }
}
process.exit(same ? 0 : 1);
