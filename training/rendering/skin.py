"""Skin: colours from its pigments, bumps, shine."""

import cv2
import numpy as np

from rendering.brows import draw_brows
from rendering.hair import beard_area
from rendering.person import Person
from rendering.sheet import both, COLUMNS, curve, DOWN, draw_dot, empty, field, ROWS, spot, to_sheet

# How strongly melanin and blood take red, green and blue out of the light, and what is left without them.
BARE = np.array([0.82, 0.66, 0.58])
MELANIN = np.array([1.75, 2.45, 3.0])
BLOOD = np.array([0.10, 0.48, 0.42])

# Bumps in grey levels of the sheet, around its middle.
FLAT, RELIEF = 128, 50


def skin_colour(melanin, blood) -> np.ndarray:
    """The shares of red, green and blue light that skin sends back."""
    melanin, blood = np.asarray(melanin)[..., None], np.asarray(blood)[..., None]
    return BARE * np.exp(-melanin * MELANIN - blood * BLOOD)


def _spots(rng: np.random.Generator, count: int, spread: tuple[float, float], middle: float,
           radii: tuple[float, float], strengths: tuple[float, float]) -> np.ndarray:
    """Dots around (0, middle), in centimetres; radii in pixels of the sheet."""
    dots = empty()
    for _ in range(count):
        x, y = rng.normal(0, spread[0]), rng.normal(middle, spread[1])
        one = empty() if count < 8 else dots
        draw_dot(one, x, y, 8.7, rng.uniform(*radii), float(rng.uniform(*strengths)))
        if one is not dots:
            dots += one
    return cv2.GaussianBlur(dots, (0, 0), 0.7)


def _pigments(person: Person, rng: np.random.Generator) -> tuple[np.ndarray, np.ndarray]:
    """Melanin and blood: uneven, redder on nose, cheeks and chin, darker around the eyes, with marks."""
    melanin = person.melanin * (1 + 0.07 * field(rng, 5) + 0.05 * field(rng, 14) + 0.04 * field(rng, 60))
    blood = person.blood + 0.08 * field(rng, 6) + 0.07 * field(rng, 25) + 0.05 * field(rng, 90)
    red_places = (0.7 * both(4.6, 0.4, 9.0, 2.2, 1.8) + 0.9 * spot(0, -0.3, 12.4, 1.4, 1.2)
                  + 0.4 * spot(0, 6.5, 10.3, 1.6, 1.0))
    blood += rng.uniform(0, 0.45) * red_places * (1 + 0.4 * field(rng, 30))
    tired = rng.uniform(0, 0.3) + 0.15 * person.age
    blood += 0.6 * tired * both(3.0, -2.3, 9.6, 1.5, 0.7)
    melanin += (0.12 + 0.3 * tired) * person.melanin ** 0.5 * both(3.1, -3.4, 9.6, 1.7, 1.1)
    if person.freckles:
        melanin += person.freckles * _spots(rng, int(500 * person.freckles), (4.0, 2.2), -0.8,
                                            (0.5, 1.5), (0.1, 0.4))
    melanin += _spots(rng, rng.poisson(2.5 + 3 * person.age), (3.5, 5.0), -1.0, (0.8, 2.4), (0.2, 0.9))
    if rng.random() < 0.2:
        blood += _spots(rng, int(rng.integers(8, 40)), (4.5, 5.0), 1.0, (1.0, 2.5), (0.1, 0.5))
    return melanin, blood


