# The rows of the table, and how each is measured.

import collections
import itertools
import json
import math
import shlex
import sys

from data import GIB, MEMORY, MIB, SCRATCH, call
from sides import CP_OPENSSL, LONG_LINES, PAGE, PROGRAMS, Side, all_pages, alone, backup, create
from sides import estimate, export, long_line, many_resources, mixed_pipe, pages, reclaim
from sides import round_trips, second_backup, small_exports

# A row of the table.
#   measure: `seconds`, `peak` or `told`, below
#   aim: what is judged ("ours", "ratio", "difference") and the most that it may be, or None
#   sides: a function and its arguments: makes the data and gives the sides, ours first. The other
#     may be a plain number, or be missing
#   per: what the measured is divided by
Row = collections.namedtuple("Row", "name measure aim sides what per", defaults=[1])


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
    yield Row("backup", seconds, ("ratio", 3), (backup, 2 * some), f"`backup.py` of {2 * some:,} "
              "assets to the disk, beside `photos-sim serve` with the same requests in a file")
    yield Row("second-backup", seconds, ("ours", 5), (second_backup, 2 * some),
              "`backup.py` once more, when nothing has changed")
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
                  f"a page of {PAGE} assets, of {count:,} resource{'s' * (count > 1)} each")
    for count in [each // fewer or 1 for each in (1, 100, 10_000, 100_000)]:
        yield Row(f"growth-reclaim-{count}", seconds, None, (reclaim, assets, count),
                  f"reclaim of {count:,} of {assets:,} assets, beside the `sqlite3` shell")
