"""packaging/macos/first-light against local libraries, and what it makes of a Mac's tools."""

import os
import pathlib
import subprocess
import tempfile
import unittest

from programs import ROOT, SIM, Case, photo

NEEDS_MAC = ["Signature, hardened runtime", "Photos entitlement", "Usage description inside",
             "Libraries of the system only", "Who was asked, by TCC's log"]
NAMES = ["9F983DBA", "Wedding", "Honeymoon", "1689360067", "2023-07"]
ASSETS = [{**photo(f"9F983DBA-{number}/L0/001", originalFilename=name, text=text, cloud=True),
           "creationDate": 1689360067 + number}
          for number, (name, text) in enumerate(500 * [("Honeymoon.JPG", "small")] +
                                                [("Wedding.HEIC", "larger")])]
# What a Mac's tools would say.
TOOLS = {"uname": "echo Darwin", "xcode-select": "", "clang": "echo Apple clang version 17",
         "codesign": "echo 'flags=0x10002(adhoc,runtime)'; "
                     "echo com.apple.security.personal-information.photos-library",
         "otool": "printf 'helper:\\n\\t/usr/lib/libc++.1.dylib (x)\\n'; "
                  "echo NSPhotoLibraryUsageDescription",
         "log": "echo '2023-07-14 tccd[1] kTCCServicePhotos /Users/Wedding/x'"}


class FirstLight(Case):
    def first_light(self, status, complaint, *words, library=None, helper=(), tools=None):
        """Runs it on a helper, or on one that serves the library; gives the report's rows."""
        path = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        (path / "temporary").mkdir()
        environment = {**os.environ, "TMPDIR": str(path / "temporary")}
        if library is not None:
            self.create(library=path / "Library", **{"assets": ASSETS[-2:], **library})
            helper = [SIM, "serve", path / "Library"]
        if tools is not None:
            for name, script in {**TOOLS, **tools}.items():
                (path / name).write_text(f"#!/bin/sh\n{script}\n")
                (path / name).chmod(0o755)
            (path / "sitecustomize.py").write_text(
                "import platform\nplatform.system = lambda: 'Darwin'\n")
            environment.update(PATH=f"{path}:{os.environ['PATH']}", PYTHONPATH=str(path))
        done = subprocess.run([ROOT / "packaging/macos/first-light", "--report", path / "report.md",
                               *words, *(["--helper", *helper] if helper else [])],
                              capture_output=True, text=True, env=environment, check=False)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        self.assertRegex(done.stderr, f"^.*{complaint}.*\n$" if complaint else "^$")
        self.assertEqual(list((path / "temporary").iterdir()), [])
        report = (path / "report.md").read_text() if (path / "report.md").exists() else ""
        self.assertIn(done.stdout, report)
        for name in NAMES:
            self.assertNotIn(name, report + done.stderr)
        cells = [line.strip("| ").split(" | ") for line in report.splitlines() if line[:2] == "| "]
        return {row[0].strip(): (row[-2].strip(), row[-1]) for row in cells}

    def test_exports_the_smallest_original_and_claims_nothing_of_macos(self):
        rows = self.first_light(0, "", "--open", library={"assets": ASSETS, "opensURLs": True})
        self.assertRegex(rows["discover, first page"][0], "^1 of 2: 500 ")
        self.assertRegex(rows["discover, last page"][0], "^2 of 2: 1 ")
        self.assertEqual(rows["discover, oldest first"], ("501 assets", "passed"))
        self.assertEqual(rows["export"], ("5 bytes", "passed"))
        for result, checks in [
                ("passed", ["authorize", "Digest of the copy", "open", "End with the input"]),
                ("not checked here", NEEDS_MAC), ("left out", ["reclaim"])]:
            self.assertEqual({rows[check][1] for check in checks}, {result})

    def test_says_what_is_in_the_way(self):
        granted = """read line; echo '{"ok":true,"status":"authorized"}'; read line; exit 3"""
        for complaint, way in {
                "is denied": {"library": {"authorization": 2}},
                "is empty": {"library": {"assets": []}},
                "this is for macOS": {},
                "can't be started": {"helper": ["/none"]},
                "is no answer": {"helper": ["echo", "hello"]},
                "with status 3 and without an answer to discover": {
                    "helper": ["sh", "-c", granted]},
                "command line tools are missing": {"tools": {"xcode-select": "exit 2"}},
                "Homebrew is missing": {"tools": {}},
                "Xcode 16 or newer": {
                    "tools": {"brew": "", "clang": "echo Apple clang version 15.0.0"}}}.items():
            self.first_light(1, complaint, **way)
        self.first_light(2, "--helpr", "--helpr")
        rows = self.first_light(1, "is held in the cloud", library={"networkReachable": False})
        self.assertEqual(rows["estimate"], ("0 of 2 could be read", "FAILED"))
        self.assertRegex(rows["export"][0], "^export_failed: .*in the cloud")
        self.assertEqual(rows["Digest of the copy"][1], "not reached")
        rows = self.first_light(1, "no usage description",
                                helper=["sh", "-c", "read x; kill -9 $$"])
        self.assertRegex(rows["authorize"][0], "ended by signal 9")

    def test_leaves_nothing_behind_when_interrupted(self):
        process = tempfile.NamedTemporaryFile()
        # Both signals are pending when it goes on.
        signals = "; ".join(f"kill -{name} $PPID" for name in ("STOP", "INT", "TERM", "CONT"))
        self.first_light(130, "interrupted", helper=[
            "sh", "-c", f"read line; echo $$ >{process.name}; {signals}; exec sleep 1000"])
        self.assertRaises(ProcessLookupError, os.kill, int(process.read()), 0)

    def test_checks_the_program_on_a_mac(self):
        rows = self.first_light(0, "", library={}, tools={})
        self.assertEqual(rows["open"][1], "left out")
        self.assertEqual([rows[check][1] for check in NEEDS_MAC], 5 * ["passed"])
        rows = self.first_light(1, "not all", library={}, tools={
            "codesign": "echo 'flags=0x2(adhoc)'", "log": "exit 1",
            "otool": "printf 'helper:\\n\\t/opt/homebrew/lib/libboost.dylib (x)\\n'"})
        self.assertEqual([rows[check][1] for check in NEEDS_MAC],
                         4 * ["FAILED"] + ["not checked here"])


if __name__ == "__main__":
    unittest.main()
