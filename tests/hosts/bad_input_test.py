"""The backup in Python, when it is told what can't be, and when its disk is full."""

import json
import subprocess
import sys
import unittest

from backing_up import DAY, HOSTS, LIVE, MANY, Case, asset, resource
from programs import SIM, digest

from ahead import AheadHelper, Job
from photos_helper import HelperError, PhotosHelper


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

    def test_a_reclaim_waits_for_nothing(self):
        photos = [asset(name, resource(1, name, **more), created=DAY + number) for number, (
            name, more) in enumerate({"quick": {}, "slow": {"delay": 60}}.items())]
        self.create(*photos, deletion={"success": True, "error": "odd"})
        with AheadHelper([SIM, "serve", self.library], 300) as helper:
            listed = list(helper.assets(limit=1))
            self.assertEqual([each.asset_id for each in listed], ["quick", "slow"])
            self.assertEqual(helper.estimate("quick", 1), 7)
            jobs = [Job(each, 1, "", "", "", str(self.folder / each.asset_id), True)
                    for each in listed]
            job, exported = next(helper.export_all(iter(jobs)))
            self.assertEqual((job, exported.bytes), (jobs[0], 7))
            # The export that was given up ends with its helper.
            self.assertEqual(helper.reclaim(["quick"]), "odd")
        self.assertEqual(self.reclaimed(), {"quick"})


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
