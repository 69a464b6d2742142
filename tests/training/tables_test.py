"""The tables are those of the model that they are said to come from."""

import unittest

import numpy as np

from evaluation.pairs import from_matrix
from evaluation.rates import curve_of
from trainer.problems import TrainingProblem
from trainer.tables import ModelTables, SHARED, covariances, fit_tables, principal_components, refit_tables, scores

SIZE = 60


def drawn_features(people: int, photos: int, seed: int = 1) -> tuple[np.ndarray, np.ndarray]:
    """People differ along 12 directions, photographs of one along all."""
    rng = np.random.default_rng(5)
    mixing = rng.standard_normal((SIZE, SIZE)) * np.linspace(0.5, 1.5, SIZE)
    rng = np.random.default_rng(seed)
    labels = np.repeat(np.arange(people), photos)
    who = np.zeros((people, SIZE))
    who[:, :12] = 3 * rng.standard_normal((people, 12))
    vectors = (who[labels] + rng.standard_normal((len(labels), SIZE))) @ mixing.T + 0.3
    return vectors.astype(np.float32), labels


def log_density(vectors: np.ndarray, covariance: np.ndarray) -> np.ndarray:
    inverse = np.linalg.inv(covariance)
    return -0.5 * (np.einsum("ni,ij,nj->n", vectors, inverse, vectors) + np.linalg.slogdet(covariance)[1])


class Covariances(unittest.TestCase):
    def test_both_are_found_again(self):
        rng = np.random.default_rng(2)
        labels = np.repeat(np.arange(3000), 4)
        vectors = (2 * rng.standard_normal((3000, 3)))[labels] + rng.standard_normal((12000, 3))
        between, within = covariances(vectors, labels)
        np.testing.assert_allclose(between, 4 * np.eye(3), atol=0.35)
        np.testing.assert_allclose(within, np.eye(3), atol=0.06)


class Components(unittest.TestCase):
    def test_they_span_the_largest_variances(self):
        vectors, _ = drawn_features(50, 6)
        centred = vectors - vectors.mean(axis=0)
        basis = principal_components(centred, 10, 1)
        np.testing.assert_allclose(basis.T @ basis, np.eye(10), atol=1e-4)
        kept = np.square(centred @ basis).sum()
        largest = np.square(np.linalg.svd(centred, compute_uv=False)[:10]).sum()
        self.assertAlmostEqual(kept / largest, 1, places=4)


