/** What the examples share: their arguments, their errors, and how they show names. */

import { HelperError, PhotosHelper } from "./photos-helper.mjs";

const MEANINGS = {
  authorization_0: "access to the photos has not been decided on",
  authorization_1: "access to the photos is restricted on this computer, or there is no library",
  authorization_2: "access to the photos was denied; the user can allow it in the privacy settings",
  missing: "the library has no such asset",
};

/** Text for a terminal: escapes what would move its cursor, end the line or turn its direction. */
export const visible = (/** @type {string} */ text) =>
  text.replace(/[\p{Cc}\p{Cs}\p{Bidi_Control}\p{Zl}\p{Zp}]/gu,
    (character) => `\\u{${character.codePointAt(0).toString(16)}}`);

/** An error in one line, for a person. */
export const explained = (/** @type {HelperError} */ error) =>
  visible(MEANINGS[error.status] ?? error.message);

/**
 * Calls `main` with a helper that has access and with the arguments, `count` of them. The program
 * ends with the status that `main` returns, with 1 after an error and with 2 after wrong usage.
 * @param {string} usage @param {number} count
 * @param {(helper: PhotosHelper, ...words: string[]) => Promise<number>} main
 */
export async function run(usage, count, main) {
  const words = process.argv.slice(2);
  const [, ...command] = words.includes("--helper") ? words.splice(words.indexOf("--helper"))
    : ["", "photos-helper"];
  if (words.length !== count || !command[0] || words.some((word) => /^$|^--/.test(word))) {
    console.error(`usage: ${usage}`);
    process.exit(2);
  }
  const helper = new PhotosHelper(command);
  process.once("SIGINT", () => helper.kill());  // What is under way fails, and cleans up.
  process.stdout.on("error", (error) => {  // Nobody reads on, as with "| head", or a full disk.
    if (error.code !== "EPIPE") console.error(visible(error.message));
    helper.kill();
    process.exitCode = 1;
  });
  try {
    await helper.authorize();
    process.exitCode ||= await main(helper, ...words);
  } catch (error) {
    if (!process.exitCode) console.error(explained(error));
    process.exitCode = 1;
  }
  await helper.close();
}
