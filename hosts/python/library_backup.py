"""A library's backup: what is missing, saving that, moving what is saved to Recently Deleted."""

from __future__ import annotations

import collections
import contextlib
import os
import pathlib
import re
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor

from ahead import AheadHelper, Job
from journal import Absent, Entry, Journal
from names import Names, folded, folder_of
from photos_helper import (UNLISTED_TYPES, Asset, Exported, HelperError, NoAccess, NoAnswer,
                           Refused, check_and_sync)
from progress import Progress
from report import Failure
from saver import Saver

TEMPORARY = re.compile(r"\.photos-backup-[0-9a-f]{16}-\d+\.partial")
# What fails is tried again at the end of a run: a network may be back.
TRIES = 2
# So many requests in a row without an answer, and nothing more is asked of the helper.
MOST_SILENCES = 5
# On macOS the system asks the user about each group.
RECLAIMED_TOGETHER = 1000

Key = tuple[str, int]  # an asset and a type


class Stop(Exception):
    """The run can't go on. What is saved stays saved."""

    def __init__(self, text: str, status: int = 1) -> None:
        super().__init__(text)
        self.status = status


class LibraryBackup:
    def __init__(self, folder: pathlib.Path, helper: AheadHelper, journal: Journal) -> None:
        self.folder, self.helper, self.journal = folder, helper, journal
        self.assets: list[Asset] = []  # as listed last
        self.failures: dict[Key, str] = {}
        self.exported = self.reclaimed = 0
        self.unsure = 0  # assets that were to be moved, without an answer
        self.warnings: list[str] = []  # of reclaims that succeeded
        # Of what was read back, by asset and path: what is moved still has to be as it was.
        self._read: dict[str, dict[str, tuple[int, int]]] = {}
        self._tries: collections.Counter[str] = collections.Counter()  # by asset
        self._silences = 0
        self._names = Names()
        for stem in journal.stems.values():
            self._names.claim(stem)
        # A helper that a killed run has left behind writes to other names than this run's.
        self._token = os.urandom(8).hex()
        self._folders: set[str] = set()

    def list_all(self) -> None:
        assets = []
        with Progress("listed", 0) as progress:
            for asset in self.helper.assets():
                assets.append(asset)
                progress.done(0)
        self.assets = assets

    def missing(self, asset: Asset) -> list[int]:
        """Types of the asset that are not in the backup, as far as they can be had."""
        listed = dict.fromkeys(each.type for each in asset.resources)
        absent = self.journal.absent.get(asset.asset_id)
        none = absent.types if absent and absent.is_of(asset) else []
        missing = []
        for type_ in [*listed, *(each for each in UNLISTED_TYPES if each not in listed)]:
            entry = self.journal.saved.get((asset.asset_id, type_))
            if type_ not in none and not (
                    entry and entry.is_of(asset, filename_of(asset, type_))):
                missing.append(type_)
        return missing

    def save_all(self) -> None:
        """Lists and saves until a listing has nothing new."""
        while True:
            self.list_all()
            todo = [(asset, types) for asset in self.assets
                    if self._tries[asset.asset_id] < TRIES and (types := self.missing(asset))]
            if not todo:
                return
            self._probe()
            self._save(todo)

    def _save(self, todo: list[tuple[Asset, list[int]]]) -> None:
        count = sum(each not in UNLISTED_TYPES for _, types in todo for each in types)
        absent: list[int] = []
        with Progress("saved", count, self._current) as progress:

            def saved(entry: Entry) -> None:
                self.exported += 1
                self.failures.pop((entry.asset_id, entry.type), None)
                progress.done(entry.bytes, entry.type not in UNLISTED_TYPES)

            def failed(entry: Entry, reason: str) -> None:
                self.failures[entry.asset_id, entry.type] = reason
                progress.done(0, entry.type not in UNLISTED_TYPES)

            saver = Saver(self.journal, saved, failed)
            try:
                for job, outcome in self.helper.export_all(self._jobs(todo)):
                    if saver.error:
                        break
                    if isinstance(outcome, Exported):
                        self._silences = 0
                        saver.save(self._entry(job, outcome))
                    elif outcome.status == "unavailable" and job.type in UNLISTED_TYPES:
                        absent.append(job.type)
                    else:
                        failed(self._entry(job), outcome.text)
                        try:
                            self._judge(outcome)
                        finally:
                            pathlib.Path(job.temporary).unlink(missing_ok=True)
                    if absent and job.is_last:
                        saver.note(Absent(job.asset.asset_id, job.asset.modified,
                                          job.asset.created, absent))
                        absent = []
            finally:
                saver.close()
        if saver.error:
            raise Stop(f"{self.folder}: {saver.error}")

    def _jobs(self, todo: list[tuple[Asset, list[int]]]) -> Iterator[Job]:
        number = 0
        held: dict[str, set[str]] = {}  # by folder: its names, and those that it is to get
        for asset, types in todo:
            folder = f"{self.folder}/{folder_of(asset.created)}"
            if folder not in held:
                os.makedirs(folder, exist_ok=True)
                self._folders.add(folder)
                held[folder] = {folded(each) for each in os.listdir(folder)}
            stem, paths = self._names.choose(
                asset, types, self.journal.stems.get((asset.asset_id, asset.modified)),
                held[folder])
            self.journal.stems[asset.asset_id, asset.modified] = stem
            self._tries[asset.asset_id] += 1
            for type_, path in zip(types, paths):
                number += 1
                temporary = f"{folder}/.photos-backup-{self._token}-{number}.partial"
                yield Job(asset, type_, filename_of(asset, type_), stem, path, temporary,
                          type_ == types[-1])

    def _current(self) -> tuple[str, str]:
        try:
            job = self.helper.waiting[0]
            return job.filename or job.path, job.temporary
        except IndexError:
            return "", ""

    def _entry(self, job: Job, exported: Exported = Exported(0, "")) -> Entry:
        asset = job.asset
        return Entry(asset.asset_id, job.type, asset.modified, asset.created, asset.media_type,
                     job.filename, job.stem, job.path,
                     job.temporary[len(str(self.folder)) + 1:], exported.bytes, exported.sha256)

    def _judge(self, outcome: HelperError) -> None:
        """Raises Stop if it is of no use to go on after a failure. What was written is still there:
        with that, a full disk is full."""
        if isinstance(outcome, NoAnswer):
            self._silences += 1
            if self._silences == MOST_SILENCES:
                raise Stop(f"no answer to {MOST_SILENCES} requests in a row: {outcome.text}")
        else:
            self._silences = 0
        if outcome.status == "export_failed":
            self._probe()

    def _probe(self) -> None:
        """Raises Stop where nothing can be written."""
        path = self.folder / f".photos-backup-{self._token}-0.partial"
        try:
            path.write_bytes(b"probe")
        except OSError as error:
            raise Stop(f"{self.folder}: {error.strerror}") from error
        finally:
            with contextlib.suppress(OSError):
                path.unlink(missing_ok=True)

    def unsaved(self, why_not_tried: str) -> Iterator[Failure]:
        """What is in the library, as listed last, and not in the backup."""
        for asset in self.assets:
            for type_ in self.missing(asset):
                reason = self.failures.get((asset.asset_id, type_), why_not_tried)
                yield Failure(filename_of(asset, type_) or asset.resources[0].filename,
                              asset.asset_id, type_, reason)
            for type_ in repeated_types(asset):
                yield Failure(filename_of(asset, type_), asset.asset_id, type_,
                              "the asset has another of this type, and the helper gives only one")

    # Reclaiming.

    def reclaimable(self) -> list[Asset]:
        return [asset for asset in self.assets
                if not self.missing(asset) and not repeated_types(asset)]

    def read_back(self, assets: list[Asset]) -> tuple[list[Asset], int, list[str]]:
        """The assets of which all files, read from disk, are what was exported; their bytes; what
        is wrong with the others, which the backup holds no longer."""
        entries: dict[str, list[Entry]] = {asset.asset_id: [] for asset in assets}
        for (asset_id, _), entry in self.journal.saved.items():
            if asset_id in entries:
                entries[asset_id].append(entry)
        total, whole, damages = 0, [], []
        with Progress("read back", len(assets)) as progress, ThreadPoolExecutor(4) as readers:

            def read(asset: Asset) -> int:
                states = self._read[asset.asset_id] = {}
                for entry in entries[asset.asset_id]:
                    forget_cached(self.folder / entry.path)
                    try:
                        states[entry.path] = self._state(entry.path)
                        check_and_sync(self.folder / entry.path,
                                       Exported(entry.bytes, entry.sha256))
                    except OSError as error:
                        self.journal.forget(entry)
                        self._tries.pop(asset.asset_id, None)
                        raise OSError(f"{entry.path}: {error}") from error
                held = sum(entry.bytes for entry in entries[asset.asset_id])
                progress.done(held)
                return held

            try:
                for asset, held in [(each, readers.submit(read, each)) for each in assets]:
                    try:
                        total += held.result()
                        whole.append(asset)
                    except OSError as error:
                        damages.append(str(error))
            finally:
                readers.shutdown(cancel_futures=True)
        return whole, total, damages

    def reclaim(self, assets: list[Asset]) -> str:
        """Moves them to Recently Deleted, as far as they are still what was saved. Gives the reason
        why not all were moved."""
        for first in range(0, len(assets), RECLAIMED_TOGETHER):
            group = assets[first:first + RECLAIMED_TOGETHER]
            reason = ""
            for attempt in range(TRIES + 1):
                # Any other answer than success leaves open what was moved: the listing tells.
                self.list_all()
                now = {asset.asset_id: asset for asset in self.assets}
                if self.unsure:
                    self.reclaimed += sum(each.asset_id not in now for each in group)
                    self.unsure = 0
                group = [each for each in group if now.get(each.asset_id) == each
                         and self._is_as_read(each)]
                if not group or attempt == TRIES:
                    break
                self.journal.sync()
                try:
                    self.unsure = len(group)
                    if text := self.helper.reclaim([each.asset_id for each in group]):
                        self.warnings.append(text)
                    self.unsure = 0
                    self.reclaimed += len(group)
                    group = []
                    break
                except NoAccess:
                    self.unsure = 0
                    raise
                except (Refused, NoAnswer) as error:
                    reason = error.text
                    if isinstance(error, Refused):
                        self.unsure = 0
                    if error.status == "reclaim_failed":
                        break  # the user may have said no: don't ask again
            if group:
                return reason
        return ""

    def _state(self, path: str) -> tuple[int, int]:
        state = os.stat(self.folder / path)
        return state.st_size, int(state.st_mtime)

    def _is_as_read(self, asset: Asset) -> bool:
        """The user may have taken long to answer, and have taken the disk away."""
        try:
            return all(self._state(path) == state
                       for path, state in self._read[asset.asset_id].items())
        except OSError:
            return False

    # The end.

    def tidy(self, everywhere: bool) -> None:
        """Removes what was not finished: by earlier runs, too, if `everywhere`."""
        folders = map(str, self.folder.glob("[0-9]*/*/*")) if everywhere else self._folders
        for folder in [str(self.folder), *folders]:
            for name in os.listdir(folder) if os.path.isdir(folder) else ():
                if TEMPORARY.fullmatch(name):
                    os.unlink(f"{folder}/{name}")
        for folder in self._folders:
            with contextlib.suppress(OSError):
                for each in (folder, *map(str, pathlib.Path(folder).parents[:2])):
                    os.rmdir(each)  # unless something is there


def filename_of(asset: Asset, type_: int) -> str:
    """Empty for what a listing does not name."""
    return next((each.filename for each in asset.resources if each.type == type_), "")


def repeated_types(asset: Asset) -> list[int]:
    """Of two resources of one type only the first can be had."""
    counts = collections.Counter(each.type for each in asset.resources)
    return [type_ for type_, count in counts.items() if count > 1]


def forget_cached(path: pathlib.Path) -> None:
    """Lets the file be read from the disk, and not from memory, where the system can do that."""
    if hasattr(os, "posix_fadvise"):
        with contextlib.suppress(OSError), open(path, "rb") as file:
            os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
