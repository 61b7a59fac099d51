"""The report of a backup: one HTML page without outside resources."""

from __future__ import annotations

import datetime
import html
import os
import pathlib
import re
import urllib.parse
import uuid
from collections.abc import Iterator
from dataclasses import dataclass

TYPES = {1: "photo", 2: "video", 3: "audio", 4: "alternate photo", 5: "edited photo",
         6: "edited video", 7: "adjustment data", 8: "adjustment base photo",
         9: "Live Photo video", 10: "edited Live Photo video",
         11: "adjustment base Live Photo video", 12: "adjustment base video"}
COMPANIONS = {3, 7, 8, 9, 10, 11, 12}  # named below the pictures
SHOWN_BY_BROWSERS = {".avif", ".gif", ".jpeg", ".jpg", ".png", ".webp"}

STYLE = """
:root { color-scheme: light dark; --page: #f6f5f2; --card: #fff; --text: #21201c; --soft: #6d6b63;
  --line: #e4e2dc; --tile: #eceae4; --bar: #3d7a94; --bad: #a8321f; --bad-card: #fcefeb }
@media (prefers-color-scheme: dark) { :root { --page: #161614; --card: #201f1d; --text: #eceae4;
  --soft: #9d9a91; --line: #34332f; --tile: #2b2a27; --bar: #6fb0cb; --bad: #f0917f;
  --bad-card: #33211d } }
* { box-sizing: border-box; margin: 0 }
body { background: var(--page); color: var(--text); font: 1rem/1.5 system-ui, sans-serif;
  overflow-wrap: anywhere; font-variant-numeric: tabular-nums }
main { max-width: 72rem; margin: auto; padding: clamp(1.25rem, 5vw, 3.5rem) clamp(1rem, 4vw, 3rem) }
a { color: inherit; text-decoration: none }
ul { list-style: none; padding: 0 }
h1 { font-size: clamp(1.6rem, 5vw, 2.4rem); line-height: 1.2; letter-spacing: -.02em }
h2, summary { font-size: 1.05rem; font-weight: 600 }
summary { cursor: pointer; padding: .75rem 0 }
.soft { color: var(--soft); font-size: .875rem; font-weight: 400 }
h2 .soft, summary .soft { margin-left: .5rem }
.card { background: var(--card); border: 1px solid var(--line); border-radius: .75rem;
  padding: 1.1rem 1.25rem; margin-top: 1rem }
.numbers { display: grid; grid-template-columns: repeat(auto-fit, minmax(9.5rem, 1fr));
  gap: 0 1rem; margin-top: .75rem }
.numbers strong { display: block; font-size: 1.5rem; letter-spacing: -.01em }
.bad { background: var(--bad-card); border-color: transparent }
.bad h2 { color: var(--bad) }
.bad ul { max-height: 60vh; overflow: auto }
.bad li { padding: .6rem 0 }
.bad li + li, details + details { border-top: 1px solid var(--line) }
.chart { position: relative; margin-top: 1rem; padding-bottom: 1.6rem }
svg { display: block; width: 100%; height: 9rem; border-bottom: 1px solid var(--line) }
rect { fill: var(--bar) }
.chart span { position: absolute; bottom: 0; transform: translateX(-50%); white-space: nowrap;
  font-size: .75rem; color: var(--soft) }
.months { padding-block: .25rem }
.grid { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(7.5rem, 45%), 1fr));
  gap: .9rem .75rem; padding-bottom: 1rem }
.grid li { content-visibility: auto; contain-intrinsic-size: auto 8rem auto 10rem }
.box { display: grid; place-content: center; aspect-ratio: 1; border-radius: .5rem;
  overflow: hidden; background: var(--tile); color: var(--soft); letter-spacing: .05em }
img { width: 100%; height: 100%; aspect-ratio: 1; object-fit: cover; display: block }
.name { display: block; overflow: hidden; text-overflow: ellipsis; white-space: nowrap;
  margin-top: .3rem; font-size: .8rem; color: var(--soft) }
.with { padding-bottom: 1rem }
.with a { margin-right: .5rem; text-decoration: underline }
"""


