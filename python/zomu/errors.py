"""What this package raises, and the one warning it gives."""

from __future__ import annotations


class Error(Exception):
    """Everything that this package raises for a reason of its own."""


class LibraryError(Error):
    """The shared library was not found, or cannot be used in this process."""


class ModelError(Error):
    """The folder with the trained numbers is missing, incomplete or damaged."""


class ImageError(Error, ValueError):
    """The picture is not one that the library takes."""


class LandmarkError(Error, ValueError):
    """The landmarks are not those of one face."""


class TemplateError(Error, ValueError):
    """An array or a file is no template, or not one that may be compared with another."""


class LandmarkWarning(UserWarning):
    """The landmarks can be used, but they do not lie like those of a face."""
