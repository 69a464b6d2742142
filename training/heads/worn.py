"""Glasses, drawn over the picture of a head."""

import cv2
import numpy as np


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
