"""What a head is painted with: skin, brows, hair and beard on the sheet that is wrapped around it."""

from functools import lru_cache

import cv2
import numpy as np

from heads.mesh import AXIS, SHEET_BOTTOM, SHEET_TOP
from heads.person import Person
from heads.renderer import Surface

ROWS, COLUMNS = 384, 768
DOWN = ROWS / (SHEET_BOTTOM - SHEET_TOP)     # pixels for each centimetre
AROUND = COLUMNS / 360                       # pixels for each degree

ANGLES = ((np.arange(COLUMNS) + 0.5) / COLUMNS - 0.5) * 360
HEIGHTS = (np.arange(ROWS) + 0.5) / DOWN + SHEET_TOP

# The longest hair of a shell, in centimetres.
LONGEST = 6.0


def to_sheet(x, y, z) -> tuple[float, float]:
    """Column and row of a place, in pixels."""
    angle = np.degrees(np.arctan2(x, np.asarray(z) - AXIS))
    return (angle / 360 + 0.5) * COLUMNS - 0.5, (np.asarray(y) - SHEET_TOP) * DOWN - 0.5


def field(rng: np.random.Generator, cells: int, shape=(ROWS, COLUMNS)) -> np.ndarray:
    """Smooth noise of about unit spread with so many hills from top to bottom."""
    across = max(2, round(cells * shape[1] / shape[0] * 0.8))
    coarse = rng.standard_normal((max(2, cells), across)).astype(np.float32)
    return cv2.resize(coarse, (shape[1], shape[0]), interpolation=cv2.INTER_CUBIC)


@lru_cache(maxsize=None)
def spot(x: float, y: float, z: float, across: float, down: float) -> np.ndarray:
    """A soft spot about a place of the head, with its radii in centimetres."""
    column, row = to_sheet(x, y, z)
    reach = np.hypot(x, z - AXIS)
    wide = np.degrees(across / reach) * AROUND
    columns = np.exp(-np.square((np.arange(COLUMNS) - column) / wide))
    rows = np.exp(-np.square((np.arange(ROWS) - row) / (down * DOWN)))
    return (rows[:, None] * columns[None]).astype(np.float32)


def both(x, y, z, across, down) -> np.ndarray:
    return spot(x, y, z, across, down) + spot(-x, y, z, across, down)


def skin_colour(melanin, blood) -> np.ndarray:
    """The share of light that skin sends back: red, green and blue, from amounts of its pigments."""
    melanin, blood = np.asarray(melanin)[..., None], np.asarray(blood)[..., None]
    return (np.array([0.82, 0.66, 0.58]) * np.exp(-melanin * np.array([1.75, 2.45, 3.0])
                                                  - blood * np.array([0.10, 0.48, 0.42])))


def _curve(points, count=40) -> np.ndarray:
    """A smooth line through a few points."""
    points = np.asarray(points, np.float64)
    at = np.linspace(0, len(points) - 1, count)
    fit = np.polyfit(np.arange(len(points)), points, min(3, len(points) - 1))
    return sum(c[None] * at[:, None] ** (len(fit) - 1 - i) for i, c in enumerate(fit))


def brow_line(person: Person, side: int) -> np.ndarray:
    """Points of the middle of a brow, from its inner end, x and y in centimetres (z of the forehead)."""
    lift = person.brow_height
    arch = person.brow_arch
    points = [(1.5, -5.05 + lift, 10.4), (2.7, -5.5 + lift - 0.3 * arch, 10.2),
              (4.1, -5.65 + lift - 0.5 * arch, 9.5), (5.75 + person.brow_length, -4.75 + lift, 7.6)]
    return _curve(points) * (side, 1, 1)


def _draw_brows(rng, person, cover) -> None:
    for side in (-1, 1):
        line = brow_line(person, side)
        for _ in range(int(260 + 380 * person.brow_weight)):
            t = rng.beta(1.1, 1.2)
            k = int(t * (len(line) - 1))
            thick = person.brow_weight * (1.15 - 0.75 * max(0, t - 0.55) / 0.45) * 0.75
            x, y, z = line[k]
            y += rng.uniform(-1, 1) * thick
            length = rng.uniform(0.35, 0.75)
            slope = -0.9 + 1.5 * t + rng.normal(0, 0.2)
            a = to_sheet(x, y, z)
            b = to_sheet(x + side * length * np.cos(slope), y + length * np.sin(slope), z - 0.15)
            cv2.line(cover, [round(float(v) * 16) for v in a], [round(float(v) * 16) for v in b],
                     float(rng.uniform(0.5, 0.95)), 1, cv2.LINE_AA, 4)


