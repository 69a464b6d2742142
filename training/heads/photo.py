"""One photograph of a person: expression, pose, camera, light, what hides the face, and landmarks."""

from dataclasses import dataclass, replace
from functools import lru_cache
from types import SimpleNamespace

import cv2
import numpy as np

from heads import surface as surfaces
from heads.expression import draw_expression, look, moved
from heads.mesh import LEFT_EYE, RIGHT_EYE, head_mesh
from heads.person import STYLES, draw_person
from heads.renderer import Light, Pose, Renderer, hanging_hair
from heads.worn import draw_glasses
from rendering import camera, scene
from rendering.landmarks import EYE_DISTANCE, IDS

SIDE = 208
PIVOT = np.array([0.0, -1.0, 3.0])

# For each landmark the vertices of MakeHuman's mesh whose mean it is.
VERTICES = {
    0: (4847, 4861), 6: (132, 133), 9: (294, 5054), 10: (455,), 11: (492, 5337), 12: (369, 361),
    44: (5051, 5139), 45: (474,), 200: (312,), 221: (4870, 69), 222: (4861,), 223: (28, 4856),
    240: (5464,), 314: (5171, 5225), 315: (895, 740)}
PARTNERS = {0: 1, 12: 13, 44: 43, 221: 227, 222: 226, 223: 225, 240: 241, 315: 316}
BROWS = {3: (-1, 0.03), 300: (-1, 0.6), 2: (-1, 1.0), 4: (1, 0.03), 302: (1, 0.6), 5: (1, 1.0)}


@lru_cache(maxsize=1)
def _renderer() -> Renderer:
    return Renderer(SIDE)


def _partner(vertex: int) -> int:
    """The vertex on the other side of the head."""
    places = head_mesh().places
    return int(np.argmin(np.abs(places - places[vertex] * (-1, 1, 1)).sum(1)))


@lru_cache(maxsize=1)
def landmark_vertices() -> dict[int, tuple[int, ...]]:
    row = {int(name): row for row, name in enumerate(head_mesh().origin)}
    table = {name: tuple(row[v] for v in vertices) for name, vertices in VERTICES.items()}
    for left, right in PARTNERS.items():
        table[right] = tuple(_partner(v) for v in table[left])
    return table


@lru_cache(maxsize=1)
def _front() -> np.ndarray:
    mesh = head_mesh()
    normals = mesh.normals(mesh.places)
    skin = mesh.of(0)
    return skin[(normals[skin, 2] > 0.1) & (mesh.places[skin, 2] > 4)]


def brow_anchors(person) -> dict[int, tuple[np.ndarray, np.ndarray]]:
    """For each landmark of the brows three vertices and their weights, by their places on the sheet."""
    mesh = head_mesh()
    front = _front()
    columns, rows = surfaces.to_sheet(*mesh.places[front].T)
    anchors = {}
    for name, (side, t) in BROWS.items():
        line = surfaces.brow_line(person, side)
        column, row = surfaces.to_sheet(*line[round(t * (len(line) - 1))])
        distance = np.hypot(columns - column, rows - row)
        near = np.argsort(distance)[:4]
        weights = 1 / (distance[near] + 0.5) ** 2
        anchors[name] = front[near], weights / weights.sum()
    return anchors


