"""The check of landmarks: over the table that C and the editor share, and word by word as C."""

import itertools
import math
import os
import random
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import numpy as np

import zomu
from support import LANDMARKS, PROJECT
from zomu.head_model import HEAD_MODEL, MODEL_EYE_DISTANCE
from zomu.landmark_check import PARTNERS, Entry, landmark_report
from zomu.near_face import near_face

TABLE = PROJECT / "tests/check/landmark_cases.csv"


def cases(table: Path) -> list[tuple[str, int, int, str, list[Entry]]]:
    rows = []
    for line in table.read_text().splitlines()[1:]:
        name, width, height, fault, entries = line.split(";")
        points = [entry.split() for entry in entries.split(",") if entry]
        rows.append((name, int(width), int(height), fault, [(int(i), float(x), float(y)) for i, x, y in points]))
    return rows


def mistaken(face: dict[int, tuple[float, float]], dice: random.Random) -> list[Entry]:
    """A face with up to three mistakes of hosts."""
    places = {number: complex(x, y) for number, (x, y) in face.items()}
    for _ in range(dice.randrange(4)):
        size = 10 ** dice.uniform(-3, 4)
        angle, shift = dice.uniform(0, 7), complex(dice.gauss(0, size), dice.gauss(0, size))
        turn = complex(math.cos(angle), math.sin(angle))
        whole = [
            lambda z: z * turn,
            lambda z: z * size,
            lambda z: z + shift,
            lambda z: z.conjugate() + 300j,
            lambda z: complex(z.imag, z.real),
            lambda z: z + complex(dice.gauss(0, 5), dice.gauss(0, 5)),
        ]
        change = dice.randrange(9)
        if change < len(whole):
            places = {number: whole[change](z) for number, z in places.items()}
        elif change == 6:
            places[dice.choice(list(places))] += shift
        else:
            for left, right in dice.sample(PARTNERS, dice.randrange(1, 4)):
                places[left], places[right] = places[right], places[left]
    return [(number, z.real, z.imag) for number, z in places.items()]


class LandmarkCheckTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def reports_of_c(self, table: Path) -> list[str]:
        done = subprocess.run([os.environ["ZOMU_TEST_REPORTS"], table], capture_output=True, text=True, check=True)
        return done.stdout.splitlines()

    def assert_like_c(self, table: Path) -> None:
        lines = self.reports_of_c(table)
        rows = cases(table)
        self.assertEqual(len(lines), len(rows))
        for (name, width, height, _, entries), line in zip(rows, lines):
            fault, text = landmark_report(entries, width, height)
            last = ""
            if fault == "good":
                picture = np.broadcast_to(np.uint8(0), (height, width, 3))
                rounded = {i: (float(np.float32(x)), float(np.float32(y))) for i, x, y in entries}
                view, points = near_face(picture, rounded)
                height, width = view.shape[:2]
                last = "{:.9g} {:.9g}".format(*list(points.values())[-1])
            with self.subTest(name):
                self.assertEqual(line, f"{fault};{text};{width};{height};{last}")

    def test_the_head_model_is_that_of_the_library(self) -> None:
        source = (PROJECT / "src/patches/landmarks.cpp").read_text()
        row = re.compile(r"\{(-?[\d.]+)F, (-?[\d.]+)F, (-?[\d.]+)F\},\s*// (\d+)")
        rows = {int(m[4]): (float(m[1]), float(m[2]), float(m[3])) for m in row.finditer(source)}
        self.assertEqual(HEAD_MODEL, rows)
        pose = (PROJECT / "src/patches/head_pose.h").read_text()
        self.assertIn(f"kModelEyeDistance = {MODEL_EYE_DISTANCE}F;", pose)

    def test_finds_the_fault_of_each_case(self) -> None:
        for name, width, height, fault, entries in cases(TABLE):
            with self.subTest(name):
                report = landmark_report(entries, width, height)
                self.assertEqual(report.fault, fault, report.text)
                self.assertEqual(report.text == "", fault == "good")

    def test_says_what_the_check_in_c_says(self) -> None:
        self.assert_like_c(TABLE)
        dice = random.Random(16)
        photos = LANDMARKS.parent.glob("people/photos/*/*.csv")
        faces = [zomu.read_landmarks(path) for path in (LANDMARKS, *sorted(photos))]
        lines = ["name;width;height;fault;id x y,..."]
        for number, face in itertools.islice(enumerate(itertools.cycle(faces)), 2000):
            entries = ",".join(f"{i} {x:.9g} {y:.9g}" for i, x, y in mistaken(face, dice))
            size = round(10 ** dice.uniform(2, 4.5))
            lines.append(f"{number};{size};{dice.choice((300, size))};;{entries}")
        table = self.folder / "table"
        table.write_text("\n".join(lines) + "\n")
        self.assert_like_c(table)
        found = {line.split(";")[0] for line in self.reports_of_c(table)}
        self.assertGreaterEqual(len(found), 7, found)

    def test_takes_landmarks_in_every_form(self) -> None:
        points = zomu.read_landmarks(LANDMARKS)
        array = np.array(list(points.values()))
        for landmarks in (points, array, str(LANDMARKS), LANDMARKS):
            self.assertIsNone(zomu.check_landmarks(landmarks, 300, 300))
        self.assertIn("fractions", zomu.check_landmarks(array / 300, 300, 300))
        with self.assertRaisesRegex(zomu.LandmarkError, r"\(27, 2\)"):
            zomu.check_landmarks(array[:27], 300, 300)


if __name__ == "__main__":
    unittest.main()