def _lines(rng, person, height, dark) -> None:
    """Wrinkles: the older, the deeper."""
    def stroke(points, width, deep):
        at = np.array([to_sheet(*point) for point in _curve(points)])
        layer = np.zeros((ROWS, COLUMNS), np.float32)
        cv2.polylines(layer, [np.rint(at * 16).astype(np.int32)], False, 1.0,
                      max(1, round(width * DOWN)), cv2.LINE_AA, 4)
        layer = cv2.GaussianBlur(layer, (0, 0), 1.1 + width)
        height[:] -= deep * layer
        dark[:] += 0.25 * deep * layer

    old = person.age
    for side in (-1, 1):
        deep = max(0.0, 0.1 + 0.9 * old + rng.normal(0, 0.12))
        stroke([(side * 1.9, 0.0, 10.3), (side * 2.9, 1.7, 9.9), (side * 3.5, 3.6, 8.9)], 0.15, deep)
        if old > 0.3:
            for k in range(3):
                y = -3.9 + 0.65 * k
                stroke([(side * 4.9, -3.5 + 0.12 * k, 8.5), (side * 5.6, y, 7.7), (side * 6.3, y + 0.5 * (k - 1), 6.9)],
                       0.07, (old - 0.25) * rng.uniform(0.3, 1.1))
            stroke([(side * 1.9, -2.7, 9.6), (side * 3.1, -2.1, 9.6), (side * 4.4, -2.6, 9.1)], 0.1,
                   old * rng.uniform(0.3, 1))
            stroke([(side * 2.9, 4.2, 9.5), (side * 3.1, 5.3, 9.0), (side * 3.1, 6.2, 8.6)], 0.12,
                   (old - 0.2) * rng.uniform(0, 1.2))
    if old > 0.25:
        for k in range(int(rng.integers(1, 5))):
            y = -7.2 - 0.95 * k + rng.normal(0, 0.15)
            bend = rng.normal(0, 0.25)
            stroke([(-3.7, y + bend, 9.3), (0, y, 10.3), (3.7, y + bend, 9.3)], 0.1,
                   (old - 0.15) * rng.uniform(0.3, 1.0))
        for side in (-1, 1):
            stroke([(side * 0.45, -6.2, 10.6), (side * 0.5, -5.4, 10.8), (side * 0.6, -4.9, 10.8)], 0.08,
                   (old - 0.2) * rng.uniform(0, 1.1))


def _beard_area(kind: str) -> np.ndarray:
    """Where a beard of a kind grows, 0 to 1."""
    y, a = HEIGHTS[:, None], np.abs(ANGLES)[None]
    mouth = 3.3
    cheek = np.interp(a, (0, 15, 25, 45, 62, 75, 80), (5.1, 4.2, 3.4, 2.6, 0.5, -2.5, 4))
    jaw = (y > cheek) & (y < 9.4) & (a < 79)
    moustache = (y > 1.35) & (y < 2.55) & (a < 16.5) & (y < 2.35 + 0.06 * a)
    sides = (a >= 14.5) & (a < 19) & (y > 1.9) & (y < 6)
    chin = (y > 4.9) & (y < 9) & (a < 18)
    lips = (np.abs(y - mouth) < 1.35 - 0.06 * a) & (a < 16)
    area = {"stubble": jaw | moustache | sides, "full": jaw | moustache | sides, "moustache": moustache,
            "goatee": moustache | sides | chin, "none": jaw & False}[kind] & ~(lips & ~moustache)
    return cv2.GaussianBlur(area.astype(np.float32), (0, 0), 3.0)


