"""The moving part of the painted face: eyes, brows, mouth, nostrils, wrinkles, beard, glasses."""

from functools import lru_cache

import cv2
import numpy as np

from rendering.expression import Expression
from rendering.head_shape import HEIGHT, PIXELS, WIDTH, to_sheet
from rendering.landmarks import ROW
from rendering.person import Person

# Fractional bits of the coordinates that OpenCV's drawing functions take.
SHIFT = 4


def _fixed(points: np.ndarray) -> np.ndarray:
    return np.rint(to_sheet(points) * (1 << SHIFT)).astype(np.int32)


def _colour(values) -> tuple[float, ...]:
    return tuple(float(value) for value in np.clip(values, 0, 255))


def fill(sheet: np.ndarray, points: np.ndarray, colour) -> None:
    cv2.fillPoly(sheet, [_fixed(points)], _colour(colour), cv2.LINE_AA, SHIFT)


def line(sheet: np.ndarray, points: np.ndarray, colour, width: float) -> None:
    cv2.polylines(sheet, [_fixed(points)], False, _colour(colour), max(1, round(width * PIXELS)),
                  cv2.LINE_AA, SHIFT)


def disc(sheet: np.ndarray, centre, radius: float, colour, squeeze: float = 1.0) -> None:
    middle = _fixed(np.asarray(centre)[None])[0]
    axes = (round(radius * PIXELS * 16), round(radius * squeeze * PIXELS * 16))
    cv2.ellipse(sheet, (int(middle[0]), int(middle[1])), axes, 0, 0, 360, _colour(colour), -1,
                cv2.LINE_AA, SHIFT)


@lru_cache(maxsize=None)
def _weights(points: int, count: int) -> np.ndarray:
    """count x points: the weight of each point along the curve through all of them."""
    t = np.linspace(0, points - 1, count)
    weights = np.ones((count, points))
    for i in range(points):
        for j in range(points):
            if j != i:
                weights[:, i] *= (t - j) / (i - j)
    return weights


def curve(points: list, count: int = 12) -> np.ndarray:
    """`count` places on a smooth curve through a few points: Lagrange interpolation."""
    return _weights(len(points), count) @ np.array(points, np.float64)


def _blend(sheet: np.ndarray, drawn: np.ndarray, weight: float) -> None:
    cv2.addWeighted(drawn, weight, sheet, 1 - weight, 0, sheet)


def _shadow_line(sheet: np.ndarray, points: np.ndarray, strength: float, width: float) -> None:
    """Darkens along a line, softly; `sheet` is changed near the line only."""
    where = to_sheet(points)
    margin = 6
    left, top = np.maximum(np.floor(where.min(axis=0)).astype(int) - margin, 0)
    right, bottom = np.ceil(where.max(axis=0)).astype(int) + margin
    part = sheet[top:bottom, left:right]
    if part.size == 0:
        return
    mask = np.zeros(part.shape[:2], np.uint8)
    path = np.rint((where - (left, top)) * (1 << SHIFT)).astype(np.int32)
    cv2.polylines(mask, [path], False, 255, max(1, round(width * PIXELS)), cv2.LINE_AA, SHIFT)
    mask = cv2.GaussianBlur(mask, (0, 0), 1.3)
    keep = 1 - (strength / 255) * mask.astype(np.float32)
    part[:] = (part * keep[..., None]).astype(np.uint8)


def _wrinkles(sheet: np.ndarray, person: Person, at, expression: Expression) -> None:
    age = expression.age
    smile = max(0.0, expression.smile)
    for wing, corner, sign in ((44, 12, -1), (43, 13, 1)):
        fold = curve([at(wing) + (sign * 0.3, -0.2),
                      0.5 * (at(wing) + at(corner)) + (sign * 0.75, -0.1),
                      at(corner) + (sign * 0.65, 0.4)])
        _shadow_line(sheet, fold, 0.08 + 0.3 * age + 0.3 * smile, 0.14)
    for eye, outer, lid, sign in ((0, 223, 222, -1), (1, 225, 226, 1)):
        bag = curve([at(outer) + (0, 0.75), at(lid) + (0, 0.75),
                     at(eye) + (-sign * 1.3, 1.0)])
        _shadow_line(sheet, bag, 0.05 + 0.35 * age, 0.12)
        if age > 0.45:
            for slope in (-0.35, 0.05, 0.45):
                feet = [at(outer) + (sign * 0.5, 0.3 * slope), at(outer) + (sign * 1.0, slope),
                        at(outer) + (sign * 1.6, 2.1 * slope)]
                _shadow_line(sheet, curve(feet), 0.6 * (age - 0.35), 0.09)
    if age > 0.4 or expression.brows > 0.5:
        strength = max(0.55 * (age - 0.3), 0.3 * expression.brows)
        for row in range(3):
            y = person.hairline + 1.0 + 0.75 * row
            _shadow_line(sheet, curve([(-3.4, y + 0.2), (0.2, y - 0.15), (3.5, y + 0.15)]),
                         strength, 0.1)
    if expression.brows < -0.3:
        for sign in (-1, 1):
            _shadow_line(sheet, np.array([at(6) + (sign * 0.45, -1.6), at(6) + (sign * 0.35, -0.4)]),
                         -0.45 * expression.brows, 0.1)


