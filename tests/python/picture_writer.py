"""Picture files written by hand: PNG with chunks as the caller wants them, EXIF data, and what comes of them."""

from __future__ import annotations

import itertools
import struct
import zlib

import numpy as np


def chunk(name: bytes, body: bytes) -> bytes:
    return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))


def png_of(samples: np.ndarray, chunks: bytes = b"") -> bytes:
    """Height x width x red, green, blue, of 8 bits; `chunks` come between header and pixels."""
    height, width = samples.shape[:2]
    rows = b"".join(b"\0" + row.tobytes() for row in samples)
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
        + chunks
        + chunk(b"IDAT", zlib.compress(rows))
        + chunk(b"IEND", b"")
    )


def exif_of(orientation: int, order: str = "<") -> bytes:
    """EXIF data with the mark of a camera behind another entry."""
    mark = {"<": b"II*\0", ">": b"MM\0*"}[order]
    entries = struct.pack(order + "HHIHH", 0x0103, 3, 1, 6, 0)
    entries += struct.pack(order + "HHIHH", 0x0112, 3, 1, orientation, 0)
    return mark + struct.pack(order + "IH", 8, 2) + entries + bytes(4)


def with_exif(jpeg: bytes, exif: bytes) -> bytes:
    body = b"Exif\0\0" + exif
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", 2 + len(body)) + body + jpeg[2:]


def as_seen(image: np.ndarray, orientation: int) -> np.ndarray:
    """Pixel by pixel: the stored column and row of each pixel of the upright picture."""
    height, width = image.shape[:2]
    places = {
        1: lambda x, y: (x, y),
        2: lambda x, y: (width - 1 - x, y),
        3: lambda x, y: (width - 1 - x, height - 1 - y),
        4: lambda x, y: (x, height - 1 - y),
        5: lambda x, y: (y, x),
        6: lambda x, y: (y, height - 1 - x),
        7: lambda x, y: (width - 1 - y, height - 1 - x),
        8: lambda x, y: (width - 1 - y, x),
    }
    across, down = (height, width) if orientation > 4 else (width, height)
    seen = np.empty((down, across, 3), dtype=np.uint8)
    for x, y in itertools.product(range(across), range(down)):
        column, row = places[orientation](x, y)
        seen[y, x] = image[row, column]
    return seen
