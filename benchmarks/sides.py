# What is run on either side of a row, on which data, and what its answers must be.

import collections
import itertools
import json
import math
import os
import shlex
import shutil
import sys

from data import DATA, PROGRAMS, ROOT, SCRATCH, SIM
from data import call, expect, make_place, need_space, of_files, of_resources, synthetic, written

ECHO = PROGRAMS / "echo_lines"
OURS, OTHERS = SCRATCH / "ours", SCRATCH / "others"  # what the two sides have printed
PAGE = 500

# One side of a row. The clock sees the command alone.
#   expected: for each line that it prints, a text that is in it; None: not checked so
#   before, after: what is done around each run; `after` checks what else is to be checked
Side = collections.namedtuple("Side", "command expected before after",
                              defaults=[None, lambda: None, lambda: None])


# By way of sh, since Debian 12's hyperfine gives no input to what it runs.
def reading(file, *command):
    return ["sh", "-c", 'exec "$@" <"$0"', file, *command]


def session(library, requests, **more):
    lines = (json.dumps(request) + "\n" for request in requests)
    return Side(reading(written("requests", lines), SIM, "serve", library), **more)


def alone(sides, *arguments):
    return sides(*arguments)[:1]


def round_trips(times):
    def side(answer, *program):
        ask = shlex.join([str(PROGRAMS / "round_trips"), str(times), request, answer])
        script = f'"$@" <"$0/to" >"$0/from" & {ask} >"$0/to" <"$0/from" && wait $!'
        return Side(["sh", "-c", script, SCRATCH, *program])
    os.mkfifo(SCRATCH / "to")
    os.mkfifo(SCRATCH / "from")
    request = '{"command":"authorize"}'
    return [side('{"ok":true,"status":"authorized"}', SIM, "serve", of_files(1, 1)[0]),
            side(request, ECHO)]


MIXED = [  # each with its answer's status
    ('{"command":"authorize"}', "authorized"),
    ('{"command":"discover","limit":1}', "discovered"),
    ('{"command":"estimate","assetID":"nobody","photoKitResourceType":1}', "missing"),
    ('{"command":"export","assetID":"nobody","destination":"nowhere"}', "missing"),
    ('{"command":"reclaim","assetIDs":["nobody"]}', "missing"),
    ('{"command":"open"}', "invalid_request"),
    ('{"command":"unheard of"}', "invalid_request"),
    ("this is no request", "invalid_request"),
]


def mixed_pipe(count):
    requests, statuses = zip(*itertools.islice(itertools.cycle(MIXED), count))
    pipe = ["sh", "-c", 'cat "$0" | "$@"', written("mixed", "\n".join([*requests, ""]))]
    return [Side([*pipe, SIM, "serve", of_files(1, 1)[0]],
                 expected=[f'"status":"{status}"' for status in statuses]),
            Side([*pipe, ECHO], expected=requests)]


