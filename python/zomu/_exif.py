"""How a camera was held: the mark that EXIF data keep, and pictures turned upright by it."""

from __future__ import annotations

import struct

import numpy as np
from numpy.typing import NDArray

_ORIENTATION = 0x0112
_SHORT = 3
_SIZE_LIMIT = 1 << 20


def orientation_of(exif: bytes) -> int:
    """1 to 8; 1, which means as stored, where the data have no such mark or are malformed."""
    order = {b"II*\0": "<", b"MM\0*": ">"}.get(exif[:4])
    if order is None or len(exif) > _SIZE_LIMIT:
        return 1
    try:
        (folder,) = struct.unpack_from(order + "I", exif, 4)
        (count,) = struct.unpack_from(order + "H", exif, folder)
        for i in range(count):
            tag, kind, values, value = struct.unpack_from(order + "HHIH", exif, folder + 2 + 12 * i)
            if tag == _ORIENTATION:
                is_good = kind == _SHORT and values == 1 and 1 <= value <= 8
                return int(value) if is_good else 1
    except struct.error:
        pass
    return 1


def upright(image: NDArray[np.uint8], orientation: int) -> NDArray[np.uint8]:
    """The picture as it was seen, a view of the stored one."""
    turned = image.swapaxes(0, 1) if orientation >= 5 else image
    if orientation in (3, 4, 7, 8):
        turned = turned[::-1]
    if orientation in (2, 3, 6, 7):
        turned = turned[:, ::-1]
    return turned
