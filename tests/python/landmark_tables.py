"""The table of landmarks that C, Python and the editor share, and random mistakes in its form."""

from __future__ import annotations

import itertools
import math
import random
from pathlib import Path

import zomu
from zomu.landmark_check import PARTNERS, Entry

PROJECT = Path(__file__).resolve().parents[2]
TABLE = PROJECT / "tests/check/landmark_cases.csv"


def cases(table: Path) -> list[tuple[str, int, int, str, list[Entry]]]:
    rows = []
    for line in table.read_text().splitlines()[1:]:
        name, width, height, fault, entries = line.split(";")
        points = [entry.split() for entry in entries.split(",") if entry]
        rows.append((name, int(width), int(height), fault, [(int(i), float(x), float(y)) for i, x, y in points]))
    return rows


def _mistaken(face: dict[int, tuple[float, float]], dice: random.Random) -> list[Entry]:
    """A face with up to three mistakes of hosts."""
    places = {number: complex(x, y) for number, (x, y) in face.items()}
    for _ in range(dice.randrange(4)):
        size = 10 ** dice.uniform(-3, 4)
        angle, shift = dice.uniform(0, 7), complex(dice.gauss(0, size), dice.gauss(0, size))
        turn = complex(math.cos(angle), math.sin(angle))
        whole = [
            lambda z: z * turn,
            lambda z: z * size,
            lambda z: z + shift,
            lambda z: z.conjugate() + 300j,
            lambda z: complex(z.imag, z.real),
            lambda z: z + complex(dice.gauss(0, 5), dice.gauss(0, 5)),
        ]
        change = dice.randrange(9)
        if change < len(whole):
            places = {number: whole[change](z) for number, z in places.items()}
        elif change == 6:
            places[dice.choice(list(places))] += shift
        else:
            for left, right in dice.sample(PARTNERS, dice.randrange(1, 4)):
                places[left], places[right] = places[right], places[left]
    return [(number, z.real, z.imag) for number, z in places.items()]


def random_table(count: int, seed: int) -> str:
    """The sample faces with mistakes; no line names its fault."""
    dice = random.Random(seed)
    data = PROJECT / "examples/data"
    faces = [zomu.read_landmarks(path) for path in (data / "portrait.csv", *sorted(data.glob("people/photos/*/*.csv")))]
    lines = ["name;width;height;fault;id x y,..."]
    for number, face in itertools.islice(enumerate(itertools.cycle(faces)), count):
        entries = ",".join(f"{i} {x:.9g} {y:.9g}" for i, x, y in _mistaken(face, dice))
        size = round(10 ** dice.uniform(2, 4.5))
        lines.append(f"{number};{size};{dice.choice((300, size))};;{entries}")
    return "\n".join(lines) + "\n"
