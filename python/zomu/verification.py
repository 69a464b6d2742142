"""Two photographs, and whether they show the same person as far as a model can tell."""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, NamedTuple, Union

import numpy as np
from numpy.typing import NDArray

from . import _library
from ._one_face import find_one_face
from .context import Context
from .errors import LandmarkError, TemplateError, problems_of
from .landmarks import Landmarks, as_landmarks
from .picture_files import read_picture
from .templates import compare, is_template_file, load_template, template_fingerprint
from .thresholds import MeasuredThreshold, threshold_for

if TYPE_CHECKING:
    from ._one_face import FinderOrName

Side = Union[str, "os.PathLike[str]", NDArray[Any]]


@dataclass(frozen=True)
class Verification:
    """What `verify` found. As a condition it is `same`."""

    score: float
    """The larger, the more alike. No unit, no fixed range, no probability."""
    threshold: float
    same: bool
    """Whether the score is at least the threshold."""
    measured: MeasuredThreshold | None
    """The measurement that the threshold comes from; None where the caller gave it."""
    finder: str | None
    """What found landmarks, with its version: "mesh 1". None where they were given, or in a template."""
    fingerprint: str | None
    """The model that made both templates, where it is known."""
    meaning: str
    """What the threshold stands for and what the model is: sentences for people."""

    def __bool__(self) -> bool:
        return self.same


def verify(
    a: Side,
    b: Side,
    *,
    landmarks: tuple[Landmarks | None, Landmarks | None] = (None, None),
    finder: FinderOrName = None,
    threshold: float | None = None,
    model: str | os.PathLike[str] | None = None,
    library: str | os.PathLike[str] | None = None,
    order: str = "BGR",
    unchecked: bool = False,
    largest: bool = False,
) -> Verification:
    """Scores two faces, and says whether the score reaches the threshold of the model.

    >>> zomu.verify("a.jpg", "b.jpg").same

    a, b       each a picture file, a template file, a picture as an array (height, width, 3) of uint8, or a
               template (502,) of float32
    landmarks  of a and of b, as `Context.extract` takes them; None where a finder is to look for them
    finder     what `zomu.finders` calls a finder, or its name. None means "mesh".
    threshold  a score. None means the one that was measured for the model, which is known for the demonstration
               model only.
    model      the model folder, and
    library    the file of the library, as `zomu.load` takes them
    order      "RGB" if red comes first in the arrays
    largest    of several faces that a finder finds in a picture, take the one whose eyes are at least twice as
               far apart as those of any other

    What cannot be judged raises an exception, and is never the same: FaceCountError for no face or several,
    ImageError, LandmarkError, TemplateError for templates of two models, ThresholdError for a model without a known
    threshold.
    """
    sides: tuple[Any, Any] = (a, b)
    fingerprints = [template_fingerprint(side) for side in sides if _is_template_file(side)]
    if any(_is_picture(side) for side in sides):
        with Context(model, library=library, handles=1) as context:
            fingerprint = _library.fingerprint_of_process()
            threshold_for(fingerprint, threshold)
            how = _How(finder, order, unchecked, largest)
            extracted = [_extracted(side, points, context, how) for side, points in zip(sides, landmarks)]
            found_by = next((name for _, name in extracted if name is not None), None)
            templates = [template for template, _ in extracted]
    else:
        found_by = None
        fingerprint = _fingerprint_of_templates(fingerprints, model, library)
        templates = [_stored(side, points, fingerprint) for side, points in zip(sides, landmarks)]
    limit = threshold_for(fingerprint, threshold, found_by)
    score = compare(*templates)
    return Verification(
        score, limit.value, score >= limit.value, limit.measured, found_by, limit.fingerprint, limit.meaning
    )


def _fingerprint_of_templates(
    fingerprints: list[str], model: str | os.PathLike[str] | None, library: str | os.PathLike[str] | None
) -> str | None:
    """Of the model of the files, or of this process for arrays, which don't record theirs."""
    if len(set(fingerprints)) > 1:
        first, second = (text[:16] for text in fingerprints)
        raise TemplateError(f"made with two models, {first}... and {second}...: their templates cannot be compared")
    if model is not None or library is not None or not fingerprints:
        _library.require(model, library)
    return fingerprints[0] if fingerprints else _library.fingerprint_of_process()


def _is_path(side: Any) -> bool:
    return isinstance(side, (str, os.PathLike))


def _is_template_file(side: Any) -> bool:
    return _is_path(side) and is_template_file(side)


def _is_picture(side: Any) -> bool:
    return not _is_template_file(side) if _is_path(side) else getattr(side, "ndim", 0) != 1


def _stored(side: Any, landmarks: Landmarks | None, fingerprint: str | None) -> NDArray[np.float32]:
    if landmarks is not None:
        raise LandmarkError("landmarks are for pictures, and this side is a template")
    template: NDArray[np.float32] = load_template(side, fingerprint=fingerprint) if _is_path(side) else side
    return template


class _How(NamedTuple):
    """A picture becomes a template: as the caller of `verify` says."""

    finder: FinderOrName
    order: str
    unchecked: bool
    largest: bool


def _extracted(
    side: Any, landmarks: Landmarks | None, context: Context, how: _How
) -> tuple[NDArray[np.float32], str | None]:
    """The template, and what has found the landmarks."""
    if not _is_picture(side):
        return _stored(side, landmarks, None), None
    if not _is_path(side):
        return _of_picture(side, landmarks, context, how)
    points = as_landmarks(landmarks) if landmarks is not None else None
    with problems_of(side):
        return _of_picture(read_picture(side), points, context, how._replace(order="BGR"))


def _of_picture(
    image: NDArray[np.uint8], landmarks: Landmarks | None, context: Context, how: _How
) -> tuple[NDArray[np.float32], str | None]:
    if landmarks is not None:
        return context.extract(image, landmarks, order=how.order, unchecked=how.unchecked), None
    face = find_one_face(image, how.finder, how.order, how.largest)
    return context.extract(image, face.landmarks, order=how.order), face.made_by
