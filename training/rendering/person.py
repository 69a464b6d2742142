"""A person's identity: the measures and colours that are the same in all photographs."""

from dataclasses import dataclass

import numpy as np

from rendering import landmarks
from rendering.landmarks import ROW

# Skin from light to dark, hair and eyes, in blue, green, red.
SKINS = np.array([(200, 216, 242), (178, 199, 235), (150, 180, 225), (125, 158, 210),
                  (98, 132, 188), (75, 105, 158), (55, 80, 125), (42, 58, 92)], np.float32)
HAIRS = np.array([(22, 20, 22), (28, 34, 44), (38, 54, 78), (60, 84, 118), (96, 132, 168),
                  (128, 172, 205), (36, 62, 128), (150, 152, 156), (205, 205, 208)], np.float32)
EYES = np.array([(28, 42, 66), (40, 62, 96), (70, 92, 104), (92, 120, 96), (150, 128, 96),
                 (176, 150, 118), (140, 134, 128)], np.float32)

BEARDS = ("none", "stubble", "moustache", "goatee", "full", "sideburns")
HAIR_STYLES = ("short", "short", "medium", "long", "long", "receding", "bald", "fringe", "curly")


@dataclass
class Mark:
    """A mole, a freckle or a scar: at (x, y) in model units."""
    x: float
    y: float
    radius: float
    strength: float
    is_scar: bool = False
    angle: float = 0.0


@dataclass
class Person:
    """Everything that determines a person's face. Lengths in model units."""
    points: np.ndarray          # 29 x 2, x and y of the landmarks without expression
    width: float                # half the width of the head at the temples
    jaw: float                  # the same at the angle of the jaw
    chin: float                 # the same at the chin
    top: float                  # y of the top of the skull
    roundness: float            # exponent of the head's cross section
    depth: float                # of the whole head, 1 is average
    nose_height: float
    nose_width: float
    bridge: float
    hump: float
    socket: float
    cheek: float
    lip_volume: float
    chin_volume: float
    eye_open: float
    lid_fold: float
    iris: float
    brow_weight: float
    brow_taper: float
    upper_lip: float
    lower_lip: float
    cupid: float
    ears: float
    skin: np.ndarray
    stain_seed: int
    stain: float
    blush: float
    lip_colour: np.ndarray
    eye_colour: np.ndarray
    hair_colour: np.ndarray
    brow_colour: np.ndarray
    hair_style: str
    hair_volume: float
    hairline: float
    hair_parting: float
    temple: float
    strand_seed: int
    strand_length: int
    strand_slope: float
    beard: str
    beard_strength: float
    age: float
    marks: list[Mark]


def _symmetric(points: np.ndarray, names: tuple[int, int], dx: float, dy: float) -> None:
    """Moves a left point and its partner; dx outwards."""
    left, right = names
    points[ROW[left]] += (-dx, dy)
    points[ROW[right]] += (dx, dy)


def _places(rng: np.random.Generator) -> np.ndarray:
    """The landmarks of a person: measures that move several points together, then small moves of each."""
    points = landmarks.average_points()[:, :2].copy()
    draw = rng.standard_normal

    def pairs(pair_list, dx, dy):
        for pair in pair_list:
            _symmetric(points, pair, dx, dy)

    def middle(names, dy):
        for name in names:
            points[ROW[name], 1] += dy

    eyes = [(0, 1), (221, 227), (222, 226), (223, 225)]
    brows = [(2, 5), (3, 4), (300, 302)]
    spacing, eye_height = 0.22 * draw(), 0.22 * draw()
    pairs(eyes, spacing, eye_height)
    pairs(brows, 0.6 * spacing, 0.7 * eye_height)
    size = 0.13 * draw()
    _symmetric(points, (223, 225), size, 0)
    _symmetric(points, (221, 227), -size, 0)
    slant = 0.17 * draw()
    _symmetric(points, (223, 225), 0, slant)
    _symmetric(points, (221, 227), 0, -0.5 * slant)
    pairs([(222, 226)], 0, 0.07 * draw())
    pairs(brows, 0, 0.25 * draw())
    _symmetric(points, (2, 5), 0.25 * draw(), 0.3 * draw())
    _symmetric(points, (3, 4), 0.2 * draw(), 0.14 * draw())
    _symmetric(points, (300, 302), 0.3 * draw(), 0.2 * draw())
    middle((6,), 0.2 * draw() + 0.5 * eye_height)
    nose = 0.4 * draw()
    middle((9, 200), nose)
    middle((9,), 0.17 * draw())
    pairs([(44, 43)], 0.2 * draw(), nose + 0.08 * draw())
    mouth = 0.65 * nose + 0.28 * draw()
    middle((10, 11, 45), mouth)
    pairs([(12, 13)], 0.28 * draw(), mouth + 0.1 * draw())
    middle((10,), 0.16 * draw())
    middle((11,), 0.19 * draw())
    middle((314,), 0.45 * draw() + 0.6 * mouth)
    points += 0.05 * rng.standard_normal(points.shape)
    return points


