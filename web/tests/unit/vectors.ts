import { readFileSync } from "node:fs";

declare const VECTORS: string;

export function vectors(name: string): any {
  return JSON.parse(readFileSync(`${VECTORS}/${name}.json`, "utf8"));
}
