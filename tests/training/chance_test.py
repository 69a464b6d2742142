"""What is changed in the patches of a batch, and what stays."""

import unittest

import numpy as np
import torch

from trainer.chance import GREY, Chance, changed, hide_rectangles

NOTHING = Chance(erase=0, gain=0)

EVERYTHING = {"shift": 1.0, "size": 0.05, "stretch": 0.04, "turn": 3.0, "light": 0.3, "shadow": 0.5, "gamma": 0.3,
              "contrast": 0.2, "level": 10.0, "cast": 0.1, "grey": 0.5, "blur": 0.3, "coarse": 0.3, "sharp": 0.2,
              "noise": 8.0, "grain": 6.0}


def drawn_patches(rows: int = 40, planes: int = 3, side: int = 47) -> np.ndarray:
    """Smooth patches, with a margin on the left as of faces at the edge of a canvas."""
    rng = np.random.default_rng(4)
    x, y = np.meshgrid(np.arange(side), np.arange(side))
    phases = rng.uniform(0, 6, (2, rows, planes, 1, 1))
    patches = 128 + 50 * np.sin(x / 5 + phases[0]) + 50 * np.sin(y / 6 + phases[1])
    patches[..., :4] = 0
    return patches.astype(np.uint8)


def change(patches: np.ndarray, seed: int = 1, **settings) -> np.ndarray:
    return changed(patches, Chance(**{"erase": 0, "gain": 0, **settings}), np.random.default_rng(seed)).numpy()


class Changes(unittest.TestCase):
    def test_without_chance_patches_are_what_they_were(self):
        patches = drawn_patches()
        self.assertTrue(np.array_equal(changed(patches, NOTHING, np.random.default_rng(1)).numpy(), patches))

    def test_each_change_changes_patches_and_depends_on_the_seed_alone(self):
        patches = drawn_patches()
        for name, value in EVERYTHING.items():
            with self.subTest(name):
                once, again, other = (change(patches, seed, **{name: value}) for seed in (1, 1, 2))
                self.assertTrue(np.array_equal(once, again))
                self.assertGreater(np.abs(once - patches).max(), 1)
                self.assertGreater(np.abs(once - other).max(), 1)

    def test_with_all_of_them_levels_stay_levels_and_margins_dark(self):
        for planes in (1, 3):
            values = change(drawn_patches(planes=planes), **{**EVERYTHING, "shift": 0, "size": 0, "turn": 0,
                                                             "stretch": 0})
            self.assertTrue((values >= 0).all() and (values <= 255).all())
            self.assertTrue((values[..., :4] == 0).all())
            self.assertGreater(values[..., 4:].std(), 20)

    def test_grey_takes_the_colours_and_keeps_the_brightness(self):
        patches = drawn_patches()
        values = change(patches, grey=1.0)
        self.assertTrue(np.array_equal(values[:, 0], values[:, 2]))
        np.testing.assert_allclose(values[:, 1], np.einsum("npyx,p->nyx", patches, GREY), atol=0.01)

    def test_places_move_by_about_as_much_as_is_asked(self):
        patches = np.zeros((400, 1, 47, 47), np.uint8)
        patches[:, :, 22:25, 22:25] = 200
        values = change(patches, shift=2.0)
        weights = values.sum(axis=(1, 2, 3))
        across = (values.sum(axis=(1, 2)) * np.arange(47)).sum(axis=1) / weights - 23
        self.assertAlmostEqual(across.std(), 2.0, delta=0.2)
        self.assertAlmostEqual(across.mean(), 0.0, delta=0.4)

    def test_light_from_one_side_changes_no_place_of_edges(self):
        patches = np.full((200, 1, 47, 47), 100, np.uint8)
        values = change(patches, light=0.3)
        ratio = np.log(values[:, 0, 23, -1] / values[:, 0, 23, 0]) / 2
        self.assertAlmostEqual(ratio.std(), 0.3, delta=0.05)

    def test_rectangles_hide_about_the_share_that_is_asked(self):
        batch = torch.full((1000, 1, 47, 47), 9.0)
        hide_rectangles(batch, Chance(erase=0.3, rubble=0.5), np.random.default_rng(1))
        hidden = (batch != 9).flatten(1).any(1)
        self.assertAlmostEqual(float(hidden.float().mean()), 0.3, delta=0.05)
        levels = torch.tensor([float(row[row != 9].std()) > 0.01 for row in batch[hidden]])
        self.assertAlmostEqual(float(levels.float().mean()), 0.5, delta=0.12)