def _wrinkles(person: Person, rng: np.random.Generator) -> np.ndarray:
    """How deep lines are: from the nose to the mouth in everybody, the others with age."""
    depth, old = empty(), person.age

    def stroke(points, width, deep):
        at = np.array([to_sheet(*point) for point in curve(points)])
        layer = empty()
        cv2.polylines(layer, [np.rint(at * 16).astype(np.int32)], False, max(deep, 0.0),
                      max(1, round(width * DOWN)), cv2.LINE_AA, 4)
        depth[:] += cv2.GaussianBlur(layer, (0, 0), 1.1 + width)

    for side in (-1, 1):
        stroke([(side * 1.9, 0.0, 10.3), (side * 2.9, 1.7, 9.9), (side * 3.5, 3.6, 8.9)], 0.15,
               0.1 + 0.9 * old + rng.normal(0, 0.12))
        for k in range(3 if old > 0.3 else 0):
            stroke([(side * 4.9, -3.5 + 0.12 * k, 8.5), (side * 5.6, -3.9 + 0.65 * k, 7.7),
                    (side * 6.3, -4.4 + 1.15 * k, 6.9)], 0.07, (old - 0.25) * rng.uniform(0.3, 1.1))
        if old > 0.25:
            stroke([(side * 1.9, -2.7, 9.6), (side * 3.1, -2.1, 9.6), (side * 4.4, -2.6, 9.1)], 0.1,
                   old * rng.uniform(0.3, 1))
            stroke([(side * 2.9, 4.2, 9.5), (side * 3.1, 5.3, 9.0), (side * 3.1, 6.2, 8.6)], 0.12,
                   (old - 0.2) * rng.uniform(0, 1.2))
            stroke([(side * 0.45, -6.2, 10.6), (side * 0.5, -5.4, 10.8), (side * 0.6, -4.9, 10.8)], 0.08,
                   (old - 0.2) * rng.uniform(0, 1.1))
    for k in range(int(rng.integers(1, 5)) if old > 0.25 else 0):
        y, bend = -7.2 - 0.95 * k + rng.normal(0, 0.15), rng.normal(0, 0.25)
        stroke([(-3.7, y + bend, 9.3), (0, y, 10.3), (3.7, y + bend, 9.3)], 0.1,
               (old - 0.15) * rng.uniform(0.3, 1.0))
    return depth


def _shaven_beard(person: Person, rng: np.random.Generator) -> np.ndarray:
    """The share of skin that stubble hides; a shaven beard shows through, too."""
    grain = 0.8 + 0.3 * field(rng, 190)
    share = empty()
    if person.male > 0.5:
        dark_hair = float(np.clip(1 - person.hair.mean() * 4, 0.1, 1))
        share += beard_area("full") * rng.uniform(0.05, 0.3) * dark_hair
    if person.beard == "stubble":
        share += beard_area("stubble") * 0.45 * person.beard_strength
    return np.clip(share * grain, 0, 0.8)


def _finish(person: Person, rng: np.random.Generator) -> np.ndarray:
    """Shine of forehead, nose, cheeks and chin; roughness; translucence."""
    oily = (0.5 + 0.9 * spot(0, -8.5, 10, 4, 2.5) + 0.9 * spot(0, -1.5, 12, 1.4, 2.5)
            + 0.5 * both(4.8, -0.8, 9, 1.8, 1.4) + 0.4 * spot(0, 6.6, 10, 1.5, 1))
    finish = np.empty((ROWS, COLUMNS, 3), np.uint8)
    finish[..., 0] = np.clip(0.3 * person.shine * oily * (1 + 0.2 * field(rng, 20)), 0, 1) * 255
    finish[..., 1] = np.clip(0.6 + 0.1 * field(rng, 10), 0, 1) * 255
    finish[..., 2] = 190
    return finish


def _covered(colour: np.ndarray, share: np.ndarray, other: np.ndarray) -> np.ndarray:
    return colour + share[..., None] * (other - colour)


def paint_skin(person: Person, rng: np.random.Generator) -> tuple[np.ndarray, np.ndarray]:
    """The sheet of colours, as square roots of reflected shares, with bumps; and the skin's finish."""
    melanin, blood = _pigments(person, rng)
    wrinkles = _wrinkles(person, rng)
    colour = skin_colour(np.clip(melanin + 0.09 * wrinkles, 0.02, 1.6),
                         np.clip(blood + 0.08 * wrinkles, 0, 2))
    colour = _covered(colour, _shaven_beard(person, rng), 0.35 * colour.mean() + 0.52 * person.hair)
    brows = empty()
    draw_brows(rng, person, brows)
    brows = np.clip(cv2.GaussianBlur(brows, (0, 0), 0.6), 0, 1)
    colour = _covered(colour, brows, np.clip(0.5 * person.hair, 0.004, 0.3))
    height = 0.10 * field(rng, 120) + 0.12 * field(rng, 190) + 0.10 * field(rng, 40) - wrinkles
    paint = np.empty((ROWS, COLUMNS, 4), np.uint8)
    paint[..., :3] = np.clip(np.sqrt(colour) * 255, 0, 255)
    paint[..., 3] = np.clip(FLAT + RELIEF * height, 0, 255)
    return paint, _finish(person, rng)
