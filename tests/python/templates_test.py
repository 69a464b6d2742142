"""Templates and their files, which zomu-template shares."""

import itertools
import tempfile
import unittest
from pathlib import Path

import numpy as np

import zomu
from picture_writer import png_of
from support import LANDMARKS, MODEL, PICTURE, TOOLS, run, run_python

OTHER = "ab" * 32


def template_of(value: float, term: float, length: float) -> np.ndarray:
    template = np.zeros(502, dtype=np.float32)
    template[[7, 500, 501]] = value, term, length
    return template


class TemplateTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        with zomu.Context(MODEL) as context:
            cls.template = context.extract(zomu.read_picture(PICTURE), LANDMARKS)

    def setUp(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.path, self.other = folder / "a.zomu", folder / "b.zomu"

    def test_files_are_those_of_the_tool(self) -> None:
        zomu.save_template(self.path, self.template)
        done = run(TOOLS / "zomu-template", "extract", PICTURE, LANDMARKS, self.other)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(self.path.read_bytes(), self.other.read_bytes())
        self.assertEqual(self.path.stat().st_size, 2048)
        done = run(TOOLS / "zomu-template", "compare", self.path, self.other)
        self.assertEqual(done.stdout, f"{zomu.compare(self.template, self.template):.9g}\n")

    def test_far_from_the_origin_and_for_wrong_landmarks_the_tool_does_the_same(self) -> None:
        sheet = np.zeros((900, 1500, 3), dtype=np.uint8)
        sheet[600:, 1200:] = zomu.read_picture(PICTURE)
        picture, face = self.path.with_name("sheet.png"), self.path.with_name("sheet.csv")
        picture.write_bytes(png_of(sheet[:, :, ::-1]))
        points = {number: (x + 1200, y + 600) for number, (x, y) in zomu.read_landmarks(LANDMARKS).items()}
        points[12], points[13] = points[13], points[12]
        with zomu.Context(MODEL) as context:
            for is_wrong in (True, False):
                zomu.write_landmarks(face, points)
                done = run(TOOLS / "zomu-template", "extract", picture, face, self.other)
                if is_wrong:
                    self.assertEqual(done.returncode, 1)
                    with self.assertRaises(zomu.LandmarkError) as caught:
                        context.extract(sheet, points)
                    self.assertIn(str(caught.exception), done.stderr)
                    done = run(TOOLS / "zomu-template", "extract", "--unchecked", picture, face, self.other)
                self.assertEqual(done.returncode, 0, done.stderr)
                template = context.extract(sheet, points, unchecked=is_wrong)
                self.assertEqual(self.other.read_bytes()[40:], template.tobytes())
                points[12], points[13] = points[13], points[12]

    def test_a_file_gives_the_template_back(self) -> None:
        spread = np.repeat(self.template, 2)[::2]
        zomu.save_template(self.path, spread)
        loaded = zomu.load_template(self.path)
        self.assertEqual(loaded.tobytes(), self.template.tobytes())
        self.assertTrue(loaded.flags.writeable)
        self.assertEqual(zomu.template_fingerprint(self.path), zomu.model_fingerprint(MODEL))

    def test_templates_of_another_model_are_refused(self) -> None:
        zomu.save_template(self.path, self.template)
        zomu.save_template(self.other, self.template, fingerprint=OTHER)
        with self.assertRaisesRegex(zomu.TemplateError, "made with another model: abababab"):
            zomu.load_template(self.other)
        with self.assertRaisesRegex(zomu.TemplateError, "made with another model"):
            zomu.load_template(self.path, fingerprint=OTHER)
        zomu.load_template(self.other, fingerprint=OTHER)
        done = run(TOOLS / "zomu-template", "compare", self.path, self.other)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn("made with two models", done.stderr)

    def test_templates_of_an_unknown_model_are_refused(self) -> None:
        zomu.save_template(self.path, self.template, fingerprint="0" * 64)
        for fingerprint in (None, "0" * 64):
            with self.assertRaisesRegex(zomu.TemplateError, "made with an unknown model"):
                zomu.load_template(self.path, fingerprint=fingerprint)

    def test_a_process_without_a_model_takes_any_but_saves_none_unnamed(self) -> None:
        zomu.save_template(self.other, self.template, fingerprint=OTHER)
        done = run_python(
            f"import zomu\na = zomu.load_template({str(self.other)!r})\n" f"zomu.save_template({str(self.path)!r}, a)"
        )
        self.assertIn("zomu.errors.TemplateError: no model is loaded", done.stderr)
        self.assertIn("pass its fingerprint=", done.stderr)

    def test_says_what_is_no_template_file(self) -> None:
        zomu.save_template(self.path, self.template)
        good = self.path.read_bytes()
        broken = bytearray(good)
        broken[40:44] = np.float32("nan").tobytes()
        cases = [
            (b"", "not a template file"),
            (good[:-1], "not a template file"),
            (good + b"\0", "not a template file"),
            (self.template.tobytes(), "not a template file"),
            (b"x" + good[1:], "not a template file"),
            (bytes(broken), "not finite"),
        ]
        for content, words in cases:
            self.other.write_bytes(content)
            with self.subTest(words), self.assertRaisesRegex(zomu.TemplateError, words):
                zomu.load_template(self.other)

    def test_what_no_extraction_gives_is_refused(self) -> None:
        forged = {
            "a tiny length and a huge quadratic term": (1, 1e30, 1e-20, "length"),
            "a length that is a little off": (1, 1, 1.002, "a length of 1.002, and its values one of 1$"),
            "a negative length": (1, 1, -1, "a length of -1"),
            "a negative quadratic term": (1, -1e-3, 1, "a quadratic term of -0.001"),
            "a quadratic term too large": (1, 1.1e12, 1, "a quadratic term of 1.1e.12"),
            "values too small": (5e-7, 1, 5e-7, "a length of 5e-07"),
            "values too large": (2e6, 1, 2e6, "a length of 2e.06"),
        }
        for name, (value, term, length, words) in forged.items():
            template = template_of(value, term, length)
            uses = {
                "compared": lambda: zomu.compare(self.template, template),
                "saved": lambda: zomu.save_template(self.path, template),
                "loaded": lambda: zomu.load_template(self.other, fingerprint=OTHER),
            }
            self.other.write_bytes(b"ZOMUTPL1" + bytes.fromhex(OTHER) + template.tobytes())
            for use, function in uses.items():
                with self.subTest(name, use=use), self.assertRaisesRegex(zomu.TemplateError, words):
                    function()
            self.assertFalse(self.path.exists())

    def test_no_score_of_accepted_templates_is_above_3(self) -> None:
        accepted = [
            template_of(sign * length, term, length * fit)
            for sign, length, term, fit in itertools.product((1, -1), (2e-6, 1, 9e5), (0, 1, 9e11), (1, 0.9991))
        ]
        scores = [zomu.compare(a, b) for a, b in itertools.product(accepted, accepted)]
        self.assertGreater(max(scores), 2.999)
        self.assertLess(max(scores), 3.005)  # lengths may be off by a thousandth

    def test_says_what_cannot_be_compared(self) -> None:
        hole = self.template.copy()
        hole[501] = np.nan
        cases = [
            (self.template.astype(np.float64), "float32, not float64"),
            (list(self.template), "not list"),
            (self.template[:500], r"\(502,\), not \(500,\)"),
            (hole, "not finite"),
            (np.zeros(502, dtype=np.float32), "length of 0"),
        ]
        for other, words in cases:
            with self.subTest(words), self.assertRaisesRegex(zomu.TemplateError, words):
                zomu.compare(self.template, other)

    def test_strided_templates_score_the_same(self) -> None:
        spread = np.zeros((502, 2), dtype=np.float32)
        spread[:, 1] = self.template
        self.assertEqual(zomu.compare(spread[:, 1], self.template), zomu.compare(self.template, self.template))

    def test_a_fingerprint_has_64_digits(self) -> None:
        for text in ("", "ab", "x" * 64):
            with self.assertRaisesRegex(zomu.TemplateError, "64 hexadecimal digits"):
                zomu.save_template(self.path, self.template, fingerprint=text)
