// `make install` into a temporary folder, as a packager runs it: the files land where a desktop
// expects them, the desktop entry is valid, both programs say their version, and the installed
// velmo-mcp finds and starts the installed velmo beside it.
// Usage: node install.mjs path/to/source path/to/build
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { freePort, rawBridge, stopVelmo, watchdog } from "./stdio.mjs";

watchdog(120);
const [source, build] = process.argv.slice(2);
const destination = mkdtempSync(join(tmpdir(), "velmo-install-"));
const prefix = join(destination, "usr/local");

execFileSync("make", ["-C", source, "--no-print-directory", "install", `BUILD_DIR=${build}`, `DESTDIR=${destination}`], {
  stdio: ["ignore", "ignore", "inherit"],
});
const files = ["bin/velmo", "bin/velmo-mcp", "share/applications/velmo.desktop", "share/icons/hicolor/scalable/apps/velmo.svg",
  "share/man/man1/velmo.1.gz", "share/man/man1/velmo-mcp.1.gz"];
for (const file of files) assert.ok(existsSync(join(prefix, file)), `${file} is not installed`);
execFileSync("desktop-file-validate", [join(prefix, "share/applications/velmo.desktop")], { stdio: "inherit" });
for (const program of ["velmo", "velmo-mcp"]) {
  assert.match(execFileSync(join(prefix, "bin", program), ["--version"], { encoding: "utf8" }), new RegExp(`^${program} \\d+\\.\\d+\\.\\d+\\n$`));
}

const port = await freePort();
const bridge = rawBridge(join(prefix, "bin/velmo-mcp"), port);
const started = bridge.log.nextStart();
assert.deepEqual(await bridge.request(1, "ping"), { jsonrpc: "2.0", id: 1, result: {} });
const velmo = await started;
assert.equal(velmo.command, `${join(prefix, "bin/velmo")} --headless`);
bridge.child.stdin.end();
assert.deepEqual(await bridge.exited, { code: 0, signal: null });
await stopVelmo(velmo.pid, port);

rmSync(destination, { recursive: true, force: true });
console.log(`passed: ${files.length} files installed, the installed bridge started the installed velmo`);
