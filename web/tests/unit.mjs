// Bundles the unit tests, which import the page's sources, and runs them in Node.
import { build } from "esbuild";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readdirSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const folder = mkdtempSync(join(tmpdir(), "sorrelwind-unit-"));
try {
  await build({
    absWorkingDir: here,
    entryPoints: readdirSync(join(here, "unit")).filter((name) => name.endsWith("_test.ts")).map((name) => `unit/${name}`),
    outdir: folder,
    outExtension: { ".js": ".mjs" },
    bundle: true,
    inject: ["unit/web_crypto.ts"],
    platform: "node",
    format: "esm",
    target: "node18",
    define: { VECTORS: JSON.stringify(join(here, "../../tests/vectors")) },
  });
  const files = readdirSync(folder).map((name) => join(folder, name));
  process.exitCode = spawnSync(process.execPath, ["--test", ...files], { stdio: "inherit" }).status ?? 1;
} finally {
  rmSync(folder, { recursive: true });
}
