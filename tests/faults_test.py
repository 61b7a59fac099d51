"""What a description has wait, stall or crash does so, and leaves what a host has to cope with."""

import json
import os
import pathlib
import select
import shutil
import signal
import subprocess
import tempfile
import unittest

SIM = pathlib.Path(os.environ["BUILD"]).resolve() / "photos-sim"
DAY = 86400
ESTIMATE = b'{"command":"estimate","assetID":"A","photoKitResourceType":1}\n'
EXPORT = b'{"command":"export","assetID":"A","photoKitResourceType":1,"destination":"copy"}\n'
RECLAIM = b'{"command":"reclaim","assetIDs":["A"]}\n'
AUTHORIZE = b'{"command":"authorize"}\n'


class Faults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.copy = self.folder / "copy"

    def sim(self, *words):
        return subprocess.run([SIM, *words], cwd=self.folder, check=True, capture_output=True,
                              text=True).stdout

    def start(self, request, resource=None, **description):
        """Sends a request to a program on a new library of one asset with one resource."""
        asset = {"localIdentifier": "A", "creationDate": 1, "resources": [
            {"type": 1, "originalFilename": "a.jpg", "text": "0123456789", **(resource or {})}]}
        (self.folder / "description.json").write_text(
            json.dumps({"authorization": 3, "assets": [asset], **description}))
        shutil.rmtree(self.folder / "Library", ignore_errors=True)
        self.copy.unlink(missing_ok=True)
        self.sim("create", "Library", "--from", "description.json")
        program = subprocess.Popen([SIM, "serve", "Library"], cwd=self.folder, bufsize=0,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE)

        def end():
            program.kill()
            program.communicate()
        self.addCleanup(end)
        program.stdin.write(request)
        return program

    def status(self, program):
        return json.loads(program.stdout.readline())["status"]

    def assert_waits(self, program, seconds=0.1):
        self.assertFalse(select.select([program.stdout], [], [], seconds)[0], "it has ended")

    def assert_killed(self, program):
        self.assertEqual(program.stdout.read(), b"")
        self.assertEqual(program.wait(), -signal.SIGKILL)

    def length_from(self, program, least):
        """The length of the copy, once it has at least so many bytes, before any answer."""
        while not self.copy.exists() or self.copy.stat().st_size < least:
            self.assert_waits(program, 0.001)
        return self.copy.stat().st_size

    def test_a_pace_lets_a_file_grow(self):
        program = self.start(EXPORT, {"text": "x" * 300, "bytesPerSecond": 10})
        while self.length_from(program, 1) % 10 == 0:  # bytes come one by one
            self.assert_waits(program, 0.001)
        self.assert_waits(program)
        self.assertLess(self.copy.stat().st_size, 300)
        self.assertEqual(self.status(self.start(EXPORT, {"bytesPerSecond": 100})), "exported")
        self.assertEqual(self.copy.read_text(), "0123456789")

    def test_a_delay_comes_before_the_first_byte(self):
        program = self.start(EXPORT, {"delay": DAY})
        self.length_from(program, 0)
        self.assert_waits(program)
        self.assertEqual(self.copy.stat().st_size, 0)
        self.assertEqual(self.status(self.start(EXPORT, {"delay": 0.01})), "exported")

    def test_a_stalled_delivery_never_ends(self):
        for size in [0, 4, 10]:
            program = self.start(EXPORT, {"failure": {"afterBytes": size, "stall": True}})
            self.length_from(program, size)
            self.assert_waits(program)
            self.assertEqual(self.copy.stat().st_size, size)

    def test_a_crash_ends_the_process_where_it_is_described(self):
        resource = {"failure": {"afterBytes": 4, "crash": True}}
        self.assert_killed(self.start(EXPORT, resource))
        self.assertEqual(self.copy.read_text(), "0123")
        self.assert_killed(self.start(ESTIMATE, resource))

    def test_a_deletion_crashes_before_or_after_it_is_on_disk(self):
        for crash in ["before", "after"]:
            self.assert_killed(self.start(RECLAIM, deletion={"success": True, "crash": crash}))
            self.assertEqual(self.sim("recently-deleted", "Library") != "", crash == "after")

    def test_a_deletion_and_a_prompt_take_their_time(self):
        self.assert_waits(self.start(RECLAIM, deletion={"success": True, "delay": DAY}))
        self.assertEqual(self.sim("recently-deleted", "Library"), "")
        self.assert_waits(self.start(AUTHORIZE, authorization=0, promptDelay=DAY))
        self.assertTrue(self.sim("access", "Library").startswith("0 "))
        program = self.start(AUTHORIZE, authorization=0, promptDelay=0.01,
                             deletion={"success": True, "delay": 0.01})
        self.assertEqual(self.status(program), "authorized")
        program.stdin.write(RECLAIM)
        self.assertEqual(self.status(program), "moved_to_recently_deleted")

    def test_the_network_can_be_taken_away_and_given_back(self):
        program = self.start(EXPORT, {"cloud": True})
        self.assertEqual(self.status(program), "exported")
        for state, status in [("unreachable", "estimate_failed"), ("reachable", "estimated")]:
            self.sim("network", "Library", state)
            self.assertEqual(self.sim("network", "Library"), state + "\n")
            program.stdin.write(ESTIMATE)
            self.assertEqual(self.status(program), status)


if __name__ == "__main__":
    unittest.main()
