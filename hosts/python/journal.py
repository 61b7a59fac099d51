"""What the backup holds, as a file of JSON lines that only grows and survives any kill.

A line is written before the file that it tells of gets its name. So a file has its name only if the
journal tells of it, and the next run finishes what a killed one had begun.
"""

from __future__ import annotations

import json
import os
import pathlib
from collections.abc import Iterable
from dataclasses import dataclass

from photos_helper import Asset, Exported, check_and_sync, full_sync, sync_folder

NAME = "photos-backup.jsonl"
FORMAT = "photos-helper backup"
VERSION = 1
# Of a record's fields; the others are text.
TYPES_OF = {"type": (int,), "bytes": (int,), "types": (list,), "created": (float, int),
            "modified": (float, int, type(None))}
HEADER = json.dumps({"format": FORMAT, "version": VERSION}).encode() + b"\n"


class ForeignJournal(Exception):
    """FOLDER is another program's, or a later version's. The text says so."""


@dataclass(slots=True)
class Entry:
    """A resource in the backup. Paths are relative to the backup's folder."""

    asset_id: str
    type: int
    modified: float | None
    created: float
    media_type: str
    filename: str
    stem: str
    path: str
    temporary: str  # empty if an older file stands for it
    bytes: int
    sha256: str

    def is_of(self, asset: Asset, filename: str) -> bool:
        """The asset has not changed since, and is not another library's of the same name."""
        return (self.modified, self.created, self.filename) == (
            asset.modified, asset.created, filename)


@dataclass(slots=True)
class Absent:
    """Types that the asset has no resource of, although a listing would not name them."""

    asset_id: str
    modified: float | None
    created: float
    types: list[int]

    def is_of(self, asset: Asset | Absent) -> bool:
        return (self.modified, self.created) == (asset.modified, asset.created)


