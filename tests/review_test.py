"""photos-sim serve --record keeps what happened; photos-sim review tells what should not have."""

import json
import os
import re
import resource
import unittest

from programs import ROOT, Case, Server, line, photo

# B has two resources of one type, C none.
ASSETS = [{"localIdentifier": name, "creationDate": 0, "resources": [
    {"type": type_, "originalFilename": "a", "size": 3_000_000} for type_ in types]}
    for name, types in {"A": [1, 7], "B": [2, 2], "C": []}.items()]
ANSWERS = {"+": {"ok": True}, "-": {"ok": False},
           "!": {"ok": False, "status": "authorization_2"}}  # "?" is none
NO_RECORDS = {"": 1, "text\n": 1, "5\n": 1, '{"at":1}\n': 1,
              '{"at":1,"ser\n{"at":1,"server":1,"ans\n': 1,
              '{"at":1,"server":1,"serves":"x"}\n{"at":1,"server":1,"answer":[]}\n': 2}


def export(asset, type_, destination="/dev/null"):
    return line("export", assetID=asset, photoKitResourceType=int(type_), destination=destination)


def request_of(word):
    if word == "d":
        return line("discover")
    if word[0] == "r":
        return line("reclaim", assetIDs=list(word[1:]))
    return export(*word) if word[0] in "ABC" else word.encode()


def record_of(session):
    entries = []
    for step in f"| {session}".split():
        if step in "|~":
            entries.append({"serves": "Library"} if step == "|" else None)
        else:
            entries.append({"request": request_of(step[:-1]).decode()})
            if step[-1] in ANSWERS:
                entries.append({"answer": ANSWERS[step[-1]]})
    return "".join(json.dumps({"at": 1.5, "server": 77, **entry}) + "\n" if entry else '{"at":\n'
                   for entry in entries)


class Records(Case):
    def setUp(self):
        super().setUp()
        self.create(*ASSETS, photo("D", failure={"afterBytes": 0, "stall": True}))
        self.record = self.folder / "record"

    def review(self, record):
        self.record.write_text(record)
        done = self.run_sim("review", "Library", "record")
        return done.returncode, done.stderr.decode().splitlines()

    def serve(self, requests, record="record", **more):
        done = self.run_sim("serve", "Library", "--record", record, input=requests, **more)
        return done.returncode, done.stdout, done.stderr.decode()

    def lines(self):
        return [json.loads(line) for line in self.record.read_bytes().splitlines()]

    def test_a_review_tells_what_a_careful_host_would_not_have_done(self):
        described = (ROOT / "tests/reviewed_records.txt").read_text()
        sessions = re.findall(r"(?m)^([^#!\n].*)\n((?:! .*\n)*)", described)
        self.assertGreater(len(sessions), 10)
        for session, findings in sessions:
            status, said = self.review(record_of(session))
            told = findings.replace("! ", "photos-sim: record:").splitlines()
            self.assertEqual((status, said[:-1]), (1 if findings else 0, told))
            self.assertEqual("cut lines passed over: 2" in said[-1], "~" in session, said)

    def test_a_review_refuses_what_is_no_record(self):
        for text, number in NO_RECORDS.items():
            status, said = self.review(text)
            self.assertEqual((status, len(said)), (1, 1))
            self.assertIn(f"photos-sim: record:{number}: no line of a record", said[0])

    def test_each_request_is_recorded_before_it_is_carried_out_and_each_answer_behind_it(self):
        requests = export("A", 7) + b'\xff\0"\\\n' + line("reclaim", assetIDs=["A"])
        status, answers, said = self.serve(requests)
        self.assertEqual((status, said), (0, ""))
        start, *entries = self.lines()
        self.assertEqual(start["serves"], "Library")
        self.assertEqual([entry.get("request") for entry in entries[::2]],
                         requests.decode(errors="replace").splitlines())
        self.assertEqual([entry.get("answer") for entry in entries[1::2]],
                         [json.loads(answer) for answer in answers.splitlines()])
        self.assertTrue(1.7e9 < start["at"] <= entries[0]["at"] <= entries[-1]["at"])

        # Killed within a request and within a line of the record.
        with Server("Library", "--record", "record", cwd=self.folder) as server:
            server.send(export("D", 1, "copy"))
            while not (self.folder / "copy").exists():
                pass
            server.kill()
        self.assertEqual(json.loads(self.lines()[-1]["request"])["assetID"], "D")
        os.truncate(self.record, self.record.stat().st_size - 5)
        self.serve(b"")
        done = self.run_sim("review", "Library", "record")
        self.assertEqual((done.returncode, done.stderr.decode()), (
            1, "photos-sim: record:6: reclaims A, which has a resource of type 1, which was not "
            "exported\nphotos-sim: record: 1 finding in 3 requests, 1 resource exported, 1 asset "
            "reclaimed; cut lines passed over: 1\n"))

    def test_a_record_that_cannot_be_written_harms_no_answer(self):
        status, answers, said = self.serve(
            line("authorize") * 1000,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (40000, 40000)))
        self.assertEqual((status, said.count("\n")), (0, 1))
        self.assertTrue(answers == b'{"ok":true,"status":"authorized"}\n' * 1000)
        self.assertTrue(said.startswith("photos-sim: record: "), said)
        self.sim("review", "Library", "record")

    def test_a_record_is_refused_where_it_would_harm_another_file(self):
        (self.library / "empty").touch()

        def contents():
            return {file: file.read_bytes() for file in self.folder.rglob("*") if file.is_file()}

        before = contents()
        for name, expected in {"Library": 1, "no/record": 1, "description.json": 1,
                               "Library/empty": 2, "Library/new": 2}.items():
            status, answers, said = self.serve(line("authorize"), name)
            self.assertEqual((status, answers, said.count("\n")), (expected, b"", 1), said)
            self.assertIn(f": {name}", said)
        self.assertEqual(contents(), before)

    def test_an_answer_that_nobody_reads_is_not_recorded(self):
        reader, writer = os.pipe()
        os.close(reader)
        with Server("Library", "--record", "record", cwd=self.folder, stdout=writer) as server:
            server.communicate(line("reclaim", assetIDs=["C"]) + line("discover"))
        os.close(writer)
        self.assertEqual(["answer" in line for line in self.lines()], [False] * 3)


if __name__ == "__main__":
    unittest.main()
