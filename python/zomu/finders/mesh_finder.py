"""The finder that comes with the package: a detector, an upright crop, a mesh, and 25 means of its points."""

from __future__ import annotations

from pathlib import Path
from typing import Iterator, NamedTuple

import numpy as np
from numpy.typing import NDArray

from ..landmark_check import check_landmarks
from ._detector import LEFT_EYE, RIGHT_EYE, Detection, Detector, overlap
from ._face import Face, FinderError
from ._mapping import landmarks_of, read_mapping
from ._mesh import Mesh, square_around
from ._sampling import Places, Pyramid, Square
from ._search import candidates, detect_in

NAME = "mesh"
VERSION = "1"

_DATA = Path(__file__).parent / "data"

# A detection counts from this score on, in the search and again in the upright crop.
_SEARCH_LIMIT = 0.5
_UPRIGHT_LIMIT = 0.5

# The mesh must be this certain of a face. The other gates are the stricter ones.
_MESH_LIMIT = 0.1

# So much two fits may differ, in eye distances.
_AGREEMENT = 0.1

# The sides of the crops, in widths of a detection's box.
_UPRIGHT_SIDE = 2.0
_MESH_SIDE = 1.5


class MeshFit(NamedTuple):
    confidence: float
    mesh: Places
    """468 x 2, in pixels from the corner of the picture."""


class MeshFinder:
    """Call it with a picture. Several threads may do so at a time."""

    name = NAME
    version = VERSION

    def __init__(self) -> None:
        self._detector = Detector(_content("face_detection_short_range.tflite"))
        partners = [int(line) for line in _content("mesh_partners.csv").split()[1:]]
        self._mesh = Mesh(_content("face_landmark.tflite"), np.array(partners))
        self._mapping = read_mapping(_content("mesh_landmarks.csv").decode("ascii"))

    def __call__(self, picture: NDArray[np.uint8], /) -> list[Face]:
        height, width = picture.shape[:2]
        for fits in self._searches(Pyramid(picture)):
            faces = [_face(fit, landmarks_of(fit.mesh, self._mapping)) for fit in fits]
            good = [face for face in faces if check_landmarks(face.landmarks, width, height) is None]
            if good:
                return good
        return []

    def meshes(self, picture: NDArray[np.uint8]) -> list[MeshFit]:
        """The meshes from which the landmarks of the faces are computed."""
        return next((fits for fits in self._searches(Pyramid(picture)) if fits), [])

    def _searches(self, pyramid: Pyramid) -> Iterator[list[MeshFit]]:
        for found in candidates(pyramid, self._detector, _SEARCH_LIMIT):
            fits = [self._fit(pyramid, detection) for detection in found]
            yield _distinct([fit for fit in fits if fit is not None])

    def _fit(self, pyramid: Pyramid, detection: Detection) -> MeshFit | None:
        upright = self._upright(pyramid, detection)
        if upright is None:
            return None
        _, first = self._mesh.fit(pyramid, _square_of(upright, _MESH_SIDE))
        (certainty, mesh), (mirrored_certainty, mirrored) = self._mesh.fit_both(pyramid, square_around(first))
        if min(certainty, mirrored_certainty) < _MESH_LIMIT:
            return None
        size = float(np.hypot(*(upright.points[RIGHT_EYE] - upright.points[LEFT_EYE])))
        if max(_difference(mesh, first), _difference(mesh, mirrored)) > _AGREEMENT * size:
            return None
        return MeshFit(upright.score, (mesh + mirrored) / 2.0)

    def _upright(self, pyramid: Pyramid, detection: Detection) -> Detection | None:
        """The same face found again in a crop in which it is upright; None if it isn't found there.

        The detector takes some faces that are upside down for upright ones, so both are tried.
        """
        square = _square_of(detection, _UPRIGHT_SIDE)
        found = [
            (other, way)
            for way in (square, square.turned_over())
            for other in detect_in(pyramid, self._detector, way, _UPRIGHT_LIMIT)
            if overlap(other.box, detection.box) > 0.3
        ]
        if not found:
            return None
        return max(found, key=lambda pair: pair[0].score)[0]


def _content(name: str) -> bytes:
    try:
        return (_DATA / name).read_bytes()
    except OSError as problem:
        raise FinderError(
            f"{_DATA / name}: cannot be opened: {problem.strerror}; install the package zomu again, with its data"
        ) from problem


def _square_of(detection: Detection, sides: float) -> Square:
    step = detection.points[RIGHT_EYE] - detection.points[LEFT_EYE]
    x, y = (detection.box[:2] + detection.box[2:]) / 2.0
    side = sides * float(detection.box[2] - detection.box[0])
    return Square(float(x), float(y), side, float(np.arctan2(step[1], step[0])))


def _difference(a: Places, b: Places) -> float:
    return float(np.hypot(*(a - b).T).mean())


def _distinct(fits: list[MeshFit]) -> list[MeshFit]:
    """Without those whose mesh covers that of a better one: two detections may end at one face."""
    kept: list[MeshFit] = []
    for fit in sorted(fits, key=lambda fit: -fit.confidence):
        if all(overlap(_bounds(fit.mesh), _bounds(other.mesh)) < 0.3 for other in kept):
            kept.append(fit)
    return kept


def _bounds(mesh: Places) -> NDArray[np.float64]:
    return np.concatenate([mesh.min(axis=0), mesh.max(axis=0)])


def _face(fit: MeshFit, landmarks: dict[int, tuple[float, float]]) -> Face:
    left, top, right, bottom = (float(value) for value in _bounds(fit.mesh) - 0.5)
    return Face((left, top, right, bottom), fit.confidence, landmarks, NAME, VERSION)
