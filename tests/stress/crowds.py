"""Many programs on one library at once, and long sessions: nothing fails, and the counts are right."""

import sqlite3
import subprocess
import threading
import unittest

from programs import AUTHORIZED, ROUNDS, SIM, Case, Server


def at_once(tasks):
    """Runs all of them, each on a thread of its own; raises what one of them has raised."""
    failures = []

    def run(task):
        try:
            task()
        except BaseException as failure:  # pylint: disable=broad-exception-caught
            failures.append(failure)

    threads = [threading.Thread(target=run, args=[task]) for task in tasks]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if failures:
        raise failures[0]


class Crowds(Case):

    def make_synthetic(self, count):
        self.sim("create", self.library, "--synthetic", str(count))
        with Server(self.library) as server:
            return list(self.assets(server))

    def assert_reclaimed(self, count):
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(self.rows("SELECT sum(recentlyDeleted) FROM asset"), [(count,)])

    def test_eight_servers_reclaim_at_once(self):
        identifiers = self.make_synthetic(400 if ROUNDS == 0 else 4000)
        taken = identifiers[:len(identifiers) * 3 // 4]

        def reclaim(part):
            with Server(self.library) as server:
                for identifier in part:
                    answer = server.ask("reclaim", assetIDs=[identifier])
                    self.assertEqual(answer, {"ok": True, "status": "moved_to_recently_deleted"})
                self.assertLess(len(self.assets(server)), len(identifiers))

        at_once([lambda first=first: reclaim(taken[first::8]) for first in range(8)])
        self.assert_reclaimed(len(taken))

    def test_one_session_reclaims_everything_while_a_reader_keeps_its_view(self):
        identifiers = self.make_synthetic(500 if ROUNDS == 0 else 10_000)
        reader = sqlite3.connect(self.library / "library.sqlite", isolation_level=None)
        reader.execute("BEGIN")
        count = "SELECT count(*) FROM asset WHERE recentlyDeleted = 0"
        before = reader.execute(count).fetchone()
        with Server(self.library) as server:
            left, batch = identifiers, 0
            while left:
                size = (1, 3, 20)[batch % 3]
                answer = server.ask("reclaim", assetIDs=left[:size])
                self.assertTrue(answer["ok"], answer)
                left, batch = left[size:], batch + 1
                self.assertEqual(server.ask("discover", limit=1)["assets"] == [], not left)
        self.assertEqual(reader.execute(count).fetchone(), before)
        reader.close()
        self.assert_reclaimed(len(identifiers))

    def test_servers_and_access_during_an_import(self):
        photos, digests = self.make_photos("photos", 40 if ROUNDS == 0 else 1000)
        self.sim("create", self.library)
        self.sim("access", self.library, AUTHORIZED)
        with Server(self.library) as poller, subprocess.Popen(
                [SIM, "import", self.library, photos], stderr=subprocess.DEVNULL) as importing:

            def poll():
                while importing.poll() is None:
                    self.assertEqual(poller.ask("discover")["status"], "discovered")

            def start_servers():
                while importing.poll() is None:
                    with Server(self.library) as server:
                        self.assertEqual(server.ask("discover")["status"], "discovered")

            def read_access():
                while importing.poll() is None:
                    self.sim("access", self.library)

            at_once([poll, start_servers, read_access])
        self.assertEqual(importing.returncode, 0)
        self.assertEqual(self.assert_whole(), digests)

    def test_two_imports_at_once(self):
        photos, digests = self.make_photos("photos", 30 if ROUNDS == 0 else 300)
        self.sim("create", self.library)
        at_once([lambda: self.sim("import", self.library, photos)] * 2)
        self.sim("access", self.library, AUTHORIZED)
        self.assertEqual(self.assert_whole(), digests)
        self.assertEqual(self.rows("SELECT count(*) FROM asset"), [(len(digests),)])


if __name__ == "__main__":
    unittest.main()
