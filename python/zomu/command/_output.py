"""What the subcommands print: JSON for programs, a line that moves on for terminals."""

from __future__ import annotations

import json
import shutil
import sys
import textwrap
from types import TracebackType
from typing import Any, Iterator, Protocol, Sequence, TypeVar

Item = TypeVar("Item")


class Failure(Protocol):
    """Of the options of a subcommand: how it fails."""

    name: str
    json: bool
    failure: int


def print_json(value: Any) -> None:
    print(json.dumps(value, indent=2, allow_nan=False))


def print_text(text: str) -> None:
    """Sentences for people, in lines that fit a terminal."""
    if sys.stdout.isatty():
        text = textwrap.fill(text, shutil.get_terminal_size().columns - 1)
    print(text)


def shown(name: object) -> str:
    """A name as one line of text, whatever it contains."""
    return "".join(c if c.isprintable() or "\udc80" <= c <= "\udcff" else "?" for c in str(name))


def warn(command: str, text: str) -> None:
    print(f"{command}: {shown(text)}", file=sys.stderr)


class Progress:
    """Says on a terminal how far a work is, in one line that is gone at its end; elsewhere it says nothing."""

    def __init__(self, what: str, total: int) -> None:
        self._what = what
        self._total = total
        self._done = 0
        self._is_shown = sys.stderr.isatty()

    def __enter__(self) -> Progress:
        self._show()
        return self

    def __exit__(
        self, kind: type[BaseException] | None, problem: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.clear()

    def advance(self) -> None:
        self._done += 1
        self._show()

    def clear(self) -> None:
        """Makes room for another line."""
        if self._is_shown:
            sys.stderr.write("\r\033[K")
            sys.stderr.flush()

    def _show(self) -> None:
        if self._is_shown:
            line = f"{self._what}: {self._done} of {self._total}"
            sys.stderr.write("\r\033[K" + line[: shutil.get_terminal_size().columns - 1])
            sys.stderr.flush()


def progressing(what: str, items: Sequence[Item]) -> Iterator[Item]:
    """The items, with a line on a terminal that says how many are done."""
    with Progress(what, len(items)) as progress:
        for item in items:
            yield item
            progress.advance()
