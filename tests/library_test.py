"""A local library as it is served, while others change its files, and its user's desktop."""

import contextlib
import hashlib
import os
import random
import shutil
import signal
import sqlite3
import subprocess
import sys
import unittest

from programs import BUILD, Case, Server, line, photo

DIGEST = hashlib.sha256(b"abc").hexdigest()
ONE = photo("A", text="abc")
ORIGINAL = {"assetID": "A", "photoKitResourceType": 1}
ALBUM = "photos:albums?albumUuid=ALBUM&assetUuid=A\n"
# What is told of an original, by the values that it is recorded with.
NONSENSE = {
    "is recorded with a number that makes no sense": [
        "size = -5, sha256 = NULL", "size = -9223372036854775808", "delay = -1", "delay = 86401",
        "delay = 9e999", "bytesPerSecond = 0", "failureAfterBytes = -1, failureKind = 0",
        "failureAfterBytes = 1, failureKind = 3", "failureAfterBytes = 1, failureKind = -1",
        "chunks = '-1'", "chunks = '1048577'"],
    "has a digest that is none": [
        f"sha256 = '../{27 * './'}secrets'", "sha256 = upper(sha256)", "sha256 = 'ba'"]}
# Relative to the folder "links".
INTO_THE_LIBRARY = ["to original", "to link", "to nothing yet", "to folder/new", "other name",
                    "other name of database"]


