"""The model that comes with the project: the bytes it claims to be, its size, and that it works."""

import json
import tempfile
import unittest
from pathlib import Path

from support import PROJECT, TOOLS, run_command
from trainer.tools import run_tool

MODELS = PROJECT / "models"
THRESHOLD = "threshold at 0.1 % false matches"


class DemonstrationModel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.model = cls.home / "model"
        run_tool(TOOLS, "zomu-model", "unpack", MODELS / "rendered-people.pack", cls.model)

    def test_it_is_what_its_readme_says(self):
        text = (MODELS / "README.md").read_text(encoding="utf-8")
        size = (MODELS / "rendered-people.pack").stat().st_size
        self.assertLessEqual(size, 16_000_000)
        self.assertIn(f"{size:,} bytes", text)
        self.assertIn(run_tool(TOOLS, "zomu-model", "fingerprint", self.model).strip(), text)
        run_tool(TOOLS, "zomu-model", "check", self.model)

    def test_it_tells_the_sample_people_apart(self):
        told = json.loads((MODELS / "rendered-people.json").read_text(encoding="utf-8"))
        # People whom no training has seen; the rates on so few are rough.
        manifest = PROJECT / "examples/data/people/manifest.csv"
        result = run_command("evaluate", manifest, self.home / "rates", "--model", self.model,
                             "--rounds", 20, "--tools", TOOLS, "--threshold", told[THRESHOLD])
        self.assertEqual(result.returncode, 0, result.stderr)
        rates = json.loads((self.home / "rates/rates.json").read_text(encoding="utf-8"))
        self.assertLess(rates["equal error rate"], 0.05)
        self.assertGreater(rates["first rank"], 0.95)
        self.assertEqual(rates["given threshold"], told[THRESHOLD])
        self.assertLess(rates["false matches at it"], 0.01)
        self.assertLess(rates["false non-matches at it"], 0.1)
        for kind in ("same", "different"):
            name = f"mean score of {kind} pairs"
            self.assertAlmostEqual(rates[name], told[name], delta=0.2)
