"""photos-sim: what it makes of files and descriptions, and what it refuses."""

import os
import re
import signal
import struct
import subprocess
import sys
import time
import unittest

from programs import ROOT, SIM, Case, Server

# Files by their names, and the assets that they become: media type, then each resource.
CAMERA_ROLLS = {
    "b.heic A.JPG": ["1 1:A.JPG", "1 1:b.heic"],
    "IMG_1.MOV img_1.heic": ["1 1:img_1.heic 9:IMG_1.MOV"],
    "a.mp4 a.jpg": ["1 1:a.jpg", "2 2:a.mp4"],
    "a.dng a.JPG a.mov": ["1 1:a.JPG 4:a.dng 9:a.mov"],
    "a.dng a.png": ["1 1:a.png", "1 1:a.dng"],
    "a.nef": ["1 1:a.nef"],
    "a.gif a.jpg a.mov": ["1 1:a.jpg 9:a.mov", "1 1:a.gif"],
    "IMG_1.JPG IMG_1.MOV IMG_1.AAE IMG_E1.JPG IMG_E1.MOV":
        ["1 1:IMG_1.JPG 9:IMG_1.MOV 7:IMG_1.AAE 5:IMG_E1.JPG 10:IMG_E1.MOV"],
    "IMG_1.JPG IMG_E1.MOV": ["1 1:IMG_1.JPG", "2 2:IMG_E1.MOV"],
    "IMG_1.MOV IMG_1.AAE img_e1.mov": ["2 2:IMG_1.MOV 7:IMG_1.AAE 6:img_e1.mov"],
    "IMG_E1.JPG IMG_2.JPG IMG_Ea.JPG IMG_a.JPG":
        ["1 1:IMG_2.JPG", "1 1:IMG_a.JPG", "1 1:IMG_E1.JPG", "1 1:IMG_Ea.JPG"],
    "IMG_1.JPG IMG_E1.JPG IMG_E1.PNG": ["1 1:IMG_1.JPG 5:IMG_E1.JPG", "1 1:IMG_E1.PNG"],
    "IMG_9.AAE ._a.jpg .DS_Store": []}
ASSETS = """SELECT mediaType || ' ' || group_concat(type || ':' || originalFilename, ' ')
    FROM (SELECT * FROM asset JOIN resource ON asset = id ORDER BY id, position) GROUP BY id"""
NOON = 1689336000  # 2023-07-14T12:00:00Z
CHANGED = 1_000_000_000
# Exif's date, offset and fraction, and the moment three hours east of Greenwich.
EXIF_DATES = [
    (("2023:07:14 12:00:00", "+02:00", "25"), NOON - 7200 + 0.25),
    (("2023:07:14 12:00:00", "-05:30", "x"), NOON + 19800),
    (("2023:07:14 12:00:00", "   :  ", ""), NOON - 10800),
    *[((date, "", ""), CHANGED)
      for date in ("0000:00:00 00:00:00", "2023:02:30 12:00:00", "2023-07-14")]]
# What is no command line, and what is said of it.
WRONG_WORDS = [
    ("", "A subcommand is required; see photos-sim --help"),
    ("create", "LIBRARY is required; see photos-sim create --help"),
    ("create x --synthetic -1", "-1 is no number of assets; see photos-sim create"),
    ("create x --bytes-per-resource 1", "--bytes-per-resource requires --synthetic"),
    ("create x --synthetic 1 --bytes-per-resource 68719476737", "68719476736"),
    ("network x maybe", "maybe"),
    ("import x --deep y", "--deep; see photos-sim import --help"),
    ("serve x \33", r"\u{1b}; see photos-sim serve --help"),
    ("access x -1", "-1 is no status"), ("access x --prompt-answer -1", "-1 is no status")]
SYNTHETIC = [
    ("count(DISTINCT localIdentifier) FROM asset", 2000, 2000),
    ("avg(size) FROM resource", 970, 1030),
    ("count(*) FROM asset WHERE mediaType = 2", 160, 240),
    ("count(*) FROM resource WHERE type = 9", 310, 410),
    ("count(*) FROM resource WHERE type = 4", 25, 60),
    ("(max(creationDate) - min(creationDate)) / 31557600 FROM asset", 14, 15)]


