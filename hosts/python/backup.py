#!/usr/bin/env python3
"""Backs up the originals of a Photos library into a folder, and goes on where it was interrupted.

FOLDER/2024/01/06/IMG_0001.HEIC: folders are named by the day of creation in UTC, and all files of
an asset share a name. FOLDER/photos-backup.jsonl is the journal of what is there; keep it there.

Exit status: 0 everything is in FOLDER; 1 something is not, or could not be moved: each is named; 2
the arguments, FOLDER or its journal can't be used; 3 no access to the photos.
"""

from __future__ import annotations

import argparse
import contextlib
import fcntl
import os
import pathlib
import shutil
import signal
import sys
import time
from collections.abc import Iterator

from ahead import AheadHelper
from journal import ForeignJournal, Journal
from library_backup import LibraryBackup, Stop, filename_of
from names import shown
from photos_helper import UNLISTED_TYPES, HelperError, NoAccess
from progress import size
from report import TYPES, Failure, Report, SavedFile, write_report

ACCESS = {"authorization_0": "is not determined", "authorization_1": "is restricted",
          "authorization_2": "was denied"}
CHANGED = "they, or their files in FOLDER, have changed or gone since they were read back"


@contextlib.contextmanager
def locked(path: pathlib.Path, make: bool) -> Iterator[None]:
    """Makes FOLDER and locks it for this run. None is made on the way to it: a disk that is not
    mounted is not filled on another. One that was made and got nothing is removed."""
    made = make and not os.path.lexists(path)
    try:
        str(path).encode()
    except UnicodeEncodeError:
        raise Stop(f"{shown(str(path))}: the helper takes only paths in UTF-8", 2) from None
    try:
        if made:
            path.mkdir(exist_ok=True)
        descriptor = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
    except OSError as error:
        raise Stop(f"{shown(str(path))}: {error.strerror}; FOLDER is to be a folder, or a new one "
                   "in a folder that is there", 2) from error
    try:
        fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise Stop(f"{shown(str(path))}: another backup into it is running", 1) from None
    except OSError:
        pass  # a file system without locks
    try:
        yield
    finally:
        if made:
            with contextlib.suppress(OSError):
                path.rmdir()
        os.close(descriptor)


def default_helper() -> list[str]:
    beside = pathlib.Path(__file__).resolve().with_name("photos-helper")
    return [shutil.which("photos-helper") or str(beside)]


def dry_run(backup: LibraryBackup, reclaims: bool) -> None:
    backup.list_all()
    types = [(asset, each) for asset in backup.assets for each in backup.missing(asset)]
    listed = [(asset, each) for asset, each in types if each not in UNLISTED_TYPES]
    for asset, each in listed:
        print(f"Would save {shown(filename_of(asset, each))} ({TYPES.get(each, each)})")
    print(f"Would save {len(listed):,} files of {len(backup.assets):,} assets, and what there is "
          f"of audio and adjustments: {len({asset.asset_id for asset, _ in types}):,} assets are "
          "to be asked for them.")
    if reclaims:
        held = len(backup.reclaimable())
        print(f"Would read back and move to Recently Deleted: {held:,} assets that are saved, and "
              f"up to {len(backup.assets) - held:,} after they are saved.")


def reclaim(backup: LibraryBackup, sure: bool) -> bool:
    """Whether everything was moved that was to be."""
    whole, total, damages = backup.read_back(backup.reclaimable())
    for damage in damages:
        print(f"Not moved, and saved again: {shown(damage)}")
    if damages:
        backup.save_all()
    if not whole:
        print("There is nothing to move to Recently Deleted.")
        return not damages
    if not sure:
        print(f"{len(whole):,} assets ({size(total)}) are saved in {shown(str(backup.folder))} and "
              "were read back. Move them to Recently Deleted? [y/N] ", end="", flush=True)
        if sys.stdin.readline().strip().lower() not in ("y", "yes"):
            print("Nothing was moved.")
            return True
    reason = backup.reclaim(whole)
    left = len(whole) - backup.reclaimed
    print(f"Moved {backup.reclaimed:,} assets to Recently Deleted.")
    for text in backup.warnings:
        print(f"The system said to that: {shown(text)}")
    if left:
        print(f"Not moved: {left:,} assets: {shown(reason or CHANGED)}")
    return not left


def summarize(backup: LibraryBackup, failures: list[Failure]) -> None:
    files = backup.journal.files.values()
    print(f"Saved {backup.exported:,} files in this run; {shown(str(backup.folder))} holds "
          f"{len(files):,} files, {size(sum(each.bytes for each in files))}.")
    if backup.unsure:
        print(f"Whether {backup.unsure:,} assets were moved to Recently Deleted is not known: that "
              "was not answered. All of them are saved.")
    if failures:
        print(f"Not saved: {len(failures):,}")
    for each in failures:
        print(f"  {shown(each.name)} ({TYPES.get(each.resource_type, each.resource_type)} of "
              f"{shown(each.asset_id)}): {shown(each.reason)}")
    print("What the helper does not list is not in the backup: assets without a date and, where "
          "access was given to selected photos only, all others.")


