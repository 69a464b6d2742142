"""What a finder gives for a picture, and what a finder is."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Protocol, Sequence

import numpy as np
from numpy.typing import NDArray

from ..errors import Error
from ..landmark_check import check_landmarks
from ..landmarks import REQUIRED_IDS, as_landmarks
from ..pictures import as_bgr_rows


class FinderError(Error):
    """A finder cannot be had, or gives what is not a list of faces."""


@dataclass(frozen=True)
class Face:
    """A face in a picture. Places are in pixels; the centre of the first pixel is (0, 0)."""

    box: tuple[float, float, float, float]
    """Left, top, right, bottom."""
    confidence: float
    """0 to 1; comparable between faces of the same finder only."""
    landmarks: dict[int, tuple[float, float]]
    """The 25 landmarks of `zomu.REQUIRED_IDS`."""
    finder: str
    """The name of the finder."""
    version: str
    """Of the finder; landmarks of another version may lie a little elsewhere."""

    @property
    def made_by(self) -> str:
        """The finder and its version: "mesh 1"."""
        return f"{self.finder} {self.version}"

    @property
    def eye_distance(self) -> float:
        """Pixels between the centres of the eyes."""
        (x0, y0), (x1, y1) = self.landmarks[0], self.landmarks[1]
        return float(np.hypot(x1 - x0, y1 - y0))


class Finder(Protocol):
    """Anything that can be called with a picture, an array of height x width x 3 `uint8`, blue first."""

    def __call__(self, picture: NDArray[np.uint8], /) -> Sequence[Face]: ...


def find_faces(picture: NDArray[np.uint8], finder: Finder, *, order: str = "BGR") -> list[Face]:
    """The faces that a finder finds in a picture, the largest first.

    Faces whose landmarks `zomu.check_landmarks` refuses are left out.

    picture  height x width x 3, `uint8`
    order    "BGR" as in OpenCV and `zomu.read_picture`, or "RGB"

    Raises ImageError for what is no picture, FinderError if the finder gives anything but faces.
    """
    rows = as_bgr_rows(picture, order)
    height, width = rows.shape[:2]
    found = [_checked(face) for face in finder(rows)]
    good = [face for face in found if check_landmarks(face.landmarks, width, height) is None]
    return sorted(good, key=lambda face: -face.eye_distance)


def _checked(face: Any) -> Face:
    if not isinstance(face, Face):
        raise FinderError(f"the finder gives a {type(face).__name__} where zomu.finders.Face is expected")
    if sorted(as_landmarks(face.landmarks)) != sorted(REQUIRED_IDS):
        raise FinderError(f"the finder {face.finder} gives landmarks that are not the 25 of zomu.REQUIRED_IDS")
    return face
