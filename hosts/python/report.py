"""The report of a backup: one HTML page without outside resources."""

from __future__ import annotations

import html
import pathlib
from dataclasses import dataclass


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


def write_report(path: pathlib.Path, report: Report) -> None:
    """Writes the page to `path`. Raises OSError if it can't be written."""
    rows = "".join(
        f"<li>{html.escape(failure.name)}: {html.escape(failure.reason)}</li>"
        for failure in report.failures
    )
    page = (
        "<!doctype html><meta charset=utf-8><title>Backup</title>"
        f"<p>{len(report.files)} files, {len(report.failures)} failures</p><ul>{rows}</ul>"
    )
    path.write_text(page, encoding="utf-8", errors="replace")
