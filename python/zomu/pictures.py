"""Pictures as the library takes them: rows of blue, green, red, any number of bytes apart."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from .errors import ImageError

_INT32_LIMIT = 2**31 - 1


def as_bgr_rows(image: NDArray[np.uint8], order: str) -> NDArray[np.uint8]:
    """A view of the picture whose pixels are 3 bytes, blue first; a copy where no view can be.

    Any distance between rows stays as it is, negative ones (flipped pictures) included.
    """
    _check(image)
    if order not in ("BGR", "RGB"):
        raise ImageError(f"order is 'BGR' (as OpenCV has it) or 'RGB', not {order!r}")
    rows = image if order == "BGR" else image[:, :, ::-1]
    if rows.strides[1:] == (3, 1) and abs(rows.strides[0]) <= _INT32_LIMIT:
        return rows
    return np.ascontiguousarray(rows)


def _check(image: Any) -> None:
    if not isinstance(image, np.ndarray):
        raise ImageError(
            f"a picture is a NumPy array, not {type(image).__name__}; of a Pillow image take "
            "numpy.asarray(image.convert('RGB')) and say order='RGB'"
        )
    if image.dtype != np.uint8:
        raise ImageError(f"a picture has values of type uint8 (0 to 255), not {image.dtype}")
    if image.ndim != 3 or image.shape[2] != 3:
        hint = ""
        if image.ndim == 2:
            hint = "; of a grey picture take numpy.repeat(image[:, :, None], 3, axis=2)"
        elif image.ndim == 3 and image.shape[2] == 4:
            hint = "; leave transparency out: image[:, :, :3]"
        raise ImageError(f"a picture has the shape (height, width, 3), not {image.shape}{hint}")
    height, width = image.shape[:2]
    if height < 2 or width < 2:
        raise ImageError(f"a picture has at least 2 x 2 pixels, not {width} x {height}")
    if max(height, 3 * width) > _INT32_LIMIT:
        raise ImageError(f"the picture is too large: {width} x {height} pixels")
