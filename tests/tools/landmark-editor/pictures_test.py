"""Pictures that the tools refuse, which the editor refuses with the same words although browsers show many."""

from __future__ import annotations

import io
import shutil
import struct
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
import PIL.Image
from editor_page import PHOTO, PROJECT, EditorPage
from selenium.webdriver.common.keys import Keys

sys.path[:0] = [str(PROJECT / "python"), str(PROJECT / "tests/python")]

import zomu
from picture_writer import chunk, png_of

PHOTOGRAPH = next((PROJECT / "examples/data/people/photos").glob("*/01.jpg")).read_bytes()


class PicturesTest(EditorPage):
    def setUp(self) -> None:
        super().setUp()
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def test_pictures_that_the_tools_refuse_are_refused_with_their_words(self) -> None:
        pixels = np.zeros((40, 30, 3), np.uint8)
        png = png_of(np.random.default_rng(3).integers(0, 256, pixels.shape, dtype=np.uint8))
        header = struct.pack(">IIBBBBB", 20000, 20000, 8, 2, 0, 0, 0)
        last_scan = PHOTOGRAPH.rindex(b"\xff\xda")

        def saved_as(kind: str, mode: str = "RGB") -> bytes:
            file = io.BytesIO()
            PIL.Image.fromarray(pixels).convert(mode).save(file, kind)
            return file.getvalue()

        cases = {
            "empty.png": b"",
            "moving.gif": saved_as("GIF"),
            "modern.webp": saved_as("WEBP"),
            "gif.png": saved_as("GIF"),
            "huge.png": png[:8] + chunk(b"IHDR", header) + png[33:],
            "changed.png": png[:200] + bytes((png[200] ^ 1,)) + png[201:],
            "short.png": png[:1000],
            "header.png": png[:40],
            "cut.jpg": PHOTOGRAPH[:1000],
            "endless.jpg": PHOTOGRAPH[:-2],
            "printing.jpg": saved_as("JPEG", "CMYK"),
            "scans.jpg": PHOTOGRAPH[:-2] + 101 * PHOTOGRAPH[last_scan:-2] + b"\xff\xd9",
        }
        shutil.copy(PHOTO, self.folder / "a.png")
        for name, content in cases.items():
            (self.folder / name).write_bytes(content)
            with self.subTest(name):
                with self.assertRaises(zomu.ImageError) as caught:
                    zomu.read_picture(self.folder / name)
                reason = str(caught.exception).removeprefix(f"{self.folder / name}: ")
                # Decoders have their own words for the damage.
                words = reason.split(": ")[0] if "damaged" in reason else reason + "."
                self.element("photo-file").send_keys(str(self.folder / name))
                self.wait_for_status(f"{name} {words}")
                self.assertTrue(self.element("empty").is_displayed())
        with self.subTest("in a folder"):
            self.element("folder").send_keys(str(self.folder))
            self.wait_for_status("Step 1 of 3")
            for number, name in enumerate(sorted(cases), 1):
                self.keys(Keys.PAGE_DOWN)
                self.wait_for_status(f"{name} is ")
                self.assertTrue(self.element("empty").is_displayed())
                place = f"{number + 1} of 13, {13 - number} left to mark"
                self.assertEqual(self.element("queue-place").text, place)
                self.assertFalse(self.element("open-csv").is_enabled())

    def test_a_picture_of_one_pixel_is_refused(self) -> None:
        (self.folder / "one.png").write_bytes(png_of(np.zeros((1, 1, 3), np.uint8)))
        self.element("photo-file").send_keys(str(self.folder / "one.png"))
        self.wait_for_status("one.png is smaller than 2 x 2 pixels")


if __name__ == "__main__":
    unittest.main()
