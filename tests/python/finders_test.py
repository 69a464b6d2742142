"""Faces in pictures: the finder that comes with the package, and any other."""

import subprocess
import sys
import tempfile
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np

import zomu
from support import LANDMARKS, PICTURE, PROJECT, run_python
from zomu import finders

FINDER = finders.finder_named()
PORTRAIT = zomu.read_picture(PICTURE)
EXACT = {name: place for name, place in zomu.read_landmarks(LANDMARKS).items() if name in zomu.REQUIRED_IDS}
EYES = np.hypot(*np.subtract(EXACT[1], EXACT[0]))


def moved(landmarks, matrix=((1, 0), (0, 1)), step=(0, 0)) -> dict:
    """Landmarks after a linear map and a step."""
    return {name: tuple(np.asarray(matrix) @ place + step) for name, place in landmarks.items()}


def on_grey(width: int, height: int, x: int, y: int, picture: np.ndarray) -> np.ndarray:
    result = np.full((height, width, 3), 127, np.uint8)
    result[y : y + picture.shape[0], x : x + picture.shape[1]] = picture
    return result


class FinderTest(unittest.TestCase):
    def assert_near(self, face: finders.Face, exact: dict, limit: float = 0.08) -> None:
        eyes = np.hypot(*np.subtract(exact[1], exact[0]))
        errors = [np.hypot(*np.subtract(face.landmarks[name], exact[name])) / eyes for name in exact]
        self.assertLess(np.mean(errors), limit)
        self.assertLess(np.max(errors), 3 * limit)

    def test_portrait_is_found(self) -> None:
        (face,) = FINDER(PORTRAIT)
        self.assert_near(face, EXACT)
        self.assertEqual((face.finder, face.version), ("mesh", "1"))
        self.assertTrue(0.5 <= face.confidence <= 1.0)
        left, top, right, bottom = face.box
        self.assertTrue(all(left <= x <= right and top - EYES / 2 <= y <= bottom for x, y in face.landmarks.values()))

    def test_landmarks_follow_the_face_however_the_picture_is_turned(self) -> None:
        last = 299
        turns = {
            0: (((1, 0), (0, 1)), (0, 0)),
            1: (((0, 1), (-1, 0)), (0, last)),
            2: (((-1, 0), (0, -1)), (last, last)),
            3: (((0, -1), (1, 0)), (last, 0)),
        }
        for quarters, (matrix, step) in turns.items():
            with self.subTest(quarters=quarters):
                (face,) = FINDER(np.rot90(PORTRAIT, quarters))
                self.assert_near(face, moved(EXACT, matrix, step))

    def test_two_faces_side_by_side_are_two(self) -> None:
        people = sorted((LANDMARKS.parent / "people/photos").glob("*/00.jpg"))[:2]
        pictures = [zomu.read_picture(path) for path in people]
        both = finders.find_faces(np.hstack(pictures), FINDER)
        self.assertEqual(len(both), 2)
        for number, path in enumerate(people):
            exact = zomu.read_landmarks(path.with_suffix(".csv"))
            exact = moved({name: exact[name] for name in zomu.REQUIRED_IDS}, step=(number * pictures[0].shape[1], 0))
            nearest = min(both, key=lambda face: abs(face.landmarks[0][0] - exact[0][0]))
            self.assert_near(nearest, exact, 0.12)

    def test_small_face_in_a_large_picture_is_found(self) -> None:
        for size, x, y in ((2, 1300, 900), (3, 20, 30)):
            small = PORTRAIT[::size, ::size]
            (face,) = FINDER(on_grey(2000, 1500, x, y, small))
            self.assert_near(face, moved(EXACT, np.eye(2) / size, (x, y)), 0.12)

    def test_large_picture_takes_no_seconds(self) -> None:
        large = PORTRAIT.repeat(8, axis=0).repeat(8, axis=1)
        started = time.thread_time()
        (face,) = FINDER(large)
        self.assertLess(time.thread_time() - started, 1.5)
        self.assert_near(face, moved(EXACT, 8 * np.eye(2), (3.5, 3.5)))

    def test_where_no_face_is_none_is_found(self) -> None:
        noise = np.random.default_rng(1).integers(0, 256, (240, 320, 3), np.uint8)
        pictures = {
            "grey": np.full((480, 640, 3), 127, np.uint8),
            "noise": noise,
            "a body": PORTRAIT[200:, :],
            "tiny": PORTRAIT[:2, :2],
            "narrow": np.ascontiguousarray(PORTRAIT[:, :2]),
        }
        for name, picture in pictures.items():
            with self.subTest(name):
                self.assertEqual(FINDER(picture), [])

    def test_layout_in_memory_and_threads_change_nothing(self) -> None:
        expected = FINDER(PORTRAIT)
        backwards = np.ascontiguousarray(PORTRAIT[::-1, ::-1])[::-1, ::-1]
        wide = np.zeros((300, 400, 3), np.uint8)
        wide[:, 50:350] = PORTRAIT
        for view in (backwards, wide[:, 50:350], np.asfortranarray(PORTRAIT)):
            self.assertEqual(FINDER(view), expected)
        frozen = PORTRAIT.copy()
        frozen.flags.writeable = False
        with ThreadPoolExecutor(4) as pool:
            self.assertEqual(list(pool.map(FINDER, [frozen] * 8)), [expected] * 8)

    def test_finder_wants_numpy_alone_and_core_wants_no_finder(self) -> None:
        code = """
import sys
import numpy
known = set(sys.modules) | set(sys.stdlib_module_names)
import zomu
assert "zomu.finders" not in sys.modules
from zomu import finders
finders.finder_named()(numpy.full((300, 300, 3), 90, numpy.uint8))
print(sorted({name.split(".")[0] for name in sys.modules} - {name.split(".")[0] for name in known}))
"""
        result = run_python(code)
        self.assertEqual((result.stdout, result.stderr), ("['zomu']\n", ""))

    def test_missing_data_give_one_line_that_says_what_to_do(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        package = PROJECT / "python/zomu"
        for file in package.glob("**/*.py"):
            link = folder / "zomu" / file.relative_to(package)
            link.parent.mkdir(parents=True, exist_ok=True)
            link.symlink_to(file)
        code = "from zomu import finders\ntry: finders.finder_named()\nexcept finders.FinderError as error: print(error)"
        result = subprocess.run(
            [sys.executable, "-B", "-c", code], env={"PYTHONPATH": str(folder)}, capture_output=True, text=True
        )
        self.assertRegex(result.stdout, r"^/.*\.tflite: cannot be opened: .*; install the package zomu again.*\n$")


def face_of(landmarks: dict, confidence: float = 0.5) -> finders.Face:
    return finders.Face((0.0, 0.0, 9.0, 9.0), confidence, landmarks, "by hand", "3")


class SeamTest(unittest.TestCase):
    def test_any_callable_is_a_finder_and_gets_blue_first(self) -> None:
        seen = []

        def finder(picture):
            seen.append(picture)
            return [face_of(moved(EXACT, np.eye(2) / 2)), face_of(EXACT)]

        faces = finders.find_faces(PORTRAIT[:, :, ::-1], finder, order="RGB")
        self.assertTrue((seen[0] == PORTRAIT).all())
        self.assertEqual([round(face.eye_distance / EYES, 3) for face in faces], [1.0, 0.5])
        self.assertEqual(zomu.as_landmarks(faces[0].landmarks), EXACT)

    def test_faces_that_the_check_refuses_are_left_out(self) -> None:
        mirrored = moved(EXACT, ((-1, 0), (0, 1)), (299, 0))
        outside = moved(EXACT, step=(1000, 0))
        faces = [face_of(mirrored), face_of(outside), face_of(EXACT)]
        self.assertEqual(finders.find_faces(PORTRAIT, lambda picture: faces), faces[2:])

    def test_what_is_no_face_is_refused(self) -> None:
        incomplete = {name: place for name, place in EXACT.items() if name != 9}
        sides = zomu.read_landmarks(LANDMARKS)
        for gives, error, words in (
            ([EXACT], finders.FinderError, "gives a dict where zomu.finders.Face is expected"),
            ([face_of(incomplete)], zomu.LandmarkError, "landmark 9 is missing"),
            ([face_of(sides)], finders.FinderError, "by hand gives landmarks that are not the 25"),
        ):
            with self.assertRaisesRegex(error, words):
                finders.find_faces(PORTRAIT, lambda picture: gives)
        with self.assertRaises(zomu.ImageError):
            finders.find_faces(PORTRAIT[:, :, 0], lambda picture: [])

    def test_finders_have_names(self) -> None:
        self.assertIs(finders.finder_named("os.path:basename").__name__, "basename")
        for name, words in (
            ("mash", 'there is no finder "mash": say "mesh", or "module:function" for another'),
            ("no_such_package.faces:find", "cannot be imported: No module named 'no_such_package'; is its package"),
            ("os:no_such_function", 'the module os has no "no_such_function"'),
            ("os:sep", '"os:sep" cannot be called with a picture'),
        ):
            with self.assertRaises(finders.FinderError) as caught:
                finders.finder_named(name)
            self.assertIn(words, str(caught.exception))
            self.assertNotIn("\n", str(caught.exception))


if __name__ == "__main__":
    unittest.main()
