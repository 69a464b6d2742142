"""From pictures and their landmarks to templates."""

from __future__ import annotations

import ctypes
import itertools
import os
import threading
from types import TracebackType
from typing import TYPE_CHECKING, Iterable, NamedTuple

import numpy as np
from numpy.typing import NDArray

from . import _batch_library, _library
from ._one_face import find_one_face
from ._pool import HandlePool
from .errors import Error, LandmarkError, ModelError
from .landmark_check import landmark_report
from .landmarks import Landmarks, as_float32, as_landmarks
from .near_face import Points, near_face
from .pictures import as_bgr_rows, require_picture
from .templates import TEMPLATE_SIZE

if TYPE_CHECKING:
    from ._one_face import FinderOrName


class Context:
    """Extracts templates; may be used by any number of threads at the same time.

    A context of the library serves one thread at a time. This class keeps a pool of them: it creates
    another one when all are in use, up to `handles`, and then makes callers wait. Each takes about
    30 MB and has threads of its own (OMP_NUM_THREADS).

    >>> with zomu.Context(model="model") as context:
    ...     template = context.extract(image, "face.csv")
    """

    def __init__(
        self,
        model: str | os.PathLike[str] | None = None,
        *,
        library: str | os.PathLike[str] | None = None,
        handles: int = 4,
    ) -> None:
        """Loads the library if necessary (`zomu.load` explains the arguments).

        A later context may name the same model again; another model needs another process.
        """
        if handles < 1:
            raise ValueError(f"handles must be at least 1, not {handles}")
        loaded = _library.require(model, library)
        if loaded.model is None:
            raise ModelError("this process has loaded the library without a model, to compare only")
        self._functions = loaded.functions
        self._model = loaded.model
        self._limit = handles
        self._pool = HandlePool(self._functions.ZomuCreate, self._functions.ZomuDestroy, handles)
        with self._pool.handle():
            pass  # there is one from now on
        self._batch_lock = threading.Lock()
        self._batch_pool: HandlePool | None = None

    def extract(
        self,
        image: NDArray[np.uint8],
        landmarks: Landmarks | None = None,
        *,
        finder: FinderOrName = None,
        order: str = "BGR",
        unchecked: bool = False,
        largest: bool = False,
    ) -> NDArray[np.float32]:
        """The template of one face: 502 floats.

        image      uint8, height x width x 3, with any strides; as OpenCV reads it. Views and pictures
                   with flipped rows are passed on as they are, others are copied.
        landmarks  a dict of id to (x, y), an array (29, 2) by LANDMARK_IDS or (25, 2) by REQUIRED_IDS,
                   or the path of a CSV file; in pixels of `image`. None: those of the one face that a finder
                   finds in the picture.
        finder     without landmarks: what `zomu.finders` calls a finder, or its name. None means "mesh".
        order      "RGB" if red comes first.
        unchecked  true for landmarks that are right although `check_landmarks` finds a fault.
        largest    of several faces that a finder finds, take the one whose eyes are at least twice as far
                   apart as those of any other.

        Raises LandmarkError if the landmarks do not lie like those of a face in this picture: a template
        of them would be one of ordinary numbers, and might score high against others of that kind. Raises
        FaceCountError if landmarks are to be found, and the picture shows no face or several.
        """
        if landmarks is None:
            landmarks = find_one_face(image, finder, order, largest).landmarks
        elif finder is not None:
            raise ValueError("landmarks and a finder: only one of them can say where the face is")
        face = _prepared(image, landmarks, order, unchecked)
        template: NDArray[np.float32] = self._extract_singly([face])[0]
        self._require_finite(template, "this face")
        return template

    def extract_many(
        self,
        faces: Iterable[tuple[NDArray[np.uint8], Landmarks]],
        *,
        order: str = "BGR",
        unchecked: bool = False,
    ) -> NDArray[np.float32]:
        """The templates of any number of faces, in their order: an array (n, 502).

        faces      pairs of an image and its landmarks, each as `extract` takes them. Of an iterator, no
                   more than 16 pairs are held at a time.
        order      "RGB" if red comes first in the images.
        unchecked  true if no face is refused for what `check_landmarks` finds.

        Has the bits of `extract`, but computes 16 faces together, which takes less time: in the library
        for batches, which is loaded with the first call. Where that is not installed, face by face.

        Exceptions are those of `extract` and name the face by its number, from 0 on.
        """
        functions = _batch_library.functions()
        results = [np.empty((0, TEMPLATE_SIZE), dtype=np.float32)]
        iterator = enumerate(faces)
        while group := list(itertools.islice(iterator, _batch_library.BATCH)):
            prepared = []
            for number, (image, landmarks) in group:
                try:
                    prepared.append(_prepared(image, landmarks, order, unchecked))
                except Error as problem:
                    raise type(problem)(f"face {number}: {problem}") from problem
            if functions is None:
                templates = self._extract_singly(prepared)
            else:
                templates = self._extract_batch(functions, prepared)
            for (number, _), template in zip(group, templates):
                self._require_finite(template, f"face {number}")
            results.append(templates)
        return np.concatenate(results)

    def close(self) -> None:
        """Destroys the library's contexts; those in use are destroyed when their extraction is done."""
        self._pool.close()
        with self._batch_lock:
            if self._batch_pool is not None:
                self._batch_pool.close()

    def __enter__(self) -> Context:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        problem: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def _extract_singly(self, faces: list[_Face]) -> NDArray[np.float32]:
        templates = np.empty((len(faces), TEMPLATE_SIZE), dtype=np.float32)
        _library.require()  # raises if the process was forked
        with self._pool.handle() as handle:
            for (rows, record), template in zip(faces, templates):
                height, width = rows.shape[:2]
                self._functions.ZomuExtractTemplate(
                    handle,
                    rows.ctypes.data,
                    width,
                    height,
                    rows.strides[0],
                    record,
                    template.ctypes.data,
                )
        return templates

    def _extract_batch(self, functions: ctypes.CDLL, faces: list[_Face]) -> NDArray[np.float32]:
        templates = np.empty((len(faces), TEMPLATE_SIZE), dtype=np.float32)
        requests = (_batch_library.BatchRequest * len(faces))()
        for request, (rows, record), template in zip(requests, faces, templates):
            request.image = rows.ctypes.data
            request.height, request.width = rows.shape[:2]
            request.stride = rows.strides[0]
            request.landmarks = ctypes.pointer(record)
            request.templateOut = template.ctypes.data
        with self._handles_for_batches(functions).handle() as handle:
            functions.ZomuBatchExtract(handle, requests, len(requests))
        return templates

    def _handles_for_batches(self, functions: ctypes.CDLL) -> HandlePool:
        with self._batch_lock:
            if self._batch_pool is None:
                self._pool.require_open()
                self._batch_pool = HandlePool(functions.ZomuBatchCreate, functions.ZomuBatchDestroy, self._limit)
            return self._batch_pool

    def _require_finite(self, template: NDArray[np.float32], name: str) -> None:
        if not np.all(np.isfinite(template)):
            raise ModelError(
                f"the library gives no template for {name}: weights are missing or damaged in {self._model}. "
                "`zomu-model check FOLDER` says which"
            )


class _Face(NamedTuple):
    """A face as the library takes it."""

    rows: NDArray[np.uint8]
    record: _library.LandmarkRecord


def _prepared(image: NDArray[np.uint8], landmarks: Landmarks, order: str, unchecked: bool) -> _Face:
    require_picture(image)
    points: Points = {
        number: (as_float32(x), as_float32(y)) for number, (x, y) in as_landmarks(landmarks).items()
    }
    height, width = image.shape[:2]
    report = landmark_report([(number, x, y) for number, (x, y) in points.items()], width, height)
    if report.fault == "good":
        image, points = near_face(image, points)
    elif not unchecked:
        raise LandmarkError(report.text)
    return _Face(as_bgr_rows(image, order), _record_of(points))


def _record_of(landmarks: Points) -> _library.LandmarkRecord:
    record = _library.LandmarkRecord(count=len(landmarks))
    for entry, (number, (x, y)) in zip(record.entries, landmarks.items()):
        entry.id, entry.x, entry.y = number, x, y
    return record
