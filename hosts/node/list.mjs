#!/usr/bin/env node
/** Shows the library as a table: a line for each resource, oldest assets first. */

import { run, visible } from "./command_line.mjs";

const KINDS = { 1: "photo", 2: "video", 4: "alternate", 5: "edited photo", 6: "edited video",
  9: "live video", 10: "edited live video" };

/** Dates of a library may lie outside the years that Date knows. */
function utc(/** @type {number} */ seconds) {
  const date = new Date(seconds * 1000);
  return Number.isNaN(date.getTime()) ? `${seconds} s`
    : date.toISOString().replace("T", " ").replace(/\..*$/, "");
}

await run("list.mjs [--helper COMMAND ARG...]", 0, async (helper) => {
  console.log(["CREATED (UTC)".padEnd(19), "KIND".padEnd(17), "NAME".padEnd(24), "ASSET"].join("  "));
  const assets = new Set();
  let count = 0;
  for await (const resource of helper.assets()) {
    const isFirst = !assets.has(resource.assetID);
    assets.add(resource.assetID);
    count += 1;
    console.log([(isFirst ? utc(resource.createdAt) : "").padEnd(19),
      (KINDS[resource.photoKitResourceType] ?? "").padEnd(17),
      visible(resource.filename).padEnd(24), visible(resource.assetID)].join("  "));
  }
  console.log(`${assets.size} assets, ${count} resources`);
  return 0;
});
