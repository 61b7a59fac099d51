"""What the backup holds, as a file of JSON lines that only grows and survives any kill.

A line is written before the file that it tells of gets its name. So a file has its name only if the
journal tells of it, and the next run finishes what a killed one had begun.
"""

from __future__ import annotations

import contextlib
import fcntl
import json
import os
import pathlib
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any

from photos_helper import Asset, Exported, check_and_sync, sync_folder

NAME = "photos-backup.jsonl"
FORMAT = "photos-helper backup"
VERSION = 1
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
    temporary: str
    bytes: int = 0
    sha256: str = ""

    def is_of(self, asset: Asset, filename: str) -> bool:
        """The asset has not changed since, and is not another library's of the same name."""
        return (self.modified, self.created, self.filename) == (
            asset.modified, asset.created, filename)


@dataclass(slots=True)
class Absent:
    """Types that the asset has no resource of, although a listing would not name them."""

    asset_id: str
    modified: float | None
    types: list[int]


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
        self._read()

    def finish(self) -> None:
        """Gives the files their names that a killed run had told of and not named yet."""
        for entry in list(self.files.values()):
            temporary, path = self.folder / entry.temporary, self.folder / entry.path
            if not os.path.lexists(path) and temporary.exists():
                try:
                    check_and_sync(temporary, Exported(entry.bytes, entry.sha256))
                except OSError:
                    continue  # cut short by a loss of power: exported again
                os.rename(temporary, path)
                sync_folder(path.parent)

    def forget_missing(self) -> None:
        """Whatever somebody has removed or cut short is exported again."""
        for entry in list(self.files.values()):
            try:
                if os.stat(f"{self.folder}/{entry.path}").st_size == entry.bytes:
                    continue
            except OSError:
                pass
            del self.files[entry.path]
            if self.saved.get((entry.asset_id, entry.type)) is entry:
                del self.saved[entry.asset_id, entry.type]

    def append(self, records: Iterable[Entry | Absent]) -> None:
        """Returns when the records will survive a loss of power. Raises OSError; the journal
        is then as it was before."""
        if self._descriptor is None:
            self._open()
        records = list(records)
        text = "".join(json.dumps({type(each).__name__: {
            name: getattr(each, name) for name in each.__slots__}}) + "\n" for each in records)
        self._write(text.encode())
        for record in records:
            self._take(record)

    def close(self) -> None:
        if self._descriptor is not None:
            os.close(self._descriptor)
            self._descriptor = None

    def _take(self, record: Entry | Absent) -> None:
        if isinstance(record, Absent):
            older = self.absent.get(record.asset_id)
            if older and older.modified == record.modified:
                record = Absent(record.asset_id, record.modified, older.types + record.types)
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
        self._descriptor = os.open(self.folder / NAME, os.O_WRONLY | os.O_CREAT | os.O_CLOEXEC,
                                   0o666)
        os.ftruncate(self._descriptor, self._length)
        os.lseek(self._descriptor, self._length, os.SEEK_SET)
        if self._length == 0:
            self._write(HEADER)
            sync_folder(self.folder)

    def _write(self, text: bytes) -> None:
        assert self._descriptor is not None
        end = self._length + len(text)
        try:
            while text:
                text = text[os.write(self._descriptor, text):]
            os.fsync(self._descriptor)
        except OSError:
            # A part of a line, left where it is, would spoil the next one.
            os.lseek(self._descriptor, self._length, os.SEEK_SET)
            os.ftruncate(self._descriptor, self._length)
            raise
        self._length = end
        if hasattr(fcntl, "F_FULLFSYNC"):
            # On macOS fsync leaves the bytes in the drive's cache. This empties it, of the files
            # that were synced before, too. A network volume can't.
            with contextlib.suppress(OSError):
                fcntl.fcntl(self._descriptor, fcntl.F_FULLFSYNC)


def _record(line: bytes) -> Entry | Absent | None:
    try:
        (kind, fields), = json.loads(line).items()
        record = {"Entry": Entry, "Absent": Absent}[kind](**fields)
        return record if isinstance(record, Absent) or _is_sound(record) else None
    except (ValueError, TypeError, KeyError, AttributeError, RecursionError):
        return None


def _is_sound(entry: Entry) -> bool:
    """It leads nowhere but into the backup."""
    values: list[Any] = [entry.path, entry.temporary, entry.stem, entry.sha256]
    return type(entry.bytes) is int and all(
        isinstance(each, str) and not each.startswith("/") and ".." not in each.split("/")
        for each in values)
