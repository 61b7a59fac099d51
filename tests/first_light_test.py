"""packaging/macos/first-light against local libraries, and what it makes of a Mac's tools."""

import json
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[1]
SIM = pathlib.Path(os.environ["BUILD"]).resolve() / "photos-sim"
NEEDS_MAC = ["Signature, hardened runtime", "Photos entitlement", "Usage description inside",
             "Libraries of the system only", "Who was asked, by TCC's log"]
NAMES = ["9F983DBA", "Wedding", "Honeymoon", "1689360067", "2023-07"]


def library(**settings):
    resources = [{"type": 1, "originalFilename": "Wedding.HEIC", "text": "larger"},
                 {"type": 1, "originalFilename": "Honeymoon.JPG", "text": "small"}]
    return {"authorization": 3, "opensURLs": True, **settings, "assets": [
        {"localIdentifier": f"9F983DBA-{number}/L0/001", "creationDate": 1689360067 + number,
         "resources": [{**resource, "cloud": True}]} for number, resource in enumerate(resources)]}


class FirstLight(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.temporary = self.folder / "temporary"
        self.temporary.mkdir()
        self.environment = {**os.environ, "TMPDIR": str(self.temporary)}

    def served(self, description):
        """A helper that serves the described library."""
        file = self.folder / "description.json"
        file.write_text(json.dumps(description))
        subprocess.run([SIM, "create", self.folder / "Library", "--from", file], check=True)
        return [SIM, "serve", self.folder / "Library"]

    def start(self, *words, helper=()):
        self.report = self.folder / "report.md"
        command = [ROOT / "packaging/macos/first-light", "--report", self.report, *words]
        return subprocess.Popen([*command, *(["--helper", *helper] if helper else [])],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                env=self.environment)

    def end(self, process, status):
        """What standard error was told, and the rows of the report."""
        said, complaint = process.communicate()
        self.assertEqual(process.returncode, status, said + complaint)
        self.assertEqual(complaint.count("\n"), 0 if status == 0 else 1, complaint)
        self.assertEqual(list(self.temporary.iterdir()), [])
        report = self.report.read_text() if self.report.exists() else ""
        self.assertIn(said, report)
        for name in NAMES:
            self.assertNotIn(name, report + complaint)
        rows = [line.strip("| ").split(" | ") for line in report.splitlines()
                if line.startswith("| ")]
        return complaint, {row[0].strip(): (row[-2].strip(), row[-1]) for row in rows}

    def refused(self, part, *words, helper=()):
        complaint, rows = self.end(self.start(*words, helper=helper), 1)
        self.assertIn(part, complaint)
        return rows

    def test_exports_the_smallest_original_and_claims_nothing_of_macos(self):
        process = self.start("--open", helper=self.served(library()))
        _, rows = self.end(process, 0)
        self.assertEqual(rows["export"], ("5 bytes", "passed"))
        for check in ("authorize", "Digest of the copy", "open", "End with the input"):
            self.assertEqual(rows[check][1], "passed", check)
        for check in NEEDS_MAC:
            self.assertEqual(rows[check][1], "not checked here")
        self.assertEqual(rows["reclaim"][1], "left out")

    def test_lists_the_library_page_by_page(self):
        large = library()
        large["assets"] += [{**large["assets"][1], "localIdentifier": str(number)}
                            for number in range(499)]
        _, rows = self.end(self.start(helper=self.served(large)), 0)
        self.assertRegex(rows["discover, first page"][0], "^1 of 2: 500 ")
        self.assertRegex(rows["discover, last page"][0], "^2 of 2: 1 ")
        self.assertEqual(rows["discover, oldest first"], ("501 assets", "passed"))
        self.assertEqual(rows["open"][1], "left out")

    def test_says_what_is_in_the_way(self):
        self.refused("is denied", helper=self.served(library(authorization=2)))
        self.refused("this is for macOS")
        self.refused("can't be started", helper=[self.folder / "none"])
        self.assertIn("--helpr", self.end(self.start("--helpr"), 2)[0])

    def test_says_that_the_library_is_empty(self):
        self.refused("is empty", helper=self.served({"authorization": 3}))

    def test_says_what_the_helper_said_of_originals_in_the_cloud(self):
        rows = self.refused("is held in the cloud",
                            helper=self.served(library(networkReachable=False)))
        self.assertEqual(rows["estimate"], ("0 of 2 could be read", "FAILED"))
        self.assertRegex(rows["export"][0], "^export_failed: .*in the cloud")
        self.assertEqual(rows["Digest of the copy"][1], "not reached")

    def test_says_that_the_helper_has_gone(self):
        rows = self.refused("no usage description", helper=["sh", "-c", "read line; kill -9 $$"])
        self.assertRegex(rows["authorize"][0], "ended by signal 9")
        granted = """read line; echo '{"ok":true,"status":"authorized"}'; read line; exit 3"""
        self.refused("with status 3 and without an answer to discover",
                     helper=["sh", "-c", granted])
        self.refused("is no answer", helper=["echo", "hello"])

    def test_leaves_nothing_behind_when_interrupted(self):
        started = self.folder / "started"
        process = self.start(helper=["sh", "-c", f"read line; echo $$ >{started}; exec sleep 1000"])
        while not (started.exists() and started.read_text()):
            self.assertIsNone(process.poll())
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        self.assertIn("interrupted", self.end(process, 130)[0])
        self.assertRaises(ProcessLookupError, os.kill, int(started.read_text()), 0)

    def be_a_mac(self, **tools):
        """Commands stand before the system's that say what a Mac's would say."""
        tools = {"uname": "echo Darwin", "xcode-select": "", "clang": "echo Apple clang version 17",
                 "codesign": "echo 'flags=0x10002(adhoc,runtime)'; "
                             "echo com.apple.security.personal-information.photos-library",
                 "otool": "printf 'helper:\\n\\t/usr/lib/libc++.1.dylib (x)\\n'; "
                          "echo NSPhotoLibraryUsageDescription",
                 "log": "echo '2023-07-14 tccd[1] kTCCServicePhotos /Users/Wedding/x'", **tools}
        fakes = self.folder / "fakes"
        fakes.mkdir(exist_ok=True)
        for name, script in tools.items():
            (fakes / name).write_text(f"#!/bin/sh\n{script}\n")
            (fakes / name).chmod(0o755)
        (self.folder / "sitecustomize.py").write_text(
            "import platform\nplatform.system = lambda: 'Darwin'\n")
        self.environment.update(PATH=f"{fakes}:{os.environ['PATH']}", PYTHONPATH=str(self.folder))

    def test_checks_the_program_on_a_mac(self):
        helper = self.served(library())
        self.be_a_mac()
        _, rows = self.end(self.start(helper=helper), 0)
        for check in NEEDS_MAC:
            self.assertEqual(rows[check][1], "passed", check)
        self.be_a_mac(codesign="echo 'flags=0x2(adhoc)'", log="exit 1",
                      otool="printf 'helper:\\n\\t/opt/homebrew/lib/libboost.dylib (x)\\n'")
        rows = self.refused("not all", helper=helper)
        self.assertEqual([rows[check][1] for check in NEEDS_MAC],
                         4 * ["FAILED"] + ["not checked here"])

    def test_says_what_a_mac_lacks(self):
        self.be_a_mac(**{"xcode-select": "exit 2"})
        self.refused("command line tools are missing")
        self.be_a_mac()
        self.refused("Homebrew is missing")
        self.be_a_mac(brew="", clang="echo Apple clang version 15.0.0")
        self.refused("Xcode 16 or newer")


if __name__ == "__main__":
    unittest.main()
