"""Picture files written by hand: PNG of every kind, with chunks as the caller wants them, and EXIF data."""

from __future__ import annotations

import itertools
import struct
import zlib

import numpy as np

CHANNELS = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}
PASSES = ((0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2))


def chunk(name: bytes, body: bytes) -> bytes:
    return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))


def png_of(samples: np.ndarray, kind: int, depth: int, interlaced: bool = False, chunks: bytes = b"") -> bytes:
    """Height x width x channels of a colour type; `chunks` come between header and pixels."""
    height, width = samples.shape[:2]
    rows = b""
    for left, top, right, down in PASSES if interlaced else ((0, 0, 1, 1),):
        part = samples[top::down, left::right]
        for row in part if part.size else ():
            rows += b"\0" + _packed(row.reshape(-1), depth)
    header = struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, interlaced)
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", header)
        + chunks
        + chunk(b"IDAT", zlib.compress(rows))
        + chunk(b"IEND", b"")
    )


def _packed(values: np.ndarray, depth: int) -> bytes:
    if depth >= 8:
        return values.astype(">u2" if depth == 16 else np.uint8).tobytes()
    bits = (values[:, None].astype(np.uint8) >> np.arange(depth - 1, -1, -1, dtype=np.uint8)) & 1
    return np.packbits(bits.reshape(-1)).tobytes()


def exif_of(orientation: int, order: str = "<", kind: int = 3, values: int = 1) -> bytes:
    """EXIF data with the mark of a camera behind another entry."""
    mark = {"<": b"II*\0", ">": b"MM\0*"}[order]
    entries = struct.pack(order + "HHIHH", 0x0103, 3, 1, 6, 0)
    entries += struct.pack(order + "HHIHH", 0x0112, kind, values, orientation, 0)
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
