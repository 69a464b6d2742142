"""Folders in which data sets are shared, made of rendered people."""

import json
import tempfile
import unittest
from pathlib import Path

import cv2
import numpy as np

from evaluation.folder_layouts import accuracy_over_folds, read_pairs
from support import PROJECT, TOOLS, render, run_command
from trainer.manifest import read_manifest
from trainer.problems import TrainingProblem
from trainer.tools import run_tool

PAIRS = "2\t2\nAnn\t1\t2\nBob\t1\t3\nAnn\t1\tBob\t2\nAnn\t3\tCid\t1\n" \
        "Cid\t1\t2\nDot\t2\t3\nCid\t3\tDot\t1\nBob\t3\tDot\t2\n"


class Pairs(unittest.TestCase):
    def test_pairs_are_read_in_their_folds_and_other_texts_refused(self):
        with tempfile.TemporaryDirectory() as home:
            path = Path(home) / "pairs.txt"
            path.write_text(PAIRS, encoding="utf-8")
            pairs = read_pairs(path)
            self.assertEqual([pair.fold for pair in pairs], 4 * [0] + 4 * [1])
            self.assertEqual([pair.is_same() for pair in pairs], 2 * [True, True, False, False])
            self.assertEqual((pairs[3].first, pairs[3].second), (("Ann", 3), ("Cid", 1)))
            for text in ("", "2 2\nAnn 1 2\n", PAIRS.replace("\t1\t2\nBob", "\tone\t2\nBob", 1), PAIRS + "Ann\t1\t2\n"):
                path.write_text(text, encoding="utf-8")
                with self.assertRaisesRegex(TrainingProblem, "is not a list of pairs in folds"):
                    read_pairs(path)

    def test_a_fold_is_judged_by_the_threshold_of_the_others(self):
        same = np.array([True, True, False, False] * 2)
        fold = np.repeat([0, 1], 4)
        apart = np.array([5.0, 6, 1, 2] * 2)
        self.assertEqual(accuracy_over_folds(apart, same, fold).mean, 1)
        # Scores of the second fold lie lower: its threshold takes all of the first for the same, and that of the
        # first takes all of the second for different people.
        moved = apart - np.where(fold == 1, 5, 0)
        result = accuracy_over_folds(moved, same, fold)
        self.assertEqual((result.mean, result.deviation), (0.5, 0))
        missing = np.where(np.arange(8) == 2, np.nan, apart)
        self.assertEqual(accuracy_over_folds(missing, same, fold).mean, 7 / 8)


class Folders(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.model = cls.home / "model"
        run_tool(TOOLS, "zomu-model", "unpack", PROJECT / "models" / "rendered-people.pack", cls.model)
        manifest = render(cls.home / "people", "--people", 4, "--photos", 3, "--first", 70000, "--occlusion", 0)
        cls.pictures = [cv2.imread(str(photo)) for _, photo, _ in read_manifest(manifest)]

    def measure(self, layout, folder, out, *options):
        return run_command("measure_photographs", layout, folder, self.home / out, "--model", self.model,
                           "--tools", TOOLS, *options)

    def test_pairs_in_folds_are_measured(self):
        folder = self.home / "wild"
        for k, picture in enumerate(self.pictures):
            name = ("Ann", "Bob", "Cid", "Dot")[k // 3]
            (folder / name).mkdir(parents=True, exist_ok=True)
            cv2.imwrite(str(folder / name / f"{name}_{k % 3 + 1:04}.jpg"), picture)
        cv2.imwrite(str(folder / "Bob" / "Bob_0003.jpg"), np.zeros((90, 90), np.uint8))
        (folder / "pairs.txt").write_text(PAIRS, encoding="utf-8")
        for _ in range(2):  # the second time with the landmarks of the first
            result = self.measure("lfw", folder, "wild-rates")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertIn("12 photographs, 1 without a face that was found", result.stdout)
        rates = json.loads((self.home / "wild-rates" / "rates.json").read_text(encoding="utf-8"))
        self.assertEqual((rates["pairs"], rates["pairs without scores, counted as wrong"]), (8, 2))
        self.assertTrue(0.5 <= rates["accuracy"] <= 0.75, rates)
        (folder / "Dot" / "Dot_0001.jpg").unlink()
        result = self.measure("lfw", folder, "wild-rates")
        self.assertRegex(result.stderr, r"^measure_photographs: .*Dot_0001\.jpg: does not exist\n$")

    def test_numbered_folders_of_grey_pictures_are_measured(self):
        folder = self.home / "grey"
        for k, picture in enumerate(self.pictures):
            (folder / f"s{k // 3 + 1}").mkdir(parents=True, exist_ok=True)
            cv2.imwrite(str(folder / f"s{k // 3 + 1}" / f"{k % 3 + 1}.pgm"), cv2.cvtColor(picture, cv2.COLOR_BGR2GRAY))
        result = self.measure("att", folder, "grey-rates")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("same pairs: 12", result.stdout)
        rates = json.loads((self.home / "grey-rates" / "rates.json").read_text(encoding="utf-8"))
        self.assertLess(rates["equal error rate"], 0.3)

    def test_folders_without_such_photographs_are_refused_in_a_line(self):
        empty = self.home / "empty"
        empty.mkdir()
        for layout, words in (("att", "has no folders s1"), ("lfw", r"pairs\.txt: No such file")):
            result = self.measure(layout, empty, f"{layout}-none")
            self.assertEqual(result.returncode, 1)
            self.assertRegex(result.stderr, rf"^measure_photographs: .*{words}[^\n]*\n$")
