"""The mesh of a head and the targets that move its vertices."""

from functools import lru_cache
from pathlib import Path

import numpy as np

DATA = Path(__file__).parent / "data" / "heads.npz"

# A target's numbers are multiples of so many centimetres; its places are decimetres.
UNIT, DECIMETRE = 0.005, 10

# What a triangle belongs to.
SKIN, LEFT_EYE, RIGHT_EYE, UPPER_TEETH, LOWER_TEETH, LASHES, TONGUE, SOCKET, MOUTH = range(9)

# Places are centimetres: x to the right of the picture, y down, z towards the viewer. The fronts of the
# eyes are as high and as far forward as those of the head model that the library fits to landmarks.
EYES = (0.0, -3.5, 9.6)

# The axis of the sheet that is wrapped around the head, and where its rows begin and end.
AXIS = 1.0
SHEET_TOP, SHEET_BOTTOM = -17.0, 19.0


class HeadMesh:
    """All that people have in common.

    `places` are those of the vertices of an average head, `triangles` their numbers. Where the sheet is closed at
    the back of the head vertices are there twice: `drawn` are the triangles with these, `source` tells
    which vertex each one is, and `sheet` where it is on the sheet, from 0 to 1.
    """

    def __init__(self) -> None:
        data = np.load(DATA)
        self.parts = data["parts"]
        self.origin = data["origin"]      # the numbers of vertices in MakeHuman's mesh
        self.triangles = data["triangles"].astype(np.int32)
        self.lips, self.lids = data["lips"] / 255, data["lids"] / 255
        self.starts, self.vertices = data["starts"], data["vertices"].astype(np.int32)
        self.deltas = data["deltas"]
        self.rows = {str(title): row for row, title in enumerate(data["titles"])}
        self.places = self.centred(data["places"] * (DECIMETRE * np.array([1.0, -1.0, 1.0])))
        self._unwrap()
        self._find_neighbours()

    def of(self, part: int) -> np.ndarray:
        """The vertices of a part."""
        return np.unique(self.triangles[self.parts == part])

    def _unwrap(self) -> None:
        x, y, z = self.places.T
        across = np.arctan2(x, z - AXIS) / (2 * np.pi) + 0.5
        down = (y - SHEET_TOP) / (SHEET_BOTTOM - SHEET_TOP)
        corners = across[self.triangles]
        seam = np.flatnonzero(np.ptp(corners, axis=1) > 0.5)
        twice = np.unique(self.triangles[seam][across[self.triangles[seam]] < 0.5])
        copy = np.arange(len(across))
        copy[twice] = len(across) + np.arange(len(twice))
        self.drawn = self.triangles.copy()
        self.drawn[seam] = copy[self.triangles[seam]]
        self.source = np.concatenate([np.arange(len(across)), twice])
        sheet = np.column_stack([across, down])
        self.sheet = np.concatenate([sheet, sheet[twice] + (1, 0)]).astype(np.float32)

    def _find_neighbours(self) -> None:
        """For each vertex the triangles around it, filled up with one that has no area."""
        corners = self.triangles.ravel()
        count = np.bincount(corners, minlength=len(self.places))
        self.around = np.full((len(self.places), count.max()), len(self.triangles))
        order = np.argsort(corners, kind="stable")
        place = np.arange(len(order)) - np.repeat(np.cumsum(count) - count, count)
        self.around[corners[order], place] = order // 3

    def normals(self, places: np.ndarray) -> np.ndarray:
        """Of each vertex, outwards, of length 1."""
        a, b, c = (places[self.triangles[:, k]] for k in range(3))
        faces = np.zeros((len(self.triangles) + 1, 3))
        faces[:-1] = np.cross(c - a, b - a)
        total = faces[self.around].sum(1)
        return total / np.maximum(np.linalg.norm(total, axis=1, keepdims=True), 1e-12)

    def add(self, places: np.ndarray, title: str, weight: float) -> None:
        """Moves vertices of `places` along a target, 1 being what its sculptor made."""
        row = self.rows[title]
        part = slice(self.starts[row], self.starts[row + 1])
        places[self.vertices[part]] += self.deltas[part] * (weight * UNIT * np.array([1, -1, 1]))

    def centred(self, places: np.ndarray) -> np.ndarray:
        """The same with the eyes where they belong."""
        left, right = (places[self.of(part)] for part in (LEFT_EYE, RIGHT_EYE))
        middle = (left.mean(0) + right.mean(0)) / 2
        return places - (0, middle[1], max(left[:, 2].max(), right[:, 2].max())) + EYES


@lru_cache(maxsize=1)
def head_mesh() -> HeadMesh:
    """The one of this process."""
    return HeadMesh()
