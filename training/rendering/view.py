"""Where the camera stands, and how the head is turned."""

import numpy as np

from rendering.camera import Conditions
from rendering.landmarks import EYE_DISTANCE

# The side of a picture, in pixels.
SIDE = 208

# Roughly the point about which a head turns, in centimetres.
PIVOT = np.array([0.0, -1.0, 3.0])

# The camera's distance, in centimetres: from a telephone at arm's length to a stage.
NEAREST, FARTHEST = 45, 400

# What is drawn lies between these depths in front of the pivot and behind it.
FRONT, BACK = 22, 30


class View:
    """A pinhole camera that looks at a turned head. Places are those of the head, in centimetres."""

    def __init__(self, rng: np.random.Generator, conditions: Conditions):
        def angle(spread):
            return np.radians(np.clip(rng.normal(0, spread), -2 * spread, 2 * spread))

        yaw, pitch, roll = (angle(spread) for spread in (
            conditions.yaw, conditions.pitch, conditions.roll))
        cy, sy, cp, sp = np.cos(yaw), np.sin(yaw), np.cos(pitch), np.sin(pitch)
        cr, sr = np.cos(roll), np.sin(roll)
        turn = np.array([[cy, 0, sy], [0, 1, 0], [-sy, 0, cy]])
        nod = np.array([[1, 0, 0], [0, cp, -sp], [0, sp, cp]])
        tilt = np.array([[cr, -sr, 0], [sr, cr, 0], [0, 0, 1]])
        self.rotation = tilt @ nod @ turn
        self.scale = rng.uniform(30, 48) / EYE_DISTANCE
        self.centre = np.array([SIDE, SIDE]) * 0.5 + rng.normal(0, 6, 2)
        self.distance = np.exp(rng.uniform(np.log(NEAREST), np.log(FARTHEST)))
        # A near camera enlarges a face, which lies in front of the pivot: undo that.
        self.scale *= (self.distance - 6) / self.distance

    def place(self, points: np.ndarray) -> np.ndarray:
        """Converts places to pixels."""
        turned = (np.asarray(points) - PIVOT) @ self.rotation.T
        nearness = (self.distance - turned[..., 2:]) / self.distance
        return self.centre + self.scale * turned[..., :2] / nearness

    def matrix(self) -> np.ndarray:
        """The same as a 4 x 4 matrix to OpenGL's cube, whose first row of pixels is the picture's."""
        d = self.distance
        near, far = (d - FRONT) / d, (d + BACK) / d
        turn = np.eye(4)
        turn[:3, :3] = self.rotation
        turn[:3, 3] = -self.rotation @ PIVOT
        depth = np.array([0, 0, -1 / d, 1])
        lens = np.zeros((4, 4))
        for row, centre in enumerate(self.centre):
            lens[row] = (2 * (centre + 0.5) / SIDE - 1) * depth
            lens[row, row] += 2 * self.scale / SIDE
        lens[2] = depth * (far + near) / (far - near)
        lens[2, 3] -= 2 * far * near / (far - near)
        lens[3] = depth
        return lens @ turn

    def camera(self) -> np.ndarray:
        """The place of the pinhole."""
        return PIVOT + self.rotation.T @ np.array([0, 0, self.distance])
