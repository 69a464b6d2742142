"""Brows: where they are, and their hair."""

import cv2
import numpy as np

from rendering.person import Person
from rendering.sheet import curve, to_sheet


def brow_line(person: Person, side: int) -> np.ndarray:
    """Places along the middle of a brow, from its inner end; `side` is -1 for the left of the picture."""
    lift, arch = person.brow_height, person.brow_arch
    points = [(1.5, -5.25 + lift, 10.4), (2.7, -5.6 + lift - 0.3 * arch, 10.2),
              (4.1, -5.65 + lift - 0.5 * arch, 9.5), (5.75 + person.brow_length, -4.75 + lift, 7.6)]
    return curve(points) * (side, 1, 1)


def draw_brows(rng: np.random.Generator, person: Person, cover: np.ndarray) -> None:
    """Draws hair by hair on a sheet of shares: steep near the nose, flat and sparse at the other end."""
    for side in (-1, 1):
        line = brow_line(person, side)
        for _ in range(int(260 + 380 * person.brow_weight)):
            t = rng.beta(1.1, 1.2)
            k = int(t * (len(line) - 1))
            thick = person.brow_weight * (1.15 - 0.75 * max(0, t - 0.55) / 0.45) * 0.55
            x, y, z = line[k]
            y += rng.uniform(-1, 1) * thick
            length = rng.uniform(0.25, 0.55)
            slope = -0.9 + 1.5 * t + rng.normal(0, 0.2)
            a = to_sheet(x, y, z)
            b = to_sheet(x + side * length * np.cos(slope), y + length * np.sin(slope), z - 0.15)
            cv2.line(cover, [round(float(v) * 16) for v in a], [round(float(v) * 16) for v in b],
                     float(rng.uniform(0.5, 0.95)), 1, cv2.LINE_AA, 4)
