"""A person's identity: the weights of targets, colours, hair."""

from dataclasses import dataclass
from functools import lru_cache

import numpy as np

from rendering.head_mesh import head_mesh

PAIRS = (("decr", "incr"), ("down", "up"), ("in", "out"), ("backward", "forward"),
         ("concave", "convex"), ("compress", "uncompress"), ("l", "r"))

# Where a head is in front of its body, and ears moved forwards, tell nobody apart.
LEFT_OUT = ("head/head-trans", "neck/neck-trans", "neck/measure", "head/head-age")

# How far features go: slider ends are caricatures.
SPREADS = {"asym": 0.16, "cheek": 0.28, "chin": 0.28, "ears": 0.32, "eyebrows": 0.3, "eyes": 0.24,
           "forehead": 0.28, "head": 0.2, "mouth": 0.26, "neck": 0.2, "nose": 0.28}

# MakeHuman's people have large eyes and high brows; these bring them nearer to people. Negative values are
# those of the target that is named.
MEANS = {"eyebrows/eyebrows-trans-down": -0.45, "eyes/l-eye-height1-decr": -0.2, "eyes/l-eye-height2-decr": -0.25,
         "eyes/l-eye-height3-decr": -0.2, "eyes/l-eye-scale-decr": -0.2, "eyes/l-eye-push1-in": -0.2,
         "eyes/l-eye-push2-in": -0.2}


@dataclass(frozen=True)
class Feature:
    """Targets that one measure moves: for values below and above zero, on the left and the right."""
    folder: str
    low: tuple[str, ...]
    high: tuple[str, ...]


@lru_cache(maxsize=1)
def features() -> tuple[Feature, ...]:
    rows = head_mesh().rows
    found = []

    def sides(title):
        folder, name = title.split("/")
        return (title, f"{folder}/r-{name[2:]}") if name.startswith("l-") else (title,)

    for title in rows:
        folder, name = title.split("/")
        if folder not in SPREADS or title.startswith(LEFT_OUT) or name.startswith("r-"):
            continue
        opposites = {f"-{a}": f"-{b}" for a, b in PAIRS}
        end = title[title.rindex("-"):]
        other = title[:-len(end)] + opposites[end] if end in opposites else ""
        is_high = any(end == high and title[:-len(end)] + low in rows for low, high in opposites.items())
        if not is_high:
            found.append(Feature(folder, sides(title), sides(other) if other in rows else ()))
    return tuple(found)


@dataclass
class Person:
    """Lengths in centimetres; colours as reflected shares of red, green and blue."""
    seed: int
    number: int
    male: float             # 0 to 1
    descent: np.ndarray     # African, Asian, European, sum 1
    age: float              # 0 young to 1 old
    places: np.ndarray      # of all vertices, without expression
    melanin: float
    blood: float
    iris: np.ndarray
    hair: np.ndarray
    style: str
    hairline: float
    temples: float
    hair_bottom: float      # where long hair ends
    brow_height: float
    brow_weight: float
    brow_arch: float
    brow_length: float
    lip_tint: np.ndarray
    beard: str
    beard_strength: float
    freckles: float
    bumps: float
    lashes: float
    shine: float
    glasses: bool


def _add_descent(rng: np.random.Generator, places: np.ndarray, male: float, descent: np.ndarray,
                 age: float) -> None:
    """What sex, age, descent, muscles and weight do to a head."""
    mesh = head_mesh()
    muscle, weight = np.clip(rng.normal(0, 0.4, 2), -1, 1)

    def levels(value, name):
        return ((f"min{name}", max(-value, 0)), (f"average{name}", 1 - abs(value)), (f"max{name}", max(value, 0)))

    for sex, part in (("female", 1 - male), ("male", male)):
        for year, share in (("young", 1 - age), ("old", age)):
            for race, portion in zip(("african", "asian", "caucasian"), descent):
                mesh.add(places, f"macrodetails/{race}-{sex}-{year}", portion * part * share)
            for muscles, m in levels(muscle, "muscle"):
                for weights, w in levels(weight, "weight"):
                    title = f"macrodetails/universal-{sex}-{year}-{muscles}-{weights}"
                    if title in mesh.rows:  # all but the average of both, which is the mesh itself
                        mesh.add(places, title, part * share * m * w)


