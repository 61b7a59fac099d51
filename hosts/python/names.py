"""Where a file of the backup lies: names that every file system takes, made of any others."""

from __future__ import annotations

import datetime
import itertools
import os
import re
import unicodedata

from photos_helper import UNLISTED_TYPES, Asset

# By the type of resource, behind the name that all files of an asset share.
SUFFIXES = {3: "-audio", 5: "-edited", 6: "-edited", 8: "-base", 10: "-edited", 11: "-base",
            12: "-base"}
# A listing does not name these.
EXTENSIONS = {3: ".m4a", 7: ".AAE", 11: ".MOV"}
# What some file system refuses; a device's name on another is refused with any extension.
FORBIDDEN = re.compile(r'[<>:"/\\|?*]')
DEVICE = re.compile(r"(con|prn|aux|nul|com\d|lpt\d)(\.|$)", re.IGNORECASE)
# Of a name's 255 bytes: the rest is for suffix, number and extension.
LONGEST_STEM = 120
LONGEST_EXTENSION = 16


def shown(text: str) -> str:
    """The text for a terminal: what would control it, or is not to be seen, is escaped."""
    return "".join(each.encode("unicode_escape").decode() if _hidden(each) else each
                   for each in text)


def folder_of(created: float) -> str:
    """The day in UTC, such as 2024/01/06; 0000/00/00 where the calendar has none."""
    try:
        day = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=created)
    except (OverflowError, ValueError):
        return "0000/00/00"
    return f"{day.year:04}/{day.month:02}/{day.day:02}"


class Names:
    """Gives each asset a stem of its own in its day's folder, so that what belongs together lies
    together. Equal names are told apart by a number: "IMG_1 (2)"."""

    def __init__(self) -> None:
        self._claimed: set[str] = set()

    def claim(self, stem: str) -> None:
        self._claimed.add(folded(stem))

    def choose(self, asset: Asset, types: list[int], own: str | None,
               held: set[str]) -> tuple[str, list[str]]:
        """A stem, such as 2024/01/06/IMG_1, and a path for each of the types: relative ones. `own`
        is the stem that the asset has already, `held` the folded names in its day's folder: none
        of them is given, and those that are given join them."""
        folder = folder_of(asset.created)
        if own and not own.startswith(folder + "/"):
            own = None
        base = f"{folder}/{_stem(asset.resources[0].filename)}"
        for number in itertools.count():
            stem = own if number == 0 else base if number == 1 else f"{base} ({number})"
            if stem is None or (stem != own and folded(stem) in self._claimed):
                continue
            paths = _paths(asset, stem, types)
            names = {folded(each[len(folder) + 1:]) for each in paths}
            if held.isdisjoint(names):
                held |= names
                self.claim(stem)
                return stem, paths
        raise AssertionError


def _paths(asset: Asset, stem: str, types: list[int]) -> list[str]:
    listed = {each.type: _extension(each.filename) for each in reversed(asset.resources)}
    first = _extension(asset.resources[0].filename)
    ends: dict[int, str] = {}
    for type_ in [*listed, *UNLISTED_TYPES]:
        suffix = SUFFIXES.get(type_, "")
        end = suffix + (EXTENSIONS.get(type_) or listed.get(type_, first))
        if any(folded(end) == folded(each) for each in ends.values()):
            end = f"{suffix}-{type_}{end[len(suffix):]}"
        ends[type_] = end
    return [stem + ends[type_] for type_ in types]


def _stem(filename: str) -> str:
    stem = _cut(_safe(os.path.splitext(_safe(filename))[0]), LONGEST_STEM) or "unnamed"
    if DEVICE.match(stem):
        stem = "_" + stem
    # Or it could be another asset's stem with a suffix, or with a number of equal types.
    if re.search(r"-(audio|edited|base|\d+)$", stem, re.IGNORECASE):
        stem += "_"
    return stem


def _extension(filename: str) -> str:
    extension = os.path.splitext(_safe(filename))[1]
    return extension if len(extension.encode()) <= LONGEST_EXTENSION else ""


def _safe(name: str) -> str:
    """Not hidden, no way to another folder, and no blank or point at the end, which some file
    systems drop."""
    plain = name if name.isascii() and name.isprintable() else "".join(
        "_" if _hidden(each) else each for each in unicodedata.normalize("NFC", name))
    return FORBIDDEN.sub("_", plain).strip(" .")


def _cut(text: str, longest: int) -> str:
    return text.encode()[:longest].decode(errors="ignore").rstrip(" .")


def _hidden(character: str) -> bool:
    return unicodedata.category(character) in ("Cc", "Cf", "Cs", "Co", "Cn", "Zl", "Zp")


def folded(path: str) -> str:
    """Equal for paths that may be one somewhere. Each file system that ignores case does so in a
    way of its own; this takes more for equal than any of them."""
    if path.isascii():
        return path.lower()
    return unicodedata.normalize("NFKD", unicodedata.normalize("NFKD", path).upper().casefold())
