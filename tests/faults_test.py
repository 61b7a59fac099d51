"""What a description has wait, stall and crash does so, and leaves what a host has to cope with."""

import json
import os
import pathlib
import select
import signal
import subprocess
import tempfile
import unittest

SIM = pathlib.Path(os.environ["BUILD"]).resolve() / "photos-sim"


class Faults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def sim(self, *words):
        return subprocess.run([SIM, *words], cwd=self.folder, check=True, capture_output=True,
                              text=True).stdout

    def make(self, resource=None, **description):
        """A library of one asset with one resource, in place of what was there."""
        resource = {"type": 1, "originalFilename": "a.jpg", "text": "0123456789", **(resource or {})}
        asset = {"localIdentifier": "A", "creationDate": 1, "resources": [resource]}
        (self.folder / "description.json").write_text(
            json.dumps({"authorization": 3, "assets": [asset], **description}))
        subprocess.run(["rm", "-rf", "Library", "copy"], cwd=self.folder, check=True)
        self.sim("create", "Library", "--from", "description.json")

    def start(self, command, **fields):
        """Sends one request to a program that has just been started on the library."""
        program = subprocess.Popen([SIM, "serve", "Library"], cwd=self.folder, bufsize=0,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.end, program)
        program.stdin.write(json.dumps({"command": command, **fields}).encode() + b"\n")
        return program

    def end(self, program):
        program.kill()
        program.wait()
        program.stdin.close()
        program.stdout.close()

    def export(self):
        return self.start("export", assetID="A", photoKitResourceType=1, destination="copy")

    def wait_for(self, program, size):
        """Looks until the destination has at least that size; no answer may come meanwhile."""
        while True:
            copy = self.folder / "copy"
            length = copy.stat().st_size if copy.exists() else 0
            self.assertFalse(select.select([program.stdout], [], [], 0.001)[0], "an answer")
            if length >= size:
                return length

    def status(self, program):
        return json.loads(program.stdout.readline())["status"]

    def assert_killed(self, program):
        self.assertEqual(program.stdout.read(), b"")
        self.assertEqual(program.wait(), -signal.SIGKILL)

    def assert_waits(self, program):
        self.assertFalse(select.select([program.stdout], [], [], 0.1)[0], "an answer, or the end")

    def reclaimed(self):
        return self.sim("recently-deleted", "Library") != ""

    def test_a_pace_lets_a_file_grow(self):
        self.make({"text": "x" * 100_000, "bytesPerSecond": 100})  # hours
        program = self.export()
        for size in [1, 11, 21]:
            length = self.wait_for(program, size)
            self.assertEqual(length % 10, 0, "chunks of a tenth of a second")
            self.assertLess(length, 100_000)
        self.make({"bytesPerSecond": 100})
        self.assertEqual(self.status(self.export()), "exported")
        self.assertEqual((self.folder / "copy").read_text(), "0123456789")

    def test_a_delayed_resource_has_its_file_before_its_first_byte(self):
        self.make({"delay": 86400})
        program = self.export()
        while not (self.folder / "copy").exists():
            self.assertIsNone(program.poll())
        self.assert_waits(program)
        self.assertEqual((self.folder / "copy").stat().st_size, 0)
        self.make({"delay": 0.01})
        self.assertEqual(self.status(self.export()), "exported")

    def test_a_stalled_delivery_never_ends(self):
        for size in [0, 4, 10]:
            self.make({"failure": {"afterBytes": size, "stall": True}})
            program = self.export()
            self.assertEqual(self.wait_for(program, size), size)
            program.stdin.close()
            self.assert_waits(program)
            self.assertEqual((self.folder / "copy").stat().st_size, size)

    def test_a_crash_ends_the_process_where_it_is_described(self):
        self.make({"failure": {"afterBytes": 4, "crash": True}})
        self.assert_killed(self.export())
        self.assertEqual((self.folder / "copy").read_text(), "0123")
        self.assert_killed(self.start("estimate", assetID="A", photoKitResourceType=1))

    def test_a_deletion_crashes_before_or_after_it_is_on_disk(self):
        for crash in ["before", "after"]:
            self.make(deletion={"success": True, "crash": crash})
            self.assert_killed(self.start("reclaim", assetIDs=["A"]))
            self.assertEqual(self.reclaimed(), crash == "after")

    def test_a_deletion_and_a_prompt_can_take_their_time(self):
        self.make(deletion={"success": True, "delay": 86400})
        self.assert_waits(self.start("reclaim", assetIDs=["A"]))
        self.assertFalse(self.reclaimed())
        self.make(authorization=0, promptDelay=86400)
        self.assert_waits(self.start("authorize"))
        self.assertTrue(self.sim("access", "Library").startswith("0 "))
        self.make(authorization=0, promptDelay=0.05, deletion={"success": True, "delay": 0.05})
        program = self.start("authorize")
        self.assertEqual(self.status(program), "authorized")
        program.stdin.write(b'{"command":"reclaim","assetIDs":["A"]}\n')
        self.assertEqual(self.status(program), "moved_to_recently_deleted")

    def test_the_network_can_be_taken_away_and_given_back(self):
        self.make({"cloud": True})
        program = self.export()
        self.assertEqual(self.status(program), "exported")
        for state, status in [("unreachable", "estimate_failed"), ("reachable", "estimated")]:
            self.sim("network", "Library", state)
            self.assertEqual(self.sim("network", "Library"), state + "\n")
            program.stdin.write(b'{"command":"estimate","assetID":"A","photoKitResourceType":1}\n')
            self.assertEqual(self.status(program), status)


if __name__ == "__main__":
    unittest.main()
