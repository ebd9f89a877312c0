import { readFileSync } from "node:fs";
import { webcrypto } from "node:crypto";

declare const VECTORS: string;

export function vectors(name: string): any {
  return JSON.parse(readFileSync(`${VECTORS}/${name}.json`, "utf8"));
}

// Node 18 keeps it in a module.
if (!globalThis.crypto) Object.defineProperty(globalThis, "crypto", { value: webcrypto });
