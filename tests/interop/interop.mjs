// Starts the real velmo program on a free loopback port and drives it with the official MCP
// TypeScript SDK (Client over StreamableHTTPClientTransport): a client nobody here wrote.
// Usage: node interop.mjs path/to/velmo
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StreamableHTTPClientTransport } from "@modelcontextprotocol/sdk/client/streamableHttp.js";
import assert from "node:assert/strict";
import { spawn } from "node:child_process";

const velmoPath = process.argv[2];
if (!velmoPath) {
  console.error("usage: node interop.mjs path/to/velmo");
  process.exit(2);
}

// Nothing here may hang a test run.
const watchdog = setTimeout(() => {
  console.error("interop test timed out");
  process.exit(1);
}, 30000);

// VELMO_MCP_PORT=0 lets the system choose a free port; velmo prints the one it bound.
const velmo = spawn(velmoPath, ["--headless"], {
  env: { ...process.env, VELMO_MCP_PORT: "0" },
  stdio: ["ignore", "pipe", "inherit"],
});
let output = "";
const exited = new Promise((resolve) => velmo.on("exit", (code, signal) => resolve({ code, signal })));
const endpoint = await new Promise((resolve, reject) => {
  velmo.stdout.on("data", (chunk) => {
    output += chunk;
    const match = output.match(/listening on (http:\/\/127\.0\.0\.1:\d+\/mcp)/);
    if (match) resolve(match[1]);
  });
  velmo.on("exit", (code) => reject(new Error(`velmo exited early with ${code}: ${output}`)));
});
console.log(`velmo at ${endpoint}`);

try {
  const client = new Client({ name: "velmo-interop", version: "1.0.0" });
  const transport = new StreamableHTTPClientTransport(new URL(endpoint));
  await client.connect(transport);

  const info = client.getServerVersion();
  assert.equal(info.name, "velmo");
  assert.equal(info.version, "1.0.0");
  assert.ok(client.getInstructions().startsWith("Velmo is a native desktop synthesizer studio."));
  assert.deepEqual(client.getServerCapabilities(), { tools: { listChanged: false } });
  await client.ping();

  const { tools } = await client.listTools();
  const history = tools.find((tool) => tool.name === "history");
  assert.ok(history, `history missing from ${tools.map((t) => t.name)}`);
  assert.equal(history.annotations.readOnlyHint, false);
  assert.deepEqual(history.inputSchema.required, ["action"]);

  const undone = await client.callTool({ name: "history", arguments: { action: "undo", steps: 3 } });
  assert.equal(undone.isError, false);
  assert.deepEqual(JSON.parse(undone.content[0].text), { can_redo: false, can_undo: false, tracks: 4 }, "velmo starts on the four-track demo song");

  const unknown = await client.callTool({ name: "no_such_tool", arguments: {} });
  assert.equal(unknown.isError, true);
  assert.equal(unknown.content[0].text, "Unknown tool 'no_such_tool'.");

  await client.close();
  console.log(`passed: ${tools.length} tool(s) listed, history called, unknown tool refused in-band`);
} catch (error) {
  console.error(error);
  velmo.kill("SIGKILL");
  process.exit(1);
}

// velmo ends cleanly on SIGTERM.
velmo.kill("SIGTERM");
const { code, signal } = await exited;
clearTimeout(watchdog);
if (code !== 0) {
  console.error(`velmo did not exit cleanly on SIGTERM: code ${code}, signal ${signal}`);
  process.exit(1);
}
