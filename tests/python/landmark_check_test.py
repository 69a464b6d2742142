"""The check of landmarks: over the table that C and the editor share, and word by word as C."""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import numpy as np

import zomu
from landmark_tables import TABLE, cases, random_table
from support import LANDMARKS, PROJECT
from zomu.head_model import HEAD_MODEL, MODEL_EYE_DISTANCE
from zomu.landmark_check import landmark_report
from zomu.near_face import near_face


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
        table = self.folder / "table"
        table.write_text(random_table(2000, seed=16))
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
