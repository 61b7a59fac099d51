"""photos-sim serve --record keeps what happened; photos-sim review tells what should not have."""

import json
import os
import pathlib
import resource
import signal
import subprocess
import tempfile
import unittest

SIM = pathlib.Path(os.environ["BUILD"]).resolve() / "photos-sim"
OK = {"ok": True}
FAILED = {"ok": False}
# B has two resources of one type, C none.
LIBRARY = {"authorization": 3, "assets": [
    {"localIdentifier": name, "creationDate": 0, "resources": [
        {"type": type, "originalFilename": f"{name}{type}", "size": 3000000} for type in types]}
    for name, types in {"A": [1, 7], "B": [2, 2], "C": []}.items()]}
DISCOVER = '{"command":"discover"}'


def export(asset, kind, destination="/dev/null"):
    return json.dumps({"command": "export", "assetID": asset, "photoKitResourceType": kind,
                       "destination": destination})


def reclaim(*assets):
    return json.dumps({"command": "reclaim", "assetIDs": assets})


def of_type(kind, asset="A"):
    return f"reclaims {asset}, which has a resource of type {kind}"


EXPORTED = [(export("A", 1), OK), (export("A", 7), OK)]
UNANSWERED = "reclaims without an answer, and never looks up what came of it"
# What a host did, and what is told of it with which line. The first request is on line 2; None is
# a missing answer, None instead of a request another start of the server, a text a line as it is.
SESSIONS = [
    ([(DISCOVER, OK), *EXPORTED, (reclaim("A", "C"), OK)], []),
    ([(export("A", 1), FAILED), *EXPORTED, None, (reclaim("A"), OK)], []),
    ([EXPORTED[0], (reclaim("A"), OK)], [(4, of_type(7) + ", which was not exported")]),
    ([EXPORTED[0], (export("A", 7), FAILED), (reclaim("C", "A"), FAILED)],
     [(6, of_type(7) + ", whose export failed")]),
    ([EXPORTED[0], (export("A", 7), None), (reclaim("A"), OK)],
     [(5, of_type(7) + ", which was not exported")]),
    ([(export("B", 2), OK), (reclaim("B"), OK)],
     [(4, of_type(2, "B") + " twice, and only the first can be exported")]),
    ([(reclaim("C", "Z"), FAILED)], [(2, "reclaims Z, which is not in the library")]),
    ([EXPORTED[0], (export("B", 1), OK), EXPORTED[0]],
     [(6, "exports the resource of type 1 of A again")]),
    ([("x", FAILED), (reclaim("C"), None), None, ("{}", FAILED), (export("A", 1), OK)],
     [(4, UNANSWERED)]),
    ([(reclaim("C"), None), (DISCOVER, None)], [(2, UNANSWERED)]),
    ([(reclaim("C"), None), (DISCOVER, OK)], []),
    ([(reclaim("A", "C"), None), None, (export("C", 1), FAILED)],
     [(2, of_type(1) + ", which was not exported"), (2, of_type(7) + ", which was not exported")]),
    # The last export counts: it may have written over the copy.
    ([*EXPORTED, (export("A", 1), FAILED), (export("A", 7), None), (reclaim("A"), OK)],
     [(6, "exports the resource of type 1 of A again"),
      (8, "exports the resource of type 7 of A again"),
      (9, of_type(1) + ", whose export failed"), (9, of_type(7) + ", whose export failed")]),
    ([(reclaim("C"), None), (DISCOVER, {"ok": False, "status": "authorization_2"})],
     [(2, UNANSWERED)]),
    ([('{"command":"reclaim"}', OK)], []),
    # Cut lines.
    ([(reclaim("C"), None), '{"at":', (reclaim("C"), FAILED), None, '{"at":5,"server":1,"answer"'],
     []),
]
NO_RECORDS = {"": 1, "text\n": 1, "5\n": 1, '{"at":1}\n': 1,
              '{"at":1,"ser\n{"at":1,"server":1,"ans\n': 1,
              '{"at":1,"server":1,"serves":"x"}\n{"at":1,"server":1,"answer":[]}\n': 2}


def record_of(session):
    lines = []

    def add(**member):
        lines.append(json.dumps({"at": 1.5, "server": 77, **member}))

    add(serves="Library")
    for step in session:
        if step is None:
            add(serves="Library")
        elif isinstance(step, str):
            lines.append(step)
        else:
            add(request=step[0])
            if step[1] is not None:
                add(answer=step[1])
    return "\n".join(lines) + "\n"


