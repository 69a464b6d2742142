"""The shared library that reads pictures for the tools: found beside libZOMU, loaded with the first picture.

It needs no model, and loads no other library of ours.
"""

from __future__ import annotations

import ctypes
import functools
import os

from . import _library
from .errors import LibraryError

_SONAME = "libZOMUpictures.so.0"


class Picture(ctypes.Structure):
    _fields_ = [
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("stride", ctypes.c_int32),
        ("pixels", ctypes.c_void_p),
    ]


class Problem(ctypes.Structure):
    _fields_ = [("text", ctypes.c_char * 256)]


@functools.lru_cache(maxsize=None)
def functions() -> ctypes.CDLL:
    """The library, loaded now if it is not yet; a failure is not remembered."""
    return _declared(_open())


def _open() -> ctypes.CDLL:
    beside = os.path.join(os.path.dirname(_library.name_of_process()), _SONAME)
    try:
        return ctypes.CDLL(beside if os.path.exists(beside) else _SONAME)
    except OSError as problem:
        raise LibraryError(
            f"zomu.read_picture needs {_SONAME}, which cannot be loaded: {problem}. Install it beside libZOMU (its "
            "Debian package, or `cmake --install` of a build with tools), or read the picture with another package "
            "and pass its array"
        ) from problem


def _declared(opened: ctypes.CDLL) -> ctypes.CDLL:
    opened.ZomuReadPicture.argtypes = (ctypes.c_char_p, ctypes.POINTER(Picture), ctypes.POINTER(Problem))
    opened.ZomuReadPicture.restype = ctypes.c_bool
    opened.ZomuFreePicture.argtypes = (ctypes.POINTER(Picture),)
    opened.ZomuFreePicture.restype = None
    return opened
