// Bundles the page into a folder that the hub serves, with each text also as .br and .gz.
// usage: node build.mjs FOLDER
import { build } from "esbuild";
import { createHash } from "node:crypto";
import { mkdir, readdir, readFile, rm, writeFile } from "node:fs/promises";
import { basename, dirname, join, relative, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { brotliCompressSync, constants, gzipSync } from "node:zlib";

const here = dirname(fileURLToPath(import.meta.url));
if (!process.argv[2]) {
  console.error("usage: node build.mjs FOLDER");
  process.exit(2);
}
const folder = resolve(process.argv[2]);
const shared = {
  absWorkingDir: here,
  bundle: true,
  minify: true,
  legalComments: "none",
  charset: "utf8",
  target: ["chrome94", "firefox93", "safari15"],
  logLevel: "warning",
};

const before = await readdir(folder).catch(() => []);
if (before.length > 0 && !before.includes("sw.js")) {
  console.error(`${folder} holds something else than the page.`);
  process.exit(2);
}
await rm(folder, { recursive: true, force: true });
await mkdir(join(folder, "assets"), { recursive: true });

// The names of the assets carry the hash of their content, so they may be kept for ever.
const page = await build({
  ...shared,
  entryPoints: ["src/main.tsx", "src/style.css"],
  outdir: join(folder, "assets"),
  entryNames: "[name]-[hash]",
  chunkNames: "[name]-[hash]",
  format: "esm",
  splitting: true,
  jsx: "automatic",
  jsxImportSource: "preact",
  metafile: true,
});
const made = Object.entries(page.metafile.outputs);
const madeFrom = (source) => "/assets/" + basename(made.find(([, output]) => output.entryPoint === source)[0]);

const html = (await readFile(join(here, "index.html"), "utf8"))
  .replace("STYLE", madeFrom("src/style.css"))
  .replace("SCRIPT", madeFrom("src/main.tsx"))
  .replace(/>\n+</g, "><");
await writeFile(join(folder, "index.html"), html);
await writeFile(join(folder, "icon.svg"), await readFile(join(here, "../packaging/sorrelwind.svg")));
const manifest = JSON.parse(await readFile(join(here, "manifest.webmanifest"), "utf8"));
await writeFile(join(folder, "manifest.webmanifest"), JSON.stringify(manifest));
for (const icon of await readdir(join(here, "icons")))
  await writeFile(join(folder, icon), await readFile(join(here, "icons", icon)));

const shell = ["/", "/icon.svg", "/manifest.webmanifest"];
for (const [name] of made) shell.push("/assets/" + basename(name));
const hash = createHash("sha256").update(html);
for (const path of shell.slice(1)) hash.update(await readFile(join(folder, path)));
await build({
  ...shared,
  entryPoints: ["worker/service_worker.ts"],
  outfile: join(folder, "sw.js"),
  format: "iife",
  define: { SHELL: JSON.stringify(shell), SHELL_NAME: JSON.stringify(hash.digest("hex").slice(0, 16)) },
});

let weight = 0;
for (const path of await filesBelow(folder)) {
  const content = await readFile(path);
  if (path.endsWith(".png")) {
    weight += content.length;
    continue;
  }
  const packed = gzipSync(content, { level: 9 });
  const brotli = brotliCompressSync(content, { params: { [constants.BROTLI_PARAM_SIZE_HINT]: content.length } });
  weight += packed.length;
  await writeFile(path + ".gz", packed);
  await writeFile(path + ".br", brotli);
  if (process.env.VERBOSE) console.log(`${relative(folder, path)} ${content.length} gz ${packed.length} br ${brotli.length}`);
}
const kMostBytes = 60_000;
console.log(`The page weighs ${weight} bytes, compressed, with all icons and both ciphers.`);
if (weight > kMostBytes) {
  console.error(`That is more than ${kMostBytes}.`);
  process.exit(1);
}

async function filesBelow(directory) {
  const entries = await readdir(directory, { withFileTypes: true });
  const lists = entries.map((entry) => {
    const path = join(directory, entry.name);
    return entry.isDirectory() ? filesBelow(path) : [path];
  });
  return (await Promise.all(lists)).flat().sort();
}
