"""Programs without descriptors, memory or room: each says so, and the library stays whole."""

import json
import os
import random
import resource
import subprocess
import unittest

from programs import BUILD, ROUNDS, SIM, TRIED, Case, Server, line

FREE = "no limit"


class Limited(Case):
    """Every command, of photos-sim and of the protocol, with too little of something."""

    def setUp(self):
        super().setUp()
        self.set_up_disk()
        self.held = self.make_library()
        self.second, self.added = self.make_photos("second", 3)
        (self.folder / "description.json").write_text(json.dumps({"assets": [
            {"resources": [{"type": 1, "originalFilename": "a", "text": "a" * 20_000}]}] * 20}))
        with Server(self.library) as server:
            self.first, *_, last = sorted(self.assets(server))
            self.assertTrue(server.ask("reclaim", assetIDs=[last])["ok"])
        original = {"assetID": self.first, "photoKitResourceType": 1}
        self.lines = [
            line("authorize"), line("estimate", **original), line("open", assetID="none"),
            line("discover", note="x" * 3_000_000), line("discover", limit=500),
            line("export", **original, destination="exported"),
            line("export", **original, destination="other name"),
            line("reclaim", assetIDs=[self.first])]
        self.programs = {
            "import": ["import", self.library, self.second],
            "create": ["create", self.folder / "New", "--from", "description.json"],
            "synthetic": ["create", self.folder / "New", "--synthetic", "300"],
            "access": ["access", self.library, "--prompt-answer", "4"],
            "restore": ["recently-deleted", self.library, "--restore", last]}

    def set_up_disk(self):
        pass

    def each_limit(self, limit, values):
        for value in [*values, FREE]:
            with self.subTest(value=value):
                self.start_afresh()
                self.run_all(None if value == FREE else lambda value=value: limit(value))
            TRIED[f"limits of {self._testMethodName[5:]}"] += value != FREE

    def run_all(self, starve):
        """Runs everything. Without a limit everything succeeds."""
        self.serve(starve)
        for name, words in self.programs.items():
            succeeded = self.run_one(words, starve)
            self.assertTrue(succeeded or starve, name)
            new = self.folder / "New"
            if name in ("create", "synthetic"):
                self.assertEqual(new.exists(), succeeded)
            if succeeded and new.exists():
                self.sim("access", new)
                subprocess.run(["rm", "-r", new], check=True)
            TRIED["programs below limits"] += starve is not None
        self.sim("import", self.library, self.second)
        deleted = [name for name, in self.rows(
            "SELECT localIdentifier FROM asset WHERE recentlyDeleted")]
        if deleted:
            self.sim("recently-deleted", self.library, "--restore", *deleted)
        self.assertEqual(self.assert_whole(), self.held | self.added)
        self.assert_tidy()

    def run_one(self, words, starve):
        """Whether it succeeded. Otherwise it says why in lines of its own, with status 1."""
        done = self.run_below(starve, words)
        if done.returncode == 0 or self.could_not_be_loaded(done):
            return done.returncode == 0
        self.assertEqual((done.returncode, done.stdout), (1, b""), done)
        for text in done.stderr.splitlines():
            self.assertTrue(text.startswith((b"photos-sim: ", b"  ")), done)
        self.assertTrue(done.stderr, words)
        return False

    def serve(self, starve):
        """Serves every command, once with a destination that is another name of an original."""
        other, exported = self.folder / "other name", self.folder / "exported"
        for file in (other, exported):
            file.unlink(missing_ok=True)
        digest, = self.rows("SELECT sha256 FROM resource JOIN asset ON asset = id "
                            f"WHERE localIdentifier = '{self.first}'")[0]
        file = self.library / "originals" / digest[:2] / digest
        content = file.read_bytes()
        os.link(file, other)
        done = self.run_below(starve, ["serve", self.library], b"".join(self.lines))
        self.assertEqual(file.read_bytes(), content)
        if self.could_not_be_loaded(done):
            return
        if starve and done.returncode == 1:
            self.assertEqual((done.stdout, done.stderr.count(b"\n")), (b"", 1), done)
            return
        answers = [json.loads(text) for text in done.stdout.splitlines()]
        self.assertEqual((done.returncode, len(answers), done.stderr), (0, len(self.lines), b""))
        exported_answer, reclaimed = answers[5], answers[7]
        if exported_answer["ok"]:
            self.assertEqual(exported.read_bytes(), content)
        self.assertTrue(starve or exported_answer["ok"] and reclaimed["ok"], answers)
        deleted, = self.rows("SELECT sum(recentlyDeleted) FROM asset")[0]
        self.assertEqual(deleted, 2 if reclaimed["ok"] else 1)

    def run_below(self, starve, words, given=b""):
        return subprocess.run([SIM, *words], cwd=self.folder, input=given, capture_output=True,
                              preexec_fn=starve, check=False)

    def could_not_be_loaded(self, done):
        """The system could not begin the program."""
        return done.returncode == 127 and b"error while loading shared libraries" in done.stderr


def limiter(which):
    return lambda value: resource.setrlimit(which, (value, value))


class FileSizes(Limited):

    def test_size_of_a_file(self):
        self.each_limit(limiter(resource.RLIMIT_FSIZE), [0, 1, 5000, *(
            random.randrange(300_000) for _ in range(ROUNDS or 4))])


class Processes(Limited):
    """The sanitizers themselves need what is withheld here."""

    def test_descriptors(self):
        self.each_limit(limiter(resource.RLIMIT_NOFILE), range(3, 14))

    def test_address_space(self):
        limit, least = limiter(resource.RLIMIT_AS), 8 << 20
        while self.run_below(lambda: limit(least), ["--help"]).returncode != 0:
            least += 1 << 16
        self.each_limit(limit, sorted(random.randrange(least, least + (28 << 20))
                                      for _ in range(ROUNDS or 12)))

    def test_threads(self):
        """No thread gets a stack as large as the whole address space."""
        for program, told in [([SIM, "serve", self.library], 1), ([BUILD / "photos-helper"], 0)]:
            done = subprocess.run(program, input=self.lines[0], capture_output=True, check=False,
                                  preexec_fn=lambda: resource.setrlimit(
                                      resource.RLIMIT_STACK, (1 << 47, resource.RLIM_INFINITY)))
            self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")),
                             (1, b"", told), done)


class FullDisk(Limited):
    """Runs in a mount namespace of its own, which takes the small disk with it."""

    def set_up_disk(self):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16m", "tmpfs", self.folder], check=True)
        self.addCleanup(subprocess.run, ["umount", self.folder], check=True)

    def leave(self, pages):
        disk = os.statvfs(self.folder)
        with open(self.folder / "filler", "wb") as filler:
            os.posix_fallocate(filler.fileno(), 0, (disk.f_bavail - pages) * disk.f_frsize)

    def run_below(self, starve, words, given=b""):
        if starve:
            starve()
        try:
            return super().run_below(None, words, given)
        finally:
            (self.folder / "filler").unlink(missing_ok=True)

    def test_room_on_the_disk(self):
        self.each_limit(self.leave, [0, 1, 2, *(random.randrange(150) for _ in range(ROUNDS or 5))])


if __name__ == "__main__":
    unittest.main()
