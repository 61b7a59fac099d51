"""A helper that always has its next export at hand, and so never waits for the backup."""

from __future__ import annotations

import collections
import itertools
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

from photos_helper import Asset, Exported, HelperError, NoAccess, NoAnswer, PhotosHelper, Refused

# So many that the helper has work while Python's threads take turns. When the host is killed, the
# helper still carries them out.
AHEAD = 64


@dataclass(slots=True)
class Job:
    """An export, and where its file goes. Both paths are UTF-8."""

    asset: Asset
    type: int
    filename: str
    stem: str
    path: str  # relative to the backup
    temporary: str  # absolute
    is_last: bool  # of the asset

    def request(self) -> dict[str, Any]:
        return {"command": "export", "assetID": self.asset.asset_id,
                "photoKitResourceType": self.type, "destination": self.temporary}


class AheadHelper(PhotosHelper):
    """`waiting`: the exports that were asked for, in order, and have no outcome yet."""

    def __init__(self, command: list[str], stall_seconds: float) -> None:
        super().__init__(command, stall_seconds)
        self.waiting: collections.deque[Job] = collections.deque()

    def export_all(self, jobs: Iterator[Job]) -> Iterator[tuple[Job, Exported | HelperError]]:
        """Writes each resource to its temporary path, in order, and gives the outcome. What is
        there then is neither checked nor synced, and after a failure to be removed."""
        waiting, again = self.waiting, False
        waiting.clear()
        while True:
            if len(waiting) <= AHEAD // 2:
                more = list(itertools.islice(jobs, AHEAD - len(waiting)))
                waiting.extend(more)
                self._send(*(each.request() for each in more))
            if not waiting:
                return
            outcome: Exported | HelperError
            try:
                outcome = self._receive("exported", self.stall_seconds, Exported.read,
                                        waiting[0].temporary)
            except NoAccess:
                raise
            except Refused as refused:
                outcome = refused
            except NoAnswer as silence:
                # The later requests are lost, too. A helper that has gone is tried once more.
                again, outcome = silence.status == "gone" and not again, silence
                self._send(*(each.request() for each in list(waiting)[0 if again else 1:]))
                if again:
                    continue
            again = False
            yield waiting.popleft(), outcome
