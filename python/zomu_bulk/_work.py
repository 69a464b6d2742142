"""What a worker does: photographs in, templates and reasons out. Runs in processes of its own, here or elsewhere."""

from __future__ import annotations

import functools
import hashlib
import os
from dataclasses import dataclass, field
from typing import Any, Iterator, NamedTuple, Sequence

import fsspec
import numpy as np
from numpy.typing import NDArray

import zomu
from zomu import _library, finders
from zomu._one_face import finder_of
from zomu.templates import checked_template

from ._sources import Photo, is_address

BATCH = 16  # photographs for one call, and faces that the library computes together
_PIXELS = 1 << 26  # held at a time, unless one picture has more


@dataclass(frozen=True)
class Settings:
    """What is the same for all photographs of a run."""

    fingerprint: str
    """Of the model that a worker must have."""
    model: str | None
    """Its folder; None if each worker knows where it is."""
    finder: str | None
    unchecked: bool
    version: str
    """Of zomu, and so of its finder."""


class Face(NamedTuple):
    """What is known of a face; fields after `faces` are None if its landmarks came from a file."""

    photo: str
    sha256: str
    person: str | None
    face: int
    faces: int
    box: tuple[float, float, float, float] | None
    confidence: float | None
    finder: str | None
    finder_version: str | None


class Reject(NamedTuple):
    photo: str
    face: int | None
    """None for the photograph as a whole."""
    reason: str


@dataclass
class Results:
    """Of some photographs: each is in `faces` or in `rejects`, perhaps in both."""

    faces: list[Face] = field(default_factory=list)
    templates: list[NDArray[np.float32]] = field(default_factory=list)
    rejects: list[Reject] = field(default_factory=list)


class Unlike(zomu.Error):
    """This worker has another model than the run, or another version."""


class _Candidate(NamedTuple):
    face: Face
    image: NDArray[np.uint8]
    landmarks: Any


def introduce(settings: Settings) -> None:
    """Prepares this process. Raises zomu.Error where it cannot do the work of this run."""
    _context_for(settings)
    finder_of(settings.finder)


def extract(settings: Settings, photos: Sequence[Photo]) -> Results:
    """The templates of all faces in the photographs. Reasons are collected; what no photograph can help is raised."""
    context = _context_for(settings)
    results = Results()
    waiting: list[_Candidate] = []
    pixels = 0
    for photo in photos:
        try:
            found = list(_candidates(photo, settings))
        except (finders.FinderError, zomu.LibraryError):
            raise
        except Exception as problem:  # of one photograph, or of somebody else's finder in it
            results.rejects.append(Reject(photo.name, None, _reason(problem)))
            continue
        waiting += found
        pixels += found[0].image.size // 3
        if pixels >= _PIXELS:
            _finish(context, waiting, settings, results)
            waiting, pixels = [], 0
    _finish(context, waiting, settings, results)
    return results


def _context_for(settings: Settings) -> zomu.Context:
    context, fingerprint = _context(settings.model)
    if fingerprint != settings.fingerprint:
        raise Unlike(f"has another model: {fingerprint[:16]}..., not {settings.fingerprint[:16]}...")
    if zomu.__version__ != settings.version:
        raise Unlike(f"has another version: {zomu.__version__}, not {settings.version}")
    return context


@functools.lru_cache(maxsize=None)
def _context(model: str | None) -> tuple[zomu.Context, str]:
    # Each process has one thread for each of its tasks, whoever has started it.
    os.environ["OMP_NUM_THREADS"] = "1"
    context = zomu.Context(model)
    fingerprint = _library.fingerprint_of_process()
    assert fingerprint is not None  # a context has a model
    return context, fingerprint


def _candidates(photo: Photo, settings: Settings) -> Iterator[_Candidate]:
    content = _content(photo.path)
    digest = hashlib.sha256(content).hexdigest()
    with _file_with(content) as path:
        image = zomu.read_picture(path)
    if photo.landmarks is not None:
        with _file_with(_content(photo.landmarks)) as path:
            landmarks = zomu.as_landmarks(path)
        fault = zomu.check_landmarks(landmarks, image.shape[1], image.shape[0])
        if fault is not None and not settings.unchecked:
            raise zomu.LandmarkError(fault)
        yield _Candidate(Face(photo.name, digest, photo.person, 1, 1, None, None, None, None), image, landmarks)
        return
    found = finders.find_faces(image, finder_of(settings.finder))
    if not found:
        raise zomu.FaceCountError("no face was found")
    for number, face in enumerate(found, start=1):
        known = (face.box, face.confidence, face.finder, face.version)
        yield _Candidate(Face(photo.name, digest, photo.person, number, len(found), *known), image, face.landmarks)


def _finish(context: zomu.Context, faces: list[_Candidate], settings: Settings, results: Results) -> None:
    for start in range(0, len(faces), BATCH):
        group = faces[start : start + BATCH]
        try:
            templates = list(context.extract_many(((c.image, c.landmarks) for c in group), unchecked=settings.unchecked))
        except zomu.Error:
            templates = []  # one of them cannot be computed
        for number, candidate in enumerate(group):
            try:
                template = (
                    templates[number]
                    if templates
                    else context.extract(candidate.image, candidate.landmarks, unchecked=settings.unchecked)
                )
                results.templates.append(checked_template(template))
                results.faces.append(candidate.face)
            except zomu.Error as problem:
                results.rejects.append(Reject(candidate.face.photo, candidate.face.face, _reason(problem)))


def _content(path: str) -> bytes:
    if not is_address(path):
        with open(path, "rb") as file:
            return file.read()
    with fsspec.open(path, "rb") as file:
        content: bytes = file.read()
        return content


class _file_with:
    """A file that only this process sees, with the bytes whose digest is known: the readers take names."""

    def __init__(self, content: bytes) -> None:
        self._file = os.fdopen(os.memfd_create("photo"), "wb")
        self._file.write(content)
        self._file.flush()

    def __enter__(self) -> str:
        return f"/proc/self/fd/{self._file.fileno()}"

    def __exit__(self, *problem: object) -> None:
        self._file.close()


def _reason(problem: Exception) -> str:
    """One line, without the name of the file that only the worker has seen."""
    if isinstance(problem, MemoryError):
        return "there is not enough memory; take a smaller picture"
    if isinstance(problem, OSError):
        return f"cannot be read: {problem.strerror or problem}"
    text = " ".join(str(problem).split())
    if not isinstance(problem, zomu.Error):
        return f"{type(problem).__name__}: {text}"
    name, colon, rest = text.partition(": ")
    return rest if name.startswith("/proc/self/fd/") and colon else text
