"""What networks are trained to make small, on vectors whose losses are known."""

import math
import unittest

import torch
from torch.nn import functional

from trainer.losses import centre_loss, view_loss
from trainer.problems import TrainingProblem
from trainer.recipe import Recipe, with_settings

AXES = torch.eye(4)


class Losses(unittest.TestCase):
    def test_the_margin_is_taken_from_the_right_person_alone(self):
        recipe = Recipe(margin=0.3, scale=5.0)
        loss = centre_loss(AXES[:1], AXES, torch.tensor([0]), recipe)
        self.assertAlmostEqual(float(loss), math.log(1 + 3 * math.exp(-5 * 0.7)), places=5)
        wrong = centre_loss(AXES[:1], AXES, torch.tensor([1]), recipe)
        self.assertAlmostEqual(float(wrong), math.log(math.exp(5) + 2 + math.exp(-1.5)) + 1.5, places=4)

    def test_the_nearest_direction_of_a_person_counts(self):
        recipe = Recipe(margin=0.0, scale=5.0, centres=2)
        # Two people with two directions each.
        for row in (0, 1):
            loss = centre_loss(AXES[row:row + 1], AXES, torch.tensor([0]), recipe)
            self.assertAlmostEqual(float(loss), math.log(1 + math.exp(-5)), places=5)

    def test_photographs_of_a_person_are_pulled_together(self):
        labels = torch.tensor([0, 0, 1, 1])
        near = functional.normalize(torch.tensor([[1.0, 0.1], [1, 0], [0, 1], [0.1, 1]]))
        far = near[[0, 2, 1, 3]]
        self.assertLess(float(view_loss(near, labels, Recipe())), 0.01)
        self.assertGreater(float(view_loss(far, labels, Recipe())), 5)


class Settings(unittest.TestCase):
    def test_words_change_the_recipe_in_the_kinds_of_its_fields(self):
        recipe = with_settings(Recipe(), ["epochs=3", "light=0.5"])
        self.assertEqual((recipe.epochs, recipe.light, recipe.rate), (3, 0.5, Recipe().rate))
        self.assertIsInstance(recipe.epochs, int)
        for word in ("epochs", "epochs=", "epochs=2.5", "none=1", "epochs=0", "light=-1", "light=nan"):
            with self.assertRaises(TrainingProblem):
                with_settings(recipe, [word])