def paint_skin(person: Person, rng: np.random.Generator) -> tuple[np.ndarray, np.ndarray]:
    """The sheets of colours and bumps, and of the skin's finish."""
    melanin = np.full((ROWS, COLUMNS), person.melanin, np.float32)
    blood = np.full((ROWS, COLUMNS), person.blood, np.float32)
    melanin *= 1 + 0.07 * field(rng, 5) + 0.05 * field(rng, 14) + 0.04 * field(rng, 60)
    blood += 0.08 * field(rng, 6) + 0.07 * field(rng, 25) + 0.05 * field(rng, 90)
    redness = rng.uniform(0, 0.45)
    blood += redness * (0.7 * both(4.6, 0.4, 9.0, 2.2, 1.8) + 0.9 * spot(0, -0.3, 12.4, 1.4, 1.2)
                        + 0.4 * spot(0, 6.5, 10.3, 1.6, 1.0)) * (1 + 0.4 * field(rng, 30))
    tired = rng.uniform(0, 0.3) + 0.15 * person.age
    blood += 0.6 * tired * both(3.0, -2.3, 9.6, 1.5, 0.7)
    melanin += (0.12 + 0.3 * tired) * person.melanin ** 0.5 * both(3.1, -3.4, 9.6, 1.7, 1.1)
    if person.freckles:
        dots = np.zeros((ROWS, COLUMNS), np.float32)
        for _ in range(int(500 * person.freckles)):
            x, y = rng.normal(0, 4.0), rng.normal(-0.8, 2.2)
            at = to_sheet(x, y, 9.0)
            cv2.circle(dots, [round(float(v) * 16) for v in at], int(rng.uniform(0.5, 1.5) * 16),
                       float(rng.uniform(0.1, 0.4)), -1, cv2.LINE_AA, 4)
        melanin += person.freckles * cv2.GaussianBlur(dots, (0, 0), 0.7)
    for _ in range(rng.poisson(2.5 + 3 * person.age)):
        x, y = rng.uniform(-6, 6), rng.uniform(-10, 8)
        at = to_sheet(x, y, 8.5)
        mole = np.zeros((ROWS, COLUMNS), np.float32)
        cv2.circle(mole, [round(float(v) * 16) for v in at], int(rng.uniform(0.8, 2.4) * 16),
                   float(rng.uniform(0.2, 0.9)), -1, cv2.LINE_AA, 4)
        melanin += mole
    if rng.random() < 0.2:
        for _ in range(int(rng.integers(5, 40))):
            at = to_sheet(rng.normal(0, 4.5), rng.normal(1, 5), 8.5)
            pimple = np.zeros((ROWS, COLUMNS), np.float32)
            cv2.circle(pimple, [round(float(v) * 16) for v in at], int(rng.uniform(1, 2.5) * 16),
                       float(rng.uniform(0.1, 0.5)), -1, cv2.LINE_AA, 4)
            blood += pimple
    height = 0.10 * field(rng, 120) + 0.12 * field(rng, 190) + 0.10 * field(rng, 40)
    dark = np.zeros((ROWS, COLUMNS), np.float32)
    _lines(rng, person, height, dark)
    melanin += dark * 0.35
    blood += dark * 0.3
    colour = skin_colour(np.clip(melanin, 0.02, 1.6), np.clip(blood, 0, 2)).astype(np.float32)
    shadow = np.zeros((ROWS, COLUMNS), np.float32)
    if person.male > 0.5:
        # A shaven beard shows through light skin.
        grain = 0.75 + 0.25 * field(rng, 190)
        darkness = float(np.clip(1 - person.hair.mean() * 4, 0.1, 1))
        shadow = _beard_area("full") * rng.uniform(0.05, 0.3) * darkness * grain
    if person.beard == "stubble":
        shadow = shadow + _beard_area("stubble") * 0.45 * person.beard_strength * (
            0.8 + 0.4 * field(rng, 190))
    tone = np.clip(shadow, 0, 0.8)[..., None]
    colour = colour * (1 - tone) + tone * (0.35 * colour.mean() + 0.65 * person.hair * 0.8)
    brows = np.zeros((ROWS, COLUMNS), np.float32)
    _draw_brows(rng, person, brows)
    brows = np.clip(cv2.GaussianBlur(brows, (0, 0), 0.6), 0, 1)[..., None]
    colour = colour * (1 - brows) + brows * np.clip(person.hair * 0.75, 0.004, 0.4)
    paint = np.empty((ROWS, COLUMNS, 4), np.uint8)
    paint[..., :3] = np.clip(np.sqrt(colour) * 255, 0, 255)
    paint[..., 3] = np.clip(128 + 50 * height, 0, 255)
    oil = np.clip(0.30 * person.shine * (0.5 + 0.9 * spot(0, -8.5, 10, 4, 2.5) + 0.9 * spot(0, -1.5, 12, 1.4, 2.5)
                                         + 0.5 * both(4.8, -0.8, 9, 1.8, 1.4) + 0.4 * spot(0, 6.6, 10, 1.5, 1))
                  * (1 + 0.2 * field(rng, 20)), 0, 1)
    finish = np.empty((ROWS, COLUMNS, 3), np.uint8)
    finish[..., 0] = oil * 255
    finish[..., 1] = np.clip(0.6 + 0.1 * field(rng, 10), 0, 1) * 255
    finish[..., 2] = 190
    return paint, finish


def _strands(rng, stretch: int, slope: float) -> np.ndarray:
    noise = rng.random((ROWS, COLUMNS)).astype(np.float32)
    noise = cv2.blur(noise, (1, stretch)) if stretch > 1 else noise
    shear = np.array([[1, slope, -slope * ROWS / 2], [0, 1, 0]], np.float32)
    noise = cv2.warpAffine(noise, shear, (COLUMNS, ROWS), borderMode=cv2.BORDER_WRAP)
    noise = (noise - noise.mean()) / max(noise.std(), 1e-6)
    return np.clip(0.5 + 0.28 * noise, 0, 1)


