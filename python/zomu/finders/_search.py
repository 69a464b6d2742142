"""Searches a picture for faces of all sizes: the whole of it, then overlapping squares of half the size, and so on."""

from __future__ import annotations

from typing import Iterator

import numpy as np

from ._detector import SIDE, Detection, Detector, merged
from ._sampling import Pyramid, Square

# Squares of at least so many pixels are searched in any case, down to quarters of the picture; the eyes of a
# face are found in them from a twelfth of their side on.
_ALWAYS = 400
_ALWAYS_LEVELS = 3

# Squares down to an eighth of the picture are searched as long as nothing has been found.
_LEVELS = 4

_QUARTER = float(np.pi / 2.0)


def candidates(pyramid: Pyramid, detector: Detector, limit: float) -> Iterator[list[Detection]]:
    """Detections in pixels, first those of an upright picture, then with fainter hope: the caller takes the
    first list with a face."""
    longest = max(pyramid.width, pyramid.height)
    always = [k for k in range(_ALWAYS_LEVELS) if k == 0 or longest / 2**k >= _ALWAYS]
    for quarters in (0, 2, 1, 3):
        found = []
        for level in always:
            found += _search_level(pyramid, detector, level, quarters * _QUARTER, limit)
        yield merged(found)
    for level in range(len(always), _LEVELS):
        if longest / 2**level >= SIDE:
            yield merged(_search_level(pyramid, detector, level, 0.0, limit))


def _search_level(
    pyramid: Pyramid, detector: Detector, level: int, angle: float, limit: float
) -> list[Detection]:
    side = max(pyramid.width, pyramid.height) / 2**level
    found = []
    for y in _centres(pyramid.height, side):
        for x in _centres(pyramid.width, side):
            found += detect_in(pyramid, detector, Square(x, y, side, angle), limit)
    return found


def _centres(length: float, side: float) -> list[float]:
    """Of squares that cover a length, each overlapping the next by half at least."""
    if length <= side:
        return [length / 2.0]
    count = int(np.ceil((length - side) / (side / 2.0))) + 1
    return [float(value) for value in np.linspace(side / 2.0, length - side / 2.0, count)]


def detect_in(pyramid: Pyramid, detector: Detector, square: Square, limit: float) -> list[Detection]:
    """The faces in a square, in pixels of the picture. A box is upright in the square, not in the picture."""
    return [
        to_picture(detection, square)
        for detection in detector.detect(pyramid.cut(square, SIDE)[:, :, ::-1], limit)
    ]


def to_picture(detection: Detection, square: Square) -> Detection:
    """The same in pixels: an upright box of the same size, around the same centre."""
    centre = square.to_picture((detection.box[:2] + detection.box[2:])[None] / 2.0)[0]
    half = (detection.box[2:] - detection.box[:2]) * square.side / 2.0
    return Detection(
        detection.score, np.concatenate([centre - half, centre + half]), square.to_picture(detection.points)
    )