def _shape(rng: np.random.Generator, male: float, descent: np.ndarray, age: float) -> np.ndarray:
    """The places of all vertices: what groups of people share, then each feature by itself."""
    mesh = head_mesh()
    places = mesh.places.copy()
    _add_descent(rng, places, male, descent, age)
    for feature in features():
        value = rng.normal(MEANS.get(feature.low[0], 0), SPREADS[feature.folder])
        if not feature.high:
            value = abs(value) * 0.8
        for side, low in enumerate(feature.low):
            # The two sides of a face differ a little.
            own = float(np.clip(value + rng.normal(0, 0.07) * (len(feature.low) > 1), -1, 1))
            if not feature.high:
                mesh.add(places, low, max(own, 0.0))
            else:
                mesh.add(places, feature.high[side] if own > 0 else low, abs(own))
    return mesh.centred(places)


# Reflected shares of red, green and blue; the last two hair colours are those of age.
HAIRS = np.array([(0.008, 0.007, 0.007), (0.016, 0.011, 0.008), (0.035, 0.02, 0.012),
                  (0.075, 0.042, 0.022), (0.16, 0.095, 0.05), (0.30, 0.20, 0.10),
                  (0.13, 0.045, 0.02), (0.28, 0.27, 0.26), (0.55, 0.54, 0.53)])
GREY, DARK = 7, 2
HAIR_SHARES = (0.14, 0.2, 0.25, 0.18, 0.1, 0.06, 0.07)
IRISES = np.array([(0.03, 0.014, 0.007), (0.07, 0.033, 0.014), (0.12, 0.075, 0.03),
                   (0.09, 0.10, 0.05), (0.09, 0.14, 0.17), (0.12, 0.19, 0.27), (0.15, 0.18, 0.19)])

# Styles by how often they are drawn.
MENS_STYLES = ("shaved", "short", "short", "short", "medium", "medium", "fringe")
OLD_MENS_STYLES = ("receding", "bald", "curly", "medium")
WOMENS_STYLES = ("long", "long", "long", "medium", "fringe", "curly", "short")
BEARDS = ("stubble", "stubble", "moustache", "goatee", "full")

# Average melanin of the three descents.
MELANIN = (0.75, 0.24, 0.13)


def _hair(rng: np.random.Generator, male: float, descent: np.ndarray, age: float, dark: bool) -> tuple[np.ndarray, str]:
    """Colour and style."""
    if rng.random() < max(0.02, (age - 0.35) * 1.4):
        colour = HAIRS[rng.integers(GREY, len(HAIRS))]
    else:
        colour = HAIRS[rng.integers(0, DARK) if dark or descent[1] > 0.5 else
                       rng.choice(GREY, p=HAIR_SHARES)]
    styles = WOMENS_STYLES
    if male > 0.5:
        styles = MENS_STYLES if rng.random() < 0.75 - 0.3 * age else OLD_MENS_STYLES
    return np.clip(colour * rng.uniform(0.75, 1.3), 0.005, 0.7), str(rng.choice(styles))


def draw_person(seed: int, number: int) -> Person:
    """Person `number` of the seed, independent of all others."""
    rng = np.random.default_rng([seed, number])
    male = float(np.clip((rng.random() < 0.55) + rng.normal(0, 0.1), 0, 1))
    descent = rng.dirichlet((0.4, 0.4, 0.6))
    age = float(rng.beta(1.1, 2.0))
    melanin = float(np.clip(descent @ MELANIN + rng.normal(0, 0.09), 0.04, 1.0))
    dark = melanin > 0.35
    hair, style = _hair(rng, male, descent, age, dark)
    bearded = male > 0.5 and rng.random() < 0.35
    return Person(
        seed=seed, number=number, male=male, descent=descent, age=age,
        places=_shape(rng, male, descent, age), melanin=melanin,
        blood=float(np.clip(rng.normal(0.5, 0.2), 0.05, 1.1)),
        iris=IRISES[rng.integers(0, DARK if dark or descent[1] > 0.5 else len(IRISES))] * rng.uniform(0.4, 1.0),
        hair=hair, style=style, hairline=float(rng.normal(0.5, 0.8)), temples=float(rng.uniform(0, 1)),
        hair_bottom=float(rng.uniform(3, 17)), brow_height=float(rng.normal(0.12, 0.25)),
        brow_weight=float(np.clip(rng.normal(0.32 + 0.12 * male, 0.12), 0.1, 0.8)),
        brow_arch=float(rng.normal(0, 0.25)), brow_length=float(rng.normal(0, 0.3)),
        lip_tint=rng.normal(0, 0.1, 3), beard=str(rng.choice(BEARDS)) if bearded else "none",
        beard_strength=float(rng.uniform(0.3, 1.0)),
        freckles=float(rng.uniform(0.3, 1)) if rng.random() < 0.2 and not dark else 0.0,
        bumps=float(rng.uniform(0.5, 1.6)), lashes=float(rng.uniform(0.3, 0.9)),
        shine=float(rng.uniform(0.5, 2.2)), glasses=bool(rng.random() < 0.25))
