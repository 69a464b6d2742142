"""The layouts of 68 and of 468 or 478 points."""

import re
import unittest

import numpy as np

import zomu
from support import PROJECT
from zomu.landmark_layouts import SOURCES_68, SOURCES_468, SOURCES_478, from_68, from_mesh


def rows_of(heading: str) -> dict[int, tuple[tuple[int, ...], str]]:
    """The rows "| ids | points | grade |" of docs/landmarks.md below a heading."""
    text = (PROJECT / "docs/landmarks.md").read_text().split(f"\n## {heading}\n")[1].split("\n## ")[0]
    found = {}
    for ids, points, grade in re.findall(r"^\| (\d[\d, ]*) \| (.+?) \| (\w+).*\|$", text, re.M):
        sources = re.findall(r"mean of ([\d, toand]+?)(?=, mean|$)|(\d+)", points)
        places = []
        for mean, single in sources:
            words = mean or single
            span = re.fullmatch(r"(\d+) to (\d+)", words)
            numbers = range(int(span[1]), int(span[2]) + 1) if span else map(int, re.findall(r"\d+", words))
            places.append(tuple(numbers))
        for number, place in zip(map(int, ids.split(", ")), places, strict=True):
            found[number] = (place, grade)
    return found


class LayoutTest(unittest.TestCase):
    def test_each_layout_gives_the_25_landmarks(self) -> None:
        for sources in (SOURCES_68, SOURCES_468, SOURCES_478):
            self.assertEqual(tuple(sources), zomu.REQUIRED_IDS)
            for source in sources.values():
                self.assertIn(source.grade, ("exact", "derived", "approximate"))
                self.assertEqual(source.grade == "derived", len(source.points) > 1)

    def test_the_document_says_the_same(self) -> None:
        expected = {number: tuple(source) for number, source in SOURCES_68.items()}
        self.assertEqual(rows_of("From 68 points"), expected)
        expected = {number: tuple(source) for number, source in SOURCES_468.items()}
        self.assertEqual(rows_of("From a mesh of 468 or 478 points"), expected)

    def test_the_code_of_the_document_does_the_same(self) -> None:
        row = re.compile(r"\{(\d+), (\d+), (\d+), (\d)\}")
        code = row.findall((PROJECT / "docs/landmarks.md").read_text())
        found = {int(number): tuple(range(int(first), int(last) + 1, int(step))) for number, first, last, step in code}
        self.assertEqual(found, {number: source.points for number, source in SOURCES_68.items()})

    def test_means_and_points_are_taken_as_they_stand(self) -> None:
        points = np.random.default_rng(2).normal(size=(68, 2))
        landmarks = from_68(points)
        self.assertEqual(landmarks[314], tuple(points[8]))
        self.assertTrue(np.allclose(landmarks[0], points[36:42].mean(axis=0)))
        self.assertTrue(np.allclose(landmarks[45], (points[62] + points[66]) / 2))

    def test_a_mesh_may_have_irises_depth_and_shares_of_the_picture(self) -> None:
        mesh = np.random.default_rng(3).uniform(size=(478, 3))
        landmarks = from_mesh(mesh)
        self.assertEqual(landmarks[0], tuple(mesh[468, :2]))
        self.assertEqual(from_mesh(mesh[:, :2]), landmarks)
        without = from_mesh(mesh[:468])
        self.assertTrue(np.allclose(without[0], mesh[[33, 133, 145, 159], :2].mean(axis=0)))
        self.assertEqual({k: without[k] for k in without if k > 1}, {k: landmarks[k] for k in landmarks if k > 1})
        pixels = from_mesh(mesh, size=(640, 480))
        self.assertTrue(np.allclose(pixels[314], mesh[152, :2] * (640, 480) - 0.5))

    def test_other_counts_are_refused(self) -> None:
        for points, convert in (
            (np.zeros((67, 2)), from_68),
            (np.zeros((68, 3)), from_68),
            (np.zeros((470, 2)), from_mesh),
        ):
            with self.assertRaisesRegex(zomu.LandmarkError, "expected"):
                convert(points)
