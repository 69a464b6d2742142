"""What a store of templates is, and what it keeps of each."""

from __future__ import annotations

import contextlib
from datetime import datetime
from typing import Iterator, NamedTuple, Protocol, Sequence

import numpy as np
from numpy.typing import NDArray

from zomu.errors import Error, TemplateError
from zomu.templates import checked_template, is_plausible

from .exact import Ids
from .rows import Floats

TEMPLATE_BYTES = 2008
"""502 floats, little-endian."""


class Entry(NamedTuple):
    """A template on its way into a store."""

    person: str
    photograph: bytes
    """The SHA-256 of the file, 32 bytes."""
    template: Floats
    face: int = 1
    """Of the photograph, from 1."""
    consent: str = ""
    """What the person has agreed to: a reference that the keeper of the gallery understands."""
    expires: datetime | None = None
    """From when on it is not found any more. With a time zone."""


class StoredFace(NamedTuple):
    """A template that a store has."""

    id: int
    """Never given to another."""
    person: str
    photograph: bytes
    face: int
    template: Floats


class Changes(NamedTuple):
    """What has happened to a store since a position in its log of changes."""

    position: int
    """From where the next ones are read. Changes may come twice, never not at all."""
    added: Ids
    deleted: Ids


class Store(Protocol):
    """Templates of one model. Changes of several processes at a time are fine."""

    def add(self, entries: Sequence[Entry]) -> int:
        """All or none; returns how many are new. A face of a photograph that is there already is not."""

    def delete(self, person: str) -> int:
        """All of a person; returns how many templates."""

    def purge(self) -> int:
        """Deletes what has expired; returns how many."""

    def fetch(self, ids: Ids) -> list[StoredFace]:
        """Those of them that are there, have not expired and are templates."""

    def position(self) -> int:
        """The end of the log of changes."""

    def changes(self, position: int) -> Changes:
        """Those from this position on."""

    def blocks(self) -> Iterator[tuple[Ids, Floats]]:
        """All templates with their numbers, some thousand at a time, as of one moment."""

    def close(self) -> None: ...


@contextlib.contextmanager
def problems_of_store(kind: type[Exception], store: str) -> Iterator[None]:
    """Turns what the engine of a store raises into one line."""
    try:
        yield
    except kind as problem:
        raise Error(f"{store}: {' '.join(str(problem).split())}") from problem


def templates_of(contents: Sequence[bytes]) -> tuple[NDArray[np.bool_], Floats]:
    """Which rows of a store are templates, and these. What no extraction gives is refused."""
    whole = np.array([len(content) == TEMPLATE_BYTES for content in contents], dtype=bool)
    joined = b"".join(content for content, is_whole in zip(contents, whole) if is_whole)
    templates = np.frombuffer(joined, dtype="<f4").astype(np.float32).reshape(-1, TEMPLATE_BYTES // 4)
    good = is_plausible(templates)
    for i in np.flatnonzero(~good):
        good[i] = _is_template(templates[i])
    whole[whole] = good
    return whole, templates[good]


def block_of(pairs: Sequence[tuple[int, bytes]]) -> tuple[Ids, Floats]:
    """The numbers and templates of rows."""
    good, templates = templates_of([content for _, content in pairs])
    return np.array([number for number, _ in pairs], dtype=np.int64)[good], templates


def faces_of(rows: Sequence[tuple[int, str, bytes, int, bytes]]) -> list[StoredFace]:
    """Rows with number, person, photograph, face and template."""
    good, templates = templates_of([row[4] for row in rows])
    kept = [row for row, is_good in zip(rows, good) if is_good]
    return [StoredFace(*row[:4], template) for row, template in zip(kept, templates)]


def _is_template(template: Floats) -> bool:
    try:
        checked_template(template)
    except TemplateError:
        return False
    return True
