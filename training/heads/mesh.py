"""The mesh of a head and the targets that move its vertices."""

from functools import lru_cache
from pathlib import Path

import numpy as np

DATA = Path(__file__).with_name("head_data.npz")

# Steps of a target, in centimetres.
UNIT = 0.005

SKIN, LEFT_EYE, RIGHT_EYE, UPPER_TEETH, LOWER_TEETH, LASHES, TONGUE, SOCKET, MOUTH = range(9)

# Centimetres: x to the right of the picture, y down, z towards the viewer; the place between the eyes is
# where the library's head model has it.
ORIGIN = (0.0, 72.842, 0.0)
EYES = (0.0, -3.5, 9.6)

# The axis of the sheet that is wrapped around the head, and its rows, in centimetres.
AXIS = 1.0
SHEET_TOP, SHEET_BOTTOM = -17.0, 19.0


class HeadMesh:
    """All that people have in common."""

    def __init__(self):
        data = np.load(DATA)
        places = data["places"].astype(np.float64) * 10
        self.parts = data["parts"]
        self.origin = data["origin"]
        self.triangles = data["triangles"].astype(np.int32)
        self.lips, self.lids = data["lips"] / 255, data["lids"] / 255
        eyes = [places[self.of(part)].mean(0) for part in (RIGHT_EYE, LEFT_EYE)]
        middle = (eyes[0] + eyes[1]) / 2
        front = places[self.of(LEFT_EYE), 2].max()
        self.shift = np.array([0.0, middle[1], front])
        self.places = self._turned(places - self.shift) + EYES
        self.starts = data["starts"]
        self.vertices = data["vertices"].astype(np.int32)
        self.deltas = data["deltas"]
        self.rows = {str(title): row for row, title in enumerate(data["titles"])}
        self._unwrap()
        self._neighbours()

    @staticmethod
    def _turned(places):
        return places * (1.0, -1.0, 1.0)

    def of(self, part: int) -> np.ndarray:
        """The vertices of a part."""
        return np.unique(self.triangles[self.parts == part])

    def _unwrap(self) -> None:
        """Places on the sheet; a triangle across the seam gets vertices of its own."""
        x, y, z = self.places.T
        across = np.arctan2(x, z - AXIS) / (2 * np.pi) + 0.5
        down = (y - SHEET_TOP) / (SHEET_BOTTOM - SHEET_TOP)
        sheet = np.stack([across, down], 1)
        corners = across[self.triangles]
        seam = (corners.max(1) - corners.min(1)) > 0.5
        source = list(range(len(sheet)))
        extra, copies = [], {}
        triangles = self.triangles.copy()
        for row in np.flatnonzero(seam):
            for k in range(3):
                v = triangles[row, k]
                if across[v] < 0.5:
                    if v not in copies:
                        copies[v] = len(sheet) + len(extra)
                        extra.append(sheet[v] + (1, 0))
                        source.append(v)
                    triangles[row, k] = copies[v]
        self.sheet = np.concatenate([sheet, np.array(extra).reshape(-1, 2)]).astype(np.float32)
        self.source = np.array(source)
        self.drawn = triangles

    def _neighbours(self) -> None:
        """For each vertex the triangles around it, filled up with an empty one."""
        count = np.bincount(self.triangles.ravel(), minlength=len(self.places))
        table = np.full((len(self.places), count.max()), len(self.triangles))
        order = np.argsort(self.triangles.ravel(), kind="stable")
        place = np.arange(len(order)) - np.repeat(np.cumsum(count) - count, count)
        table[self.triangles.ravel()[order], place] = order // 3
        self.around = table

    def normals(self, places: np.ndarray) -> np.ndarray:
        a, b, c = (places[self.triangles[:, k]] for k in range(3))
        faces = np.zeros((len(self.triangles) + 1, 3))
        faces[:-1] = np.cross(c - a, b - a)
        total = faces[self.around].sum(1)
        return total / np.maximum(np.linalg.norm(total, axis=1, keepdims=True), 1e-12)

    def add(self, places: np.ndarray, title: str, weight: float) -> None:
        """Moves the vertices of `places` along a target."""
        row = self.rows[title]
        part = slice(self.starts[row], self.starts[row + 1])
        move = self.deltas[part] * (weight * UNIT * np.array([1, -1, 1]))
        places[self.vertices[part]] += move

    def centred(self, places: np.ndarray) -> np.ndarray:
        """The same with the place between the eyes where it belongs."""
        left, right = (places[self.of(part)] for part in (LEFT_EYE, RIGHT_EYE))
        middle = (left.mean(0) + right.mean(0)) / 2
        middle[2] = max(left[:, 2].max(), right[:, 2].max())
        middle[0] = 0
        return places - middle + EYES


@lru_cache(maxsize=1)
def head_mesh() -> HeadMesh:
    return HeadMesh()
