"""Programs killed at each single change that they make to a file: the library stays whole."""

import json
import os
import shutil
import signal
import subprocess
import unittest

from programs import AUTHORIZED, KILLER, SIM, Case, Server


def environment(number, only_file):
    return {**os.environ, "LD_PRELOAD": str(KILLER), "KILL_AT_WRITE": str(number),
            "KILL_IN_FILE": only_file}


class Kills(Case):
    """Each kind of change, killed at its first write, its second, ... until it is done."""

    def each_kill(self, run, check, only_file=""):
        """Runs it on a fresh copy of the library each time, killed ever later; checks after each,
        being told whether it was done before it could be killed."""
        if self.library.exists():
            self.library.rename(self.folder / "before")
        number, done = 0, False
        while not done:
            number += 1
            for left in [self.library, *self.folder.glob(".Library.*")]:
                shutil.rmtree(left, ignore_errors=True)
            if (self.folder / "before").exists():
                shutil.copytree(self.folder / "before", self.library)
            status = run(environment(number, only_file))
            done = status == 0
            with self.subTest(number=number):
                self.assertIn(status, (0, -signal.SIGKILL))
                check(done)
        self.assertGreater(number, 3, "nothing was killed")

    def run_sim(self, *words):
        def run(env):
            return subprocess.run([SIM, *words], cwd=self.folder, env=env, capture_output=True,
                                  check=False).returncode
        return run

    def make_library(self, count=4):
        photos, digests = self.make_photos("first", count)
        self.sim("import", self.library, photos)
        self.sim("access", self.library, AUTHORIZED)
        return digests

    def import_killed(self, count, only_file=""):
        before = self.make_library()
        photos, added = self.make_photos("second", count)

        def check(done):
            held = self.assert_whole()
            self.assertTrue(before <= held <= before | added)
            self.assertTrue(not done or held == before | added)
            self.sim("import", self.library, photos)
            self.assertEqual(self.assert_whole(), before | added)
            self.assertEqual(self.rows("SELECT count(*) FROM asset"), [(4 + count,)])
            self.assertEqual(list((self.library / "originals").glob(".incomplete-*")), [])

        self.each_kill(self.run_sim("import", self.library, photos), check, only_file)

    def test_import(self):
        self.import_killed(2)

    def test_import_that_makes_the_database_larger(self):
        self.import_killed(60, "/library.sqlite")

    def test_import_into_a_new_library(self):
        photos, added = self.make_photos("photos", 1)

        def check(done):
            self.assertTrue(self.library.exists() or not done)
            self.sim("import", self.library, photos)
            self.sim("access", self.library, AUTHORIZED)
            self.assertEqual(self.assert_whole(), added)

        self.each_kill(self.run_sim("import", self.library, photos), check)

    def test_create(self):
        (self.folder / "description.json").write_text(json.dumps(
            {"authorization": 3, "assets": [
                {"creationDate": number, "resources": [
                    {"type": 1, "originalFilename": "a.jpg", "text": str(number)}]}
                for number in range(3)]}))
        words = ["create", self.library, "--from", "description.json"]

        def check(done):
            self.assertTrue(self.library.exists() or not done)
            if not self.library.exists():
                self.sim(*words)
            self.assertEqual(len(self.assert_whole()), 3)

        self.each_kill(self.run_sim(*words), check)

    def test_access(self):
        self.make_library()

        def check(done):
            self.assert_whole()
            status = self.sim("access", self.library).split()[0]
            self.assertIn(status, ["4"] if done else ["3", "4"])

        self.each_kill(self.run_sim("access", self.library, "limited"), check)

    def test_reclaim(self):
        self.make_library()
        with Server(self.library) as server:
            chosen = sorted(self.assets(server))[:3]
        answers = []

        def run(env):
            server = Server(self.library, env=env)
            answers.append(server.ask("reclaim", assetIDs=chosen))
            status, _ = server.end()
            return status

        def check(_):
            left = len(self.assert_whole())
            if answers[-1] is None:
                self.assertIn(left, [1, 4])
            else:
                self.assertEqual((answers[-1]["ok"], left), (True, 1))

        self.each_kill(run, check)

    def test_restore(self):
        self.make_library()
        with Server(self.library) as server:
            chosen = sorted(self.assets(server))[:3]
            self.assertTrue(server.ask("reclaim", assetIDs=chosen)["ok"])
        words = ["recently-deleted", self.library, "--restore", *chosen]

        def check(done):
            self.assertIn(len(self.assert_whole()), [4] if done else [1, 4])

        self.each_kill(self.run_sim(*words), check)


if __name__ == "__main__":
    unittest.main()
