"""The exceptions of this package."""

from __future__ import annotations

import contextlib
import os
from typing import Iterator


class Error(Exception):
    """The base class of all exceptions that this package raises itself."""


class LibraryError(Error):
    """The shared library was not found, or cannot be used in this process."""


class ModelError(Error):
    """The folder with the trained numbers is missing, incomplete or damaged."""


class ImageError(Error, ValueError):
    """The picture is not one that the library accepts."""


class LandmarkError(Error, ValueError):
    """The landmarks are not those of one face in this picture."""


class TemplateError(Error, ValueError):
    """An array or a file is not a template, or cannot be compared with another."""


class FaceCountError(Error):
    """A picture in which exactly one face is needed has none, or several."""

    def __init__(self, message: str, count: int = 0, has_largest: bool = False) -> None:
        super().__init__(message)
        self.count = count
        """How many faces were found."""
        self.has_largest = has_largest
        """Whether one of several is clearly the largest, which `largest` takes."""


class ThresholdError(Error):
    """No threshold is known for the model, so that its scores cannot be judged."""


@contextlib.contextmanager
def problems_of(path: str | os.PathLike[str]) -> Iterator[None]:
    """Puts the path in front of what is raised inside, unless it is there."""
    try:
        yield
    except Error as problem:
        name = os.fspath(path)
        if not str(problem).startswith(f"{name}: "):
            problem.args = (f"{name}: {problem}",)
        raise
