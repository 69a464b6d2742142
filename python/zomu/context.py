"""From a picture and its landmarks to a template."""

from __future__ import annotations

import ctypes
import os
import threading
import warnings
import weakref
from contextlib import contextmanager
from types import TracebackType
from typing import Iterator

import numpy as np
from numpy.typing import NDArray

from . import _library
from .errors import Error, LandmarkWarning, ModelError
from .landmark_check import check_landmarks
from .landmarks import Landmarks, as_landmarks
from .pictures import as_bgr_rows
from .templates import TEMPLATE_SIZE


class Context:
    """Extracts templates; may be used by any number of threads at the same time.

    A context of the library serves one thread at a time. This class keeps a pool of them: it creates
    another one when all are in use, up to `handles`, and then makes callers wait. Each takes about
    41 MB and has threads of its own (OMP_NUM_THREADS).

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
        self._changed = threading.Condition()
        self._limit = handles
        self._closed = False
        self._made = 1
        self._free: list[int] = [self._functions.ZomuCreate()]
        self._finalizer = weakref.finalize(self, _destroy, self._functions, self._free)

    def extract(
        self, image: NDArray[np.uint8], landmarks: Landmarks, *, order: str = "BGR"
    ) -> NDArray[np.float32]:
        """The template of one face: 502 floats.

        image      uint8, height x width x 3, with any strides; as OpenCV reads it. Views and pictures
                   with flipped rows are passed on as they are, others are copied.
        landmarks  a dict of id to (x, y), an array (29, 2) by LANDMARK_IDS or (25, 2) by REQUIRED_IDS,
                   or the path of a CSV file; in pixels of `image`.
        order      "RGB" if red comes first.

        Warns (LandmarkWarning) if the landmarks do not look like those of a face.
        """
        rows = as_bgr_rows(image, order)
        points = as_landmarks(landmarks)
        doubt = check_landmarks(points)
        if doubt is not None:
            warnings.warn(doubt, LandmarkWarning, stacklevel=2)
        record = _record_of(points)
        template = np.empty(TEMPLATE_SIZE, dtype=np.float32)
        height, width = rows.shape[:2]
        with self._handle() as handle:
            self._functions.ZomuExtractTemplate(
                handle,
                rows.ctypes.data,
                width,
                height,
                rows.strides[0],
                record,
                template.ctypes.data,
            )
        if not np.all(np.isfinite(template)):
            raise ModelError(
                f"the library gives no template for this face: weights are missing or damaged in {self._model}. "
                "`zomu-model check FOLDER` says which"
            )
        return template

    def close(self) -> None:
        """Destroys the library's contexts; those in use are destroyed when their extraction is done."""
        with self._changed:
            self._closed = True
            self._finalizer()
            self._changed.notify_all()

    def __enter__(self) -> Context:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        problem: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    @contextmanager
    def _handle(self) -> Iterator[int]:
        _library.require()  # raises if the process was forked
        handle = self._take()
        try:
            yield handle
        finally:
            self._give_back(handle)

    def _take(self) -> int:
        with self._changed:
            while True:
                if self._closed:
                    raise Error("the context is closed")
                if self._free:
                    return self._free.pop()
                if self._made < self._limit:
                    self._made += 1
                    break
                self._changed.wait()
        return int(self._functions.ZomuCreate())

    def _give_back(self, handle: int) -> None:
        with self._changed:
            if self._closed:
                self._functions.ZomuDestroy(handle)
                return
            self._free.append(handle)
            self._changed.notify()


def _destroy(functions: ctypes.CDLL, handles: list[int]) -> None:
    while handles:
        functions.ZomuDestroy(handles.pop())


def _record_of(landmarks: dict[int, tuple[float, float]]) -> _library.LandmarkRecord:
    record = _library.LandmarkRecord(count=len(landmarks))
    for entry, (number, (x, y)) in zip(record.entries, landmarks.items()):
        entry.id, entry.x, entry.y = number, x, y
    return record