def _eye(sheet: np.ndarray, person: Person, expression: Expression, at, names) -> None:
    centre_name, outer_name, inner_name, lid_name = names
    outer, inner, lid, centre = (at(outer_name), at(inner_name), at(lid_name), at(centre_name))
    height = 0.62 * person.eye_open * (1 - 0.55 * expression.squint)
    middle = 0.5 * (outer + inner)
    top = np.array([0.6 * lid[0] + 0.4 * middle[0], min(centre[1], middle[1]) - height])
    upper = curve([outer, top, inner])
    lower = curve([outer, lid, inner])
    shape = np.concatenate([upper, lower[::-1]])

    window = _window(shape, 1.0)
    part = sheet[window]
    ball = part.copy()
    origin = np.array([window[1].start, window[0].start])

    def local(points):
        return np.rint((to_sheet(points) - origin) * (1 << SHIFT)).astype(np.int32)

    white = np.array([214, 220, 226]) * (0.82 + 0.12 * (person.skin.mean() / 200))
    ball[:] = white.astype(np.uint8)
    radius = person.iris
    at_iris = local(np.array([centre]))[0]

    def ring(scale, colour):
        cv2.circle(ball, (int(at_iris[0]), int(at_iris[1])), round(scale * radius * PIXELS * 16),
                   _colour(colour), -1, cv2.LINE_AA, SHIFT)

    ring(1.0, 0.45 * person.eye_colour)
    ring(0.85, person.eye_colour)
    ring(0.42, (8, 8, 8))
    glint = local(np.array([centre + (0.2, -0.22)]))[0]
    cv2.circle(ball, (int(glint[0]), int(glint[1])), round(0.13 * PIXELS * 16), (245, 245, 245), -1,
               cv2.LINE_AA, SHIFT)
    # The upper lid casts its shadow on the eyeball.
    cv2.polylines(ball, [local(upper)], False, _colour(0.45 * white), round(0.25 * PIXELS),
                  cv2.LINE_AA, SHIFT)
    mask = np.zeros(part.shape[:2], np.uint8)
    cv2.fillPoly(mask, [local(shape)], 255, cv2.LINE_AA, SHIFT)
    weight = (mask.astype(np.float32) / 255)[..., None]
    part[:] = (weight * ball + (1 - weight) * part).astype(np.uint8)

    dark = np.minimum(0.35 * person.skin, 0.6 * person.brow_colour + 10)
    line(sheet, upper, dark, 0.17 + 0.12 * expression.make_up)
    line(sheet, lower, 0.66 * person.skin, 0.1)
    if person.lid_fold > 0.15:
        fold = upper - (0, 0.28 + 0.5 * person.lid_fold)
        _shadow_line(sheet, fold, 0.2 + 0.35 * person.lid_fold, 0.1)


def _window(points: np.ndarray, margin: float = 0.5) -> tuple[slice, slice]:
    low = np.floor(to_sheet(points.min(axis=0) - margin)).astype(int)
    high = np.ceil(to_sheet(points.max(axis=0) + margin)).astype(int)
    return (slice(max(0, low[1]), min(HEIGHT, high[1])), slice(max(0, low[0]), min(WIDTH, high[0])))


def _brow(sheet: np.ndarray, person: Person, at, names) -> None:
    outer, middle, inner = (at(name) for name in names)
    spine = curve([outer, middle, inner])
    t = np.linspace(0, 1, len(spine))
    # Thin at the outer end; the taper differs from person to person.
    thick = person.brow_weight * (1 - person.brow_taper * (1 - t) ** 1.5) * np.minimum(1, 6 * (1.08 - t))
    upper = spine - np.stack([0 * t, 0.5 * thick], 1)
    lower = spine + np.stack([0 * t, 0.5 * thick], 1)
    window = _window(np.concatenate([upper, lower]))
    part = sheet[window]
    mask = np.zeros(part.shape[:2], np.uint8)
    origin = np.array([window[1].start, window[0].start])
    outline = np.rint((to_sheet(np.concatenate([upper, lower[::-1]])) - origin) * 16).astype(np.int32)
    cv2.fillPoly(mask, [outline], 255, cv2.LINE_AA, SHIFT)
    weight = cv2.GaussianBlur(mask, (0, 0), 0.9).astype(np.float32)[..., None] / 255
    weight *= 0.55 + 0.4 * min(1.0, person.brow_weight / 0.5)
    part[:] = (part * (1 - weight) + person.brow_colour * weight).astype(np.uint8)


