"""Files as pictures: the pixels of the tools' reader, turned upright, and refused where they are damaged."""

import io
import itertools
import os
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

import numpy as np
import PIL.Image

import zomu
from picture_writer import CHANNELS, as_seen, chunk, exif_of, png_of, with_exif
from support import LANDMARKS, PICTURE, run_python

PHOTOGRAPH = next(LANDMARKS.parent.glob("people/photos/*/01.jpg"))
DEPTHS = {0: (1, 2, 4, 8, 16), 2: (8, 16), 3: (1, 2, 4, 8), 4: (8, 16), 6: (8, 16)}
GAMMAS = {
    "no gamma": b"",
    "that of sRGB": chunk(b"gAMA", struct.pack(">I", 45455)),
    "sRGB": chunk(b"sRGB", b"\0") + chunk(b"gAMA", struct.pack(">I", 90000)),
    "linear light": chunk(b"gAMA", struct.pack(">I", 100000)),
}


def jpeg_of(pixels: np.ndarray, **options: object) -> bytes:
    file = io.BytesIO()
    mode = {2: "L", 3: "RGB"}.get(pixels.ndim) if pixels.shape[-1] != 4 else "CMYK"
    PIL.Image.fromarray(pixels, mode).save(file, "JPEG", **options)
    return file.getvalue()


