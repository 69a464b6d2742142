"""What hides part of a face: glasses, sunglasses, a hand, a scarf. Drawn over the picture of the head."""

import cv2
import numpy as np


def _bgr(values) -> tuple[float, ...]:
    """A colour as OpenCV expects it."""
    return tuple(float(value) for value in values)


def _place(view, point) -> tuple[int, int]:
    x, y = view.place(np.asarray(point, np.float64))
    return round(float(x)), round(float(y))


def _polygon(picture, view, points, colour) -> None:
    outline = np.array([_place(view, point) for point in points], np.int32)
    cv2.fillPoly(picture, [outline], _bgr(colour), cv2.LINE_AA)


def _points(view, points) -> np.ndarray:
    return np.rint(view.place(np.asarray(points)) * 16).astype(np.int32)


def draw_glasses(picture: np.ndarray, view, eyes: np.ndarray, ears: float, rng: np.random.Generator,
                 sun: bool) -> None:
    """`eyes` are the places of both eyes' fronts, `ears` half the width of the head at the ears."""
    rx, ry = rng.uniform(2.3, 2.95), rng.uniform(1.5, 2.35)
    power = rng.uniform(2.0, 4.5)
    drop = rng.uniform(0.0, 0.5)
    forward = rng.uniform(1.3, 1.9)
    colour = rng.uniform(5, 70, 3) if rng.random() < 0.75 else rng.uniform(60, 220, 3)
    width = max(1, round(rng.uniform(0.12, 0.38) * view.scale))
    turn = np.linspace(0, 2 * np.pi, 40, endpoint=False)
    c, s = np.cos(turn), np.sin(turn)
    rim = np.stack([rx * np.sign(c) * np.abs(c) ** (2 / power), ry * np.sign(s) * np.abs(s) ** (2 / power)], 1)
    dark = rng.uniform(0.75, 1.0) if sun else rng.uniform(0, 0.12)
    tint = rng.uniform(5, 60, 3) if sun else rng.uniform(0, 255, 3)
    gleam = rng.random() < 0.5
    lenses = []
    for x, y, z in eyes:
        centre = np.array([x + np.sign(x) * 0.15, y + drop])
        flat = rim + centre
        bent = z + forward - 0.035 * np.square(flat[:, 0]) + 0.3
        lens = np.column_stack([flat, bent])
        lenses.append(lens)
        mask = np.zeros(picture.shape[:2], np.float32)
        cv2.fillPoly(mask, [_points(view, lens)], 1.0, cv2.LINE_AA, 4)
        picture += (tint - picture) * (dark * mask)[..., None]
        if gleam:
            shine = np.zeros(picture.shape[:2], np.float32)
            a = centre + rng.uniform(-1, 1, 2)
            path = [(a[0] - 1.2, a[1] - 2, z + forward), (a[0] - 0.2, a[1] - 2, z + forward),
                    (a[0] + 1.2, a[1] + 2, z + forward), (a[0] + 0.4, a[1] + 2, z + forward)]
            cv2.fillPoly(shine, [_points(view, path)], 1.0, cv2.LINE_AA, 4)
            picture += (235 - picture) * (rng.uniform(0.05, 0.45) * shine * mask)[..., None]
    ink = tuple(float(v) for v in colour)
    for lens in lenses:
        cv2.polylines(picture, [_points(view, lens)], True, ink, width, cv2.LINE_AA, 4)
    left, right = sorted(lenses, key=lambda lens: lens[:, 0].mean())
    a, b = left[left[:, 0].argmax()], right[right[:, 0].argmin()]
    middle = (a + b) / 2 + (0, -0.4, 0.3)
    cv2.polylines(picture, [_points(view, [a, middle, b])], False, ink, width, cv2.LINE_AA, 4)
    camera = view.camera()
    for sign, lens in ((-1, left), (1, right)):
        hinge = lens[(sign * lens[:, 0]).argmax()] + (0, -0.6, 0)
        ear = np.array([sign * (ears + 0.1), hinge[1] - 0.1, 1.0])
        if sign * (camera - ear)[0] > 2.0:
            cv2.polylines(picture, [_points(view, [hinge, ear])], False, ink, width, cv2.LINE_AA, 4)


def draw_hand(picture: np.ndarray, view, skin: np.ndarray, rng: np.random.Generator, light: float) -> None:
    """A hand that comes from one side and hides part of the face."""
    side = rng.choice((-1, 1))
    target = np.array([side * rng.uniform(0.5, 5), rng.uniform(-1, 7), 12.0])
    wrist = target + (side * rng.uniform(6, 9), rng.uniform(4, 9), 0)
    skin = skin * light * rng.uniform(0.8, 1.15)
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
