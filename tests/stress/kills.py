"""Programs killed amid the changes that they make to files, and at any moment by the clock: the
library stays whole, and the same command does the rest."""

import json
import os
import random
import signal
import subprocess
import time
import unittest

from programs import AUTHORIZED, KILLER, ROUNDS, SIM, TRIED, Case, Server, line, photo


class Kills(Case):

    def each_kill(self, words, check, request=b""):
        """Runs the command on the same library each time, killed ever later until it is done, then
        at moments by the clock. Tells `check` whether it was done, and its output."""
        number, done, took = 0, False, 0.0
        while not done:
            number += 1 + number // (100 if ROUNDS else 4)
            done, took = self.run_killed(words, check, request, number)
        self.assertGreater(number, 3, "nothing was killed")
        for _ in range(ROUNDS or 3):
            self.run_killed(words, check, request, moment=random.uniform(0, took))

    def run_killed(self, words, check, request, number=0, moment=None):
        """Whether it was done before it was killed, and the seconds that it ran."""
        self.start_afresh()
        began = time.monotonic()
        environment = {"KILL_AT_WRITE": str(number), "LD_PRELOAD": str(KILLER)} if number else {}
        with subprocess.Popen([SIM, *words], cwd=self.folder, env={**os.environ, **environment},
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL) as process:
            try:
                output, _ = process.communicate(request, moment)
            except subprocess.TimeoutExpired:
                process.kill()
                output, _ = process.communicate()
        took, done = time.monotonic() - began, process.returncode == 0
        with self.subTest(number=number, moment=moment):
            self.assertIn(process.returncode, (0, -signal.SIGKILL))
            check(done, output)
        TRIED["kills by the clock" if moment else "kills at a change"] += not done
        return done, took

    def test_import(self):
        self.import_killed(set(self.make_library().values()), 12)

    def test_import_into_a_new_library(self):
        self.import_killed(set(), 1)

    def import_killed(self, before, count):
        photos, added = self.make_photos("second", count)

        def check(done, _):
            held = set()
            if self.library.exists():
                self.sim("access", self.library, AUTHORIZED)
                held = self.assert_whole(is_tidy=False)
            self.assertTrue((before | added if done else before) <= held <= before | added)
            self.sim("import", self.library, photos)
            self.sim("access", self.library, AUTHORIZED)
            self.assertEqual(self.assert_whole(), before | added)
            self.assertEqual(self.rows("SELECT count(*) FROM asset"), [(len(before | added),)])

        self.each_kill(["import", self.library, photos], check)

    def test_create(self):
        words = ["create", self.library, "--from", "description.json"]
        self.create(*map(photo, "ABC"))
        self.library.rename(self.folder / "other")

        def check(done, _):
            if not self.library.exists():
                self.assertFalse(done)
                self.sim(*words)
            self.assertEqual(len(self.assert_whole()), 3)

        self.each_kill(words, check)

    def test_export(self):
        held = self.make_library(1, size=1_000_000)
        content = next((self.folder / "first").iterdir()).read_bytes()
        exported = self.folder / "exported"

        def check(done, _):
            written = exported.read_bytes() if exported.exists() else b""
            self.assertTrue(written == content if done else content.startswith(written))
            self.assertEqual(self.assert_whole(), set(held.values()))
            exported.unlink(missing_ok=True)

        self.each_kill(["serve", "Library"], check, line(
            "export", assetID=next(iter(held)), photoKitResourceType=1, destination="exported"))

    def test_reclaim_and_restore(self):
        chosen = sorted(self.make_library())[:3]
        request = line("reclaim", assetIDs=chosen)

        def check_reclaim(_, answer):
            self.assertIn(len(self.assert_whole()), [1] if answer else [1, 4])
            self.assertTrue(not answer or json.loads(answer)["ok"])

        self.each_kill(["serve", self.library], check_reclaim, request)
        with Server(self.folder / "before" / "Library") as server:
            server.communicate(request)
        words = ["recently-deleted", self.library, "--restore", *chosen]

        def check_restore(done, _):
            if len(self.assert_whole()) == 1:
                self.assertFalse(done)
                self.sim(*words)
            self.assertEqual(len(self.assert_whole()), 4)

        self.each_kill(words, check_restore)


if __name__ == "__main__":
    unittest.main()
