"""Whether landmarks look like a face: finds swapped sides, swapped pairs, a wrong order."""

from __future__ import annotations

from typing import Mapping

import numpy as np
from numpy.typing import NDArray

from .head_model import HEAD_MODEL, MODEL_EYE_DISTANCE, fit_head

# Left and right in the picture; mirroring the picture swaps them.
PARTNERS: tuple[tuple[int, int], ...] = (
    (0, 1),
    (2, 5),
    (3, 4),
    (12, 13),
    (44, 43),
    (221, 227),
    (222, 226),
    (223, 225),
    (240, 241),
    (300, 302),
    (315, 316),
)

# docs/landmarks.md says how these were chosen.
RESIDUAL_LIMIT = 0.15
PAIR_LIMIT = -0.05


def check_landmarks(landmarks: Mapping[int, tuple[float, float]]) -> str | None:
    """Says in one sentence what looks wrong with the landmarks of a face; None if nothing does."""
    fit = fit_head(landmarks)
    if not np.isfinite(fit.residual):
        return "the landmarks do not lie like a face: all of them are at one place or on one line"
    pairs = [
        pair
        for pair in PARTNERS
        if pair[0] in landmarks
        and pair[1] in landmarks
        and _along_model(pair, landmarks, fit.rotation, fit.eye_distance) < PAIR_LIMIT
    ]
    # Pairs are named only if exchanging them leaves nothing wrong.
    if pairs and fit_head(_exchanged(landmarks, pairs)).residual <= RESIDUAL_LIMIT:
        names = ", ".join(f"{left} and {right}" for left, right in pairs)
        return f"left and right look exchanged: {names}"
    if fit.residual > RESIDUAL_LIMIT:
        farthest = max(fit.distances, key=lambda number: fit.distances[number])
        return (
            "the landmarks do not lie like a face: they miss the head model by "
            f"{fit.residual:.2f} eye distances (up to {RESIDUAL_LIMIT:.2f} is usual), most of all "
            f"landmark {farthest}; is the order another one?"
        )
    if _turn(landmarks) <= 0.0:
        return (
            "left and right look exchanged in all landmarks, or y runs upwards: id 0 is the eye on "
            "the left of the picture, not the person's left eye"
        )
    return None


def _exchanged(
    landmarks: Mapping[int, tuple[float, float]], pairs: list[tuple[int, int]]
) -> dict[int, tuple[float, float]]:
    changed = dict(landmarks)
    for left, right in pairs:
        changed[left], changed[right] = landmarks[right], landmarks[left]
    return changed


def _along_model(
    pair: tuple[int, int],
    landmarks: Mapping[int, tuple[float, float]],
    rotation: NDArray[np.float64],
    eye_distance: float,
) -> float:
    """The step from left to right along that of the fitted model; negative: in the other direction."""
    left, right = pair
    model = rotation[:2] @ np.subtract(HEAD_MODEL[right], HEAD_MODEL[left]) / MODEL_EYE_DISTANCE
    image = np.subtract(landmarks[right], landmarks[left]) / eye_distance
    return float(model @ image)


def _turn(landmarks: Mapping[int, tuple[float, float]]) -> float:
    """Cross product of the step between the eyes and the step down to the mouth: positive in a face."""
    left, right, mouth = (np.asarray(landmarks[number], dtype=np.float64) for number in (0, 1, 45))
    eyes = right - left
    down = mouth - (left + right) / 2.0
    return float(eyes[0] * down[1] - eyes[1] * down[0])