def _mouth(sheet: np.ndarray, person: Person, at, expression: Expression) -> None:
    left, right, top, bottom, centre = at(12), at(13), at(10), at(11), at(45)
    colour = person.lip_colour * (1 - 0.3 * expression.make_up * np.array([1.0, 1.0, 0.1]))
    gap = 0.55 * expression.open_mouth
    full_top = centre + (0, -gap)
    full_bottom = centre + (0, gap)
    # The landmarks are the outer edges of average lips; a person's own are fuller or thinner.
    top = full_top + (top - full_top) * (0.6 + 0.4 * person.upper_lip)
    bottom = full_bottom + (bottom - full_bottom) * (0.6 + 0.4 * person.lower_lip)
    bow = person.cupid
    upper = curve([left, 0.55 * left + 0.45 * top + (0, -0.28 + 0.1 * bow), top + (0, bow),
                   0.55 * right + 0.45 * top + (0, -0.28 + 0.1 * bow), right], 17)
    lower = curve([left, bottom, right], 15)
    inner_top = curve([left, full_top, right], 15)
    inner_bottom = curve([left, full_bottom, right], 15)
    fill(sheet, np.concatenate([upper, inner_top[::-1]]), 0.86 * colour)
    fill(sheet, np.concatenate([lower, inner_bottom[::-1]]), colour)
    if gap > 0.12:
        inside = np.concatenate([inner_top, inner_bottom[::-1]])
        fill(sheet, inside, (28, 24, 46))
        if expression.open_mouth > 0.2:
            teeth = inner_top + np.stack([0 * inner_top[:, 0], 0.62 * np.minimum(
                inner_bottom[:, 1] - inner_top[:, 1], 0.9)], 1)
            fill(sheet, np.concatenate([inner_top, teeth[::-1]])[1:-1], (196, 210, 218))
    else:
        line(sheet, inner_top, 0.45 * colour, 0.13)
    _shadow_line(sheet, curve([0.7 * left + 0.3 * right + (0, 1.1), bottom + (0, 0.45),
                               0.3 * left + 0.7 * right + (0, 1.1)]), 0.22, 0.3)


def _nose(sheet: np.ndarray, person: Person, at) -> None:
    base = at(200)
    for wing, sign in ((44, -1), (43, 1)):
        place = 0.5 * (at(wing) + base) + (0, 0.12)
        disc(sheet, place, 0.36 * person.nose_width, 0.38 * person.skin, 0.5)
        side = curve([at(wing) + (-sign * 0.05, -0.75), at(wing) + (sign * 0.22, -0.15),
                      at(wing) + (-sign * 0.25, 0.4)])
        _shadow_line(sheet, side, 0.35, 0.13)
    _shadow_line(sheet, curve([at(44) + (0.5, 0.6), base + (0, 0.3), at(43) + (-0.5, 0.6)]), 0.2, 0.3)


def paint_face(skin: np.ndarray, person: Person, points: np.ndarray, expression: Expression,
               beard: np.ndarray) -> np.ndarray:
    """The skin of `paint_skin` with everything that moves, in 8 bits. `points` are the moved ones."""
    sheet = np.clip(skin, 0, 255).astype(np.uint8)

    def at(name):
        return points[ROW[name], :2]

    _wrinkles(sheet, person, at, expression)
    _nose(sheet, person, at)
    if expression.beard > 0 and person.beard != "none":
        weight = np.clip(beard * expression.beard, 0, 0.97)[..., None]
        sheet = (sheet * (1 - weight) + 0.8 * person.hair_colour * weight).astype(np.uint8)
    _mouth(sheet, person, at, expression)
    _eye(sheet, person, expression, at, (0, 223, 221, 222))
    _eye(sheet, person, expression, at, (1, 225, 227, 226))
    _brow(sheet, person, at, (2, 300, 3))
    _brow(sheet, person, at, (5, 302, 4))
    return sheet


def paint_glasses(sheet: np.ndarray, points: np.ndarray, rng: np.random.Generator,
                  dark: bool) -> None:
    """Glasses, or sunglasses that hide the eyes."""
    frame = rng.uniform(5, 110, 3)
    width = rng.uniform(1.6, 2.1) * (1.12 if dark else 1)
    height = width * rng.uniform(0.62, 0.95)
    power = rng.uniform(2.2, 5)
    t = np.linspace(0, 2 * np.pi, 28)
    unit = np.stack([np.sign(np.cos(t)) * np.abs(np.cos(t)) ** (2 / power),
                     np.sign(np.sin(t)) * np.abs(np.sin(t)) ** (2 / power)], 1)
    left, right = points[ROW[0], :2], points[ROW[1], :2]
    thick = rng.uniform(0.13, 0.34)
    before = sheet.copy()
    tint = rng.uniform(10, 60, 3) if dark else np.array([200, 205, 200])
    for eye in (left, right):
        fill(sheet, eye + (0, 0.25) + unit * (width, height), tint)
    _blend(sheet, before, rng.uniform(0.02, 0.18) if dark else rng.uniform(0.85, 0.97))
    for eye, sign in ((left, -1), (right, 1)):
        outline = eye + (0, 0.25) + unit * (width, height)
        line(sheet, outline, frame, thick)
        line(sheet, np.array([eye + (sign * width, -0.1), eye + (sign * (width + 3.4), -0.4)]),
             frame, thick)
    line(sheet, np.array([left + (width, 0.05), 0.5 * (left + right) + (0, -0.15),
                          right + (-width, 0.05)]), frame, thick)
