"""A tiny experiment, seen from outside."""

import json
import tempfile
import unittest
from pathlib import Path

from support import TOOLS, render, run_command

SMALL = ("--people", 12, "--photos", 4, "--held-out", 10, "--networks", 6, 9)


class Experiment(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.work = cls.home / "work"
        cls.manifest = render(cls.home / "others", "--people", 8, "--photos", 3, "--first", 70000)

    def run_it(self, *options):
        return run_command("experiment", self.work, *SMALL, "--tools", TOOLS, *options)

    def test_figures_are_printed_and_logged_and_people_are_drawn_once(self):
        measure = ("--measure", f"others={self.manifest}", "--set", "epochs=1", "batch=16")
        first = self.run_it("--name", "as it is", *measure)
        self.assertEqual(first.returncode, 0, first.stderr)
        self.assertEqual(first.stdout.count("drawing"), 3)
        stamps = {path: path.stat().st_mtime_ns for path in self.work.glob("p*/*")}
        second = self.run_it("--name", "more light", *measure, "--set", "light=0.4", "grain=3")
        self.assertNotIn("drawing", second.stdout)
        self.assertEqual(stamps, {path: path.stat().st_mtime_ns for path in self.work.glob("p*/*")})
        lines = [json.loads(line) for line in (self.work / "log.jsonl").read_text(encoding="utf-8").splitlines()]
        self.assertEqual([line["name"] for line in lines], ["as it is", "more light"])
        self.assertEqual(lines[1]["changes"], {"epochs": 1, "batch": 16, "light": 0.4, "grain": 3.0})
        self.assertNotEqual(lines[0]["losses"], lines[1]["losses"])
        for name in ("rendered", "others"):
            figures = lines[0]["figures"][name]
            self.assertEqual(set(figures), {"6", "9", "together", "fitted", "travel"})
            self.assertTrue(0 <= figures.pop("travel")["false matches"] <= 1)
            for means in figures.values():
                for errors in means.values():
                    self.assertTrue(0 <= errors["equal"] <= 1 and 0 <= errors["order"] <= 1)
        self.assertIn(f"{100 * lines[0]['figures']['others']['9']['own mean']['equal']:.2f}", first.stdout)

    def test_the_log_becomes_a_table_with_differences(self):
        def line(name, seed, equal, networks):
            errors = {mean: {"equal": equal, "order": equal / 2} for mean in ("training mean", "own mean")}
            figures = {kind: {str(number): errors for number in networks} for kind in ("rendered", "real")}
            return json.dumps({"name": name, "seed": seed, "people": 10, "photos": 4, "train": "", "networks": networks,
                               "figures": figures, "processor seconds": 5}) + "\n"

        log = self.home / "made.jsonl"
        log.write_text(line("as it is", 1, 0.2, [6, 9]) + line("as it is", 2, 0.3, [6]) + line("light", 1, 0.22, [6]),
                       encoding="utf-8")
        result = run_command("list_experiments", log, "--kept", 3)
        self.assertEqual(result.returncode, 0, result.stderr)
        rates, orders = 3 * "| 22.00 (-3.00) ", 2 * "| 11.00 (-1.50) "
        self.assertEqual(result.stdout.splitlines()[-1], f"| 3 | light | 1 | 10 x 4 | 6 {rates}{orders}| 5 | kept |")
        refused = run_command("list_experiments", self.manifest)
        self.assertRegex(refused.stderr, r"^list_experiments: .* is not a log of experiments\n$")

    def test_what_makes_no_sense_is_refused_in_a_line(self):
        for options, words in ((("--set", "lihgt=1"), "lihgt=1: no such setting"),
                               (("--set", "light=much"), "light=much: is not a number"),
                               (("--measure", "others"), "is not NAME=MANIFEST"),
                               (("--measure", "others=none.csv"), "none.csv: No such file")):
            with self.subTest(words):
                result = self.run_it(*options)
                self.assertEqual(result.returncode, 1)
                self.assertRegex(result.stderr, rf"^experiment: .*{words}[^\n]*\n$")


class Landmarks(unittest.TestCase):
    def test_some_photographs_get_those_of_the_finder(self):
        with tempfile.TemporaryDirectory() as home:
            manifest = render(Path(home) / "people", "--people", 3, "--photos", 4)
            result = run_command("find_landmarks", manifest, Path(home) / "found", "--share", 0.5)
            self.assertEqual(result.returncode, 0, result.stderr)
            lines = (Path(home) / "found" / "manifest.csv").read_text(encoding="utf-8").splitlines()[1:]
            self.assertEqual(len(lines), 12)
            found = [line for line in lines if "found/landmarks" in line]
            self.assertRegex(result.stdout, rf"12 photographs: {len(found)} of 6 have found landmarks")
            self.assertGreater(len(found), 2)
