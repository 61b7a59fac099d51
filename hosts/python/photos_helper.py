"""A client of photos-helper in one file, which needs nothing but Python 3.11.

    with PhotosHelper(["photos-helper"]) as helper:
        helper.authorize()
        for asset in helper.assets():
            for resource in asset.resources:
                helper.export(asset.asset_id, resource.type, folder / safe_name(resource.filename))

An answer that is not ok, and no answer, are exceptions: all are HelperError, with a status word and
a text for a person. Not for several threads at once.
"""

from __future__ import annotations

import collections
import contextlib
import hashlib
import itertools
import json
import os
import pathlib
import re
import select
import signal
import subprocess
import tempfile
import time
from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from typing import Any

# What a listing leaves out although it belongs to the asset: audio, adjustment data, the photo
# below the adjustments. They can be exported by their type.
UNLISTED_TYPES = (3, 7, 8)
# A longer answer is no answer of a helper. A page of 500 assets has some hundred KiB.
LONGEST_ANSWER = 256 << 20
SHA256 = re.compile("[0-9a-f]{64}")


class HelperError(Exception):
    """A request that was not carried out. `status` is the protocol's word or, where there was no
    answer, one of this module's: "stalled", "gone", "nonsense", "not_started"."""

    def __init__(self, status: str, text: str = "") -> None:
        super().__init__(text or status)
        self.status = status
        self.text = text or status


class Refused(HelperError):
    """An answer that is not ok."""


class NoAccess(Refused):
    """Access is not determined (authorization_0), restricted (_1) or denied (_2)."""


class NoAnswer(HelperError):
    """The helper has ended or was killed for its silence. It may or may not have done what was
    asked: after a reclaim, list again."""


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


@dataclass(slots=True)
class Export:
    """A request to write a resource to `destination`, which is overwritten."""

    asset_id: str
    type: int
    destination: str


