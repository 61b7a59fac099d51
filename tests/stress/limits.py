"""Programs without descriptors, memory or room: each says so, and the library stays whole."""

import json
import os
import random
import resource
import shutil
import subprocess
import threading
import time
import unittest

from programs import BUILD, ROUNDS, SIM, TRIED, Case, Server, digest, line, photo

# The status of a program whose libraries the system could not load.
UNLOADED = 127


class Limited(Case):
    """Every command, of photos-sim and of the protocol, with too little of something."""

    def setUp(self):
        super().setUp()
        self.set_up_disk()
        self.held = self.make_library()
        self.second, self.added = self.make_photos("second", 3, size=200_000)
        (self.folder / "description.json").write_text(json.dumps(
            {"assets": [photo(str(number), text="a" * 20_000) for number in range(20)]}))
        self.first, *_, last = sorted(self.held)
        with Server(self.library) as server:
            self.assertTrue(server.ask("reclaim", assetIDs=[last])["ok"])
        original = {"assetID": self.first, "photoKitResourceType": 1}
        self.lines = [
            line("authorize"), line("estimate", **original), line("open", assetID="none"),
            line("discover", note="x" * 3_000_000), line("discover", limit=500),
            line("export", **original, destination="other name"),
            line("export", **original, destination="exported"),
            line("reclaim", assetIDs=[self.first])]
        self.new = self.folder / "New"
        self.programs = [
            ["import", self.library, self.second],
            ["create", self.new, "--from", "description.json"],
            ["access", self.library, "--prompt-answer", "4"],
            ["recently-deleted", self.library, "--restore", last]]

    def set_up_disk(self):
        pass

    def run_below(self, starve, words, given=b""):
        return self.run_sim(*words, input=given, preexec_fn=starve)

    def each_limit(self, limit, values):
        """Runs everything below each limit. At last without one, where everything succeeds."""
        for value in [*values, None]:
            with self.subTest(value=value):
                self.start_afresh()
                starve = None if value is None else lambda value=value: limit(value)
                self.serve(starve)
                for words in self.programs:
                    self.run_one(words, starve)
                self.sim("import", self.library, self.second)
                for name in self.reclaimed():
                    self.sim("recently-deleted", self.library, "--restore", name)
                self.assertEqual(self.assert_whole(), self.added | set(self.held.values()))
            TRIED[f"limits of {self._testMethodName[5:]}"] += value is not None

    def run_one(self, words, starve):
        """It succeeds. Or it says why in lines of its own, with status 1, and names what it could
        not remove."""
        done = self.run_below(starve, words)
        succeeded = done.returncode == 0
        self.assertTrue(succeeded or starve, done)
        if not succeeded and done.returncode != UNLOADED:
            self.assertEqual((done.returncode, done.stdout), (1, b""), done)
            self.assertRegex(done.stderr, rb"\A((photos-sim: |  ).*\n)+\Z")
            for left in self.folder.glob(".New.*"):
                self.assertIn(left.name.encode(), done.stderr)
                shutil.rmtree(left)
        self.assertEqual(list(self.library.glob("originals/.incomplete-*")), [])
        self.assertEqual(self.new.exists(), succeeded and self.new in words)
        if self.new.exists():
            self.sim("access", self.new)
            shutil.rmtree(self.new)

    def serve(self, starve):
        """Serves every command, once with a destination that is another name of an original."""
        digest = self.held[self.first]
        file = self.library / "originals" / digest[:2] / digest
        content = file.read_bytes()
        (self.folder / "other name").unlink(missing_ok=True)
        os.link(file, self.folder / "other name")
        done = self.run_below(starve, ["serve", self.library], b"".join(self.lines))
        self.assertEqual(file.read_bytes(), content)
        if starve and done.returncode in (1, UNLOADED):
            self.assertEqual((done.stdout, done.stderr.count(b"\n")), (b"", 1), done)
            return
        answers = [json.loads(text) for text in done.stdout.splitlines()]
        self.assertEqual((done.returncode, len(answers), done.stderr), (0, len(self.lines), b""))
        exported, reclaimed = [answer["ok"] for answer in answers[-2:]]
        self.assertTrue(starve or exported and reclaimed, answers)
        if exported:
            self.assertEqual((self.folder / "exported").read_bytes(), content)
        self.assertEqual(self.rows("SELECT sum(recentlyDeleted) FROM asset"), [(1 + reclaimed,)])


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

    def test_a_thread_for_large_exports(self):
        """Where only the thread that serves can be had, a large export is one as any other."""
        small, large, stack, step = 300_000, 5_000_000, 64 << 20, 1 << 20
        self.create(photo("S", size=small), photo("L", size=large), library="Sizes")

        def is_exported(name, size, room):
            def limit():
                resource.setrlimit(resource.RLIMIT_STACK, (stack, resource.RLIM_INFINITY))
                resource.setrlimit(resource.RLIMIT_AS, (room, room))
            answer = self.run_below(limit, ["serve", "Sizes"], line(
                "export", assetID=name, photoKitResourceType=1, destination="zeros")).stdout
            return digest(bytes(size)).encode() in answer

        least = stack
        while not is_exported("S", small, least):
            least += step
        for room in range(least + step, least + 2 * stack, 8 * step):
            self.assertTrue(is_exported("L", large, room), room - least)


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
        done = super().run_below(None, words, given)
        (self.folder / "filler").unlink(missing_ok=True)
        return done

    def test_room_on_the_disk(self):
        self.each_limit(self.leave, [0, 1, 2, *(random.randrange(150) for _ in range(ROUNDS or 5))])


class Hosts(Case):
    """What a host may have left of the process in which it starts the helper."""

    def setUp(self):
        super().setUp()
        self.create()

    def test_streams_that_do_not_block(self):
        answers = b'{"ok":true,"status":"authorized"}\n' * 20_000
        with Server(self.library, preexec_fn=lambda: [
                os.set_blocking(stream, False) for stream in (0, 1)]) as server:
            asking = threading.Thread(target=server.send, args=[line("authorize") * 20_000])
            asking.start()
            time.sleep(0.3)  # the pipes fill
            self.assertTrue(server.stdout.read(len(answers)) == answers)
            asking.join()
        self.assertEqual(server.returncode, 0)

    def test_a_missing_descriptor_and_a_deleted_folder(self):
        deleted = self.folder / "deleted"

        def leave():
            os.close(2)
            deleted.rmdir()

        for library, status in [(self.library, "authorized"), ("Library", "authorization_1")]:
            deleted.mkdir()
            with Server(library, cwd=deleted, preexec_fn=leave) as server:
                self.assertEqual(server.ask("authorize")["status"], status)
                self.assertEqual(os.readlink(f"/proc/{server.pid}/fd/2"), "/dev/null")


if __name__ == "__main__":
    unittest.main()
