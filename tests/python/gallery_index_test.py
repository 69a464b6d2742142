"""Rows, probes and indexes: the library's own answers."""

import unittest

import numpy as np

import zomu
from compare_many_test import random_templates
from gallery_support import MADE, GalleryTest, bits, brute_force, fetcher
from zomu_gallery import ApproximateIndex, ExactIndex, parameters_for, probes_of, rows_of, search
from zomu_gallery.rows import ScoreBound, require_rows


def exact_index(templates: np.ndarray) -> ExactIndex:
    index = ExactIndex()
    index.add(np.arange(len(templates)), templates)
    return index


def with_ties(templates: np.ndarray) -> np.ndarray:
    """Many rows that are equal, and many that differ in one last bit."""
    near = np.repeat(templates[:1], 60, axis=0)
    for i in range(60):
        near[i, i] = np.nextafter(near[i, i], np.float32(9))
    return np.concatenate([templates, np.repeat(templates[3:5], 50, axis=0), near, templates[::7]])


class GalleryIndexTest(GalleryTest):
    def test_a_row_turns_into_a_probe_bit_for_bit(self) -> None:
        for templates in (MADE.photographs(0, 500), random_templates(500, 1)):
            p, q, n = templates[:, :500], templates[:, 500:501], templates[:, 501:]
            rows = np.concatenate([p / n, np.float32(1) / n, q / n], axis=1)
            probes = np.concatenate([np.float32(2) * p / n, -q / n, np.float32(-1) / n], axis=1)
            self.assertEqual(rows_of(templates).tobytes(), rows.tobytes())
            self.assertEqual(probes_of(rows).tobytes(), probes.tobytes())

    def test_the_product_is_the_score_within_the_bound(self) -> None:
        for templates in (MADE.photographs(0, 400), random_templates(400, 2)):
            rows = rows_of(templates)
            bound = ScoreBound()
            bound.include(rows)
            scores = zomu.compare_many(templates, templates).astype(np.float64)
            for dtype in (np.float32, np.float64):
                products = rows.astype(dtype) @ probes_of(rows).astype(dtype).T
                off = np.abs(products + 1.0 - scores).max(axis=0)
                limits = [bound.of(probe) for probe in probes_of(rows)]
                self.assertTrue(np.all(off <= limits))
        self.assertLess(bound.of(probes_of(rows_of(MADE.photographs(0, 1)))[0]), 1e30)

    def test_exact_search_is_brute_force_to_the_last_bit(self) -> None:
        made = MADE.photographs(0, 4000)
        cases = [
            ("made", made, MADE.photographs(0, 12, 1)),
            ("strangers", made, MADE.photographs(90_000, 12)),
            ("ties", with_ties(made[:300]), made[:8]),
            ("all sizes", random_templates(2000, 3), random_templates(12, 4)),
            ("equal", np.repeat(made[:2], 700, axis=0), made[:3]),
            ("one", made[:1], made[:2]),
        ]
        for name, templates, probes in cases:
            index = exact_index(templates)
            for probe in probes:
                for count in (1, 10, 100):
                    with self.subTest(name, count=count):
                        found = bits(search(index, fetcher(templates), probe, count))
                        self.assertEqual(found, brute_force(templates, probe, count))

    def test_candidates_are_taken_until_the_bound_is_met(self) -> None:
        templates = np.repeat(MADE.photographs(0, 1), 5000, axis=0)
        templates[:, :500] += np.random.default_rng(1).normal(size=(5000, 500)).astype(np.float32) * np.float32(1e-7)
        index, widths = exact_index(templates), []
        fetch = fetcher(templates)
        found = search(index, lambda ids: widths.append(len(ids)) or fetch(ids), templates[0], 5)
        self.assertEqual(bits(found), brute_force(templates, templates[0], 5))
        self.assertEqual((widths[0], len(widths)), (21, 2))
        self.assertGreater(widths[1], 1000)

    def test_templates_that_are_gone_are_replaced_by_the_next(self) -> None:
        templates = MADE.photographs(0, 1000)
        probe = MADE.photographs(0, 1, 1)[0]
        best = [number for number, _ in brute_force(templates, probe, 300)]
        found = search(exact_index(templates), fetcher(templates, tuple(best[:200])), probe, 5)
        self.assertEqual([match.face.id for match in found], best[200:205])
        self.assertEqual(search(exact_index(templates), fetcher(templates, tuple(range(1000))), probe, 5), [])

    def test_what_is_removed_is_not_found(self) -> None:
        templates = MADE.photographs(0, 1000)
        for index in (exact_index(templates), ApproximateIndex(parameters_for(templates))):
            if len(index) == 0:
                index.add(np.arange(1000), templates)
            index.remove(np.arange(0, 1000, 2))
            self.assertEqual(sorted(index.ids()), list(range(1, 1000, 2)))
            for probe in MADE.photographs(0, 20, 1):
                found = search(index, fetcher(templates), probe, 3)
                self.assertTrue(all(match.face.id % 2 for match in found))
            vectors = {row.tobytes() for row in index.vectors()}
            of_row = index.completed if isinstance(index, ApproximateIndex) else np.asarray
            self.assertFalse(any(row.tobytes() in vectors for row in of_row(rows_of(templates))[::2]))

    def test_the_approximate_index_finds_nearly_all(self) -> None:
        templates = MADE.photographs(0, 5000)
        probes = np.concatenate([MADE.photographs(0, 50, 1), MADE.photographs(50_000, 50)])
        index = ApproximateIndex(parameters_for(templates, search_width=128))
        index.add(np.arange(5000), templates)
        found = [bits(search(index, fetcher(templates), probe, 1)) for probe in probes]
        expected = [brute_force(templates, probe, 1) for probe in probes]
        self.assertGreaterEqual(sum(map(list.__eq__, found, expected)), 97)

    def test_rows_of_no_template_are_refused(self) -> None:
        good = rows_of(MADE.photographs(0, 10))
        require_rows(good)
        for column, value in ((3, np.nan), (3, 4.0), (500, np.inf), (500, -1.0), (500, 0.0), (501, -1.0)):
            forged = good.copy()
            forged[7, column] = value
            with self.subTest(column, value=value), self.assertRaisesRegex(zomu.TemplateError, "row 7 is not"):
                require_rows(forged)


if __name__ == "__main__":
    unittest.main()
