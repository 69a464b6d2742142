"""What is around a face: background, shoulders, the hair behind the head, hands and scarves."""

import cv2
import numpy as np

from rendering import noise
from rendering.person import Person


def _dull(rng: np.random.Generator, colours: np.ndarray) -> np.ndarray:
    """Most things around us do not have pure colours."""
    grey = colours.mean(axis=-1, keepdims=True)
    return grey + (colours - grey) * np.float32(rng.uniform(0.1, 0.9))


def background(rng: np.random.Generator, side: int) -> np.ndarray:
    """side x side x 3 floats: a colour gradient, stains, edges and shapes."""
    a, b = _dull(rng, rng.uniform(10, 245, (2, 3)).astype(np.float32))
    way = np.linspace(0, 1, side, dtype=np.float32)
    across = rng.uniform()
    mix = (across * way[None] + (1 - across) * way[:, None])[..., None]
    picture = a * (1 - mix) + b * mix
    if rng.random() < 0.6:
        stain = noise.smooth(rng, (side, side), int(rng.integers(3, 20)))
        picture += stain[..., None] * rng.uniform(2, 28, 3).astype(np.float32)
    for _ in range(int(rng.integers(0, 5))):
        x, y = rng.integers(0, side, 2)
        colour = _bgr(_dull(rng, rng.uniform(5, 250, 3)))
        if rng.random() < 0.5:
            w, h = rng.integers(8, side, 2)
            cv2.rectangle(picture, (int(x), int(y)), (int(x + w), int(y + h)), colour, -1)
        else:
            cv2.circle(picture, (int(x), int(y)), int(rng.integers(5, side // 2)), colour, -1)
    if rng.random() < 0.6:
        picture = cv2.GaussianBlur(picture, (0, 0), rng.uniform(1, 6))
    return picture


def _bgr(values) -> tuple[float, ...]:
    """A colour as OpenCV expects it."""
    return tuple(float(value) for value in values)


def _place(view, point) -> tuple[int, int]:
    x, y = view.place(np.asarray(point, np.float64))
    return round(float(x)), round(float(y))


def _polygon(picture, view, points, colour) -> None:
    outline = np.array([_place(view, point) for point in points], np.int32)
    cv2.fillPoly(picture, [outline], _bgr(colour), cv2.LINE_AA)


def draw_body(picture: np.ndarray, view, person: Person, rng: np.random.Generator,
              light: float) -> None:
    """Long hair, neck, shoulders and ears, all behind the face."""
    hair = person.hair_colour * light
    if person.hair_style == "long":
        spread = person.width + 0.6 + person.hair_volume
        _polygon(picture, view, [(-spread, -8, 0), (spread, -8, 0), (spread + 0.6, 3, 0),
                                 (spread, 14, 0), (-spread, 14, 0), (-spread - 0.6, 3, 0)],
                 0.75 * hair)
    neck = 0.68 * person.width
    skin = person.skin * light * 0.72
    _polygon(picture, view, [(-neck, 2, 2), (neck, 2, 2), (neck * 1.05, 14, 0), (-neck * 1.05, 14, 0)],
             skin)
    cloth = rng.uniform(5, 235, 3) * light
    drop = rng.uniform(10.5, 12.5)
    wide = rng.uniform(13, 18)
    _polygon(picture, view, [(-neck, drop - 0.8, 1), (0, drop + rng.uniform(0, 3), 3),
                             (neck, drop - 0.8, 1), (wide, drop + 3, 0), (wide + 2, 40, 0),
                             (-wide - 2, 40, 0), (-wide, drop + 3, 0)], cloth)
    if person.hair_style not in ("long", "medium"):
        y = person.points[22, 1]
        for sign in (-1, 1):
            middle = _place(view, (sign * (person.width + 0.35), y - 1.6, 0.6))
            size = person.ears * view.scale
            cv2.ellipse(picture, middle, (round(0.75 * size), round(1.7 * size)),
                        float(np.degrees(view.roll)), 0, 360, _bgr(person.skin * light * 0.85), -1,
                        cv2.LINE_AA)
    # The back of the head, which the sheet of the face does not have.
    volume = 0.0 if person.hair_style == "bald" else person.hair_volume
    back = person.skin * 0.8 * light if person.hair_style == "bald" else 0.7 * hair
    middle = _place(view, (0, -5.2, -0.5))
    axes = (round((person.width + 0.6 * volume) * view.scale), round((7.2 + volume) * view.scale))
    cv2.ellipse(picture, middle, axes, float(np.degrees(view.roll)), 0, 360, _bgr(back), -1, cv2.LINE_AA)


def draw_hand(picture: np.ndarray, view, person: Person, rng: np.random.Generator,
              light: float) -> None:
    """A hand that comes from one side and hides part of the face."""
    side = rng.choice((-1, 1))
    target = np.array([side * rng.uniform(0.5, 5), rng.uniform(-1, 7), 12.0])
    wrist = target + (side * rng.uniform(6, 9), rng.uniform(4, 9), 0)
    skin = person.skin * light * rng.uniform(0.8, 1.15)
    along = target - wrist
    length = np.linalg.norm(along)
    along /= length
    across = np.array([-along[1], along[0], 0])

    def stroke(a, b, wide, shade):
        cv2.line(picture, _place(view, a), _place(view, b), _bgr(skin * shade),
                 max(1, round(wide * view.scale)), cv2.LINE_AA)

    knuckles = wrist + along * (0.55 * length)
    stroke(wrist - along * 12, wrist, 3.4, 0.86)
    for row in np.linspace(-1.3, 1.3, 4):
        stroke(wrist + across * row, knuckles + across * row * 1.25, 2.2, 0.92)
    for finger, reach in zip(np.linspace(-1.75, 1.75, 4), (0.8, 1.0, 1.05, 0.9)):
        tip = knuckles + across * finger * rng.uniform(1.0, 1.25) + along * (
            0.45 * length * reach * rng.uniform(0.85, 1.1))
        root = knuckles + across * finger * 0.95
        stroke(root, tip, 1.35, 0.7)
        stroke(root, tip, 1.1, 1.0)
        stroke(tip - along * 0.3, tip, 0.6, 1.12)


def draw_scarf(picture: np.ndarray, view, rng: np.random.Generator, light: float) -> None:
    """A scarf or mask over chin and mouth, sometimes up to the nose."""
    top = rng.choice((4.6, 3.4, 1.2)) + rng.uniform(-0.4, 0.4)
    colour = rng.uniform(10, 240, 3) * light
    rim = np.linspace(-1, 1, 9)
    upper = [(8.0 * x, top - 0.3 * (1 - x * x), 11 * np.sqrt(max(0.05, 1 - x * x))) for x in rim]
    lower = [(8.6 * x, 11.5, 9 * np.sqrt(max(0.05, 1 - x * x))) for x in rim[::-1]]
    _polygon(picture, view, upper + lower, colour)
    for y in np.arange(top + 1, 11, rng.uniform(0.8, 2.5)):
        points = [_place(view, (8.2 * x, y, 11 * np.sqrt(max(0.05, 1 - x * x)))) for x in rim]
        cv2.polylines(picture, [np.array(points, np.int32)], False, _bgr(colour * 0.75),
                      max(1, round(0.3 * view.scale)), cv2.LINE_AA)
