"""A wrong coordinate does not become a template, and a right one gives the same wherever the face is."""

import unittest

import numpy as np

import zomu
from support import LANDMARKS, MODEL, PICTURE
from zomu.near_face import near_face

Points = dict[int, tuple[float, float]]

PORTRAIT = zomu.read_landmarks(LANDMARKS)


def with_each(change) -> Points:
    return {number: change(x, y) for number, (x, y) in PORTRAIT.items()}


WRONG = {
    "fractions": (with_each(lambda x, y: (x / 300, y / 300)), "fractions"),
    "all zero": (with_each(lambda x, y: (0, 0)), "at one place"),
    "on one line": (with_each(lambda x, y: (x, x)), "on one line"),
    "off the picture": (with_each(lambda x, y: (x + 500, y)), "29 of 29 landmarks lie outside the picture of 300 x 300"),
    "far off": (with_each(lambda x, y: (x * 1e30, y * 1e30)), "outside the picture"),
    "from below": (with_each(lambda x, y: (x, 299 - y)), "y runs upwards"),
    "exchanged": ({**PORTRAIT, 12: PORTRAIT[13], 13: PORTRAIT[12]}, "exchanged: 12 and 13"),
    "not a number": ({**PORTRAIT, 9: (145.0, float("nan"))}, "landmark 9 has a coordinate that is not finite"),
}


class RefusalTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.context = cls.enterClassContext(zomu.Context(MODEL))
        cls.image = zomu.read_picture(PICTURE)

    def test_landmarks_that_are_wrong_for_the_picture_are_refused(self) -> None:
        for name, (points, words) in WRONG.items():
            with self.subTest(name):
                with self.assertRaisesRegex(zomu.LandmarkError, words):
                    self.context.extract(self.image, points)
                with self.assertRaisesRegex(zomu.LandmarkError, "^face 1: .*" + words):
                    self.context.extract_many([(self.image, PORTRAIT), (self.image, points)])

    def test_who_insists_gets_what_the_library_makes_of_them(self) -> None:
        for name in ("fractions", "from below", "exchanged"):
            points, _ = WRONG[name]
            with self.subTest(name):
                alone = self.context.extract(self.image, points, unchecked=True)
                (many,) = self.context.extract_many([(self.image, points)], unchecked=True)
                self.assertEqual(alone.tobytes(), many.tobytes())
        good = self.context.extract(self.image, PORTRAIT)
        self.assertEqual(self.context.extract(self.image, PORTRAIT, unchecked=True).tobytes(), good.tobytes())
        with self.assertRaisesRegex(zomu.LandmarkError, "not finite"):
            self.context.extract(self.image, WRONG["not a number"][0], unchecked=True)


class NearFaceTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.context = cls.enterClassContext(zomu.Context(MODEL))
        cls.image = zomu.read_picture(PICTURE)

    def test_a_face_far_from_the_origin_gives_the_same_template(self) -> None:
        sheet = np.zeros((20000, 20000, 3), dtype=np.uint8)  # memory is taken for the face alone
        expected = None
        for left, top in ((1024, 1024), (16000 - 128, 16000 - 128), (19456, 1024), (1024, 19456)):
            sheet[top : top + 300, left : left + 300] = self.image
            points = with_each(lambda x, y: (round(64 * x) / 64 + left, round(64 * y) / 64 + top))
            template = self.context.extract(sheet, points)
            (many,) = self.context.extract_many([(sheet[:, :, ::-1], points)], order="RGB")
            sheet[top : top + 300, left : left + 300] = 0
            expected = template if expected is None else expected
            self.assertEqual(template.tobytes(), expected.tobytes(), (left, top))
            self.assertEqual(many.tobytes(), expected.tobytes(), (left, top))
        # Here the coordinates themselves are rounded.
        for left, top in ((16000, 16000), (12345, 19001)):
            sheet[top : top + 300, left : left + 300] = self.image
            template = self.context.extract(sheet, with_each(lambda x, y: (x + left, y + top)))
            self.assertAlmostEqual(zomu.compare(template, expected), zomu.compare(expected, expected), delta=1e-3)

    def test_no_template_depends_on_what_is_left_out(self) -> None:
        dice = np.random.default_rng(4)
        for flip in (1, -1):
            picture = np.zeros((1000, 1500, 3), dtype=np.uint8)[::flip]
            picture[700:1000, 1100:1400] = self.image
            points = with_each(lambda x, y: (x + 1100, y + 700))
            expected = self.context.extract(picture, points)
            view, moved = near_face(picture, points)
            height, width = view.shape[:2]
            self.assertEqual((width, height), (1500 - 768, 1000 - 512))
            self.assertEqual(moved[0], (points[0][0] - 768, points[0][1] - 512))
            picture[:512] = dice.integers(0, 256, (512, 1500, 3), dtype=np.uint8)
            picture[:, :768] = dice.integers(0, 256, (1000, 768, 3), dtype=np.uint8)
            self.assertEqual(self.context.extract(picture, points).tobytes(), expected.tobytes())
            whole = self.context.extract(picture, points, unchecked=True)
            self.assertAlmostEqual(zomu.compare(whole, expected), zomu.compare(expected, expected), delta=1e-3)

    def test_a_picture_that_begins_near_the_face_is_handed_over_as_it_is(self) -> None:
        view, points = near_face(self.image, PORTRAIT)
        self.assertEqual((view.shape, points), (self.image.shape, PORTRAIT))
        self.assertTrue(np.shares_memory(view, self.image))


if __name__ == "__main__":
    unittest.main()