class Tables(unittest.TestCase):
    def test_the_numerator_is_the_likelihood_ratio(self):
        vectors, labels = drawn_features(300, 8)
        tables = fit_tables(vectors, labels, SIZE)
        x = drawn_features(20, 2, seed=9)[0] - tables.mean
        # In the coordinates of the rows, photographs vary by one unit and people by the values.
        rows = tables.rows[:-1].T.astype(float)
        scale = np.sqrt(np.diag(covariances((vectors - tables.mean) @ rows, labels)[1]).mean())
        y = (x @ rows) / scale
        count = y.shape[1]
        between, total = np.diag(tables.values), np.eye(count) + np.diag(tables.values)
        pair = np.concatenate([y[:-1], y[1:]], axis=1)
        joint = np.block([[total, between], [between, total]])
        ratio = log_density(pair, joint) - log_density(y[:-1], total) - log_density(y[1:], total)

        a, b = x @ tables.table_a().T.astype(float), x @ tables.table_b().T.astype(float)
        q = np.square(a).sum(axis=1)
        numerator = 2 * np.sum(b[:-1] * b[1:], axis=1) - q[:-1] - q[1:]
        line = np.polyfit(ratio, numerator, 1)
        np.testing.assert_allclose(np.polyval(line, ratio), numerator, atol=1e-3 * np.abs(numerator).max())
        self.assertAlmostEqual(line[0], 2 * scale ** 2, delta=0.02 * line[0])

    def test_scores_are_those_of_the_template_arithmetic(self):
        vectors, labels = drawn_features(40, 4)
        tables = fit_tables(vectors, labels, 30)
        table_a, table_b = tables.table_a(), tables.table_b()
        self.assertEqual(table_a.shape, (500, SIZE))
        x = vectors[:5] - tables.mean
        b = x @ table_b.T
        q = np.square(x @ table_a.T).sum(axis=1)
        expected = (2 * b @ b.T - q[:, None] - q) / np.outer(*2 * [np.linalg.norm(b, axis=1)]) + 1
        np.testing.assert_allclose(scores(tables, vectors[:5], vectors[:5]), expected, atol=1e-3)
        squares = np.square((vectors - tables.mean) @ table_b.T)
        shared = len(tables.values)
        self.assertAlmostEqual(squares[:, :shared].sum(axis=1).mean(), 1, places=3)
        np.testing.assert_allclose(squares[:, shared], SHARED, atol=0.12)
        self.assertTrue((squares[:, shared + 1:] == 0).all())

    def test_strangers_are_told_apart(self):
        tables = fit_tables(*drawn_features(200, 6), SIZE)
        vectors, labels = drawn_features(100, 4, seed=7)
        good = curve_of(from_matrix(scores(tables, vectors, vectors), labels)).equal_error()
        centred = vectors - vectors.mean(axis=0)
        unit = centred / np.linalg.norm(centred, axis=1, keepdims=True)
        plain = curve_of(from_matrix(unit @ unit.T, labels)).equal_error()
        self.assertLess(good, 0.03)
        self.assertLess(good, 0.2 * plain)

    def test_a_few_people_who_vary_otherwise_change_tables_for_the_better(self):
        def drawn(people: int, spread: np.ndarray, seed: int) -> tuple[np.ndarray, np.ndarray]:
            rng = np.random.default_rng(seed)
            labels = np.repeat(np.arange(people), 4)
            vectors = rng.standard_normal((people, SIZE))[labels] + rng.standard_normal((len(labels), SIZE)) * spread
            return vectors.astype(np.float32), labels

        model = ModelTables.of(fit_tables(*drawn(300, np.ones(SIZE), 1), SIZE))
        other = np.where(np.arange(SIZE) % 3 == 0, 3.0, 0.8)
        few, (vectors, labels) = drawn(60, other, 2), drawn(100, other, 3)
        before, after = (curve_of(from_matrix(tables.scores(vectors, vectors), labels)).equal_error()
                         for tables in (model, refit_tables(model, *few, 50)))
        self.assertLess(after, 0.7 * before)

    def test_much_weight_of_the_model_leaves_its_tables(self):
        vectors, labels = drawn_features(100, 6)
        model = ModelTables.of(fit_tables(vectors, labels, SIZE))
        same = refit_tables(model, vectors, labels, 1e9)
        np.testing.assert_allclose(same.scores(vectors[:9], vectors[:9]), model.scores(vectors[:9], vectors[:9]),
                                   atol=0.01)

    def test_tables_of_another_form_are_refused(self):
        vectors, labels = drawn_features(30, 4)
        rng = np.random.default_rng(1)
        other = ModelTables(np.zeros(SIZE, np.float32), *rng.standard_normal((2, 10, SIZE)).astype(np.float32))
        with self.assertRaisesRegex(TrainingProblem, "not of the form"):
            refit_tables(other, vectors, labels, 100)

    def test_directions_that_tell_nothing_are_left_out(self):
        rng = np.random.default_rng(3)
        labels = np.repeat(np.arange(30), 5)
        tables = fit_tables(rng.standard_normal((150, 20)).astype(np.float32), labels, 20)
        self.assertGreater(tables.left_out, 0)
        self.assertEqual(tables.left_out + len(tables.values), tables.components)
        self.assertTrue((tables.values > 0).all())
        self.assertTrue((tables.table_a()[len(tables.values) + 1:] == 0).all())

    def test_people_who_are_more_alike_need_more_of_a_likeness(self):
        vectors, labels = drawn_features(200, 6)
        plain, careful = (ModelTables.of(fit_tables(vectors, labels, SIZE, likeness=times)) for times in (1, 10))
        others, people = drawn_features(100, 4, seed=7)
        closer = others.mean(axis=0) + 0.5 * (others - others.mean(axis=0))
        reached = []
        for tables in (plain, careful):
            limit = curve_of(from_matrix(tables.scores(others, others), people)).threshold_at(1e-2)
            pairs = from_matrix(tables.scores(closer, closer), people)
            reached.append(float((pairs.scores >= limit)[~pairs.is_same()].mean()))
        self.assertLess(reached[1], 0.5 * reached[0], reached)

    def test_single_photographs_are_not_enough(self):
        with self.assertRaisesRegex(TrainingProblem, "several photographs"):
            fit_tables(np.zeros((4, 10), np.float32), np.arange(4), 3)
