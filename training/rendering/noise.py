"""Random fields for stains, strands and backgrounds."""

import cv2
import numpy as np


def smooth(rng: np.random.Generator, shape: tuple[int, int], cells: int) -> np.ndarray:
    """A field of about unit spread with `cells` hills from top to bottom."""
    rows = max(2, cells)
    cols = max(2, round(cells * shape[1] / shape[0]))
    coarse = rng.standard_normal((rows, cols)).astype(np.float32)
    return cv2.resize(coarse, (shape[1], shape[0]), interpolation=cv2.INTER_CUBIC)


def strands(rng: np.random.Generator, shape: tuple[int, int], length: int,
            slope: float) -> np.ndarray:
    """Noise stretched into strands: mostly downwards, `slope` pixels sideways for each pixel down."""
    field = rng.standard_normal(shape).astype(np.float32)
    field = cv2.blur(field, (1, length))
    shear = np.array([[1, slope, -slope * shape[0] / 2], [0, 1, 0]], np.float32)
    field = cv2.warpAffine(field, shear, (shape[1], shape[0]), borderMode=cv2.BORDER_REFLECT)
    return field * np.float32(np.sqrt(length))
