"""One photograph of a person: expression, camera, light, what hides the face, and landmarks."""

from dataclasses import dataclass

import numpy as np

from rendering import camera, worn
from rendering.background import draw_background
from rendering.expression import aged, draw_expression, look, moved
from rendering.hair import hanging_hair, paint_hair
from rendering.head_landmarks import HeadLandmarks
from rendering.head_mesh import head_mesh, LEFT_EYE, RIGHT_EYE, SKIN
from rendering.landmarks import EYE_DISTANCE, IDS
from rendering.lighting import draw_light
from rendering.person import draw_person, MENS_STYLES, Person, WOMENS_STYLES
from rendering.renderer import Pose, renderer, Surface
from rendering.skin import paint_skin, skin_colour
from rendering.view import SIDE, View

# Shares of green and so on in what an eye calls brightness.
BRIGHTNESS = np.array([0.21, 0.72, 0.07], np.float32)


@dataclass
class Photo:
    picture: np.ndarray    # SIDE x SIDE x 3, blue, green, red
    content: bytes         # the same as a JPEG file
    landmarks: np.ndarray  # 29 x 2


def develop(light: np.ndarray, covered: np.ndarray, rng: np.random.Generator) -> np.ndarray:
    """Light to grey levels as a camera does: exposed for the head, with a curve of its own."""
    light = np.clip(np.nan_to_num(light), 0, 100)
    brightness = (light @ BRIGHTNESS)[covered > 0.5]
    middle = max(0.01, float(brightness.mean())) if brightness.size else 0.2
    # A camera exposes for the surroundings as well, so that dark skin stays darker.
    light = light * np.exp(rng.normal(np.log(0.24), 0.33)) / (0.22 ** 0.3 * middle ** 0.7)
    if rng.random() < 0.6:
        shoulder = rng.uniform(0.9, 3.0)
        light = 1.3 * light * (1 + light / shoulder ** 2) / (1 + light)
    grey = np.power(np.clip(light, 0, 1), 1 / 2.2)
    # Most cameras and editors make contrasts stronger.
    return 255 * (grey + rng.uniform(0, 0.9) * (grey * grey * (3 - 2 * grey) - grey))


