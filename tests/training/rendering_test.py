"""Rendered people: the same from the same seed, different from each other, landmarks in place."""

import csv
import itertools
import tempfile
import unittest
from pathlib import Path

import cv2
import numpy as np

from rendering.camera import Conditions
from rendering import landmarks
from rendering.head_landmarks import HeadLandmarks
from rendering.head_mesh import head_mesh, SKIN
from rendering.landmarks import IDS, ROW
from rendering.person import draw_person, features
from rendering.photo import SIDE, Sitter
from support import render, run_command

PLAIN = Conditions(yaw=0, pitch=0, roll=0, occlusion=0, glasses=0, grey=0, jitter=(0, 0))


class People(unittest.TestCase):
    def test_no_two_of_many_are_alike(self):
        people = [draw_person(1, number) for number in range(300)]
        faces = np.array([HeadLandmarks(person).of(person.places)[:, :2] for person in people])
        self.assertEqual(len(np.unique(faces.reshape(len(faces), -1).round(2), axis=0)), len(faces))
        # Measures vary by more than the noise of landmarks, 1 per cent of an eye distance of 6.3.
        self.assertGreater(np.median(faces.std(axis=0)), 0.15)

    def test_a_person_depends_on_seed_and_number_alone(self):
        one, again, other = draw_person(3, 7), draw_person(3, 7), draw_person(4, 7)
        self.assertTrue((one.places == again.places).all())
        self.assertEqual((one.melanin, one.style), (again.melanin, again.style))
        self.assertFalse((one.places == other.places).all())

    def test_every_feature_has_two_directions_or_one_and_both_sides(self):
        rows = head_mesh().rows
        self.assertGreater(len(features()), 120)
        for feature in features():
            self.assertIn(len(feature.low), (1, 2))
            self.assertIn(len(feature.high), (0, len(feature.low)))
            self.assertLessEqual(set(feature.low + feature.high), set(rows))
        titles = [title for feature in features() for title in feature.low + feature.high]
        self.assertEqual(len(titles), len(set(titles)))


class Heads(unittest.TestCase):
    def test_normals_point_outwards(self):
        mesh = head_mesh()
        skin = mesh.of(SKIN)
        skull = skin[mesh.places[skin, 1] < -8]
        away = mesh.places[skull] - (0, -4, 0)
        self.assertTrue(((mesh.normals(mesh.places)[skull] * away).sum(1) > 0).all())

    def test_landmarks_are_where_the_head_model_has_them(self):
        points = np.mean([HeadLandmarks(person).of(person.places) for person in
                          (draw_person(2, number) for number in range(60))], axis=0)
        distances = np.linalg.norm(points[:, :2] - landmarks.average_points()[:, :2], axis=1)
        # In centimetres; models of heads differ by so much.
        self.assertLess(distances.max(), 0.8)
        self.assertLess(distances.mean(), 0.35)

    def test_left_and_right_are_those_of_the_picture(self):
        person = draw_person(2, 1)
        points = HeadLandmarks(person).of(person.places)
        for left, right in landmarks.PAIRS:
            self.assertLess(points[ROW[left], 0], points[ROW[right], 0])


class Photographs(unittest.TestCase):
    def test_the_same_number_gives_the_same_bytes(self):
        first = Sitter(1, 5).photograph(3, Conditions())
        sitter = Sitter(1, 5)
        sitter.photograph(0, Conditions())
        second = sitter.photograph(3, Conditions())
        self.assertEqual(first.content, second.content)
        self.assertTrue((first.landmarks == second.landmarks).all())
        self.assertNotEqual(first.content, sitter.photograph(4, Conditions()).content)

    def test_eyes_are_where_the_landmarks_say(self):
        darker = 0
        for number in range(20):
            photo = Sitter(1, number).photograph(0, PLAIN)
            grey = cv2.cvtColor(photo.picture, cv2.COLOR_BGR2GRAY).astype(float)
            at = {name: tuple(np.rint(photo.landmarks[ROW[name]]).astype(int)) for name in IDS}

            def brightness(x, y):
                return grey[y - 1:y + 2, x - 1:x + 2].mean()

            eyes = [brightness(*at[name]) for name in (0, 1)]
            cheeks = [brightness(at[name][0], (at[name][1] + at[45][1]) // 2) for name in (0, 1)]
            darker += sum(eyes) < sum(cheeks)
        self.assertGreaterEqual(darker, 16)

    def test_jitter_moves_landmarks_and_nothing_else(self):
        moved = Conditions(**{**vars(PLAIN), "jitter": (3, 3)})
        distances = []
        for number in range(10):
            sitter = Sitter(1, number)
            still, jittered = sitter.photograph(0, PLAIN), sitter.photograph(0, moved)
            self.assertEqual(still.content, jittered.content)
            eyes = still.landmarks[ROW[1]] - still.landmarks[ROW[0]]
            distances.append((jittered.landmarks - still.landmarks) / np.linalg.norm(eyes))
        self.assertAlmostEqual(float(np.std(distances)), 0.03, delta=0.005)

    def test_grey_pictures_have_no_colour(self):
        photo = Sitter(1, 1).photograph(0, Conditions(grey=1))
        self.assertEqual(photo.picture.shape, (SIDE, SIDE, 3))
        self.assertTrue((photo.picture == photo.picture[..., :1]).all())

    def test_turned_heads_have_turned_landmarks(self):
        turn = Conditions(**{**vars(PLAIN), "yaw": 30})
        widths = []
        for number, photo in itertools.product(range(10), range(3)):
            points = Sitter(1, number).photograph(photo, turn).landmarks
            left, right = points[ROW[9], 0] - points[ROW[223], 0], points[ROW[225], 0] - points[ROW[9], 0]
            widths.append(min(left / right, right / left))
        self.assertLess(min(widths), 0.4)


class Command(unittest.TestCase):
    def test_a_subset_gives_the_same_files(self):
        with tempfile.TemporaryDirectory() as temporary:
            whole, part = Path(temporary) / "whole", Path(temporary) / "part"
            render(whole, "--people", 3, "--photos", 2, "--jobs", 2)
            render(part, "--people", 1, "--first", 2, "--photos", 1)
            for name in ("photos/00002/00.jpg", "photos/00002/00.csv"):
                self.assertEqual((whole / name).read_bytes(), (part / name).read_bytes())
            with open(whole / "manifest.csv", newline="", encoding="utf-8") as file:
                rows = list(csv.DictReader(file))
            self.assertEqual(len(rows), 6)
            self.assertEqual(rows[5], {"person": "00002", "photo": "photos/00002/01.jpg",
                                       "landmarks": "photos/00002/01.csv"})
            self.assertIsNotNone(cv2.imread(str(whole / "contact.png")))
            lines = (whole / "photos/00000/00.csv").read_text(encoding="ascii").splitlines()
            self.assertEqual(lines[0], "id,x,y")
            self.assertEqual([int(line.split(",")[0]) for line in lines[1:]], sorted(IDS))

    def test_nonsense_is_refused(self):
        for option in (("--people", 0), ("--photos", 101), ("--seed", -1), ("--jitter", 3, 1)):
            self.assertEqual(run_command("render_people", "/nowhere", *option).returncode, 2)