def exif(*texts):
    """A TIFF file with nothing but DateTimeOriginal, OffsetTimeOriginal, SubSecTimeOriginal."""
    entries, values = b"", b""
    for tag, text in zip((0x9003, 0x9011, 0x9291), texts):
        value = text.encode().ljust(5, b"\0")  # a shorter one would stand in the entry itself
        entries += struct.pack("<HHII", tag, 2, len(value), 68 + len(values))
        values += value
    head = struct.pack("<IHHHIIIH", 8, 1, 0x8769, 4, 1, 26, 0, 3)
    return b"II*\0" + head + entries + bytes(4) + values


class Sim(Case):
    def setUp(self):
        super().setUp()
        self.photos = self.folder / "photos"

    def write(self, name, content):
        file = self.photos / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content if isinstance(content, bytes) else content.encode())
        return file

    def refused(self, *words, status=1, **more):
        """The one line that is said of it."""
        done = self.run_sim(*words, **more)
        said = done.stderr.decode()
        self.assertEqual((done.returncode, done.stdout, said.count("\n")), (status, b"", 1), said)
        self.assertTrue(said.startswith("photos-sim: "), said)
        return said

    def test_each_fault_of_a_description_is_told_with_its_place(self):
        refused = (ROOT / "tests/refused_descriptions.txt").read_text()
        cases = re.findall(r"(?m)^([{[][^!]*)^! (.*)", refused)
        self.assertGreater(len(cases), 20)
        description = self.folder / "description.json"
        for text, told in cases:
            description.write_text(text)
            said = self.refused("create", "Library", "--from", description)
            self.assertTrue(said.startswith(f"photos-sim: {description}: {told}"), said)
            self.assertFalse(self.library.exists())
        self.assertIn("nowhere", self.refused("create", "Library", "--from", "nowhere"))

    def test_a_library_is_made_whole_or_not_at_all(self):
        self.refused("create", f"new/{'x' * 250}")  # a name too long for what it is made as
        self.assertFalse((self.folder / "new").exists())
        # A file that can be opened, and its first bytes can't be read; where there is one.
        description = self.write("description.json", """{"assets": [{"resources": [
            {"type": 1, "originalFilename": "a", "file": "/proc/self/mem"}]}]}""")
        self.refused("create", "new/Library", "--from", description)
        self.assertFalse((self.folder / "new").exists())
        # Somebody takes the place meanwhile.
        words = [SIM, "create", self.library, "--synthetic", "50000"]
        with subprocess.Popen(words, stderr=subprocess.DEVNULL) as process:
            while not list(self.folder.glob(".Library.incomplete-*")):
                self.assertIsNone(process.poll(), "it has ended")
                time.sleep(0.001)
            process.send_signal(signal.SIGSTOP)
            try:
                self.library.write_text("not ours")
            finally:
                process.send_signal(signal.SIGCONT)
        self.assertEqual(process.returncode, 1)
        self.assertEqual(self.library.read_text(), "not ours")
        self.library.unlink()
        # What a run that was killed has left is named, and not touched.
        (self.folder / ".Library.incomplete-abcdef").mkdir()
        said = self.run_sim("create", self.library).stderr
        self.assertIn(b"/.Library.incomplete-abcdef: left by", said)
        self.refused("create", self.library)
        self.assertEqual({file.name for file in self.folder.iterdir()},
                         {".Library.incomplete-abcdef", "Library", "photos"})

    def test_files_are_grouped_as_a_camera_roll_has_them(self):
        for number, (names, assets) in enumerate(CAMERA_ROLLS.items()):
            self.library = self.folder / f"Library {number}"
            for name in names.split():
                self.write(f"{number}/{name}", name)
            self.sim("import", self.library, self.photos / str(number))
            self.assertEqual([asset for asset, in self.rows(ASSETS)], assets)

    def test_each_file_is_imported_once_and_the_rest_named(self):
        self.write("a/IMG_1.JPG", "one")
        video = self.write("a/IMG_2.MOV", "two")
        self.sim("import", "Library", "photos")
        self.write("a/IMG_1.MOV", "three")
        self.write("b/IMG_7.JPG", "one")
        self.write("b/notes.txt", "none")
        self.write("b/new.PNG", "four")
        self.write("b/\33[2J\x85\u202E.txt", "a name that acts on a terminal")
        (self.photos / "b" / "IMG_8.MOV").symlink_to(video)
        (self.photos / "c").symlink_to(self.photos / "a")
        done = self.run_sim("import", "Library", "photos")
        self.assertEqual(done.returncode, 0)
        self.assertEqual(
            self.rows("SELECT asset, type, originalFilename FROM resource "
                      "ORDER BY asset, position"),
            [(1, 1, "IMG_1.JPG"), (1, 9, "IMG_1.MOV"), (2, 2, "IMG_2.MOV"),
             (3, 1, "new.PNG")])
        for text in ("added 1 asset and 2 files; 3 files already", "2 files of unknown kind",
                     "b/notes.txt", r"b/\u{1b}[2J\u{85}\u{202e}.txt", "2 links left out",
                     "b/IMG_8.MOV", "photos/c"):
            self.assertIn(text, done.stderr.decode())

    @unittest.skipIf(sys.platform == "darwin", "APFS has no names that are not UTF-8")
    def test_a_name_that_is_not_utf8_is_mended(self):
        self.write("caf\udcc3.PNG", "")
        self.sim("import", "Library", "photos")
        self.assertEqual(self.rows("SELECT originalFilename FROM resource"),
                         [("caf\N{REPLACEMENT CHARACTER}.PNG",)])

    def test_what_cannot_be_imported_is_refused_and_so_is_the_library_itself(self):
        self.write("a.jpg", "one")
        self.sim("import", "Library", "photos")
        (self.folder / "link").symlink_to(self.library)
        for folder in (".", "Library/originals", "link", "nowhere"):
            self.refused("import", "Library", folder)
        self.refused("import", "new", "photos", "nowhere")
        said = self.refused("import", "new/folders/library", "caf\udcc3")
        self.assertTrue(said.startswith(r"photos-sim: caf\xc3: "), said)
        self.assertFalse((self.folder / "new").exists())
        self.assertEqual(self.rows("SELECT count(*) FROM resource"), [(1,)])
        self.sim("import", "new/folders/library", "photos")

    def test_an_import_mends_a_damaged_original(self):
        self.write("a.jpg", "one")
        self.assertEqual(self.run_sim("import", "Library", "photos", preexec_fn=lambda: os.umask(
            0o007)).returncode, 0)
        [original] = self.library.glob("originals/*/*")
        for file in original, self.library / "library.sqlite":
            self.assertEqual(file.stat().st_mode & 0o777, 0o660, file)
        for damage in ("0ne", "o", ""):
            original.write_text(damage)
            self.sim("import", "Library", "photos")
            self.assertEqual(original.read_text(), "one")
        self.assertEqual(self.rows("SELECT count(*) FROM resource"), [(1,)])

    def test_a_photo_is_dated_by_its_exif_else_by_its_pair_else_by_its_file(self):
        for number, (texts, _) in enumerate(EXIF_DATES):
            self.write(f"IMG_{number}.DNG", exif(*texts))
        self.write("IMG_0.JPG", "no Exif")
        for file in self.photos.iterdir():
            os.utime(file, (CHANGED, CHANGED))
        os.utime(self.photos / "IMG_0.DNG", (1, 1))  # its JPG is the asset's first
        done = self.run_sim("import", "Library", "photos", env={**os.environ, "TZ": "TEST-3"})
        self.assertEqual(done.returncode, 0)
        self.assertEqual(self.rows("SELECT creationDate, modificationDate FROM asset ORDER BY id"),
                         [(date, CHANGED) for _, date in EXIF_DATES])

    def test_the_rest_of_what_cannot_be_read_is_imported(self):
        unreadable = [self.write("IMG_1.JPG", "secret"), self.write("IMG_2.MOV", "secret")]
        self.write("IMG_1.MOV", "a video without its photo")
        self.write("IMG_2.JPG", "a photo without its video")
        for file in unreadable:
            file.chmod(0)
        # Root may read anything, except from a namespace without a root.
        start = "exec unshare --user " if os.geteuid() == 0 else "exec "
        if os.system(start + "true") != 0:
            self.skipTest("no namespace can be made here")
        done = subprocess.run(["sh", "-c", f"{start} {SIM} import Library photos"],
                              cwd=self.folder, capture_output=True, check=False)
        self.assertEqual(done.returncode, 1)
        for text in ("added 1 asset and 1 file", "3 files and folders not imported",
                     "IMG_1.JPG” could not be opened", "IMG_1.MOV: belongs to IMG_1.JPG",
                     "IMG_2.MOV” could not be opened"):
            self.assertIn(text, done.stderr.decode())
        self.assertEqual(self.rows("SELECT type, originalFilename FROM resource"),
                         [(1, "IMG_2.JPG")])

    def test_synthetic_libraries_are_the_same_each_time_and_have_their_shape(self):
        made = []
        for name in "12":
            self.library = self.folder / name
            done = self.run_sim("create", name, "--synthetic", "2000",
                                "--bytes-per-resource", "1000")
            self.assertEqual(
                [done.stderr.decode()],
                ["photos-sim: made {} assets with {} resources of {} bytes in all\n".format(*row)
                 for row in self.rows("SELECT count(DISTINCT asset), count(*), sum(size) "
                                      "FROM resource")])
            made.append(self.rows("SELECT * FROM asset JOIN resource ON asset = id"))
        self.assertTrue(made[0] == made[1])
        for query, low, high in SYNTHETIC:
            [[value]] = self.rows("SELECT " + query)
            self.assertTrue(low <= value <= high, (query, value))

    def test_the_access_status_is_read_and_set(self):
        self.refused("access", "Library")
        self.sim("create", "Library")
        self.assertEqual(self.sim("access", "Library"),
                         "0 not-determined\nprompt-answer 3 authorized\n")
        self.sim("access", "Library", "limited", "--prompt-answer", "7")
        self.assertEqual(self.sim("access", "Library"), "4 limited\nprompt-answer 7\n")

        # What can't be printed is a failure.
        reader, unread = os.pipe()
        os.close(reader)
        for words in ("--help", "--version", "access --help", "access Library"):
            done = subprocess.run([SIM, *words.split()], cwd=self.folder, stdout=unread,
                                  stderr=subprocess.DEVNULL, check=False)
            self.assertEqual(done.returncode, 1, words)
        os.close(unread)

    def test_the_wrong_word_is_told_and_whose_help_to_see(self):
        for words, told in WRONG_WORDS:
            self.assertIn(told, self.refused(*words.split(), status=2))

    def test_what_reclaim_has_moved_is_listed_and_put_back(self):
        self.write("original", "abc")
        self.create({"localIdentifier": "B", "creationDate": 2}, {"localIdentifier": "C"}, {
            "localIdentifier": "A", "creationDate": 1, "modificationDate": 1.5, "resources": [
                {"type": 1, "originalFilename": "a\33.jpg", "file": "photos/original"}]})
        with Server(self.library) as server:
            self.assertTrue(server.ask("reclaim", assetIDs=["B", "A"])["ok"])
            self.assertEqual(
                self.sim("recently-deleted", "Library"),
                '{"localIdentifier":"A","mediaType":1,"creationDate":1,"modificationDate":1.5E0,'
                r'"resources":[{"type":1,"originalFilename":"a\u001b.jpg","size":3}]}' "\n"
                '{"localIdentifier":"B","mediaType":1,"creationDate":2,"resources":[]}\n')
            self.refused("recently-deleted", "Library", "--restore", "A", "C")
            self.assertEqual(self.rows("SELECT sum(recentlyDeleted) FROM asset"), [(2,)])
            self.sim("recently-deleted", "Library", "--restore", "A", "B")
            self.assertEqual(self.sim("recently-deleted", "Library"), "")
            answer = server.ask("estimate", assetID="A", photoKitResourceType=1)
            self.assertEqual(answer["bytes"], 3)


if __name__ == "__main__":
    unittest.main()
