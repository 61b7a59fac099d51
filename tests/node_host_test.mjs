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

/** The command that serves a library as described. */
function served(description) {
  const folder = newFolder();
  fs.writeFileSync(`${folder}/description.json`, JSON.stringify(description));
  execFileSync(SIM, ["create", `${folder}/library`, "--from", `${folder}/description.json`]);
  return [SIM, "serve", `${folder}/library`];
}

/** The command of a helper that does `act` with each export and reclaim, and notes what it saw. */
function misbehaving(folder, act) {
  fs.writeFileSync(`${folder}/helper.mjs`, `
    import fs from "node:fs";
    import readline from "node:readline";
    process.on("SIGINT", () => fs.writeFileSync("${folder}/interrupted", ""));
    const answer = (answer) => process.stdout.write(JSON.stringify(answer) + "\\n");
    const exported = (bytes = 3, status = "exported") => answer(
      { ok: true, status, bytes, sha256: "${SHA256_OF_ABC}" });
    readline.createInterface(process.stdin).on("line", (line) => {
      const { command, destination } = JSON.parse(line);
      const write = (text) => destination && fs.appendFileSync(destination, text);
      if (destination) fs.writeFileSync(destination, "");
      fs.appendFileSync("${folder}/seen", command + " " + process.pid + "\\n");
      const count = fs.readFileSync("${folder}/seen", "utf8").split("\\n").length - 1;
      if (command === "authorize") answer({ ok: true, status: "authorized" });
      else if (command === "discover") answer({ ok: true, status: "discovered", assets: [] });
      else (${act})({ count, write, answer, exported });
    });`);
  return [process.execPath, `${folder}/helper.mjs`];
}

/** What a misbehaving helper has seen; none of its processes is left. */
function seen(folder) {
  const lines = fs.readFileSync(`${folder}/seen`, "utf8").trim().split("\n");
  return lines.map((line) => {
    const [command, pid] = line.split(" ");
    assert.throws(() => process.kill(pid, 0), { code: "ESRCH" });
    return command;
  }).join(" ");
}

async function using(command, act, options) {
  const helper = new PhotosHelper(command, options);
  await act(helper, newFolder()).finally(() => helper.close());
}

test("asks for access, lists over pages, estimates, exports and reclaims", async () => {
  const assets = Array.from({ length: 7 }, (_, index) => ({
    localIdentifier: `A${index}`, creationDate: 1e9 + index / 3, mediaType: index % 2 + 1,
    resources: [{ type: index % 2 + 1, originalFilename: `a\u2028${index}.JPG`, text: "abc" }] }));
  await using(served({ assets }), async (helper, folder) => {
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
  const command = served({ authorization: 3, assets: [{ localIdentifier: "A", creationDate: 0,
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
  const folder = newFolder();
  const dying = misbehaving(folder, ({ count, write, exported }) => {
    write(count === 2 ? "abc" : "a");
    if (count === 2) exported();
    else process.stdout.write('{"ok":tr', () => process.kill(process.pid, "SIGKILL"));
  });
  await using(dying, async (helper, out) => {
    await helper.export("A", 1, `${out}/a`);
    await assert.rejects(helper.export("A", 1, `${out}/a`), { status: null, message: /SIGKILL/ });
    assert.equal(fs.readFileSync(`${out}/a`, "utf8"), "abc");
    assert.deepEqual(fs.readdirSync(out), ["a"]);
    await assert.rejects(helper.reclaim(["A"]), { status: null });
    await helper.authorize();
  });
  assert.equal(seen(folder), "export export export export reclaim authorize");
});

test("ends a helper that stalls or lies, and waits for one whose file grows", async () => {
  for (const [message, act] of [
    [/No sign of life/, ({ write }) => write("ab")],
    [/other bytes/, ({ write, exported }) => { write("abc"); exported(4); }],
    [/other bytes/, ({ write, exported }) => { write("abd"); exported(); }],
    [/doesn't speak/, ({ write, exported }) => { write("abc"); exported(3, "estimated"); }],
    [/doesn't speak/, () => process.stdout.write("Loading ...\n")],
    [/export_failed: x/, ({ answer }) =>
      answer({ ok: false, status: "export_failed", error: "x" })],
    ["", ({ write, exported }) => {
      for (const second of [0, 1, 2]) setTimeout(write, second * 1000, "abc"[second]);
      setTimeout(exported, 3000);
    }]]) {
    const folder = newFolder();
    await using(misbehaving(folder, act), async (helper, out) => {
      const result = helper.export("A", 1, `${out}/a`);
      await (message ? assert.rejects(result, { message }) : result);
      assert.deepEqual(fs.readdirSync(out), message ? [] : ["a"]);
      await helper.authorize();  // By the same helper or by another one.
    }, { stallSeconds: 2 });
    assert.equal(seen(folder), "export authorize");
  }
});

test("Ctrl-C ends an example with nothing left, and is no matter of the helper's", async () => {
  const folder = newFolder();
  const stalled = misbehaving(folder, ({ write }) => write("ab"));
  const host = spawn(process.execPath, [`${HOST}/export.mjs`, "A", "out", "--helper", ...stalled],
    { cwd: folder, detached: true, stdio: "ignore" });
  while (!fs.existsSync(`${folder}/out`) || !fs.readdirSync(`${folder}/out`).length) {
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
  process.kill(-host.pid, "SIGINT");
  assert.deepEqual(await once(host, "exit"), [1, null]);
  assert.deepEqual(fs.readdirSync(folder).sort(), ["helper.mjs", "seen"]);
  seen(folder);
});
