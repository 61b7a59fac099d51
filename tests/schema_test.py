"""The schemas in protocol/schema accept just what the transcripts show to be right."""

import json
import pathlib
import re
import unittest

import jsonschema

TESTS = pathlib.Path(__file__).resolve().parent
NEEDED = {"authorize": {}, "discover": {}, "estimate": {"assetID": "A", "photoKitResourceType": 1},
          "export": {"assetID": "A", "destination": "x"}, "reclaim": {"assetIDs": ["A"]},
          "open": {"assetID": "A"}}
OF_ANY = {"assetID", "photoKitResourceType", "assetIDs", "destination", "cutoff", "includePhotos",
          "includeVideos", "offset", "limit"}
OPTIONAL = {"modifiedAt", "nextOffset", "error"}
NEED_ERROR = {"estimate_failed", "export_failed"}
SUMMARY = {"assetID": "A", "filename": "a.jpg", "createdAt": 0, "mediaType": "photo",
           "photoKitResourceType": 1, "isRaw": False, "isLivePhotoCompanion": False,
           "isLivePhotoImage": False, "isCurrentEdit": False}

WRONG_REQUESTS = [
    "{}", '["authorize"]', '{"command":"Discover"}',
    '{"command":"make coffee","assetID":"A","destination":"x"}',
    '{"command":"reclaim","assetIDs":[]}', '{"command":"reclaim","assetIDs":["A",5]}',
    '{"command":"discover","offset":1.5}', '{"command":"discover","limit":true}',
    '{"command":"discover","limit":9223372036854775808}',
    '{"command":"discover","limit":-9223372036854775809}',
    '{"command":"discover","cutoff":1e999}', '{"command":"discover","cutoff":-1e999}']

WRONG_ANSWERS = [
    "[]", '{"ok":1,"status":"authorized"}', '{"ok":true,"status":"discovered","assets":[5]}',
    '{"ok":false,"status":"authorization_"}',
    '{"ok":false,"status":"authorization_3"}', '{"ok":false,"status":"authorization_4"}',
    '{"ok":false,"status":"authorization_01"}', '{"ok":false,"status":"authorization_-0"}',
    '{"ok":false,"status":"missing","error":"It is gone"}',
    '{"ok":false,"status":"invalid_request","error":"What?"}',
    '{"ok":false,"status":"estimate_failed","error":"It is gone"}',
    '{"ok":true,"status":"estimated","bytes":-1}', '{"ok":true,"status":"estimated","bytes":1.5}',
    '{"ok":true,"status":"exported","bytes":1,"sha256":"%s"}' % ("A" * 64),
    '{"ok":true,"status":"exported","bytes":1,"sha256":"%s"}' % ("a" * 63),
    '{"ok":true,"status":"discovered","assets":[],"nextOffset":1.5}']

WRONG_IN_SUMMARIES = [
    {"mediaType": "audio"}, {"photoKitResourceType": 7}, {"bytes": -1}, {"extra": 1},
    {"photoKitResourceType": 4}, {"photoKitResourceType": 9},
    {"photoKitResourceType": 9, "isLivePhotoCompanion": True, "isLivePhotoImage": True},
    {"isLivePhotoCompanion": True}, {"photoKitResourceType": 5}, {"isCurrentEdit": True}]


def validator(name):
    schema = json.loads((TESTS.parent / "protocol" / "schema" / name).read_text())
    jsonschema.Draft7Validator.check_schema(schema)
    return jsonschema.Draft7Validator(schema)


def no_number(text):
    raise ValueError(f"{text} is not JSON")


def exchanges():
    """Each request of the transcripts, as bytes, and its answer."""
    for file in sorted((TESTS / "transcripts").glob("*.transcript")):
        request, answer = b"", ""
        for line in [*file.read_text().splitlines(), "library:"]:
            mark, _, rest = line.partition(" ")
            if mark == "<":
                answer += rest
            elif not line.startswith("#"):
                if answer:
                    yield request, json.loads(answer)
                    answer = ""
                request = rest.encode()
                if mark == ">%":
                    request = re.sub(rb"%(..)", lambda byte: bytes.fromhex(byte[1].decode()),
                                     request)


def spoilt(value, required):
    """The object with another key, with each value of another type, without each required key."""
    yield {**value, "extra": 1}
    for key in value:
        yield {**value, key: {}}
    for gone in required:
        yield {key: value[key] for key in value.keys() - {gone}}


class Schemas(unittest.TestCase):
    request = validator("request.schema.json")
    response = validator("response.schema.json")

    def refuse(self, schema, lines):
        for line in lines:
            self.assertFalse(schema.is_valid(line), line)

    def test_requests_are_those_that_a_command_takes(self):
        for request, answer in exchanges():
            if not answer["status"].startswith("authorization_"):
                try:
                    line = json.loads(request.decode(errors="replace"), parse_constant=no_number)
                    is_taken = self.request.is_valid(line)
                except ValueError:
                    is_taken = False
                self.assertEqual(is_taken, answer["status"] != "invalid_request", request)
        self.refuse(self.request, map(json.loads, WRONG_REQUESTS))

    def test_requests_need_what_their_command_needs_and_take_null_for_the_rest(self):
        for command, needed in NEEDED.items():
            line = {"command": command, **needed, "extra": 1}
            self.request.validate(line)
            self.refuse(self.request, [{**line, key: None} for key in needed])
            self.refuse(self.request, [{key: line[key] for key in line.keys() - {gone}}
                                       for gone in needed])
            for key in OF_ANY - line.keys():
                self.request.validate({**line, key: None})
                self.refuse(self.request, [{**line, key: {}}])

    def test_answers_are_those_of_the_transcripts_and_no_others(self):
        statuses = set()
        for _, answer in exchanges():
            self.response.validate(answer)
            statuses.add(answer["status"])
            required = answer.keys() - OPTIONAL
            if answer["status"] in NEED_ERROR:
                required.add("error")
            self.refuse(self.response, spoilt(answer, required))
            self.refuse(self.response, [{**answer, "status": "unheard_of"}])
            if answer["status"] != "opened_in_photos":
                self.refuse(self.response, [{**answer, "ok": not answer["ok"]}])
        for kind in self.response.schema["oneOf"]:
            status = kind["properties"]["status"]
            self.assertIn(status.get("const", "authorization_0"), statuses)
        self.refuse(self.response, map(json.loads, WRONG_ANSWERS))

    def test_summaries_have_nine_to_eleven_keys_that_go_together(self):
        def answer(summary):
            return {"ok": True, "status": "discovered", "assets": [summary]}

        largest = {**SUMMARY, "modifiedAt": 0.5, "bytes": 1}
        self.response.validate(answer(SUMMARY))
        self.response.validate(answer(largest))
        self.refuse(self.response, map(answer, spoilt(largest, SUMMARY.keys())))
        self.refuse(self.response, [answer({**SUMMARY, **part}) for part in WRONG_IN_SUMMARIES])


if __name__ == "__main__":
    unittest.main()
