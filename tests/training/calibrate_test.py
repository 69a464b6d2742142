"""The model that comes with the project, fitted to the sample people."""

import json
import tempfile
import unittest
from pathlib import Path

import numpy as np

from support import PROJECT, TOOLS, run_command
from trainer.manifest import read_manifest, write_manifest
from trainer.model_folder import read_table
from trainer.tools import run_tool

PACK = PROJECT / "models" / "rendered-people.pack"


class Calibration(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.model = cls.home / "model"
        run_tool(TOOLS, "zomu-model", "unpack", PACK, cls.model)
        cls.manifest = PROJECT / "examples/data/people/manifest.csv"

    def calibrate(self, out, *options, manifest=None):
        return run_command("calibrate", manifest or self.manifest, self.model, self.home / out, "--tools", TOOLS,
                           "--rounds", 20, "--rate", 0.01, *options)

    def assert_refused(self, result, words):
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertRegex(result.stderr, rf"^calibrate: .*{words}[^\n]*\n$")

    def test_tables_and_threshold_are_fitted_and_everything_else_is_the_same(self):
        result = self.calibrate("tables", "--fit", "tables")
        self.assertEqual(result.returncode, 0, result.stderr)
        for kind in ("as it is", "mean", "tables"):
            self.assertRegex(result.stdout, rf"(?m)^ *{kind} +\d+\.\d+ ")
        out = self.home / "tables"
        run_tool(TOOLS, "zomu-model", "check", out)
        differing = {path.name for path in self.model.iterdir() if path.read_bytes() != (out / path.name).read_bytes()}
        self.assertEqual(differing, {"6-0", "6-1", "6-2"})
        rates = json.loads((self.home / "tables.json").read_text(encoding="utf-8"))
        self.assertEqual((rates["people"], rates["same pairs"], rates["fitted"]), (12, 72, "tables"))
        self.assertLess(rates["equal error rate"], 0.1)
        self.assertTrue(np.isfinite(rates["threshold at 1 % false matches"]))

    def test_the_mean_alone_leaves_the_tables(self):
        result = self.calibrate("mean", "--fit", "mean")
        self.assertEqual(result.returncode, 0, result.stderr)
        tables = read_table(self.home / "mean" / "6-2").reshape(500, -1)
        self.assertTrue(np.array_equal(tables.ravel(), read_table(self.model / "6-2")))
        scores = self.home / "scores"
        with tempfile.TemporaryDirectory() as temporary:
            (Path(temporary) / "~zvplugintmp~").symlink_to(self.home / "mean")
            run_tool(TOOLS, "zomu-patches", "features", self.manifest, scores, temporary=Path(temporary))
        centred = np.load(scores / "features.npy") - read_table(self.home / "mean" / "6-0")
        templates = (centred @ tables.T).mean(axis=0)
        # Nothing but the coordinate that all templates share.
        self.assertEqual(np.count_nonzero(np.abs(templates) > 1e-3), 1)
        self.assertAlmostEqual(templates.max(), 1, delta=1e-3)

    def test_what_cannot_be_fitted_is_refused_in_a_line(self):
        rows = read_manifest(self.manifest)
        for name, chosen, words in (("few", rows[:8], "2 people are too few"),
                                    ("lonely", rows[::4], "no two people have two photographs")):
            manifest = self.home / f"{name}.csv"
            write_manifest(manifest, chosen)
            self.assert_refused(self.calibrate(name, manifest=manifest), words)
            self.assertFalse((self.home / name).exists())
        self.assert_refused(self.calibrate("rare", "--rate", 1e-6), "too few for a rate")
        self.assert_refused(self.calibrate("none", manifest=self.home / "none.csv"), "none.csv: No such file")
        taken = self.home / "taken"
        taken.mkdir()
        (taken / "file").touch()
        self.assert_refused(self.calibrate("taken"), "already exists")
