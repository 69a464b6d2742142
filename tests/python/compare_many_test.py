"""Scores of many templates at a time: the bits of one at a time."""

import unittest

import numpy as np

import zomu
from support import LANDMARKS, MODEL, PICTURE
from zomu.command._cluster import connected


def random_templates(count: int, seed: int) -> np.ndarray:
    """Templates as far as their checks go: values of any size, with the length and a quadratic term."""
    dice = np.random.default_rng(seed)
    templates = np.empty((count, 502), dtype=np.float32)
    templates[:, :500] = dice.normal(size=(count, 500)) * 10.0 ** dice.uniform(-3, 3, (count, 1))
    templates[:, 500] = dice.uniform(0, 100, count)
    templates[:, 501] = np.linalg.norm(templates[:, :500].astype(np.float64), axis=1)
    return templates


class CompareManyTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        with zomu.Context(MODEL) as context:
            cls.template = context.extract(zomu.read_picture(PICTURE), LANDMARKS)

    def test_scores_have_the_bits_of_compare(self) -> None:
        gallery = np.concatenate([random_templates(40, 1), self.template[None]])
        probes = random_templates(7, 2)
        expected = np.array([[zomu.compare(a, b) for b in probes] for a in gallery], dtype=np.float32)
        for form in (gallery, np.asfortranarray(gallery), np.repeat(gallery, 2, axis=1)[:, ::2], gallery[::-1][::-1]):
            scores = zomu.compare_many(form, probes)
            self.assertEqual((scores.dtype, scores.shape), (np.float32, (41, 7)))
            self.assertEqual(scores.tobytes(), expected.tobytes())
        for number, probe in enumerate(probes):
            scores = zomu.compare_many(gallery, probe)
            self.assertEqual((scores.dtype, scores.shape), (np.float32, (41,)))
            self.assertEqual(scores.tobytes(), expected[:, number].tobytes())

    def test_more_than_one_block_is_compared(self) -> None:
        gallery = np.repeat(random_templates(10, 3), 500, axis=0)
        scores = zomu.compare_many(gallery, self.template).reshape(10, 500)
        expected = [zomu.compare(row, self.template) for row in gallery[::500]]
        self.assertTrue(np.array_equal(scores, np.repeat(np.float32(expected)[:, None], 500, axis=1)))

    def test_an_empty_gallery_has_no_scores(self) -> None:
        nobody = np.empty((0, 502), dtype=np.float32)
        self.assertEqual(zomu.compare_many(nobody, self.template).shape, (0,))
        self.assertEqual(zomu.compare_many(nobody, random_templates(3, 4)).shape, (0, 3))
        self.assertEqual(zomu.compare_many(random_templates(3, 4), nobody).shape, (3, 0))

    def test_says_which_row_is_no_template(self) -> None:
        good = random_templates(5000, 5)
        hole, short = good.copy(), good.copy()
        hole[4700, 3] = np.nan
        short[2, 501] *= np.float32(1.002)
        cases = [
            (good.astype(np.float64), good[0], "gallery must be an array of float32, not float64"),
            (list(good[:2]), good[0], "gallery must be an array of float32, not list"),
            (good[:, :500], good[0], r"gallery must have the shape \(n, 502\), not \(5000, 500\)"),
            (good[0], good[0], r"gallery must have the shape \(n, 502\), not \(502,\)"),
            (hole, good[0], r"gallery\[4700\]: the template holds values that are not finite"),
            (short, good[0], r"gallery\[2\]: the template says a length of"),
            (good[:4], hole[4700:4701], r"probe\[0\]: the template holds values that are not finite"),
            (good[:4], hole[4700], "^the template holds values that are not finite"),
            (good[:4], good[0, :500], r"the shape \(502,\)"),
        ]
        for gallery, probe, words in cases:
            with self.subTest(words), self.assertRaisesRegex(zomu.TemplateError, words):
                zomu.compare_many(gallery, probe)

    def test_rows_at_the_limits_are_taken_as_compare_takes_them(self) -> None:
        edge = np.zeros((200, 502), dtype=np.float32)
        edge[:, 7] = 1.0
        edge[:, 501] = np.linspace(0.9989, 1.0011, 200)
        for row in edge:
            try:
                expected = zomu.compare(row, self.template)
            except zomu.TemplateError as problem:
                with self.assertRaises(zomu.TemplateError) as caught:
                    zomu.compare_many(row[None], self.template)
                self.assertEqual(str(caught.exception), f"gallery[0]: {problem}")
            else:
                self.assertEqual(zomu.compare_many(row[None], self.template)[0], np.float32(expected))

    def test_groups_are_what_chains_of_pairs_connect(self) -> None:
        for seed in range(20):
            templates = random_templates(15, seed)
            scores = zomu.compare_many(templates, templates)
            threshold = float(np.sort(scores[np.triu_indices(15, 1)])[-10])
            joined = (scores >= threshold) | np.eye(15, dtype=bool)
            for _ in range(15):
                joined = joined @ joined
            expected = sorted({tuple(np.flatnonzero(row)) for row in joined}, key=lambda rows: (-len(rows), rows[0]))
            self.assertEqual([tuple(rows) for rows in connected(templates, threshold)], expected)


if __name__ == "__main__":
    unittest.main()
