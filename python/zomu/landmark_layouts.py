"""Landmarks of a face from the two layouts that detectors commonly use: 68 points and the mesh.

Indices count from 0, in the order of the detector's list. Each of the 25 landmarks is the mean of the
points named for it. The four at the sides of the head have no counterpart in either layout.

Grades: "exact", the layout has a point at that very place; "derived", the place follows from several
points; "approximate", the layout only has a point nearby.
"""

from __future__ import annotations

from typing import Any, Mapping, NamedTuple

import numpy as np
from numpy.typing import ArrayLike, NDArray

from .errors import LandmarkError


class Source(NamedTuple):
    """Where a landmark comes from."""

    points: tuple[int, ...]
    grade: str


def _exact(point: int) -> Source:
    return Source((point,), "exact")


def _derived(*points: int) -> Source:
    return Source(points, "derived")


def _approximate(*points: int) -> Source:
    return Source(points, "approximate")


SOURCES_68: dict[int, Source] = {
    0: _derived(36, 37, 38, 39, 40, 41),
    1: _derived(42, 43, 44, 45, 46, 47),
    2: _exact(17),
    3: _exact(21),
    4: _exact(22),
    5: _exact(26),
    6: _approximate(27),
    9: _exact(30),
    10: _approximate(51),
    11: _approximate(57),
    12: _exact(48),
    13: _exact(54),
    43: _approximate(35),
    44: _approximate(31),
    45: _derived(62, 66),
    200: _exact(33),
    221: _exact(39),
    222: _derived(40, 41),
    223: _exact(36),
    225: _exact(45),
    226: _derived(46, 47),
    227: _exact(42),
    300: _exact(19),
    302: _exact(24),
    314: _exact(8),
}

# The mesh without irises.
SOURCES_468: dict[int, Source] = {
    0: _derived(33, 133, 145, 159),
    1: _derived(263, 362, 374, 386),
    2: _derived(46, 70),
    3: _derived(55, 107),
    4: _derived(285, 336),
    5: _derived(276, 300),
    6: _approximate(6),
    9: _approximate(4),
    10: _approximate(0),
    11: _approximate(17),
    12: _exact(61),
    13: _exact(291),
    43: _approximate(289),
    44: _approximate(59),
    45: _derived(13, 14),
    200: _exact(2),
    221: _exact(133),
    222: _exact(145),
    223: _exact(33),
    225: _exact(263),
    226: _exact(374),
    227: _exact(362),
    300: _derived(52, 105),
    302: _derived(282, 334),
    314: _exact(152),
}

# With irises, whose centres are better than the centres of the lids.
SOURCES_478: dict[int, Source] = {**SOURCES_468, 0: _exact(468), 1: _exact(473)}


def from_68(points: ArrayLike) -> dict[int, tuple[float, float]]:
    """25 landmarks from 68 points, an array (68, 2) in pixels."""
    return _from_sources(_as_points(points, (68,), (2,)), SOURCES_68)


def from_mesh(
    points: ArrayLike, *, size: tuple[int, int] | None = None
) -> dict[int, tuple[float, float]]:
    """25 landmarks from a mesh, an array of 468 or 478 rows x, y or x, y, z.

    size  width and height of the picture, for points in fractions of it, from 0 to 1. Without it,
          points are in pixels.
    """
    mesh = _as_points(points, (468, 478), (2, 3))[:, :2]
    if size is not None:
        # Fractions count from the picture's edge, landmarks from the centre of the first pixel.
        mesh = mesh * np.asarray(size, dtype=np.float64) - 0.5
    return _from_sources(mesh, SOURCES_478 if len(mesh) == 478 else SOURCES_468)


def _as_points(
    points: ArrayLike, counts: tuple[int, ...], columns: tuple[int, ...]
) -> NDArray[np.float64]:
    array: NDArray[Any] = np.asarray(points, dtype=np.float64)
    if array.ndim != 2 or array.shape[0] not in counts or array.shape[1] not in columns:
        rows = " or ".join(map(str, counts))
        width = " or ".join(map(str, columns))
        raise LandmarkError(f"expected {rows} points of {width} values, not an array {array.shape}")
    return array


def _from_sources(
    points: NDArray[np.float64], sources: Mapping[int, Source]
) -> dict[int, tuple[float, float]]:
    landmarks = {}
    for number, source in sources.items():
        x, y = points[list(source.points)].mean(axis=0)
        landmarks[number] = (float(x), float(y))
    return landmarks
