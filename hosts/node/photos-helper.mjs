/**
 * A client of photos-helper for Node 18 or later. This file is all that it needs.
 *
 *     const helper = new PhotosHelper(["photos-helper"]);
 *     await helper.authorize();
 *     for await (const resource of helper.assets()) console.log(resource.assetID);
 *     await helper.close();
 */

import { spawn } from "node:child_process";
import { createHash, randomUUID } from "node:crypto";
import fs from "node:fs/promises";
import path from "node:path";

/**
 * One resource of an asset, as discover lists it. The dates are the asset's, in seconds since
 * 1970-01-01 00:00:00 UTC. The filename is the camera's: it may be empty, repeat, hold anything.
 * @typedef {{assetID: string, filename: string, createdAt: number, modifiedAt?: number,
 *   mediaType: "photo" | "video", photoKitResourceType: number, isRaw: boolean,
 *   isLivePhotoCompanion: boolean, isLivePhotoImage: boolean, isCurrentEdit: boolean}} Resource
 */

// What a helper answers to each command when it is done.
const DONE = { authorize: "authorized", discover: "discovered", estimate: "estimated",
  export: "exported", reclaim: "moved_to_recently_deleted", open: "opened_in_photos" };

/** `status` is the answer's; null: there is none, or one that can't be trusted. */
export class HelperError extends Error {
  constructor(/** @type {string | null} */ status, /** @type {string} */ text, isLost = false) {
    super([status, text].filter(Boolean).join(": "));
    Object.assign(this, { status, text, isLost });
  }
}

/** A running helper: one line to it, one line back. */
class Process {
  isRunning = true;
  #child;
  #ended;
  #text = [];  // of a line that has not ended yet
  #asker;  // whom the next answer is for
  #reason;  // why it was killed

  constructor([program, ...args]) {
    // A group of its own: Ctrl-C in a terminal is for the host, which decides about the helper.
    this.#child = spawn(program, args, { detached: true, stdio: ["pipe", "pipe", "inherit"] });
    this.#child.stdin.on("error", () => {});  // The end of the output tells the same.
    this.#child.stdout.setEncoding("utf8").on("data", (text) => this.#read(text));
    this.#child.stdout.on("end", () => this.kill());  // Without output it is of no use.
    this.#ended = new Promise((end) => this.#child.on("close", end).on("error", end));
    this.#child.on("error", (error) => this.#end(`The helper can't be started: ${error.message}`));
    this.#child.on("close", (code, signal) =>
      this.#end(`The helper has ended without an answer (${signal ?? `status ${code}`})`, true));
  }

  #end(reason, isLost = false) {
    this.isRunning = false;
    this.#asker?.reject(new HelperError(null, this.#reason ?? reason, !this.#reason && isLost));
  }

  exchange(request) {
    return new Promise((resolve, reject) => {
      this.#asker = { resolve, reject, status: DONE[request.command] };
      this.#child.stdin.write(JSON.stringify(request) + "\n");
    });
  }

  // Only "\n" ends a line: node:readline would split at the U+2028 of a name, too.
  #read(text) {
    const end = text.indexOf("\n");
    this.#text.push(end < 0 ? text : text.slice(0, end));
    if (end < 0) return;
    try {
      const answer = JSON.parse(this.#text.splice(0).join(""));
      const isSound = answer.ok === true ? answer.status === this.#asker.status
        : answer.ok === false && typeof answer.status === "string";
      if (!isSound) throw answer;
      this.#asker.resolve(answer);
      this.#asker = null;
    } catch {
      this.kill("What was started doesn't speak the helper's protocol");
    }
  }

  kill(reason) {
    this.isRunning = false;
    this.#reason ??= reason;
    try {
      if (this.#child.exitCode === null) process.kill(-this.#child.pid, "SIGKILL");
    } catch { /* It has ended already, or never started. */ }
  }

  finish() {
    this.#child.stdin.end();
    return this.#ended;
  }
}

/**
 * A helper that is started when it is needed, and again when it has gone. A request is sent when
 * the one before has its answer: what waits in the pipe is carried out though its host has gone.
 * If the helper goes without an answer, a request is repeated once, except for reclaim. What fails
 * throws HelperError. Until close() the helper keeps the program from ending.
 */
export class PhotosHelper {
  #command;
  #stallSeconds;
  #process = null;
  #previous = Promise.resolve();
  isKilled = false;
  /**
   * @param {string[]} command the program and its arguments
   * @param {{stallSeconds?: number}} [options] the helper is killed after so long without a sign of
   *   life: an export's is that its file grows; assets() and open() have none. The others have no
   *   limit: authorize() and reclaim() wait for the user, estimate() may download.
   */
  constructor(command, { stallSeconds = 300 } = {}) {
    this.#command = command;
    this.#stallSeconds = stallSeconds;
  }

