"""What tests of the backup in Python share: libraries, running it, what has come of it."""

import collections
import contextlib
import json
import subprocess
import sys

import programs
from programs import ROOT, SIM, digest

HOSTS = ROOT / "hosts" / "python"
sys.path.insert(0, str(HOSTS))

DAY = 1_704_500_000  # 2024-01-06 in UTC


def resource(type_, name, **more):
    return {"type": type_, "originalFilename": name, **({"text": f"{type_} {name}"} | more)}


def asset(identifier, *resources, created=DAY, **more):
    return {"localIdentifier": identifier, "creationDate": created, "modificationDate": created,
            "resources": list(resources), **more}


LIVE = asset("live", resource(1, "IMG_1.HEIC"), resource(9, "IMG_1.MOV"),
             resource(7, "Adjustments.plist"), resource(5, "FullSizeRender.jpg"),
             resource(10, "FullSizeRender.mov"), resource(8, "base.HEIC"))
HOSTILE = ["", "..", "../../up.jpg", "/etc/x", "a\0b.jpg", "line\nfeed\x1b[2J.jpg", "IMG_1.HEIC",
           "img_1.heic", "IMG_1-edited.jpg", "CON.jpg", "x" * 300 + ".jpg", ".hidden", "é" * 200,
           ".photos-backup-0123456789abcdef-1.partial", "photos-backup.jsonl", "a:b|c?.jpg ",
           "\u202egpj.exe", "IMG_1 (2).HEIC", "I.jpg", "\u0131.jpg", "\u212a.jpg", "K.jpg",
           "IMG_3.jpg", "IMG_3.jpg." + "x" * 20]
ODD = [asset(f"odd {number}", resource(1, name, text=f"{number}"),
             created=[DAY, -9e15, 9e15, -1e9][number % 4 if number < 4 else 0])
       for number, name in enumerate(HOSTILE)]
TWICE = asset("twice", resource(1, "T.jpg"), resource(1, "T.jpg", text="the second"))
MANY = [asset(f"many {number}", resource(1, f"M{number % 7}.jpg", text=f"{number} " * 9000),
              resource(9, f"M{number % 7}.mov", text=f"{number}, "), created=DAY + 9e4 * number)
        for number in range(60)]


class Case(programs.Case):
    def setUp(self):
        super().setUp()
        self.out, self.asked = self.folder / "Out", self.folder / "asked"

    def command(self, *words, helper=None, asking="cat", answering="cat"):
        # What is asked is kept in a file on its way; commands may change it and the answers.
        served = (f"echo $$ > {self.folder}/helper; exec {SIM} serve {self.library} --record "
                  f"{self.folder}/record < <({asking} | tee -a {self.asked}) > >({answering})")
        return [sys.executable, "-B", HOSTS / "backup.py", self.out, *words, "--helper",
                *(helper or ["bash", "-c", served])]

    def run_again(self, status, *words, answer="", **more):
        """A backup that may export again what it holds; what it said."""
        self.asked.write_bytes(b"")
        done = subprocess.run(self.command(*words, **more), capture_output=True, text=True,
                              input=answer, timeout=100)
        said = done.stdout + done.stderr
        self.assertEqual(done.returncode, status, said)
        self.assertNotRegex(said, "Traceback|\x1b")
        return said

    def backup(self, *words, **more):
        held = set(self.journal())
        said = self.run_again(*words, **more)
        self.assertFalse(held & set(self.exports()), "exported twice")
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
