"""The backup in Python, on libraries that are slow, hostile, fail, crash and hang."""

import collections
import contextlib
import hashlib
import json
import os
import pathlib
import pty
import random
import re
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

BUILD = pathlib.Path(os.environ["BUILD"]).resolve()
SIM = BUILD / "photos-sim"
HOSTS = pathlib.Path(__file__).resolve().parents[2] / "hosts" / "python"
ROUNDS = int(os.environ.get("ROUNDS", "0")) or 12
sys.path.insert(0, str(HOSTS))

from photos_helper import UNLISTED_TYPES, HelperError, PhotosHelper  # noqa: E402

DAY = 1_704_500_000  # 2024-01-06 in UTC


def resource(type_, name, **more):
    return {"type": type_, "originalFilename": name, **({"text": f"{type_} {name}"} | more)}


def asset(identifier, *resources, created=DAY, **more):
    return {"localIdentifier": identifier, "creationDate": created, "modificationDate": created,
            "resources": list(resources), **more}


def digest(content):
    return hashlib.sha256(content).hexdigest()


LIVE = asset("live", resource(1, "IMG_1.HEIC"), resource(9, "IMG_1.MOV"),
             resource(7, "Adjustments.plist"), resource(5, "FullSizeRender.jpg"),
             resource(10, "FullSizeRender.mov"), resource(8, "base.HEIC"))
HOSTILE = ["", "..", "../../up.jpg", "/etc/x", "a\0b.jpg", "line\nfeed\x1b[2J.jpg", "IMG_1.HEIC",
           "img_1.heic", "IMG_1-edited.jpg", "CON.jpg", "x" * 300 + ".jpg", ".hidden", "é" * 200,
           ".photos-backup-0123456789abcdef-1.partial", "photos-backup.jsonl", "a:b|c?.jpg ",
           "\u202egpj.exe", "IMG_1 (2).HEIC", "I.jpg", "\u0131.jpg", "\u212a.jpg", "K.jpg"]
ODD = [asset(f"odd {number}", resource(1, name, text=f"{number}"),
             created=[DAY, -9e15, 9e15, -1e9][number % 4 if number < 4 else 0])
       for number, name in enumerate(HOSTILE)]
