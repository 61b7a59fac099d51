// The client and the examples of hosts/node, on photos-sim and on helpers that misbehave.

import assert from "node:assert/strict";
import { execFileSync, spawn, spawnSync } from "node:child_process";
import { once } from "node:events";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, test } from "node:test";
import { fileURLToPath } from "node:url";
import { PhotosHelper } from "../hosts/node/photos-helper.mjs";

const SIM = path.join(process.env.BUILD, "photos-sim");
const HOST = fileURLToPath(new URL("../hosts/node/", import.meta.url));
const ROOT = fs.mkdtempSync(path.join(os.tmpdir(), "node-host-"));
const SHA256_OF_ABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
after(() => fs.rmSync(ROOT, { recursive: true }));

const newFolder = () => fs.mkdtempSync(`${ROOT}/`);

/** The command that serves a library as described, and what it has seen; then nothing of it runs.
    In `script`, for a shell, SERVE serves, and ONCE succeeds the first time alone. */
function served(description, script = "exec SERVE") {
  const folder = newFolder();
  const [held, record] = [`${folder}/held`, `${folder}/record`];
  fs.writeFileSync(`${folder}/description.json`, JSON.stringify(description));
  execFileSync(SIM, ["create", `${folder}/library`, "--from", `${folder}/description.json`]);
  execFileSync("mkfifo", [held]);  // by all processes of the command
  const pipe = fs.openSync(held, fs.constants.O_RDONLY | fs.constants.O_NONBLOCK);
  const command = ["sh", "-c", `exec 9>${held}; ${script}`.replace("ONCE", `mkdir 2>&- ${folder}/once`)
    .replace("SERVE", `${SIM} serve ${folder}/library --record ${record}`)];
  return { command, seen: () => {
    while (isHeld(pipe));
    const lines = fs.readFileSync(record, "utf8");
    return [...lines.matchAll(/\\"command\\":\\"(\w+)/g)].map(([, name]) => name).join(" ");
  } };
}

/** The same on a photo "A" whose resource is that one. */
const servedPhoto = (resource, script, description) => served({ authorization: 3, ...description,
  assets: [{ localIdentifier: "A", creationDate: 0, resources: [
    { type: 1, originalFilename: "a", text: "abc", ...resource }] }] }, script);

function isHeld(pipe) {
  try {
    return fs.readSync(pipe, Buffer.alloc(1)) > 0;
  } catch {
    return true;
  }
}

async function using(command, act, options) {
  const helper = new PhotosHelper(command, options);
  await act(helper, newFolder()).finally(() => helper.close());
}

test("asks for access, lists over pages, estimates, exports and reclaims", async () => {
  const assets = Array.from({ length: 7 }, (_, index) => ({
    localIdentifier: `A${index}`, creationDate: 1e9 + index / 3, mediaType: index % 2 + 1,
    resources: [{ type: index % 2 + 1, originalFilename: `a\u2028${index}.JPG`, text: "abc" }] }));
  await using(served({ assets }).command, async (helper, folder) => {
    const list = async (options) => {
      const resources = [];
      for await (const resource of helper.assets(options)) resources.push(resource);
      return resources;
    };
    await assert.rejects(list(), { status: "authorization_0" });
    await helper.authorize();
    const all = await list({ limit: 3 });
    assert.deepEqual(all.map(({ assetID, createdAt, filename }) => [assetID, createdAt, filename]),
      assets.map((asset, index) => [`A${index}`, asset.creationDate, `a\u2028${index}.JPG`]));
    assert.deepEqual(await list({ cutoff: all[4].createdAt, includeVideos: false }),
      [all[0], all[2]]);
    assert.equal(await helper.estimate("A0", 1), 3);
    fs.writeFileSync(`${folder}/a`, "an older file");
    assert.deepEqual(await helper.export("A0", 1, path.relative(".", `${folder}/a`)),
      { bytes: 3, sha256: SHA256_OF_ABC });
    assert.equal(fs.readFileSync(`${folder}/a`, "utf8"), "abc");
    assert.deepEqual(fs.readdirSync(folder), ["a"]);
    await helper.reclaim(["A0"]);
    await assert.rejects(helper.reclaim(["A0"]), { status: "missing" });
    assert.equal((await list()).length, 6);
  });
});

test("the examples keep to their folder and tell what is not in it", () => {
  const evil = "../../evil\u001b[31m\n.JPG";
  const { command } = served({ authorization: 3, assets: [{ localIdentifier: "A", creationDate: 0,
    resources: [[1, evil, "first"], [1, evil, "second"], [4, "RAW", "cut off"], [5, "", "edited"],
      [9, "", "moving"], [7, "x".repeat(300), "adjusted"], [3, "x", "heard"]].map(
      ([type, originalFilename, text]) => ({ type, originalFilename, text,
        ...(type === 4 && { failure: { afterBytes: 5, error: "broken\u001b[2J\noff" } }) })) }] });
  const folder = newFolder();
  const run = (status, example, ...words) => {
    const result = spawnSync(process.execPath, [HOST + example, ...words],
      { cwd: folder, encoding: "utf8" });
    assert.equal(result.status, status, [example, ...words].join(" "));
    assert.doesNotMatch(result.stdout + result.stderr, /[^\P{Cc}\n]/u);
    assert.deepEqual(fs.readdirSync(folder), example === "list.mjs" ? [] : ["out"]);
    return result;
  };
  assert.match(run(0, "list.mjs", "--helper", ...command).stdout,
    /1970-01-01 00:00:00 {2}photo .*evil.* A\n[^]*1 assets, 5 resources\n$/);
  const { stdout, stderr } = run(1, "export.mjs", "A", "out", "--helper", ...command);
  const files = fs.readdirSync(`${folder}/out`);
  assert.deepEqual(files.map((name) => [name, fs.readFileSync(`${folder}/out/${name}`, "utf8")]),
    [["_.._evil_[31m_ (type 3)", "heard"], ["_.._evil_[31m_.AAE", "adjusted"],
      ["_.._evil_[31m_.JPG", "first"], ["unnamed", "edited"], ["unnamed (2)", "moving"]]);
  assert.equal(stdout.match(/\n/g).length, files.length);
  assert.match(stderr, /^\S+evil\\u\{1b\}\[31m\\u\{a\}\.JPG, type 1: .*\nRAW, type 4: .*off\n$/);
  for (const [status, ...words] of [[2], [2, "A", "new", "--helper"], [1, "A", "out"],
    [1, "none", "new"], [1, "A", "new", "--helper", "/none"], [1, "A", "new", "--helper", "true"],
    [1, "A", "new", "--helper", "echo", "5"]]) {
    const helper = words.includes("--helper") ? [] : ["--helper", ...command];
    assert.match(run(status, "export.mjs", ...words, ...helper).stderr, /^[^\n]+\n$/);
  }
});

test("repeats what a helper left without an answer once, and no reclaim", async () => {
  const once = servedPhoto({}, "ONCE && read line && printf '{\"ok\":tr' && kill -9 $$; exec SERVE");
  const always = servedPhoto({ failure: { afterBytes: 1, crash: true } }, "exec SERVE",
    { deletion: { success: true, crash: "before" } });
  const out = newFolder();
  await using(once.command, (helper) => helper.export("A", 1, `${out}/a`));
  await using(always.command, async (helper) => {
    await assert.rejects(helper.export("A", 1, `${out}/a`), { status: null, message: /SIGKILL/ });
    assert.equal(fs.readFileSync(`${out}/a`, "utf8"), "abc");
    assert.deepEqual(fs.readdirSync(out), ["a"]);
    await assert.rejects(helper.estimate("A", 1), { status: null });
    await assert.rejects(helper.reclaim(["A"]), { status: null });
    await helper.authorize();
  });
  assert.equal(always.seen(), "export export estimate estimate reclaim authorize");
});

test("ends a helper that stalls or lies, and waits for one whose file grows", async () => {
  for (const [message, resource, script] of [
    [/No sign of life/, { failure: { afterBytes: 2, stall: true } }],
    [/other bytes/, {}, "SERVE | sed -u s/:3/:4/"],
    [/other bytes/, {}, "SERVE | sed -u s/ba78/ba79/"],
    [/doesn't speak/, {}, "SERVE | sed -u s/exported/estimated/"],
    [/doesn't speak/, {}, "ONCE && read line && echo Loading; exec SERVE"],
    [/export_failed: x/, { failure: { afterBytes: 1, error: "x" } }],
    ["", { bytesPerSecond: 1 }]]) {
    const { command, seen } = servedPhoto(resource, script);
    await using(command, async (helper, out) => {
      const result = helper.export("A", 1, `${out}/a`);
      await (message ? assert.rejects(result, { message }) : result);
      assert.deepEqual(fs.readdirSync(out), message ? [] : ["a"]);
      await helper.authorize();  // By the same helper or by another one.
    }, { stallSeconds: 2 });
    assert.match(seen(), /^(export )?authorize$/);
  }
});

test("Ctrl-C ends an example with nothing left, and is no matter of the helper's", async () => {
  const { command, seen } = servedPhoto({ failure: { afterBytes: 2, stall: true } },
    "trap ': >interrupted' INT; SERVE");
  const cwd = newFolder();
  const host = spawn(process.execPath, [`${HOST}/export.mjs`, "A", "out", "--helper", ...command],
    { cwd, detached: true, stdio: "ignore" });
  while (!fs.existsSync(`${cwd}/out`) || !fs.readdirSync(`${cwd}/out`).length) {
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
  process.kill(-host.pid, "SIGINT");
  assert.deepEqual(await once(host, "exit"), [1, null]);
  seen();
  assert.deepEqual(fs.readdirSync(cwd), []);
});
