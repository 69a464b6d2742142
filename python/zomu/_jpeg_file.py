"""What the markers of a JPEG file say before anything of it is decoded."""

from __future__ import annotations

import re
import struct
from typing import NamedTuple

_SCAN = 0xDA
_END = 0xD9
_APPLICATION = 0xE1
_ALONE = frozenset((0x01, *range(0xD0, 0xD9)))  # without contents
_EXIF = b"Exif\0\0"

# The pixels of a scan hold 0xFF only before a zero or a restart marker.
_BEHIND_SCAN = re.compile(rb"\xff[^\x00\xd0-\xd7]", re.DOTALL)


class JpegMarkers(NamedTuple):
    scans: int
    """Up to the end of the picture, or to where the markers make no sense."""
    exif: bytes
    """The first EXIF block before the pixels."""
    is_whole: bool
    """Whether one marker follows the other up to the end of the picture."""


def read_markers(content: bytes) -> JpegMarkers:
    scans, exif, place, is_whole = 0, b"", 0, False
    while place + 1 < len(content) and content[place] == 0xFF:
        marker = content[place + 1]
        place += 1 if marker == 0xFF else 2
        if marker == 0xFF or marker in _ALONE:
            continue
        is_whole = marker == _END
        if is_whole or place + 2 > len(content):
            break
        (length,) = struct.unpack_from(">H", content, place)
        body = content[place + 2 : place + length]
        if length < 2 or len(body) != length - 2:
            break
        place += length
        if marker == _SCAN:
            scans += 1
            behind = _BEHIND_SCAN.search(content, place)
            place = behind.start() if behind else len(content)
        elif marker == _APPLICATION and scans == 0 and not exif and body.startswith(_EXIF):
            exif = body[len(_EXIF) :]
    return JpegMarkers(scans, exif, is_whole)
