"""The part of the painted face that is the same in all photographs: skin, marks and hair."""

import cv2
import numpy as np

from rendering import noise
from rendering.head_shape import HEIGHT, WIDTH, XS, YS, HeadShape, to_sheet
from rendering.landmarks import ROW
from rendering.person import Person

SHAPE = (HEIGHT, WIDTH)


def _soft_spot(x: float, y: float, across: float, down: float) -> np.ndarray:
    columns = np.exp(-np.square((XS - x) / across))
    return columns[None] * np.exp(-np.square((YS - y) / down))[:, None]


def paint_skin(person: Person) -> np.ndarray:
    """The bare skin, HEIGHT x WIDTH x 3 floats."""
    rng = np.random.default_rng(person.stain_seed)
    skin = np.broadcast_to(person.skin, (*SHAPE, 3)).copy()
    shade = person.stain * (0.8 * noise.smooth(rng, SHAPE, 6) + 0.5 * noise.smooth(rng, SHAPE, 18))
    skin += shade[..., None] * np.array([0.9, 1.0, 0.8], np.float32)
    skin[..., 2] += person.stain * 0.6 * noise.smooth(rng, SHAPE, 9)

    red = np.zeros(SHAPE, np.float32)
    for eye, sign in ((0, -1), (1, 1)):
        x, y = person.points[ROW[eye]]
        red += _soft_spot(x + 0.9 * sign, y + 3.6, 1.9, 1.4)
        dark = _soft_spot(x, y + 0.9, 1.5, 0.6) * (0.06 + 0.12 * person.age)
        skin *= 1 - dark[..., None]
    red += 0.8 * _soft_spot(0, person.points[ROW[9], 1] + 0.2, 1.2, 0.8)
    skin *= 1 - (person.blush * red)[..., None] * np.array([1.0, 0.9, 0.15], np.float32)

    for mark in person.marks:
        if mark.is_scar:
            along = np.array([np.cos(mark.angle), np.sin(mark.angle)]) * mark.radius
            ends = to_sheet(np.array([(mark.x, mark.y) - along, (mark.x, mark.y) + along]))
            mask = np.zeros(SHAPE, np.uint8)
            cv2.polylines(mask, [np.rint(ends * 16).astype(np.int32)], False, 255, 1,
                          cv2.LINE_AA, 4)
            weight = cv2.GaussianBlur(mask, (0, 0), 0.8).astype(np.float32) / 255
            skin += (weight * 70 * mark.strength)[..., None]
        else:
            spot = mark.strength * _soft_spot(mark.x, mark.y, mark.radius, mark.radius)
            skin *= 1 - spot[..., None] * np.array([0.95, 0.85, 0.65], np.float32)
    return skin


def _hair_cover(person: Person, shape: HeadShape) -> np.ndarray:
    """0 to 1: where hair hides the face sheet."""
    rng = np.random.default_rng(person.strand_seed)
    style = person.hair_style
    share = np.abs(XS) / person.width
    # The lowest row of hair for each column, from the middle of the brow to the sides.
    line = person.hairline + 0.9 * np.maximum(0, share - 0.35) ** 2 * 6
    line = line - person.temple * np.exp(-np.square((share - 0.55) / 0.16))
    ragged = 0.25
    if style == "receding":
        line = line - 2.6 * np.exp(-np.square(share / 0.62))
    elif style == "fringe":
        line = line + 1.9 + 0.25 * np.sin((XS - person.hair_parting) * 1.3)
        ragged = 0.5
    elif style in ("medium", "long"):
        parted = np.abs(XS - person.hair_parting)
        line = line + 0.25 * np.minimum(parted, 5) - 0.9
        ragged = 0.35
    elif style == "curly":
        ragged = 0.6
    side = {"short": -2.0, "receding": -1.6, "bald": -2.6, "medium": 1.0, "long": 9.0,
            "fringe": 2.0, "curly": -0.5}[style]
    reach = {"long": 1.5, "medium": 0.9, "fringe": 0.8, "curly": 0.7}.get(style, 0.45)
    if style == "bald":
        cover = np.zeros(SHAPE, np.float32)
    else:
        edge = line[None] + ragged * noise.smooth(rng, SHAPE, 40)
        cover = np.clip((edge - YS[:, None]) * 2.2, 0, 1)
    inner = np.maximum(shape.edge - reach * (1 + 0.12 * noise.smooth(rng, (HEIGHT, 2), 14)[:, 0]),
                       0.5)
    beside = np.clip((np.abs(XS)[None] - inner[:, None]) * 2.2, 0, 1)
    beside *= np.clip((side - YS) * 1.2, 0, 1)[:, None]
    if style == "bald":
        beside *= np.clip((YS + 6.5) * 1.2, 0, 1)[:, None] * 0.8
    return np.maximum(cover, beside).astype(np.float32)