class View:
    """A camera at some distance, and the head's turn. Places are those of the head."""

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
        self.yaw, self.pitch = yaw, pitch
        self.rotation = tilt @ nod @ turn
        self.scale = SIDE / 208 * rng.uniform(30, 48) / EYE_DISTANCE
        self.centre = np.array([SIDE, SIDE]) * (0.5, 0.5) + rng.normal(0, 6, 2)
        self.distance = np.exp(rng.uniform(np.log(45), np.log(400)))
        # The pinhole enlarges what is nearer than the pivot: keep the face's size.
        self.scale *= (self.distance - 6) / self.distance

    def place(self, points: np.ndarray) -> np.ndarray:
        turned = (np.asarray(points) - PIVOT) @ self.rotation.T
        nearness = (self.distance - turned[..., 2:]) / self.distance
        return self.centre + self.scale * turned[..., :2] / nearness

    def matrix(self) -> np.ndarray:
        d = self.distance
        near, far = (d - 22) / d, (d + 30) / d
        across = np.eye(4)
        across[:3, :3] = self.rotation
        across[:3, 3] = -self.rotation @ PIVOT
        lens = np.zeros((4, 4))
        depth = np.array([0, 0, -1 / d, 1])
        for row, centre in ((0, self.centre[0]), (1, self.centre[1])):
            lens[row, row] = 2 * self.scale / SIDE
            lens[row] += ((2 * (centre + 0.5) / SIDE) - 1) * depth
        lens[2] = depth * (far + near) / (far - near)
        lens[2, 3] -= 2 * far * near / (far - near)
        lens[3] = depth
        return lens @ across

    def camera(self) -> np.ndarray:
        return PIVOT + self.rotation.T @ np.array([0, 0, self.distance])


def _tint(rng, spread: float) -> np.ndarray:
    warm = rng.normal(0, spread) * 0.7
    return np.exp(np.array([warm, rng.normal(0, spread * 0.2), -warm]))


def draw_light(rng: np.random.Generator, rotation: np.ndarray) -> Light:
    """Lamps are fixed to the camera's space while the head turns."""
    kind = rng.choice(("soft", "flash", "ceiling", "sun", "window", "mixed"),
                      p=(0.22, 0.16, 0.2, 0.16, 0.14, 0.12))
    def lamp(side, height, back=False):
        z = np.cos(side) * np.cos(height)
        return np.array([np.sin(side) * np.cos(height), -np.sin(height), -abs(z) if back else z])
    side, height = rng.normal(0, 0.7), rng.normal(0.45, 0.4)
    key, sky = {"soft": (rng.uniform(0.15, 0.5), rng.uniform(0.5, 0.8)),
                "flash": (rng.uniform(0.6, 1.0), rng.uniform(0.1, 0.4)),
                "ceiling": (rng.uniform(0.4, 0.9), rng.uniform(0.2, 0.5)),
                "sun": (rng.uniform(0.9, 1.4), rng.uniform(0.15, 0.4)),
                "window": (rng.uniform(0.6, 1.1), rng.uniform(0.1, 0.35)),
                "mixed": (rng.uniform(0.4, 0.9), rng.uniform(0.2, 0.5))}[kind]
    if kind == "flash":
        side, height = rng.normal(0, 0.12), rng.normal(0.1, 0.12)
    elif kind == "ceiling":
        height = rng.uniform(0.6, 1.25)
    elif kind == "window":
        side, height = rng.choice((-1, 1)) * rng.uniform(0.6, 1.5), rng.normal(0.1, 0.25)
    directions = [lamp(side, height), lamp(rng.uniform(-1.6, 1.6), rng.normal(0.2, 0.5)),
                  lamp(rng.uniform(-1.2, 1.2), rng.uniform(-0.2, 1.0), True)]
    second = rng.uniform(0, 0.5) if rng.random() < 0.6 else 0.0
    third = rng.uniform(0, 1.2) if rng.random() < 0.4 else 0.0
    colours = [key * _tint(rng, 0.08), key * second * _tint(rng, 0.12), third * _tint(rng, 0.12)]
    ambient = np.zeros((9, 3))
    ambient[0] = sky * _tint(rng, 0.08)
    ambient[1] = -sky * rng.uniform(0.0, 0.6) * _tint(rng, 0.1)
    ambient[2] = sky * rng.normal(0.1, 0.2)
    ambient[3] = sky * rng.normal(0, 0.25) * _tint(rng, 0.1)
    for row in range(4, 9):
        ambient[row] = sky * rng.normal(0, 0.06)
    back = rotation.T
    directions = np.array([back @ (d / np.linalg.norm(d)) for d in directions])
    # The surroundings turn with the lamps: rotate the linear part.
    linear = back @ np.stack([ambient[3], ambient[1], ambient[2]])
    ambient[3], ambient[1], ambient[2] = linear
    softness = rng.uniform(0.3, 0.8) if kind in ("sun", "flash") else rng.uniform(0.8, 2.5)
    return Light(ambient, directions, np.array(colours), softness / 384)


