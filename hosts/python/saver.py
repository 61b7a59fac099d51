"""Takes over files that the helper has written: reads them back, syncs them, names them.

Threads do this while the helper writes the next ones, since waiting for a disk is most of the time.
What is ready goes into the journal as a group, which costs one sync.
"""

from __future__ import annotations

import contextlib
import errno
import os
import pathlib
import queue
import threading
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor

from journal import Absent, Entry, Journal
from photos_helper import Exported, check_and_sync, sync_folder

THREADS = 4
# More than this are not taken over at a time: the helper waits then.
MOST_WAITING = 256
# A group is what is ready after so long: fewer syncs, for little waiting.
SECONDS_PER_GROUP = 0.05


class Saver:
    """`saved(entry)` and `failed(entry, reason)` are called from other threads. `error` tells why
    the journal can't be written: nothing more is to be saved then."""

    def __init__(self, journal: Journal, saved: Callable[[Entry], None],
                 failed: Callable[[Entry, str], None]) -> None:
        self.error = ""
        self._broken = False  # the journal takes no line any more
        self._journal = journal
        self._saved, self._failed = saved, failed
        self._room = threading.Semaphore(MOST_WAITING)
        self._closed = 0  # of the room: taken by close() for good
        self._closing = threading.Event()
        self._checkers = ThreadPoolExecutor(THREADS)
        self._checked: queue.SimpleQueue[Entry | Absent | None] = queue.SimpleQueue()
        self._namer = threading.Thread(target=self._name_all, daemon=True)
        self._namer.start()
        self._synced: set[pathlib.Path] = set()

    def save(self, entry: Entry) -> None:
        """Takes over the file `entry.temporary`, which has the entry's bytes and digest."""
        self._room.acquire()
        self._checkers.submit(self._check, entry)

    def note(self, absent: Absent) -> None:
        self._checked.put(absent)

    def close(self) -> None:
        """Returns when everything that was taken over has its name or has failed; that is waited
        for when this is interrupted, too."""
        try:
            self._wait()
        finally:
            self._wait()
            self._checkers.shutdown()
            self._checked.put(None)
            self._namer.join()

    def _wait(self) -> None:
        self._closing.set()
        # Not by joining the threads: an interrupted join takes a thread for ended.
        while self._closed < MOST_WAITING:
            self._room.acquire()
            self._closed += 1

    def _check(self, entry: Entry) -> None:
        temporary = f"{self._journal.folder}/{entry.temporary}"
        try:
            with contextlib.suppress(OSError, OverflowError):
                os.utime(temporary, (entry.created, entry.created))
            check_and_sync(temporary, Exported(entry.bytes, entry.sha256))
            older = self._journal.saved.get((entry.asset_id, entry.type))
            if older and (older.bytes, older.sha256) == (entry.bytes, entry.sha256) and (
                    self._is_whole(older)):
                # Something else of the asset has changed: one copy is enough.
                os.unlink(temporary)
                entry.path, entry.stem, entry.temporary = older.path, older.stem, ""
        except Exception as error:
            self._fail(entry, error)
        else:
            self._checked.put(entry)

    def _is_whole(self, entry: Entry) -> bool:
        try:
            check_and_sync(self._journal.folder / entry.path, Exported(entry.bytes, entry.sha256))
            return True
        except OSError:
            return False

    def _name_all(self) -> None:
        going_on = True
        while going_on:
            group = [self._checked.get()]
            self._closing.wait(SECONDS_PER_GROUP)
            while not self._checked.empty():
                group.append(self._checked.get())
            going_on = None not in group
            self._name([each for each in group if each is not None])

    def _name(self, group: list[Entry | Absent]) -> None:
        root = self._journal.folder
        told: list[Entry | Absent] = []
        for each in group:
            # The journal is not to tell of another's file. The next try has another name.
            if isinstance(each, Entry) and each.temporary and (
                    os.path.lexists(f"{root}/{each.path}")):
                self._fail(each, FileExistsError(f"{each.path} is there already"))
            else:
                told.append(each)
        self._tell(told)
        files = [each for each in told if isinstance(each, Entry)]
        failures: dict[int | str, Exception] = {}  # of a file, by its entry's id, or of a folder
        for entry in files:
            try:
                if entry.temporary:
                    self._journal.name(entry)
            except (OSError, ValueError) as error:
                failures[id(entry)] = error
        for folder in {entry.path.rpartition("/")[0] for entry in files}:
            try:
                self._sync(root / folder)
            except (OSError, ValueError) as error:
                failures[folder] = error
        for entry in files:
            error = failures.get(id(entry)) or failures.get(entry.path.rpartition("/")[0])
            if error:
                self._journal.forget(entry)
                self._fail(entry, error)
            else:
                self._saved(entry)
                self._room.release()

    def _tell(self, records: list[Entry | Absent]) -> None:
        """Appends them to the journal, and takes from them what it can't: all, or where the disk is
        full a file after the other, until that makes room for the lines of the others."""
        while records:
            try:
                if self._broken:
                    raise OSError(self.error)
                self._journal.append(records)
                return
            except OSError as error:
                self.error = self.error or _reason(error)
                is_full = error.errno in (errno.ENOSPC, errno.EDQUOT)
                self._broken = self._broken or not is_full
                for each in records[-1:] if is_full else records[:]:
                    records.remove(each)
                    if isinstance(each, Entry):
                        self._fail(each, error)

    def _sync(self, folder: pathlib.Path) -> None:
        sync_folder(folder)
        # Those on the way to it may be new.
        while folder != self._journal.folder and folder.parent not in self._synced:
            folder = folder.parent
            self._synced.add(folder)
            sync_folder(folder)

    def _fail(self, entry: Entry, error: Exception) -> None:
        with contextlib.suppress(OSError):
            os.unlink(f"{self._journal.folder}/{entry.temporary}")
        self._failed(entry, _reason(error))
        self._room.release()


def _reason(error: Exception) -> str:
    return getattr(error, "strerror", None) or str(error)
