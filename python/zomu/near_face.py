"""The picture that begins near a face: the rule of ZomuNearFace in include/zomu_check.h.

The library computes with 32-bit floats, which far from (0, 0) have fewer digits for fractions of a pixel.
"""

from __future__ import annotations

from typing import Mapping

import numpy as np
from numpy.typing import NDArray

Points = Mapping[int, tuple[float, float]]

_STEP = 256  # whole pixels, so that the coordinates stay exact


def near_face(image: NDArray[np.uint8], points: Points) -> tuple[NDArray[np.uint8], Points]:
    """A view without the columns and rows before the face that no template depends on, and the landmarks in it.

    points  32-bit floats, which pass the check
    """
    height, width = image.shape[:2]
    columns = [x for x, _ in points.values()]
    rows = [y for _, y in points.values()]
    margin = 2.0 * max(max(columns) - min(columns), max(rows) - min(rows))
    left = _lead_in(min(columns), margin, width)
    top = _lead_in(min(rows), margin, height)
    return image[top:, left:], {number: (x - left, y - top) for number, (x, y) in points.items()}


def _lead_in(first: float, margin: float, size: int) -> int:
    """How many columns, or rows, may be left out before the first landmark; 2 stay."""
    at_most = min(first - margin, size - 2.0)
    return int(at_most / _STEP) * _STEP if at_most >= _STEP else 0
