"""What the check says of good, exchanged and disordered landmarks, and that zomu-inspect says the same."""

import cmath
import itertools
import math
import random
import re
import tempfile
import unittest
from pathlib import Path

import zomu
from support import LANDMARKS, PICTURE, PROJECT, TOOLS, run
from zomu.head_model import HEAD_MODEL, MODEL_EYE_DISTANCE, fit_head
from zomu.landmark_check import PARTNERS, RESIDUAL_LIMIT

Points = dict[int, tuple[float, float]]


def exchanged(points: Points, pairs) -> Points:
    changed = dict(points)
    for left, right in pairs:
        if left in points:
            changed[left], changed[right] = points[right], points[left]
    return changed


def turned(points: Points, degrees: float) -> Points:
    turn = cmath.exp(1j * math.radians(degrees))
    places = {number: complex(x, y) * turn for number, (x, y) in points.items()}
    return {number: (place.real, place.imag) for number, place in places.items()}


class LandmarkCheckTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.portrait = zomu.read_landmarks(LANDMARKS)
        cls.faces: list[Points] = [cls.portrait]
        people = sorted(LANDMARKS.parent.glob("people/photos/*/01.csv"))
        assert len(people) == 12
        cls.faces += [zomu.read_landmarks(path) for path in people]
        without = [{k: p for k, p in face.items() if k in zomu.REQUIRED_IDS} for face in cls.faces]
        cls.faces += without

    def warning_of_tool(self, points: Points) -> str:
        path = self.folder / "face.csv"
        zomu.write_landmarks(path, points)
        done = run(TOOLS / "zomu-inspect", PICTURE, path, self.folder / "sheets")
        self.assertEqual(done.returncode, 1 if done.stderr else 0, done.stderr)
        return done.stderr

    def assert_doubted(self, points: Points, words: str) -> None:
        doubt = zomu.check_landmarks(points)
        self.assertIsNotNone(doubt)
        self.assertRegex(doubt, words)
        self.assertTrue(self.warning_of_tool(points).startswith("zomu-inspect: "))

    def test_the_head_model_is_that_of_the_library(self) -> None:
        source = (PROJECT / "src/patches/landmarks.cpp").read_text()
        row = re.compile(r"\{(-?[\d.]+)F, (-?[\d.]+)F, (-?[\d.]+)F\},\s*// (\d+)")
        rows = {int(m[4]): (float(m[1]), float(m[2]), float(m[3])) for m in row.finditer(source)}
        self.assertEqual(HEAD_MODEL, rows)
        pose = (PROJECT / "src/patches/head_pose.h").read_text()
        self.assertIn(f"kModelEyeDistance = {MODEL_EYE_DISTANCE}F;", pose)

    def test_good_landmarks_are_good(self) -> None:
        for face in self.faces:
            self.assertIsNone(zomu.check_landmarks(face))
            for degrees in (0, 45, 90, 135, 200, 300):
                self.assertIsNone(zomu.check_landmarks(turned(face, degrees)))
                swapped = turned(exchanged(face, PARTNERS), degrees)
                self.assertRegex(zomu.check_landmarks(swapped), "in all landmarks")
        self.assertEqual(self.warning_of_tool(self.portrait), "")
        # And stay well below the limit.
        self.assertLess(max(fit_head(face).residual for face in self.faces), 0.7 * RESIDUAL_LIMIT)

    def test_each_exchanged_pair_is_named(self) -> None:
        for face, pair in itertools.product(self.faces, PARTNERS):
            if pair[0] in face:
                doubt = zomu.check_landmarks(exchanged(face, [pair]))
                self.assertEqual(doubt, f"left and right look exchanged: {pair[0]} and {pair[1]}")
        self.assert_doubted(exchanged(self.portrait, [(12, 13), (44, 43)]), "12 and 13, 44 and 43$")

    def test_exchanged_sides_are_told_from_a_mirrored_picture_and_rows_that_run_upwards(self) -> None:
        for face in self.faces:
            mirrored = {number: (-x, y) for number, (x, y) in face.items()}
            self.assertRegex(zomu.check_landmarks(mirrored), "in all landmarks")
            self.assertIsNone(zomu.check_landmarks(exchanged(mirrored, PARTNERS)))
            upwards = {number: (x, -y) for number, (x, y) in face.items()}
            self.assertRegex(zomu.check_landmarks(upwards), "y runs upwards")
        self.assert_doubted(exchanged(self.portrait, PARTNERS), "in all landmarks")

    def test_another_order_is_seen(self) -> None:
        dice = random.Random(1)
        for face in self.faces:
            numbers, places = list(face), list(face.values())
            for shift in (1, 2, 3, len(numbers) - 1):
                moved = dict(zip(numbers, places[shift:] + places[:shift]))
                self.assertRegex(zomu.check_landmarks(moved), "is the order another one")
            dice.shuffle(places)
            self.assertRegex(zomu.check_landmarks(dict(zip(numbers, places))), "most of all landmark")
        places = list(self.portrait.values())
        self.assert_doubted(dict(zip(self.portrait, places[3:] + places[:3])), "miss the head model")

    def test_points_at_one_place_are_seen(self) -> None:
        self.assert_doubted(dict.fromkeys(self.portrait, (5.0, 5.0)), "at one place")