class Records(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.record = self.folder / "record"
        (self.folder / "library.json").write_text(json.dumps(LIBRARY), encoding="utf-8")
        self.assertEqual(self.sim("create", "Library", "--from", "library.json")[0], 0)

    def sim(self, *words, requests=b"", **more):
        """Its exit status, its output and what it has said."""
        done = subprocess.run([SIM, *words], cwd=self.folder, input=requests, capture_output=True,
                              check=False, **more)
        return done.returncode, done.stdout, done.stderr.decode()

    def lines(self):
        return [json.loads(line) for line in self.record.read_bytes().splitlines()]

    def test_a_review_tells_what_a_careful_host_would_not_have_done(self):
        for session, findings in SESSIONS:
            self.record.write_text(record_of(session), encoding="utf-8")
            status, _, said = self.sim("review", "Library", "record")
            told = said.splitlines()[:-1]  # the last one sums it up
            self.assertEqual(told, [
                f"photos-sim: record:{line}: {what}" for line, what in findings])
            self.assertEqual(status, 1 if findings else 0, said)
            cut = sum(isinstance(step, str) for step in session)
            self.assertEqual("cut lines passed over: 2" in said, cut == 2, said)

    def test_a_review_refuses_what_is_no_record(self):
        for text, line in NO_RECORDS.items():
            self.record.write_text(text, encoding="utf-8")
            status, _, said = self.sim("review", "Library", "record")
            self.assertEqual((status, said.count("\n")), (1, 1))
            self.assertIn(f"photos-sim: record:{line}: no line of a record", said)

    def test_each_request_is_recorded_before_it_is_carried_out_and_each_answer_behind_it(self):
        requests = [export("A", 7).encode(), b'\xff\0"\\', reclaim("A").encode()]
        lines = b"\n".join(requests) + b"\n"
        status, answers, said = self.sim("serve", "Library", "--record", "record", requests=lines)
        self.assertEqual((status, said), (0, ""))
        start, *entries = self.lines()
        self.assertEqual(start["serves"], "Library")
        self.assertEqual([entry["request"].encode() for entry in entries[::2]],
                         [request.replace(b"\xff", "\ufffd".encode()) for request in requests])
        self.assertEqual([entry["answer"] for entry in entries[1::2]],
                         [json.loads(answer) for answer in answers.splitlines()])
        self.assertEqual(len(entries), 6)
        self.assertTrue(1.7e9 < start["at"] <= entries[0]["at"] <= entries[-1]["at"])

        # Killed within a request, which nobody reads on from the pipe, and within a line of the
        # record.
        os.mkfifo(self.folder / "pipe")
        reader = os.open(self.folder / "pipe", os.O_RDONLY | os.O_NONBLOCK)
        with subprocess.Popen([SIM, "serve", "Library", "--record", "record"], cwd=self.folder,
                              stdin=subprocess.PIPE) as server:
            server.stdin.write(export("B", 2, "pipe").encode() + b"\n")
            server.stdin.flush()
            while not self.has_bytes(reader):
                pass
            server.send_signal(signal.SIGKILL)
        os.close(reader)
        self.assertEqual(json.loads(self.lines()[-1]["request"])["assetID"], "B")
        os.truncate(self.record, self.record.stat().st_size - 5)
        self.sim("serve", "Library", "--record", "record")
        self.assertEqual(self.sim("review", "Library", "record"),
                         (1, b"", "photos-sim: record:6: " + of_type(1) +
                          ", which was not exported\nphotos-sim: record: 1 finding in 3 requests, "
                          "1 resource exported, 1 asset reclaimed; cut lines passed over: 1\n"))

    @staticmethod
    def has_bytes(pipe):
        try:
            return os.read(pipe, 1) != b""
        except BlockingIOError:
            return False

    def test_a_record_that_cannot_be_written_harms_no_answer(self):
        lines = b'{"command":"authorize"}\n' * 1000
        status, answers, said = self.sim(
            "serve", "Library", "--record", "record", requests=lines, preexec_fn=lambda:
            resource.setrlimit(resource.RLIMIT_FSIZE, (40000, 40000)))
        self.assertEqual(status, 0)
        self.assertTrue(answers == b'{"ok":true,"status":"authorized"}\n' * 1000)
        self.assertEqual(said.count("\n"), 1)
        self.assertTrue(said.startswith("photos-sim: record: "), said)
        self.assertEqual(self.sim("review", "Library", "record")[0], 0)

        (self.folder / "Library" / "empty").touch()
        files = sorted(self.folder.glob("Library/**/*"))
        before = (self.folder / "Library" / "library.sqlite").read_bytes()
        for name, expected in {"Library": 1, "no/record": 1, "library.json": 1, "Library/empty": 2,
                               "Library/new": 2, "Library/library.sqlite": 2}.items():
            status, answers, said = self.sim("serve", "Library", "--record", name, requests=lines)
            self.assertEqual((status, answers, said.count("\n")), (expected, b"", 1), said)
            self.assertIn(f": {name}", said)
        self.assertEqual(sorted(self.folder.glob("Library/**/*")), files)
        self.assertEqual((self.folder / "Library" / "library.sqlite").read_bytes(), before)

    def test_an_answer_that_nobody_reads_is_not_recorded(self):
        reader, writer = os.pipe()
        os.close(reader)
        subprocess.run([SIM, "serve", "Library", "--record", "record"], cwd=self.folder,
                       input=f"{reclaim('C')}\n{DISCOVER}\n".encode(), stdout=writer, check=True)
        os.close(writer)
        self.assertEqual(["answer" in line for line in self.lines()], [False] * 3)


if __name__ == "__main__":
    unittest.main()
