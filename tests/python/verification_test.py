"""`zomu.verify`, thresholds, and extraction without landmarks."""

import json
import unittest

import numpy as np

import zomu
from command_support import ANN, ANN_AGAIN, BOB, CommandTest, five_faces
from support import LANDMARKS, MODEL, PICTURE, PROJECT, run_python
from zomu import finders, thresholds

EVALUATION, WITH_FINDER = (
    json.loads((PROJECT / "models" / name).read_text()) for name in ("rendered-people.json", "rendered-people-found.json")
)
DEMONSTRATION = thresholds.DEMONSTRATION_MODEL


def blind_finder(picture: np.ndarray) -> list[finders.Face]:
    return []


class VerificationTest(CommandTest):
    def test_the_figures_of_the_demonstration_model_are_those_that_were_measured(self) -> None:
        measured = thresholds.MEASURED_THRESHOLDS[DEMONSTRATION]
        self.assertEqual(measured.value, EVALUATION["threshold at 0.1 % false matches"])
        self.assertEqual(measured.false_match_rate, 0.001)
        self.assertEqual(measured.false_non_match_rate, EVALUATION["false non-matches there"])
        self.assertEqual((EVALUATION["photographs"], EVALUATION["people"]), (8000, 1000))
        self.assertIn("8,000 photographs of 1,000 rendered people", measured.measured_on)
        found = thresholds.MEASURED_WITH_FINDER[DEMONSTRATION, "mesh 1"]
        self.assertEqual(found.value, measured.value)
        self.assertEqual(found.value, WITH_FINDER["given threshold"])
        self.assertEqual(found.false_match_rate, WITH_FINDER["false matches at it"])
        self.assertEqual(found.false_non_match_rate, WITH_FINDER["false non-matches at it"])
        self.assertIn(f"{WITH_FINDER['photographs']:,} photographs of 1,000 rendered people", found.measured_on)
        self.assertIn(f"in {8000 - WITH_FINDER['photographs']} others", found.measured_on)
        mesh = finders.finder_named()
        self.assertEqual(found.finder, f"{mesh.name} {mesh.version}")
        readme = (PROJECT / "models/README.md").read_text()
        self.assertIn(DEMONSTRATION, readme)
        self.assertIn("cannot identify real people", measured.model)

    def test_two_photographs_of_one_person_and_of_two(self) -> None:
        same, different = zomu.verify(ANN, ANN_AGAIN), zomu.verify(str(ANN), BOB)
        self.assertTrue(same and same.same)
        self.assertFalse(different or different.same)
        for result in (same, different):
            self.assertEqual(result.same, result.score >= result.threshold)
            self.assertEqual(result.fingerprint, DEMONSTRATION)
            for words in ("0.106 % of the pairs of different people", "0.878 %", "cannot identify real people"):
                self.assertIn(words, result.meaning)

    def test_rates_are_those_of_the_landmarks_that_were_used(self) -> None:
        exact = zomu.read_landmarks(ANN.with_suffix(".csv")), zomu.read_landmarks(BOB.with_suffix(".csv"))

        def another_finder(picture: np.ndarray) -> list[finders.Face]:
            return [finders.Face((0, 0, 9, 9), 1.0, {n: exact[0][n] for n in zomu.REQUIRED_IDS}, "other", "7")]

        known, found = (0.001, 0.0019642857142857144), (0.001061710920752665, 0.008778455586966225)
        for landmarks, finder, name, rates in (
            (exact, None, None, known),
            ((exact[0], None), None, "mesh 1", found),
            ((None, None), "mesh", "mesh 1", found),
            ((None, exact[1]), another_finder, "other 7", known),
        ):
            result = zomu.verify(ANN, BOB, landmarks=landmarks, finder=finder)
            measured = result.measured
            self.assertEqual((result.finder, result.threshold), (name, 0.7097293138504028))
            self.assertEqual((measured.false_match_rate, measured.false_non_match_rate), rates)
            self.assertEqual("landmarks of a finder, the rates may be" in result.meaning, rates == known)

    def test_the_largest_face_is_taken_on_request_where_it_is_clearly_that(self) -> None:
        exact = zomu.read_landmarks(PICTURE.with_suffix(".csv"))

        def face(scale: float) -> finders.Face:
            places = {n: (scale * exact[n][0], scale * exact[n][1]) for n in zomu.REQUIRED_IDS}
            return finders.Face((0, 0, 9, 9), 1.0, places, "any", "1")

        image = zomu.read_picture(PICTURE)
        with zomu.Context() as context:
            expected = context.extract(image, face(1).landmarks)
            for scales, is_clear in (((0.5, 1), True), ((0.3, 1, 0.4), True), ((0.51, 1, 0.2), False), ((1, 1), False)):
                faces = [face(scale) for scale in scales]
                with self.assertRaisesRegex(zomu.FaceCountError, f"^{len(faces)} faces were found where") as caught:
                    context.extract(image, finder=lambda picture: faces)
                self.assertEqual((caught.exception.count, caught.exception.has_largest), (len(faces), is_clear))
                if is_clear:
                    template = context.extract(image, finder=lambda picture: faces, largest=True)
                    self.assertEqual(template.tobytes(), expected.tobytes())
                    result = zomu.verify(image, PICTURE, finder=lambda picture: faces, largest=True)
                    self.assertEqual(result.score, zomu.compare(expected, expected))
                else:
                    with self.assertRaisesRegex(zomu.FaceCountError, "none of them twice as large as the others"):
                        context.extract(image, finder=lambda picture: faces, largest=True)
            with self.assertRaisesRegex(zomu.FaceCountError, "^no face was found"):
                context.extract(image, finder=blind_finder, largest=True)

    def test_files_arrays_and_templates_give_one_score(self) -> None:
        with zomu.Context() as context:
            image = zomu.read_picture(ANN)
            template = context.extract(image)
            face = finders.find_faces(image, finders.finder_named())[0]
            self.assertEqual(template.tobytes(), context.extract(image, face.landmarks).tobytes())
        zomu.save_template(self.folder / "ann.zomu", template)
        expected = zomu.verify(ANN, BOB).score
        for a in (str(ANN), image, template, self.folder / "ann.zomu"):
            self.assertEqual(zomu.verify(a, BOB).score, expected)
            self.assertEqual(zomu.verify(BOB, a, threshold=0.1).score, expected)
        self.assertEqual(zomu.verify(image[:, :, ::-1], BOB, order="RGB").score, expected)
        self.assertEqual(zomu.verify(ANN, BOB, landmarks=(face.landmarks, None)).score, expected)

    def test_a_threshold_of_the_caller_has_no_known_rate(self) -> None:
        score = zomu.verify(ANN, BOB).score
        for threshold, expected in ((score, True), (np.nextafter(score, 9), False), (-5, True)):
            result = zomu.verify(ANN, BOB, threshold=threshold)
            self.assertEqual((result.same, result.threshold, result.measured), (expected, threshold, None))
            self.assertIn("false matches is not known", result.meaning)
            self.assertIn("cannot identify real people", result.meaning)
        for threshold in (float("nan"), float("inf")):
            with self.assertRaisesRegex(zomu.ThresholdError, "finite number"):
                zomu.verify(ANN, BOB, threshold=threshold)

    def test_what_cannot_be_judged_raises(self) -> None:
        flat = np.full((100, 100, 3), 90, dtype=np.uint8)
        with zomu.Context() as context:
            template = context.extract(zomu.read_picture(ANN))
        foreign = self.folder / "foreign.zomu"
        zomu.save_template(foreign, template, fingerprint="ab" * 32)
        zomu.save_template(self.folder / "own.zomu", template)
        cases = [
            (flat, zomu.FaceCountError, "no face was found"),
            (five_faces(), zomu.FaceCountError, "5 faces were found where one is needed"),
            (flat[:1], zomu.ImageError, "at least 2 x 2"),
            (self.folder / "missing.jpg", zomu.ImageError, "missing.jpg: cannot be opened"),
            (foreign, zomu.TemplateError, "foreign.zomu: made with another model"),
        ]
        for side, error, words in cases:
            for sides in ((side, ANN), (ANN, side)):
                with self.subTest(words), self.assertRaisesRegex(error, words):
                    zomu.verify(*sides)
        with self.assertRaisesRegex(zomu.TemplateError, "made with two models"):
            zomu.verify(foreign, self.folder / "own.zomu")
        with self.assertRaisesRegex(zomu.ThresholdError, "no threshold is known for the model abababab"):
            zomu.verify(foreign, foreign)
        self.assertTrue(zomu.verify(foreign, foreign, threshold=0.5).same)
        with self.assertRaises(zomu.FaceCountError) as caught:
            zomu.verify(five_faces(), ANN)
        self.assertEqual(caught.exception.count, 5)

    def test_a_finder_of_the_caller_is_asked(self) -> None:
        with zomu.Context() as context:
            image = zomu.read_picture(ANN)
            with self.assertRaisesRegex(zomu.FaceCountError, "^no face was found"):
                context.extract(image, finder=blind_finder)
            with self.assertRaisesRegex(ValueError, "only one of them"):
                context.extract(image, LANDMARKS, finder=blind_finder)
        with self.assertRaisesRegex(finders.FinderError, 'no finder "eyes"'):
            zomu.verify(ANN, BOB, finder="eyes")

    def test_a_model_without_a_known_threshold_needs_one(self) -> None:
        call = f"zomu.verify({str(ANN)!r}, {str(BOB)!r}, model={str(MODEL)!r}"
        last = run_python(f"import zomu\n{call})").stderr.strip().splitlines()[-1]
        self.assertTrue(last.startswith("zomu.errors.ThresholdError: no threshold is known for the model "), last)
        done = run_python(f"import zomu\nprint({call}, threshold=9).same)")
        self.assertEqual((done.stdout, done.stderr), ("False\n", ""))

    def test_the_package_itself_imports_no_finder_and_no_command(self) -> None:
        others = ("zomu.finders", "zomu.command", "PIL")
        code = f"import sys, zomu\nprint([name for name in sys.modules if name.startswith({others})])"
        self.assertEqual(run_python(code).stdout, "[]\n")


if __name__ == "__main__":
    unittest.main()
