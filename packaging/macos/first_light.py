"""The work of packaging/macos/first-light, for the Python 3.9 of the command line tools or later.

The table and the report have no file names, no identifiers and no dates of the user's photos.
"""

import argparse
import collections
import json
import os
import pathlib
import platform
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
IS_MACOS = platform.system() == "Darwin"
PASSED, FAILED, NOT_HERE, LEFT_OUT = "passed", "FAILED", "not checked here", "left out"
PAGE = 500
CANDIDATES = 10
LOG_LINES = 20
PHOTO = 1
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

BUILD, SIGNATURE, ENTITLEMENT = "Build", "Signature, hardened runtime", "Photos entitlement"
DESCRIPTION, LIBRARIES = "Usage description inside", "Libraries of the system only"
AUTHORIZE, ASKED = "authorize", "Who was asked, by TCC's log"
PAGES = ["discover, first page", "discover, middle page", "discover, last page"]
DISCOVER, ESTIMATE, EXPORT = "discover, oldest first", "estimate", "export"
DIGEST, OPEN, RECLAIM, END = "Digest of the copy", "open", "reclaim", "End with the input"
CHECKS = [BUILD, SIGNATURE, ENTITLEMENT, DESCRIPTION, LIBRARIES, AUTHORIZE, ASKED, *PAGES, DISCOVER,
          ESTIMATE, EXPORT, DIGEST, OPEN, RECLAIM, END]

REFUSALS = {
    "authorization_0": "nobody has answered the question for access; run this again and answer it",
    "authorization_1": "access to the Photos library is restricted on this machine, or there is no "
                       "library",
    "authorization_2": "access to the Photos library is denied; allow it for the application that "
                       "you started this from (System Settings, Privacy & Security, Photos), then "
                       "run this again",
}


class Problem(Exception):
    """What ends the run, in one line."""


class Interrupted(BaseException):
    """A signal has come: its number."""


def leave_alone():
    """Not with SIG_IGN: Python writes about a signal that was pending when it was ignored."""
    for number in SIGNALS:
        signal.signal(number, lambda *_: None)


def interrupt(number, _):
    leave_alone()
    raise Interrupted(number)


def in_one_line(text):
    return " ".join(str(text).split())


def tell(text):
    """Says what takes its time, to a person who waits."""
    if sys.stderr.isatty():
        print(f"{text} ...", file=sys.stderr)


def output(*command):
    """Whether the command succeeded, and all that it said."""
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              check=False)
    except OSError as error:
        return False, str(error)
    return done.returncode == 0, done.stdout.decode(errors="replace").strip()


class Helper:
    """A helper that is asked one request at a time."""

    def __init__(self, command):
        try:
            self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        except OSError as error:
            raise Problem(f"the helper can't be started: {error}") from error

    def ask(self, command, **fields):
        try:
            self.process.stdin.write(json.dumps({"command": command, **fields}).encode() + b"\n")
            self.process.stdin.flush()
        except BrokenPipeError:
            pass
        line = self.process.stdout.readline()
        if not line.endswith(b"\n"):
            raise Problem(self.death(command))
        try:
            answer = json.loads(line)
            answer["status"]
        except (ValueError, TypeError, KeyError):
            raise Problem(f"what the helper answered to {command} is no answer") from None
        return answer

    def death(self, command):
        status = self.process.wait()
        end = f"by signal {-status}" if status < 0 else f"with status {status}"
        text = f"the helper ended {end} and without an answer to {command}"
        if command == "authorize":
            text += ("; macOS ends it there when the application that it was started from has no "
                     'usage description for photos: see "Who is asked" in docs/macos.md')
        return text

    def end(self):
        """The exit status after the input has ended."""
        self.process.stdin.close()
        return self.process.wait()

    def kill(self):
        self.process.kill()
        self.process.wait()


