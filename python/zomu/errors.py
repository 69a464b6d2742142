"""The exceptions of this package."""

from __future__ import annotations


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
