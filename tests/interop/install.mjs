// `make install` into a temporary folder, as a packager runs it: the files land where a desktop
// expects them, the desktop entry is valid, both programs say their version, and the installed
// velmo-mcp finds and starts the installed velmo beside it. Then the Debian package of the same
// build: the same files under /usr, and dependencies read from the linked libraries.
// Usage: node install.mjs path/to/source path/to/build
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, mkdtempSync, readdirSync, rmSync } from "node:fs";
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

execFileSync("cpack", ["--config", join(build, "CPackConfig.cmake"), "-B", destination], { stdio: ["ignore", "ignore", "inherit"] });
const [deb] = readdirSync(destination).filter((name) => name.endsWith(".deb"));
assert.match(deb, /^velmo_\d+\.\d+\.\d+_\w+\.deb$/);
const info = execFileSync("dpkg-deb", ["--info", join(destination, deb)], { encoding: "utf8" });
const depends = info.match(/^ Depends: (.*)$/m)?.[1] ?? "";
for (const library of ["libc6", "libstdc++6"]) {
  assert.ok(depends.split(", ").some((entry) => entry.startsWith(`${library} (>= `)), `no ${library} in\n${info}`);
}
const contents = execFileSync("dpkg-deb", ["--contents", join(destination, deb)], { encoding: "utf8" });
const packaged = contents.split("\n").filter((line) => line.startsWith("-")).map((line) => line.split(/\s+/).pop()).sort();
assert.deepEqual(packaged, files.map((file) => `./usr/${file}`).sort());

rmSync(destination, { recursive: true, force: true });
console.log(`passed: ${files.length} files installed, the installed bridge started the installed velmo; ${deb} depends on ${depends}`);
