"""Where the subcommands get their models, pictures, landmarks and templates."""

from __future__ import annotations

import contextlib
import os
import sys
from argparse import Namespace
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator

import numpy as np
from numpy.typing import NDArray

from .. import finders
from .._one_face import NO_FACE, finder_of, find_one_face
from ..context import Context
from ..errors import FaceCountError, ImageError, LandmarkError, ModelError, TemplateError, problems_of
from ..finders import Face, Finder
from ..landmarks import as_landmarks
from ..model_folder import MODEL_NAME, temporary_directory
from ..picture_files import read_picture
from ..templates import is_template_file, load_template
from ._output import progressing, warn
from ._reasons import reason

# Files with these endings are taken for pictures; of some kinds the reader says that it doesn't read them.
_PICTURES = frozenset(".avif .bmp .gif .heic .heif .jpe .jpeg .jpg .png .tif .tiff .webp".split())
_TEMPLATES = frozenset([".zomu"])

PICTURE_PROBLEMS = (FaceCountError, ImageError, LandmarkError, TemplateError)
"""What is wrong with one picture of several, so that the others are worth a try."""


def place_of_model(options: Namespace) -> Path:
    """The model folder that the options name, else the one where the library looks."""
    return Path(options.model) if options.model is not None else Path(temporary_directory(), MODEL_NAME)


def open_context(options: Namespace) -> Context:
    """A context with the model of the options; raises ModelError with the next step without one."""
    require_model_there(options)
    return Context(options.model, handles=1)


def require_model_there(options: Namespace) -> None:
    folder = place_of_model(options)
    if not folder.is_dir():
        place = f" --folder {folder}" if options.model is not None else ""
        raise ModelError(
            f"there is no model in {folder}: `zomu model install{place}` puts the demonstration model there"
        )


def the_finder(options: Namespace) -> Finder:
    return finder_of(options.finder)


def faces_in(path: str, finder: Finder) -> tuple[NDArray[np.uint8], list[Face]]:
    """A picture and its faces, the largest first; errors begin with the path."""
    with problems_of(path):
        image = read_picture(path)
        return image, finders.find_faces(image, finder)


Points = dict[int, tuple[float, float]]


def one_face(path: str, landmarks: str | None, options: Namespace) -> tuple[NDArray[np.uint8], Points]:
    """A picture and the landmarks of its face: from the file, or those of the only face that the finder finds."""
    if landmarks is not None:
        points = as_landmarks(landmarks)
        with problems_of(path):
            return read_picture(path), points
    with problems_of(path):
        image = read_picture(path)
        return image, find_one_face(image, the_finder(options), largest=options.largest).landmarks


def files_under(folder: str, endings: frozenset[str]) -> list[str]:
    """The files with these endings in a folder and in those below it, in the order of their names."""
    found: list[str] = []
    if not os.path.isdir(folder):
        raise NotADirectoryError(20, "is not a folder", folder)
    for place, folders, names in os.walk(folder):
        folders.sort()
        found += [os.path.join(place, name) for name in sorted(names) if Path(name).suffix.lower() in endings]
    return found


def is_picture(path: str) -> bool:
    """By its ending."""
    return Path(path).suffix.lower() in _PICTURES


def pictures_under(folder: str) -> list[str]:
    return files_under(folder, _PICTURES)


@dataclass(frozen=True)
class Member:
    """One face of a gallery."""

    path: str
    number: int
    """Of the face in its picture, from 1, the largest first; 1 for a template."""
    faces: int
    """How many the picture has."""
    template: NDArray[np.float32]
    found_by: str | None
    """The finder and its version; None for a template."""

    @property
    def name(self) -> str:
        return f"{self.path} (face {self.number} of {self.faces})" if self.faces > 1 else self.path


@dataclass(frozen=True)
class Gallery:
    members: list[Member]
    rejects: list[dict[str, str]]
    """Path and reason of files that gave no face."""

    @property
    def found_by(self) -> str | None:
        """What found landmarks, with its version; None if all are templates."""
        return next((member.found_by for member in self.members if member.found_by is not None), None)

    @property
    def templates(self) -> NDArray[np.float32]:
        rows = [member.template for member in self.members]
        return np.array(rows, dtype=np.float32).reshape(len(rows), 502)


def read_gallery(folder: str, context: Context, options: Namespace) -> Gallery:
    """All faces of the pictures and templates in a folder; what cannot be judged is reported and left out."""
    return read_faces(faces_files(folder), context, options)


def faces_files(folder: str) -> list[str]:
    """The pictures and template files in a folder and in those below it."""
    return files_under(folder, _PICTURES | _TEMPLATES)


def read_faces(paths: list[str], context: Context, options: Namespace) -> Gallery:
    """All faces of these files; what cannot be judged is reported and left out."""
    members: list[Member] = []
    rejects: list[dict[str, str]] = []
    for path in progressing("faces", paths):
        try:
            members += _members_of(path, context, options)
        except PICTURE_PROBLEMS as problem:
            rejects.append({"file": path, "reason": reason(problem, path, options)})
    for reject in rejects:
        warn(options.name, f"{reject['file']}: {reject['reason']}; left out")
    return Gallery(members, rejects)


def _members_of(path: str, context: Context, options: Namespace) -> list[Member]:
    if is_template_file(path):
        return [Member(path, 1, 1, load_template(path), None)]
    image, faces = faces_in(path, the_finder(options))
    if not faces:
        raise FaceCountError(NO_FACE)
    return [
        Member(path, number, len(faces), context.extract(image, face.landmarks), face.made_by)
        for number, face in enumerate(faces, start=1)
    ]


def template_of(path: str, context: Context, options: Namespace) -> NDArray[np.float32]:
    """Of a template file, or of the one face in a picture."""
    if is_template_file(path):
        if options.landmarks is not None:
            raise TemplateError(f"{path}: is a template, which has no use for --landmarks")
        return load_template(path)
    image, landmarks = one_face(path, options.landmarks, options)
    with problems_of(path):
        return context.extract(image, landmarks)


@contextlib.contextmanager
def silent_standard_output() -> Iterator[None]:
    """The library reports there that it has no tables, which is no news to a process that only compares."""
    sys.stdout.flush()
    kept = os.dup(1)
    try:
        with open(os.devnull, "wb") as nowhere:
            os.dup2(nowhere.fileno(), 1)
        yield
    finally:
        os.dup2(kept, 1)
        os.close(kept)
