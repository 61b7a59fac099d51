"""The schemas, the transcripts, the descriptions and the documents' tables say the same."""

import json
import re

import jsonschema

import programs

ROOT = programs.ROOT
TRANSCRIPTS = sorted((ROOT / "tests/transcripts").glob("*.transcript"))
SUMMARY = {"assetID": "A", "filename": "a.jpg", "createdAt": 0, "modifiedAt": 0.5, "bytes": 1,
           "mediaType": "photo", "photoKitResourceType": 1, "isRaw": False,
           "isLivePhotoCompanion": False, "isLivePhotoImage": False, "isCurrentEdit": False}
PAIRED = {"photoKitResourceType": 9, "isLivePhotoCompanion": True}
WRONG_IN_SUMMARIES = [
    {"photoKitResourceType": 7}, {"photoKitResourceType": 4}, {"photoKitResourceType": 5},
    {"photoKitResourceType": 9}, {**PAIRED, "isLivePhotoImage": True}, {"mediaType": "audio"},
    {"isLivePhotoCompanion": True}, {"isCurrentEdit": True}, {"bytes": -1}, {"extra": 1}]
WRONG_ANSWERS = [
    {"ok": False, "status": f"authorization_{number}"} for number in ["", "3", "4", "01", "x"]] + [
    {"ok": True, "status": "exported", "bytes": size, "sha256": digest}
    for size, digest in [(-1, "a" * 64), (1.5, "a" * 64), (1, "A" * 64), (1, "a" * 63)]]


def read(text):
    """The value that a line holds; None, which no schema takes, when it is not JSON."""
    try:
        return json.loads(text, parse_constant=int)  # NaN is no int
    except ValueError:
        return None


def page_of(summary):
    return {"ok": True, "status": "discovered", "assets": [summary]}


def tables(document):
    """The rows of each table, as cells."""
    for table in re.findall(r"^\|.*\n(?:\|.*\n)+", (ROOT / "docs" / document).read_text(), re.M):
        yield [re.split(r" (?<!\\)\| ", row.strip("| ")) for row in table.splitlines()[2:]]


def keys(cell):
    return set(re.findall(r"`([^`]+)`", cell))


class Schemas(programs.Case):
    def setUp(self):
        super().setUp()
        for name in ["request", "response", "description"]:
            schema = json.loads((ROOT / f"protocol/schema/{name}.schema.json").read_text())
            jsonschema.Draft7Validator.check_schema(schema)
            setattr(self, name, jsonschema.Draft7Validator(schema))

    def exchanges(self):
        """Each request of the transcripts and its answer, as they are recorded when played."""
        record = self.folder / "record"
        self.sim("play", *TRANSCRIPTS, "--", programs.SIM, "serve", "{library}", "--record", record)
        lines = [json.loads(line) for line in record.read_text().splitlines()]
        for line, following in zip(lines, lines[1:]):
            if "request" in line:
                yield line["request"], following["answer"]

    def judge(self, schema, values, is_right=False):
        for value in values:
            self.assertEqual(schema.is_valid(value), is_right, value)

    def test_requests_and_answers_are_those_of_the_transcripts_and_no_others(self):
        for line, answer in self.exchanges():
            if not answer["status"].startswith("authorization_"):
                self.judge(self.request, [read(line)], answer["status"] != "invalid_request")
            self.judge(self.response, [answer], True)
            self.judge(self.response, [
                *({**answer, key: {}} for key in [*answer, "extra"]),
                *({key: answer[key] for key in answer if key != left_out}
                  for left_out in answer.keys() - {"error", "nextOffset"})])
            if answer["status"] != "opened_in_photos":
                self.judge(self.response, [{**answer, "ok": not answer["ok"]}])
        self.judge(self.response, WRONG_ANSWERS)
        self.judge(self.response, map(page_of, [SUMMARY, {**SUMMARY, **PAIRED}]), True)
        self.judge(self.response, [page_of({**SUMMARY, **wrong}) for wrong in [
            *WRONG_IN_SUMMARIES, *({key: {}} for key in SUMMARY)]])

    def test_descriptions_are_those_that_are_made(self):
        made = [file.read_text() for file in ROOT.glob("tests/transcripts/*.json")]
        for file in TRANSCRIPTS:
            made += re.findall(r"(?m)^library: ({.*)$", file.read_text())
        made += re.findall(r"```json\n([^`]*)", (ROOT / "docs/photos-sim.md").read_text())
        self.judge(self.description, map(json.loads, made), True)
        refused = (ROOT / "tests/refused_descriptions.txt").read_text()
        for mark, text in re.findall(r"^(# No schema knows.\n)?([{[][^!]*)^! ", refused, re.M):
            self.judge(self.description, [read(text)], bool(mark))

    def test_the_protocols_tables_are_the_schemas(self):
        requests, answers, access, discover, summaries, *others = tables("protocol.md")
        kinds = self.response.schema["oneOf"]
        self.assertEqual({key for row in answers for key in keys(row[0])},
                         {key for kind in kinds for key in kind["properties"]})
        # Each status with each error text that is always the same.
        rows = [(min(keys(status)), error.split(" (")[0])
                for table in [access, discover, *others] for status, error in table]
        fixed, statuses = set(), set()
        for properties in (kind["properties"] for kind in kinds):
            status, error = properties["status"], properties.get("error", {})
            statuses.add(status.get("const", "authorization_"))
            fixed |= {(status.get("const"), text) for text in error.get("enum", [
                error["const"]] if "const" in error else [])}
        self.assertEqual({row for row in rows if row[1][0] not in "–w"}, fixed)
        self.assertEqual({status for status, _ in rows}, statuses)
        self.assertEqual({re.sub(r"_-?\d+$", "_", answer["status"])
                          for _, answer in self.exchanges()}, statuses)
        self.assertEqual(
            keys(requests[0][2]),
            {kind["properties"]["command"]["const"] for kind in self.request.schema["oneOf"]})
        self.compare(requests, self.request.schema, lambda row: "required" in row[1])
        self.compare(summaries, self.response.schema["definitions"]["assetSummary"],
                     lambda row: "may be missing" not in row[1])

    def test_the_descriptions_tables_are_the_schema(self):
        schema = self.description.schema
        _, *of_keys = tables("photos-sim.md")
        for table, part in zip(of_keys, [schema, *map(schema["definitions"].get,
                                                      ["asset", "resource"])]):
            self.compare(table, part, lambda row: row[2] == "required")
            for row in table:
                for key in keys(row[0]) & schema["definitions"].keys():
                    inner = schema["definitions"][key].get("properties", {})
                    self.assertLessEqual(inner.keys(), keys(row[1] + row[-1]))

    def compare(self, table, schema, is_required):
        """A table and a schema have the same keys, the same of them required."""
        listed = {key: row for row in table for key in keys(row[0])}
        self.assertEqual(listed.keys(), schema["properties"].keys() - {"$schema"})
        self.assertEqual({key for key, row in listed.items() if is_required(row)},
                         set(schema.get("required", [])))


if __name__ == "__main__":
    programs.unittest.main()
