"""Lamps and surroundings."""

from dataclasses import dataclass

import numpy as np


@dataclass
class Light:
    """What shines on a head, in the head's own space."""
    ambient: np.ndarray     # 9 x 3, spherical harmonics without their constants
    directions: np.ndarray  # 3 x 3, towards each lamp; the first one casts shadows
    colours: np.ndarray     # 3 x 3
    softness: float         # of the shadow's edge


@dataclass(frozen=True)
class Scene:
    """Ranges for one kind of place: strength of the key lamp and of the surroundings."""
    share: float
    key: tuple[float, float]
    sky: tuple[float, float]
    softness: tuple[float, float] = (0.8, 2.5)


SCENES = {
    "soft": Scene(0.18, (0.2, 0.6), (0.35, 0.6)),
    "flash": Scene(0.26, (0.6, 1.0), (0.08, 0.3), (0.3, 0.8)),
    "ceiling": Scene(0.18, (0.4, 0.9), (0.15, 0.4)),
    "sun": Scene(0.14, (0.9, 1.4), (0.15, 0.4), (0.3, 0.8)),
    "window": Scene(0.12, (0.6, 1.1), (0.1, 0.35)),
    "mixed": Scene(0.12, (0.4, 0.9), (0.2, 0.5)),
}

# Shadows are looked up in a picture of so many pixels.
SHADOW_SIDE = 384


def _tint(rng: np.random.Generator, spread: float) -> np.ndarray:
    """Warm or cold, a little green or magenta."""
    warm = rng.normal(0, spread) * 0.7
    return np.exp(np.array([warm, rng.normal(0, spread * 0.2), -warm]))


def _towards(side: float, height: float, behind: bool = False) -> np.ndarray:
    z = np.cos(side) * np.cos(height)
    direction = np.array([np.sin(side) * np.cos(height), -np.sin(height), -abs(z) if behind else z])
    return direction / np.linalg.norm(direction)


def _key_direction(rng: np.random.Generator, kind: str) -> np.ndarray:
    side, height = rng.normal(0, 0.7), rng.normal(0.45, 0.4)
    if kind == "flash":
        side, height = rng.normal(0, 0.12), rng.normal(0.1, 0.12)
    elif kind == "ceiling":
        height = rng.uniform(0.6, 1.25)
    elif kind == "window":
        side, height = rng.choice((-1, 1)) * rng.uniform(0.6, 1.5), rng.normal(0.1, 0.25)
    return _towards(side, height)


def draw_light(rng: np.random.Generator, rotation: np.ndarray) -> Light:
    """Light that is fixed to the camera, while the head is turned by `rotation`."""
    kind = str(rng.choice(list(SCENES), p=[scene.share for scene in SCENES.values()]))
    scene = SCENES[kind]
    key, sky = rng.uniform(*scene.key), rng.uniform(*scene.sky)
    directions = np.array([_key_direction(rng, kind),
                           _towards(rng.uniform(-1.6, 1.6), rng.normal(0.2, 0.5)),
                           _towards(rng.uniform(-1.2, 1.2), rng.uniform(-0.2, 1.0), behind=True)])
    second = rng.uniform(0, 0.5) if rng.random() < 0.6 else 0.0
    third = rng.uniform(0, 1.2) if rng.random() < 0.4 else 0.0
    colours = np.array([key * _tint(rng, 0.08), key * second * _tint(rng, 0.12), third * _tint(rng, 0.12)])
    ambient = np.zeros((9, 3))
    ambient[0] = sky * _tint(rng, 0.08)
    # More light comes from above than from below; sides and front differ by chance.
    across = sky * rng.normal(0, 0.25) * _tint(rng, 0.1)
    down = -sky * rng.uniform(0.0, 0.6) * _tint(rng, 0.1)
    front = sky * rng.normal(0.1, 0.2) * np.ones(3)
    ambient[3], ambient[1], ambient[2] = rotation.T @ np.stack([across, down, front])
    ambient[4:] = sky * rng.normal(0, 0.06, 5)[:, None]
    return Light(ambient, directions @ rotation, colours,
                 rng.uniform(*scene.softness) / SHADOW_SIDE)
