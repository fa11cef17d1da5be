// The velmo-mcp bridge line by line, where a bridge breaks: input that is not JSON, a blank
// line, a batch, lines past 1 MiB and past the server's 32 MiB, Velmo killed between requests
// and in the middle of one, and a client that closes the bridge's output.
// Usage: node bridge_edges.mjs path/to/velmo-mcp
import assert from "node:assert/strict";
import { bridgePath, freePort, rawBridge, stopVelmo, watchdog } from "./stdio.mjs";

watchdog(90);
const path = bridgePath();
const port = await freePort();
const bridge = rawBridge(path, port);

// Checks an error that Velmo was not reached, which must tell a person where and what to change.
function assertUnreachable(answer, id, pattern) {
  assert.equal(answer.id, id);
  assert.equal(answer.error?.code, -32000, JSON.stringify(answer));
  assert.match(answer.error.message, pattern);
  assert.match(answer.error.message, new RegExp(`port ${port}\\b.*VELMO_MCP_PORT`));
}

// What is not a JSON object or array is refused by the bridge itself: no Velmo starts for it.
for (const garbage of ["not json", "5", '{"jsonrpc":"2.0","id":1,', "\u00ff\u00fe"]) {
  bridge.send(garbage);
  assert.deepEqual(await bridge.next(), { jsonrpc: "2.0", id: null, error: { code: -32700, message: "Parse error" } }, garbage);
}
assert.deepEqual(bridge.log.starts, []);

// A blank line is no message; the first request starts Velmo, and a notification gets no line.
const firstStart = bridge.log.nextStart();
bridge.send("   ");
bridge.send({ jsonrpc: "2.0", method: "notifications/initialized" });
assert.deepEqual(await bridge.request(1, "ping"), { jsonrpc: "2.0", id: 1, result: {} });
const first = await firstStart;

// A batch goes through as one message and comes back as one line, notifications left out.
bridge.send([{ jsonrpc: "2.0", id: 2, method: "ping" }, { jsonrpc: "2.0", method: "notifications/x" }, { jsonrpc: "2.0", id: "3", method: "ping" }]);
assert.deepEqual((await bridge.next()).map((answer) => answer.id), [2, "3"]);

// A 1.5 MB line, and an answer as long, each stay one line.
const longName = "x".repeat(1_500_000);
const long = await bridge.request(4, "tools/call", { name: longName, arguments: {} });
assert.equal(long.result.isError, true);
assert.equal(long.result.content[0].text, `Unknown tool '${longName}'.`);

// A line past the 32 MiB Velmo accepts is answered without reaching it; the next one is served.
bridge.send(`{"jsonrpc":"2.0","id":5,"method":"ping","params":{"pad":"${"y".repeat(33 * 1024 * 1024)}"}}`);
const tooLarge = await bridge.next();
assert.equal(tooLarge.error.code, -32600);
assert.match(tooLarge.error.message, /^Message too large: the line holds 346030\d\d bytes; Velmo accepts at most 33554432\.$/);
await bridge.request(6, "ping");

// Velmo killed between requests: the next request says it has stopped, the one after is served
// by a fresh Velmo, on its demo song again.
await call("new_project", { name: "Lost" }, 7);
process.kill(first.pid, "SIGKILL");
const secondStart = bridge.log.nextStart();
assertUnreachable(await bridge.request(8, "ping"), 8, /has stopped|closed the connection before answering/);
assert.equal((await call("get_project", {}, 9)).name, "Demo");
const second = await secondStart;
assert.notEqual(second.pid, first.pid);

// Velmo killed while it works on a request: that request fails, the next is served again.
bridge.send({ jsonrpc: "2.0", id: 10, method: "tools/call", params: { name: "analyze_mix", arguments: { end_beat: 20000 } } });
await new Promise((resolve) => setTimeout(resolve, 300));
const thirdStart = bridge.log.nextStart();
process.kill(second.pid, "SIGKILL");
assertUnreachable(await bridge.next(), 10, /closed the connection before answering.*may or may not have been carried out/);
await bridge.request(11, "ping");
const third = await thirdStart;

// Closing standard input ends the bridge cleanly.
bridge.child.stdin.end();
assert.deepEqual(await bridge.exited, { code: 0, signal: null });

// A client that closes the bridge's output, with and without a request in flight, ends it cleanly.
for (const busy of [false, true]) {
  const reader = rawBridge(path, port);
  reader.child.stdout.destroy();
  if (busy) reader.send({ jsonrpc: "2.0", id: 1, method: "ping" });
  assert.deepEqual(await reader.exited, { code: 0, signal: null }, `busy: ${busy}\n${reader.log.text}`);
}

await stopVelmo(third.pid, port);
console.log("passed: parse errors, batch, 1.5 MB and 33 MiB lines, Velmo killed twice, output closed");

async function call(name, args, id) {
  const answer = await bridge.request(id, "tools/call", { name, arguments: args });
  assert.equal(answer.result?.isError, false, JSON.stringify(answer).slice(0, 300));
  return JSON.parse(answer.result.content[0].text);
}
