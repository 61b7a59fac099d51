"""A client of photos-helper in one file, which needs nothing but Python 3.11.

    with PhotosHelper(["photos-helper"]) as helper:
        helper.authorize()
        for asset in list(helper.assets()):
            for resource in asset.resources:
                helper.export(asset.asset_id, resource.type, folder / safe_name(resource.filename))

An answer that is not ok, and no answer, are a HelperError. Not for several threads at once.
"""

from __future__ import annotations

import contextlib
import fcntl
import hashlib
import json
import math
import operator
import os
import pathlib
import select
import signal
import subprocess
import tempfile
import time
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from typing import Any

# What a listing leaves out although it belongs to the asset: audio, adjustment data, what the
# adjustments start from. They can be exported by their type.
UNLISTED_TYPES = (3, 7, 8, 11, 12)
# A longer answer is none of a helper's. A page of 500 assets has some hundred KiB.
LONGEST_ANSWER = 256 << 20


class HelperError(Exception):
    """A request that was not carried out. `status` is the protocol's word or, without an answer,
    "stalled", "gone", "nonsense" or "not_started"; `text` is for a person."""

    def __init__(self, status: str, text: str = "") -> None:
        super().__init__(text or status)
        self.status, self.text = status, text or status


class Refused(HelperError):
    """An answer that is not ok."""


class NoAccess(Refused):
    """Access is not determined (authorization_0), restricted (_1) or denied (_2)."""


class NoAnswer(HelperError):
    """The helper has ended, or was killed for its silence, and may have done what was asked."""


class NoHelper(HelperError):
    """The command can't be started, or what it starts does not speak the protocol."""


@dataclass(frozen=True, slots=True)
class Resource:
    type: int
    filename: str  # as the camera gave it: no path, maybe empty, maybe with "/", NUL or newlines
    is_raw: bool
    is_live_photo_companion: bool
    is_live_photo_image: bool
    is_current_edit: bool


@dataclass(frozen=True, slots=True)
class Asset:
    asset_id: str
    created: float  # seconds since 1970-01-01 00:00:00 UTC, also in the future or far past
    modified: float | None
    media_type: str  # "photo" or "video"
    resources: tuple[Resource, ...]


@dataclass(frozen=True, slots=True)
class Exported:
    bytes: int
    sha256: str

    @staticmethod
    def read(answer: dict[str, Any]) -> Exported:
        return Exported(operator.index(answer["bytes"]), str(answer["sha256"]))


