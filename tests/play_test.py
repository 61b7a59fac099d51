"""photos-sim play catches a helper that lies, with the transcript's line, ends what it starts."""

import fcntl
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SIM = pathlib.Path(os.environ["BUILD"]).resolve() / "photos-sim"
TRANSCRIPT = """\
# One photo.
library: {"authorization":3,"assets":[{"localIdentifier":"A","creationDate":0,"resources":[\
{"type":1,"originalFilename":"a.jpg","text":"abc"}]}]}
> {"command":"authorize"}
< {"ok":true,"status":"authorized"}
>% {"command":"export","assetID":"A","photoKitResourceType":1,"destination":"a%7F%FF.jpg"}
< {"ok":true,"status":"exported","bytes":3e0,
<  "sha256":"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}
# All of them.
> {"command":"discover"}
< {"ok":true,"status":"discovered","assets":[{"filename":"a.jpg","assetID":"A","createdAt":0,
<  "mediaType":"photo","photoKitResourceType":1,"isRaw":false,"isLivePhotoCompanion":false,
<  "isLivePhotoImage":false,"isCurrentEdit":false}]}
"""
SHOWN = """
# One photo.
=== Library: {"authorization":3,"assets":[{"localIdentifier":"A","creationDate":0,"resources":[\
{"type":1,"originalFilename":"a.jpg","text":"abc"}]}]}

  -> {"command":"authorize"}
  <- {"ok":true,"status":"authorized"}

  -> {"command":"export","assetID":"A","photoKitResourceType":1,"destination":"a\\u{7f}\\xff.jpg"}
  <- {"ok":true,"status":"exported","sha256":\
"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad","bytes":3}

# All of them.
  -> {"command":"discover"}
  <- {"ok":true,"status":"discovered"} and assets:
       {"assetID":"A","filename":"a.jpg","createdAt":0,"mediaType":"photo","photoKitResourceType":1}
"""

# What is made of the answers, and what is told of it.
ANSWERS = {
    "another digest": ("ba78", "0000", ':5: sha256: "000016bf'),
    "another number": ('"bytes":3', '"bytes":4', ":5: bytes: 4 instead of 3"),
    "another type": ('"bytes":3', '"bytes":"3"', ':5: bytes: "3" instead of 3'),
    "another status": ("exported", "missing", ':5: status: "missing" instead of "exported"'),
    "an extra key": ('"assetID"', '"x":1,"assetID"', ":9: assets[0].x: unexpected"),
    "a missing key": ('"isRaw":false,', "", ":9: assets[0].isRaw: missing"),
    "a longer list": ("}]", "},{}]", ":9: assets: 2 elements instead of 1"),
    "two answers": ('"authorized"}\n', '"authorized"}\n{"ok":true}\n', ":3: more than one answer"),
    "no JSON": ('"authorized"}\n', '"authorized"\n', ':3: no JSON: {"ok":true'),
}
# How it behaves beside that, and what is told.
ENDS = {
    "ends early": ":3: no answer: the helper has ended",
    "ends within a line": ":3: no newline behind the answer",
    "ends with status 3": ":2: the helper has ended with status 3",
    "is killed": ":2: a signal has ended the helper",
    "writes errors": ":2: the helper wrote on standard error:\n" + "  noise\\u{1b}\n" * 20 +
                     "  ... and so on\n",
    "answers no request": ":9: more than one answer",
    "never answers": ":3: no answer within 5 s",
    "never ends": ":2: the helper has not ended 5 s after its input",
}
NOT_IN_THE_NOTATION = {
    "": 1, '> {"command":"authorize"}\n< {}\n': 1, "library: none\n< {}\n": 2,
    "library: none\n> x\n\nlibrary: none\n": 2, "library: none\n> x\n": 2,
    "library: none\n>% %F\n< {}\n": 2, "library: none\n>| x\n< {}\n> x\n< {}\n": 4,
    "# x\nlibrary: none\n> x\n< {}}\n": 3, "library: none\n> x\n< []\n": 2, "library: none\n>x": 2,
}


