"""The one face of a picture, where nobody gave its landmarks."""

from __future__ import annotations

import functools
from typing import TYPE_CHECKING, Sequence, Union

import numpy as np
from numpy.typing import NDArray

from .errors import FaceCountError

if TYPE_CHECKING:
    from .finders import Face, Finder

    FinderOrName = Union[Finder, str, None]


NO_FACE = "no face was found: take another photo, or give the landmarks of the face"

# So many times the eye distance of any other face makes one clearly the largest.
_CLEARLY_LARGER = 2.0


@functools.lru_cache(maxsize=None)
def _named(name: str) -> Finder:
    from . import finders  # only here: the rest of the package does without

    return finders.finder_named(name)


def finder_of(finder: FinderOrName) -> Finder:
    """The finder itself; by its name it is loaded once for a process. None means "mesh"."""
    return _named(finder or "mesh") if finder is None or isinstance(finder, str) else finder


def find_one_face(
    image: NDArray[np.uint8], finder: FinderOrName, order: str = "BGR", largest: bool = False
) -> Face:
    """The face of `only_face` among those in the picture."""
    from . import finders

    return only_face(finders.find_faces(image, finder_of(finder), order=order), largest)


def only_face(faces: Sequence[Face], largest: bool = False) -> Face:
    """The only one, or with `largest` the first if its eyes are twice as far apart as those of any other.

    The faces are those of a picture, the largest first. Raises FaceCountError if there is no such face.
    """
    if not faces:
        raise FaceCountError(NO_FACE)
    if len(faces) == 1:
        return faces[0]
    has_largest = faces[0].eye_distance >= _CLEARLY_LARGER * faces[1].eye_distance
    if largest and has_largest:
        return faces[0]
    needed = "none of them twice as large as the others" if largest else "where one is needed"
    comma = "," if largest else ""
    raise FaceCountError(
        f"{len(faces)} faces were found{comma} {needed}: cut the photo to one of them, or give its landmarks",
        len(faces),
        has_largest,
    )
