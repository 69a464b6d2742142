"""Pictures as the library accepts them: rows of blue, green, red, any number of bytes apart."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from .errors import ImageError

_INT32_LIMIT = 2**31 - 1


def as_bgr_rows(image: NDArray[np.uint8], order: str) -> NDArray[np.uint8]:
    """A view of the picture whose pixels are 3 bytes, blue first; a copy if no view is possible.

    The distance between rows is kept, even a negative one (a flipped picture).
    """
    require_picture(image)
    if order not in ("BGR", "RGB"):
        raise ImageError(f"order must be 'BGR' (as in OpenCV) or 'RGB', not {order!r}")
    rows = image if order == "BGR" else image[:, :, ::-1]
    if rows.strides[1:] == (3, 1) and abs(rows.strides[0]) <= _INT32_LIMIT:
        return rows
    return np.ascontiguousarray(rows)


def require_picture(image: Any) -> None:
    """Raises ImageError if the library does not take it."""
    if not isinstance(image, np.ndarray):
        raise ImageError(
            f"a picture must be a NumPy array, not {type(image).__name__}; for a Pillow image, use "
            "numpy.asarray(image.convert('RGB')) and order='RGB'"
        )
    if image.dtype != np.uint8:
        raise ImageError(f"a picture must have values of type uint8 (0 to 255), not {image.dtype}")
    if image.ndim != 3 or image.shape[2] != 3:
        hint = ""
        if image.ndim == 2:
            hint = "; for a grey picture, use numpy.repeat(image[:, :, None], 3, axis=2)"
        elif image.ndim == 3 and image.shape[2] == 4:
            hint = "; omit the transparency: image[:, :, :3]"
        raise ImageError(f"a picture must have the shape (height, width, 3), not {image.shape}{hint}")
    height, width = image.shape[:2]
    if height < 2 or width < 2:
        raise ImageError(f"a picture must have at least 2 x 2 pixels, not {width} x {height}")
    if max(height, 3 * width) > _INT32_LIMIT:
        raise ImageError(f"the picture is too large: {width} x {height} pixels")
