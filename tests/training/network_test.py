"""The two forms of a network compute the same."""

import tempfile
import unittest

import numpy as np
import torch

from support import load_library_descriptions
from trainer.network import PIXEL_UNIT, PlainNetwork, TrainingNetwork, folded
from trainer.patch_store import flattened, mean_image

# Of a unit vector: two orders of some thousand additions each.
BOUND = 2e-5


class Folding(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as folder:
            cls.descriptions = load_library_descriptions(folder)

    def test_what_is_written_computes_what_was_trained(self):
        torch.set_num_threads(1)
        for index in (0, 2, 3):  # large in colour, small in colour, small in grey
            description = self.descriptions[index]
            torch.manual_seed(index)
            network = TrainingNetwork(description)
            patches = 60 * torch.randn(24, description.planes, description.side, description.side)
            network.train()
            for _ in range(3):
                network(patches / PIXEL_UNIT)
            with torch.no_grad():
                for norm in network.norms:
                    norm.bias.normal_(0, 0.5)
                network.eval()
                expected = network(patches / PIXEL_UNIT)
                actual = PlainNetwork(description, folded(network)).features(patches)
            self.assertLess(float((actual - expected).abs().max()), BOUND)
            # And patches are told apart, so that the comparison means something.
            self.assertGreater(float((expected[0] - expected[1]).abs().max()), 100 * BOUND)

    def test_filters_stand_in_columns_plane_by_plane(self):
        description = self.descriptions[0]
        network = TrainingNetwork(description)
        network.norms[0].running_var.fill_(1 - network.norms[0].eps)
        weights = folded(network)["1-1-1"]
        plane, y, x, number = 2, 1, 3, 5
        self.assertAlmostEqual(float(weights[16 * plane + 4 * y + x, number]) * PIXEL_UNIT,
                               float(network.convolutions[0].weight[number, plane, y, x]), places=6)


class MeanImages(unittest.TestCase):
    def test_both_crops_of_the_chosen_photographs_count(self):
        patches = np.zeros((3, 2, 1, 2, 2), np.uint8)
        patches[0, 0], patches[0, 1], patches[1], patches[2] = 10, 20, 250, 30
        self.assertTrue((mean_image(patches, np.array([0, 2])) == 22.5).all())

    def test_they_flatten_to_one_level_with_margins_as_they_were(self):
        image = np.full((3, 10, 10), 100, np.float32)
        image[:, :5] = 140
        image[:, :, 0], image[:, :, 1] = 0, 5
        flat = flattened(image, 1.0)
        self.assertTrue((flat[:, :, 0] == 0).all() and (flat[:, :, 1] == 10).all())
        self.assertEqual(len(np.unique(flat[:, :, 2:])), 1)
        self.assertTrue(np.array_equal(flattened(image, 0.0), image))
        np.testing.assert_allclose(flattened(image, 0.5), (image + flat) / 2)