def lie(name, library):
    """Serves the library, apart from one lie."""
    if name == "ends early":
        return
    if name == "ends within a line":
        print("{", end="", flush=True)
        return
    locked = open("../locked", "w", encoding="utf-8")
    fcntl.flock(locked, fcntl.LOCK_EX)
    if name == "never answers":
        subprocess.run(["sleep", "1000"], pass_fds=[locked.fileno()], check=True)
    old, new, _ = ANSWERS.get(name, ("", "", ""))
    with subprocess.Popen([SIM, "serve", library], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as helper:
        for line in sys.stdin.buffer:
            helper.stdin.write(line)
            helper.stdin.flush()
            answer = helper.stdout.readline().decode()
            sys.stdout.write(answer.replace(old, new) if old else answer)
            sys.stdout.flush()
        helper.stdin.close()
    if name == "never ends":
        time.sleep(1000)
    elif name == "writes errors":
        print("noise\x1b\n" * 100000, file=sys.stderr)
    elif name == "answers no request":
        print("{}")
    elif name == "is killed":
        os.kill(os.getpid(), signal.SIGKILL)
    elif name == "ends with status 3":
        sys.exit(3)


class Play(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.transcript = self.folder / "t.transcript"
        self.transcript.write_text(TRANSCRIPT, encoding="utf-8")

    def start(self, *words):
        # Its temporary folders are beside the transcript.
        return subprocess.Popen([SIM, "play", self.transcript, *words], text=True, encoding="utf-8",
                                env={**os.environ, "TMPDIR": str(self.folder)},
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def play(self, *words):
        """Its exit status, and what it has shown and said."""
        process = self.start(*words)
        shown, said = process.communicate()
        self.assert_nothing_is_left()
        return process.returncode, shown, said

    def assert_nothing_is_left(self):
        self.assertEqual(list(self.folder.glob("photos-sim-*")), [])
        with open(self.folder / "locked", "w", encoding="utf-8") as locked:
            fcntl.flock(locked, fcntl.LOCK_EX | fcntl.LOCK_NB)  # nobody is alive who holds it

    @staticmethod
    def liar(name):
        return ["--", sys.executable, str(pathlib.Path(__file__).resolve()), name, "{library}"]

    def test_each_lie_is_told_with_its_line(self):
        lies = {name: told for name, (_, _, told) in ANSWERS.items()} | ENDS
        for name, told in lies.items():
            with self.subTest(name):
                limit = ["--seconds", "5"] if name.startswith("never") else []
                status, _, said = self.play(*limit, *self.liar(name))
                self.assertEqual(status, 1)
                self.assertTrue(said.startswith(f"photos-sim: {self.transcript}{told}"), said)
                if name not in ("ends early", "never answers"):
                    self.assertIn("photos-sim: 1 difference; see above\n", said)
        self.assertEqual(self.play(*self.liar("none"))[0], 0)

    def test_the_session_is_shown_to_a_person(self):
        status, shown, said = self.play("--show")
        self.assertEqual((status, shown), (0, SHOWN))
        self.assertEqual(said, "photos-sim: 3 answers, all as written\n")

    def test_what_cannot_be_played_is_told(self):
        self.assertEqual(self.play("--", "./nowhere")[0], 1)
        for text, line in NOT_IN_THE_NOTATION.items():
            self.transcript.write_text(text, encoding="utf-8")
            status, _, said = self.play()
            self.assertEqual((status, said.count("\n")), (1, 1), said)
            self.assertTrue(said.startswith(f"photos-sim: {self.transcript}:{line}: "), said)

    def test_an_interruption_ends_the_helper_too(self):
        process = self.start(*self.liar("never answers"))
        while not (self.folder / "locked").exists():
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.communicate(), ("", "photos-sim: interrupted\n"))
        self.assertEqual(process.returncode, 1)
        self.assert_nothing_is_left()


if __name__ == "__main__":
    if len(sys.argv) == 3:
        lie(*sys.argv[1:])
    else:
        unittest.main()
