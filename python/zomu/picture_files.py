"""PNG and JPEG files as pictures that the library takes, through the reader of the tools."""

from __future__ import annotations

import ctypes
import os

import numpy as np
from numpy.typing import NDArray

from . import _picture_library
from .errors import ImageError


def read_picture(path: str | os.PathLike[str]) -> NDArray[np.uint8]:
    """Reads a PNG or JPEG file: an array of height x width x 3, blue first, as `extract` takes it.

    The picture is turned upright if its EXIF data say how the camera was held, and landmarks mean the
    upright picture. Grey, palette and 16-bit pictures become 8-bit colour, transparent parts lie on
    white. The pixels are those that the tools and the examples read.

    Raises ImageError for what is damaged, cut off, too large, a JPEG in printing colours or no picture,
    and LibraryError if the library that reads pictures is not installed.
    """
    name = os.fsencode(path)
    if b"\0" in name:
        raise ImageError(f"{os.fspath(path)!r}: cannot be opened: there is a null character in its name")
    return np.asarray(_Pixels(name))


class _Pixels:
    """The library's memory, for NumPy: whatever looks at it keeps this object."""

    def __init__(self, path: bytes) -> None:
        functions = _picture_library.functions()
        self._free = functions.ZomuFreePicture
        self._picture = _picture_library.Picture()
        problem = _picture_library.Problem()
        if not functions.ZomuReadPicture(path, ctypes.byref(self._picture), ctypes.byref(problem)):
            raise ImageError(f"{os.fsdecode(path)}: {problem.text.decode(errors='replace')}")
        self.__array_interface__ = {
            "version": 3,
            "typestr": "|u1",
            "shape": (self._picture.height, self._picture.width, 3),
            "strides": (self._picture.stride, 3, 1),
            "data": (self._picture.pixels, False),
        }

    def __del__(self) -> None:
        # Without a picture there is nothing to release: the library was not there, or has emptied it.
        if hasattr(self, "_picture"):
            self._free(ctypes.byref(self._picture))
