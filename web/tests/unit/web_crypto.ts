import { webcrypto } from "node:crypto";

// Node 18 has what browsers have in a module only.
if (!globalThis.crypto) Object.defineProperty(globalThis, "crypto", { value: webcrypto });
