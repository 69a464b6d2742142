"""The head model of the library, its fit to the landmarks of a face, and what the fit shows.

The fit is the library's own: least squares for an affine camera, then the nearest rotation with one
scale. It is computed in 64 bits here, so the last digits differ from the library's.
"""

from __future__ import annotations

from typing import Mapping, NamedTuple

import numpy as np
from numpy.typing import NDArray

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


class HeadFit(NamedTuple):
    """How the head model fits into the picture."""

    eye_distance: float
    """Length of the model's eye distance on this face, in pixels."""
    rotation: NDArray[np.float64]
    """3 x 3, model to picture."""
    residual: float
    """Root of the mean squared distance between landmarks and model, in eye distances."""
    distances: dict[int, float]
    """Distance of each landmark from its place on the model, in eye distances."""


def fit_head(landmarks: Mapping[int, tuple[float, float]]) -> HeadFit:
    """Fits the head model to the landmarks of a face; coincident points give NaN."""
    image = np.array(list(landmarks.values()), dtype=np.float64)
    model = np.array([HEAD_MODEL[number] for number in landmarks], dtype=np.float64)
    image_mean = image.mean(axis=0)
    model_mean = model.mean(axis=0)
    with np.errstate(invalid="ignore", divide="ignore"):
        camera = np.linalg.lstsq(model - model_mean, image - image_mean, rcond=None)[0].T
        scale, rotation = _nearest_rotation(camera)
        places = scale * (model - model_mean) @ rotation[:2].T + image_mean
        eye_distance = scale * MODEL_EYE_DISTANCE
        distances = np.hypot(*(image - places).T) / eye_distance
    return HeadFit(
        eye_distance=float(eye_distance),
        rotation=rotation,
        residual=float(np.sqrt(np.mean(distances**2))),
        distances=dict(zip(landmarks, map(float, distances))),
    )


def _nearest_rotation(camera: NDArray[np.float64]) -> tuple[float, NDArray[np.float64]]:
    """Scale and rotation whose first two rows are nearest to those of an affine camera."""
    a, b = camera
    aa, bb, ab = a @ a, b @ b, a @ b
    length_a, length_b = np.sqrt(aa), np.sqrt(bb)
    r = np.sqrt(aa * bb - ab * ab)
    w = np.sqrt(aa * bb) * r + aa * bb - ab * ab
    half = (length_a + length_b) / 2.0
    first = a * (length_b * ab * ab / (2.0 * length_a * w) + half / length_a) - b * (ab / (2.0 * r))
    second = b * (length_a * ab * ab / (2.0 * length_b * w) + half / length_b) - a * (
        ab / (2.0 * r)
    )
    scale = np.sqrt(first @ first)
    first, second = first / scale, second / scale
    return float(scale), np.array([first, second, np.cross(first, second)])
