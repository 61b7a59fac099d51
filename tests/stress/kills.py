"""Programs killed amid the changes that they make to files, and at any moment by the clock: the
library stays whole, and the same command does the rest."""

import json
import os
import random
import signal
import subprocess
import time
import unittest

from programs import AUTHORIZED, KILLER, ROUNDS, SIM, TRIED, Case, Server, line


class Kills(Case):

    def each_kill(self, words, check, requests=b""):
        """Runs the command on the same library each time, killed ever later until it is done, then
        at moments by the clock. Tells `check` whether it was done, and its output."""
        number, done, took = 0, False, 0.0
        while not done:
            number += 1 + number // (100 if ROUNDS else 4)
            done, took, output = self.run_killed(words, requests, KILL_AT_WRITE=str(number),
                                                 LD_PRELOAD=str(KILLER))
            with self.subTest(number=number):
                check(done, output)
            TRIED["kills at a change"] += not done
        self.assertGreater(number, 3, "nothing was killed")
        for _ in range(ROUNDS or 3):
            moment = random.uniform(0, took)
            done, _, output = self.run_killed(words, requests, moment)
            with self.subTest(moment=moment):
                check(done, output)
            TRIED["kills by the clock"] += not done

    def run_killed(self, words, requests, moment=None, **environment):
        """Whether it was done before it was killed, the seconds that it ran, and its output."""
        self.start_afresh()
        began = time.monotonic()
        with subprocess.Popen([SIM, *words], cwd=self.folder, env={**os.environ, **environment},
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL) as process:
            try:
                output, _ = process.communicate(requests, moment)
            except subprocess.TimeoutExpired:
                process.kill()
                output, _ = process.communicate()
        took = time.monotonic() - began
        self.assertIn(process.returncode, (0, -signal.SIGKILL))
        return process.returncode == 0, took, output

    def import_killed(self, before, count):
        photos, added = self.make_photos("second", count)

        def check(done, _):
            if self.library.exists():
                self.sim("access", self.library, AUTHORIZED)
                held = self.assert_whole()
                self.assertLessEqual(before | added if done else before, held)
                self.assertLessEqual(held, before | added)
            self.assertTrue(self.library.exists() or not done and not before)
            self.sim("import", self.library, photos)
            self.sim("access", self.library, AUTHORIZED)
            self.assertEqual(self.assert_whole(), before | added)
            self.assertEqual(self.rows("SELECT count(*) FROM asset"), [(len(before | added),)])
            self.assert_tidy()

        self.each_kill(["import", self.library, photos], check)

    def test_import(self):
        self.import_killed(set(self.make_library().values()), 12)

    def test_import_into_a_new_library(self):
        self.import_killed(set(), 1)

    def create_killed(self, *words):
        everything = "SELECT * FROM asset JOIN resource ON asset = id"
        self.sim("create", self.library, *words)
        expected = self.rows(everything)
        self.library.rename(self.folder / "other")

        def check(done, _):
            if not self.library.exists():
                self.assertFalse(done)
                self.sim("create", self.library, *words)
            self.assert_whole()
            self.assertEqual(self.rows(everything), expected)
            self.assert_tidy()

        self.each_kill(["create", self.library, *words], check)

    def test_create_from_a_description(self):
        (self.folder / "description.json").write_text(json.dumps(
            {"authorization": 3, "assets": [
                {"localIdentifier": str(number), "creationDate": number, "resources": [
                    {"type": 1, "originalFilename": "a.jpg", "text": str(number)}]}
                for number in range(3)]}))
        self.create_killed("--from", "description.json")

    def test_create_synthetic(self):
        self.create_killed("--synthetic", "2")

    def test_access(self):
        self.make_library()

        def check(done, _):
            self.assert_whole()
            status = self.sim("access", self.library).split()[0]
            self.assertIn(status, ["4"] if done else ["3", "4"])
            self.sim("access", self.library, "limited")

        self.each_kill(["access", self.library, "limited"], check)

    def test_export(self):
        held = self.make_library(1, size=1_000_000)
        content = next((self.folder / "first").iterdir()).read_bytes()
        exported = self.folder / "exported"

        def check(done, _):
            written = exported.read_bytes() if exported.exists() else b""
            self.assertTrue(written == content if done else content.startswith(written))
            self.assertEqual(self.assert_whole(), set(held.values()))
            self.assert_tidy()
            exported.unlink(missing_ok=True)

        self.each_kill(["serve", "Library"], check, line(
            "export", assetID=next(iter(held)), photoKitResourceType=1, destination="exported"))

    def test_reclaim(self):
        request = line("reclaim", assetIDs=sorted(self.make_library())[:3])

        def check(_, answer):
            self.assertIn(len(self.assert_whole()), [1] if answer else [1, 4])
            self.assertTrue(not answer or json.loads(answer)["ok"])

        self.each_kill(["serve", self.library], check, request)

    def test_restore(self):
        chosen = sorted(self.make_library())[:3]
        with Server(self.library) as server:
            self.assertTrue(server.ask("reclaim", assetIDs=chosen)["ok"])
        words = ["recently-deleted", self.library, "--restore", *chosen]

        def check(done, _):
            left = len(self.assert_whole())
            self.assertIn(left, [4] if done else [1, 4])
            if left == 1:
                self.sim(*words)
                self.assertEqual(len(self.assert_whole()), 4)

        self.each_kill(words, check)


if __name__ == "__main__":
    unittest.main()