def aged(places: np.ndarray, rng: np.random.Generator) -> np.ndarray:
    """The same head in another year: a little heavier or lighter, older or younger."""
    places = places.copy()
    for name, spread in (("fat", 0.14), ("age", 0.12)):
        value = float(np.clip(rng.normal(0, spread), -0.4, 0.4))
        head_mesh().add(places, f"head/head-{name}-{'incr' if value > 0 else 'decr'}", abs(value))
    return head_mesh().centred(places)


def develop(linear: np.ndarray, covered: np.ndarray, rng: np.random.Generator) -> np.ndarray:
    """Linear light to grey levels as a camera does: exposed for the face, with a curve of its own."""
    brightness = linear @ np.array([0.21, 0.72, 0.07], np.float32)
    middle = float(np.mean(brightness[covered > 0.5])) if (covered > 0.5).any() else 0.2
    target = np.exp(rng.normal(np.log(0.24), 0.33))
    # Cameras expose a face for its surroundings as well, so that dark skin stays darker.
    light = linear * target / (0.22 ** 0.3 * max(middle, 0.01) ** 0.7)
    if rng.random() < 0.6:
        shoulder = rng.uniform(0.9, 3.0)
        light = light * (1 + light / shoulder ** 2) / (1 + light) * 1.3
    return 255 * np.power(np.clip(light, 0, 1), 1 / 2.2)


def draw_background(rng: np.random.Generator) -> np.ndarray:
    """Walls, rooms and gardens, out of focus: mostly dull, mostly smooth, with edges here and there."""
    picture = scene.background(rng, SIDE)
    for cells, strength in ((4, 25), (9, 14), (25, 9), (70, 6)):
        if rng.random() < 0.5:
            noise = cv2.resize(rng.standard_normal((cells, cells)).astype(np.float32), (SIDE, SIDE),
                               interpolation=cv2.INTER_CUBIC)
            picture = picture + noise[..., None] * rng.uniform(0, strength)
    grey = picture.mean(axis=2, keepdims=True)
    picture = grey + (picture - grey) * rng.uniform(0, 0.8) ** 1.5
    blur = rng.uniform(0, 5)
    return cv2.GaussianBlur(picture, (0, 0), blur) if blur > 0.5 else picture


@dataclass
class Photo:
    picture: np.ndarray   # SIDE x SIDE x 3, blue, green, red
    content: bytes        # the same as a JPEG file
    landmarks: np.ndarray  # 29 x 2