  /** Asks for access, which may prompt the user. Limited access looks like full access. */
  async authorize() {
    await this.#ask({ command: "authorize" });
  }

  /**
   * Lists resources, the oldest asset's first. Positions shift when assets come or go: take the
   * whole list before you change anything.
   * @param {{cutoff?: number, includePhotos?: boolean, includeVideos?: boolean, limit?: number}}
   *   [options] `limit`: assets of a page, 500 at most
   * @returns {AsyncGenerator<Resource, void, void>}
   */
  async * assets(options = {}) {
    for (let offset = 0; offset !== undefined;) {
      const page = await this.#ask({ limit: 500, ...options, command: "discover", offset },
        { seconds: this.#stallSeconds });
      yield* page.assets;
      if (page.nextOffset <= offset) throw new HelperError(null, "A listing that does not go on");
      offset = page.nextOffset;
    }
  }

  /** How many bytes a resource has. Reads all of it, and downloads it first if need be. */
  async estimate(/** @type {string} */ assetID, /** @type {number} */ photoKitResourceType) {
    return (await this.#ask({ command: "estimate", assetID, photoKitResourceType })).bytes;
  }

  /**
   * Writes a resource to `destination`, in a folder that is there. The file appears, in place of an
   * older one, when it has been read back and is safe on the disk. A failure leaves nothing.
   * @param {string} assetID @param {number} photoKitResourceType @param {string} destination
   * @returns {Promise<{bytes: number, sha256: string}>}
   */
  async export(assetID, photoKitResourceType, destination) {
    const target = path.resolve(destination);  // The helper may run in another folder.
    const temporary = path.join(path.dirname(target), `.photos-helper-${randomUUID()}.part`);
    const file = await fs.open(temporary, "wx+");  // "x": never through a link that is there.
    try {
      const { bytes, sha256 } = await this.#ask(
        { command: "export", assetID, photoKitResourceType, destination: temporary },
        { seconds: this.#stallSeconds, sign: async () => (await file.stat()).size });
      const hash = createHash("sha256");
      for await (const chunk of file.createReadStream({ autoClose: false })) hash.update(chunk);
      if ((await file.stat()).size !== bytes || hash.digest("hex") !== sha256) {
        throw new HelperError(null, "The file has other bytes than the helper has answered");
      }
      await file.sync();  // Node empties the drive's cache on macOS, too.
      await fs.rename(temporary, target);
      // The name is safe, too, where the file system can sync a folder. The file is there anyway.
      const folder = await fs.open(path.dirname(target)).catch(() => null);
      await folder?.sync().catch(() => {}).finally(() => folder.close());
      return { bytes, sha256 };
    } catch (error) {
      await fs.rm(temporary, { force: true });
      throw error;
    } finally {
      await file.close();
    }
  }

  /**
   * Moves all the assets to Recently Deleted, or none. An error with the status null leaves open
   * which: ask for the assets again; "missing" means that it was done. Gives what the system may
   * have to say although it has done it.
   */
  async reclaim(/** @type {string[]} */ assetIDs) {
    return (await this.#ask({ command: "reclaim", assetIDs }, { isRepeated: false })).error;
  }

  /** Shows the asset in the Photos application. */
  async open(/** @type {string} */ assetID) {
    await this.#ask({ command: "open", assetID }, { seconds: this.#stallSeconds });
  }

  /** Waits for what has been asked, then ends the helper. */
  async close() {
    await this.#previous;
    await this.#process?.finish();
  }

  /** Ends the helper at once; what has been asked fails. close() waits until that is done. */
  kill() {
    this.isKilled = true;
    this.#process?.kill("The helper was ended");
  }

  #ask(request, { isRepeated = true, ...limit } = {}) {
    const answer = this.#previous.then(() => this.#exchange(request, limit)).catch((error) => {
      if (!error.isLost || !isRepeated) throw error;
      return this.#exchange(request, limit);
    });
    this.#previous = answer.catch(() => {});
    return answer;
  }

  async #exchange(request, { seconds = Infinity, sign = async () => 0 }) {
    if (this.isKilled) throw new HelperError(null, "The helper was ended");
    if (!this.#process?.isRunning) this.#process = new Process(this.#command);
    const helper = this.#process;
    // Looks are counted, not time: a computer that was asleep has not stalled.
    const pause = Math.min(1, seconds / 4);
    let [seen, unchanged] = [0, 0];
    const timer = seconds < Infinity && setInterval(async () => {
      const now = await sign().catch(() => seen);
      unchanged = now === seen ? unchanged + 1 : 0;
      seen = now;
      if (unchanged * pause >= seconds) helper.kill(`No sign of life for ${seconds} seconds`);
    }, pause * 1000);
    const answer = await helper.exchange(request).finally(() => clearInterval(timer || undefined));
    if (!answer.ok) throw new HelperError(answer.status, answer.error);
    return answer;
  }
}
