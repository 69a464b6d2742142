"""Files as pictures: read by the library of the tools, turned upright, and refused where they are damaged."""

import gc
import itertools
import os
import resource
import struct
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np

import zomu
from picture_writer import as_seen, chunk, exif_of, png_of, with_exif
from support import LANDMARKS, PICTURE, run_python

LIBRARY = Path(os.environ["ZOMU_LIBRARY"])
PHOTOGRAPH = next(LANDMARKS.parent.glob("people/photos/*/01.jpg")).read_bytes()
READ = f"import zomu\nprint(zomu.read_picture({str(PICTURE)!r}).shape)"


class PictureFileTest(unittest.TestCase):
    def setUp(self) -> None:
        self.path = Path(self.enterContext(tempfile.TemporaryDirectory()), "picture")
        self.dice = np.random.default_rng(3)

    def read(self, content: bytes) -> np.ndarray:
        self.path.write_bytes(content)
        return zomu.read_picture(self.path)

    def test_pixels_are_blue_first_and_an_array_like_any_other(self) -> None:
        stored = self.dice.integers(0, 256, (7, 5, 3), dtype=np.uint8)
        image = self.read(png_of(stored))
        self.assertTrue(image.dtype == np.uint8 and image.flags.c_contiguous and image.flags.writeable)
        self.assertTrue(np.array_equal(image, stored[:, :, ::-1]))
        self.assertTrue(np.array_equal(zomu.read_picture(os.fsencode(self.path)), image))
        self.assertEqual(self.read(png_of(stored[:1, :1])).shape, (1, 1, 3))

    def test_every_orientation_is_turned_upright(self) -> None:
        stored = self.dice.integers(0, 256, (3, 5, 3), dtype=np.uint8)
        photograph = self.read(PHOTOGRAPH)[:, :, ::-1]
        places = np.arange(photograph.size // 3).reshape(photograph.shape[:2])
        for orientation, order in itertools.product(range(1, 9), "<>"):
            exif = exif_of(orientation, order)
            with self.subTest(orientation=orientation, order=order):
                image = self.read(png_of(stored, chunks=chunk(b"eXIf", exif)))
                self.assertTrue(np.array_equal(image, as_seen(stored[:, :, ::-1], orientation)))
        for orientation in (2, 6):
            image = self.read(with_exif(PHOTOGRAPH, exif_of(orientation)))
            seen = places[:, ::-1] if orientation == 2 else np.rot90(places, -1)
            self.assertTrue(np.array_equal(image, photograph.reshape(-1, 3)[seen][:, :, ::-1]))

    def test_what_is_no_whole_picture_is_refused(self) -> None:
        png = png_of(self.dice.integers(0, 256, (40, 30, 3), dtype=np.uint8))
        header = struct.pack(">IIBBBBB", 1 << 15, 1 << 14, 8, 2, 0, 0, 0)
        last_scan = PHOTOGRAPH.rindex(b"\xff\xda")
        # Behind changed bytes, part of the picture is something else.
        changed = PHOTOGRAPH[: last_scan + 700] + bytes(200) + PHOTOGRAPH[last_scan + 900 :]
        cases = [
            (b"", "is neither PNG nor JPEG"),
            (png[:8] + chunk(b"IHDR", header) + png[33:], "is too large: 32768 x 16384 pixels"),
            (PHOTOGRAPH[:-2] + 101 * PHOTOGRAPH[last_scan:-2] + b"\xff\xd9", "is a JPEG with too many scans: 102"),
            (png[:200] + bytes((png[200] ^ 1,)) + png[201:], "is a damaged PNG: "),
            (png[:1000], "is a damaged PNG: "),
            (PHOTOGRAPH[:1000], "is a damaged JPEG: "),
            (changed, "is a damaged JPEG: "),
        ]
        for content, words in cases:
            with self.subTest(words), self.assertRaises(zomu.ImageError) as caught:
                self.read(content)
            self.assertTrue(str(caught.exception).startswith(f"{self.path}: {words}"), caught.exception)
        absent = self.path.with_name("absent")
        for path in (absent, f"{self.path}\0", self.path.parent):
            with self.subTest(path), self.assertRaisesRegex(zomu.ImageError, "cannot be (opened|read): "):
                zomu.read_picture(path)
        with self.assertRaises(TypeError):
            zomu.read_picture(7)

    def test_memory_lives_as_long_as_a_view_of_it_and_no_longer(self) -> None:
        stored = np.full((1000, 1000, 3), 9, dtype=np.uint8)
        views = [self.read(png_of(stored))[10:12, 5:] for _ in range(3)]
        gc.collect()
        before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        for _ in range(40):
            zomu.read_picture(self.path)
        self.assertLess(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before, 30_000)  # of 120,000 KB
        for view in views:
            self.assertTrue((view == 9).all())
            view += 1  # nobody else's

    def test_threads_read_at_the_same_time(self) -> None:
        files = []
        for i in range(4):
            samples = self.dice.integers(0, 256, (60, 50 + i, 3), dtype=np.uint8)
            path = self.path.with_name(str(i))
            path.write_bytes(png_of(samples, chunks=chunk(b"eXIf", exif_of(3))))
            files.append((path, samples[::-1, ::-1, ::-1]))
        with ThreadPoolExecutor(8) as pool:
            images = list(pool.map(zomu.read_picture, [path for path, _ in files] * 50))
        for image, (_, expected) in zip(images, files * 50):
            self.assertTrue(np.array_equal(image, expected))


class PictureLibraryTest(unittest.TestCase):
    """In processes of their own."""

    def test_is_found_beside_the_other_library_and_does_not_load_it(self) -> None:
        done = run_python(READ + "\nprint('libZOMU.so' in open('/proc/self/maps').read())")
        self.assertEqual((done.stdout, done.stderr), ("(300, 300, 3)\nFalse\n", ""))
        loaded = f"import zomu\nzomu.load(library={str(LIBRARY)!r}, without_model=True)\n{READ}"
        self.assertIn("(300, 300, 3)", run_python(loaded, ZOMU_LIBRARY="").stdout)

    def test_is_found_by_the_loader_where_it_is_not_beside_the_other(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            alone = Path(folder, "libZOMU.so")
            alone.symlink_to(LIBRARY)
            done = run_python(READ, ZOMU_LIBRARY=str(alone), LD_LIBRARY_PATH=str(LIBRARY.parent))
            self.assertEqual(done.stdout, "(300, 300, 3)\n", done.stderr)

    def test_only_pictures_need_it_and_the_error_says_what_to_do(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "libZOMU.so").symlink_to(LIBRARY)
            done = run_python(READ, ZOMU_LIBRARY=f"{folder}/libZOMU.so")
        self.assertIn("zomu.errors.LibraryError: zomu.read_picture needs libZOMUpictures.so.0", done.stderr)
        self.assertIn("Install it beside libZOMU", done.stderr)


if __name__ == "__main__":
    unittest.main()
