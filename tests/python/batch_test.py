"""Many faces in one call: the bits of single extractions, with the library for batches and without it."""

import os
import tempfile
import unittest
from pathlib import Path

import numpy as np

import zomu
from support import LANDMARKS, MODEL, linked_model, run_python
from zomu import _batch_library

LIBRARY = Path(os.environ["ZOMU_LIBRARY"])

# In a process of its own: five faces in one call and one by one; prints whether they are the same, and
# whether the library for batches was there.
COMPARE = f"""
import numpy, zomu
from zomu import _batch_library
points = zomu.read_landmarks({str(LANDMARKS)!r})
faces = [(numpy.full((300, 300, 3), 90 + i, dtype=numpy.uint8), points) for i in range(5)]
def compare(context):
    many = context.extract_many(faces)
    single = numpy.array([context.extract(*face) for face in faces])
    print(many.tobytes() == single.tobytes(), _batch_library.functions() is not None)
"""


def pictures(count: int) -> list[np.ndarray]:
    noise = np.random.default_rng(5)
    return [noise.integers(0, 256, (300, 280 + i, 3), dtype=np.uint8) for i in range(count)]


class BatchTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.context = cls.enterClassContext(zomu.Context(MODEL))
        cls.points = zomu.read_landmarks(LANDMARKS)

    def test_gives_the_bits_of_single_extractions(self) -> None:
        self.assertIsNotNone(_batch_library.functions())
        images = pictures(40)
        expected = [self.context.extract(image, self.points) for image in images]
        self.assertNotEqual(expected[0].tobytes(), expected[1].tobytes())
        for count in (0, 1, 2, 15, 16, 17, 40):
            with self.subTest(count):
                templates = self.context.extract_many([(image, self.points) for image in images[:count]])
                self.assertEqual(templates.dtype, np.float32)
                self.assertEqual(templates.shape, (count, 502))
                self.assertEqual(templates.tobytes(), b"".join(each.tobytes() for each in expected[:count]))

    def test_takes_everything_that_a_single_extraction_takes(self) -> None:
        image = pictures(1)[0]
        expected = self.context.extract(image, self.points).tobytes()
        array = np.array([self.points[number] for number in zomu.LANDMARK_IDS])
        flipped = np.ascontiguousarray(image[::-1])[::-1]
        faces = [(image, LANDMARKS), (flipped, array), (image[:, :, ::-1].copy()[:, :, ::-1], self.points)]
        for template in self.context.extract_many(faces):
            self.assertEqual(template.tobytes(), expected)
        rgb = image[:, :, ::-1]
        (template,) = self.context.extract_many([(rgb, self.points)], order="RGB")
        self.assertEqual(template.tobytes(), expected)

    def test_holds_16_pairs_of_an_iterator_at_a_time(self) -> None:
        taken: list[int] = []
        seen: list[int] = []

        class Points(dict):
            def items(self):  # the landmarks of a face are looked at when its batch begins
                seen.append(len(taken))
                return super().items()

        def faces():
            for number, image in enumerate(pictures(20)):
                taken.append(number)
                yield image, Points(self.points)

        self.assertEqual(len(self.context.extract_many(faces())), 20)
        self.assertEqual(set(seen), {16, 20})

    def test_names_the_face_that_is_wrong(self) -> None:
        image = pictures(1)[0]
        good = [(image, self.points)] * 18
        with self.assertRaisesRegex(zomu.ImageError, "^face 18: .*uint8"):
            self.context.extract_many([*good, (image.astype(np.float32), self.points)])
        with self.assertRaisesRegex(zomu.LandmarkError, "^face 0: "):
            self.context.extract_many([(image, {})])
        exchanged = {**self.points, 12: self.points[13], 13: self.points[12]}
        with self.assertRaisesRegex(zomu.LandmarkError, "^face 18: .*12 and 13"):
            self.context.extract_many([*good, (image, exchanged)])

    def test_a_closed_context_says_so(self) -> None:
        image = pictures(1)[0]
        for is_used in (False, True):
            context = zomu.Context(MODEL)
            if is_used:
                context.extract_many([(image, self.points)])
            context.close()
            with self.assertRaisesRegex(zomu.Error, "closed"):
                context.extract_many([(image, self.points)])


class BatchLibraryTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def assert_prints(self, code: str, expected: str, **variables: str) -> None:
        done = run_python(COMPARE + code, **variables)
        self.assertEqual(done.stderr, "")
        self.assertEqual(done.stdout, expected)

    def test_reads_the_model_of_the_other_library(self) -> None:
        model = str(linked_model(self.folder / "model"))
        for context in (f"zomu.Context({model!r})", "zomu.Context()"):
            code = f"import os\ncontext = {context}\nos.environ['TMPDIR'] = '/no'\ncompare(context)\nprint(os.environ['TMPDIR'])"
            self.assert_prints(code, "True True\n/no\n")

    def test_is_found_after_the_process_has_moved(self) -> None:
        library = os.path.relpath(LIBRARY)
        self.assert_prints("import os\ncontext = zomu.Context()\nos.chdir('/')\ncompare(context)", "True True\n", ZOMU_LIBRARY=library)

    def test_faces_are_extracted_one_by_one_where_it_is_not_installed(self) -> None:
        alone = self.folder / "libZOMU.so"
        alone.symlink_to(LIBRARY)
        self.assert_prints("compare(zomu.Context())", "True False\n", ZOMU_LIBRARY=str(alone))
        renamed = self.folder / "faces.so"
        renamed.symlink_to(LIBRARY)
        self.assert_prints("compare(zomu.Context())", "True False\n", ZOMU_LIBRARY=str(renamed))

    def test_is_not_used_if_others_have_loaded_one_of_the_libraries(self) -> None:
        for other in (LIBRARY, LIBRARY.with_name(LIBRARY.name.replace("ZOMU", "ZOMUbatch"))):
            self.assert_prints(f"import ctypes\nctypes.CDLL({str(other)!r})\ncompare(zomu.Context())", "True False\n")

    def test_unusable_weights_are_an_error(self) -> None:
        model = linked_model(self.folder / "model", leave_out="1-1-1")
        (model / "1-1-1").write_bytes(bytes(3080))
        done = run_python(COMPARE + f"zomu.Context({str(model)!r}).extract_many(faces)")
        self.assertIn("ModelError: the library gives no template for face 0: ", done.stderr)

    def test_a_forked_process_is_an_error_and_no_deadlock(self) -> None:
        self.assert_prints(
            "import os\n"
            "context = zomu.Context()\n"
            "context.extract_many(faces)\n"
            "child = os.fork()\n"
            "if child == 0:\n"
            "    try:\n"
            "        context.extract_many(faces)\n"
            "    except zomu.LibraryError as problem:\n"
            "        print('spawn' in str(problem), flush=True)\n"
            "    os._exit(0)\n"
            "os.waitpid(child, 0)",
            "True\n",
        )


if __name__ == "__main__":
    unittest.main()
