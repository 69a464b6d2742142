"""Cuts upright squares out of a picture, at any scale and angle.

Places in a picture count from its corner: the first pixel's centre is (0.5, 0.5). Landmarks count from that
centre, and are half a pixel less.
"""

from __future__ import annotations

from typing import Any, NamedTuple

import numpy as np
from numpy.typing import NDArray

Array = NDArray[np.float32]
Places = NDArray[np.float64]


class Square(NamedTuple):
    """A square part of a picture; `angle` is that of its upper edge, in radians, clockwise."""

    x: float  # of its centre
    y: float
    side: float
    angle: float = 0.0

    def axes(self) -> Places:
        """The steps from the left to the right and from the top to the bottom of it, as rows."""
        along = np.array([np.cos(self.angle), np.sin(self.angle)]) * self.side
        return np.array([along, [-along[1], along[0]]])

    def to_picture(self, places: Places) -> Places:
        """Places in the picture for places in the square, where each side runs from 0 to 1."""
        result: Places = (places - 0.5) @ self.axes() + (self.x, self.y)
        return result

    def turned_over(self) -> Square:
        """The same square upside down."""
        return self._replace(angle=self.angle + np.pi)


class Pyramid:
    """A picture and its halves, quarters and so on, made when they are needed."""

    def __init__(self, picture: NDArray[np.uint8]) -> None:
        self._levels = [picture]
        self.height, self.width = picture.shape[:2]

    def cut(self, square: Square, size: int) -> Array:
        """size x size pixels, 0 to 255, interpolated. Beside the picture its edge is repeated."""
        level, factor = self._level_for(square.side / size)
        steps = (np.arange(size) + 0.5) / size - 0.5
        axes = square.axes() / factor
        x, y = square.x / factor - 0.5, square.y / factor - 0.5
        if square.angle == 0.0:
            return _straight(level, x + steps * axes[0, 0], y + steps * axes[1, 1])
        return _turned(
            level,
            x + steps[None, :] * axes[0, 0] + steps[:, None] * axes[1, 0],
            y + steps[None, :] * axes[0, 1] + steps[:, None] * axes[1, 1],
        )

    def _level_for(self, step: float) -> tuple[NDArray[np.uint8], float]:
        """The level of which one pixel is nearest to `step` pixels of the picture, and its factor."""
        wanted = max(0, round(float(np.log2(max(step, 1e-6)))))
        while len(self._levels) <= wanted and min(self._levels[-1].shape[:2]) >= 2:
            self._levels.append(_half(self._levels[-1]))
        chosen = min(wanted, len(self._levels) - 1)
        return self._levels[chosen], 2.0**chosen


def _half(picture: NDArray[np.uint8]) -> NDArray[np.uint8]:
    """Means of 2 x 2 pixels, rounded. An odd row or column at the end is left out."""
    height, width = picture.shape[0] // 2, picture.shape[1] // 2
    rows = np.add(picture[0 : 2 * height : 2], picture[1 : 2 * height : 2], dtype=np.uint16)
    result = np.empty((height, width, 3), np.uint8)
    for channel in range(3):
        sums = rows[:, 0 : 2 * width : 2, channel] + rows[:, 1 : 2 * width : 2, channel]
        result[:, :, channel] = (sums + np.uint16(2)) >> 2
    return result


def _between(places: NDArray[Any], count: int) -> tuple[NDArray[np.intp], NDArray[np.intp], Array]:
    """The pixels on both sides of places on a line of `count` pixels, and the share of the second."""
    clipped = np.clip(places, 0.0, count - 1.0)
    first = clipped.astype(np.intp)
    return first, np.minimum(first + 1, count - 1), (clipped - first).astype(np.float32)


def _straight(picture: NDArray[np.uint8], x: Places, y: Places) -> Array:
    left, right, across = _between(x, picture.shape[1])
    top, bottom, down = _between(y, picture.shape[0])
    first = min(int(left[0]), int(right[0]))
    strip = picture[:, first : int(right[-1]) + 1]
    upper, lower = strip[top].astype(np.float32), strip[bottom].astype(np.float32)
    rows = upper + (lower - upper) * down[:, None, None]
    before, after = rows[:, left - first], rows[:, right - first]
    result: Array = before + (after - before) * across[None, :, None]
    return result


def _turned(picture: NDArray[np.uint8], x: Places, y: Places) -> Array:
    left, right, across = _between(x, picture.shape[1])
    top, bottom, down = _between(y, picture.shape[0])
    across, down = across[..., None], down[..., None]
    flat = picture.reshape(-1, 3)
    width = picture.shape[1]
    corners = [np.take(flat, rows * width + columns, axis=0) for rows in (top, bottom) for columns in (left, right)]
    one, two, three, four = (corner.astype(np.float32) for corner in corners)
    upper = one + (two - one) * across
    lower = three + (four - three) * across
    result: Array = upper + (lower - upper) * down
    return result
