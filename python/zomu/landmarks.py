"""The 29 landmarks of a face: their ids, the forms in which they are accepted, and CSV files."""

from __future__ import annotations

import ctypes
import math
import os
import re
from typing import Any, Mapping, Union

import numpy as np
from numpy.typing import NDArray

from ._files import write_file
from .errors import LandmarkError

# In the order of the rows of an array.
LANDMARK_IDS: tuple[int, ...] = (
    0, 1, 2, 3, 4, 5, 6, 9, 10, 11, 12, 13, 43, 44, 45, 200, 221, 222, 223, 225, 226, 227,
    240, 241, 300, 302, 314, 315, 316,
)  # fmt: skip

# At the sides of the head; they may be missing.
SIDE_IDS: tuple[int, ...] = (240, 241, 315, 316)

REQUIRED_IDS: tuple[int, ...] = tuple(i for i in LANDMARK_IDS if i not in SIDE_IDS)

Landmarks = Union[Mapping[int, Any], NDArray[Any], str, "os.PathLike[str]"]

_NUMBER = re.compile(r"[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?", re.ASCII)
_SIZE_LIMIT = 1 << 20
_BLANKS = " \t\r"


def as_landmarks(landmarks: Landmarks) -> dict[int, tuple[float, float]]:
    """Converts landmarks in any accepted form to a dict of id to (x, y), 25 to 29 of them.

    A dict and a file keep their order; the rows of an array are those of LANDMARK_IDS, or of
    REQUIRED_IDS if there are 25.
    """
    if isinstance(landmarks, (str, os.PathLike)):
        return read_landmarks(landmarks)
    if isinstance(landmarks, Mapping):
        return _from_mapping(landmarks)
    return _from_array(np.asarray(landmarks))


def read_landmarks(path: str | os.PathLike[str]) -> dict[int, tuple[float, float]]:
    """Reads a CSV file: lines of id,x,y, with or without that header.

    The rules are those of the C example: each id once, all required ones, decimal numbers.
    """
    try:
        with open(path, "rb") as file:
            content = file.read(_SIZE_LIMIT + 1)
    except OSError as problem:
        next_step = ""
        if isinstance(problem, FileNotFoundError):
            next_step = "; `zomu find PICTURE --csv FOLDER` writes landmark files"
        raise LandmarkError(f"{path}: cannot be opened: {problem.strerror}{next_step}") from problem
    if len(content) > _SIZE_LIMIT:
        raise LandmarkError(f"{path}: is larger than {_SIZE_LIMIT} bytes")
    text = content.removeprefix(b"\xef\xbb\xbf").decode("latin-1")
    try:
        return _from_lines(text.split("\n"))
    except LandmarkError as problem:
        raise LandmarkError(f"{path}: {problem}") from None


def write_landmarks(path: str | os.PathLike[str], landmarks: Landmarks) -> None:
    """Writes the CSV file of a face; reading it gives the same floats."""
    lines = ["id,x,y\n"]
    for number, (x, y) in as_landmarks(landmarks).items():
        lines.append(f"{number},{_digits(x)},{_digits(y)}\n")
    write_file(path, "".join(lines).encode("ascii"))


def _digits(value: float) -> str:
    """As few as read back the same; nine are enough for what has been a float of 32 bits."""
    short = f"{value:.9g}"
    exact = float(short) == value or float(np.float32(short)) == value
    return short if exact else repr(float(value))


def _from_lines(lines: list[str]) -> dict[int, tuple[float, float]]:
    found: dict[int, tuple[float, float]] = {}
    line_of: dict[int, int] = {}
    header_allowed = True
    for number, line in enumerate(lines, start=1):
        fields = [field.strip(_BLANKS) for field in line.split(",")]
        if fields == [""]:
            continue
        if header_allowed and fields == ["id", "x", "y"]:
            header_allowed = False
            continue
        header_allowed = False
        if len(fields) != 3:
            raise LandmarkError(f"line {number}: expected id,x,y")
        if not re.fullmatch(r"\d{1,6}", fields[0], re.ASCII):
            raise LandmarkError(f"line {number}: id is not a whole number")
        landmark = int(fields[0])
        if landmark not in LANDMARK_IDS:
            raise LandmarkError(f"line {number}: there is no landmark {landmark}")
        if landmark in line_of:
            raise LandmarkError(
                f"line {number}: landmark {landmark} already appears in line {line_of[landmark]}"
            )
        for name, field in zip("xy", fields[1:]):
            if not _NUMBER.fullmatch(field):
                raise LandmarkError(f"line {number}: {name} is not a number")
            if not _is_finite_float(float(field)):
                raise LandmarkError(f"line {number}: {name} is too large")
        line_of[landmark] = number
        found[landmark] = (float(fields[1]), float(fields[2]))
    return _checked(found)


def _from_mapping(landmarks: Mapping[int, Any]) -> dict[int, tuple[float, float]]:
    found: dict[int, tuple[float, float]] = {}
    for number, place in landmarks.items():
        if number not in LANDMARK_IDS:
            raise LandmarkError(f"there is no landmark {number!r}")
        try:
            x, y = place
            found[int(number)] = (float(x), float(y))
        except (TypeError, ValueError):
            raise LandmarkError(f"landmark {number} is not a pair of numbers: {place!r}") from None
    return _checked(found)


def _from_array(points: NDArray[Any]) -> dict[int, tuple[float, float]]:
    names: dict[tuple[int, ...], tuple[int, ...]] = {
        (len(LANDMARK_IDS), 2): LANDMARK_IDS,
        (len(REQUIRED_IDS), 2): REQUIRED_IDS,
    }
    ids = names.get(points.shape)
    if ids is None:
        raise LandmarkError(
            f"landmarks as an array must have the shape (29, 2) or (25, 2), not {points.shape}: rows in the "
            "order of zomu.LANDMARK_IDS or zomu.REQUIRED_IDS; for 68, 468 or 478 points use "
            "zomu.landmark_layouts"
        )
    if points.dtype.kind not in "fiu":
        raise LandmarkError(f"landmarks must be numbers, not {points.dtype}")
    return _checked({number: (float(x), float(y)) for number, (x, y) in zip(ids, points)})


def _checked(found: dict[int, tuple[float, float]]) -> dict[int, tuple[float, float]]:
    missing = [number for number in REQUIRED_IDS if number not in found]
    if len(missing) == len(REQUIRED_IDS):
        raise LandmarkError("holds no landmarks")
    if len(missing) > 1:
        raise LandmarkError(f"{len(missing)} landmarks are missing, the first is {missing[0]}")
    if missing:
        raise LandmarkError(f"landmark {missing[0]} is missing")
    for number, place in found.items():
        if not all(map(_is_finite_float, place)):
            raise LandmarkError(f"landmark {number} has a coordinate that is not finite")
    return found


def _is_finite_float(value: float) -> bool:
    """Whether the value is finite after rounding to 32 bits."""
    return math.isfinite(as_float32(value))


def as_float32(value: float) -> float:
    """The value as the library gets it."""
    return ctypes.c_float(value).value
