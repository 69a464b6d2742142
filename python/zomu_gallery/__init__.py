"""Galleries: templates in a folder or in PostgreSQL, searched with FAISS, scored by the library.

>>> with zomu_gallery.Gallery("people") as gallery:
...     for match in gallery.search(template, 10):
...         print(match.score, match.face.person)

docs/gallery.md describes them. The packages are those of the extra: `zomu[gallery]`.
"""

from __future__ import annotations

import importlib
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from .approximate import ApproximateIndex, parameters_for
    from .exact import ExactIndex
    from .gallery import Gallery
    from .rows import probes_of, rows_of
    from .searching import Match, search
    from .store import Entry, StoredFace

# Imported when asked for, so that the command line can be read without the packages of the extra.
_PLACES = {
    "ApproximateIndex": "approximate",
    "Entry": "store",
    "ExactIndex": "exact",
    "Gallery": "gallery",
    "Match": "searching",
    "StoredFace": "store",
    "parameters_for": "approximate",
    "probes_of": "rows",
    "rows_of": "rows",
    "search": "searching",
}

__all__ = [
    "ApproximateIndex",
    "Entry",
    "ExactIndex",
    "Gallery",
    "Match",
    "StoredFace",
    "parameters_for",
    "probes_of",
    "rows_of",
    "search",
]


def __getattr__(name: str) -> Any:
    if name not in _PLACES:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    return getattr(importlib.import_module(f".{_PLACES[name]}", __name__), name)
