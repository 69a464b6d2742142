"""What the tests of the command `zomu` have in common: the command in this process, and pictures of every kind."""

from __future__ import annotations

import contextlib
import io
import os
import re
import struct
import tempfile
import unittest
import zlib
from pathlib import Path
from typing import Iterator, NamedTuple

import numpy as np

import zomu
from PIL import Image
from picture_writer import as_seen, chunk, exif_of, with_exif
from support import PICTURE, PROJECT
from zomu import model_pack
from zomu._one_face import NO_FACE
from zomu.command import main

PEOPLE = PROJECT / "examples/data/people/photos"
ANN, ANN_AGAIN, BOB = PEOPLE / "90000/00.jpg", PEOPLE / "90000/01.jpg", PEOPLE / "90001/01.jpg"


class Said(NamedTuple):
    status: int
    out: str
    err: str


def zomu_command(*words: object) -> Said:
    """Runs the command in this process, with the model that this process has."""
    out, err = io.StringIO(), io.StringIO()
    with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
        try:
            status = main([str(word) for word in words])
        except SystemExit as end:
            status = int(end.code or 0)
    return Said(status, out.getvalue(), err.getvalue())


def help_tree() -> Iterator[tuple[tuple[str, ...], list[str], set[str]]]:
    """Each command, those below it, and its long options, as --help shows them."""
    waiting: list[tuple[str, ...]] = [()]
    while waiting:
        command = waiting.pop()
        start, _, options = zomu_command(*command, "--help").out.partition("options:")
        below = re.findall(r"^    ([a-z-]+)\b", start, re.MULTILINE)
        yield command, below, set(re.findall(r"^  (?:-h, )?(--[a-z]+)", options, re.MULTILINE))
        waiting += [(*command, name) for name in below]


class CommandTest(unittest.TestCase):
    """With the demonstration model in the temporary directory, for this process and its children."""

    directory: Path

    @classmethod
    def setUpClass(cls) -> None:
        cls.directory = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        model_pack.unpack_model(model_pack.demonstration_pack(), cls.directory / "~zvplugintmp~")
        os.environ["TMPDIR"] = str(cls.directory)

    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/tmp")))

    def assert_one_line(self, text: str) -> None:
        self.assertEqual(text.count("\n"), 1, text)
        self.assertNotIn("Traceback", text)


def portrait() -> np.ndarray:
    """Red first."""
    return np.ascontiguousarray(zomu.read_picture(PICTURE)[:, :, ::-1])


def saved(image: np.ndarray, kind: str, mode: str = "RGB") -> bytes:
    file = io.BytesIO()
    Image.fromarray(image).convert(mode).save(file, kind)
    return file.getvalue()


def turned_jpeg(image: np.ndarray, orientation: int) -> bytes:
    """A JPEG file that is seen as `image`, stored as a camera stores it that was held this way."""
    stored = as_seen(image, {6: 8, 8: 6}.get(orientation, orientation))
    return with_exif(saved(stored, "JPEG"), exif_of(orientation))


def deep_png(image: np.ndarray) -> bytes:
    """With 16 bits for each value, which Pillow does not write."""
    height, width = image.shape[:2]
    rows = b"".join(b"\0" + row.repeat(2, axis=-1).tobytes() for row in image)
    header = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 16, 2, 0, 0, 0))
    return b"\x89PNG\r\n\x1a\n" + header + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def large_png(side: int) -> bytes:
    """Its header says so; there are no pixels."""
    header = chunk(b"IHDR", struct.pack(">IIBBBBB", side, side, 8, 2, 0, 0, 0))
    return b"\x89PNG\r\n\x1a\n" + header + chunk(b"IDAT", zlib.compress(b"")) + chunk(b"IEND", b"")


def large_jpeg(side: int) -> bytes:
    small = saved(np.zeros((16, 16, 3), dtype=np.uint8), "JPEG")
    place = small.index(b"\xff\xc0") + 5
    return small[:place] + struct.pack(">HH", side, side) + small[place + 4 :]


def five_faces() -> np.ndarray:
    one = portrait()
    return np.concatenate([np.concatenate([one, one, one], axis=1), np.concatenate([one, one, 0 * one], axis=1)])


def refused_pictures() -> dict[str, tuple[bytes, str]]:
    """By the name of the file: its bytes, and what is said of it."""
    grey = np.full((200, 200, 3), 128, dtype=np.uint8)
    other, large = "is neither PNG nor JPEG", "is too large: 20000 x 20000 pixels; shrink it to at most 268 million"
    printed = "is a JPEG in printing colours, which are not supported; convert it to RGB"
    return {
        "moving.gif": (saved(grey, "GIF"), f"{other} but GIF; convert it"),
        "web.webp": (saved(grey, "WEBP"), f"{other} but WebP; convert it"),
        "phone.heic": (b"\0\0\0\x1cftypheic\0\0\0\0mif1heicmiaf" + bytes(500), f"{other} but HEIC; convert it"),
        "phone.jpg": (b"\0\0\0\x18ftypmif1\0\0\0\0mif1heic" + bytes(500), f"{other} but HEIC; convert it"),
        "print.jpg": (saved(grey, "JPEG", "CMYK"), printed),
        "empty.png": (b"", f"{other} but empty; take another copy"),
        "text.jpg": (b"not a picture", f"{other}; convert it, or take another"),
        "cut.png": (saved(portrait(), "PNG")[:2000], "is a damaged PNG: read beyond end of data; take another copy"),
        "one.png": (saved(grey[:1, :1], "PNG"), "a picture must have at least 2 x 2 pixels, not 1 x 1"),
        "huge.png": (large_png(20000), large),
        "huge.jpg": (large_jpeg(20000), large),
        "hollow.png": (large_png(2000), "is a damaged PNG: Not enough image data; take another copy"),
        "grey.png": (saved(grey, "PNG"), NO_FACE),
        "five.png": (
            saved(five_faces(), "PNG"),
            "5 faces were found where one is needed: cut the photo to one of them, or give its landmarks",
        ),
    }


def accepted_pictures() -> dict[str, bytes]:
    """The portrait in files of several kinds, by their names."""
    image = portrait()
    kinds = {
        "deep.png": deep_png(image),
        "plain.png": saved(image, "PNG"),
        "colours.jpg": saved(image, "JPEG"),
    }
    return {**kinds, **{f"exif{held}.jpg": turned_jpeg(image, held) for held in range(1, 9)}}
