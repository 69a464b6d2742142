"""What is wrong with the landmarks of a face in a picture: the check of include/zomu_check.h, word by word."""

from __future__ import annotations

import math
from typing import NamedTuple, Sequence

from .head_model import HEAD_MODEL, MODEL_EYE_DISTANCE, HeadFit, dot, fit_head
from .landmarks import LANDMARK_IDS, REQUIRED_IDS, Landmarks, as_float32, as_landmarks

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
SMALLEST_EYE_DISTANCE = 8.0
LARGEST_SHARE_OUTSIDE = 1.0 / 3.0
LARGEST_RESIDUAL = 0.2
PAIR_LIMIT = -0.05

Entry = tuple[int, float, float]
_Points = dict[int, tuple[float, float]]


class LandmarkReport(NamedTuple):
    fault: str
    """In one word, "good" for none."""
    text: str
    """One sentence for people; empty if all is good."""


def check_landmarks(landmarks: Landmarks, width: int, height: int) -> str | None:
    """Says in one sentence what is wrong with the landmarks of a face in a picture of this size; None if
    nothing is. `Context.extract` refuses with the same words.

    Landmarks may have any form that `as_landmarks` takes; it raises LandmarkError for others.
    """
    entries = [(number, x, y) for number, (x, y) in as_landmarks(landmarks).items()]
    return landmark_report(entries, width, height).text or None


def landmark_report(entries: Sequence[Entry], width: int, height: int) -> LandmarkReport:
    """The fault of any record; coordinates count as the 32-bit floats that the library gets."""
    problem = _record_problem(entries)
    if problem is not None:
        return LandmarkReport("record", problem)
    rounded = {number: (as_float32(x), as_float32(y)) for number, x, y in entries}
    for number, (x, y) in rounded.items():
        if not (math.isfinite(x) and math.isfinite(y)):
            return LandmarkReport("not-finite", f"landmark {number} has a coordinate that is not finite")
    points = {number: rounded[number] for number in LANDMARK_IDS if number in rounded}
    return _judged(points, width, height)


def _record_problem(entries: Sequence[Entry]) -> str | None:
    if not len(REQUIRED_IDS) <= len(entries) <= len(LANDMARK_IDS):
        return f"{len(entries)} landmarks are there, and 25 to 29 are needed"
    seen: set[int] = set()
    for number, _, _ in entries:
        if number not in HEAD_MODEL:
            return f"{number} is not the id of a landmark"
        if number in seen:
            return f"landmark {number} is there twice"
        seen.add(number)
    missing = next((number for number in REQUIRED_IDS if number not in seen), None)
    return None if missing is None else f"landmark {missing} is missing"


def _judged(points: _Points, width: int, height: int) -> LandmarkReport:
    fit = fit_head(points)
    if fit is None or not fit.eye_distance > 0.0:
        return LandmarkReport(
            "no-fit",
            "the landmarks do not lie like a face: all of them are at one place or on one line",
        )
    if not fit.eye_distance >= SMALLEST_EYE_DISTANCE:
        tenths = int(fit.eye_distance * 10.0)
        return LandmarkReport(
            "too-small",
            f"the eyes are {tenths // 10}.{tenths % 10} pixels apart, and 8 are needed: landmarks are pixels "
            "of this picture, not fractions of it",
        )
    outside = sum(
        not (-0.5 <= x <= width - 0.5 and -0.5 <= y <= height - 0.5) for x, y in points.values()
    )
    if not outside / len(points) <= LARGEST_SHARE_OUTSIDE:
        return LandmarkReport(
            "outside",
            f"{outside} of {len(points)} landmarks lie outside the picture of {width} x {height} pixels: are "
            "they those of another picture?",
        )
    # Pairs are named only if they are all that is wrong.
    pairs = _exchanged_pairs(points, fit)
    if pairs:
        other = fit_head(_exchanged(points, pairs))
        if other is not None and other.residual <= LARGEST_RESIDUAL and other.faces_the_viewer:
            names = ", ".join(f"{left} and {right}" for left, right in pairs)
            return LandmarkReport("pairs-exchanged", f"left and right look exchanged: {names}")
    if not fit.residual <= LARGEST_RESIDUAL:
        hundredths = int((fit.residual if fit.residual < 9999.0 else 9999.0) * 100.0 + 0.5)
        return LandmarkReport(
            "not-a-face",
            f"the landmarks do not lie like a face: they miss the head model by {hundredths // 100}."
            f"{hundredths % 100:02d} eye distances (up to 0.20 is usual), most of all landmark "
            f"{fit.farthest}; is the order another one?",
        )
    return LandmarkReport("good", "") if fit.faces_the_viewer else _mirrored(fit)


def _mirrored(fit: HeadFit) -> LandmarkReport:
    """A reflection: where the model's y runs in the picture says which one."""
    x, y = fit.rows[0][1], fit.rows[1][1]
    if y < 0.0 and -y > abs(x):
        return LandmarkReport(
            "upside-down",
            "y runs upwards: it counts from the first row of the picture, which is 0, downwards",
        )
    sides = (
        "left and right look exchanged in all landmarks: id 0 is the eye on the left of the "
        "picture, not the person's left eye"
    )
    axes = (
        "x and y look exchanged, or left and right in all landmarks: x runs to the right, y "
        "downwards, and id 0 is the eye on the left of an upright face"
    )
    return LandmarkReport("sides-exchanged", sides if y > abs(x) else axes)


def _exchanged_pairs(points: _Points, fit: HeadFit) -> list[tuple[int, int]]:
    """Pairs whose way from left to right runs against that of the fitted model."""
    pairs = []
    for left, right in PARTNERS:
        if left not in points or right not in points:
            continue
        step = [HEAD_MODEL[right][i] - HEAD_MODEL[left][i] for i in range(3)]
        along = 0.0
        for k in range(2):
            image = (points[right][k] - points[left][k]) / fit.eye_distance
            along += image * (dot(fit.rows[k], step) / MODEL_EYE_DISTANCE)
        if along < PAIR_LIMIT:
            pairs.append((left, right))
    return pairs


def _exchanged(points: _Points, pairs: list[tuple[int, int]]) -> _Points:
    changed = dict(points)
    for left, right in pairs:
        changed[left], changed[right] = points[right], points[left]
    return changed
