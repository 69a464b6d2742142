"""A PNG file taken apart: what Pillow needs to undo its filters, and what becomes of the samples then.

Pillow drops the lower half of 16 bits and takes no notice of gamma. So samples become pixels here, by the
rules of libpng, which the tools use: a file that says no gamma has that of sRGB, and transparent parts are
blended with white in linear light.
"""

from __future__ import annotations

import struct
import zlib
from typing import Any, Callable, Iterator, Optional

import numpy as np
from numpy.typing import NDArray

SIGNATURE = b"\x89PNG\r\n\x1a\n"

Bytes = NDArray[np.uint8]
# Decodes a file, by one of Pillow's raw modes where one is named.
Decoder = Callable[[bytes, Optional[str]], Bytes]

_GREY, _COLOUR, _PALETTE, _GREY_ALPHA, _COLOUR_ALPHA = 0, 2, 3, 4, 6
_CHANNELS = {_GREY: 1, _COLOUR: 3, _PALETTE: 1, _GREY_ALPHA: 2, _COLOUR_ALPHA: 4}
_SRGB_GAMMA = 45455  # in steps of 1/100000, as files have it
_SCREEN_GAMMA = 220000

# First column and row of the seven passes of an interlaced file, and the steps between them.
_PASSES = ((0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2))


