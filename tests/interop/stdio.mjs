// Starts velmo-mcp for a test script the way a stdio MCP client does, on a free port of its own
// so that parallel test runs never meet, and makes sure no Velmo a bridge started outlives the
// script, whatever happens to it.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import net from "node:net";

// Every velmo a bridge reported starting; killed when the script exits.
const started = new Set();
process.on("exit", () => {
  for (const pid of started) {
    try { process.kill(pid, "SIGKILL"); } catch {}
  }
});

// Ends the script with status 1 if it has not finished after `seconds`.
export function watchdog(seconds) {
  setTimeout(() => {
    console.error(`timed out after ${seconds} s`);
    process.exit(1);
  }, seconds * 1000).unref();
}

export function bridgePath() {
  const path = process.argv[2];
  if (!path) {
    console.error(`usage: node ${process.argv[1]} path/to/velmo-mcp`);
    process.exit(2);
  }
  return path;
}

// A loopback port that nothing listened on a moment ago.
export async function freePort() {
  const server = net.createServer();
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

// Follows a bridge's standard error: `text` is all of it so far, `starts` the velmo processes it
// started, as { command, pid }, and `nextStart()` waits for the next one.
export function watchLog(stream) {
  const log = { text: "", starts: [], waiting: [] };
  let pending = "";
  stream.setEncoding("utf8");
  stream.on("data", (chunk) => {
    log.text += chunk;
    pending += chunk;
    const complete = pending.slice(0, pending.lastIndexOf("\n") + 1);
    pending = pending.slice(complete.length);
    for (const match of complete.matchAll(/started (.+) \(process (\d+)\)/g)) {
      const start = { command: match[1], pid: Number(match[2]) };
      started.add(start.pid);
      log.starts.push(start);
      log.waiting.shift()?.(start);
    }
  });
  log.nextStart = () => new Promise((resolve) => log.waiting.push(resolve));
  return log;
}

// A bridge driven line by line: `send` writes a message (an object, or raw text as it stands)
// and `next` resolves to the next line it writes back, parsed.
export function rawBridge(path, port, env = {}) {
  const child = spawn(path, [], { env: { PATH: process.env.PATH, VELMO_MCP_PORT: String(port), ...env } });
  const log = watchLog(child.stderr);
  const lines = [];
  const waiting = [];
  let pending = "";
  child.stdout.setEncoding("utf8");
  child.stdout.on("data", (chunk) => {
    pending += chunk;
    for (let end; (end = pending.indexOf("\n")) >= 0; pending = pending.slice(end + 1)) {
      const line = pending.slice(0, end);
      if (waiting.length) waiting.shift()(line);
      else lines.push(line);
    }
  });
  const exited = new Promise((resolve) => child.on("exit", (code, signal) => resolve({ code, signal })));
  return {
    child,
    log,
    exited,
    send(message) {
      child.stdin.write((typeof message === "string" ? message : JSON.stringify(message)) + "\n");
    },
    async next() {
      const line = lines.length ? lines.shift() : await new Promise((resolve) => waiting.push(resolve));
      return JSON.parse(line);
    },
    async request(id, method, params) {
      this.send({ jsonrpc: "2.0", id, method, ...(params ? { params } : {}) });
      const answer = await this.next();
      assert.equal(answer.id, id, JSON.stringify(answer).slice(0, 300));
      return answer;
    },
  };
}

// Stops a velmo started by a bridge and waits until its port is free again. It is no child of
// this script, so its exit is seen through the port.
export async function stopVelmo(pid, port) {
  process.kill(pid, "SIGTERM");
  for (;;) {
    const refused = await new Promise((resolve) => {
      const socket = net.connect(port, "127.0.0.1");
      socket.on("connect", () => { socket.destroy(); resolve(false); });
      socket.on("error", () => resolve(true));
    });
    if (refused) break;
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
  started.delete(pid);
}
