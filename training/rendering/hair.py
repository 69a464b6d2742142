"""Hair and beard: where they grow, and how long; and hair that hangs beside the face."""

from dataclasses import dataclass

import cv2
import numpy as np

from rendering.person import Person
from rendering.sheet import ANGLES, COLUMNS, field, HEIGHTS, ROWS

# The longest hair of a shell, in centimetres; as in head.vert.
LONGEST = 6.0

# The edge of the hair on an average head: angles from the middle of the face, and heights.
EDGE_ANGLES = (0, 22, 40, 52, 62, 71, 78, 85, 92, 104, 112, 122, 140, 180)
EDGE_HEIGHTS = (-11.4, -11.2, -10.4, -8.8, -6.0, -3.6, -0.9, -0.7, -4.6, -4.4, -1.0, 3.0, 5.5, 6.5)

HANGING_COLUMNS, HANGING_ROWS = 56, 14


@dataclass(frozen=True)
class Style:
    """Lengths in centimetres; the comb blows ends to the right, down and to the front, by a spread and means."""
    length: tuple[float, float]
    comb: tuple[float, float, float] = (0.0, 0.1, 0.0)
    flat_sides: bool = False


STYLES = {
    "shaved": Style((0.15, 0.15)),
    "short": Style((0.5, 1.6), (0.3, 0.0, -0.2), True),
    "medium": Style((1.6, 3.0), (0.5, 0.8, -0.8), True),
    "long": Style((1.0, 2.2), (0.0, 0.8, -0.5)),
    "fringe": Style((1.2, 2.4), (0.4, 1.2, 0.3)),
    "curly": Style((1.5, 3.8)),
    "receding": Style((0.4, 1.3), flat_sides=True),
    "bald": Style((0.2, 0.7)),
}


@dataclass(frozen=True)
class Hair:
    sheet: np.ndarray                  # rows x columns x 4 bytes: length, density, strands, shade
    comb: tuple[float, float, float]


def beard_area(kind: str) -> np.ndarray:
    """Where a beard of a kind grows, 0 to 1."""
    y, a = HEIGHTS[:, None], np.abs(ANGLES)[None]
    cheek = np.interp(a, (0, 15, 25, 45, 62, 75, 80), (5.1, 4.2, 3.4, 2.6, 0.5, -2.5, 4))
    jaw = (y > cheek) & (y < 9.4) & (a < 79)
    moustache = (y > 1.35) & (y < 2.55) & (a < 16.5) & (y < 2.35 + 0.06 * a)
    corners = (a >= 14.5) & (a < 19) & (y > 1.9) & (y < 6)
    chin = (y > 4.9) & (y < 9) & (a < 18)
    lips = (np.abs(y - 3.3) < 1.35 - 0.06 * a) & (a < 16)
    area = {"moustache": moustache, "goatee": moustache | corners | chin}.get(kind, jaw | moustache | corners)
    return cv2.GaussianBlur((area & ~(lips & ~moustache)).astype(np.float32), (0, 0), 3.0)


def _edge(person: Person, style: str, rng: np.random.Generator) -> np.ndarray:
    """The height of the hair's edge for each column of the sheet."""
    a = np.abs(ANGLES)
    edge = np.interp(a, EDGE_ANGLES, EDGE_HEIGHTS) + person.hairline * np.exp(-np.square(a / 55))
    recede = person.temples * (0.4 + 1.2 * person.age) * person.male
    edge -= 1.8 * recede * np.exp(-np.square((a - 36) / 15))
    if style == "receding":
        edge -= (2.0 + 1.5 * person.temples) * np.exp(-np.square(a / 60))
    elif style == "fringe":
        edge += np.interp(a, (0, 38, 60), (4.2, 3.4, 0.0)) * rng.uniform(0.7, 1.0)
    ragged = rng.standard_normal((1, 60)).astype(np.float32)
    return edge + 0.25 * cv2.resize(ragged, (COLUMNS, 1), interpolation=cv2.INTER_CUBIC)[0]


