"""PNG and JPEG files as pictures that the library takes. Decoding needs Pillow."""

from __future__ import annotations

import importlib
import io
import os
import struct
import zlib
from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _exif, _jpeg_file, _png_file
from .errors import ImageError

_FILE_LIMIT = 1 << 30
_PIXEL_LIMIT = 1 << 28

# Each scan goes over all pixels: no more than are worth 16 times the largest picture.
_SCAN_LIMIT = 100
_FULL_SIZE_SCANS = 16


def read_picture(path: str | os.PathLike[str]) -> NDArray[np.uint8]:
    """Reads a PNG or JPEG file: an array of height x width x 3, blue first, as `extract` takes it.

    The picture is turned upright if its EXIF data say how the camera was held, and landmarks mean the
    upright picture. Grey, palette and 16-bit pictures become 8-bit colour, transparent parts lie on
    white. The pixels are those that the tools and the examples read.

    Raises ImageError for what is damaged, cut off, too large, a JPEG in printing colours or no picture.
    """
    try:
        with open(path, "rb") as file:
            content = file.read(_FILE_LIMIT + 1)
    except OSError as problem:
        raise ImageError(f"{os.fspath(path)}: cannot be opened: {problem.strerror}") from problem
    try:
        if len(content) > _FILE_LIMIT:
            raise ImageError(f"is larger than {_FILE_LIMIT} bytes")
        rgb, exif = _decoded(content)
    except ImageError as problem:
        raise ImageError(f"{os.fspath(path)}: {problem}") from problem.__cause__
    return np.ascontiguousarray(_exif.upright(rgb[:, :, ::-1], _exif.orientation_of(exif)))


def _pillow(module: str) -> Any:
    try:
        return importlib.import_module(f"PIL.{module}")
    except ImportError as problem:
        raise ModuleNotFoundError(
            "zomu.read_picture needs Pillow: install zomu[pictures], Pillow or Debian's python3-pil; or read "
            "the picture with another package and pass its array",
            name="PIL",
        ) from problem


def _decoded(content: bytes) -> tuple[NDArray[np.uint8], bytes]:
    """Red, green, blue as stored, and the EXIF data."""
    if content.startswith(_png_file.SIGNATURE):
        return _decoded_png(content)
    if content.startswith(b"\xff\xd8\xff"):
        return _decoded_jpeg(content)
    raise ImageError("is neither PNG nor JPEG")


def _decoded_png(content: bytes) -> tuple[NDArray[np.uint8], bytes]:
    plugin = _pillow("PngImagePlugin")

    def decode(file: bytes, rawmode: str | None) -> NDArray[np.uint8]:
        image = plugin.PngImageFile(io.BytesIO(file))
        if rawmode is not None:
            image.tile = [(*tile[:3], rawmode) for tile in image.tile]
        return _pixels_of(image)

    try:
        png = _png_file.PngFile(content)
        _require_size(png.width, png.height)
        png.require_complete()
        return png.colours(decode), png.exif
    except ImageError:
        raise
    except _DAMAGE as problem:
        raise ImageError(f"is a damaged PNG: {problem}") from problem


def _decoded_jpeg(content: bytes) -> tuple[NDArray[np.uint8], bytes]:
    plugin = _pillow("JpegImagePlugin")
    markers = _jpeg_file.read_markers(content)
    try:
        image = plugin.JpegImageFile(io.BytesIO(content))
        _require_size(*image.size)
        _require_few_scans(markers.scans, *image.size)
        if image.mode not in ("L", "RGB"):
            raise ImageError("is a JPEG in printing colours, which are not supported")
        if not markers.is_whole:
            raise ValueError("it is cut off, or has bytes between its parts")
        pixels = _pixels_of(image)
    except ImageError:
        raise
    except _DAMAGE as problem:
        raise ImageError(f"is a damaged JPEG: {problem}") from problem
    rgb = pixels if pixels.ndim == 3 else np.repeat(pixels[:, :, None], 3, axis=2)
    return rgb, markers.exif


# What Pillow and _png_file raise.
_DAMAGE = (OSError, SyntaxError, ValueError, EOFError, IndexError, KeyError, TypeError, struct.error, zlib.error)


def _pixels_of(image: Any) -> NDArray[np.uint8]:
    image.load()
    return np.asarray(image, dtype=np.uint8)


def _require_size(width: int, height: int) -> None:
    if width * height > _PIXEL_LIMIT:
        raise ImageError(f"is too large: {width} x {height} pixels")


def _require_few_scans(scans: int, width: int, height: int) -> None:
    if scans > _SCAN_LIMIT or width * height * scans > _FULL_SIZE_SCANS * _PIXEL_LIMIT:
        raise ImageError(f"is a JPEG with too many scans: {scans}")