class Library(Case):
    def setUp(self):
        super().setUp()
        self.database = self.library / "library.sqlite"
        self.original = self.library / "originals" / "ba" / DIGEST

    def serve(self, **more):
        server = Server("Library", cwd=self.folder, **more)
        self.addCleanup(server.communicate)
        return server

    def change(self, statements):
        with contextlib.closing(sqlite3.connect(self.database)) as database:
            database.executescript(statements)

    def change_in_log(self, statements):
        """By a program that ends before it has written the change back from the log."""
        subprocess.run([sys.executable, "-c", "import os, sqlite3, sys\n"
                        "sqlite3.connect(sys.argv[1]).executescript(sys.argv[2])\n"
                        "os._exit(0)", self.database, statements], check=True)

    def state(self, folder):
        """Each file below it, and its bytes."""
        return {path: path.read_bytes() if path.is_file() else None for path in folder.rglob("*")}

    def assert_access(self, server, status):
        self.assertEqual([server.ask(command)["status"] for command in ("authorize", "discover")],
                         [f"authorization_{status}"] * 2)

    def assert_holds(self, server, *names):
        self.assertEqual([summary["assetID"] for summary in server.ask("discover")["assets"]],
                         list(names))

    def export(self, server, destination="/dev/null", **more):
        """What is told of it."""
        answer = server.ask("export", **{**ORIGINAL, **more}, destination=str(destination))
        return answer.get("error", answer["status"])

    def test_where_there_is_no_library_that_it_reads_access_is_restricted_and_nothing_written(self):
        database, later = self.database, "PRAGMA user_version = 1000"
        another = "PRAGMA application_id = 1"
        damages = {
            "no folder": lambda: shutil.rmtree(self.library),
            "no database": database.unlink,
            "a folder in its place": lambda: (database.unlink(), database.mkdir()),
            "a pipe in its place": lambda: (database.unlink(), os.mkfifo(database)),
            "an empty file": lambda: os.truncate(database, 0),
            "no SQLite file": lambda: database.write_text("Hello"),
            "cut off": lambda: os.truncate(database, 4096),
            "junk behind the header": lambda: database.write_bytes(
                database.read_bytes()[:100] + b"x" * 8000),
            "another application's": lambda: self.change(another),
            "a later schema": lambda: self.change(later),
            "a later schema, still in the log": lambda: self.change_in_log(later),
            "a later schema, still in a log without its shared memory": lambda: (
                self.change_in_log(later), os.unlink(f"{database}-shm")),
            "another application's with a log": lambda: (
                self.change(another), self.change_in_log("CREATE TABLE another (a)")),
            "without a table": lambda: self.change("DROP TABLE resource"),
            "without settings": lambda: self.change("DELETE FROM library")}
        server = self.serve()
        for name, damage in damages.items():
            with self.subTest(name):
                shutil.rmtree(self.library, ignore_errors=True)
                self.create()
                damage()
                before = self.state(self.folder)
                self.assert_access(server, 1)
                self.assertTrue(self.state(self.folder) == before)

    def test_a_damaged_database_is_served_no_further_than_to_its_damage(self):
        self.create(*({"localIdentifier": str(number), "creationDate": number}
                      for number in range(3000)))
        server = self.serve()
        self.assertTrue(server.ask("authorize")["ok"])
        whole = self.database.read_bytes()
        with open(self.database, "r+b") as file:
            file.seek(len(whole) // 2)
            file.write(b"x" * (len(whole) // 4))
        self.assertNotIn("nextOffset", server.ask("discover", offset=2900, limit=10))
        self.assert_access(server, 1)
        self.database.write_bytes(whole)
        self.assertEqual(server.ask("discover", offset=2900, limit=10)["nextOffset"], 2910)

    def test_the_library_at_the_place_is_followed(self):
        self.create(photo("A"), authorization=2)
        server = self.serve()
        self.assert_access(server, 2)
        # The whole library goes, then another comes.
        self.library.rename(self.folder / "elsewhere")
        self.assert_access(server, 1)
        self.create(photo("B"), photo("C"), authorization=0, promptAnswer=4)
        self.assertTrue(server.ask("authorize")["ok"])
        self.assert_holds(server, "B", "C")
        # Its file alone is replaced: by junk, then by a good one, while it is served.
        self.change("PRAGMA wal_checkpoint(TRUNCATE)")
        shutil.copy(self.database, self.folder / "good")
        (self.folder / "junk").write_text("Hello")
        (self.folder / "junk").rename(self.database)
        self.assert_access(server, 1)
        self.assertEqual(self.database.read_text(), "Hello")
        (self.folder / "good").rename(self.database)
        self.assert_holds(server, "B", "C")

    def test_no_destination_leads_into_the_library(self):
        self.create(ONE)
        links = self.folder / "links"
        links.mkdir()
        (links / "to original").symlink_to(self.original)
        (links / "to link").symlink_to("to original")
        (links / "to nothing yet").symlink_to("../Library/originals/new")
        (links / "to folder").symlink_to(self.library / "originals")
        os.link(self.original, links / "other name")
        os.link(self.database, links / "other name of database")
        before = self.state(self.library)
        for destination in INTO_THE_LIBRARY:
            with Server(self.library) as server:
                self.assertIn("a part of the photo library",
                              self.export(server, links / destination))
            self.assertTrue(self.state(self.library) == before, destination)
        # A folder that was outside need not stay there.
        server, wandering = self.serve(), self.folder / "wandering"
        wandering.mkdir()
        self.assertEqual(self.export(server, wandering / "x"), "exported")
        wandering.rename(self.library / "wandering")
        self.assertIn("a part of", self.export(server, self.library / "wandering" / "x"))
        (links / "out").symlink_to("elsewhere")
        self.assertEqual(self.export(server, links / "out"), "exported")
        # Nor need the library's own parts be in its folder.
        shutil.rmtree(links)
        for part in ("library.sqlite", "originals"):
            (self.library / part).rename(self.folder / part)
            (self.library / part).symlink_to(self.folder / part)
        for destination in ("library.sqlite", "originals/new"):
            self.assertIn("a part of", self.export(server, self.folder / destination))
        self.assert_holds(server, "A")

    def test_a_file_is_left_as_it_is_unless_there_is_something_to_export(self):
        self.create(ONE)
        copy = self.folder / "copy"
        copy.write_text("a longer copy of before")
        server = self.serve()
        for lacking, told in [({"assetID": "B"}, "missing"),
                              ({"photoKitResourceType": 2}, "unavailable"),
                              ({"assetID": None}, "assetID and destination are required")]:
            self.assertEqual(self.export(server, copy, **lacking), told)
            self.assertEqual(copy.read_text(), "a longer copy of before")
        self.assertEqual(self.export(server, copy), "exported")
        self.assertEqual(copy.read_text(), "abc")

    def test_requests_are_carried_out_when_nobody_reads_the_answers(self):
        self.create(ONE)
        with Server("Library", cwd=self.folder) as server:
            server.stdout.close()
            for name in "123":
                server.send(line("export", **ORIGINAL, destination=name))
        self.assertEqual(server.returncode, 0)
        self.assertEqual((self.folder / "3").read_text(), "abc")

    def test_what_is_wrong_with_an_original_is_told(self):
        self.create(ONE)
        server = self.serve()
        self.assertEqual(self.export(server), "exported")
        for content, told in [("abcd", "is longer than the library recorded"),
                              ("ab", "is shorter than the library recorded")]:
            self.original.write_text(content)
            self.assertIn(told, self.export(server))
        self.original.unlink()
        os.mkfifo(self.original)
        self.assertIn("is no file in the library", self.export(server))

    def test_nothing_is_delivered_for_numbers_and_digests_that_make_no_sense(self):
        self.create(ONE)
        (self.folder / "secrets").write_text("abc")
        server = self.serve()

        def exported_with(values):
            self.change("PRAGMA ignore_check_constraints = 1; UPDATE resource SET size = 3, "
                        "chunks = NULL, failureAfterBytes = NULL, delay = 0, bytesPerSecond = NULL,"
                        f"sha256 = '{DIGEST}'; UPDATE resource SET {values}")
            return self.export(server)
        for told, recorded in NONSENSE.items():
            for values in recorded:
                self.assertEqual(exported_with(values), f"The original “a.jpg” {told}", values)
        self.assertEqual(exported_with("chunks = '9999999999999999999999'"), "exported")
        # A failure beyond the end comes at the end.
        self.assertEqual(
            exported_with("failureAfterBytes = 7, failureKind = 0, failureError = 'x'"), "x")

    def test_dates_come_as_they_are_unless_they_are_no_moments(self):
        randomly = random.Random(1)
        largest = sys.float_info.max
        dates = sorted([0.1, -0.0, 1e22, 5e-324, largest, -largest, 1700000000.123456, *(
            sign * 2.0 ** randomly.uniform(-1000, 1000) for sign in 200 * [1, -1])])
        self.create(*map(photo, map(repr, dates)))
        with contextlib.closing(sqlite3.connect(self.database)) as database, database:
            database.executemany("UPDATE asset SET creationDate = ? WHERE localIdentifier = ?",
                                 ((date, repr(date)) for date in dates))
        server = self.serve()
        listed = server.ask("discover", limit=500)["assets"]
        self.assertEqual([summary["createdAt"] for summary in listed], dates)
        for number, date in enumerate(dates):
            last = server.ask("discover", offset=number - 1, cutoff=date)["assets"]
            self.assertEqual([summary["createdAt"] for summary in last], dates[:number][-1:])
        for date in ("9e999", "-9e999"):
            self.change(f"""PRAGMA ignore_check_constraints = 1;
                UPDATE asset SET modificationDate = {date};
                UPDATE asset SET creationDate = {date} WHERE creationDate <> 0.1""")
            [summary] = server.ask("discover")["assets"]
            self.assertEqual(summary["createdAt"], 0.1)
            self.assertNotIn("modifiedAt", summary)

    def test_elsewhere_than_on_macos_the_library_is_in_the_users_home_folder(self):
        """As the password database has it: a file which only a namespace of the test's own can put
        another one in place of."""
        (self.folder / "passwd").write_text(f"me:x:0:0::{self.folder}:/bin/sh\n")
        in_namespace = ("exec unshare --user --map-root-user --mount sh -c "
                        f"'mount --bind {self.folder}/passwd /etc/passwd && exec %s'")
        if os.system(in_namespace % "true") != 0:
            self.skipTest("no namespace can be made here")
        serve = in_namespace % f"{BUILD}/photos-helper"

        def answer():
            return subprocess.run(["sh", "-c", serve], input=line("discover"), check=True,
                                  stdout=subprocess.PIPE).stdout
        self.assertEqual(answer(), b'{"ok":false,"status":"authorization_1"}\n')
        self.create()
        (self.folder / "Pictures").mkdir()
        self.library.rename(self.folder / "Pictures" / "Photos Library")
        self.assertEqual(answer(), b'{"ok":true,"status":"discovered","assets":[]}\n')

    def test_urls_are_opened_by_the_desktops_opener_whose_noise_is_kept_away(self):
        self.create({"localIdentifier": "//A//L0/001"}, userLibraryAlbum="/ALBUM/L0/020")
        # Stands in for the opener under either system's name: notes its argument, eats input, is
        # noisy.
        for name in ("xdg-open", "open"):
            opener = self.folder / name
            opener.write_text("#!/bin/sh\necho noise; echo noise >&2; cat\n"
                              'echo "$1" >>opened; exec test ! -e refuse\n')
            opener.chmod(0o700)
        # With SIGCHLD ignored, as a host may leave it.
        server = self.serve(env={**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"},
                            stderr=subprocess.PIPE,
                            preexec_fn=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        for is_opened in (True, False):
            self.assertEqual(server.ask("open", assetID="//A//L0/001"),
                             {"ok": is_opened, "status": "opened_in_photos"})
            (self.folder / "refuse").touch()
        self.assertEqual(server.communicate(), (b"", b""))
        self.assertEqual(server.returncode, 0)
        self.assertEqual((self.folder / "opened").read_text(), ALBUM + ALBUM)


if __name__ == "__main__":
    unittest.main()
