"""The expression of a face in one photograph: how its landmarks move, its gaze, its apparent age."""

from dataclasses import dataclass

import numpy as np

from rendering.landmarks import ROW


@dataclass
class Expression:
    """Amounts from 0 to 1 unless said otherwise."""
    smile: float        # -0.5 to 1.2
    open_mouth: float
    brows: float        # -1 frown to 1 raised
    squint: float       # -0.4 to 0.8
    gaze: np.ndarray    # x and y, fractions of the iris's range
    age: float          # how old the person looks here
    make_up: float
    beard: float        # how much of the person's beard shows, 0 to 1.25


def draw_expression(rng: np.random.Generator, age: float) -> Expression:
    return Expression(
        smile=float(np.clip(rng.normal(0.25, 0.45), -0.5, 1.2)),
        open_mouth=float(np.clip(rng.normal(0.0, 0.45), 0, 1.1)),
        brows=float(np.clip(rng.normal(0, 0.45), -1, 1)),
        squint=float(np.clip(rng.normal(0.1, 0.3), -0.4, 0.8)),
        gaze=rng.normal(0, 0.3, 2).clip(-0.8, 0.8),
        age=float(np.clip(age + rng.normal(0, 0.13), 0, 1)),
        make_up=float(rng.random() < 0.25) * rng.uniform(0.2, 1),
        beard=float(np.clip(rng.normal(0.95, 0.2), 0, 1.25)) if rng.random() > 0.1 else 0.1,
    )


def moved_points(points: np.ndarray, expression: Expression) -> np.ndarray:
    """The 29 x 3 points, moved by the expression."""
    moved = points.copy()

    def shift(name, dx, dy):
        moved[ROW[name], 0] += dx
        moved[ROW[name], 1] += dy

    wide = 0.45 * expression.smile
    for corner, sign in ((12, -1), (13, 1)):
        shift(corner, sign * wide, -0.45 * expression.smile + 0.25 * expression.open_mouth)
    shift(10, 0, -0.12 * expression.smile - 0.1 * expression.open_mouth)
    shift(11, 0, 1.15 * expression.open_mouth - 0.05 * expression.smile)
    shift(45, 0, 0.5 * expression.open_mouth)
    shift(314, 0, 0.75 * expression.open_mouth)
    for place in (2, 5, 300, 302, 3, 4):
        shift(place, 0, -0.4 * expression.brows)
    if expression.brows < 0:
        for inner, sign in ((3, -1), (4, 1)):
            shift(inner, sign * 0.2 * expression.brows, 0.1)
    for lid in (222, 226):
        shift(lid, 0, -0.16 * expression.squint - 0.08 * max(0.0, expression.smile))
    for eye in (0, 1):
        shift(eye, 0.18 * expression.gaze[0], 0.1 * expression.gaze[1])
    return moved
