#!/usr/bin/python3
"""Prints landmark_cases.csv: landmarks of the sample faces, and what hosts make of them by mistake.

    tests/check/landmark_cases.py > tests/check/landmark_cases.csv

Each line is a case: its name, the size of the picture, the fault that ZomuCheckLandmarks finds, and the
landmarks in their order. The faces are those of examples/data: the portrait, and rendered people.
"""

import cmath
import math
import pathlib
import random

DATA = pathlib.Path(__file__).parents[2] / "examples/data"
SIDES = (240, 241, 315, 316)
PAIRS = ((0, 1), (2, 5), (3, 4), (12, 13), (44, 43), (221, 227), (222, 226), (223, 225), (240, 241),
         (300, 302), (315, 316))


def read(stem):
    lines = (DATA / f"{stem}.csv").read_text().split()[1:]
    return [(int(name), float(x), float(y)) for name, x, y in (line.split(",") for line in lines)]


def moved(face, change):
    """The face with `change` of each place, a complex number."""
    places = [(name, change(complex(x, y))) for name, x, y in face]
    return [(name, place.real, place.imag) for name, place in places]


def exchanged(face, pairs):
    other = dict(pairs) | {right: left for left, right in pairs}
    return [(other.get(name, name), x, y) for name, x, y in face]


def one(face, name, x=None, y=None, new=None):
    return [(n if n != name or new is None else new, x if n == name and x is not None else a,
             y if n == name and y is not None else b) for n, a, b in face]


def in_order_of_68(face):
    """The first of the 68 points of other detectors, by index: the jaw, the brows, the bridge of the nose."""
    at = {name: complex(x, y) for name, x, y in face}

    def along(names, count):
        steps = [(len(names) - 1) * i / (count - 1) for i in range(count)]
        pairs = [(min(int(step), len(names) - 2), step) for step in steps]
        return [at[names[k]] + (step - k) * (at[names[k + 1]] - at[names[k]]) for k, step in pairs]

    places = along((240, 315, 314, 316, 241), 17) + along((2, 300, 3), 5) + along((4, 302, 5), 5)
    places += along((6, 9), 4)
    return [(name, place.real, place.imag) for (name, _, _), place in zip(face, places)]


