"""Extraction: the bits of the tools, pictures in every shape, threads, the pool."""

import tempfile
import threading
import unittest
from pathlib import Path

import cv2
import numpy as np

import zomu
from support import COMPARE_FACES, LANDMARKS, MODEL, PICTURE, TOOLS, run
from zomu.pictures import as_bgr_rows


def template_of_tool() -> np.ndarray:
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder, "portrait.zomu")
        done = run(TOOLS / "zomu-template", "extract", PICTURE, LANDMARKS, path)
        assert done.returncode == 0, done.stderr
        return np.fromfile(path, dtype=np.float32, offset=40)


class ContextTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.context = cls.enterClassContext(zomu.Context(MODEL, handles=2))
        cls.image = cv2.imread(str(PICTURE))
        cls.expected = template_of_tool()

    def assert_expected(self, template: np.ndarray) -> None:
        self.assertEqual(template.dtype, np.float32)
        self.assertEqual(template.tobytes(), self.expected.tobytes())

    def test_scores_like_the_c_example(self) -> None:
        darker = self.image // 2
        a = self.context.extract(self.image, LANDMARKS)
        b = self.context.extract(darker, LANDMARKS)
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder, "darker.png")
            cv2.imwrite(str(path), darker)
            done = run(COMPARE_FACES, PICTURE, LANDMARKS, path, LANDMARKS)
        self.assertEqual(f"{zomu.compare(a, b):.9g}\n", done.stdout)
        self.assertNotEqual(zomu.compare(a, b), zomu.compare(a, a))

    def test_gives_the_bits_of_the_tool_for_landmarks_in_every_form(self) -> None:
        points = zomu.read_landmarks(LANDMARKS)
        array = np.array([points[number] for number in zomu.LANDMARK_IDS])
        for landmarks in (points, array, array.astype(np.float32), str(LANDMARKS), LANDMARKS):
            self.assert_expected(self.context.extract(self.image, landmarks))

    def test_takes_25_landmarks(self) -> None:
        points = zomu.read_landmarks(LANDMARKS)
        array = np.array([points[number] for number in zomu.REQUIRED_IDS])
        without = {number: points[number] for number in zomu.REQUIRED_IDS}
        a = self.context.extract(self.image, array)
        self.assertEqual(a.tobytes(), self.context.extract(self.image, without).tobytes())
        self.assertNotEqual(a.tobytes(), self.expected.tobytes())

    def test_takes_views_with_any_strides(self) -> None:
        height, width = self.image.shape[:2]
        wide = np.full((height, width + 7, 3), 200, dtype=np.uint8)
        wide[:, 3 : 3 + width] = self.image
        sparse = np.zeros((2 * height, 2 * width, 3), dtype=np.uint8)
        sparse[::2, ::2] = self.image
        read_only = self.image.copy()
        read_only.flags.writeable = False
        rgba = np.dstack([self.image, np.zeros((height, width), dtype=np.uint8)])
        pictures = {
            "part of a wider picture": wide[:, 3 : 3 + width],
            "rows upside down in memory": self.image[::-1].copy()[::-1],
            "columns reversed in memory": self.image[:, ::-1].copy()[:, ::-1],
            "read only": read_only,
            "every second pixel": sparse[::2, ::2],
            "columns first": np.asfortranarray(self.image),
            "three of four channels": rgba[:, :, :3],
            "planes": np.ascontiguousarray(self.image.transpose(2, 0, 1)).transpose(1, 2, 0),
        }
        for name, picture in pictures.items():
            with self.subTest(name):
                self.assert_expected(self.context.extract(picture, LANDMARKS))

    def test_rgb_is_asked_for_by_name(self) -> None:
        rgb = cv2.cvtColor(self.image, cv2.COLOR_BGR2RGB)
        self.assert_expected(self.context.extract(rgb, LANDMARKS, order="RGB"))
        self.assert_expected(self.context.extract(self.image[:, :, ::-1], LANDMARKS, order="RGB"))
        wrong = self.context.extract(rgb, LANDMARKS)
        self.assertNotEqual(wrong.tobytes(), self.expected.tobytes())

    def test_does_not_copy_what_the_library_can_walk(self) -> None:
        flipped = self.image[::-1]
        part = self.image[10:200:2, 20:220]
        for rows in (flipped, part, self.image):
            passed = as_bgr_rows(rows, "BGR")
            self.assertTrue(np.shares_memory(passed, rows))
            self.assertEqual(passed.strides, rows.strides)
        self.assertLess(as_bgr_rows(flipped, "BGR").strides[0], 0)
        rgb_view = self.image[:, :, ::-1]
        self.assertTrue(np.shares_memory(as_bgr_rows(rgb_view, "RGB"), self.image))
        self.assertFalse(np.shares_memory(as_bgr_rows(self.image, "RGB"), self.image))

    def test_says_what_is_wrong_with_a_picture(self) -> None:
        cases = [
            (self.image.tolist(), "NumPy array, not list"),
            (self.image.astype(np.float32), "uint8"),
            (self.image[:, :, 0], "grey"),
            (np.dstack([self.image, self.image[:, :, 0]]), "transparency"),
            (self.image[:1], "at least 2 x 2"),
            (self.image[:, :1], "at least 2 x 2"),
        ]
        for picture, words in cases:
            with self.subTest(words), self.assertRaisesRegex(zomu.ImageError, words):
                self.context.extract(picture, LANDMARKS)
        with self.assertRaisesRegex(zomu.ImageError, "'BGR'.*'RGB'"):
            self.context.extract(self.image, LANDMARKS, order="rgb")

    def test_more_threads_than_handles_get_the_same_bits(self) -> None:
        results: list[bytes] = []

        def work() -> None:
            for _ in range(3):
                results.append(self.context.extract(self.image, LANDMARKS).tobytes())

        threads = [threading.Thread(target=work) for _ in range(5)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(results), 15)
        self.assertEqual(set(results), {self.expected.tobytes()})

    def test_a_pool_makes_no_more_handles_than_asked_for(self) -> None:
        with zomu.Context(MODEL, handles=2) as context:
            pool = context._pool
            first, second = pool.take(), pool.take()
            self.assertNotEqual(first, second)
            waiter = threading.Thread(target=lambda: pool.give_back(pool.take()))
            waiter.start()
            waiter.join(0.1)
            self.assertTrue(waiter.is_alive())
            pool.give_back(first)
            waiter.join(10)
            self.assertFalse(waiter.is_alive())
            pool.give_back(second)

    def test_a_closed_context_says_so(self) -> None:
        context = zomu.Context(MODEL)
        context.close()
        context.close()
        with self.assertRaisesRegex(zomu.Error, "closed"):
            context.extract(self.image, LANDMARKS)
        with self.assertRaisesRegex(ValueError, "at least 1"):
            zomu.Context(MODEL, handles=0)
