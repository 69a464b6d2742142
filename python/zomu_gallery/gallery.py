"""A gallery: a store of templates, and an index that follows it."""

from __future__ import annotations

import contextlib
import os
from pathlib import Path
from typing import Any, Iterator, Sequence

import numpy as np

from zomu.errors import Error, TemplateError
from zomu.templates import checked_template

from .approximate import SEARCH_WIDTH, ApproximateIndex, parameters_for
from .exact import ExactIndex, Ids
from .index_files import Index, load_index, read_description, save_index, write_description
from .rows import Floats
from .searching import Match, search
from .store import Changes, Entry, Store

_TEMPLATES = "templates.sqlite"

# Changes beyond which the index is saved after a search: this many, and this share.
_MANY = 1000
_SHARE = 0.01

# Of an approximate index, from which its parameters are taken.
_SAMPLE = 100_000


class Gallery:
    """Templates of one model in a folder, or in a database with the index in a folder.

    >>> with Gallery("people") as gallery:
    ...     gallery.search(template, 10)
    """

    def __init__(self, folder: str | os.PathLike[str]) -> None:
        """One that is there."""
        self._folder = Path(folder)
        description = read_description(self._folder)
        self.fingerprint: str = description["fingerprint"]
        self._store = _store(self._folder, description)
        self._index: Index | None = None
        self._position = 0
        self._unsaved = 0

    @classmethod
    def create(cls, folder: str | os.PathLike[str], fingerprint: str, database: str | None = None) -> Gallery:
        """A new one, for the model with this fingerprint; `database` is an address of PostgreSQL."""
        if len(fingerprint) != 64 or fingerprint == "0" * 64:
            raise TemplateError("a gallery is for the templates of a known model")
        path = Path(folder)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.mkdir(mode=0o700, exist_ok=True)
        if any(path.iterdir()):
            raise Error(f"{path}: is not empty, and not a gallery; take another folder")
        description = {"fingerprint": fingerprint, "database": database, "index": None}
        with contextlib.closing(_store(path, description)) as store:
            store.fetch(np.array([0]))  # so that a database that cannot be used leaves no gallery
        write_description(path, description)
        return cls(path)

    def __enter__(self) -> Gallery:
        return self

    def __exit__(self, *problem: object) -> None:
        self.close()

    def close(self) -> None:
        self._store.close()

    def __len__(self) -> int:
        """How many templates a search compares."""
        return len(self._followed().ids())

    @property
    def kind(self) -> str:
        return self._followed().kind

    def add(self, entries: Sequence[Entry]) -> int:
        """All or none, and for good when it returns; gives how many are new."""
        for number, entry in enumerate(entries):
            try:
                checked_template(entry.template)
            except TemplateError as problem:
                raise TemplateError(f"entry {number}: {problem}") from None
        return self._store.add(entries)

    def delete(self, person: str) -> int:
        """All templates of a person, from the store and from the index; gives how many."""
        return self._without(self._store.delete(person))

    def purge(self) -> int:
        """Deletes what has expired; gives how many. A search finds none of it, purged or not."""
        return self._without(self._store.purge())

    def search(self, template: Floats, count: int = 10) -> list[Match]:
        """The best matches of one template of the gallery's model, as `zomu_gallery.searching.search` gives them."""
        index = self._followed()
        matches = search(index, self._store.fetch, template, count)
        if self._unsaved > max(_MANY, _SHARE * len(index)):
            self._save()
        return matches

    def rebuild(self, kind: str | None = None, search_width: int = SEARCH_WIDTH) -> int:
        """Makes the index anew, "exact" or "approximate", by default as it was; gives the number of templates.

        search_width  of an approximate index: how many rows a search keeps in view
        """
        if kind is None:
            saved = read_description(self._folder)["index"]
            kind = saved["kind"] if saved is not None else ExactIndex.kind
        self._index = None
        self._position = self._store.position()
        self._index = _built(self._store.blocks(), kind, search_width)
        self._save()
        return len(self._index)

    def _followed(self) -> Index:
        """The index, with all changes up to now."""
        if self._index is None:
            loaded = load_index(self._folder)
            if loaded is None:
                self._position = self._store.position()
                self._index = _built(self._store.blocks(), ExactIndex.kind)
                self._unsaved = len(self._index)
            else:
                self._index, self._position = loaded
        self._follow(self._index, self._store.changes(self._position))
        return self._index

    def _follow(self, index: Index, changes: Changes) -> None:
        # Some may have been followed before, and what was added may be gone.
        there = index.ids() if len(changes.added) or len(changes.deleted) else changes.added
        gone = np.intersect1d(changes.deleted, there)
        new = np.setdiff1d(changes.added, np.union1d(there, changes.deleted))
        if len(gone):
            index.remove(gone)
        for start in range(0, len(new), _MANY):
            faces = self._store.fetch(new[start : start + _MANY])
            if faces:
                ids = np.array([face.id for face in faces], dtype=np.int64)
                index.add(ids, np.stack([face.template for face in faces]))
        self._position = changes.position
        self._unsaved += len(gone) + len(new)

    def _without(self, count: int) -> int:
        """What was deleted must not be in a file of the index, either."""
        if count:
            self._followed()
            self._save()
        return count

    def _save(self) -> None:
        assert self._index is not None
        save_index(self._folder, self._index, self._position)
        self._unsaved = 0


def _store(folder: Path, description: dict[str, Any]) -> Store:
    if description["database"] is None:
        from .folder_store import FolderStore

        return FolderStore(folder / _TEMPLATES)
    from .database import DatabaseStore

    return DatabaseStore(description["database"], description["fingerprint"])


def _built(blocks: Iterator[tuple[Ids, Floats]], kind: str, search_width: int = SEARCH_WIDTH) -> Index:
    if kind == ExactIndex.kind:
        exact = ExactIndex()
        for ids, templates in blocks:
            exact.add(ids, templates)
        return exact
    first: list[tuple[Ids, Floats]] = []
    count = 0
    for block in blocks:
        first.append(block)
        count += len(block[0])
        if count >= _SAMPLE:
            break
    sample = np.concatenate([templates for _, templates in first]) if first else np.empty((0, 502), dtype=np.float32)
    approximate = ApproximateIndex(parameters_for(sample, search_width))
    for ids, templates in first:
        approximate.add(ids, templates)
    for ids, templates in blocks:
        approximate.add(ids, templates)
    return approximate