def cases():
    portrait = read("portrait")
    people = {name: read(f"people/photos/{name}") for name in
              ("90000/00", "90001/01", "90004/02", "90007/03", "90011/01")}
    size, side = (300, 300), (208, 208)
    centre = complex(145, 122)
    yield "the portrait", size, "good", portrait
    yield "without the sides of the head", size, "good", [p for p in portrait if p[0] not in SIDES]
    yield "without one side of the head", size, "good", [p for p in portrait if p[0] != 316]
    yield "in another order", size, "good", portrait[::-1]
    for name, face in people.items():
        yield f"person {name}", side, "good", face
    for angle in (37, 90, 180, 270):
        turn = cmath.exp(1j * math.radians(angle))
        yield (f"turned by {angle} degrees", (600, 600), "good",
               moved(portrait, lambda z: (z - centre) * turn + complex(300, 300)))
    yield ("mirrored with its ids", size, "good",
           exchanged(moved(portrait, lambda z: complex(299 - z.real, z.imag)), PAIRS))
    yield "far from the origin", (20000, 20000), "good", moved(portrait, lambda z: z + complex(16000, 16000))
    yield "eyes 8.2 pixels apart", (60, 60), "good", moved(portrait, lambda z: z / 5)
    yield "counted from 1", size, "good", moved(portrait, lambda z: z + 1 + 1j)
    yield "nine points cut off", size, "good", moved(portrait, lambda z: z - 132.6)

    yield "nothing", size, "record", []
    yield "24 landmarks", size, "record", portrait[:24]
    yield "30 landmarks", size, "record", portrait + [(316, 1.0, 1.0)]
    yield "an unknown id", size, "record", one(portrait, 9, new=8)
    yield "a negative id", size, "record", one(portrait, 9, new=-1)
    yield "an id far off", size, "record", one(portrait, 9, new=318)
    yield "one id twice", size, "record", one(portrait, 9, new=10)
    yield "the tip of the nose missing", size, "record", [p for p in portrait if p[0] != 9]
    for value in ("nan", "inf", "-inf"):
        yield f"one x is {value}", size, "not-finite", one(portrait, 6, x=float(value))
        yield f"one y is {value}", size, "not-finite", one(portrait, 315, y=float(value))
    yield "all are nan", size, "not-finite", moved(portrait, lambda z: complex(math.nan, math.nan))
    yield "all zero", size, "no-fit", moved(portrait, lambda z: 0j)
    yield "all at one place", size, "no-fit", moved(portrait, lambda z: complex(150, 120))
    yield "all at 1e30", size, "no-fit", moved(portrait, lambda z: complex(1e30, 1e30))
    yield "on a row", size, "no-fit", moved(portrait, lambda z: complex(z.real, 120))
    yield "on a column", size, "no-fit", moved(portrait, lambda z: complex(150, z.imag))
    yield "on a slope", size, "no-fit", moved(portrait, lambda z: complex(z.real, 0.3 * z.real + 20))
    yield "y is x", size, "no-fit", moved(portrait, lambda z: complex(z.real, z.real))
    yield "one x is 1e30", size, "no-fit", one(portrait, 314, x=1e30)
    yield "one y is -3e38", size, "no-fit", one(portrait, 6, y=-3e38)
    yield "fractions", size, "too-small", moved(portrait, lambda z: complex(z.real / 300, z.imag / 300))
    yield "per cent", size, "too-small", moved(people["90000/00"], lambda z: z / 208 * 30)
    yield "eyes 7.5 pixels apart", (60, 60), "too-small", moved(portrait, lambda z: z / 5.5)
    for way in (1000, -1000, 1000j, -1000j):
        name = {1000: "right", -1000: "left", 1000j: "below", -1000j: "above"}[way]
        yield f"off the picture, {name}", size, "outside", moved(portrait, lambda z: z + way)
    yield "of a larger copy", size, "outside", moved(portrait, lambda z: 4 * z)
    yield "ten points cut off", size, "outside", moved(portrait, lambda z: z - 133.6)
    yield "a picture of no size", (0, 0), "outside", portrait
    yield "a picture of negative size", (-300, -300), "outside", portrait
    yield "y negative", size, "outside", moved(portrait, lambda z: z.conjugate())
    for pair in PAIRS:
        yield f"{pair[0]} and {pair[1]} exchanged", size, "pairs-exchanged", exchanged(portrait, [pair])
    yield "two pairs exchanged", side, "pairs-exchanged", exchanged(people["90004/02"], [(12, 13), (44, 43)])
    yield "y from below", size, "upside-down", moved(portrait, lambda z: complex(z.real, 299 - z.imag))
    yield ("y from below in 90007/03", side, "upside-down",
           moved(people["90007/03"], lambda z: complex(z.real, 207 - z.imag)))
    yield "all pairs exchanged", size, "sides-exchanged", exchanged(portrait, PAIRS)
    yield "mirrored without its ids", size, "sides-exchanged", moved(portrait, lambda z: complex(299 - z.real, z.imag))
    yield "x and y exchanged", size, "sides-exchanged", moved(portrait, lambda z: complex(z.imag, z.real))
    for shift in (1, 2, 28):
        places = portrait[shift:] + portrait[:shift]
        yield (f"shifted by {shift}", size, "not-a-face",
               [(name, x, y) for (name, _, _), (_, x, y) in zip(portrait, places)])
    places = random.Random(1).sample(portrait, 29)
    yield "shuffled", size, "not-a-face", [(name, x, y) for (name, _, _), (_, x, y) in zip(portrait, places)]
    yield "the order of 68 points", size, "not-a-face", in_order_of_68(portrait)
    yield "one point at the origin", size, "not-a-face", one(portrait, 314, 0.0, 0.0)
    yield "one point far off", size, "not-a-face", one(portrait, 314, x=1e4)
    yield "stretched", (900, 300), "not-a-face", moved(portrait, lambda z: complex(3 * z.real, z.imag))


def main():
    print("name;width;height;fault;id x y,...")
    for name, (width, height), fault, face in cases():
        print(name, width, height, fault, ",".join(f"{i} {x:.7g} {y:.7g}" for i, x, y in face), sep=";")


if __name__ == "__main__":
    main()
