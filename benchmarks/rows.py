# The rows of the table: what is run on either side, on which data, and what its answers must be.
# The folder for the data is in $DATA.

import collections
import itertools
import json
import math
import os
import pathlib
import shlex
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = ROOT / "build/release"
SIM = PROGRAMS / "photos-sim"
ECHO = PROGRAMS / "echo_lines"
DATA = pathlib.Path(os.environ["DATA"])
# For what one row needs, removed at its end: on the disk, and in memory where the system has that.
SCRATCH = DATA / "scratch"
MEMORY = pathlib.Path("/dev/shm/photos-helper-bench")
OURS, OTHERS = SCRATCH / "ours", SCRATCH / "others"  # what the two sides have printed
MIB, GIB = 1 << 20, 1 << 30
PAGE = 500

# A row of the table.
#   measure: `seconds`, `peak` or `told`, below
#   aim: what is judged ("ours", "ratio", "difference") and the most that it may be, or None
#   sides: a function and its arguments: makes the data and gives the sides, ours first. The other
#     may be a plain number, or be missing
#   per: what the measured is divided by
Row = collections.namedtuple("Row", "name measure aim sides what per", defaults=[1])

# One side of a row. The clock sees the command alone.
#   expected: for each line that it prints, a text that is in it; None: not checked so
#   before, after: what is done around each run; `after` checks what else is to be checked
Side = collections.namedtuple("Side", "command expected before after",
                              defaults=[None, lambda: None, lambda: None])


class NotRun(Exception):
    """The row can't be run on this machine, for no fault of anybody."""


def expect(is_true, otherwise):
    if not is_true:
        raise RuntimeError(otherwise)


# Running programs.

def call(*words, stdout=subprocess.PIPE):
    done = subprocess.run([str(word) for word in words], stdin=subprocess.DEVNULL, stdout=stdout,
                          stderr=subprocess.PIPE, text=True, check=False)
    said = " ".join((done.stderr or done.stdout or "").split())
    expect(done.returncode == 0, f"{words[0]} failed: {said}")
    return done


# By way of sh, since Debian 12's hyperfine gives no input to what it runs.
def reading(file, *command):
    return ["sh", "-c", 'exec "$@" <"$0"', file, *command]


# The time of a whole process.
def seconds(command, output):
    report = SCRATCH / "hyperfine.json"
    call("hyperfine", "-N", "--runs=1", "--style=none", "--output", output,
         "--export-json", report, shlex.join(map(str, command)))
    return json.loads(report.read_text())["results"][0]["times"][0]


# The peak memory of a process in bytes. Python can't tell it: a child counts what its parent had.
def peak(command, output):
    flags, unit = (["-l"], 1) if sys.platform == "darwin" else (["-f", "%M maximum"], 1024)
    with open(output, "wb") as stdout:
        done = call("/usr/bin/time", *flags, *command, stdout=stdout)
    return int(done.stderr.split("maximum")[0].split()[-1]) * unit


# What the command has measured itself.
def told(command, _):
    return float(call(*command).stderr)


# Data.

def need_space(folder, size):
    needed = math.ceil(size / GIB) + 1  # and some to spare
    if shutil.disk_usage(folder).free < needed * GIB:
        raise NotRun(f"needs {needed} GiB free in {folder}")


def written(name, lines):
    with open(SCRATCH / name, "w", encoding="utf-8") as file:
        file.writelines(lines)
    return SCRATCH / name


# A library, made once and kept for later runs.
def kept(name, *source):
    if not (DATA / name).exists():
        call(SIM, "create", SCRATCH / name, *source)
        (SCRATCH / name).rename(DATA / name)
        os.sync()  # nothing of it is still being written when the clock starts
    return DATA / name


def synthetic(assets):
    need_space(DATA, 2000 * assets)  # all its summaries too
    return kept(f"synthetic-{assets}", "--synthetic", assets)


# A library of assets called 0, 1 and so on, each of a file of random bytes; and these files.
def of_files(count, size):
    name = f"files-{count}-{size}"
    if not (DATA / name).exists():
        need_space(DATA, 2 * count * size)
        for index in range(count):
            call("sh", "-c", 'head -c "$1" /dev/urandom >"$0"', SCRATCH / str(index), size)
    assets = [{"localIdentifier": str(index), "creationDate": 0, "resources": [
        {"type": 1, "originalFilename": "photo.jpg", "file": str(index)}]}
              for index in range(count)]
    description = json.dumps({"authorization": 3, "assets": assets})
    library = kept(name, "--from", written("description.json", description))
    digests = call("sqlite3", library / "library.sqlite",
                   "SELECT sha256 FROM resource ORDER BY asset").stdout
    return library, [library / "originals" / each[:2] / each for each in digests.split()]


# The sides of rows.

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
    resources = [{"type": 1, "originalFilename": f"{index}.jpg", "size": 0}
                 for index in range(count)]
    asset = json.dumps({"creationDate": 0, "resources": resources})
    assets = ",\n".join([asset] * PAGE)
    description = f'{{"authorization":3,"assets":[{assets}]}}'
    library = kept(f"resources-{count}", "--from", written("description.json", description))
    return [session(library, [{"command": "discover", "limit": PAGE}], expected=["}]}"],
                    after=after)]


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


