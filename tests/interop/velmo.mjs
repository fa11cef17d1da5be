// Starts the real velmo program on a free loopback port for a test script, connects official
// MCP SDK clients to it, and stops it cleanly. Nothing started here may outlive or hang a test run.
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StreamableHTTPClientTransport } from "@modelcontextprotocol/sdk/client/streamableHttp.js";
import assert from "node:assert/strict";
import { spawn } from "node:child_process";

// Runs `body(velmo)` against a fresh velmo and exits the process with the outcome:
// 0 when the body passed and velmo then ended cleanly on SIGTERM, 1 otherwise.
export async function withVelmo(timeoutSeconds, body) {
  const velmoPath = process.argv[2];
  if (!velmoPath) {
    console.error(`usage: node ${process.argv[1]} path/to/velmo`);
    process.exit(2);
  }
  const watchdog = setTimeout(() => {
    console.error(`timed out after ${timeoutSeconds} s`);
    process.exit(1);
  }, timeoutSeconds * 1000);

  // VELMO_MCP_PORT=0 lets the system choose a free port; velmo prints the one it bound.
  const child = spawn(velmoPath, ["--headless"], {
    env: { ...process.env, VELMO_MCP_PORT: "0" },
    stdio: ["ignore", "pipe", "inherit"],
  });
  let output = "";
  const exited = new Promise((resolve) => child.on("exit", (code, signal) => resolve({ code, signal })));
  const endpoint = await new Promise((resolve, reject) => {
    child.stdout.on("data", (chunk) => {
      output += chunk;
      const match = output.match(/listening on (http:\/\/127\.0\.0\.1:\d+\/mcp)/);
      if (match) resolve(match[1]);
    });
    child.on("exit", (code) => reject(new Error(`velmo exited early with ${code}: ${output}`)));
  });
  console.log(`velmo at ${endpoint}`);

  const clients = [];
  const velmo = {
    endpoint,
    async connect(name) {
      const client = new Client({ name, version: "1.0.0" });
      await client.connect(new StreamableHTTPClientTransport(new URL(endpoint)));
      clients.push(client);
      return client;
    },
  };

  try {
    await body(velmo);
    for (const client of clients) await client.close();
  } catch (error) {
    console.error(error);
    child.kill("SIGKILL");
    process.exit(1);
  }

  child.kill("SIGTERM");
  const { code, signal } = await exited;
  clearTimeout(watchdog);
  if (code !== 0) {
    console.error(`velmo did not exit cleanly on SIGTERM: code ${code}, signal ${signal}`);
    process.exit(1);
  }
}

// Calls a tool and returns its reply text parsed as JSON, failing on an isError reply.
export async function call(client, name, args = {}) {
  const reply = await client.callTool({ name, arguments: args });
  assert.equal(reply.isError, false, `${name} failed: ${reply.content[0].text}`);
  return JSON.parse(reply.content[0].text);
}

// Calls a tool that must fail and returns its message.
export async function refusal(client, name, args) {
  const reply = await client.callTool({ name, arguments: args });
  assert.equal(reply.isError, true, `${name} should have failed: ${reply.content[0].text}`);
  return reply.content[0].text;
}
