"""How far the backup is: one line that is redrawn on a terminal, a line now and then elsewhere."""

from __future__ import annotations

import os
import sys
import threading
import time
from collections.abc import Callable

EVERY = 0.2
EVERY_PLAIN = 10.0
BAR = 12


class Progress:
    """A context manager; its lines go to standard error. `total` is 0 where it is not known.
    `growing` gives the file that is being written, or raises LookupError. Other threads may call
    `done`."""

    def __init__(self, what: str, total: int, growing: Callable[[], str] = lambda: "") -> None:
        self._what, self._total, self._growing = what, total, growing
        self._count = self._bytes = 0
        self._start = time.monotonic()
        self._terminal = sys.stderr.isatty() and os.environ.get("TERM") != "dumb"
        self._lock = threading.Lock()
        self._ended = threading.Event()
        self._thread = threading.Thread(target=self._draw_often, daemon=True)

    def __enter__(self) -> Progress:
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._ended.set()
        self._thread.join()
        if self._terminal:
            self._draw("")
            sys.stderr.write("\r")
        elif self._total:
            self._draw(self._text())

    def done(self, bytes_: int, counts: bool = True) -> None:
        with self._lock:
            self._bytes += bytes_
            self._count += counts

    def _draw_often(self) -> None:
        while not self._ended.wait(EVERY if self._terminal else EVERY_PLAIN):
            self._draw(self._text())

    def _draw(self, text: str) -> None:
        if self._terminal:
            # A character in the last column would wrap the line on some terminals.
            width = (os.get_terminal_size(sys.stderr.fileno()).columns or 80) - 1
            text = "\r" + text[:width].ljust(width)
        sys.stderr.write(text if self._terminal else text + "\n")
        sys.stderr.flush()

    def _text(self) -> str:
        count, bytes_ = self._count, self._bytes
        seconds = max(time.monotonic() - self._start, 0.001)
        try:
            bytes_ += os.stat(self._growing()).st_size
        except (OSError, LookupError):
            pass
        if not self._total:  # not known
            return f"{self._what} {count:,}"
        total = max(self._total, count)
        text = f"[{'#' * (BAR * count // total):{BAR}}] {self._what} {count:,} of {total:,}"
        if bytes_:
            text += f"  {size(bytes_)}  {size(bytes_ / seconds)}/s"
        if seconds > 1 and 0 < count < total:
            text += f"  {duration((total - count) * seconds / count)} left"
        return text


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
