"""The effects of a camera and of a file format on a picture."""

from dataclasses import dataclass

import cv2
import numpy as np


@dataclass
class Conditions:
    """How difficult the photographs are."""
    yaw: float = 18.0         # spread in degrees, clipped at twice that
    pitch: float = 10.0
    roll: float = 8.0
    occlusion: float = 0.2    # share of photographs with a hand, a scarf or sunglasses
    glasses: float = 0.15
    grey: float = 0.1
    jitter: tuple[float, float] = (1.0, 1.0)  # spread of a landmark, per cent of the eye distance


def expose(picture: np.ndarray, rng: np.random.Generator, conditions: Conditions) -> np.ndarray:
    """Turns floats into the 8 bits of a picture file: colour cast, exposure, blur, noise, size."""
    cast = np.exp(rng.normal(0, 0.06, 3)).astype(np.float32)
    picture = picture * (cast * np.float32(np.exp(rng.normal(0, 0.14))))
    gamma = np.exp(rng.normal(0, 0.14))
    table = (255 * (np.arange(256) / 255) ** gamma).astype(np.uint8)
    picture = cv2.LUT(np.clip(picture, 0, 255).astype(np.uint8), table)
    side = picture.shape[0]
    if rng.random() < 0.35:
        small = round(side * rng.uniform(0.4, 0.85))
        picture = cv2.resize(picture, (small, small), interpolation=cv2.INTER_AREA)
        picture = cv2.resize(picture, (side, side), interpolation=cv2.INTER_LINEAR)
    if rng.random() < 0.25:
        picture = cv2.GaussianBlur(picture, (0, 0), rng.uniform(0.4, 1.2))
    if rng.random() < 0.1:
        length = int(rng.integers(3, 7))
        kernel = np.zeros((length, length), np.float32)
        cv2.line(kernel, (0, int(rng.integers(length))), (length - 1, int(rng.integers(length))), 1.0)
        picture = cv2.filter2D(picture, -1, kernel / kernel.sum())
    if rng.random() < 0.5:
        grain = np.empty(picture.shape, np.int16)
        cv2.setRNGSeed(int(rng.integers(1 << 30)))
        cv2.randn(grain, (0, 0, 0), (float(rng.uniform(0.5, 6)),) * 3)
        picture = np.clip(picture + grain, 0, 255).astype(np.uint8)
    if rng.random() < conditions.grey:
        grey = cv2.cvtColor(picture, cv2.COLOR_BGR2GRAY)
        picture = cv2.cvtColor(grey, cv2.COLOR_GRAY2BGR)
    return picture


def jpeg(picture: np.ndarray, rng: np.random.Generator) -> bytes:
    quality = int(rng.integers(35, 96))
    good, content = cv2.imencode(".jpg", picture, (cv2.IMWRITE_JPEG_QUALITY, quality))
    if not good:
        raise RuntimeError("the picture cannot be encoded")
    return content.tobytes()