@dataclass
class SavedFile:
    """One resource that is in the backup."""

    path: pathlib.Path  # absolute; the page refers to it relatively
    name: str  # the original filename, as the camera gave it: it may hold anything
    created: float  # seconds since 1970-01-01 00:00:00 UTC
    media_type: str  # "photo" or "video": the asset's
    resource_type: int
    bytes: int


@dataclass
class Failure:
    """One resource that is not in the backup, and why."""

    name: str
    asset_id: str
    resource_type: int
    reason: str


@dataclass
class Report:
    folder: pathlib.Path
    files: list[SavedFile]  # all in the backup, not only those of this run
    failures: list[Failure]
    reclaimed: int  # assets moved to Recently Deleted by this run
    exported_now: int  # files exported by this run
    finished: bool  # false: the run was interrupted
    moment: float  # when the run ended, seconds since 1970-01-01 00:00:00 UTC


def text(value: str) -> str:
    """HTML of a name or a reason, which may hold anything; controls are shown as \\u{...}."""
    controls = "[\0-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ud800-\udfff]"
    return html.escape(re.sub(controls, lambda found: f"\\u{{{ord(found[0]):x}}}", value))


def number_of_files(count: int) -> str:
    return f"{count:,} file{'' if count == 1 else 's'}"


def size(files: list[SavedFile]) -> str:
    count, units = sum(file.bytes for file in files) / 1000, ["KB", "MB", "GB", "TB"]
    while count >= 999.95 and len(units) > 1:
        count, units = count / 1000, units[1:]
    return f"{count:,.1f} {units[0]}"


def month_of(file: SavedFile) -> str:
    """Such as 2024-01; empty for a date that the calendar does not have."""
    try:
        moment = datetime.datetime.fromtimestamp(file.created, datetime.timezone.utc)
    except (OSError, OverflowError, ValueError):
        return ""
    return f"{moment.year:04}-{moment.month:02}"


def month_name(month: str, form: str = "%B") -> str:
    if not month:
        return "Other dates"
    return f"{datetime.date(2000, int(month[5:]), 1):{form}} {int(month[:4])}"


