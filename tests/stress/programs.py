"""What the stress tests share: the programs, libraries to try them on, and what must hold of one."""

import hashlib
import json
import os
import pathlib
import sqlite3
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ["BUILD"]).resolve()
SIM = BUILD / "photos-sim"
KILLER = BUILD / "tests" / "kill_at_write.so"
# 0: the few tries that every run of the tests makes.
ROUNDS = int(os.environ.get("ROUNDS", "0"))
AUTHORIZED = "3"


class Server:
    """A helper on a library, asked one request at a time."""

    def __init__(self, library, **more):
        self.process = subprocess.Popen([SIM, "serve", library], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)

    def ask(self, command, **fields):
        """The answer; None when the helper has gone."""
        try:
            self.process.stdin.write(json.dumps({"command": command, **fields}).encode() + b"\n")
            self.process.stdin.flush()
        except BrokenPipeError:
            return None
        line = self.process.stdout.readline()
        return json.loads(line) if line.endswith(b"\n") else None

    def end(self):
        """The exit status, and what standard error was told."""
        _, errors = self.process.communicate()
        return self.process.returncode, errors.decode()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()


class Case(unittest.TestCase):
    """A test with a folder of its own, `self.folder`, in which all its programs run."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="photos-helper-stress-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.library = self.folder / "Library"

    def sim(self, *words, succeeds=True, **more):
        """Runs photos-sim; its standard output."""
        done = subprocess.run([SIM, *words], cwd=self.folder, capture_output=True, text=True,
                              check=False, **more)
        if succeeds:
            self.assertEqual(done.returncode, 0, f"{words}: {done.stderr}")
        return done.stdout

    def make_photos(self, name, count, size=3000):
        """A folder of photos, each of other bytes, and their digests."""
        photos = self.folder / name
        photos.mkdir()
        digests = set()
        for number in range(count):
            content = f"{name} {number} ".encode() * (size // 10)
            digests.add(hashlib.sha256(content).hexdigest())
            (photos / f"IMG_{number:04}_{'x' * 200}.JPG").write_bytes(content)
        return photos, digests

    def rows(self, query):
        """What the query gives, as SQLite alone reads the library."""
        database = sqlite3.connect(self.library / "library.sqlite")
        try:
            return database.execute(query).fetchall()
        finally:
            database.close()

    def assets(self, server):
        """The identifiers of all listed assets, with the types of their resources."""
        listed, offset = {}, 0
        while offset is not None:
            page = server.ask("discover", limit=500, offset=offset)
            self.assertEqual(page["status"], "discovered", page)
            for summary in page["assets"]:
                types = listed.setdefault(summary["assetID"], [])
                types.append(summary["photoKitResourceType"])
            offset = page.get("nextOffset")
        return listed

    def assert_whole(self):
        """The library opens, is intact, and delivers every byte of every resource."""
        self.sim("access", self.library)
        digests = set()
        with Server(self.library) as server:
            for asset, types in self.assets(server).items():
                for kind in types:
                    answer = server.ask("export", assetID=asset, photoKitResourceType=kind,
                                        destination="/dev/null")
                    self.assertEqual(answer["status"], "exported", answer)
                    digests.add(answer["sha256"])
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        return digests