TWICE = asset("twice", resource(1, "T.jpg"), resource(1, "T.jpg", text="the second"))
MANY = [asset(f"many {number}", resource(1, f"M{number % 7}.jpg", text=f"{number} " * 9000),
              resource(9, f"M{number % 7}.mov", text=f"{number}, "), created=DAY + 9e4 * number)
        for number in range(60)]


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="photos-helper-hosts-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.library, self.out = self.folder / "Library", self.folder / "Out"
        self.asked = self.folder / "asked"

    def create(self, *assets, **more):
        description = self.folder / "description.json"
        description.write_text(json.dumps({"authorization": 3, "assets": assets} | more))
        self.sim("create", self.library, "--from", description)

    def sim(self, *words):
        subprocess.run([SIM, *words], check=True, capture_output=True)

    def sql(self, statement):
        with contextlib.closing(sqlite3.connect(self.library / "library.sqlite")) as database:
            rows = database.execute(statement).fetchall()
            database.commit()
        return rows

    def command(self, *words, helper=None, asking="cat", answering="cat"):
        # What is asked is kept in a file on its way; commands may change it and the answers.
        served = (f"echo $$ > {self.folder}/helper; exec {SIM} serve {self.library} --record "
                  f"{self.folder}/record < <({asking} | tee -a {self.asked}) > >({answering})")
        return [sys.executable, "-B", HOSTS / "backup.py", self.out, *words, "--helper",
                *(helper or ["bash", "-c", served])]

    def run_again(self, status, *words):
        """A backup that may export again what it holds."""
        self.asked.write_bytes(b"")
        done = subprocess.run(self.command(*words), capture_output=True, text=True)
        self.assertEqual(done.returncode, status, done)
        return done.stdout + done.stderr

    def backup(self, status, *words, answer="", **more):
        """Runs the backup, checks what has come of it, and gives what it said."""
        self.asked.write_bytes(b"")
        held = set(self.journal())
        done = subprocess.run(self.command(*words, **more), capture_output=True, text=True,
                              input=answer, timeout=100)
        said = done.stdout + done.stderr
        self.assertEqual(done.returncode, status, said)
        self.assertNotIn("Traceback", said)
        self.assertNotIn("\x1b", said)
        self.assertFalse([each for each in held & set(self.exports())], "exported twice")
        self.assertFalse(list(self.out.glob("**/.*")))
        return said

    def journal(self):
        """The digest by asset and type."""
        with contextlib.suppress(FileNotFoundError):
            lines = (self.out / "photos-backup.jsonl").read_text().splitlines()[1:]
            entries = [json.loads(each).get("Entry") for each in lines]
            return {(each["asset_id"], each["type"]): each["sha256"] for each in entries
                    if each and (self.out / each["path"]).exists()}
        return {}

    def exports(self):
        asked = [json.loads(each) for each in self.asked.read_text().splitlines()]
        return [(each["assetID"], each["photoKitResourceType"]) for each in asked
                if each["command"] == "export"]

    def saved(self):
        """The digests of all files, and how often each is there."""
        return collections.Counter(digest(path.read_bytes()) for path in self.out.glob("*/*/*/*"))

    def assert_saved(self, *assets, but=()):
        expected = collections.Counter(digest(each["text"].encode()) for one in assets
                                       for each in one["resources"])
        expected.subtract(digest(each.encode()) for each in but)
        self.assertEqual(self.saved(), +expected)

    def reclaimed(self):
        return {each for each, in self.sql(
            "SELECT localIdentifier FROM asset WHERE recentlyDeleted <> 0")}


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
        entry = next(json.loads(each)["Entry"] for each in lines if '"Entry"' in each)
        (self.out / entry["path"]).rename(self.out / entry["temporary"])
        self.backup(0)
        self.assertEqual(self.exports(), [])
        self.assertTrue((self.out / entry["path"]).exists())
        # Of a change, only what has other bytes takes room; what was removed is saved again.
        self.sql("UPDATE asset SET modificationDate = 1 WHERE localIdentifier = 'odd 4'")
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

    def start(self, *words):
        return subprocess.Popen(self.command(*words), stdin=-1, stdout=-1, stderr=-1, text=True,
                                start_new_session=True)

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
        self.sql("UPDATE asset SET modificationDate = 1 WHERE localIdentifier = 'odd 6'")
        said = process.communicate("y\n")
        self.assertEqual((process.returncode, self.reclaimed()), (1, {"odd 5"}), said)
        self.assertIn("Not moved: 2 assets", said[0])
        # What isn't a yes is a no: no answer at all, too.
        for ending in ("<&-", "</dev/null", "<<< yesterday", "<&- 2>&-"):
            done = subprocess.run(["bash", "-c", f'exec "$@" {ending}', "bash",
                                   *self.command("--reclaim")], capture_output=True, text=True)
            self.assertEqual(done.returncode, 0, done)
            self.assertIn("Nothing was moved", done.stdout)
        process = self.asking()
        os.killpg(process.pid, signal.SIGINT)
        self.assertIn("Interrupted", process.communicate()[0])
        self.assertEqual((process.returncode, self.reclaimed()), (1, {"odd 5"}))

    def test_interrupted_while_it_moves(self):
        self.create(ODD[5], deletion={"success": True, "delay": 60})
        process = self.start("--reclaim", "--yes")
        while not self.asked.exists() or '"reclaim"' not in self.asked.read_text():
            time.sleep(0.05)
        os.killpg(process.pid, signal.SIGINT)
        said = process.communicate()[0]
        self.assertEqual(process.returncode, 1)
        self.assertIn("moved to Recently Deleted is not known", said)

    def test_another_library_with_the_same_identifier(self):
        self.create(asset("A", resource(1, "A.jpg"), modificationDate=None))
        self.backup(0)
        self.library = self.folder / "Other"
        other = asset("A", resource(1, "A.jpg", text="o"), resource(7, "A.plist"),
                      created=DAY + 1, modificationDate=None)
        self.create(other)
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
        self.sql("UPDATE resource SET failureAfterBytes = NULL, failureError = NULL")
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
        self.create(*MANY)
        status, kills = None, 0
        while status is None:
            held, _ = set(self.journal()), self.asked.write_bytes(b"")
            process = subprocess.Popen(self.command("--reclaim", "--yes"), stdout=-1, stderr=-1)
            try:
                output = process.communicate(
                    timeout=random.uniform(0.1, 1) if kills < ROUNDS else 100)
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
        process = subprocess.Popen(self.command(), stdout=-1, stderr=theirs, text=True,
                                   start_new_session=True)
        os.close(theirs)
        drawn = b""
        while b"saved 18 of 19" not in drawn:
            drawn += os.read(ours, 4096)
        helper = int((self.folder / "helper").read_text())
        self.assertNotEqual(os.getsid(helper), os.getsid(process.pid))
        os.killpg(process.pid, signal.SIGINT)
        said = process.communicate()[0]
        self.assertRaises(ProcessLookupError, os.kill, helper, 0)
        os.close(ours)
        self.assertEqual(process.returncode, 1)
        self.assertRegex(said, "Interrupted.*the same command goes on")
        self.assertNotIn(b"\n", drawn)
        self.assertIn("  日本\\x1b日本".encode(), drawn)
        self.assertNotIn(b"\x1b", drawn)
        self.assertFalse(list(self.out.glob("**/.*")))
        self.assert_saved(*MANY[:9])