def _marks(rng: np.random.Generator) -> list[Mark]:
    marks = []
    for _ in range(rng.poisson(2.2)):
        marks.append(Mark(rng.uniform(-5.5, 5.5), rng.uniform(-8, 6), rng.uniform(0.09, 0.24),
                          rng.uniform(0.3, 0.75)))
    if rng.random() < 0.22:
        strength = rng.uniform(0.1, 0.3)
        for _ in range(int(rng.integers(20, 70))):
            x = rng.normal(0, 3.0)
            marks.append(Mark(x, rng.normal(-0.8, 1.4), rng.uniform(0.07, 0.13), strength))
    if rng.random() < 0.15:
        marks.append(Mark(rng.uniform(-5, 5), rng.uniform(-8, 6), rng.uniform(0.5, 1.3),
                          rng.uniform(0.3, 0.6), True, rng.uniform(0, np.pi)))
    return marks


def _skin(rng: np.random.Generator) -> np.ndarray:
    place = rng.uniform(0, len(SKINS) - 1.001)
    lower = int(place)
    tone = SKINS[lower] + (place - lower) * (SKINS[lower + 1] - SKINS[lower])
    return np.clip(tone * (1 + 0.04 * rng.standard_normal(3)), 25, 250).astype(np.float32)


def _hair_colour(rng: np.random.Generator, skin: np.ndarray, age: float) -> np.ndarray:
    # Dark skin mostly goes with dark hair; old people have grey hair more often.
    if rng.random() < max(0.03, (age - 0.45) * 1.3):
        colour = HAIRS[rng.integers(7, 9)]
    elif skin.mean() < 130:
        colour = HAIRS[rng.integers(0, 3)]
    else:
        colour = HAIRS[rng.integers(0, 7)]
    return np.clip(colour * rng.uniform(0.8, 1.2) + rng.normal(0, 5, 3), 8, 235).astype(np.float32)


def draw_person(seed: int, number: int) -> Person:
    """Person `number` of the seed, independent of all others."""
    rng = np.random.default_rng([seed, number])
    draw = rng.standard_normal
    age = float(rng.beta(1.6, 2.2))
    skin = _skin(rng)
    hair = _hair_colour(rng, skin, age)
    style = HAIR_STYLES[rng.integers(len(HAIR_STYLES))]
    bearded = rng.random() < 0.4 and style not in ("long", "fringe")
    width = 7.55 + 0.42 * draw()
    lips = skin * np.array([0.72, 0.66, 0.88], np.float32) + rng.normal(0, 9, 3)
    return Person(
        points=_places(rng),
        width=width,
        jaw=np.clip(0.90 + 0.045 * draw(), 0.78, 1.0) * width,
        chin=np.clip(0.50 + 0.08 * draw(), 0.3, 0.72) * width,
        top=-12.4 + 0.7 * draw(),
        roundness=np.clip(2.4 + 0.25 * draw(), 1.9, 3.2),
        depth=1 + 0.05 * draw(),
        nose_height=np.clip(2.4 + 0.45 * draw(), 1.2, 3.6),
        nose_width=np.clip(1 + 0.14 * draw(), 0.7, 1.4),
        bridge=np.clip(0.75 + 0.3 * draw(), 0.1, 1.6),
        hump=np.clip(0.25 * draw(), -0.5, 0.6),
        socket=np.clip(0.8 + 0.3 * draw(), 0.1, 1.6),
        cheek=np.clip(0.45 + 0.3 * draw(), -0.2, 1.3),
        lip_volume=np.clip(0.5 + 0.2 * draw(), 0.1, 1.1),
        chin_volume=np.clip(0.5 + 0.35 * draw(), -0.2, 1.5),
        eye_open=np.clip(1 + 0.2 * draw(), 0.55, 1.5),
        lid_fold=float(np.clip(0.5 + 0.3 * draw(), 0, 1)),
        iris=np.clip(0.66 + 0.05 * draw(), 0.52, 0.8),
        brow_weight=np.clip(0.42 + 0.14 * draw(), 0.14, 0.85),
        brow_taper=rng.uniform(0.2, 0.9),
        upper_lip=np.clip(1 + 0.3 * draw(), 0.4, 1.8),
        lower_lip=np.clip(1 + 0.25 * draw(), 0.5, 1.7),
        cupid=rng.uniform(0, 0.3),
        ears=np.clip(1 + 0.2 * draw(), 0.5, 1.6),
        skin=skin,
        stain_seed=int(rng.integers(1 << 31)),
        stain=rng.uniform(1.5, 6),
        blush=rng.uniform(0, 0.18),
        lip_colour=np.clip(lips, 20, 235).astype(np.float32),
        eye_colour=EYES[rng.integers(len(EYES) if skin.mean() > 140 else 3)]
        * np.float32(rng.uniform(0.8, 1.2)),
        hair_colour=hair,
        brow_colour=np.clip(hair * rng.uniform(0.6, 0.95), 5, 200).astype(np.float32),
        hair_style=style,
        hair_volume=rng.uniform(0.35, 1.6) * (1.5 if style in ("curly", "long") else 1),
        hairline=-8.3 + 0.55 * draw(),
        hair_parting=rng.uniform(-4, 4),
        temple=rng.uniform(0, 1.4),
        strand_seed=int(rng.integers(1 << 31)),
        strand_length=int(rng.integers(3, 7) if style == "curly" else rng.integers(12, 30)),
        strand_slope=rng.uniform(-0.5, 0.5),
        beard=BEARDS[rng.integers(1, len(BEARDS))] if bearded else "none",
        beard_strength=rng.uniform(0.35, 0.95),
        age=age,
        marks=_marks(rng),
    )
