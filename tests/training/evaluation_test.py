"""Error rates of scores whose rates are known."""

import tempfile
import unittest
from pathlib import Path

import numpy as np

from evaluation.pairs import PairScores, first_rank, from_matrix, person_indices
from evaluation.plots import plot_det, plot_roc
from evaluation.rates import curve_of, equal_error_interval, error_curve, rates_at


def drawn_pairs(people: int, photos: int, distance: float, seed: int) -> PairScores:
    """Scores like normal numbers, `distance` larger where the person is the same."""
    person = np.repeat(np.arange(people), photos)
    rng = np.random.default_rng(seed)
    matrix = rng.standard_normal((len(person), len(person)))
    matrix += distance * (person[:, None] == person[None])
    return from_matrix(matrix, person)


class Pairs(unittest.TestCase):
    def test_pairs_are_read_along_the_upper_triangle_and_same_are_those_of_one_person(self):
        pairs = PairScores(np.zeros(6, np.float32), person_indices(["b", "a", "b", "c"]))
        self.assertEqual(pairs.is_same().tolist(), [False, True, False, False, False, False])
        matrix = np.arange(9).reshape(3, 3)
        self.assertEqual(from_matrix(matrix, np.zeros(3, int)).scores.tolist(), [1, 2, 5])


    def test_the_first_rank_is_that_of_a_plain_search(self):
        pairs = drawn_pairs(20, 3, 1.5, 4)
        person = np.append(pairs.person, 20)  # somebody with a single photograph does not count
        matrix = np.full((61, 61), -9.0)
        matrix[np.triu_indices(60, 1)[0], np.triu_indices(60, 1)[1]] = pairs.scores
        matrix = np.maximum(matrix, matrix.T)
        matrix[60, 7] = matrix[7, 60] = 50
        expected = np.mean([person[matrix[k].argmax()] == person[k] for k in range(60)])
        self.assertTrue(0.2 < expected < 0.95, expected)
        self.assertEqual(first_rank(from_matrix(matrix, person)), expected)


class Rates(unittest.TestCase):
    def test_rates_at_a_threshold_count_scores_that_equal_it_as_matches(self):
        pairs = PairScores(np.array([2, 1, 1, 2, 3, 0], np.float32), np.array([0, 0, 1, 1]))
        for threshold, expected in ((0, (1, 0)), (1, (1, 0.5)), (2, (0.5, 0.5)), (2.5, (0.25, 1)), (9, (0, 1))):
            self.assertEqual(rates_at(pairs, threshold), expected)

    def test_separate_scores_have_no_errors_and_can_be_drawn(self):
        curve = error_curve(np.array([2.0, 3.0]), np.array([0.0, 1.0]))
        self.assertEqual((curve.equal_error(), curve.non_match_at(0)), (0, 0))
        self.assertGreater(curve.threshold_at(0), 1.0)
        with tempfile.TemporaryDirectory() as folder:
            for plot in (plot_det, plot_roc):
                path = Path(folder) / "plot.png"
                plot({"none": curve}, path)
                self.assertEqual(path.read_bytes()[:4], b"\x89PNG")

    def test_errors_are_counted_on_each_side(self):
        self.assertEqual(error_curve(np.array([0.0, 1.0]), np.array([2.0, 3.0])).equal_error(), 1)
        curve = error_curve(np.array([1.0, 3, 4, 5]), np.array([-1.0, 0, 0.5, 2]))
        self.assertAlmostEqual(curve.equal_error(), 0.25)

    def test_normal_scores_have_the_rate_of_the_normal_distribution(self):
        rng = np.random.default_rng(1)
        curve = error_curve(rng.normal(4, 1, 20000), rng.normal(0, 1, 500000))
        self.assertAlmostEqual(curve.equal_error(), 0.02275, delta=0.0015)
        self.assertAlmostEqual(curve.threshold_at(0.001), 3.09, delta=0.05)

    def test_the_interval_lies_around_the_rate(self):
        pairs = drawn_pairs(60, 5, 3.3, 2)
        rate = curve_of(pairs).equal_error()
        interval = equal_error_interval(pairs, rounds=200)
        self.assertLess(interval.low, rate)
        self.assertGreater(interval.high, rate)
        # 600 same pairs at a rate of 5 per cent: about 0.9 per cent to either side, drawn one by one.
        self.assertTrue(0.01 < interval.high - interval.low < 0.06, interval)

    def test_fewer_people_have_a_wider_interval(self):
        wide = equal_error_interval(drawn_pairs(15, 5, 3.3, 3))
        narrow = equal_error_interval(drawn_pairs(120, 5, 3.3, 3))
        self.assertGreater(wide.high - wide.low, 1.5 * (narrow.high - narrow.low))
