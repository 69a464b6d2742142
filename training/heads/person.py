"""A person's identity: the weights of targets, colours, hair."""

import re
from dataclasses import dataclass
from functools import lru_cache

import numpy as np

from heads.mesh import head_mesh

PAIRS = (("decr", "incr"), ("down", "up"), ("in", "out"), ("backward", "forward"),
         ("concave", "convex"), ("compress", "uncompress"), ("l", "r"))

# Where a head is in front of its body, and ears moved forwards, tell nobody apart.
LEFT_OUT = ("head/head-trans", "neck/neck-trans", "neck/measure", "head/head-age")

# How far features go: slider ends are caricatures.
SPREADS = {"asym": 0.16, "cheek": 0.28, "chin": 0.28, "ears": 0.32, "eyebrows": 0.3, "eyes": 0.24,
           "forehead": 0.28, "head": 0.2, "mouth": 0.26, "neck": 0.2, "nose": 0.28}

STYLES = ("shaved", "short", "short", "short", "medium", "medium", "fringe", "long", "long", "curly",
          "receding", "bald")


@dataclass(frozen=True)
class Feature:
    """Targets that one measure moves: for values below and above zero, on the left and the right."""
    folder: str
    low: tuple[str, ...]
    high: tuple[str, ...]


@lru_cache(maxsize=1)
def features() -> tuple[Feature, ...]:
    titles = [title for title in head_mesh().rows
              if title.split("/")[0] in SPREADS and not title.startswith(LEFT_OUT)]
    taken, found = set(), []

    def both_sides(title):
        folder, name = title.split("/")
        if name.startswith("r-"):
            return ()
        return (title, f"{folder}/r-{name[2:]}") if name.startswith("l-") else (title,)

    for title in titles:
        if title in taken or not both_sides(title):
            continue
        low, high = both_sides(title), ()
        for a, b in PAIRS:
            if re.search(f"-{a}$", title):
                other = re.sub(f"-{a}$", f"-{b}", title)
                if other in head_mesh().rows:
                    high = both_sides(other)
                break
            if re.search(f"-{b}$", title) and re.sub(f"-{b}$", f"-{a}", title) in head_mesh().rows:
                low = ()
                break
        if low:
            found.append(Feature(title.split("/")[0], low, high))
            taken.update(low + high)
    return tuple(found)


@dataclass
class Person:
    seed: int
    number: int
    male: float
    descent: np.ndarray     # African, Asian, European, sum 1
    age: float              # 0 young to 1 old
    places: np.ndarray      # of all vertices, without expression
    melanin: float
    blood: float
    iris: np.ndarray
    hair: np.ndarray        # linear colour
    style: str
    hairline: float
    temples: float
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


def _shape(rng, male, descent, age) -> np.ndarray:
    mesh = head_mesh()
    places = mesh.places.copy()
    sexes = (("female", 1 - male), ("male", male))
    years = (("young", 1 - age), ("old", age))
    for race, share in zip(("african", "asian", "caucasian"), descent):
        for sex, part in sexes:
            for year, amount in years:
                weight = share * part * amount
                if weight > 0.01:
                    mesh.add(places, f"macrodetails/{race}-{sex}-{year}", weight)
    muscle, fat = (np.clip(rng.normal(0, 0.4, 2), -1, 1))

    def three(value, name):
        return ((f"min{name}", max(-value, 0)), (f"average{name}", 1 - abs(value)),
                (f"max{name}", max(value, 0)))

    for sex, part in sexes:
        for year, amount in years:
            for muscles, m in three(muscle, "muscle"):
                for weights, w in three(fat, "weight"):
                    title = f"macrodetails/universal-{sex}-{year}-{muscles}-{weights}"
                    weight = part * amount * m * w
                    if weight > 0.01 and title in mesh.rows:
                        mesh.add(places, title, weight)
    # Features that go together in one family of faces, then each of its own.
    for feature in features():
        spread = SPREADS[feature.folder]
        value = rng.normal(0, spread)
        if not feature.high:
            value = abs(value) * 0.8
        for side in range(len(feature.low)):
            own = float(np.clip(value + rng.normal(0, 0.07) * (len(feature.low) > 1), -1, 1))
            if own < 0 and feature.high:
                mesh.add(places, feature.low[side], -own)
            elif feature.high:
                mesh.add(places, feature.high[side], own)
            else:
                mesh.add(places, feature.low[side], max(own, 0.0))
    return mesh.centred(places)


