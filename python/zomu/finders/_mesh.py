"""Fits a mesh of 468 points to a face in an upright square of the picture."""

from __future__ import annotations

import numpy as np
from numpy.typing import NDArray

from ._network import Network
from ._sampling import Array, Places, Pyramid, Square

SIDE = 192
POINTS = 468

# The outer corners of the eyes.
_LEFT, _RIGHT = 33, 263

# The square that the network expects, in sides of the smallest one around the face.
_MARGIN = 1.5


class Mesh:
    """The network."""

    def __init__(self, content: bytes, partners: NDArray[np.intp]) -> None:
        self._network = Network(content)
        self._partners = partners

    def fit(self, pyramid: Pyramid, square: Square) -> tuple[float, Places]:
        """How certain a face is there, 0 to 1, and its points in the picture, 468 x 2."""
        certainty, places = self._run(_input(pyramid, square))
        return certainty, square.to_picture(places)

    def fit_both(self, pyramid: Pyramid, square: Square) -> list[tuple[float, Places]]:
        """The same, and what the mirrored crop gives for the same points."""
        crop = _input(pyramid, square)
        certainty, places = self._run(crop)
        mirrored_certainty, mirrored = self._run(crop[:, ::-1])
        mirrored = (mirrored * (-1.0, 1.0) + (1.0, 0.0))[self._partners]
        return [
            (certainty, square.to_picture(places)),
            (mirrored_certainty, square.to_picture(mirrored)),
        ]

    def _run(self, crop: Array) -> tuple[float, Places]:
        points, logit = self._network.run(crop)
        places = points.reshape(POINTS, 3)[:, :2].astype(np.float64) / SIDE
        certainty = 1.0 / (1.0 + np.exp(-np.clip(float(logit.reshape(-1)[0]), -80.0, 80.0)))
        return float(certainty), places


def _input(pyramid: Pyramid, square: Square) -> Array:
    return pyramid.cut(square, SIDE)[:, :, ::-1] * np.float32(1.0 / 255.0)


def square_around(points: NDArray[np.float64]) -> Square:
    """The upright square for the next fit, from the points of one."""
    step = points[_RIGHT] - points[_LEFT]
    angle = float(np.arctan2(step[1], step[0]))
    across = np.array([np.cos(angle), np.sin(angle)])
    upright = np.stack([points @ across, points @ (-across[1], across[0])], axis=1)
    low, high = upright.min(axis=0), upright.max(axis=0)
    middle = (low + high) / 2.0
    x, y = middle[0] * across + middle[1] * np.array([-across[1], across[0]])
    return Square(float(x), float(y), float((high - low).max()) * _MARGIN, angle)