def run(arguments: argparse.Namespace, folder: pathlib.Path, helper: AheadHelper) -> int:
    try:
        journal = Journal(folder)
    except (ForeignJournal, OSError) as error:
        raise Stop(str(error), 2) from error
    if journal.unreadable:
        print(f"{journal.unreadable} lines of the journal can't be read: what they told of is "
              "saved again.", file=sys.stderr)
    journal.look(finish=not arguments.dry_run)
    backup = LibraryBackup(folder, helper, journal)
    helper.authorize()
    if arguments.dry_run:
        dry_run(backup, arguments.reclaim)
        return 0
    status, why = 0, "it came or changed during the backup; run it again"
    finished = False
    try:
        backup.tidy(everywhere=True)
        backup.save_all()
        if arguments.reclaim:
            status = 0 if reclaim(backup, arguments.yes) else 1
        finished = True
    except KeyboardInterrupt:
        status, why = 1, ""
        print("Interrupted. What is saved stays saved; the same command goes on from here.")
    except (Stop, HelperError, OSError) as error:
        status, why = 3 if isinstance(error, NoAccess) else 1, f"not tried: {error}"
        complain(error)
    helper.close()
    failures = [each for each in backup.unsaved(why) if each.reason]
    status = status or (1 if failures else 0)
    try:
        backup.tidy(everywhere=False)
        summarize(backup, failures)
        if arguments.report:
            write_report(arguments.report, report_of(backup, failures, finished))
    except OSError as error:
        complain(error)
        status = status or 1
    finally:
        journal.close()
    return status


def report_of(backup: LibraryBackup, failures: list[Failure], finished: bool) -> Report:
    files = [SavedFile(backup.folder / each.path, each.filename or os.path.basename(each.path),
                       each.created, each.media_type, each.type, each.bytes)
             for each in backup.journal.files.values()]
    return Report(backup.folder, files, failures, backup.reclaimed, backup.exported, finished,
                  time.time())


def complain(error: Exception) -> None:
    text = str(error)
    if isinstance(error, NoAccess):
        text = (f"access to the photos {ACCESS.get(error.status, error.status)}: allow it in the "
                "system's settings for privacy, Photos, and run this again")
    print(f"backup.py: {shown(text)}", file=sys.stderr)


def interrupt(number: int, _: object) -> None:
    # The second time it ends the program at once, which the journal survives.
    signal.signal(number, signal.SIG_DFL)
    raise KeyboardInterrupt


def main() -> int:
    parser = argparse.ArgumentParser(
        description="Backs up the originals of a Photos library into FOLDER.", allow_abbrev=False)
    parser.add_argument("folder", metavar="FOLDER")
    parser.add_argument("--dry-run", action="store_true", help="say what would be done")
    parser.add_argument("--reclaim", action="store_true",
                        help="move to Recently Deleted what is saved, after reading it back")
    parser.add_argument("--yes", action="store_true", help="don't ask before that")
    parser.add_argument("--report", metavar="FILE.html", type=pathlib.Path)
    parser.add_argument("--stall-seconds", metavar="N", type=float, default=300,
                        help="end an export that shows no sign of life for so long (300)")
    parser.add_argument("--helper", metavar="COMMAND ARG...", nargs=argparse.REMAINDER,
                        help="what to start instead of photos-helper: the rest of the line")
    arguments = parser.parse_args()
    if arguments.helper == [] or not 0 < arguments.stall_seconds < 1e6:
        parser.error("--helper needs a command, --stall-seconds a number above 0")
    if not arguments.folder:  # or it would be the current one
        parser.error("FOLDER is empty")
    if arguments.report and arguments.report.suffix.lower() not in (".html", ".htm"):
        parser.error("--report replaces its file, which is to end in .html")
    for each in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(each, interrupt)
    for name, mode in (("stdin", "r"), ("stdout", "w"), ("stderr", "w")):
        stream = getattr(sys, name) or open(os.devnull, mode)  # when it was closed
        stream.reconfigure(errors="backslashreplace")
        setattr(sys, name, stream)
    try:
        with contextlib.ExitStack() as stack:
            folder = pathlib.Path(os.path.abspath(arguments.folder))
            if folder.exists() or not arguments.dry_run:
                stack.enter_context(locked(folder, not arguments.dry_run))
            helper = AheadHelper(arguments.helper or default_helper(), arguments.stall_seconds)
            return run(arguments, folder, stack.enter_context(helper))
    except (Stop, HelperError, OSError) as error:
        complain(error)
        return {NoAccess: 3, Stop: getattr(error, "status", 1)}.get(type(error), 1)
    except KeyboardInterrupt:
        print("Interrupted. What is saved stays saved.", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
