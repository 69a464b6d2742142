"""The sheet that is wrapped around a head, with what is painted on it."""

from functools import lru_cache

import cv2
import numpy as np

from rendering.head_mesh import AXIS, SHEET_BOTTOM, SHEET_TOP

ROWS, COLUMNS = 384, 768
DOWN = ROWS / (SHEET_BOTTOM - SHEET_TOP)     # pixels for each centimetre
AROUND = COLUMNS / 360                       # pixels for each degree

ANGLES = ((np.arange(COLUMNS) + 0.5) / COLUMNS - 0.5) * 360
HEIGHTS = (np.arange(ROWS) + 0.5) / DOWN + SHEET_TOP


def to_sheet(x, y, z) -> tuple[float, float]:
    """Column and row of a place, in pixels."""
    angle = np.degrees(np.arctan2(x, np.asarray(z) - AXIS))
    return (angle / 360 + 0.5) * COLUMNS - 0.5, (np.asarray(y) - SHEET_TOP) * DOWN - 0.5


def field(rng: np.random.Generator, cells: int) -> np.ndarray:
    """Smooth noise of about unit spread with so many hills from top to bottom."""
    coarse = rng.standard_normal((cells, round(1.6 * cells))).astype(np.float32)
    return cv2.resize(coarse, (COLUMNS, ROWS), interpolation=cv2.INTER_CUBIC)


@lru_cache(maxsize=None)
def spot(x: float, y: float, z: float, across: float, down: float) -> np.ndarray:
    """A soft spot about a place of the head, with its radii in centimetres."""
    column, row = to_sheet(x, y, z)
    reach = np.hypot(x, z - AXIS)
    wide = np.degrees(across / reach) * AROUND
    columns = np.exp(-np.square((np.arange(COLUMNS) - column) / wide))
    rows = np.exp(-np.square((np.arange(ROWS) - row) / (down * DOWN)))
    return (rows[:, None] * columns[None]).astype(np.float32)


def both(x: float, y: float, z: float, across: float, down: float) -> np.ndarray:
    """The same on both sides."""
    return spot(x, y, z, across, down) + spot(-x, y, z, across, down)


def curve(points, count=40) -> np.ndarray:
    """A smooth line through a few points."""
    points = np.asarray(points, np.float64)
    at = np.linspace(0, len(points) - 1, count)
    fit = np.polyfit(np.arange(len(points)), points, min(3, len(points) - 1))
    return sum(c[None] * at[:, None] ** (len(fit) - 1 - i) for i, c in enumerate(fit))


def draw_dot(sheet: np.ndarray, x: float, y: float, z: float, radius: float, value: float) -> None:
    """Raises the sheet to a value in a disc; the radius in pixels."""
    at = [round(float(v) * 16) for v in to_sheet(x, y, z)]
    cv2.circle(sheet, at, int(radius * 16), value, -1, cv2.LINE_AA, 4)


def empty() -> np.ndarray:
    return np.zeros((ROWS, COLUMNS), np.float32)
