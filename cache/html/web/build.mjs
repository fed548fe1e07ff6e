// Bundles the viewer and writes the page as C++ source, in two parts: before and after the cloud's data.
// Usage: node build.mjs SOURCES ROOM OUTPUT.cpp, where ROOM contains the installed packages.
import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join, resolve } from "node:path";

const [sources, room, output] = process.argv.slice(2).map((path) => resolve(path));
const { build, transform } = createRequire(join(room, "package.json"))("esbuild");
const source = (name) => readFileSync(join(sources, name), "utf8");

const bundle = await build({
  entryPoints: [join(sources, "viewer/viewer.js")], nodePaths: [join(room, "node_modules")],
  bundle: true, minify: true, format: "iife", target: "es2022",
  legalComments: "none", charset: "utf8", write: false, logLevel: "warning",
});
const script = bundle.outputFiles[0].text.trim();
if (/<\/script|<!--/i.test(script)) throw new Error("the bundle contains the end tag of its own element");
const style = (await transform(source("style.css"), { loader: "css", minify: true })).code.trim();
const license = readFileSync(join(room, "node_modules/three/LICENSE"), "utf8").trim().replace(/-{2,}/g, "-");

// The page loads nothing and runs no other script, whatever names a cloud file contains.
const hash = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
const policy = `default-src 'none'; script-src ${hash(script)}; style-src ${hash(style)}; base-uri 'none'; form-action 'none'`;

const parts = {
  policy: `<meta http-equiv="Content-Security-Policy" content="${policy}">\n<!-- This page contains three.js, under this license:\n\n${license}\n-->`,
  style: `<style>${style}</style>`,
  script: `<script>${script}</script>`,
};
const page = source("index.html")
  .replace(/<!--vx:(policy|style|script)-->/g, (_, name) => parts[name]);
const [before, after] = page.split("<!--vx:data-->\n");

const escapes = { "\\": "\\\\", '"': '\\"', "\n": "\\n", "\r": "\\r", "\t": "\\t", "?": "\\?" };
function literal(text) {
  const lines = [];
  const bytes = Buffer.from(text, "utf8");
  for (let at = 0; at < bytes.length; at += 4096) {
    lines.push(`"${[...bytes.subarray(at, at + 4096)].map((b) => {
      const c = String.fromCharCode(b);
      return escapes[c] ?? (b < 32 || b > 126 ? `\\${b.toString(8).padStart(3, "0")}` : c);
    }).join("")}"`);
  }
  return lines.join("\n    ");
}
writeFileSync(output, `// Written by build.mjs.
#include "cache/html/template.h"

namespace vx::cache {

extern constexpr std::string_view kPageBefore(
    ${literal(before)},
    ${Buffer.byteLength(before)});
extern constexpr std::string_view kPageAfter(
    ${literal(after)},
    ${Buffer.byteLength(after)});

} // namespace vx::cache
`);
