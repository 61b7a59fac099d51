"""How far the backup is: one line that is redrawn on a terminal, a line now and then elsewhere."""

from __future__ import annotations

import collections
import os
import sys
import threading
import time
import unicodedata
from collections.abc import Callable

from names import shown

EVERY = 0.2
EVERY_PLAIN = 10.0
# The rate is that of the last seconds.
WINDOW = 30.0
BAR = 12


class Progress:
    """A context manager; its lines go to standard error. `current` gives what is being done now,
    and the file that grows meanwhile. Other threads may call `done`."""

    def __init__(self, what: str, total: int,
                 current: Callable[[], tuple[str, str]] = lambda: ("", "")) -> None:
        self._what, self._total, self._current = what, total, current
        self._count = self._bytes = 0
        self._terminal = sys.stderr.isatty() and os.environ.get("TERM") != "dumb"
        self._lock = threading.Lock()
        self._ended = threading.Event()
        self._moments: collections.deque[tuple[float, int, int]] = collections.deque()
        self._thread = threading.Thread(target=self._draw_often, daemon=True)

    def __enter__(self) -> Progress:
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._ended.set()
        self._thread.join()
        if self._terminal:
            sys.stderr.write("\r" + " " * _width() + "\r")
        elif self._total:
            sys.stderr.write(self._text(1000) + "\n")
        sys.stderr.flush()

    def done(self, bytes_: int, counts: bool = True) -> None:
        with self._lock:
            self._bytes += bytes_
            self._count += counts

    def _draw_often(self) -> None:
        while not self._ended.wait(EVERY if self._terminal else EVERY_PLAIN):
            if self._terminal:
                text = self._text(_width())
                sys.stderr.write("\r" + text + " " * (_width() - _columns(text)))
            else:
                sys.stderr.write(self._text(1000) + "\n")
            sys.stderr.flush()

    def _text(self, width: int) -> str:
        now, count = time.monotonic(), self._count
        name, growing = self._current()
        try:
            bytes_ = self._bytes + (os.stat(growing).st_size if growing else 0)
        except OSError:
            bytes_ = self._bytes
        self._moments.append((now, count, bytes_))
        while now - self._moments[0][0] > WINDOW:
            self._moments.popleft()
        since, counted, before = self._moments[0]
        seconds = max(now - since, 0.001)
        total = max(self._total, count)
        full = BAR * count // total if total else 0
        parts = [f"[{'#' * full}{' ' * (BAR - full)}] {self._what} {count:,} of {total:,}",
                 size(bytes_)]
        if now - since > 1:
            parts.append(f"{size(max(bytes_ - before, 0) / seconds)}/s")
            if count > counted:
                parts.append(f"{duration((total - count) * seconds / (count - counted))} left")
        return _fitting("  ".join([*parts, shown(name)]), width)


def size(bytes_: float) -> str:
    for unit in ("bytes", "KB", "MB", "GB"):
        if bytes_ < 999.5:
            break
        bytes_ /= 1000
    else:
        unit = "TB"
    return f"{bytes_:.1f} {unit}" if bytes_ < 99.5 and unit != "bytes" else f"{bytes_:.0f} {unit}"


def duration(seconds: float) -> str:
    if seconds < 90:
        return f"{seconds:.0f} s"
    return f"{seconds / 60:.0f} min" if seconds < 5400 else f"{seconds / 3600:.1f} h"


def _width() -> int:
    # A character in the last column would wrap the line on some terminals.
    try:
        return (os.get_terminal_size(sys.stderr.fileno()).columns or 80) - 1
    except (OSError, ValueError):
        return 79


def _columns(text: str) -> int:
    return sum(0 if unicodedata.combining(each) else
               2 if unicodedata.east_asian_width(each) in "WF" else 1 for each in text)


def _fitting(text: str, width: int) -> str:
    if _columns(text) <= width:
        return text
    while text and _columns(text) > width - 1:
        text = text[:-1]
    return text + "…"
