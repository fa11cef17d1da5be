// Stdio MCP clients, as the official SDK's stdio transport runs them, reach Velmo through the
// velmo-mcp bridge: the first bridge finds no Velmo and starts one headless beside itself, a
// second bridge shares it, and each bridge ends when its client closes while Velmo runs on.
// Usage: node bridge_session.mjs path/to/velmo-mcp
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import assert from "node:assert/strict";
import { dirname, join } from "node:path";
import { call } from "./velmo.mjs";
import { bridgePath, freePort, stopVelmo, watchdog, watchLog } from "./stdio.mjs";

watchdog(90);
const bridge = bridgePath();
const port = await freePort();

async function connect(name) {
  const transport = new StdioClientTransport({ command: bridge, env: { VELMO_MCP_PORT: String(port) }, stderr: "pipe" });
  const log = watchLog(transport.stderr);
  const client = new Client({ name, version: "1.0.0" });
  await client.connect(transport);
  return { client, transport, log };
}

// The SDK ends standard input, then sends SIGTERM if the process has not ended within 2 s.
async function closeEndsBridge({ client, transport }) {
  const pid = transport.pid;
  const began = Date.now();
  await client.close();
  assert.ok(Date.now() - began < 1500, `the bridge took ${Date.now() - began} ms to end after its input closed`);
  assert.throws(() => process.kill(pid, 0), `bridge ${pid} still runs`);
}

// The SDK's environment names no display, so Velmo starts headless; the handshake waits for it.
const agent = await connect("velmo-bridge-agent");
assert.equal(agent.log.starts.length, 1, agent.log.text);
const velmo = agent.log.starts[0];
assert.equal(velmo.command, `${join(dirname(bridge), "velmo")} --headless`);
assert.equal(agent.client.getServerVersion().name, "velmo");

const { tools } = await agent.client.listTools();
assert.equal(tools.length, 35);

await call(agent.client, "new_project", { name: "Bridged", tempo: 90 });
await call(agent.client, "add_track", { preset: "Acid Bass", name: "Bass" });
const clip = await call(agent.client, "add_clip", { track: "Bass", length: 4 });
await call(agent.client, "add_notes", { clip: clip.id, notes: [{ pitch: "A2", start: 0 }, { pitch: "C3", start: 2 }] });
const mix = await call(agent.client, "analyze_mix", {});
assert.deepEqual(mix.tracks.map((track) => track.name), ["Bass"]);
assert.ok(mix.tracks[0].rms_dbfs > -60, `the bass is silent: ${mix.tracks[0].rms_dbfs} dBFS`);

// A second client's bridge finds the running Velmo: the two share one song.
const second = await connect("velmo-bridge-second");
assert.deepEqual(second.log.starts, []);
assert.equal((await call(second.client, "get_project")).name, "Bridged");
await call(second.client, "add_track", { preset: "Warm Pad", name: "Pad" });
assert.deepEqual((await call(agent.client, "get_project")).tracks.map((track) => track.name), ["Bass", "Pad"]);

// Velmo outlives the bridge that started it.
await closeEndsBridge(agent);
assert.equal((await call(second.client, "get_clip", { clip: clip.id })).notes.length, 2);
await closeEndsBridge(second);
process.kill(velmo.pid, 0);

await stopVelmo(velmo.pid, port);
console.log(`passed: velmo started headless by the bridge, ${tools.length} tools, two bridges on one song`);
