"""How far a run is, how fast it goes, and how long it will take."""

from __future__ import annotations

import shutil
import sys
import time
from collections import deque

_WINDOW = 60.0  # seconds over which the rate is taken, and between two lines where there is no terminal


class Progress:
    """A line that moves on, on a terminal; elsewhere, such as in the log of a job, a line each minute."""

    def __init__(self, name: str, total: int, done: int) -> None:
        self._name = name
        self._total = total
        self._done = done
        self._left_out = 0
        self._is_terminal = sys.stderr.isatty()
        self._shown = time.monotonic()
        self._history = deque([(self._shown, done)])

    def advance(self, photographs: int, left_out: int) -> None:
        self._done += photographs
        self._left_out += left_out
        now = time.monotonic()
        self._history.append((now, self._done))
        while len(self._history) > 2 and now - self._history[1][0] > _WINDOW:
            self._history.popleft()
        if self._is_terminal:
            sys.stderr.write("\r\033[K" + self.line()[: shutil.get_terminal_size().columns - 1])
            sys.stderr.flush()
        elif now - self._shown >= _WINDOW:
            self._shown = now
            print(self.line(), file=sys.stderr, flush=True)

    def line(self) -> str:
        (start, before), (end, after) = self._history[0], self._history[-1]
        text = f"{self._name}: {self._done} of {self._total} photographs"
        if after > before and end > start:
            rate = (after - before) / (end - start)
            text += f", {rate:.1f} a second, {_duration((self._total - self._done) / rate)} left"
        return text + (f", {self._left_out} left out" if self._left_out else "")

    def clear(self) -> None:
        """Makes room for another line."""
        if self._is_terminal:
            sys.stderr.write("\r\033[K")
            sys.stderr.flush()


def _duration(seconds: float) -> str:
    minutes = round(seconds / 60)
    if seconds < 90:
        return f"{seconds:.0f} s"
    return f"{minutes} min" if minutes < 120 else f"{minutes // 60} h {minutes % 60} min"