def paint_hair(person: Person, shape: HeadShape) -> tuple[np.ndarray, np.ndarray]:
    """Colour of the hair and how much of it covers each place."""
    rng = np.random.default_rng(person.strand_seed + 1)
    cover = _hair_cover(person, shape)
    fine = noise.strands(rng, SHAPE, person.strand_length, person.strand_slope)
    coarse = noise.strands(rng, SHAPE, 2 * person.strand_length, person.strand_slope)
    coarse = cv2.blur(coarse, (5, 1)) * 1.6
    light = 1 + 0.11 * fine + 0.10 * coarse
    if person.hair_style == "curly":
        light += 0.12 * noise.smooth(rng, SHAPE, 45)
    if person.hair_style in ("medium", "long"):
        light *= 1 - 0.35 * np.exp(-np.square((XS - person.hair_parting) / 0.25))[None] * (
            YS < person.hairline)[:, None]
    colour = person.hair_colour * np.clip(light, 0.35, 1.8)[..., None]
    return colour.astype(np.float32), cover


def beard_cover(person: Person) -> np.ndarray:
    """0 to 1: how dense the beard is at each place."""
    if person.beard == "none":
        return np.zeros(SHAPE, np.float32)
    rng = np.random.default_rng(person.strand_seed + 2)
    at = person.points
    mouth, nose, chin = at[ROW[45], 1], at[ROW[200], 1], at[ROW[314], 1]
    x = np.abs(XS)[None]
    y = YS[:, None]
    half = at[ROW[13], 0]
    moustache = _soft_spot(0, 0.5 * (nose + at[ROW[10], 1]) + 0.1, 2.2, 0.55)
    chin_patch = _soft_spot(0, chin - 0.2, 2.0, 1.6)
    jaw = np.clip((y - (mouth - 2.2 + 0.7 * (5.2 - np.minimum(x, 5.2)))) * 0.8, 0, 1)
    cheek = np.clip((x - 4.6) * 0.9, 0, 1) * np.clip((y + 1.5) * 0.6, 0, 1)
    full = np.clip(np.maximum.reduce([moustache * 1.2, jaw, cheek, chin_patch]), 0, 1)
    full = full * (1 - np.exp(-np.square(x / half) - np.square((y - mouth) / 0.75)) * 0.9)
    around = np.clip(1.15 * moustache + 1.1 * chin_patch, 0, 1)
    around = np.maximum(around, np.clip(_soft_spot(half + 0.4, mouth + 1.2, 0.45, 1.9)
                                        + _soft_spot(-half - 0.4, mouth + 1.2, 0.45, 1.9), 0, 1))
    cover = {"stubble": 0.45 * full, "moustache": 1.15 * moustache, "goatee": around,
             "full": full, "sideburns": cheek}[person.beard]
    texture = noise.strands(rng, SHAPE, 4, 0.0)
    cover = cover * person.beard_strength * (0.85 + 0.2 * texture)
    return np.clip(cover, 0, 0.96).astype(np.float32)
