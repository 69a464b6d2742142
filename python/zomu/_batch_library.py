"""The shared library for batches: found beside the other one, loaded with the first batch.

It reads tables of its own, from the same model. Without it, faces are extracted one by one.
"""

from __future__ import annotations

import ctypes
import os
import threading
from typing import NamedTuple

from . import _library

BATCH = 16  # faces that the library computes together


class BatchRequest(ctypes.Structure):
    _fields_ = [
        ("image", ctypes.c_void_p),
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("stride", ctypes.c_int32),
        ("landmarks", ctypes.POINTER(_library.LandmarkRecord)),
        ("templateOut", ctypes.c_void_p),
    ]


class _Search(NamedTuple):
    """What came of looking for the library, in this process."""

    functions: ctypes.CDLL | None


_lock = threading.Lock()
_search: _Search | None = None


def functions() -> ctypes.CDLL | None:
    """The library for batches, loaded now if it is not yet; None if it cannot be used."""
    global _search
    loaded = _library.require()  # raises if the process was forked
    with _lock:
        if _search is None:
            _search = _Search(_open(loaded))
        return _search.functions


def _open(loaded: _library.Loaded) -> ctypes.CDLL | None:
    folder, name = os.path.split(loaded.name)
    if not name.startswith("libZOMU.so") or loaded.directory is None:
        return None
    path = os.path.join(folder, name.replace("libZOMU", "libZOMUbatch", 1))
    if _library.is_loaded(path):
        return None  # by another part of the process, perhaps with another model
    try:
        opened = _library.open_with(path, {"TMPDIR": loaded.directory})
    except OSError:
        return None
    opened.ZomuBatchCreate.argtypes = ()
    opened.ZomuBatchCreate.restype = ctypes.c_void_p
    opened.ZomuBatchExtract.argtypes = (ctypes.c_void_p, ctypes.POINTER(BatchRequest), ctypes.c_size_t)
    opened.ZomuBatchExtract.restype = None
    opened.ZomuBatchDestroy.argtypes = (ctypes.c_void_p,)
    opened.ZomuBatchDestroy.restype = None
    return opened