HAIRS = np.array([(0.008, 0.007, 0.007), (0.016, 0.011, 0.008), (0.035, 0.02, 0.012),
                  (0.075, 0.042, 0.022), (0.16, 0.095, 0.05), (0.30, 0.20, 0.10),
                  (0.13, 0.045, 0.02), (0.28, 0.27, 0.26), (0.55, 0.54, 0.53)])
IRISES = np.array([(0.03, 0.014, 0.007), (0.07, 0.033, 0.014), (0.12, 0.075, 0.03),
                   (0.09, 0.10, 0.05), (0.09, 0.14, 0.17), (0.12, 0.19, 0.27), (0.15, 0.18, 0.19)])


def draw_person(seed: int, number: int) -> Person:
    """Person `number` of the seed, independent of all others."""
    rng = np.random.default_rng([seed, number, 3])
    male = float(np.clip((rng.random() < 0.55) + rng.normal(0, 0.1), 0, 1))
    descent = rng.dirichlet((0.4, 0.4, 0.6))
    age = float(rng.beta(1.1, 2.0))
    places = _shape(rng, male, descent, age)
    melanin = float(np.clip(descent @ (0.75, 0.24, 0.13) + rng.normal(0, 0.09), 0.04, 1.0))
    dark = melanin > 0.35
    if rng.random() < max(0.02, (age - 0.35) * 1.4):
        hair = HAIRS[rng.integers(7, 9)]
    else:
        hair = HAIRS[rng.integers(0, 2 if dark or descent[1] > 0.5 else 7)]
    if male > 0.5:
        style = STYLES[rng.integers(0, 7)] if rng.random() < 0.75 - 0.3 * age else \
            rng.choice(("receding", "bald", "curly", "medium"))
    else:
        style = rng.choice(("long", "long", "long", "medium", "fringe", "curly", "short"))
    bearded = male > 0.5 and rng.random() < 0.35
    return Person(
        seed=seed, number=number, male=male, descent=descent, age=age, places=places,
        melanin=melanin, blood=float(np.clip(rng.normal(0.5, 0.2), 0.05, 1.1)),
        iris=IRISES[rng.integers(0, 2 if dark or descent[1] > 0.5 else len(IRISES))]
        * rng.uniform(0.7, 1.3),
        hair=np.clip(hair * rng.uniform(0.75, 1.3), 0.005, 0.7),
        style=str(style), hairline=float(rng.normal(0, 0.7)), temples=float(rng.uniform(0, 1)),
        brow_height=float(rng.normal(0, 0.28)),
        brow_weight=float(np.clip(rng.normal(0.38 + 0.12 * male, 0.14), 0.12, 0.95)),
        brow_arch=float(rng.normal(0, 0.25)), brow_length=float(rng.normal(0, 0.3)),
        lip_tint=rng.normal(0, 0.1, 3), beard=str(rng.choice(("stubble", "stubble", "moustache", "goatee",
                                                              "full")))
        if bearded else "none",
        beard_strength=float(rng.uniform(0.3, 1.0)),
        freckles=float(rng.random() < 0.2) * float(rng.uniform(0.3, 1)) * (not dark),
        bumps=float(rng.uniform(0.5, 1.6)), lashes=float(rng.uniform(0.3, 0.9)),
        shine=float(rng.uniform(0.4, 1.4)), glasses=bool(rng.random() < 0.25))
