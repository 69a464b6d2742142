#!/usr/bin/env python3
"""Draws three photographs with the landmarks that the finder finds, and what `zomu verify` says of both pairs.

    draw_verify.py OUT.png [PHOTO PHOTO PHOTO]    default: two of one rendered person, and one of another

It needs the package zomu with a model in place, and Pillow.
"""

from __future__ import annotations

import sys
from pathlib import Path
from typing import TypeAlias

from PIL import Image, ImageDraw, ImageFont

import zomu
from zomu import finders

PEOPLE = Path(__file__).resolve().parents[2] / "examples/data/people/photos"
PHOTOS = [PEOPLE / name for name in ("90009/01.jpg", "90009/03.jpg", "90007/03.jpg")]

# Pixels: a photograph, the gap between two, the room below for the answers.
SIDE, GAP, ROOM = 260, 20, 74
RADIUS = 2.5
POINT, EDGE = (255, 220, 0), (0, 0, 0)
INK, SAME, DIFFERENT = (36, 41, 47), (26, 127, 55), (207, 34, 46)

Point: TypeAlias = tuple[float, float]


def landmarks_of(path: Path) -> list[Point]:
    (face,) = finders.find_faces(zomu.read_picture(path), finders.finder_named())
    return list(face.landmarks.values())


def tile(path: Path) -> Image.Image:
    """The photograph with its landmarks, with sides of SIDE."""
    with Image.open(path) as photo:
        scale = SIDE / max(photo.size)
        picture = photo.convert("RGB").resize((SIDE, SIDE), Image.Resampling.LANCZOS)
    pen = ImageDraw.Draw(picture)
    for x, y in landmarks_of(path):
        x, y = scale * (x + 0.5) - 0.5, scale * (y + 0.5) - 0.5
        pen.ellipse((x - RADIUS, y - RADIUS, x + RADIUS, y + RADIUS), fill=POINT, outline=EDGE)
    return picture


def draw_answer(pen: ImageDraw.ImageDraw, left: float, right: float, answer: zomu.Verification) -> None:
    """A bracket from one photograph to the next, and the answer under it."""
    colour = SAME if answer.same else DIFFERENT
    top = SIDE + 8
    pen.line([(left, top), (left, top + 10), (right, top + 10), (right, top)], fill=colour, width=2)
    words = "the same person" if answer.same else "different people"
    relation = "at least" if answer.same else "below"
    for offset, text, size, ink in (
        (28, words, 17, colour),
        (50, f"score {answer.score:.2f}, {relation} {answer.threshold:.2f}", 14, INK),
    ):
        font = ImageFont.truetype("DejaVuSans.ttf", size)
        pen.text(((left + right) / 2, top + offset), text, font=font, fill=ink, anchor="mm")


def main() -> None:
    if len(sys.argv) not in (2, 5):
        sys.exit(__doc__)
    photos = [Path(name) for name in sys.argv[2:]] or PHOTOS
    sheet = Image.new("RGB", (3 * SIDE + 2 * GAP, SIDE + ROOM), "white")
    pen = ImageDraw.Draw(sheet)
    for number, photo in enumerate(photos):
        sheet.paste(tile(photo), (number * (SIDE + GAP), 0))
    for number, (first, second) in enumerate(zip(photos, photos[1:])):
        middle = number * (SIDE + GAP) + SIDE / 2
        draw_answer(pen, middle + 8, middle + SIDE + GAP - 8, zomu.verify(first, second))
    sheet.quantize(256, method=Image.Quantize.MEDIANCUT).save(sys.argv[1], optimize=True)


if __name__ == "__main__":
    main()
