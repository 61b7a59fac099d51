"""What a description has wait, stall or crash does so, and leaves what a host has to cope with; a
pipe takes what is exported. Crashes of deletions are in the tests of the hosts."""

import os
import select
import signal
import unittest

from programs import Case, Server, line, photo

DAY = 86400
TEXT = b"0123456789"
ORIGINAL = {"assetID": "A", "photoKitResourceType": 1}
EXPORT = line("export", **ORIGINAL, destination="copy")
RECLAIM = line("reclaim", assetIDs=["A"])
# A request, a resource's and a library's faults, what is copied of the resource.
WAITING = [
    (EXPORT, {"delay": DAY}, {}, b""),
    *[(EXPORT, {"failure": {"afterBytes": size, "stall": True}}, {}, TEXT[:size])
      for size in (0, 4, 10)],
    (RECLAIM, {}, {"deletion": {"success": True, "delay": DAY}}, None),
    (line("authorize"), {}, {"authorization": 0, "promptDelay": DAY}, None)]


class Faults(Case):
    def start(self, request, resource, **description):
        """Sends a request to a program on a new library of one asset with one resource."""
        self.start_afresh()
        (self.folder / "copy").unlink(missing_ok=True)
        self.create(photo("A", **{"text": TEXT.decode(), **resource}), **description)
        server = Server("Library", cwd=self.folder)
        self.addCleanup(server.communicate)
        self.addCleanup(server.kill)
        server.send(request)
        return server

    def copied(self):
        copy = self.folder / "copy"
        return copy.read_bytes() if copy.exists() else None

    def assert_waits(self, server, seconds=0.001):
        self.assertFalse(select.select([server.stdout], [], [], seconds)[0], "it has ended")

    def test_what_waits_or_stalls_has_done_no_more_than_it_should(self):
        for request, resource, description, copied in WAITING:
            with self.subTest(request=request, resource=resource):
                server = self.start(request, resource, **description)
                while self.copied() != copied:
                    self.assert_waits(server)
                self.assert_waits(server, 0.1)
                self.assertEqual((self.copied(), self.reclaimed()), (copied, set()))
                self.assertEqual(self.sim("access", "Library")[0],
                                 str(description.get("authorization", 3)))

    def test_a_pace_lets_a_file_grow_byte_by_byte(self):
        server = self.start(EXPORT, {"text": "x" * 300, "bytesPerSecond": 10})
        while len(self.copied() or b"") % 10 == 0:
            self.assert_waits(server)
        self.assert_waits(server, 0.1)
        self.assertLess(len(self.copied()), 300)

    def test_a_crash_kills_the_process_behind_the_bytes_that_it_is_described_at(self):
        server = self.start(EXPORT, {"failure": {"afterBytes": 4, "crash": True}})
        self.assertEqual(server.communicate()[0], b"")
        self.assertEqual((server.returncode, self.copied()), (-signal.SIGKILL, b"0123"))

    def test_the_network_can_be_taken_away_and_given_back(self):
        server = self.start(b"", {"cloud": True})
        for state, status in [("unreachable", "estimate_failed"), ("reachable", "estimated")]:
            self.sim("network", "Library", state)
            self.assertEqual(self.sim("network", "Library"), state + "\n")
            self.assertEqual(server.ask("estimate", **ORIGINAL)["status"], status)

    def test_a_pipe_takes_the_bytes_as_a_file_does(self):
        def reader():
            return os.fdopen(os.open(self.folder / "copy", os.O_RDONLY | os.O_NONBLOCK), "rb", 0)

        def begin(pipe):
            server.send(EXPORT)
            while not pipe.read(1):
                self.assert_waits(server)
        server = self.start(b"", {"text": "x" * 1_000_000})  # more than a pipe holds
        os.mkfifo(self.folder / "copy")
        server.send(EXPORT)
        self.assertIn("could not be opened", server.answer()["error"])
        with reader() as pipe:
            begin(pipe)
            self.assert_waits(server, 0.1)
            os.set_blocking(pipe.fileno(), True)
            self.assertEqual(len(pipe.read()), 999_999)
            self.assertEqual(server.answer()["bytes"], 1_000_000)
        with reader() as pipe:
            begin(pipe)
        self.assertIn("could not be written: Broken pipe", server.answer()["error"])
        self.assertTrue(server.ask("authorize")["ok"])


if __name__ == "__main__":
    unittest.main()
