"""The one face of a picture, where nobody gave its landmarks."""

from __future__ import annotations

import functools
from typing import TYPE_CHECKING, Union

import numpy as np
from numpy.typing import NDArray

from .errors import FaceCountError

if TYPE_CHECKING:
    from .finders import Face, Finder

    FinderOrName = Union[Finder, str, None]


@functools.lru_cache(maxsize=None)
def _named(name: str) -> Finder:
    from . import finders  # only here: the rest of the package does without

    return finders.finder_named(name)


def finder_of(finder: FinderOrName) -> Finder:
    """The finder itself; by its name it is loaded once for a process. None means "mesh"."""
    return _named(finder or "mesh") if finder is None or isinstance(finder, str) else finder


def find_one_face(image: NDArray[np.uint8], finder: FinderOrName, order: str = "BGR") -> Face:
    """The only face in the picture; raises FaceCountError if there is none or more than one."""
    from . import finders

    faces = finders.find_faces(image, finder_of(finder), order=order)
    if not faces:
        raise FaceCountError("no face was found: take another photo, or give the landmarks of the face")
    if len(faces) > 1:
        raise FaceCountError(
            f"{len(faces)} faces were found where one is needed: cut the photo to one of them, or give its landmarks",
            len(faces),
        )
    return faces[0]