class PngFile:
    """Raises ValueError or zlib.error for what is damaged."""

    def __init__(self, content: bytes) -> None:
        chunks: dict[bytes, bytes] = {}
        data = []
        for name, body in _chunks(content):
            if name == b"IDAT":
                data.append(body)
            else:
                chunks.setdefault(name, body)
        header = chunks.get(b"IHDR", b"")
        if len(header) != 13:
            raise ValueError("it has no header")
        self.width, self.height, self._depth, self._kind, *_, is_interlaced = struct.unpack(">IIBBBBB", header)
        if self._kind not in _CHANNELS or min(self.width, self.height) < 1:
            raise ValueError("its header is none")
        self._palette = chunks.get(b"PLTE", b"")
        if self._kind == _PALETTE and not self._palette:
            raise ValueError("it has no palette")
        self._rest_of_header = header[10:]
        self._passes = _PASSES if is_interlaced else ((0, 0, 1, 1),)
        self._data = b"".join(data)
        self._transparent = chunks.get(b"tRNS", b"")
        self._gamma = _SRGB_GAMMA
        if b"sRGB" not in chunks and len(chunks.get(b"gAMA", b"")) == 4:
            self._gamma = struct.unpack(">I", chunks[b"gAMA"])[0] or _SRGB_GAMMA
        self.exif = chunks.get(b"eXIf", b"")

    def require_complete(self) -> None:
        needed = 0
        bits = self._depth * _CHANNELS[self._kind]
        for left, top, right, down in self._passes:
            columns = max(0, -((left - self.width) // right))
            rows = max(0, -((top - self.height) // down))
            needed += rows * (1 + (columns * bits + 7) // 8) if columns else 0
        inflate = zlib.decompressobj()
        rest = self._data
        while needed > 0:
            part = inflate.decompress(rest, min(needed, 1 << 20))
            rest = inflate.unconsumed_tail
            if not part:
                raise ValueError("it is cut off")
            needed -= len(part)

    def colours(self, decode: Decoder) -> Bytes:
        """Red, green, blue."""
        samples = self._samples(decode)
        if self._kind == _PALETTE:
            table = np.zeros((1, 256, 4), dtype=np.uint8)
            table[0, :, 3] = 255
            entries = np.frombuffer(self._palette[: len(self._palette) // 3 * 3], dtype=np.uint8).reshape(-1, 3)[:256]
            table[0, : len(entries), :3] = entries
            alpha = np.frombuffer(self._transparent[:256], dtype=np.uint8)
            table[0, : len(alpha), 3] = alpha
            palette: Bytes = self._on_white(table[:, :, :3], table[:, :, 3])[0][samples[:, :, 0]]
            return palette
        if self._kind in (_GREY_ALPHA, _COLOUR_ALPHA):
            return self._on_white(_as_colour(samples[:, :, :-1]), samples[:, :, -1])
        if len(self._transparent) == 2 * _CHANNELS[self._kind]:
            highest = (1 << self._depth) - 1
            key = np.frombuffer(self._transparent, dtype=">u2") & highest
            scaled = key * (255 // highest) if self._depth < 8 else key
            alpha = np.where((samples == scaled).all(axis=2), 0, np.iinfo(samples.dtype).max)
            return self._on_white(_as_colour(samples), alpha)
        return self._on_white(_as_colour(samples), None)

    def _samples(self, decode: Decoder) -> NDArray[Any]:
        """Height x width x channels, of 16 bits where the file has them."""
        if self._depth < 16:
            samples = decode(self._file(self._depth, self._kind), None)
            if self._kind == _GREY and self._depth == 1:
                samples = samples * np.uint8(255)
            return samples.reshape(self.height, self.width, -1)
        if self._kind in (_GREY, _GREY_ALPHA):
            # Filters see bytes only: two for each sample.
            kind = _GREY_ALPHA if self._kind == _GREY else _COLOUR_ALPHA
            halves = decode(self._file(8, kind), None).reshape(self.height, self.width, -1, 2)
        else:
            mode = "RGB" if self._kind == _COLOUR else "RGBA"
            file = self._file(16, self._kind)
            # Of samples with the high byte first, Pillow keeps the first byte, and of others the second.
            halves = np.stack([decode(file, mode + ";16B"), decode(file, mode + ";16L")], axis=-1)
        whole: NDArray[np.uint16] = halves[..., 0] * np.uint16(256) + halves[..., 1]
        return whole

    def _file(self, depth: int, kind: int) -> bytes:
        """A file with these pixels and nothing else."""
        header = struct.pack(">IIBB", self.width, self.height, depth, kind) + self._rest_of_header
        chunks = [(b"IHDR", header), (b"IDAT", self._data), (b"IEND", b"")]
        if kind == _PALETTE:
            chunks.insert(1, (b"PLTE", self._palette))
        return SIGNATURE + b"".join(
            struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))
            for name, body in chunks
        )

    def _on_white(self, colours: NDArray[Any], alpha: NDArray[Any] | None) -> Bytes:
        """8 bits for the screen, from colours of 8 or 16."""
        is_deep = colours.dtype == np.uint16
        highest = 65535 if is_deep else 255
        exponent = 1e10 / self._gamma / _SCREEN_GAMMA
        shown: Bytes
        if not is_deep:
            shown = _powers(255, 255, exponent)[colours]
        elif alpha is None and not _is_significant(exponent):
            shown = _to_8_bits(colours)
        else:
            shown = _nearest_of_8_bits(exponent)[colours >> _UNUSED_BITS]
        if alpha is None:
            return shown
        # In linear light, by tables whose steps are those of 8 or 11 bits.
        unused, steps = (_UNUSED_BITS, _STEPS) if is_deep else (0, 255)
        linear = _powers(steps, highest, 1e5 / self._gamma)[colours >> unused].astype(np.int64)
        opacity = alpha[:, :, None].astype(np.int64)
        blended = (linear * opacity + highest * (highest - opacity) + highest // 2) // highest
        mixed = _powers(steps, highest, 1e5 / _SCREEN_GAMMA)[blended >> unused]
        if is_deep:
            mixed = _to_8_bits(mixed)
        return np.where(opacity == highest, shown, np.where(opacity == 0, np.uint8(255), mixed))


_UNUSED_BITS = 5  # of 16, where powers come from a table
_STEPS = 65535 >> _UNUSED_BITS


def _is_significant(exponent: float) -> bool:
    """Exponents near 1 change nothing."""
    return abs(exponent - 1) > 0.05


def _powers(steps: int, highest: int, exponent: float) -> NDArray[Any]:
    """The power of each value from 0 to `steps`, as a value up to `highest`."""
    values: NDArray[Any] = np.arange(steps + 1) / steps
    if _is_significant(exponent):
        values = values ** round(exponent, 5)
    values = np.floor(values * highest + 0.5)
    return values.astype(np.uint8 if highest == 255 else np.uint16)


def _nearest_of_8_bits(exponent: float) -> Bytes:
    """The power of each value of 11 bits: the first of 8 bits whose upper bound, taken back, is not below."""
    bounds = np.floor(65535 * ((257 * np.arange(255) + 128) / 65535) ** round(1 / exponent, 5) + 0.5)
    return np.searchsorted((bounds * _STEPS + 32768) // 65535, np.arange(_STEPS + 1)).astype(np.uint8)


def _to_8_bits(values: NDArray[Any]) -> Bytes:
    return ((values.astype(np.uint32) * 255 + 32767) // 65535).astype(np.uint8)


def _as_colour(samples: NDArray[Any]) -> NDArray[Any]:
    return samples if samples.shape[2] == 3 else np.repeat(samples, 3, axis=2)


def _chunks(content: bytes) -> Iterator[tuple[bytes, bytes]]:
    """Name and body of each chunk, up to the end of the picture."""
    place = len(SIGNATURE)
    name = b""
    while name != b"IEND":
        if place + 12 > len(content):
            raise ValueError("it is cut off")
        size, name = struct.unpack_from(">I4s", content, place)
        end = place + 8 + size
        (checksum,) = struct.unpack(">I", content[end : end + 4].ljust(4, b"\0"))
        if zlib.crc32(content[place + 4 : end]) == checksum:
            yield name, content[place + 8 : end]
        elif not name[0] & 0x20:  # without the others, the picture can be understood
            raise ValueError(f"its part {name!r} is damaged")
        place = end + 4