def _strands(style: str, rng: np.random.Generator) -> np.ndarray:
    if style == "curly":
        return 0.65 + 0.3 * field(rng, int(rng.integers(28, 70))) + 0.1 * field(rng, 150)
    noise = cv2.blur(rng.random((ROWS, COLUMNS)).astype(np.float32), (1, int(rng.integers(7, 25))))
    slope = rng.uniform(-0.8, 0.8)
    shear = np.array([[1, slope, -slope * ROWS / 2], [0, 1, 0]], np.float32)
    noise = cv2.warpAffine(noise, shear, (COLUMNS, ROWS), borderMode=cv2.BORDER_WRAP)
    noise = (noise - noise.mean()) / noise.std()
    return np.clip(0.5 + 0.28 * noise, 0, 1) + (0.0 if style == "shaved" else 0.2)


def paint_hair(person: Person, style: str, rng: np.random.Generator, beard: float) -> Hair:
    """Hair of a style, with so much of the person's beard as there is on this day."""
    kind = STYLES[style]
    y, a = HEIGHTS[:, None], np.abs(ANGLES)[None]
    density = np.clip((_edge(person, style, rng)[None] - y) / 0.7 + 0.5, 0, 1)
    if style == "bald":
        density = density * np.clip((a - 72) / 8, 0, 1) * np.clip((y + 9.5) / 1.5, 0, 1)
    sides = np.clip((-5.0 - y) / 5, 0.25, 1) if kind.flat_sides else 1.0
    length = rng.uniform(*kind.length) * sides * (0.75 + 0.25 * density) * (1 + 0.15 * field(rng, 6))
    length = length * (density > 0.02)
    if style == "shaved":
        density = density * 0.85
    if person.beard not in ("none", "stubble") and beard > 0.05:
        area = beard_area(person.beard)
        beard_length = (0.1 + 0.7 * person.beard_strength ** 2) * min(beard, 1.2)
        length = np.where(area > density, beard_length * (0.5 + 0.5 * area), length)
        density = np.maximum(density, np.minimum(1.2 * area, 1) * (0.5 + 0.5 * person.beard_strength))
    shade = 0.5 + 0.18 * field(rng, 30) + 0.12 * field(rng, 90)
    planes = (length / LONGEST, density, _strands(style, rng), shade)
    sheet = (np.clip(np.dstack(np.broadcast_arrays(*planes)), 0, 1) * 255).astype(np.uint8)
    sideways, down, front = kind.comb
    return Hair(sheet, (float(rng.normal(0, sideways)), down, front))


def hanging_hair(places: np.ndarray, rng: np.random.Generator, bottom: float) -> np.ndarray:
    """Long hair from the temples around the back of a head, rows x columns x 3 places, down to a height."""
    head = places[(places[:, 1] < 0) & (places[:, 1] > -8)]
    wide, back = np.abs(head[:, 0]).max() * 0.93, 1 - head[:, 2].min()
    left, right = np.radians(rng.uniform(62, 84, 2))
    turn = np.linspace(-left, -2 * np.pi + right, HANGING_COLUMNS)
    volume = rng.uniform(0.5, 2.0)
    depth = np.where(np.cos(turn) < 0, back, 9.0) + volume
    reach = 1 / np.hypot(np.sin(turn) / (wide + volume), np.cos(turn) / depth)
    t = np.linspace(0, 1, HANGING_ROWS)[:, None]
    waves = 0.5 * np.sin(turn * rng.uniform(3, 9) + rng.uniform(0, 6) + t * rng.uniform(0, 6)) * t
    narrow = 1 - rng.uniform(0, 0.2) * np.sin(np.pi * np.minimum(1, 1.2 * t))
    radius = (reach[None] + waves) * narrow * np.minimum(1, 0.86 + 0.6 * t)
    y = -9.0 + (bottom + 9.0) * t + rng.normal(0, 0.6, HANGING_COLUMNS)[None] * t
    return np.stack([radius * np.sin(turn), y, 1.0 + radius * np.cos(turn)], -1)
