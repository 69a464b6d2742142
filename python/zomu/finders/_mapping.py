"""The 25 landmarks as weighted means of points of the mesh."""

from __future__ import annotations

from typing import Mapping

import numpy as np

from ._sampling import Places

Mapping25 = Mapping[int, tuple[tuple[int, float], ...]]


def read_mapping(text: str) -> dict[int, tuple[tuple[int, float], ...]]:
    """Lines landmark,point,weight with a header; the points and weights of each landmark.

    Weights are rounded in the file, and have the sum 1 here.
    """
    rows: dict[int, list[tuple[int, float]]] = {}
    for line in text.splitlines()[1:]:
        landmark, point, weight = line.split(",")
        rows.setdefault(int(landmark), []).append((int(point), float(weight)))
    return {landmark: _with_sum_1(pairs) for landmark, pairs in rows.items()}


def _with_sum_1(pairs: list[tuple[int, float]]) -> tuple[tuple[int, float], ...]:
    total = sum(weight for _, weight in pairs)
    return tuple((point, weight / total) for point, weight in pairs)


def landmarks_of(mesh: Places, mapping: Mapping25) -> dict[int, tuple[float, float]]:
    """Landmarks in pixels, from the centre of the first; the mesh counts from the picture's corner."""
    landmarks = {}
    for landmark, pairs in mapping.items():
        points, weights = zip(*pairs)
        x, y = np.array(weights) @ mesh[list(points)] - 0.5
        landmarks[landmark] = (float(x), float(y))
    return landmarks
