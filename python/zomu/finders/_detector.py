"""Finds faces in a square picture of 128 x 128 pixels, roughly: a box and six points of each."""

from __future__ import annotations

from typing import NamedTuple

import numpy as np
from numpy.typing import NDArray

from ._network import Network

SIDE = 128
LEFT_EYE, RIGHT_EYE, NOSE, MOUTH = 0, 1, 2, 3

# Two candidates in each cell of a grid of 16 x 16, six in each of one of 8 x 8.
_GRIDS = ((16, 2), (8, 6))

# Candidates that overlap by more belong to one face.
_OVERLAP_LIMIT = 0.3


class Detection(NamedTuple):
    """Places are fractions of the square, or pixels of the picture after a mapping."""

    score: float  # 0 to 1
    box: NDArray[np.float64]  # left, top, right, bottom
    points: NDArray[np.float64]  # 6 x 2: the eyes, the nose, the mouth, the ears


def _anchors() -> NDArray[np.float64]:
    """The centres of the cells, one row for each candidate."""
    rows = []
    for cells, candidates in _GRIDS:
        centres = (np.arange(cells) + 0.5) / cells
        y, x = np.meshgrid(centres, centres, indexing="ij")
        rows.append(np.repeat(np.stack([x.ravel(), y.ravel()], axis=1), candidates, axis=0))
    return np.concatenate(rows)


class Detector:
    """The network and its candidates."""

    def __init__(self, content: bytes) -> None:
        self._network = Network(content)
        self._anchors = _anchors()

    def detect(self, picture: NDArray[np.float32], limit: float) -> list[Detection]:
        """Faces in 128 x 128 x 3 values from 0 to 255, red first; all that score at least `limit`."""
        numbers, raw = self._network.run(picture * np.float32(2.0 / 255.0) - np.float32(1.0))
        logits = np.clip(raw.reshape(-1).astype(np.float64), -80.0, 80.0)
        scores = 1.0 / (1.0 + np.exp(-logits))
        kept = np.flatnonzero(scores >= limit)
        values = numbers[kept].astype(np.float64).reshape(-1, 8, 2) / SIDE
        centres = values[:, 0] + self._anchors[kept]
        halves = values[:, 1] / 2.0
        points = values[:, 2:] + self._anchors[kept][:, None]
        return merged(
            [
                Detection(float(scores[row]), np.concatenate([centre - half, centre + half]), six)
                for row, centre, half, six in zip(kept, centres, halves, points)
            ]
        )


def merged(found: list[Detection]) -> list[Detection]:
    """One detection for each face, the best first: the mean of those that overlap, weighted by score."""
    left = sorted(found, key=lambda detection: -detection.score)
    result = []
    while left:
        best = left[0]
        same = [other for other in left if overlap(best.box, other.box) > _OVERLAP_LIMIT] or [best]
        left = [other for other in left[1:] if overlap(best.box, other.box) <= _OVERLAP_LIMIT]
        weights = [other.score for other in same]
        box = np.average([other.box for other in same], axis=0, weights=weights)
        points = np.average([other.points for other in same], axis=0, weights=weights)
        result.append(Detection(best.score, box, points))
    return result


def overlap(a: NDArray[np.float64], b: NDArray[np.float64]) -> float:
    """The common area of two boxes by that of both together."""
    sides = np.minimum(a[2:], b[2:]) - np.maximum(a[:2], b[:2])
    if (sides <= 0.0).any():
        return 0.0
    common = float(sides.prod())
    total = float((a[2:] - a[:2]).prod() + (b[2:] - b[:2]).prod()) - common
    return common / total
