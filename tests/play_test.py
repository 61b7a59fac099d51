"""photos-sim play catches a helper that lies, with the transcript's line, ends what it starts."""

import os
import select
import signal
import subprocess
import time
import unittest

from programs import ROOT, SIM, Case

# Helpers that a shell runs, and what is told of each.
SERVE = f'"{SIM}" serve "$0"'
LIES = {
    f"{SERVE} | sed -u s/ba78/0000/": ':5: sha256: "000016bf',
    f"""{SERVE} | sed -u 's/"bytes":3/"bytes":4/'""": ":5: bytes: 4 instead of 3",
    f"""{SERVE} | sed -u 's/"bytes":3/"bytes":"3"/'""": ':5: bytes: "3" instead of 3',
    f"""{SERVE} | sed -u 's/"assetID"/"x":1,"assetID"/'""": ":9: assets[0].x: unexpected",
    f"""{SERVE} | sed -u 's/"isRaw":false,//'""": ":9: assets[0].isRaw: missing",
    f"{SERVE} | sed -u 's/}}]/}},{{}}]/'": ":9: assets: 2 elements instead of 1",
    f"""{SERVE} | sed -u 's/zed"}}/&\\\n{{}}/'""": ":3: more than one answer",
    f"""{SERVE} | sed -u 's/zed"}}/zed"/'""": ':3: no JSON: {"ok":true',
    "printf {": ":3: no newline behind the answer",
    "exit": ":3: no answer: the helper has ended",
    "sleep 1000": ":3: no answer within 5 s",
    f"{SERVE}; sleep 1000": ":2: the helper has not ended 5 s after its input",
    f"{SERVE}; echo {{}}": ":9: more than one answer",
    f"{SERVE}; exit 3": ":2: the helper has ended with status 3",
    f"{SERVE}; kill -9 $$": ":2: a signal has ended the helper",
    f"{SERVE}; yes noise\33 | head -n 100000 >&2": ":2: the helper wrote on standard error:\n" +
    "  noise\\u{1b}\n" * 20 + "  ... and so on\n"}
NOT_IN_THE_NOTATION = {
    "": 1, '> {"command":"authorize"}\n< {}\n': 1, "library: none\n< {}\n": 2,
    "library: none\n> x\n\nlibrary: none\n": 2, "library: none\n> x\n": 2,
    "library: none\n>% %F\n< {}\n": 2, "library: none\n>| x\n< {}\n> x\n< {}\n": 4,
    "# x\nlibrary: none\n> x\n< {}}\n": 3, "library: none\n> x\n< []\n": 2, "library: none\n>x": 2}


class Play(Case):
    def setUp(self):
        super().setUp()
        self.transcript = self.folder / "t.transcript"
        self.transcript.write_bytes((ROOT / "tests/one_photo.transcript").read_bytes())

    def start(self, *command):
        self.alive, held = os.pipe()  # every process that is started holds it open
        process = subprocess.Popen([SIM, "play", self.transcript, *command], text=True,
                                   env={**os.environ, "TMPDIR": str(self.folder)},
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, pass_fds=[held])
        os.close(held)
        return process

    def end(self, process):
        """Its exit status, and what it has shown and said. It leaves nothing behind."""
        shown, said = process.communicate()
        self.assertTrue(select.select([self.alive], [], [], 10)[0], "a process is left")
        os.close(self.alive)
        self.assertEqual(list(self.folder.glob("photos-sim-*")), [])
        return process.returncode, shown, said

    def test_each_lie_is_told_with_its_line(self):
        for helper, told in LIES.items():
            with self.subTest(helper):
                status, _, said = self.end(self.start("--seconds", "5", "--", "sh", "-c", helper,
                                                      "{library}"))
                self.assertEqual(status, 1)
                self.assertTrue(said.startswith(f"photos-sim: {self.transcript}{told}"), said)
                self.assertRegex(said, "photos-sim: (1 difference; see above|.* never answered.*)")
        self.assertEqual(self.end(self.start("--", "sh", "-c", SERVE, "{library}"))[0], 0)

    def test_the_session_is_shown_to_a_person(self):
        shown = (ROOT / "tests/one_photo_shown.txt").read_text()
        self.assertEqual(self.end(self.start("--show")),
                         (0, shown, "photos-sim: 3 answers, all as written\n"))

    def test_what_cannot_be_played_is_told(self):
        self.assertEqual(self.end(self.start("--", "./nowhere"))[0], 1)
        for text, line in NOT_IN_THE_NOTATION.items():
            self.transcript.write_text(text)
            status, _, said = self.end(self.start())
            self.assertEqual((status, said.count("\n")), (1, 1), said)
            self.assertTrue(said.startswith(f"photos-sim: {self.transcript}:{line}: "), said)

    def test_an_interruption_ends_the_helper_too(self):
        process = self.start("--", "sh", "-c", ": >../started; sleep 1000")
        while not (self.folder / "started").exists():
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(self.end(process), (1, "", "photos-sim: interrupted\n"))


if __name__ == "__main__":
    unittest.main()
