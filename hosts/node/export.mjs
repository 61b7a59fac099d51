#!/usr/bin/env node
/** Exports every resource of an asset into a new folder. */

import fs from "node:fs/promises";
import path from "node:path";
import { explained, run, visible } from "./command_line.mjs";

/**
 * A name for the file system made of the camera's, which may be empty, repeat and hold anything.
 * Joins `taken`, in lower case: names that differ in case alone are one file on many disks.
 * @param {string} filename @param {Set<string>} taken
 */
function fileName(filename, taken) {
  const plain = filename.replace(/[\p{Cc}\p{Cs}\p{Bidi_Control}\p{Zl}\p{Zp}/\\:*?"<>|]/gu, "_")
    .replace(/^[\s.-]+|[\s.]+$/g, "").normalize("NFC") || "unnamed";
  let [, stem, extension = ""] = /^(.+?)(\.\w{1,16})?$/u.exec(plain);
  while (Buffer.byteLength(stem) > 150) stem = [...stem].slice(0, -1).join("");
  for (let copy = 1; ; copy++) {
    const name = `${stem}${copy > 1 ? ` (${copy})` : ""}${extension}`;
    if (taken.has(name.toLowerCase())) continue;
    taken.add(name.toLowerCase());
    return name;
  }
}

await run("export.mjs ASSET FOLDER [--helper COMMAND ARG...]", 2, async (helper, asset, folder) => {
  const resources = [];
  for await (const { assetID, photoKitResourceType, filename } of helper.assets()) {
    if (assetID === asset) resources.push({ type: photoKitResourceType, filename, isListed: true });
  }
  // What is not listed can be there all the same: audio, the data and the base of an adjustment,
  // all of an asset without a date. Asking costs nothing.
  const stem = path.parse(resources[0]?.filename.replaceAll("/", "_") || "unnamed").name;
  for (let type = 1; type <= 12; type++) {
    if (resources.some((resource) => resource.type === type)) continue;
    const filename = stem + (type === 7 ? ".AAE" : ` (type ${type})`);
    resources.push({ type, filename, isListed: false });
  }

  await fs.mkdir(folder).catch((error) => {
    throw error.code === "EEXIST" ? new Error(`${folder} is there: name a new folder`) : error;
  });
  const taken = new Set();
  const asked = new Set();
  let failures = 0;
  for (const { type, filename, isListed } of resources) {
    try {
      // The helper gives the first resource of a type, whichever is meant.
      if (asked.has(type)) throw new Error("can't be had, as another one has its type");
      asked.add(type);
      const name = fileName(filename, taken);
      const { bytes, sha256 } = await helper.export(asset, type, path.join(folder, name));
      console.log(`${name}  ${bytes} bytes  SHA-256 ${sha256}`);
    } catch (error) {
      if (error.status === "unavailable" && !isListed) continue;
      const name = isListed ? `${visible(filename)}, ` : "";
      console.error(`${name}type ${type}: ${explained(error)}`);
      failures += 1;
      if (error.status === "missing" || helper.isKilled) break;
    }
  }
  await fs.rmdir(folder).catch(() => {});  // If nothing is in it.
  return failures ? 1 : 0;
});