def identifiers(size):
    identifier = b',"01234567-89AB-CDEF-0123-%012d/L0/001"'
    return b"".join(identifier % index for index in range(size // len(identifier % 0)))


IGNORED = b'{"command":"authorize","ignored":"%s"}\n'
RECLAIM = b'{"command":"reclaim","assetIDs":["nobody"%s'
LONG_LINES = {  # what they are, what fills them, the answer's status, the aim of the memory's row
    "reclaim": ("that is a reclaim", RECLAIM + b"]}\n", identifiers, "missing", None),
    "broken": ("that is not JSON at its end", RECLAIM + b"]\n", identifiers,
               "invalid_request", None),
    "ignored": ("with text in an ignored key", IGNORED, lambda size: b"text " * (size // 5),
                "authorized", ("ratio", 1.3)),
    "bytes": ("with bytes that are not UTF-8 in an ignored key", IGNORED,
              lambda size: b"\xff" * size, "authorized", ("ratio", 4.5)),
}


def long_line(kind, size):
    _, text, fill, status, _ = LONG_LINES[kind]
    line = SCRATCH / "line"
    size = line.write_bytes(text % fill(size))
    return [Side(reading(line, SIM, "serve", of_files(1, 1)[0]), [f'"status":"{status}"']), size]


# The pages at these offsets. Each is full: libraries hold whole pages, and an asset has at least
# one summary.
def pages(assets, offsets):
    def after():
        with open(OURS, encoding="utf-8") as lines:
            expect(all(line.count('"assetID":') >= PAGE for line in lines), "a page is not full")
    requests = ({"command": "discover", "limit": PAGE, "offset": offset} for offset in offsets)
    ends = [f'"nextOffset":{offset + PAGE}}}' if offset + PAGE < assets else "}]}"
            for offset in offsets]
    return [session(synthetic(assets), requests, expected=ends, after=after)]


# A page of assets, each of so many resources.
def many_resources(count):
    def after():
        with open(OURS, encoding="utf-8") as lines:
            expect(next(lines).count('"assetID":') == PAGE * count, "a resource is missing")
    return [session(of_resources(PAGE, count), [{"command": "discover", "limit": PAGE}],
                    expected=["}]}"], after=after)]


DUMP = """SELECT a.localIdentifier AS assetID, r.originalFilename AS filename,
  a.creationDate AS createdAt, a.modificationDate AS modifiedAt,
  iif(a.mediaType = 2, 'video', 'photo') AS mediaType, r.type AS photoKitResourceType,
  r.type = 4 OR lower(substr(r.originalFilename, -4)) IN
    ('.arw', '.cr2', '.cr3', '.dng', '.nef', '.orf', '.raf', '.rw2') AS isRaw,
  r.type IN (9, 10) AS isLivePhotoCompanion, r.type NOT IN (9, 10) AND EXISTS (SELECT 1
    FROM resource pair WHERE pair.asset = a.id AND pair.type IN (9, 10)) AS isLivePhotoImage,
  r.type IN (5, 6, 10) AS isCurrentEdit, NULL AS bytes
FROM asset a JOIN resource r ON r.asset = a.id
WHERE a.recentlyDeleted = 0 AND a.creationDate IS NOT NULL AND a.mediaType IN (1, 2)
  AND r.type IN (1, 2, 4, 5, 6, 9, 10) ORDER BY a.creationDate, a.id, r.position"""


def all_pages(assets):
    dump = ["sqlite3", "-json", synthetic(assets) / "library.sqlite", DUMP]
    return [*pages(assets, range(0, assets, PAGE)), Side(dump, after=expect_same)]


# All fields of all summaries, in order. Line by line, in little memory.
def expect_same():
    with open(OURS, encoding="utf-8") as answers, open(OTHERS, encoding="utf-8") as dump:
        summaries = (summary for line in answers for summary in json.loads(line)["assets"])
        rows = (json.loads(line.strip("[],\n")) for line in dump)  # of a list, one on each line
        for ours, row in itertools.zip_longest(summaries, rows, fillvalue={}):
            # A field that holds nothing has no key in a summary.
            theirs = {key: value for key, value in row.items() if value is not None}
            if ours.keys() != theirs.keys() or not all(
                    is_same(ours[key], theirs[key]) for key in ours):
                raise RuntimeError(f"not the same: {ours} and {theirs}"[:400])


# SQLite has 1 for true, which equals True, and writes dates in its own way.
def is_same(ours, theirs):
    return ours == theirs or (isinstance(theirs, float) and isinstance(ours, (int, float)) and
                              math.isclose(ours, theirs, rel_tol=1e-14))


def create(assets):
    def after():
        count = call("sqlite3", library / "library.sqlite", "SELECT count(*) FROM asset").stdout
        expect(int(count) == assets, "not all assets were made")
        shutil.rmtree(library)
    library = SCRATCH / "created"
    return [Side([SIM, "create", library, "--synthetic", assets], after=after)]


CP_OPENSSL = "cp && openssl dgst -sha256"


def export(size, other=CP_OPENSSL, folder=SCRATCH):
    def after():
        call("cmp", copy, original)
        copy.unlink()
    make_place(folder, size)
    library, (original,) = of_files(1, size)
    copy = folder / "exported"
    request = {"command": "export", "assetID": "0", "photoKitResourceType": 1,
               "destination": str(copy)}
    answer = f'"status":"exported","sha256":"{original.name}","bytes":{size}}}'
    script = other.replace("cp ", 'cp "$0" "$1" ') + ' "$0"'
    return [session(library, [request], expected=[answer], after=after),
            Side(["sh", "-c", script, original, copy], expected=[original.name],
                 after=lambda: copy.unlink(missing_ok=True))]


def estimate(size):
    library, (original,) = of_files(1, size)
    request = {"command": "estimate", "assetID": "0", "photoKitResourceType": 1}
    return [session(library, [request], expected=[f'"status":"estimated","bytes":{size}}}']),
            Side(["sh", "-c", 'cat "$0" >/dev/null', original])]


# Exports of small files, taken in turn, each to a place of its own. Every run has a folder of its
# own too, whose files are emptied after it and go at the end: ext4 keeps away from the inodes of
# files that were removed within the last minutes, and searching for others would cost more than
# the export. Emptied they take no disk, so that each run writes into what the last one had.
def small_exports(count, size, place=SCRATCH):
    def after():
        for copy, asset in copies:
            expect(copy.read_bytes() == originals[asset].read_bytes(), "a copy has other bytes")
            os.truncate(copy, 0)
        folder.rename(place / f"emptied-{next(runs)}")
    need_space(DATA, count * size)
    make_place(place, count * size)
    library, originals = of_files(min(1000, count), size)
    folder, runs = place / "copies", itertools.count()
    copies = [(folder / str(index), index % len(originals)) for index in range(count)]
    requests = ({"command": "export", "assetID": str(asset), "photoKitResourceType": 1,
                 "destination": str(copy)} for copy, asset in copies)
    pairs = written("pairs", (f"{originals[asset]}\n{copy}\n" for copy, asset in copies))
    more = {"expected": [originals[asset].name for _, asset in copies], "before": folder.mkdir,
            "after": after}
    return [session(library, requests, **more),
            Side(reading(pairs, PROGRAMS / "copy_and_hash"), **more)]


# Assets from all over the library, in a fresh copy that is safe on disk, so that a commit does not
# wait for the copying.
def reclaim(assets, count):
    def before():
        call("sh", "-c", 'cp -R "$0" "$1" && sync "$2"', library, copy, database)

    def after():
        moved = call("sqlite3", database, f"SELECT sum({chosen}), count(*) FROM asset "
                     "WHERE recentlyDeleted = 1").stdout
        expect(moved == f"{count}|{count}\n", "not the chosen assets were moved")
        shutil.rmtree(copy)
    library, copy = synthetic(assets), SCRATCH / "copy"
    chosen, database = f"id % {assets // count} = 0", copy / "library.sqlite"
    listed = call("sqlite3", library / "library.sqlite",
                  f"SELECT localIdentifier FROM asset WHERE {chosen}").stdout.split()
    request = {"command": "reclaim", "assetIDs": listed}
    update = "UPDATE asset SET recentlyDeleted = 1 WHERE localIdentifier IN ('{}');"
    sql = written("update.sql", update.format("', '".join(listed)))
    return [session(copy, [request], before=before, after=after,
                    expected=['"status":"moved_to_recently_deleted"']),
            Side(reading(sql, "sqlite3", database), [], before, after)]


def backing_up(library, place, *helper):
    return [sys.executable, ROOT / "hosts/python/backup.py", place, "--helper", *helper, SIM,
            "serve", library]


# The first backup tells which requests there are. Every run has folders of its own, emptied after
# it, as small exports have.
def backup(assets):
    def before():
        place.mkdir()
        for folder in folders:
            (place / folder).mkdir(parents=True, exist_ok=True)

    def after(files):
        held = [each for each in place.rglob("*") if each.is_file()]
        expect(len(held) == files, f"{len(held)} files instead of {files}")
        for each in held:
            os.truncate(each, 0)
        place.rename(SCRATCH / f"emptied-{next(runs)}")
    library, place, runs = synthetic(assets), SCRATCH / "place", itertools.count()
    need_space(DATA, 200_000 * assets)
    requests = SCRATCH / "requests"
    call(*backing_up(library, place, "sh", "-c", 'tee "$0" | "$@"', requests))
    folders = {each.parent.relative_to(place) for each in place.glob("*/*/*/*")}
    resources = int(call("sqlite3", library / "library.sqlite",
                         "SELECT count(*) FROM resource").stdout)
    after(resources + 1)  # and its journal
    return [Side(backing_up(library, place), after=lambda: after(resources + 1)),
            Side(reading(requests, SIM, "serve", library), before=before,
                 after=lambda: after(resources))]


def second_backup(assets):
    command = backing_up(synthetic(assets), SCRATCH / "place")
    call(*command)
    return [Side(command, after=lambda: expect("Saved 0 files" in OURS.read_text(),
                                               "something was saved again"))]