def paint_hair(person: Person, style: str, rng: np.random.Generator,
               beard: float) -> tuple[np.ndarray, dict]:
    """The sheet of hair: length, density, strands and shade; and what the style does besides."""
    y, a = HEIGHTS[:, None], np.abs(ANGLES)[None]
    line = np.interp(np.abs(ANGLES), (0, 22, 40, 52, 62, 71, 78, 85, 92, 104, 112, 122, 140, 180),
                     (-11.4, -11.2, -10.4, -8.8, -6.0, -3.6, -0.9, -0.7, -4.6, -4.4, -1.0, 3.0, 5.5, 6.5))
    front = np.exp(-np.square(ANGLES / 55))
    line = line + person.hairline * front
    recede = person.temples * (0.4 + 1.2 * person.age) * person.male
    line = line - 1.8 * recede * np.exp(-np.square((np.abs(ANGLES) - 36) / 15))
    if style == "receding":
        line = line - (2.0 + 1.5 * person.temples) * np.exp(-np.square(ANGLES / 60))
    line = line + 0.25 * cv2.resize(rng.standard_normal((1, 60)).astype(np.float32), (COLUMNS, 1),
                                    interpolation=cv2.INTER_CUBIC)[0]
    if style == "fringe":
        line = line + np.interp(np.abs(ANGLES), (0, 38, 60), (4.2, 3.4, 0.0)) * rng.uniform(0.7, 1.0)
    inside = np.clip((line[None] - y) / 0.7 + 0.5, 0, 1)
    if style == "bald":
        inside = inside * np.clip((a - 72) / 8, 0, 1) * np.clip((y + 9.5) / 1.5, 0, 1)
    length = {"shaved": 0.15, "short": rng.uniform(0.5, 1.6), "medium": rng.uniform(1.6, 3.0),
              "long": rng.uniform(1.0, 2.2), "fringe": rng.uniform(1.2, 2.4),
              "curly": rng.uniform(1.5, 3.8), "receding": rng.uniform(0.4, 1.3),
              "bald": rng.uniform(0.2, 0.7)}[style]
    top = np.clip((-5.0 - y) / 5, 0.25, 1) if style in ("short", "medium", "receding") else 1.0
    grown = length * top * (0.75 + 0.25 * inside) * (1 + 0.15 * field(rng, 6))
    if style == "curly":
        strands = np.clip(0.5 + 0.3 * field(rng, int(rng.integers(28, 70))) + 0.1 * field(rng, 150), 0, 1)
        strands = np.clip(strands + 0.15, 0, 1)
    else:
        strands = _strands(rng, int(rng.integers(7, 25)), rng.uniform(-0.8, 0.8))
        if style != "shaved":
            strands = np.clip(strands + 0.2, 0, 1)
    if style == "shaved":
        inside = inside * 0.85
    density = inside
    hairy = grown * (inside > 0.02)
    if person.beard not in ("none", "stubble") and beard > 0.05:
        area = _beard_area(person.beard)
        long = (0.15 + 1.0 * person.beard_strength ** 2) * beard
        hairy = np.where(area > density, long * (0.5 + 0.5 * area), hairy)
        density = np.maximum(density, np.clip(area * 1.2, 0, 1) * min(1.0, 0.5 + 0.5 * person.beard_strength))
    sheet = np.empty((ROWS, COLUMNS, 4), np.uint8)
    sheet[..., 0] = np.clip(hairy / LONGEST, 0, 1) * 255
    sheet[..., 1] = np.clip(density, 0, 1) * 255
    sheet[..., 2] = strands * 255
    sheet[..., 3] = np.clip(0.5 + 0.18 * field(rng, 30) + 0.12 * field(rng, 90), 0, 1) * 255
    comb = {"medium": (rng.normal(0, 0.5), 0.8, -0.8), "short": (rng.normal(0, 0.3), 0.0, -0.2),
            "fringe": (rng.normal(0, 0.4), 1.2, 0.3), "long": (0.0, 0.8, -0.5)}.get(style, (0, 0.1, 0))
    return sheet, {"comb": comb}


def make_surface(person: Person) -> Surface:
    rng = np.random.default_rng([person.seed, person.number, 4])
    paint, finish = paint_skin(person, rng)
    hair, extra = paint_hair(person, person.style, rng, 1.0)
    return Surface(
        paint=paint, finish=finish, hair=hair, hair_colour=person.hair, iris=person.iris,
        iris_edge=person.iris * 0.2, iris_size=(float(rng.normal(0.435, 0.012)), float(rng.uniform(0.13, 0.22))),
        white=np.array([0.68, 0.65, 0.63]) * rng.uniform(0.8, 1.1), gloss=float(rng.uniform(0.3, 1.5)),
        bumps=0.02 * person.bumps, lash=person.lashes, redness=float(rng.uniform(0.1, 0.8)),
        tooth=float(rng.uniform(0.5, 1.1)), **extra)
