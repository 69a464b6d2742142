"""Landmarks in their forms, and their files against the reader of the C example."""

import tempfile
import unittest
from pathlib import Path

import numpy as np

import zomu
from support import COMPARE_FACES, LANDMARKS, PICTURE, run

GOOD = LANDMARKS.read_text()


class LandmarkFileTest(unittest.TestCase):
    def setUp(self) -> None:
        self.path = Path(self.enterContext(tempfile.TemporaryDirectory()), "face.csv")

    def test_reads_what_the_c_example_reads(self) -> None:
        expected = zomu.read_landmarks(LANDMARKS)
        lines = GOOD.splitlines()
        for text in (
            "\n".join(lines[1:]),
            "\ufeff" + GOOD,
            GOOD.replace("\n", "\r\n"),
            GOOD.replace(",", " ,\t") + "\n\n",
            "\n" + GOOD,
            GOOD.replace("124.5", "+1.245e2"),
        ):
            self.path.write_text(text, encoding="utf-8", newline="")
            self.assertEqual(zomu.read_landmarks(self.path), expected)

    def test_refuses_what_the_c_example_refuses_in_the_same_words(self) -> None:
        lines = GOOD.splitlines()
        cases = [
            "",
            "\n".join(lines[:1]),
            "\n".join(lines[:5]),
            "\n".join(lines[:3] + lines[4:]),
            GOOD + "7,1,2\n",
            GOOD + "0,1,2\n",
            GOOD.replace("0,124.5", "0.5,124.5"),
            GOOD.replace("0,124.5", "-0,124.5"),
            GOOD.replace("124.5", "nan"),
            GOOD.replace("124.5", "0x10"),
            GOOD.replace("124.5", "1e999"),
            GOOD.replace("124.5", "1_0"),
            GOOD.replace("124.5", "1,2"),
            GOOD.replace("124.5", ""),
            GOOD + "id,x,y\n",
            GOOD.replace(",", ";"),
        ]
        for text in cases:
            self.path.write_text(text)
            done = run(COMPARE_FACES, PICTURE, self.path, PICTURE, LANDMARKS)
            self.assertEqual(done.returncode, 1, text)
            with self.subTest(done.stderr), self.assertRaises(zomu.LandmarkError) as caught:
                zomu.read_landmarks(self.path)
            self.assertEqual(done.stderr, f"compare_faces: {caught.exception}\n")

    def test_a_missing_file_is_a_landmark_error(self) -> None:
        with self.assertRaisesRegex(zomu.LandmarkError, "cannot be opened: No such file or directory; `zomu find PICTURE --csv FOLDER` writes landmark files$"):
            zomu.read_landmarks(self.path)

    def test_a_written_file_gives_the_same_floats(self) -> None:
        random = np.random.default_rng(1)
        points = random.normal(100, 1000, (29, 2)).astype(np.float32)
        zomu.write_landmarks(self.path, points)
        read = zomu.read_landmarks(self.path)
        self.assertEqual(list(read), list(zomu.LANDMARK_IDS))
        self.assertTrue(np.array_equal(np.array(list(read.values()), dtype=np.float32), points))


class LandmarkFormTest(unittest.TestCase):
    def test_order_of_a_dict_and_of_a_file_is_kept(self) -> None:
        points = zomu.read_landmarks(LANDMARKS)
        turned = dict(reversed(points.items()))
        self.assertEqual(list(zomu.as_landmarks(turned)), list(turned))

    def test_says_what_is_wrong(self) -> None:
        points = zomu.read_landmarks(LANDMARKS)
        array = np.array(list(points.values()))
        cases = [
            ({}, "holds no landmarks"),
            ({**points, 7: (1, 2)}, "no landmark 7"),
            ({**points, "left": (1, 2)}, "no landmark 'left'"),
            ({**points, 0: 5}, "landmark 0 is not a pair"),
            ({**points, 0: (1, 2, 3)}, "landmark 0 is not a pair"),
            ({**points, 0: (1, "a")}, "landmark 0 is not a pair"),
            ({**points, 0: (1, float("nan"))}, "landmark 0 has a coordinate that is not finite"),
            ({**points, 0: (1, 1e39)}, "landmark 0 has a coordinate that is not finite"),
            ({k: v for k, v in points.items() if k != 314}, "landmark 314 is missing"),
            (array[:27], r"\(27, 2\).*landmark_layouts"),
            (array.T, r"\(2, 29\)"),
            (np.zeros((68, 2)), "68"),
            (array.astype(str), "must be numbers"),
        ]
        for landmarks, words in cases:
            with self.subTest(words), self.assertRaisesRegex(zomu.LandmarkError, words):
                zomu.as_landmarks(landmarks)