def chart(months: dict[str, list[SavedFile]]) -> Iterator[str]:
    """A bar for each month, also for empty ones unless these would be too many."""
    known = sorted(filter(None, months))
    if not known:
        return
    first, last = (int(month[:4]) * 12 + int(month[5:]) - 1 for month in (known[0], known[-1]))
    bars, note = known, "in a month; empty months are left out"
    if last - first < 240:
        bars = [f"{month // 12:04}-{month % 12 + 1:02}" for month in range(first, last + 1)]
        note = "in a month"
    most = max(len(months[month]) for month in known)
    yield (f"<section class=card><h2>When they were taken<span class=soft>at most {most:,} {note}"
           f'</span></h2><div class=chart style="max-width: {4 * len(bars)}rem">'
           f'<svg viewBox="0 0 {len(bars)} 100" preserveAspectRatio=none>')
    marks: dict[str, int] = {}  # label: the first bar that it stands below
    for place, month in enumerate(bars):
        marks.setdefault(month[:4] if len(bars) > 24 else month_name(month, "%b"), place)
        if month in months:
            height = max(1, 100 * len(months[month]) / most)
            yield (f'<a href="#m{month}"><rect x="{place}.1" y="{100 - height:.2f}" width=".8" '
                   f'height="{height:.2f}"><title>{month_name(month)}: '
                   f"{number_of_files(len(months[month]))}</title></rect></a>")
    yield "</svg>"
    labels = list(marks.items())[len(bars) > 24:]  # The first year may have a month only.
    for label, place in labels[::-(-len(labels) // 5)]:
        yield f'<span style="left: {100 * (place + .5) / len(bars):.2f}%">{label}</span>'
    yield "</div></section>\n"


def tile(file: SavedFile, url: str) -> str:
    kind = file.path.suffix.lower()
    inside = ("▶ " if file.media_type == "video" else "") + text(kind[1:6].upper())
    if file.media_type == "photo" and kind in SHOWN_BY_BROWSERS:
        inside = f'<img src="{url}" alt="" width=160 height=160 loading=lazy decoding=async>'
    return (f'<li><a href="{url}" title="{TYPES.get(file.resource_type)}, {size([file])}">'
            f"<span class=box>{inside}</span>"
            f"<span class=name><bdi>{text(file.name or 'unnamed')}</bdi></span></a></li>\n")


def page(report: Report, folder: str) -> Iterator[str]:
    """The page in pieces. `folder` is the one that it will be in."""
    def url(file: SavedFile) -> str:
        return urllib.parse.quote(os.fsencode(os.path.relpath(file.path, folder)))

    months: dict[str, list[SavedFile]] = {}
    for file in sorted(report.files, key=lambda file: file.created, reverse=True):
        months.setdefault(month_of(file), []).append(file)
    known = sorted(filter(None, months))
    failed = number_of_files(len(report.failures))
    title = f"{failed} could not be saved" if report.failures else "Everything is in the backup"
    if not report.finished:
        title = "The backup was interrupted"
    moment = datetime.datetime.fromtimestamp(report.moment, datetime.timezone.utc)
    yield f"""<!doctype html>
<html lang=en>
<meta charset=utf-8>
<meta http-equiv=Content-Security-Policy content="default-src 'none'; img-src 'self' file: data:;
  style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'">
<meta name=viewport content="width=device-width, initial-scale=1">
<link rel=icon href="data:,">
<title>{title}</title>
<style>{STYLE}</style>
<main>
<h1>{title}</h1>
<p class=soft>{moment:%d %B %Y, %H:%M} UTC · <bdi>{text(str(report.folder))}</bdi></p>
<div class=numbers>
"""
    ends = known[:1] + known[-1:]
    moved = f"; {report.reclaimed:,} moved to Recently Deleted" if report.reclaimed else ""
    for number, what in (
            (number_of_files(len(report.files)), "in the backup"), (size(report.files), "in all"),
            (" – ".join(dict.fromkeys(month[:4] for month in ends)) or "–",
             " to ".join(dict.fromkeys(map(month_name, ends))) or "no dates"),
            (f"{report.exported_now:,} new", f"in this run{moved}")):
        yield f"<div class=card><strong>{number}</strong><span class=soft>{what}</span></div>\n"
    yield "</div>\n"
    if report.failures:
        yield "<section class='card bad'><h2>Not saved</h2><ul tabindex=0>\n"
    for failure in report.failures:
        kind = TYPES.get(failure.resource_type, f"type {failure.resource_type}")
        yield (f"<li><b><bdi>{text(failure.name or 'unnamed')}</bdi></b> ({kind})<br>"
               f"{text(failure.reason)}<br><span class=soft>{text(failure.asset_id)}</span></li>\n")
    yield "</ul></section>\n" if report.failures else ""
    yield from chart(months)
    yield "<section class='card months'>\n"
    room = 60  # files; months are open until they fill the page
    for month, files in months.items():
        yield (f"<details id=m{month}{' open' if room > 0 else ''}><summary>{month_name(month)}"
               f"<span class=soft>{number_of_files(len(files))}, {size(files)}</span></summary>\n"
               "<ul class=grid>\n")
        room -= len(files)
        yield from (tile(file, url(file)) for file in files
                    if file.resource_type not in COMPANIONS)
        companions = [f' <a href="{url(file)}"><bdi>{text(file.name or "unnamed")}</bdi></a>'
                      for file in files if file.resource_type in COMPANIONS]
        companions[:0] = ["<p class='soft with'>With them:"] if companions else []
        yield "".join(["</ul>", *companions, "</details>\n"])
    yield "</section></main>\n"


def write_report(path: pathlib.Path, report: Report) -> None:
    """Writes the page to `path`, whole or not at all. Raises OSError if it can't be written."""
    folder = os.path.abspath(path.parent)
    temporary = pathlib.Path(folder, f".{uuid.uuid4()}.part")
    try:
        with open(temporary, "x", encoding="utf-8") as file:
            file.writelines(page(report, folder))
            file.flush()
            os.fsync(file.fileno())
        os.replace(temporary, path)
    except BaseException:
        temporary.unlink(missing_ok=True)
        raise
