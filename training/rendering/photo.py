"""One photograph of a person: pose, light, occlusion, and the places of the landmarks."""

from dataclasses import dataclass

import cv2
import numpy as np

from rendering import camera, scene
from rendering.expression import draw_expression, moved_points
from rendering.face_paint import paint_face, paint_glasses
from rendering.head_shape import LEFT, NOWHERE, PIXELS, TOP, build_shape
from rendering.landmarks import EYE_DISTANCE, IDS
from rendering.person import Person, draw_person
from rendering.skin_and_hair import beard_cover, paint_hair, paint_skin

# The side of a picture, in pixels.
SIDE = 208

# Rays are followed on a grid of half that side, in steps from front to back.
GRID = SIDE // 2
STEPS = np.linspace(15.0, 0.0, 16)

GRID_ROWS = np.arange(GRID, dtype=np.float32)[:, None]
GRID_COLUMNS = np.arange(GRID, dtype=np.float32)[None]

# Roughly the point about which a head turns, in model units.
PIVOT = np.array([0.0, -1.5, 3.0])


class View:
    """A scaled orthographic camera that looks at a turned head."""

    def __init__(self, rng: np.random.Generator, conditions: camera.Conditions):
        def angle(spread):
            return np.radians(np.clip(rng.normal(0, spread), -2 * spread, 2 * spread))

        yaw, pitch, self.roll = (angle(spread) for spread in (
            conditions.yaw, conditions.pitch, conditions.roll))
        cy, sy, cp, sp = np.cos(yaw), np.sin(yaw), np.cos(pitch), np.sin(pitch)
        cr, sr = np.cos(self.roll), np.sin(self.roll)
        turn = np.array([[cy, 0, sy], [0, 1, 0], [-sy, 0, cy]])
        nod = np.array([[1, 0, 0], [0, cp, -sp], [0, sp, cp]])
        tilt = np.array([[cr, -sr, 0], [sr, cr, 0], [0, 0, 1]])
        self.rotation = tilt @ nod @ turn
        self.scale = SIDE / 208 * rng.uniform(30, 48) / EYE_DISTANCE
        self.centre = np.array([SIDE, SIDE]) * (0.5, 0.5) + rng.normal(0, 6, 2)
        self.back = np.linalg.inv(self.rotation[:2, :2])

    def place(self, points: np.ndarray) -> np.ndarray:
        """Converts model points to pixels."""
        turned = (points - PIVOT) @ self.rotation[:2].T
        return self.centre + self.scale * turned

    def sheet_transform(self, z: float) -> np.ndarray:
        """The 2 x 3 transform from grid points to the sheet of the face, for points at depth `z`."""
        step = SIDE / GRID
        back = self.back
        # pixel = centre + scale (A (xy - pivot) + b (z - pivot z)), solved for xy.
        matrix = back * (step / self.scale)
        offset = back @ (((step - 1) / 2 - self.centre) / self.scale
                         - self.rotation[:2, 2] * (z - PIVOT[2])) + PIVOT[:2]
        return np.hstack([matrix * PIXELS,
                          ((offset - (LEFT, TOP)) * PIXELS - 0.5)[:, None]])


