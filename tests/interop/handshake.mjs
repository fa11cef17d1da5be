// The MCP handshake and tool listing as the official TypeScript SDK sees them: a client nobody
// here wrote. Usage: node handshake.mjs path/to/velmo
import assert from "node:assert/strict";
import { call, refusal, withVelmo } from "./velmo.mjs";

await withVelmo(30, async (velmo) => {
  const client = await velmo.connect("velmo-handshake");

  const info = client.getServerVersion();
  assert.equal(info.name, "velmo");
  assert.equal(info.version, "1.0.0");
  assert.ok(client.getInstructions().startsWith("Velmo is a native desktop synthesizer studio."));
  assert.deepEqual(client.getServerCapabilities(), { tools: { listChanged: false } });
  await client.ping();

  // The SDK validates every listed schema as it parses the reply.
  const { tools } = await client.listTools();
  assert.equal(tools.length, 35);
  for (const tool of tools) {
    assert.equal(tool.inputSchema.type, "object", tool.name);
    assert.equal(typeof tool.annotations.readOnlyHint, "boolean", tool.name);
  }
  const history = tools.find((tool) => tool.name === "history");
  assert.equal(history.annotations.readOnlyHint, false);
  assert.deepEqual(history.inputSchema.required, ["action"]);

  const undone = await call(client, "history", { action: "undo", steps: 3 });
  assert.deepEqual(undone, { can_redo: false, can_undo: false, tracks: 4 }, "velmo starts on the four-track demo song");

  assert.equal(await refusal(client, "no_such_tool", {}), "Unknown tool 'no_such_tool'.");
  console.log("passed: handshake, 35 tools listed, unknown tool refused in-band");
});
