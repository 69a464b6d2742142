"""Where the 29 landmarks are on the mesh."""

from functools import lru_cache

import numpy as np

from rendering.brows import brow_line
from rendering.head_mesh import head_mesh
from rendering.landmarks import IDS
from rendering.person import Person
from rendering.sheet import to_sheet

# For landmarks on the left of the picture and on the midline the vertices of MakeHuman's mesh whose mean
# they are.
VERTICES = {
    0: (4847, 4861), 6: (132, 133), 9: (294, 5054), 10: (455,), 11: (492, 5337), 12: (369, 361),
    44: (5051, 5139), 45: (474,), 200: (312,), 221: (4870, 69), 222: (4861,), 223: (28, 4856),
    240: (5464,), 314: (5171, 5225), 315: (895,)}
PARTNERS = {0: 1, 12: 13, 44: 43, 221: 227, 222: 226, 223: 225, 240: 241, 315: 316}

# Those of the brows: the side, and the share of the way to the outer end.
BROWS = {3: (-1, 0.03), 300: (-1, 0.6), 2: (-1, 1.0), 4: (1, 0.03), 302: (1, 0.6), 5: (1, 1.0)}


@lru_cache(maxsize=1)
def _rows() -> dict[int, tuple[int, ...]]:
    """The rows of vertices of each landmark but those of the brows."""
    mesh = head_mesh()
    row = {int(name): row for row, name in enumerate(mesh.origin)}
    table = {name: tuple(row[vertex] for vertex in vertices) for name, vertices in VERTICES.items()}
    for left, right in PARTNERS.items():
        mirrored = mesh.places[list(table[left])] * (-1, 1, 1)
        table[right] = tuple(int(np.abs(mesh.places - place).sum(1).argmin()) for place in mirrored)
    return table


@lru_cache(maxsize=1)
def _front() -> tuple[np.ndarray, np.ndarray]:
    """The vertices of the face's skin, and their places on the sheet."""
    mesh = head_mesh()
    skin = mesh.of(0)
    front = skin[(mesh.normals(mesh.places)[skin, 2] > 0.1) & (mesh.places[skin, 2] > 4)]
    return front, np.column_stack(to_sheet(*mesh.places[front].T))


class HeadLandmarks:
    """Those of one person: brows are painted, so that each person's are elsewhere on the skin."""

    def __init__(self, person: Person):
        front, at = _front()
        self.brows = {}
        for name, (side, share) in BROWS.items():
            line = brow_line(person, side)
            distance = np.hypot(*(at - to_sheet(*line[round(share * (len(line) - 1))])).T)
            near = np.argsort(distance)[:4]
            weights = 1 / (distance[near] + 0.5) ** 2
            self.brows[name] = front[near], weights / weights.sum()

    def of(self, places: np.ndarray) -> np.ndarray:
        """29 x 3 places in the order of IDS."""
        points = np.empty((len(IDS), 3))
        for row, name in enumerate(IDS):
            if name in self.brows:
                vertices, weights = self.brows[name]
                points[row] = weights @ places[vertices]
            else:
                points[row] = places[list(_rows()[name])].mean(0)
        return points