class PictureFileTest(unittest.TestCase):
    def setUp(self) -> None:
        self.path = Path(self.enterContext(tempfile.TemporaryDirectory()), "picture")
        self.dice = np.random.default_rng(3)

    def pixels_of_tools(self, path: Path) -> np.ndarray:
        done = subprocess.run([os.environ["ZOMU_TEST_PIXELS"], path], capture_output=True, check=True)
        head, _, pixels = done.stdout.partition(b"\n")
        width, height = map(int, head.split())
        return np.frombuffer(pixels, dtype=np.uint8).reshape(height, width, 3)

    def read(self, content: bytes) -> np.ndarray:
        self.path.write_bytes(content)
        return zomu.read_picture(self.path)

    def difference_to_tools(self, content: bytes) -> int:
        image = self.read(content)
        self.assertTrue(image.dtype == np.uint8 and image.flags.c_contiguous and image.flags.writeable)
        expected = self.pixels_of_tools(self.path)
        self.assertEqual(image.shape, expected.shape)
        return int(np.abs(image.astype(int) - expected).max())

    def test_samples_are_the_pixels_of_the_tools(self) -> None:
        photographs = [PICTURE.read_bytes(), PHOTOGRAPH.read_bytes()]
        photographs += [jpeg_of(self.dice.integers(0, 256, shape, dtype=np.uint8)) for shape in ((5, 9), (7, 4, 3))]
        photographs.append(jpeg_of(self.dice.integers(0, 256, (40, 50, 3), dtype=np.uint8), progressive=True))
        for content in photographs:
            self.assertEqual(self.difference_to_tools(content), 0)

    def test_every_kind_of_png_has_the_pixels_of_the_tools(self) -> None:
        for kind, depths in DEPTHS.items():
            for depth, interlaced, is_keyed in itertools.product(depths, (False, True), (False, True)):
                for gamma, chunks in GAMMAS.items():
                    for width, height in ((1, 1), (9, 13), (64, 64)):
                        levels = min(1 << depth, 256 if kind == 3 else 1 << 16)
                        samples = self.dice.integers(0, levels, (height, width, CHANNELS[kind]))
                        extra = chunks
                        if kind == 3:
                            extra += chunk(b"PLTE", self.dice.bytes(3 * levels))
                        if is_keyed and kind == 3:
                            extra += chunk(b"tRNS", self.dice.bytes(max(1, levels // 2)))
                        elif is_keyed and kind in (0, 2):
                            extra += chunk(b"tRNS", samples[0, 0].astype(">u2").tobytes())
                        content = png_of(samples, kind, depth, interlaced, extra)
                        with self.subTest(kind=kind, depth=depth, interlaced=interlaced, keyed=is_keyed, gamma=gamma):
                            if depth == 16 and interlaced:
                                plain = png_of(samples, kind, depth, chunks=extra)
                                self.assertTrue(np.array_equal(self.read(content), self.read(plain)))
                            else:
                                self.assertEqual(self.difference_to_tools(content), 0)

    def test_16_bits_are_the_pixels_of_their_copy_with_8(self) -> None:
        levels = np.arange(256).reshape(16, 16, 1)
        for kind in (0, 2):
            samples = np.repeat(levels, CHANNELS[kind], axis=2)
            deep = self.read(png_of(257 * samples, kind, 16))
            self.assertTrue(np.array_equal(deep, self.read(png_of(samples, kind, 8))))
            self.assertTrue(np.array_equal(deep[:, :, 1], levels[:, :, 0]))
        between = np.array([[[257 * 7 + 128, 257 * 7 + 129, 65535]]])
        self.assertEqual(self.read(png_of(between, 2, 16)).tolist(), [[[255, 8, 7]]])

    def test_transparent_parts_lie_on_white(self) -> None:
        samples = np.array([[[10, 20, 30, 0], [10, 20, 30, 255]]])
        self.assertEqual(self.read(png_of(samples, 6, 8)).tolist(), [[[255, 255, 255], [30, 20, 10]]])

    def test_every_orientation_is_turned_upright(self) -> None:
        stored = self.dice.integers(0, 256, (3, 5, 3), dtype=np.uint8)
        jpeg = jpeg_of(np.kron(stored, np.ones((16, 16, 1), dtype=np.uint8)), quality=95)
        jpeg_as_stored = self.read(jpeg)
        for orientation, order in itertools.product(range(1, 9), "<>"):
            exif = exif_of(orientation, order)
            with self.subTest(orientation=orientation, order=order):
                image = self.read(png_of(stored, 2, 8, chunks=chunk(b"eXIf", exif)))
                self.assertTrue(np.array_equal(image, as_seen(stored[:, :, ::-1], orientation)))
                self.assertTrue(np.array_equal(image, self.pixels_of_tools(self.path)))
                image = self.read(with_exif(jpeg, exif))
                self.assertTrue(np.array_equal(image, as_seen(jpeg_as_stored, orientation)))
                self.assertTrue(np.array_equal(image, self.pixels_of_tools(self.path)))
        # The first block decides.
        image = self.read(with_exif(with_exif(jpeg, exif_of(3)), exif_of(6)))
        self.assertTrue(np.array_equal(image, as_seen(jpeg_as_stored, 6)))

    def test_malformed_marks_mean_as_stored(self) -> None:
        stored = self.dice.integers(0, 256, (3, 5, 3), dtype=np.uint8)
        good = exif_of(6)
        marks = [good[:i] for i in range(len(good) - 8)]
        marks += [exif_of(0), exif_of(9), exif_of(6, kind=2), exif_of(6, values=2), b"XX" + good[2:]]
        marks += [good[:4] + b"\xff\xff\xff\xff" + good[8:], good + bytes(1 << 20)]
        for exif in marks:
            image = self.read(png_of(stored, 2, 8, chunks=chunk(b"eXIf", exif)))
            self.assertTrue(np.array_equal(image, stored[:, :, ::-1]), exif)
            self.assertEqual(image.shape, self.pixels_of_tools(self.path).shape, exif)

    def test_what_is_no_whole_picture_is_refused(self) -> None:
        noise = self.dice.integers(0, 256, (40, 30, 3), dtype=np.uint8)
        png, jpeg = png_of(noise, 2, 8), jpeg_of(noise)
        huge = png_of(noise, 2, 8)[:16] + struct.pack(">II", 1 << 15, 1 << 14)
        huge = huge[:8] + chunk(b"IHDR", huge[16:24] + bytes((8, 2, 0, 0, 0))) + png[33:]
        short = png_of(noise[:39], 2, 8)
        progressive = jpeg_of(np.zeros((16, 16), dtype=np.uint8), progressive=True)
        last_scan = progressive.rindex(b"\xff\xda")
        cases = [
            (progressive[:-2] + 100 * progressive[last_scan:-2] + b"\xff\xd9", "is a JPEG with too many scans: 106"),
            (b"", "is neither PNG nor JPEG"),
            (b"GIF89a", "is neither PNG nor JPEG"),
            (huge, "is too large: 32768 x 16384 pixels"),
            (jpeg_of(np.zeros((8, 8, 4), dtype=np.uint8)), "is a JPEG in printing colours, which are not supported"),
            (png[:33] + png[33 + 60 :], "is a damaged PNG"),
            (png[:200] + bytes((png[200] ^ 1,)) + png[201:], "is a damaged PNG"),
            (png[:8] + chunk(b"IHDR", struct.pack(">IIBBBBB", 30, 40, 8, 2, 0, 0, 0)) + short[33:], "is a damaged PNG"),
        ]
        cases += [(png[:size], "is a damaged PNG") for size in (8, 20, 40, 1000, len(png) - 30)]
        cases += [(jpeg[:size], "is a damaged JPEG") for size in (3, 20, 400, len(jpeg) - 200, len(jpeg) - 2)]
        cases.append((jpeg[:20] + b"more" + jpeg[20:], "is a damaged JPEG"))
        for content, words in cases:
            with self.subTest(words), self.assertRaises(zomu.ImageError) as caught:
                self.read(content)
            self.assertIn(f"{self.path}: {words}", str(caught.exception))
            with self.assertRaises(subprocess.CalledProcessError) as done:
                self.pixels_of_tools(self.path)
            self.assertTrue(done.exception.stderr.decode().startswith(words), done.exception.stderr)
        with self.assertRaisesRegex(zomu.ImageError, "absent: cannot be opened: No such file"):
            zomu.read_picture(self.path.with_name("absent"))

    def test_pictures_need_pillow_and_nothing_else_does(self) -> None:
        code = f"import sys\nsys.modules['PIL'] = None\nimport zomu\nzomu.read_picture({str(PICTURE)!r})"
        last = run_python(code).stderr.strip().splitlines()[-1]
        self.assertIn("ModuleNotFoundError: zomu.read_picture needs Pillow: install zomu[pictures]", last)


if __name__ == "__main__":
    unittest.main()