def make_place(folder, size):
    if not folder.parent.is_dir():
        raise NotRun(f"there is no memory file system at {folder.parent}")
    folder.mkdir(exist_ok=True)
    need_space(folder, size)


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


# The table.

PLACES = [(SCRATCH, "", "the disk"), (MEMORY, "-in-memory", "a memory file system")]


def sized(size):
    unit = int(math.log2(size)) // 10
    return f"{size >> 10 * unit} {['B', 'KiB', 'MiB', 'GiB'][unit]}"


def rows_of(quick):
    fewer, smaller = (20, 64) if quick else (1, 1)
    assets, some, large = 1_000_000 // fewer, 10_000 // fewer, GIB // smaller
    requests, line = 100_000 // fewer, 100_000_000 // fewer
    yield Row("authorize", told, ("ratio", 1.15), (round_trips, 20_000 // fewer),
              '"authorize" round trip, beside a C program that echoes lines')
    # No request, no library: this is the helper itself, and photos-sim loads more.
    yield Row("start", seconds, ("ours", 10e-3), (list, [Side([PROGRAMS / "photos-helper"], [])]),
              "start to exit of `photos-helper` on empty input")
    yield Row("pipe", seconds, None, (mixed_pipe, requests), f"{requests:,} mixed small requests "
              "in one pipe, each, beside that C program", requests)
    for kind, (what, _, _, _, aim) in LONG_LINES.items():
        what = f"a line of {line // 1_000_000} MB {what}"
        if not aim:
            yield Row(f"long-{kind}", seconds, None, (alone, long_line, kind, line), what)
        yield Row(f"long-{kind}-memory", peak, aim, (long_line, kind, line),
                  f"peak memory with {what}, beside its size")
    yield Row("first-page", seconds, ("ours", 50e-3), (pages, assets, [0]),
              f"first page of a library of {assets:,} assets, from process start")
    yield Row("all-pages", seconds, ("ratio", 0.5), (all_pages, assets), "all pages of "
              f"{assets:,} assets, beside one `sqlite3 -json` query of the same summaries")
    yield Row("all-pages-memory", peak, ("ours", 150e6), (alone, all_pages, assets),
              f"peak memory with all pages of {assets:,} assets")
    yield Row("create", seconds, ("ours", 15), (create, assets),
              f"`photos-sim create --synthetic {assets}`")
    for name, other, most in [("openssl", CP_OPENSSL, 0.75), ("hash", "openssl dgst -sha256", 1.15),
                              ("sha256sum", "cp && sha256sum", 0.3)]:
        for folder, suffix, where in PLACES:
            yield Row(f"export-{name}{suffix}", seconds, ("ratio", most),
                      (export, large, other, folder),
                      f"export of {sized(large)} to {where}, beside `{other}`")
    yield Row("estimate", seconds, ("ratio", 1.3), (estimate, large),
              f"estimate of {sized(large)}, beside `cat FILE >/dev/null`")
    for size, sides in itertools.product([MIB // smaller, 4 * GIB // smaller], [export, estimate]):
        yield Row(f"{sides.__name__}-memory-{size}", peak, ("ours", 24e6), (alone, sides, size),
                  f"peak memory with an {sides.__name__} of {sized(size)}")
    for folder, suffix, where in PLACES:
        yield Row(f"small-exports{suffix}", seconds, ("difference", 60e-6),
                  (small_exports, some, 100_000, folder), f"{some:,} exports of 100 KB to {where} "
                  "in one session, each, beside only copying and hashing", some)
    yield Row("reclaim", seconds, ("ratio", 2), (reclaim, assets, some), f"reclaim of {some:,} of "
              f"{assets:,} assets in one request, beside the same update by the `sqlite3` shell")
    for count in [each // fewer for each in (10_000, 100_000, 1_000_000, 3_000_000)]:
        for part, sides in [("first page", (pages, count, [0])),
                            ("last page", (pages, count, [count - PAGE])),
                            ("all pages", (all_pages, count))]:
            yield Row(f"growth-{part.split()[0]}-{count}", seconds, None, sides,
                      f"{part} of {count:,} assets")
    for size in [each // smaller for each in (MIB, 64 * MIB, GIB, 4 * GIB)]:
        yield Row(f"growth-export-{size}", seconds, None, (export, size),
                  f"export of {sized(size)}, beside `{CP_OPENSSL}`")
    for count in [each // fewer or 1 for each in (10, 1000, 100_000, 1_000_000)]:
        yield Row(f"growth-session-{count}", seconds, None, (mixed_pipe, count),
                  f"{count:,} mixed small requests in one pipe, beside the echoing C program")
    for count in [each // fewer or 1 for each in (1, 10, 100, 1000)]:
        yield Row(f"growth-resources-{count}", seconds, None, (many_resources, count),
                  f"a page of {PAGE} assets of {count:,} resources each")
    for count in [each // fewer or 1 for each in (1, 100, 10_000, 100_000)]:
        yield Row(f"growth-reclaim-{count}", seconds, None, (reclaim, assets, count),
                  f"reclaim of {count:,} of {assets:,} assets, beside the `sqlite3` shell")