class BadInput(Case):
    def test_folders_and_journals(self):
        self.create(LIVE)
        self.out.write_text("a file")
        self.assertIn("FOLDER is to be a folder", self.run_again(2))
        self.out.unlink()
        self.backup(0)
        journal = self.out / "photos-backup.jsonl"
        good = journal.read_bytes()
        for content, said in ((b'{"format":"else","version":1}\n', "not a journal of this program"),
                              (b"notes", "not a journal of this program"),
                              (good.replace(b'"version": 1', b'"version": 2'), "version 2")):
            journal.write_bytes(content)
            self.assertIn(said, self.run_again(2))
            self.assertEqual(journal.read_bytes(), content)
        # Edited by hand: what leads elsewhere or is of another type tells of nothing.
        lines = good.splitlines()
        entry = next(json.loads(each)["Entry"] for each in lines if b'"Entry"' in each)
        for change in ({"created": "x"}, {"asset_id": []}, {"modified": {}}, {"path": "a\0"},
                       {"path": "../up"}, {"path": "\ud800"}, {"bytes": True}, {"stem": None}):
            lines.append(json.dumps({"Entry": entry | change}).encode())
        lines += [b'{"Absent": {"asset_id": "live", "modified": 1, "created": 0, "types": 1}}',
                  b"[]", b"\xff"]
        journal.write_bytes(b"\n".join(lines) + b"\n")
        self.assertIn("11 lines of the journal", self.run_again(
            0, "--report", self.folder / "r.html"))
        self.assertEqual(self.exports(), [])
        cut = good[:good.rindex(b'"sha256"')]
        journal.write_bytes(cut)
        self.run_again(0)
        self.assertEqual(set(self.saved()),
                         {digest(each["text"].encode()) for each in LIVE["resources"]})
        self.backup(0)
        self.assertEqual(self.exports(), [])

    def test_arguments(self):
        self.create(LIVE)
        for out, *words in ((b"\xff",), (b"\xff/out",), ("",), (".", "--stall-seconds", "nan"),
                            (".", "--report", "photos-backup.jsonl")):
            done = subprocess.run([sys.executable, "-B", HOSTS / "backup.py", out, *words,
                                   "--helper", SIM, "serve", self.library],
                                  cwd=self.folder, capture_output=True)
            self.assertEqual((done.returncode, b"Traceback" in done.stderr), (2, False), done)

    def test_inside_the_library_and_helpers_that_are_none(self):
        self.create(LIVE)
        for helper, said in ((["/nowhere"], "/nowhere"), (["cat"], "none of photos-helper's"),
                             (["echo", "[1]"], "none of"), (["sh", "-c", "exit 7"], "status 7")):
            self.assertIn(said, self.backup(1, helper=helper))
        self.assertEqual(self.saved(), {})
        # Nothing gets into the library, and each photo is named.
        held = sorted(self.library.glob("**/*"))
        self.out = self.library / "originals" / "Out"
        self.assertRegex(self.backup(1), "Not saved: 6\n(.*it is a part of the photo library\n){6}")
        self.assertEqual(sorted(self.library.glob("**/*")), held)

    def test_a_false_digest(self):
        answer = json.dumps({"ok": True, "status": "exported", "bytes": 1, "sha256": "0" * 64})
        fake = ("import json; open(json.loads(input())['destination'], 'w').write('x'); "
                f"print({answer!r})")
        with PhotosHelper([sys.executable, "-c", fake]) as helper:
            with self.assertRaisesRegex(OSError, "bytes that were exported"):
                helper.export("a", 1, self.folder / "exported")
            self.assertEqual(list(self.folder.iterdir()), [])
            self.assertRaises(HelperError, helper.authorize)


class SmallDisk(Case):
    """Runs in a mount namespace of its own."""

    def test_full_then_read_only_then_room(self):
        self.create(*MANY)
        self.out.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "tmpfs", self.out], check=True)
        self.addCleanup(subprocess.run, ["umount", self.out], check=True)
        said = self.backup(1, "--reclaim", "--yes")
        self.assertRegex(said, r"Not saved: .*\n.*M\d.(jpg|mov) .*No space left")
        held = self.journal()
        self.assertGreater(len(held), 0)
        for identifier in self.reclaimed():
            self.assertLessEqual({(identifier, 1), (identifier, 9)}, set(held))
        subprocess.run(["mount", "-o", "remount,ro", self.out], check=True)
        self.assertIn("Read-only file system", self.backup(1))
        subprocess.run(["mount", "-o", "remount,rw,size=100m", self.out], check=True)
        self.backup(0)
        self.assert_saved(*MANY)


if __name__ == "__main__":
    unittest.main()
