"""The head model of the library, and its fit to the landmarks of a face.

Each sum is that of include/zomu_check_fit.h, operation by operation, so that C and Python judge alike.
"""

from __future__ import annotations

import math
from typing import Mapping, NamedTuple, Sequence

# Model units: x across the face (negative is left in the picture), y down it, z towards the viewer.
HEAD_MODEL: dict[int, tuple[float, float, float]] = {
    0: (-3.227, -3.484, 9.589),
    1: (3.05, -3.546, 9.59),
    2: (-5.7, -4.652, 8.292),
    3: (-1.549, -5.085, 10.83),
    4: (1.612, -5.106, 10.83),
    5: (5.705, -4.704, 8.148),
    6: (-0.0185, -3.543, 11.07),
    9: (0.01795, -0.2319, 13.32),
    10: (-0.02015, 2.274, 11.62),
    11: (-0.04147, 4.102, 11.41),
    12: (-2.673, 3.301, 10.002),
    13: (2.528, 3.315, 9.962),
    43: (1.661, 0.3568, 10.66),
    44: (-1.74, 0.2793, 10.69),
    45: (0.07737, 3.101, 11.32),
    200: (-0.01402, 1.045, 11.69),
    221: (-1.782, -3.277, 9.267),
    222: (-3.255, -2.946, 9.531),
    223: (-4.436, -3.397, 8.747),
    225: (4.376, -3.418, 8.762),
    226: (3.056, -2.961, 9.522),
    227: (1.626, -3.367, 9.263),
    240: (-7.386, 0.05087, 1.039),
    241: (7.377, 0.0564, 1.298),
    300: (-3.956, -5.678, 10.06),
    302: (3.664, -5.768, 10.18),
    314: (-0.0435, 6.917, 10.75),
    315: (-6.365, 3.718, 3.913),
    316: (6.252, 3.752, 3.822),
}

MODEL_EYE_DISTANCE = 6.2773

# How far the rows of a camera are from being parallel, or one of them 0: in a head this is 1.
_LINE_LIMIT = 1e-6


class HeadFit(NamedTuple):
    """How the head model lies in the picture, seen by a camera without perspective."""

    eye_distance: float
    """Length of the model's eye distance on this face, in pixels."""
    residual: float
    """Root of the mean squared distance between landmarks and model, in eye distances."""
    rows: tuple[list[float], list[float]]
    """Of the rotation from model to picture."""
    faces_the_viewer: bool
    """Else sides are exchanged: the model is then seen from behind."""
    farthest: int
    """The landmark that is farthest from its place."""


def fit_head(points: Mapping[int, tuple[float, float]]) -> HeadFit | None:
    """Fits the head model to 25 to 29 landmarks in the order of their ids; None if there is no solution."""
    count = len(points)
    origin = points[0]  # the places count from here: points at one place are nothing, exactly
    places = {number: (at[0] - origin[0], at[1] - origin[1]) for number, at in points.items()}
    model_mean = [0.0, 0.0, 0.0]
    image_mean = [0.0, 0.0]
    for number, place in places.items():
        for k in range(3):
            model_mean[k] += HEAD_MODEL[number][k] / count
        for k in range(2):
            image_mean[k] += place[k] / count
    centred = {
        number: [HEAD_MODEL[number][k] - model_mean[k] for k in range(3)] for number in places
    }
    squares = [[0.0] * 3 for _ in range(3)]
    products = [[0.0] * 3 for _ in range(2)]
    for number, place in places.items():
        for i, along in enumerate(centred[number]):
            for k in range(3):
                squares[i][k] += along * centred[number][k]
            for k in range(2):
                products[k][i] += along * (place[k] - image_mean[k])
    nearest = _nearest_rotation(*_camera(squares, products))
    if nearest is None:
        return None
    scale, rows = nearest
    eye_distance = scale * MODEL_EYE_DISTANCE
    total, largest, farthest = 0.0, -1.0, 0
    for number, place in places.items():
        miss = 0.0
        for k in range(2):
            along = place[k] - image_mean[k] - scale * dot(rows[k], centred[number])
            miss += along * along
        total += miss
        if miss > largest:
            largest, farthest = miss, number
    return HeadFit(
        eye_distance=eye_distance,
        residual=math.sqrt(total / count) / eye_distance,
        rows=rows,
        faces_the_viewer=rows[0][0] * rows[1][1] - rows[0][1] * rows[1][0] > 0.0,
        farthest=farthest,
    )


def dot(a: Sequence[float], b: Sequence[float]) -> float:
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def _camera(
    squares: list[list[float]], products: list[list[float]]
) -> tuple[list[float], list[float]]:
    """The rows of the affine camera with the least squares, by cofactors over the determinant."""
    inverse = [[0.0] * 3 for _ in range(3)]
    for i in range(3):
        for k in range(3):
            a, b, c, d = (i + 1) % 3, (i + 2) % 3, (k + 1) % 3, (k + 2) % 3
            inverse[i][k] = squares[a][c] * squares[b][d] - squares[a][d] * squares[b][c]
    determinant = dot(squares[0], inverse[0])
    first, second = ([dot(row, sums) / determinant for row in inverse] for sums in products)
    return first, second


def _nearest_rotation(
    a: list[float], b: list[float]
) -> tuple[float, tuple[list[float], list[float]]] | None:
    """Scale and rotation whose first two rows are nearest to those of an affine camera."""
    aa, bb, ab = dot(a, a), dot(b, b), dot(a, b)
    square = aa * bb - ab * ab
    mean = (aa + bb) / 2.0
    if not square > _LINE_LIMIT * mean * mean:
        return None
    la, lb, r = math.sqrt(aa), math.sqrt(bb), math.sqrt(square)
    w = la * lb * r + square
    ca = lb * ab * ab / (2.0 * la * w) + (la + lb) / (2.0 * la)
    cb = la * ab * ab / (2.0 * lb * w) + (la + lb) / (2.0 * lb)
    first = [ca * a[i] - ab / (2.0 * r) * b[i] for i in range(3)]
    second = [cb * b[i] - ab / (2.0 * r) * a[i] for i in range(3)]
    scale = math.sqrt(dot(first, first))
    return scale, ([value / scale for value in first], [value / scale for value in second])