class Sitter:
    """A person, with everything that all photographs share."""

    def __init__(self, seed: int, number: int):
        self.seed, self.number = seed, number
        self.person = draw_person(seed, number)
        self.surface = surfaces.make_surface(self.person)
        self.brows = brow_anchors(self.person)
        self.hair_length = float(np.random.default_rng([seed, number, 6]).uniform(3, 17))

    def _landmarks(self, places: np.ndarray) -> np.ndarray:
        table = landmark_vertices()
        points = np.empty((len(IDS), 3))
        for row, name in enumerate(IDS):
            if name in self.brows:
                vertices, weights = self.brows[name]
                points[row] = weights @ places[vertices]
            else:
                points[row] = places[list(table[name])].mean(0)
        return points

    def _hide(self, picture, view, centres, rng, conditions) -> None:
        """Glasses, sunglasses, a hand or a scarf."""
        person = self.person
        wears = rng.random() < (0.75 if person.glasses else 0.06) * conditions.glasses / 0.15
        kind = rng.choice(("hand", "scarf", "sunglasses")) if rng.random() < conditions.occlusion else None
        if wears or kind == "sunglasses":
            fronts = centres + (0, 0, 1.4)
            ears = float(np.abs(person.places[head_mesh().of(0)][:, 0][np.abs(person.places[head_mesh().of(0)][:, 1] + 3) < 1].max()))
            draw_glasses(picture, view, fronts, min(ears, 7.8), rng, kind == "sunglasses")
        skin = surfaces.skin_colour(person.melanin, person.blood)[::-1] ** (1 / 2.2) * 255
        stand_in = SimpleNamespace(skin=skin)
        if kind == "hand":
            scene.draw_hand(picture, view, stand_in, rng, rng.uniform(0.5, 1.1))
        elif kind == "scarf":
            scene.draw_scarf(picture, view, rng, rng.uniform(0.5, 1.1))

    def photograph(self, photo: int, conditions: camera.Conditions) -> Photo:
        """Photograph number `photo`; the same for the same seed, person, number and conditions."""
        rng = np.random.default_rng([self.seed, self.number, photo + 1, 5])
        mesh, person, renderer = head_mesh(), self.person, _renderer()
        view = View(rng, conditions)
        weights = draw_expression(rng)
        eyes = np.array([person.places[mesh.of(part)] for part in (LEFT_EYE, RIGHT_EYE)])
        centres = (eyes.min(1) + eyes.max(1)) / 2
        at_camera = view.camera() - centres.mean(0)
        across = np.arctan2(at_camera[0], at_camera[2])
        down = np.arctan2(at_camera[1], np.hypot(at_camera[0], at_camera[2]))
        stare = 1.0 if rng.random() < 0.6 else rng.uniform(0, 1)
        across = np.clip(stare * across + rng.normal(0, 0.12), -0.6, 0.6)
        down = np.clip(stare * down + rng.normal(0, 0.08), -0.4, 0.4)
        look(weights, across, down)
        places = moved(aged(person.places, rng), weights)
        gaze = np.array([np.sin(across) * np.cos(down), np.sin(down), np.cos(across) * np.cos(down)])
        surface = self.surface
        style = person.style
        if rng.random() < 0.25 or person.beard != "none":
            if rng.random() < 0.3:
                style = str(rng.choice(STYLES[:5] if person.male > 0.5 else
                                       ("long", "medium", "fringe", "curly", "long")))
            hair, extra = surfaces.paint_hair(person, style, rng, float(np.clip(rng.normal(0.9, 0.4), 0, 1.6)))
            surface = replace(surface, hair=hair, **extra)
        renderer.load(surface)
        light = draw_light(rng, view.rotation)
        lips = surfaces.skin_colour(0.45 * person.melanin + 0.03, 1.15 + 0.25 * person.blood) * np.exp(person.lip_tint)
        made_up = rng.random() < 0.5 * (person.male < 0.5)
        if made_up:
            lips = lips * (1 - made_up) + made_up * np.array([0.5, 0.05, 0.09]) * np.exp(rng.normal(0, 0.4, 3))
        pose = Pose(places, mesh.normals(places), centres, np.array([gaze, gaze]),
                    rng.uniform(0.05, 0.85, 3) ** 2 * rng.uniform(0.1, 1), rng.uniform(10.0, 14.0),
                    weights.get("jawOpen", 0) + weights.get("mouthUpperUpLeft", 0) > 0.02,
                    lips, float(rng.uniform(0.6, 0.9)) if made_up else 0.55,
                    np.array([0.05, 0.04, 0.05]) * np.exp(rng.normal(0, 0.6, 3)),
                    float(made_up * rng.uniform(0, 0.8)))
        if style == "long":
            pose.hanging = hanging_hair(person.places, rng, self.hair_length)
        drawn = renderer.draw(pose, view.matrix(), view.camera(), light, 9)
        linear, covered = drawn[..., :3], np.clip(drawn[..., 3], 0, 1)
        head = np.clip(np.nan_to_num(linear), 0, 100)
        grey = develop(head, covered, rng)[..., ::-1]
        picture = draw_background(rng)
        picture += (grey - picture) * covered[..., None]
        self._hide(picture, view, centres, rng, conditions)
        picture = camera.expose(np.ascontiguousarray(picture.astype(np.float32)), rng, conditions)
        content = camera.jpeg(picture, rng)
        points = view.place(self._landmarks(places))
        spread = rng.uniform(*conditions.jitter) / 100 * EYE_DISTANCE * view.scale
        points = points + rng.normal(0, 1, (len(IDS), 2)) * spread
        return Photo(picture, content, points)
