"""Many programs on one library at once, and long sessions: every answer is one that may be given
then, and what comes out is what was asked for."""

import concurrent.futures
import pathlib
import random
import sqlite3
import threading
import unittest

from programs import ROUNDS, TRIED, Case, Server, line, photo

MOVED = "moved_to_recently_deleted"


def at_once(*tasks):
    """Runs all of them, each on a thread of its own; raises what one of them has raised."""
    with concurrent.futures.ThreadPoolExecutor(len(tasks)) as threads:
        for running in [threads.submit(*task) for task in tasks]:
            running.result()


class Crowds(Case):

    def test_everybody_at_once(self):
        """Four reclaim, each pair of assets twice; four list and export; two import the same; one
        restores; and a reader of long before is still at it."""
        held = self.make_library(80)
        second, added = self.make_photos("second", 20)
        names = sorted(held)
        restored, taken = names[20:30], names[30:]
        pairs = list(zip(taken[::2], taken[1::2]))
        statuses, done = {}, threading.Event()

        def reclaim(some):
            with Server(self.library) as server:
                for pair in some:
                    statuses[pair].append(server.ask("reclaim", assetIDs=pair)["status"])

        def look():
            while not done.is_set():
                with Server(self.library) as server:
                    page = server.ask("discover", limit=500)["assets"]
                    listed = {summary["assetID"] for summary in page}
                    self.assertLessEqual(set(names[:20]), listed)
                    for one, other in pairs:
                        self.assertEqual(one in listed, other in listed, "half a pair")
                    for asset in random.sample(sorted(listed), 5):
                        answer = server.ask("export", assetID=asset, photoKitResourceType=1,
                                            destination="/dev/null")
                        if answer["ok"]:
                            of_asset = {held[asset]} if asset in held else added
                            self.assertIn(answer["sha256"], of_asset)
                        else:
                            self.assertEqual((answer["status"], asset in taken), ("missing", True))

        def work():
            try:
                at_once(*[(reclaim, some) for some in (
                    pairs[::2], pairs[1::2], pairs[::-1], pairs[:5] + pairs[-5:])],
                    *[(self.sim, "import", self.library, second)] * 2,
                    (self.sim, "recently-deleted", self.library, "--restore", *restored))
            finally:
                done.set()

        for _ in range(ROUNDS or 2):
            self.start_afresh()
            statuses.update((pair, []) for pair in pairs)
            done.clear()
            with Server(self.library) as server:
                self.assertTrue(server.ask("reclaim", assetIDs=restored)["ok"])
            reader = sqlite3.connect(self.library / "library.sqlite", isolation_level=None)
            reader.execute("BEGIN")
            reader.execute("SELECT * FROM asset").fetchone()
            at_once((work,), *[(look,)] * 4)
            reader.close()
            for of_pair in statuses.values():
                self.assertIn(MOVED, of_pair)
                self.assertLessEqual(set(of_pair), {MOVED, "missing"})
            self.assertEqual(self.reclaimed(), set(taken))
            self.assertEqual(self.assert_whole(), added | {held[name] for name in names[:30]})
            self.assertEqual(self.rows("SELECT count(*) FROM asset"), [(100,)])
            TRIED["crowds of eleven programs"] += 1


class Sessions(Case):

    def test_a_long_session_keeps_its_memory_descriptors_and_threads(self):
        self.create(*map(photo, map(str, range(20))), opensURLs=True)
        original = {"assetID": "1", "photoKitResourceType": 1}
        requests = {"authorized": line("authorize"), "discovered": line("discover", limit=20),
                    "estimated": line("estimate", **original),
                    "exported": line("export", **original, destination="exported"),
                    "opened_in_photos": line("open", assetID="1"),
                    "missing": line("reclaim", assetIDs=["1", "none"])}
        # One asset is reclaimed at the end of each batch, and put back.
        batch = b"".join(requests.values()) * 33 + line("reclaim", assetIDs=["2", "3"])
        statuses = [*requests] * 33 + [MOVED]
        batches = 150 if ROUNDS == 0 else 1_000_000 // len(statuses) + 1
        used = []
        with Server("Library", cwd=self.folder) as server:
            for _ in range(batches):
                server.send(batch)
                self.assertEqual([server.answer()["status"] for _ in statuses], statuses)
                self.rows("UPDATE asset SET recentlyDeleted = 0")
                used.append(self.use_of(server.pid))
                TRIED["requests in one session"] += len(statuses)
        memory, descriptors, threads = zip(*used[len(used) // 5:])
        self.assertEqual((min(descriptors), min(threads)), (max(descriptors), max(threads)))
        self.assertLess(max(memory) - memory[0], 256, "KiB more than after the warm-up")

    @staticmethod
    def use_of(process):
        """KiB of memory, descriptors and threads."""
        folder = pathlib.Path("/proc") / str(process)
        status = dict(text.split(":", 1) for text in (folder / "status").read_text().splitlines())
        return (int(status["VmRSS"].split()[0]), len(list((folder / "fd").iterdir())),
                int(status["Threads"]))


if __name__ == "__main__":
    unittest.main()
