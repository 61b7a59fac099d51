"""What tests share: the programs, libraries to try them on, what must hold of one."""

import atexit
import collections
import contextlib
import hashlib
import json
import os
import pathlib
import shutil
import sqlite3
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = pathlib.Path(os.environ["BUILD"]).resolve()
SIM = BUILD / "photos-sim"
KILLER = BUILD / "tests" / "kill_at_write.so"
# 0: the few tries that every run of the tests makes.
ROUNDS = int(os.environ.get("ROUNDS", "0"))
AUTHORIZED = "3"
# How often what was tried; told at the end.
TRIED = collections.Counter()
atexit.register(lambda: print(*(f"{count} {what}" for what, count in TRIED.items()), sep="\n"))


def digest(content):
    return hashlib.sha256(content).hexdigest()


def line(command, **fields):
    return json.dumps({"command": command, **fields}).encode() + b"\n"


def photo(identifier, **more):
    """An asset of a description, with one resource."""
    content = {} if "size" in more else {"text": identifier}
    return {"localIdentifier": identifier, "creationDate": 1, "resources": [
        {"type": 1, "originalFilename": "a.jpg", **content, **more}]}


class Server(subprocess.Popen):
    """A helper on a library, asked one request at a time."""

    def __init__(self, library, *words, **more):
        super().__init__([SIM, "serve", library, *words], **({
            "stdin": subprocess.PIPE, "stdout": subprocess.PIPE} | more))

    def send(self, request):
        self.stdin.write(request)
        self.stdin.flush()

    def answer(self):
        return json.loads(self.stdout.readline())

    def ask(self, command, **fields):
        self.send(line(command, **fields))
        return self.answer()


class Case(unittest.TestCase):
    """A test with a folder of its own, `self.folder`, in which all its programs run."""

    def setUp(self):
        # In memory, where it can be: what a killed program has written is the system's, so that
        # waiting for a disk would show nothing more.
        folder = tempfile.TemporaryDirectory(prefix="photos-helper-", dir=os.environ.get(
            "TMPDIR", "/dev/shm" if os.path.isdir("/dev/shm") else None))
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.library = self.folder / "Library"

    def run_sim(self, *words, **more):
        """Runs photos-sim; how it ended and what it wrote, as bytes."""
        return subprocess.run([SIM, *words], cwd=self.folder, capture_output=True, check=False,
                              **more)

    def sim(self, *words):
        """The standard output of a run that succeeds."""
        done = self.run_sim(*words)
        self.assertEqual(done.returncode, 0, f"{words}: {done.stderr}")
        return done.stdout.decode()

    def create(self, *assets, library="Library", **description):
        (self.folder / "description.json").write_text(
            json.dumps({"authorization": 3, "assets": assets, **description}))
        self.sim("create", library, "--from", "description.json")

    def make_photos(self, name, count, size=3000):
        """A folder of photos, each of other bytes, and their digests."""
        photos = self.folder / name
        photos.mkdir()
        digests = set()
        for number in range(count):
            content = f"{name} {number} ".encode() * (size // 10)
            (photos / f"IMG_{number:04}_{'x' * 200}.JPG").write_bytes(content)
            digests.add(digest(content))
        return photos, digests

    def make_library(self, count=4, **more):
        """A library of photos from the folder "first"; their digests by their identifiers."""
        photos, digests = self.make_photos("first", count, **more)
        self.sim("import", self.library, photos)
        self.sim("access", self.library, AUTHORIZED)
        held = self.contents()
        self.assertEqual(set(held.values()), digests)
        return held

    def start_afresh(self):
        """Puts the library back to what it was at the first call; removes what lies beside it."""
        before = self.folder / "before"
        if not before.exists():
            before.mkdir()
            if self.library.exists():
                self.library.rename(before / "Library")
        for left in [self.library, *self.library.parent.glob(".*.incomplete-*")]:
            shutil.rmtree(left, ignore_errors=True)
        if (before / "Library").exists():
            shutil.copytree(before / "Library", self.library)

    def rows(self, query):
        """What the query gives, or changes, in the library by SQLite alone."""
        with contextlib.closing(sqlite3.connect(
                self.library / "library.sqlite", isolation_level=None)) as database:
            return database.execute(query).fetchall()

    def reclaimed(self):
        return {asset for asset, in self.rows(
            "SELECT localIdentifier FROM asset WHERE recentlyDeleted")}

    def contents(self):
        """The digest of each asset, as it was exported: all fit on one page. Of several resources
        the last counts."""
        digests = {}
        with Server(self.library) as server:
            for summary in server.ask("discover", limit=500)["assets"]:
                original = {key: summary[key] for key in ("assetID", "photoKitResourceType")}
                answer = server.ask("export", **original, destination="/dev/null")
                self.assertTrue(answer["ok"], answer)
                digests[summary["assetID"]] = answer["sha256"]
        return digests

    def assert_whole(self, is_tidy=True):
        """The library opens, is intact, holds no file that is not its own, and delivers every byte
        of every asset, whose digests this gives. If it is tidy, each file among the originals is a
        resource's."""
        self.sim("access", self.library)
        digests = set(self.contents().values())
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertLessEqual({file.name for file in self.library.iterdir()}, {
            "originals", "library.sqlite", "library.sqlite-wal", "library.sqlite-shm"})
        if is_tidy:
            originals = (self.library / "originals").rglob("*")
            self.assertEqual({file.name for file in originals if file.is_file()},
                             {name for name, in self.rows(
                                 "SELECT sha256 FROM resource WHERE sha256 NOTNULL")})
        return digests