class PhotosHelper:
    """Starts the helper at the first request, and again when it has ended or had to be ended.

    An export may take as long as it likes while its destination grows; after `stall_seconds`
    without a sign of life the helper is killed. Other requests show no such sign, and have a clock:
    `answer_seconds`, and `person_seconds` for those at which the system may ask the user.
    """

    def __init__(self, command: list[str], stall_seconds: float = 300, answer_seconds: float = 3600,
                 person_seconds: float = 86400) -> None:
        self.command = command
        self.stall_seconds = stall_seconds
        self.answer_seconds = answer_seconds
        self.person_seconds = person_seconds
        self._process: subprocess.Popen[bytes] | None = None
        self._unsent = b""
        self._received = b""
        self._unanswered = 0

    def __enter__(self) -> PhotosHelper:
        return self

    def __exit__(self, *_: object) -> None:
        self.kill()

    def authorize(self) -> None:
        """Asks for access, which may be to a selection of the photos only: the answer is the same.
        Raises NoAccess."""
        self._ask({"command": "authorize"}, "authorized", self.person_seconds)

    def discover(self, offset: int = 0, limit: int = 500,
                 **more: Any) -> tuple[list[Asset], int | None]:
        """A page of the listing, and the offset of the next if there is one. `more`: cutoff,
        includePhotos, includeVideos."""
        answer = self._ask({"command": "discover", "offset": offset, "limit": limit, **more},
                           "discovered", self.answer_seconds)
        groups: dict[str, list[dict[str, Any]]] = {}
        try:
            for summary in answer["assets"]:
                groups.setdefault(summary["assetID"], []).append(summary)
            assets = [_asset(name, group) for name, group in groups.items()]
            following = answer.get("nextOffset")
            if following is not None and following <= offset:
                raise ValueError("a listing that does not go on")
        except (KeyError, TypeError, ValueError, AttributeError) as error:
            raise self._nonsense("a listing") from error
        return assets, following

    def assets(self, **more: Any) -> Iterator[Asset]:
        """Lists page after page. Positions shift when assets come or go meanwhile: none is given
        twice, but some may be passed over. Act when all is listed, and then list again until
        nothing new comes."""
        given: set[str] = set()
        offset: int | None = 0
        while offset is not None:
            page, offset = self.discover(offset, **more)
            for asset in page:
                if asset.asset_id not in given:
                    given.add(asset.asset_id)
                    yield asset

    def estimate(self, asset_id: str, resource_type: int) -> int:
        """The resource's bytes. Reads all of it, and downloads it first if need be."""
        answer = self._ask({"command": "estimate", "assetID": asset_id,
                            "photoKitResourceType": resource_type}, "estimated",
                           self.answer_seconds)
        return self._number(answer, "bytes")

    def export(self, asset_id: str, resource_type: int, path: pathlib.Path) -> Exported:
        """Writes the first resource of that type to `path`, which is there whole or not at all, and
        survives a loss of power. A file that was there is replaced. Raises OSError, too."""
        partial = path.with_name(f".{os.urandom(8).hex()}.partial")
        try:
            export = Export(asset_id, resource_type, str(partial))
            for _, outcome in self.export_each([export], ahead=1):
                if isinstance(outcome, HelperError):
                    raise outcome
                check_and_sync(partial, outcome)
                os.replace(partial, path)
                sync_folder(path.parent)
            return outcome
        finally:
            partial.unlink(missing_ok=True)

    def export_each(self, exports: Iterable[Export], ahead: int = 8
                    ) -> Iterator[tuple[Export, Exported | HelperError]]:
        """Writes each resource to its destination itself, in order, and gives the outcome. Up to
        `ahead` of the exports are on their way. What is at the destination is neither checked nor
        synced, and after a failure is yours to remove."""
        left = iter(exports)
        waiting: collections.deque[Export] = collections.deque()
        tried_again = False
        while True:
            if len(waiting) <= ahead // 2:
                more = list(itertools.islice(left, ahead - len(waiting)))
                waiting.extend(more)
                self._send(*map(_export_request, more))
            if not waiting:
                return
            outcome: Exported | HelperError
            try:
                answer = self._receive("exported", self.stall_seconds, waiting[0].destination)
                digest = answer.get("sha256")
                if not isinstance(digest, str) or not SHA256.fullmatch(digest):
                    raise self._nonsense("an export")
                outcome = Exported(self._number(answer, "bytes"), digest)
            except NoAccess:
                self.kill()
                raise
            except Refused as refused:
                outcome = refused
            except NoAnswer as silence:
                again = silence.status == "gone" and not tried_again
                outcome = silence
                # The helper has taken the later requests with it.
                self._send(*map(_export_request, list(waiting)[0 if again else 1:]))
                if again:
                    tried_again = True
                    continue
            tried_again = False
            yield waiting.popleft(), outcome

    def reclaim(self, asset_ids: list[str]) -> None:
        """Moves all of the assets to Recently Deleted, or none, and is never repeated here. After
        NoAnswer, and after Refused with "missing", list again to see what is left."""
        self._ask({"command": "reclaim", "assetIDs": asset_ids}, "moved_to_recently_deleted",
                  self.person_seconds, again=False)

    def open(self, asset_id: str) -> None:
        """Shows the asset in the Photos application."""
        self._ask({"command": "open", "assetID": asset_id}, "opened_in_photos", self.answer_seconds)

    def kill(self) -> None:
        """Ends the helper, which may be in the middle of a request: closing its pipe would not end
        it then."""
        process, self._process = self._process, None
        if process is None:
            return
        self._unsent = self._received = b""
        self._unanswered = 0
        self._complaints.close()
        with contextlib.suppress(ProcessLookupError, PermissionError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        for end in (process.stdin, process.stdout):
            with contextlib.suppress(OSError):
                end.close()  # type: ignore[union-attr]

    def _start(self) -> subprocess.Popen[bytes]:
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
        os.set_blocking(self._process.stdin.fileno(), False)  # type: ignore[union-attr]
        return self._process

    def _ask(self, request: dict[str, Any], expected: str, seconds: float,
             again: bool = True) -> dict[str, Any]:
        if self._unanswered:
            # Exports that were given up. Nothing may queue behind them, least of all a reclaim.
            self.kill()
        try:
            self._send(request)
            return self._receive(expected, seconds)
        except NoAnswer as silence:
            if not again or silence.status != "gone":
                raise
        self._send(request)
        return self._receive(expected, seconds)

    def _send(self, *requests: dict[str, Any]) -> None:
        if not requests:
            return
        if self._process is None:
            self._start()
        self._unsent += "".join(json.dumps(each) + "\n" for each in requests).encode()
        self._unanswered += len(requests)
        self._write()

    def _write(self) -> None:
        # A broken pipe is met again at the end of the output, which comes behind any answer.
        with contextlib.suppress(BlockingIOError, BrokenPipeError):
            written = os.write(self._process.stdin.fileno(), self._unsent)  # type: ignore
            self._unsent = self._unsent[written:]

    def _receive(self, expected: str, seconds: float,
                 growing: str | None = None) -> dict[str, Any]:
        """The next answer, if it is ok. The helper is killed when it is none, when it does not
        come, and when nothing has come of it for `seconds`."""
        process = self._process
        assert process is not None and process.stdin is not None and process.stdout is not None
        output = process.stdout.fileno()
        size, since = -1, time.monotonic()
        while b"\n" not in self._received:
            self._unsent and self._write()
            inputs = [process.stdin] if self._unsent else []
            ready, _, _ = select.select([output], inputs, [], min(1, seconds / 4))
            if ready:
                some = os.read(output, 1 << 16)
                if not some:
                    raise self._gone(process)
                self._received += some
                if len(self._received) > LONGEST_ANSWER:
                    raise self._nonsense("an answer")
            elif growing is not None and (grown := _size(growing)) != size:
                size, since = grown, time.monotonic()
            elif time.monotonic() - since > seconds:
                self.kill()
                raise NoAnswer("stalled", f"no sign of life for {seconds:g} seconds")
        line, _, self._received = self._received.partition(b"\n")
        self._unanswered -= 1
        try:
            answer = json.loads(line)
        except (ValueError, RecursionError):
            answer = None
        status = answer.get("status") if isinstance(answer, dict) else None
        text = answer.get("error", "") if isinstance(answer, dict) else ""
        if not isinstance(status, str) or not isinstance(text, str):
            raise self._nonsense("an answer")
        if answer.get("ok") is True and status == expected:
            return answer
        if answer.get("ok") is not False:
            raise self._nonsense("an answer")
        raise (NoAccess if status.startswith("authorization_") else Refused)(status, text)

    def _gone(self, process: subprocess.Popen[bytes]) -> NoAnswer:
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(5)
        self._complaints.seek(0)
        said = self._complaints.read(4096).decode(errors="replace").strip().split("\n")[0]
        self.kill()
        how = (f"was ended by signal {-process.returncode}" if process.returncode < 0
               else f"ended with status {process.returncode}")
        return NoAnswer("gone", f"the helper {how} without an answer" + (said and f": {said}"))

    def _nonsense(self, what: str) -> NoHelper:
        self.kill()
        return NoHelper("nonsense", f"{self.command[0]} gave {what} that is none of photos-helper's")

    def _number(self, answer: dict[str, Any], key: str) -> int:
        if type(answer.get(key)) is not int or answer[key] < 0:
            raise self._nonsense("a size")
        return answer[key]


def check_and_sync(path: str | pathlib.Path, exported: Exported) -> None:
    """Returns when the file, read back, has those bytes and will survive a loss of power once its
    folder is synced. Raises OSError."""
    with open(path, "rb", buffering=0) as file:
        os.fsync(file.fileno())
        if os.fstat(file.fileno()).st_size != exported.bytes:
            raise OSError(f"the file has not the {exported.bytes} bytes that were exported")
        if hashlib.file_digest(file, "sha256").hexdigest() != exported.sha256:
            raise OSError("the file has not the bytes that were exported")


def sync_folder(folder: str | pathlib.Path) -> None:
    """Makes the names in the folder survive a loss of power, where its file system can do that."""
    descriptor = os.open(folder, os.O_RDONLY)
    try:
        with contextlib.suppress(OSError):
            os.fsync(descriptor)
    finally:
        os.close(descriptor)


def _export_request(export: Export) -> dict[str, Any]:
    # Bytes that are not UTF-8 would be replaced, and the file would land at another name. The
    # helper's working directory may be another than ours.
    destination = export.destination
    if not destination.startswith("/"):
        destination = os.path.abspath(destination)
    destination.encode()
    return {"command": "export", "assetID": export.asset_id, "photoKitResourceType": export.type,
            "destination": destination}


def _asset(asset_id: str, summaries: list[dict[str, Any]]) -> Asset:
    first = summaries[0]
    modified = first.get("modifiedAt")
    resources = tuple(Resource(
        int(each["photoKitResourceType"]), str(each["filename"]), each["isRaw"] is True,
        each["isLivePhotoCompanion"] is True, each["isLivePhotoImage"] is True,
        each["isCurrentEdit"] is True) for each in summaries)
    return Asset(str(asset_id), float(first["createdAt"]),
                 None if modified is None else float(modified), str(first["mediaType"]), resources)


def _size(path: str) -> int:
    try:
        return os.stat(path).st_size
    except OSError:
        return -1