def _follow_rays(view: View, depth: np.ndarray) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Where the ray of each grid point meets the face: x and y on the sheet, and whether it does.

    At a fixed depth the mapping from picture to sheet is affine, so each step is one fast warp. The
    place between the two steps around the surface is interpolated.
    """
    met = np.zeros((GRID, GRID), bool)
    found = np.full((GRID, GRID), NOWHERE, np.float32)
    before = None
    at_zero = view.sheet_transform(0.0)
    way = (view.sheet_transform(1.0) - at_zero)[:, 2]
    for i, z in enumerate(STEPS):
        transform = at_zero.copy()
        transform[:, 2] += way * z
        above = cv2.warpAffine(depth, transform, (GRID, GRID),
                               flags=cv2.INTER_LINEAR | cv2.WARP_INVERSE_MAP,
                               borderMode=cv2.BORDER_CONSTANT, borderValue=NOWHERE) - np.float32(z)
        new = (above >= 0) & ~met
        if before is not None and new.any():
            share = above[new] / np.maximum(above[new] - before[new], 1e-3)
            found[new] = z + np.clip(share, 0, 1) * (STEPS[i - 1] - z)
        elif new.any():
            found[new] = z
        met |= new
        before = above
    rows, cols = GRID_ROWS, GRID_COLUMNS
    a = at_zero.astype(np.float32)
    way = way.astype(np.float32)
    x = a[0, 0] * cols + a[0, 1] * rows + a[0, 2] + way[0] * found
    y = a[1, 0] * cols + a[1, 1] * rows + a[1, 2] + way[1] * found
    return x, y, met


def _shading(rng: np.random.Generator, view: View, normals: np.ndarray) -> tuple[np.ndarray, float]:
    """The light that each point of the sheet sends to the camera, and that of everything else."""
    side, height = rng.uniform(-1.25, 1.25), rng.uniform(-0.9, 0.35)
    direction = np.array([np.sin(side) * np.cos(height), np.sin(height),
                          np.cos(side) * np.cos(height)])
    # The light is fixed while the head turns.
    direction = (view.rotation.T @ direction).astype(np.float32)
    ambient = rng.uniform(0.3, 0.85)
    strength = rng.uniform(0.88, 1.12) - ambient
    lit = np.maximum(normals @ direction, 0)
    shade = ambient * (0.75 + 0.25 * normals[..., 2]) + strength * lit
    shine = rng.uniform(0, 0.2) * np.maximum(normals @ _halfway(direction, view), 0) ** 14
    return (shade + shine).astype(np.float32), ambient + 0.4 * strength


def _halfway(direction: np.ndarray, view: View) -> np.ndarray:
    eye = view.rotation.T @ np.array([0, 0, 1.0])
    middle = direction + eye
    return (middle / np.linalg.norm(middle)).astype(np.float32)


@dataclass
class Photo:
    picture: np.ndarray   # SIDE x SIDE x 3, blue, green, red
    content: bytes        # the same as a JPEG file
    landmarks: np.ndarray  # 29 x 2


class Sitter:
    """A person, with everything that all photographs share."""

    def __init__(self, seed: int, number: int):
        self.seed, self.number = seed, number
        self.person: Person = draw_person(seed, number)
        self.shape = build_shape(self.person)
        self.skin = paint_skin(self.person)
        self.hair, self.cover = paint_hair(self.person, self.shape)
        self.beard = beard_cover(self.person)

    def photograph(self, photo: int, conditions: camera.Conditions) -> Photo:
        """Photograph number `photo`; the same for the same seed, person, number and conditions."""
        rng = np.random.default_rng([self.seed, self.number, photo + 1])
        person = self.person
        expression = draw_expression(rng, person.age)
        points = moved_points(self.shape.points, expression)
        view = View(rng, conditions)

        face = paint_face(self.skin, person, points, expression, self.beard)
        hidden = rng.random() < conditions.occlusion
        kind = rng.choice(("hand", "scarf", "sunglasses")) if hidden else "none"
        if kind == "sunglasses" or rng.random() < conditions.glasses:
            paint_glasses(face, points, rng, kind == "sunglasses")
        greying = np.clip(expression.age - person.age, -0.1, 0.3)
        hair = self.hair * np.float32(1 - greying) + np.float32(greying * 170)
        cover = self.cover[..., None]
        sheet = face + (hair - face) * cover
        shade, light = _shading(rng, view, self.shape.normals)
        sheet *= shade[..., None]

        picture = scene.background(rng, SIDE)
        scene.draw_body(picture, view, person, rng, light)
        x, y, met = _follow_rays(view, self.shape.depth)
        picture = self._compose(picture, sheet, x, y, met)
        if kind == "hand":
            scene.draw_hand(picture, view, person, rng, light)
        elif kind == "scarf":
            scene.draw_scarf(picture, view, rng, light)
        picture = camera.expose(picture, rng, conditions)
        content = camera.jpeg(picture, rng)

        places = view.place(points)
        spread = rng.uniform(*conditions.jitter) / 100 * EYE_DISTANCE * view.scale
        places = places + rng.normal(0, 1, (len(IDS), 2)) * spread
        return Photo(picture, content, places)

    @staticmethod
    def _compose(picture, sheet, x, y, met) -> np.ndarray:
        size = (SIDE, SIDE)
        # Points beside the face take their neighbours' rays, which keeps its edge sharp.
        weight = met.astype(np.float32)
        near = cv2.blur(weight, (3, 3))
        for values in (x, y):
            around = cv2.blur(np.where(met, values, 0), (3, 3)) / np.maximum(near, 1e-3)
            np.copyto(values, around, where=~met)
        big_x = cv2.resize(x, size, interpolation=cv2.INTER_LINEAR)
        big_y = cv2.resize(y, size, interpolation=cv2.INTER_LINEAR)
        seen = cv2.resize(weight, size, interpolation=cv2.INTER_LINEAR)
        seen = np.clip(3 * seen - 1, 0, 1)[..., None]
        face = cv2.remap(sheet, big_x, big_y, cv2.INTER_LINEAR, borderMode=cv2.BORDER_REPLICATE)
        picture += (face - picture) * seen
        return picture