class PhotosHelper(contextlib.AbstractContextManager):
    """Starts the helper at the first request, and again when it has ended or had to be ended.

    An export may take as long as it likes while its destination grows; after `stall_seconds`
    without a sign of life the helper is killed. Other requests show no such sign and have
    `answer_seconds`; those at which the system may ask the user have no limit.
    """

    def __init__(self, command: list[str], stall_seconds: float = 300,
                 answer_seconds: float = 3600) -> None:
        self.command = command
        self.stall_seconds, self.answer_seconds = stall_seconds, answer_seconds
        self._process: subprocess.Popen[bytes] | None = None
        self._unsent = self._received = b""
        self._unanswered = 0

    def __exit__(self, *_: object) -> None:
        self.close()

    def authorize(self) -> None:
        """Asks for access. The answer is the same when it is to a selection of the photos only."""
        self._ask("authorize", "authorized", math.inf)

    def assets(self, **more: Any) -> Iterator[Asset]:
        """Lists page after page. `more`: cutoff, includePhotos, includeVideos, limit. Positions
        shift when assets come or go meanwhile: none is given twice, but some may be passed over.
        Act when all is listed, and then list again until nothing new comes."""
        given: set[str] = set()
        offset: int | None = 0
        while offset is not None:
            page, offset = self._ask(
                "discover", "discovered", self.answer_seconds,
                lambda answer: _page(answer, offset), **{"limit": 500, **more, "offset": offset})
            yield from (each for each in page if each.asset_id not in given)
            given.update(each.asset_id for each in page)

    def estimate(self, asset_id: str, resource_type: int) -> int:
        """The resource's bytes. Reads all of it, and downloads it first if need be."""
        return self._ask("estimate", "estimated", self.answer_seconds,
                         lambda answer: operator.index(answer["bytes"]),
                         assetID=asset_id, photoKitResourceType=resource_type)

    def export(self, asset_id: str, resource_type: int, path: pathlib.Path) -> Exported:
        """Writes the first resource of that type to `path`, which is there whole or not at all, and
        survives a loss of power. A file that was there is replaced. Raises OSError, too, and
        UnicodeError for a path that is not UTF-8: the helper would write to another one."""
        path = path.absolute()
        partial = path.with_name(f".{os.urandom(8).hex()}.partial")
        str(partial).encode()
        try:
            exported = self._ask(
                "export", "exported", self.stall_seconds, Exported.read, str(partial),
                assetID=asset_id, photoKitResourceType=resource_type, destination=str(partial))
            check_and_sync(partial, exported, full_sync)
            os.replace(partial, path)
            sync_folder(path.parent, full_sync)
            return exported
        finally:
            if self._unanswered:  # the helper may still write to it
                self.kill()
            partial.unlink(missing_ok=True)

    def reclaim(self, asset_ids: list[str]) -> str:
        """Moves all of the assets to Recently Deleted, or none, and is never repeated here. Gives
        what the system may have to say although it has done it. After NoAnswer, and after Refused
        with "missing", list again to see what is left."""
        return self._ask("reclaim", "moved_to_recently_deleted", math.inf,
                         lambda answer: str(answer.get("error", "")), assetIDs=asset_ids)

    def open(self, asset_id: str) -> None:
        """Shows the asset in the Photos application."""
        self._ask("open", "opened_in_photos", self.answer_seconds, assetID=asset_id)

    def close(self) -> None:
        """Lets the helper end by itself if it has nothing to do."""
        if self._process and not self._unanswered:
            self._process.stdin.close()
            with contextlib.suppress(subprocess.TimeoutExpired):
                self._process.wait(5)
        self.kill()

    def kill(self) -> None:
        """Ends the helper, which may be in the middle of a request: closing its pipe would not end
        it then."""
        process, self._process = self._process, None
        self._unsent = self._received = b""
        self._unanswered = 0
        if process:
            with contextlib.suppress(ProcessLookupError, PermissionError):
                os.killpg(process.pid, signal.SIGKILL)
            process.kill()  # it may have left its group
            process.wait()
            for stream in (process.stdin, process.stdout, self._complaints):
                stream.close()

    def _ask(self, command: str, expected: str, seconds: float,
             read: Callable[[dict[str, Any]], Any] = dict, growing: str = "", **fields: Any) -> Any:
        if self._unanswered:
            # Whoever asked has given up. Nothing may queue behind that, least of all a reclaim.
            self.kill()
        for may_repeat in (command != "reclaim", False):
            self._send({"command": command, **fields})
            try:
                return self._receive(expected, seconds, read, growing)
            except NoAnswer as silence:
                if silence.status != "gone" or not may_repeat:
                    raise

    def _send(self, *requests: dict[str, Any]) -> None:
        """Starts the helper if need be. The requests go out while answers are received."""
        if requests and not self._process:
            # Into a file, lest what it says spoil a terminal; it tells why the helper has ended.
            self._complaints = tempfile.TemporaryFile()
            try:
                # In a session of its own: Ctrl-C in the terminal is not for it.
                self._process = subprocess.Popen(
                    self.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                    stderr=self._complaints, bufsize=0, start_new_session=True)
            except (OSError, ValueError) as error:
                self._complaints.close()
                raise NoHelper("not_started", f"{self.command[0]}: {error}") from error
            os.set_blocking(self._process.stdin.fileno(), False)
        self._unsent += "".join(json.dumps(each) + "\n" for each in requests).encode()
        self._unanswered += len(requests)

    def _receive(self, expected: str, seconds: float, read: Callable[[dict[str, Any]], Any],
                 growing: str) -> Any:
        """What `read` makes of the next answer, if it is ok. Kills the helper when it shows no sign
        of life for `seconds`, has closed its output or says what no helper says."""
        line = self._line(seconds, growing)
        with contextlib.suppress(ArithmeticError, AttributeError, LookupError, RecursionError,
                                 TypeError, ValueError):
            answer = json.loads(line)
            ok, status, text = answer["ok"], answer["status"], answer.get("error", "")
            if ok is True and status == expected:
                return read(answer)
            if ok is False and isinstance(status, str) and isinstance(text, str):
                refusal = NoAccess if status.startswith("authorization_") else Refused
                raise refusal(status, text)
        self.kill()
        raise NoHelper("nonsense",
                       f"{self.command[0]} gave an answer that is none of photos-helper's")

    def _line(self, seconds: float, growing: str) -> bytes:
        process, size, since = self._process, -1, time.monotonic()
        while True:
            if self._unsent:
                try:
                    written = os.write(process.stdin.fileno(), self._unsent)
                    self._unsent = self._unsent[written:]
                except BlockingIOError:
                    pass
                except BrokenPipeError:
                    # This shows again at the end of the output, behind the last answer.
                    self._unsent = b""
            if b"\n" in self._received or len(self._received) > LONGEST_ANSWER:
                break
            inputs = [process.stdin] if self._unsent else []
            if select.select([process.stdout], inputs, [], min(1, seconds / 4))[0]:
                some = os.read(process.stdout.fileno(), 1 << 16)
                if not some:
                    raise self._gone(process)
                self._received += some
            elif growing and (now := _size(growing)) != size:
                size, since = now, time.monotonic()
            elif time.monotonic() - since > seconds:
                self.kill()
                raise NoAnswer("stalled", f"no sign of life for {seconds:g} seconds")
        line, _, self._received = self._received.partition(b"\n")
        self._unanswered -= 1
        return line

    def _gone(self, process: subprocess.Popen[bytes]) -> NoAnswer:
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(5)
        self._complaints.seek(0)
        said = self._complaints.read(4096).decode(errors="replace").strip().split("\n")[0]
        self.kill()
        how = (f"was ended by signal {-process.returncode}" if process.returncode < 0
               else f"ended with status {process.returncode}")
        return NoAnswer("gone", f"the helper {how} without an answer" + (said and f": {said}"))