class FirstLight:
    def __init__(self, options):
        self.options = options
        self.results = {}
        self.names = []
        self.helper = None
        self.folder = None

    def note(self, check, seen, result=PASSED):
        self.results[check] = (in_one_line(seen), result)

    def fail(self, check, seen, problem):
        self.note(check, seen, FAILED)
        raise Problem(problem)

    def ask(self, check, command, **fields):
        try:
            return self.helper.ask(command, **fields)
        except Problem as problem:
            self.note(check, str(problem), FAILED)
            raise

    def run(self):
        program = self.options.helper or [self.build()]
        if IS_MACOS:
            self.check_program(shutil.which(program[0]) or program[0])
        else:
            for check in (SIGNATURE, ENTITLEMENT, DESCRIPTION, LIBRARIES, ASKED):
                self.note(check, "needs macOS", NOT_HERE)
        self.folder = tempfile.mkdtemp(prefix="first-light-")
        self.helper = Helper(program)
        self.authorize()
        candidates = self.discover()
        self.export(*self.estimate(candidates))
        self.note(RECLAIM, "would change the library", LEFT_OUT)
        status = self.helper.end()
        self.note(END, f"status {status}", PASSED if status == 0 else FAILED)

    def clean_up(self):
        if self.helper:
            self.helper.kill()
        if self.folder:
            shutil.rmtree(self.folder, ignore_errors=True)

    def build(self):
        if not IS_MACOS:
            raise Problem("this is for macOS; elsewhere name a helper to ask, with --helper")
        if not shutil.which("brew"):
            raise Problem("Homebrew is missing; install it from brew.sh, then run this again")
        compiler = output("clang", "--version")[1].partition("\n")[0]
        version = re.match(r"Apple clang version (\d+)", compiler)
        if version and int(version[1]) < 16:
            raise Problem(f"Xcode 16 or newer is needed, and this is {version[0]}; update Xcode or "
                          "its command line tools, then run this again")
        log = ROOT / "build" / "first-light-build.log"
        log.parent.mkdir(exist_ok=True)
        tell("Building (a few minutes the first time)")
        with log.open("w") as file:
            for command in (["scripts/set_up", "build"], ["cmake", "--preset", "release"],
                            ["cmake", "--build", "--preset", "release"]):
                if subprocess.run(command, cwd=ROOT, stdout=file, stderr=file,
                                  check=False).returncode != 0:
                    raise Problem(f"\"{' '.join(command)}\" failed; {log} says why")
        self.note(BUILD, compiler)
        return str(ROOT / "build" / "release" / "photos-helper")

    def check_program(self, program):
        is_valid, said = output("codesign", "--verify", "--strict", program)
        fault = said.partition("\n")[0].rpartition(": ")[2]
        flags = re.search(r"flags=\S+", output("codesign", "--display", "--verbose=2", program)[1])
        is_hardened = flags is not None and "runtime" in flags[0]
        self.note(SIGNATURE, flags[0] if is_valid and flags else fault,
                  PASSED if is_valid and is_hardened else FAILED)
        for check, key, command in (
                (ENTITLEMENT, "com.apple.security.personal-information.photos-library",
                 ["codesign", "--display", "--entitlements", "-", program]),
                (DESCRIPTION, "NSPhotoLibraryUsageDescription", ["otool", "-P", program])):
            is_there = key in output(*command)[1]
            self.note(check, key if is_there else f"no {key}", PASSED if is_there else FAILED)
        found, listed = output("otool", "-L", program)
        libraries = set(re.findall(r"^\t(\S+)", listed, re.MULTILINE))
        others = [name for name in libraries if not name.startswith(("/usr/lib/", "/System/"))]
        self.note(LIBRARIES, f"{len(libraries)}, of which {len(others)} of others",
                  PASSED if found and libraries and not others else FAILED)

    def authorize(self):
        tell("Asking for access: answer the question if your Mac asks one")
        try:
            status = self.ask(AUTHORIZE, "authorize")["status"]
        finally:
            if IS_MACOS:
                self.read_log()
        if status != "authorized":
            self.fail(AUTHORIZE, status, REFUSALS.get(status, f"access was refused with {status}"))
        self.note(AUTHORIZE, status)

    def read_log(self):
        could_read, log = output("log", "show", "--last", "5m", "--style", "compact",
                                 "--predicate", 'subsystem == "com.apple.TCC"')
        # Without the moment, and without the names of the user's folders.
        lines = [re.sub(r"/(Users|Volumes|private)/[^,}\"]*", "…", line.partition("] ")[2])
                 for line in log.splitlines() if "photos" in line.lower()]
        seen = "; ".join(list(dict.fromkeys(lines))[:LOG_LINES]) or "nothing about photos"
        self.note(ASKED, seen if could_read else "the log can't be read",
                  PASSED if could_read and lines else NOT_HERE)

    def discover(self):
        """Of the newest originals, which are the likeliest to be on this Mac; photos if any."""
        tell("Listing the library")
        photos, others = (collections.deque(maxlen=CANDIDATES) for _ in range(2))
        pages, assets, last = [], 0, {"assetID": None, "createdAt": float("-inf")}
        offset, in_order = 0, True
        while offset is not None:
            begin = time.monotonic()
            page = self.ask(DISCOVER, "discover", offset=offset, limit=PAGE)
            seconds = time.monotonic() - begin
            if page["status"] != "discovered":
                self.fail(DISCOVER, page["status"], f"discover was answered {page['status']}")
            pages.append(f"{len(page['assets'])} resources in {seconds:.3f} s")
            for asset in page["assets"]:
                in_order = in_order and last["createdAt"] <= asset["createdAt"]
                assets += asset["assetID"] != last["assetID"]
                last = asset
                is_photo = asset["photoKitResourceType"] == PHOTO and not asset["isRaw"]
                (photos if is_photo else others).append(asset)
            if page.get("nextOffset", offset + 1) <= offset:
                self.fail(DISCOVER, "no way on", "the helper's nextOffset does not lead on")
            offset = page.get("nextOffset")
        for check, index in zip(PAGES, (0, len(pages) // 2, len(pages) - 1)):
            self.note(check, f"{index + 1} of {len(pages)}: {pages[index]}")
        self.note(DISCOVER, f"{assets} assets", PASSED if in_order else FAILED)
        if assets == 0:
            self.fail(DISCOVER, "an empty library", "the library is empty: there is no photo or "
                      "video in it to export")
        return list(photos or others)

    def estimate(self, candidates):
        """The smallest of them and its size; without a size, one that could not be read."""
        tell("Reading the sizes of a few originals")
        sizes = {}
        for number, asset in enumerate(candidates):
            self.names += [asset["assetID"], asset["filename"]]
            answer = self.ask(ESTIMATE, "estimate", assetID=asset["assetID"],
                              photoKitResourceType=asset["photoKitResourceType"])
            if answer["status"] == "estimated":
                sizes[number] = answer["bytes"]
        smallest = min(sizes, key=sizes.get, default=-1)
        self.note(ESTIMATE, f"{len(sizes)} of {len(candidates)} could be read",
                  PASSED if sizes else FAILED)
        return candidates[smallest], sizes.get(smallest)

    def export(self, asset, size):
        copy = pathlib.Path(self.folder) / "original"
        self.names.append(str(copy))
        answer = self.ask(EXPORT, "export", assetID=asset["assetID"], destination=str(copy),
                          photoKitResourceType=asset["photoKitResourceType"])
        if answer["status"] != "exported":
            said = self.without_names(answer.get("error", "nothing more"))
            self.fail(EXPORT, f"{answer['status']}: {said}", "an original could not be exported "
                      f"({answer['status']}); the helper said: {said}")
        is_whole = copy.exists() and answer["bytes"] == size == copy.stat().st_size
        self.note(EXPORT, f"{answer['bytes']} bytes", PASSED if is_whole else FAILED)
        tool = ["shasum", "-a", "256"] if shutil.which("shasum") else ["sha256sum"]
        is_right = output(*tool, str(copy))[1].startswith(answer["sha256"] + " ")
        self.note(DIGEST, f"{'as' if is_right else 'not as'} {tool[0]} has it",
                  PASSED if is_right else FAILED)
        if not self.options.open:
            self.note(OPEN, "asked for with --open", LEFT_OUT)
            return
        answer = self.ask(OPEN, "open", assetID=asset["assetID"])
        self.note(OPEN, answer["status"], PASSED if answer["ok"] else FAILED)

    def without_names(self, text):
        names = [part for name in self.names
                 for part in (name, name.partition("/")[0], os.path.splitext(name)[0])]
        for name in sorted(names, key=len, reverse=True):
            text = text.replace(name, "…") if len(name) > 2 else text
        return re.sub('“[^”]*”|"[^"]*"', "“…”", text)

    def table(self):
        rows = [("Checked", "Seen", "Result"), ("---", "---", "---")]
        rows += [(check, *self.results.get(check, ("", "not reached"))) for check in CHECKS]
        width = max(len(check) for check in CHECKS)
        return "".join(f"| {check:{width}} | {seen.replace('|', '/')} | {result} |\n"
                       for check, seen, result in rows)


class Parser(argparse.ArgumentParser):
    def error(self, message):
        self.exit(2, f"first-light: {message}; see packaging/macos/first-light --help\n")


def options():
    parser = Parser(prog="first-light", allow_abbrev=False, description=(
        "Builds the helper, checks what was built, and asks the Photos library, reading only. "
        "Prints what was checked, what was seen, passed or not. Exits with status 1 unless all "
        "passed that can be checked here."))
    parser.add_argument("--report", metavar="FILE", type=pathlib.Path,
                        help="write the same to FILE, without names or dates of yours")
    parser.add_argument("--open", action="store_true",
                        help="also show the exported original in the Photos application")
    parser.add_argument("--helper", metavar="COMMAND", nargs=argparse.REMAINDER,
                        help="ask this helper, the rest of the line, instead of building one")
    chosen = parser.parse_args()
    if chosen.helper == []:
        parser.error("--helper needs a command")
    return chosen


def main():
    chosen = options()
    light = FirstLight(chosen)
    if chosen.helper:
        light.note(BUILD, "another helper was named", LEFT_OUT)
    status, complaint = 0, None
    try:
        for number in SIGNALS:
            signal.signal(number, interrupt)
        light.run()
    except Problem as problem:
        status, complaint = 1, problem
    except (KeyError, TypeError) as error:
        status, complaint = 1, f"an answer of the helper is not of the protocol: {error!r}"
    except Interrupted as interrupted:
        status, complaint = 128 + interrupted.args[0], "interrupted"
    finally:
        leave_alone()
        light.clean_up()
    table = light.table()
    results = {result for _, result in light.results.values()}
    if results & {PASSED, FAILED}:
        print(table, end="")
    if FAILED in results and not complaint:
        status, complaint = 1, "not all that was checked passed: the table says what failed"
    if chosen.report:
        system = f"{platform.system()} {platform.mac_ver()[0] or platform.release()}"
        try:
            chosen.report.write_text(f"# First light\n\n{system}, {platform.machine()}\n\n{table}",
                                     encoding="utf-8")
        except OSError as error:
            status, complaint = 1, f"the report can't be written: {error}"
    if complaint:
        print(f"first-light: {in_one_line(complaint)}", file=sys.stderr)
    sys.exit(status)


if __name__ == "__main__":
    main()
