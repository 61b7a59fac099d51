"""The backup in Python, on libraries that are slow, hostile, fail, crash and hang."""

import collections
import json
import os
import pty
import random
import re
import signal
import subprocess
import time
import unittest

from backing_up import DAY, LIVE, MANY, ODD, TWICE, Case, asset, resource
from programs import ROUNDS, SIM, digest

from photos_helper import UNLISTED_TYPES


class Backups(Case):
    def test_saves_all_then_nothing_then_what_is_new(self):
        self.create(LIVE, *ODD)
        self.assertIn("Would save", self.backup(0, "--dry-run"))
        self.assertFalse(self.out.exists())
        self.backup(0)
        self.assert_saved(LIVE, *ODD)
        self.assertLessEqual({"IMG_1.HEIC", "IMG_1.MOV", "IMG_1.AAE", "IMG_1-edited.jpg"},
                             {each.name for each in (self.out / "2024/01/06").iterdir()})
        # Also on file systems that fold case by capitals, as exFAT does.
        names = [str(path).upper() for path in self.out.glob("**/*")]
        self.assertEqual(len(names), len(set(names)))
        self.assertFalse([each for each in names if re.search(r'[\0-\x1f<>"\\|?*:]', each)])
        self.backup(0)
        self.assertEqual(self.exports(), [])
        # It may be moved.
        self.out = self.out.rename(self.folder / "Moved")
        self.backup(0)
        self.assertEqual(self.exports(), [])
        # Killed when the journal told of a file that had no name yet.
        lines = (self.out / "photos-backup.jsonl").read_text().splitlines()
        entries = [json.loads(each)["Entry"] for each in lines if '"Entry"' in each]
        self.assertEqual(len(entries), len({each["path"] for each in entries}))
        entry = entries[0]
        (self.out / entry["path"]).rename(self.out / entry["temporary"])
        self.backup(0)
        self.assertEqual(self.exports(), [])
        self.assertTrue((self.out / entry["path"]).exists())
        # Of a change, only what has other bytes takes room; what was removed is saved again.
        self.rows("UPDATE asset SET modificationDate = 1 WHERE localIdentifier = 'odd 4'")
        (self.out / "2024/01/06/IMG_1.MOV").unlink()
        held = self.saved()
        self.run_again(0)
        self.assertEqual(set(self.exports()), {
            *(("odd 4", each) for each in (1, *UNLISTED_TYPES)), ("live", 9)})
        self.assertEqual(self.saved() - held, collections.Counter([digest(b"9 IMG_1.MOV")]))
        self.assert_saved(LIVE, *ODD)

    def test_reclaims_what_reads_back(self):
        failing = asset("failing", resource(1, "F.jpg"), resource(
            7, "F.plist", failure={"error": "lost\x1b[2J"}))
        self.create(LIVE, TWICE, failing, *ODD[:3])
        said = self.backup(1, "--reclaim", answer="n\n")
        self.assertEqual(self.reclaimed(), set())
        self.assertIn("F.jpg (adjustment data of failing): lost", said)
        self.assertIn("only one", said)
        self.assert_saved(LIVE, TWICE, failing, *ODD[:3], but=["7 F.plist", "the second"])
        damaged = self.out / "2024/01/06/IMG_1.MOV"
        damaged.write_bytes(b"9 IMG_2.MOV")
        said = self.run_again(1, "--reclaim", "--yes")
        self.assertIn("IMG_1.MOV", said)
        self.assertEqual(self.reclaimed(), {"odd 0", "odd 1", "odd 2"})
        self.backup(1, "--reclaim", answer="y\n")
        self.assertEqual(self.reclaimed(), {"odd 0", "odd 1", "odd 2", "live"})
        self.assertEqual(self.saved()[digest(b"9 IMG_1.MOV")], 1)

    def start(self, *words, **more):
        return subprocess.Popen(self.command(*words), text=True, start_new_session=True, **{
            "stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | more)

    def interrupt(self, process, by=signal.SIGINT):
        """Ends the run as Ctrl-C in a terminal does; what it said."""
        os.killpg(process.pid, by)
        said, _ = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1)
        return said

    def asking(self):
        process, said = self.start("--reclaim"), ""
        while "[y/N]" not in said:
            said += process.stdout.read(1)
        return process

    def test_what_changes_while_it_asks_is_not_moved(self):
        self.create(*ODD[5:8])
        process = self.asking()
        self.assertIn("another backup", self.backup(1))
        (self.out / "2024/01/06/img_1 (2).heic").write_bytes(b"")
        self.rows("UPDATE asset SET modificationDate = 1 WHERE localIdentifier = 'odd 6'")
        said, _ = process.communicate("y\n")
        self.assertEqual((process.returncode, self.reclaimed()), (1, {"odd 5"}), said)
        self.assertIn("Not moved: 2 assets", said)
        # What isn't a yes is a no: no answer at all, too.
        for ending in ("<&-", "</dev/null", "<<< yesterday", "<&- 2>&-"):
            done = subprocess.run(["bash", "-c", f'exec "$@" {ending}', "bash",
                                   *self.command("--reclaim")], capture_output=True, text=True)
            self.assertEqual(done.returncode, 0, done)
            self.assertIn("Nothing was moved", done.stdout)
        self.assertIn("Interrupted", self.interrupt(self.asking()))
        self.assertEqual(self.reclaimed(), {"odd 5"})

    def test_interrupted_while_it_moves(self):
        self.create(ODD[5], deletion={"success": True, "delay": 60})
        process = self.start("--reclaim", "--yes")
        while not self.asked.exists() or '"reclaim"' not in self.asked.read_text():
            time.sleep(0.05)
        self.assertIn("moved to Recently Deleted is not known", self.interrupt(process))

    def test_another_library_with_the_same_identifier(self):
        self.create(asset("A", resource(1, "A.jpg"), modificationDate=None))
        self.backup(0)
        self.library = self.folder / "Other"
        other = asset("A", resource(1, "A.jpg", text="o"), resource(7, "A.plist"),
                      created=DAY + 1, modificationDate=None)
        self.create(other, library=self.library)
        self.run_again(0, "--reclaim", "--yes")
        self.assert_saved(asset("A", resource(1, "A.jpg")), other)
        self.assertEqual(self.reclaimed(), {"A"})

    def test_deletions_without_an_answer(self):
        for crash, moved, status in (("before", set(), 1), ("after", {"odd 4"}, 0)):
            self.setUp()
            self.create(ODD[4], deletion={"success": True, "crash": crash, "delay": 0.1})
            self.backup(status, "--reclaim", "--yes")
            self.assertEqual(self.reclaimed(), moved)
            self.assert_saved(ODD[4])
            self.assertGreater((self.folder / "record").read_text().count('"serves"'), 1)
            self.sim("review", self.library, self.folder / "record")

    def test_failures_stalls_and_crashes_cost_only_their_own(self):
        self.create(LIVE, *(asset(kind, resource(1, f"{kind}.jpg", text="x" * 100_000, failure={
            "afterBytes": 50_000, kind: value})) for kind, value in (
                ("error", "lost"), ("stall", True), ("crash", True))),
            asset("slow", resource(1, "slow.jpg", text="slow.", bytesPerSecond=1)),
            asset("cloud", resource(1, "cloud.jpg", cloud=True)), networkReachable=False)
        said = self.backup(1, "--stall-seconds", "3")
        for reason in ("error.jpg.*lost", "stall.jpg.*no sign of life", "crash.jpg.*without an",
                       "cloud.jpg.*"):
            self.assertRegex(said, reason)
        self.assertEqual({each for each, _ in self.journal()}, {"live", "slow"})
        self.sim("network", self.library, "reachable")
        self.rows("UPDATE resource SET failureAfterBytes = NULL, failureError = NULL")
        self.backup(0, "--stall-seconds", "3")
        self.assertLessEqual({(each, 1) for each in ("error", "stall", "crash", "cloud")},
                             set(self.journal()))

    def test_access(self):
        self.create(LIVE, authorization=0, promptAnswer=4, promptDelay=2)
        self.assertIn("selected photos", self.backup(0, "--stall-seconds", "0.5"))
        self.assert_saved(LIVE)
        self.sim("access", self.library, "denied")
        self.assertIn("denied", self.backup(3))
        self.assert_saved(LIVE)

    def test_killed_again_and_again(self):
        self.create(*({**each, "resources": [
            {**one, "delay": .01} for one in each["resources"]]} for each in MANY))
        status, kills = None, 0
        while status is None:
            held, _ = set(self.journal()), self.asked.write_bytes(b"")
            process = subprocess.Popen(self.command("--reclaim", "--yes"), stdout=-1, stderr=-1)
            try:
                output = process.communicate(
                    timeout=random.uniform(0.1, 1) if kills < (ROUNDS or 12) else 100)
                status = process.returncode
            except subprocess.TimeoutExpired:
                process.kill()
                process.communicate()
                kills += 1
            time.sleep(0.2)  # a request that a helper without a host still carries out
            self.assertFalse(held & set(self.exports()), "exported twice")
            held = self.journal()
            for identifier in self.reclaimed():
                for type_ in (1, 9):
                    self.assertIn((identifier, type_), held)
        self.assertEqual((status, output[1].count(b"Traceback")), (0, 0), output)
        self.assert_saved(*MANY)
        self.assertEqual(len(self.reclaimed()), len(MANY))
        # A kill costs what has been exported and not told to the journal: nothing else is found.
        self.assertGreater(kills, 0)
        review = self.run_sim("review", self.library, self.folder / "record")
        self.assertIn(review.returncode, (0, 1))
        for line in review.stderr.decode().splitlines():
            self.assertRegex(line, r"exports the resource of .* again$| findings? in ")
        self.assertFalse(list(self.out.glob("**/.*")))

    def test_what_others_do_meanwhile(self):
        # B is at A's position when the second page is asked for; C.jpg comes when C is on its way.
        others = [asset(name, resource(1, f"{name}.jpg"), created=DAY + number)
                  for number, name in enumerate("ABC")]
        self.create(*others)
        reclaim = json.dumps({"command": "reclaim", "assetIDs": ["A"]})
        script = self.folder / "meanwhile.sed"
        script.write_text(f"""s/"limit": 500/"limit": 1/
            3e echo '{reclaim}' | {SIM} serve {self.library} > {self.folder}/reclaimed
            4e echo foreign > {self.out}/2024/01/06/C.jpg""")
        self.backup(0, asking=f"sed -u -f {script}")
        self.assert_saved(*others[1:], asset("", resource(1, "", text="foreign\n")))

    def test_a_nonsense_answer_ends_the_run_and_the_next_goes_on(self):
        self.create(*MANY)
        said = self.backup(1, answering="sed -u '40s/.*/Loading.../'")
        self.assertEqual(said.count("backup.py: "), 1)
        self.assertIn("none of photos-helper's", said)
        self.assertGreater(len(self.journal()), 0)
        self.backup(0)
        self.assert_saved(*MANY)

    def test_ends_in_order_and_draws_one_line(self):
        self.create(*MANY[:9], asset("slow", resource(
            1, "日本\x1b" * 60, text="x" * 9000, bytesPerSecond=90), created=2 * DAY))
        ours, theirs = pty.openpty()
        process = self.start(stderr=theirs)
        os.close(theirs)
        drawn = b""
        while b"saved 18 of 19" not in drawn:
            drawn += os.read(ours, 4096)
        helper = int((self.folder / "helper").read_text())
        self.assertNotEqual(os.getsid(helper), os.getsid(process.pid))
        self.assertRegex(self.interrupt(process), "Interrupted.*the same command goes on")
        self.assertRaises(ProcessLookupError, os.kill, helper, 0)
        os.close(ours)
        self.assertNotIn(b"\n", drawn)
        self.assertIn("  日本\\x1b日本".encode(), drawn)
        self.assertNotIn(b"\x1b", drawn)
        self.assertFalse(list(self.out.glob("**/.*")))
        self.assert_saved(*MANY[:9])

    def test_interrupted_while_the_last_is_read_back(self):
        self.create(asset("large", {"type": 1, "originalFilename": "a.mov", "size": 1 << 28}))
        process = self.start()
        record = self.folder / "record"
        while not record.exists() or record.read_text().count("unavailable") < len(UNLISTED_TYPES):
            time.sleep(0.01)
        self.assertIn("Interrupted", self.interrupt(process, signal.SIGTERM))
        self.assertEqual(set(self.journal()), {("large", 1)})


if __name__ == "__main__":
    unittest.main()
