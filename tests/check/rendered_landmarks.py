#!/usr/bin/python3
"""Prints good landmarks of rendered photographs, as a table like landmark_cases.csv.

    rendered_landmarks.py PEOPLE PHOTOS SEED > faces.csv

Persons, expressions and views are drawn as training/render_people draws them, and so are the landmarks, with
an error of 3 % of the eye distance in each coordinate; the pixels are left out, which takes most of the time.
"""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parents[2] / "training"))

import numpy as np  # noqa: E402

from rendering.camera import Conditions  # noqa: E402
from rendering.expression import draw_expression, moved  # noqa: E402
from rendering.head_landmarks import HeadLandmarks  # noqa: E402
from rendering.landmarks import EYE_DISTANCE, IDS  # noqa: E402
from rendering.person import draw_person  # noqa: E402
from rendering.view import SIDE, View  # noqa: E402

ERROR = 0.03


def main() -> None:
    people, photos, seed = map(int, sys.argv[1:])
    print("name;width;height;fault;id x y,...")
    for number in range(people):
        person = draw_person(seed, number)
        head = HeadLandmarks(person)
        for photo in range(photos):
            rng = np.random.default_rng([seed, number, photo + 1])
            view = View(rng, Conditions())
            places = view.place(head.of(moved(person.places, draw_expression(rng))))
            places += rng.normal(0, ERROR * EYE_DISTANCE * view.scale, places.shape)
            face = ",".join(f"{name} {x:.3f} {y:.3f}" for name, (x, y) in zip(IDS, places))
            print(f"{number:05}/{photo:02}", SIDE, SIDE, "good", face, sep=";")


if __name__ == "__main__":
    main()