class Sitter:
    """A person, with everything that all photographs share."""

    def __init__(self, seed: int, number: int):
        self.person: Person = draw_person(seed, number)
        self.surface = self._surface()
        self.landmarks = HeadLandmarks(self.person)
        eyes = [self.person.places[head_mesh().of(part)] for part in (LEFT_EYE, RIGHT_EYE)]
        self.eye_centres = np.array([(eye.min(0) + eye.max(0)) / 2 for eye in eyes])
        skin = self.person.places[head_mesh().of(SKIN)]
        self.ears = float(np.abs(skin[np.abs(skin[:, 1] + 3) < 1, 0]).max())

    def _surface(self) -> Surface:
        person = self.person
        rng = np.random.default_rng([person.seed, person.number, 1, 1])
        paint, finish = paint_skin(person, rng)
        hair = paint_hair(person, person.style, rng, 1.0)
        return Surface(
            paint=paint, finish=finish, hair=hair.sheet, comb=hair.comb, hair_colour=person.hair,
            gloss=float(rng.uniform(0.3, 1.5)), bumps=0.02 * person.bumps, iris=person.iris,
            iris_edge=person.iris * 0.2,
            iris_size=(float(rng.normal(0.435, 0.012)), float(rng.uniform(0.13, 0.22))),
            white=np.array([0.68, 0.65, 0.63]) * rng.uniform(0.8, 1.1),
            redness=float(rng.uniform(0.1, 0.8)), tooth=float(rng.uniform(0.5, 1.1)), lash=person.lashes)

    def photograph(self, photo: int, conditions: camera.Conditions) -> Photo:
        """Photograph number `photo`; the same for the same seed, person, number and conditions."""
        person = self.person
        rng = np.random.default_rng([person.seed, person.number, photo + 1])
        view = View(rng, conditions)
        pose = self._pose(rng, view)
        style = self._hairdo(rng)
        if style == "long":
            pose.hanging = hanging_hair(person.places, rng, person.hair_bottom)
        light = draw_light(rng, view.rotation)
        drawn = renderer(SIDE).draw(pose, view.matrix(), view.camera(), light)
        covered = np.clip(drawn[..., 3:], 0, 1)
        head = develop(drawn[..., :3], covered[..., 0], rng)[..., ::-1]
        picture = draw_background(rng, SIDE)
        picture += (head - picture) * covered
        self._hide(picture, view, rng, conditions)
        picture = camera.expose(picture.astype(np.float32), rng, conditions)
        content = camera.jpeg(picture, rng)
        places = view.place(self.landmarks.of(pose.places))
        spread = rng.uniform(*conditions.jitter) / 100 * EYE_DISTANCE * view.scale
        return Photo(picture, content, places + rng.normal(0, 1, (len(IDS), 2)) * spread)

    def _pose(self, rng: np.random.Generator, view: View) -> Pose:
        person = self.person
        weights = draw_expression(rng)
        # Most people look into the camera.
        x, y, z = view.camera() - self.eye_centres.mean(0)
        stare = 1.0 if rng.random() < 0.6 else rng.uniform(0, 1)
        across = np.clip(stare * np.arctan2(x, z) + rng.normal(0, 0.12), -0.6, 0.6)
        down = np.clip(stare * np.arctan2(y, np.hypot(x, z)) + rng.normal(0, 0.08), -0.4, 0.4)
        look(weights, across, down)
        gaze = np.array([np.sin(across) * np.cos(down), np.sin(down), np.cos(across) * np.cos(down)])
        lips = skin_colour(0.8 * person.melanin + 0.02, 1.15 + 0.25 * person.blood) * np.exp(person.lip_tint)
        pose = Pose(
            places=moved(aged(person.places, rng), weights), eye_centre=self.eye_centres,
            gaze=np.array([gaze, gaze]),
            mouth_open=weights.get("jawOpen", 0) + weights.get("mouthUpperUpLeft", 0) > 0.02,
            cloth=rng.uniform(0.05, 0.85, 3) ** 2 * rng.uniform(0.1, 1), collar=rng.uniform(10, 14),
            lip_colour=lips, lip_tint=0.55)
        if person.male < 0.5 and rng.random() < 0.5:
            share = rng.uniform(0.2, 1.0)
            lipstick = np.array([0.5, 0.05, 0.09]) * np.exp(rng.normal(0, 0.4, 3))
            pose.lip_colour = lips + share * (lipstick - lips)
            pose.lip_tint = rng.uniform(0.6, 0.9)
            pose.lid_colour = np.array([0.05, 0.04, 0.05]) * np.exp(rng.normal(0, 0.6, 3))
            pose.lid_tint = rng.uniform(0.2, 0.9)
        return pose

    def _hairdo(self, rng: np.random.Generator) -> str:
        """Loads today's hair and beard: mostly the usual ones, sometimes others."""
        person, style, surface = self.person, self.person.style, self.surface
        if person.beard != "none" or rng.random() < 0.25:
            if rng.random() < 0.3:
                style = str(rng.choice(MENS_STYLES if person.male > 0.5 else WOMENS_STYLES))
            hair = paint_hair(person, style, rng, float(np.clip(rng.normal(0.9, 0.4), 0, 1.6)))
            surface = Surface(**{**vars(surface), "hair": hair.sheet, "comb": hair.comb})
        renderer(SIDE).load(surface)
        return style

    def _hide(self, picture: np.ndarray, view: View, rng: np.random.Generator,
              conditions: camera.Conditions) -> None:
        """Glasses for those who need them, seldom for others; sunglasses, a hand or a scarf."""
        usual = 0.15
        wears = rng.random() < (0.75 if self.person.glasses else 0.06) * conditions.glasses / usual
        kind = rng.choice(("hand", "scarf", "sunglasses")) if rng.random() < conditions.occlusion else None
        if wears or kind == "sunglasses":
            fronts = self.eye_centres + (0, 0, 1.4)
            worn.draw_glasses(picture, view, fronts, min(self.ears, 7.8), rng, kind == "sunglasses")
        if kind == "hand":
            skin = 255 * skin_colour(self.person.melanin, self.person.blood)[::-1] ** (1 / 2.2)
            worn.draw_hand(picture, view, skin, rng, rng.uniform(0.5, 1.1))
        elif kind == "scarf":
            worn.draw_scarf(picture, view, rng, rng.uniform(0.5, 1.1))