def full_sync(descriptor: int) -> None:
    """On macOS fsync leaves the bytes in the drive's cache; this empties the cache, too."""
    try:
        fcntl.fcntl(descriptor, fcntl.F_FULLFSYNC)
    except (AttributeError, OSError):  # another system; a network volume
        os.fsync(descriptor)


def check_and_sync(path: str | pathlib.Path, exported: Exported,
                   sync: Callable[[int], None] = os.fsync) -> None:
    """Returns when the file, read back, has those bytes and will survive a loss of power once its
    folder is synced. Raises OSError."""
    descriptor = os.open(path, os.O_RDONLY)
    try:
        sync(descriptor)
        count, digest = 0, hashlib.sha256()
        while some := os.read(descriptor, 1 << 20):
            count += len(some)
            digest.update(some)
    finally:
        os.close(descriptor)
    if (count, digest.hexdigest()) != (exported.bytes, exported.sha256):
        raise OSError("the file has not the bytes that were exported")


def sync_folder(folder: str | pathlib.Path, sync: Callable[[int], None] = os.fsync) -> None:
    """Makes the names in the folder survive a loss of power, where its file system can do that."""
    descriptor = os.open(folder, os.O_RDONLY)
    with contextlib.suppress(OSError):
        sync(descriptor)
    os.close(descriptor)


def _page(answer: dict[str, Any], offset: int) -> tuple[list[Asset], int | None]:
    following = answer.get("nextOffset")
    if following is not None and following <= offset:
        raise ValueError("a listing that does not go on")
    assets: dict[str, list[dict[str, Any]]] = {}
    for summary in answer["assets"]:
        assets.setdefault(summary["assetID"], []).append(summary)
    return [_asset(summaries) for summaries in assets.values()], following


def _asset(summaries: list[dict[str, Any]]) -> Asset:
    first = summaries[0]
    modified = first.get("modifiedAt")
    return Asset(
        str(first["assetID"]), float(first["createdAt"]),
        None if modified is None else float(modified), str(first["mediaType"]),
        tuple(Resource(int(each["photoKitResourceType"]), str(each["filename"]), *(
            each[flag] is True for flag in ("isRaw", "isLivePhotoCompanion", "isLivePhotoImage",
                                            "isCurrentEdit"))) for each in summaries))


def _size(path: str) -> int:
    try:
        return os.stat(path).st_size
    except OSError:
        return -1