class Journal:
    """`saved` holds the latest file of each asset and type, `files` all files by path: those that
    are there and have their size. One thread at a time may call `append`."""

    def __init__(self, folder: pathlib.Path) -> None:
        """Raises ForeignJournal, and OSError."""
        self.folder = folder
        self.saved: dict[tuple[str, int], Entry] = {}
        self.files: dict[str, Entry] = {}
        self.absent: dict[str, Absent] = {}
        self.stems: dict[tuple[str, float | None], str] = {}
        self.unreadable = 0
        self._descriptor: int | None = None
        self._length = 0
        self._early: list[Absent] = []
        self._read()

    def look(self, finish: bool) -> None:
        """Forgets whatever somebody has removed or cut short. With `finish`, what a killed run has
        told of and not named yet gets its name."""
        for entry in list(self.files.values()):
            try:
                held = os.stat(f"{self.folder}/{entry.path}").st_size == entry.bytes
            except OSError:
                held = finish and self._finish(entry)
            if not held:
                self.forget(entry)

    def _finish(self, entry: Entry) -> bool:
        try:
            check_and_sync(self.folder / entry.temporary, Exported(entry.bytes, entry.sha256))
            self.name(entry)
            sync_folder((self.folder / entry.path).parent)
        except OSError:
            return False  # it is not there, or was cut short by a loss of power
        return True

    def name(self, entry: Entry) -> None:
        """Gives the entry's file its name. Raises OSError, also if there is a file of that name."""
        if os.path.lexists(f"{self.folder}/{entry.path}"):
            raise FileExistsError(f"{entry.path} is there already")
        os.rename(f"{self.folder}/{entry.temporary}", f"{self.folder}/{entry.path}")

    def forget(self, entry: Entry) -> None:
        """For this run the backup does not hold it: it is exported again."""
        for held, key in ((self.saved, (entry.asset_id, entry.type)), (self.files, entry.path)):
            if held.get(key) is entry:  # type: ignore[attr-defined]
                del held[key]  # type: ignore[attr-defined]

    def append(self, records: Iterable[Entry | Absent]) -> None:
        """Returns when the records will survive a loss of power. Raises OSError; the journal is
        then as it was before. It is made with the first file: FOLDER may be one that takes none."""
        records = list(records)
        if self.files or any(isinstance(each, Entry) for each in records):
            text = "".join(json.dumps({type(each).__name__: {name: getattr(
                each, name) for name in each.__slots__}}) + "\n" for each in self._early + records)
            if self._descriptor is None:
                self._open()
            self._write(text.encode())
            self._early = []
        else:
            self._early += records
        for record in records:
            self._take(record)

    def sync(self) -> None:
        """Returns when everything that was synced before will survive a loss of power, also where
        that leaves it in the drive's cache. Raises OSError."""
        if self._descriptor is None:
            self._open()
        assert self._descriptor is not None
        full_sync(self._descriptor)

    def close(self) -> None:
        if self._descriptor is not None:
            os.close(self._descriptor)
            self._descriptor = None

    def _take(self, record: Entry | Absent) -> None:
        if isinstance(record, Absent):
            older = self.absent.get(record.asset_id)
            if older and older.is_of(record):
                record.types = older.types + record.types
            self.absent[record.asset_id] = record
            return
        self.saved[record.asset_id, record.type] = self.files[record.path] = record
        self.stems[record.asset_id, record.modified] = record.stem

    def _read(self) -> None:
        try:
            file = open(self.folder / NAME, "rb")
        except FileNotFoundError:
            return
        with file:
            first = file.readline(1 << 16)
            if HEADER.startswith(first) and first != HEADER:
                return  # killed when it was made
            self._check(first)
            self._length = len(first)
            for line in file:
                if not line.endswith(b"\n"):
                    return  # killed when it was written: the next line takes its place
                self._length += len(line)
                record = _record(line)
                if record is None:
                    self.unreadable += 1
                else:
                    self._take(record)

    def _check(self, first: bytes) -> None:
        try:
            header = json.loads(first)
            ours = header["format"] == FORMAT and type(header["version"]) is int
        except (ValueError, TypeError, KeyError, RecursionError):
            ours = False
        path = self.folder / NAME
        if not ours:
            raise ForeignJournal(f"{path} is not a journal of this program: choose another folder")
        if header["version"] != VERSION:
            raise ForeignJournal(f"{path} is of version {header['version']}, and this program "
                                 f"knows version {VERSION}: use the program that wrote it")

    def _open(self) -> None:
        descriptor = os.open(self.folder / NAME, os.O_WRONLY | os.O_CREAT | os.O_CLOEXEC, 0o666)
        try:
            os.ftruncate(descriptor, self._length)
            os.lseek(descriptor, self._length, os.SEEK_SET)
            sync_folder(self.folder)
        except OSError:
            os.close(descriptor)
            raise
        self._descriptor = descriptor

    def _write(self, text: bytes) -> None:
        assert self._descriptor is not None
        if self._length == 0:
            text = HEADER + text
        end = self._length + len(text)
        try:
            while text:
                text = text[os.write(self._descriptor, text):]
            # Of the files that were synced before, too: they get their names after this.
            full_sync(self._descriptor)
        except OSError:
            # A part of a line, left where it is, would spoil the next one.
            os.lseek(self._descriptor, self._length, os.SEEK_SET)
            os.ftruncate(self._descriptor, self._length)
            raise
        self._length = end


def _record(line: bytes) -> Entry | Absent | None:
    try:
        (kind, fields), = json.loads(line).items()
        record = {"Entry": Entry, "Absent": Absent}[kind](**fields)
        return record if _is_sound(record) else None
    except (ValueError, TypeError, KeyError, AttributeError, RecursionError):
        return None


def _is_sound(record: Entry | Absent) -> bool:
    """All is of its type, and leads nowhere but into the backup."""
    if not all(type(getattr(record, name)) in TYPES_OF.get(name, (str,))
               for name in record.__slots__):
        return False
    return isinstance(record, Absent) or not any(
        each.startswith("/") or "\0" in each or ".." in each.encode().decode().split("/")
        for each in (record.path, record.temporary, record.stem))
