"""What is behind a head: walls, rooms and gardens, out of focus."""

import cv2
import numpy as np


def _smooth(rng: np.random.Generator, side: int, cells: int) -> np.ndarray:
    """Noise of about unit spread with so many hills from one side to the other."""
    coarse = rng.standard_normal((cells, cells)).astype(np.float32)
    return cv2.resize(coarse, (side, side), interpolation=cv2.INTER_CUBIC)


def _shapes(rng: np.random.Generator, picture: np.ndarray) -> None:
    side = len(picture)
    for _ in range(int(rng.integers(0, 5))):
        x, y = (int(v) for v in rng.integers(0, side, 2))
        colour = tuple(float(v) for v in rng.uniform(5, 250, 3))
        if rng.random() < 0.5:
            w, h = (int(v) for v in rng.integers(8, side, 2))
            cv2.rectangle(picture, (x, y), (x + w, y + h), colour, -1)
        else:
            cv2.circle(picture, (x, y), int(rng.integers(5, side // 2)), colour, -1)


def draw_background(rng: np.random.Generator, side: int) -> np.ndarray:
    """side x side x 3 grey levels: a gradient, shapes, stains; most things have dull colours."""
    a, b = rng.uniform(10, 245, (2, 3)).astype(np.float32)
    way = np.linspace(0, 1, side, dtype=np.float32)
    across = rng.uniform()
    mix = (across * way[None] + (1 - across) * way[:, None])[..., None]
    picture = np.ascontiguousarray(a * (1 - mix) + b * mix, np.float32)
    _shapes(rng, picture)
    if rng.random() < 0.6:
        picture = cv2.GaussianBlur(picture, (0, 0), rng.uniform(1, 6))
    for cells, strength in ((4, 25), (9, 14), (25, 9), (70, 6)):
        if rng.random() < 0.5:
            picture += (_smooth(rng, side, cells) * rng.uniform(0, strength))[..., None]
    grey = picture.mean(axis=2, keepdims=True)
    picture = grey + (picture - grey) * np.float32(rng.uniform(0, 0.8) ** 1.5)
    blur = rng.uniform(0, 5)
    return cv2.GaussianBlur(picture, (0, 0), blur) if blur > 0.5 else picture
