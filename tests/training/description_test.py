"""Descriptions are understood as the library understands them, and others are refused."""

import tempfile
import unittest
from pathlib import Path

from support import TOOLS, load_library_descriptions
from trainer.description import read_description
from trainer.problems import TrainingProblem
from trainer.tools import run_tool


class Descriptions(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.path = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.all = load_library_descriptions(cls.path)

    def test_shapes_are_those_of_the_model_files_with_their_pools_and_inputs(self):
        rows = [line.split() for line in run_tool(TOOLS, "zomu-model", "list").splitlines()[1:-1]]
        shapes = {row[0]: (int(row[-4]), int(row[-2])) for row in rows}
        for number, net in enumerate(self.all, 1):
            self.assertEqual(net.patch, number - 1)
            self.assertEqual(shapes[f"0-{number}-0"], (1, net.planes * net.side ** 2))
            for stage in net.stages:
                self.assertEqual(shapes[stage.weights], (stage.planes * stage.size ** 2, stage.filters))
                self.assertEqual(shapes[stage.biases], (stage.filters, 1))
            sides = net.sides()
            for name, index in zip(net.fc_weights, net.fc_inputs):
                self.assertEqual(shapes[name], (net.stages[index].filters * sides[index] ** 2, net.outputs))
            self.assertEqual(shapes[net.fc_biases], (1, net.outputs))
            self.assertEqual([stage.pool for stage in net.stages], [2, 2, 2, 0])
            self.assertEqual(net.fc_inputs, (3, 2))

    def test_what_cannot_be_trained_is_refused(self):
        text = (self.path / "network-01.txt").read_text(encoding="ascii")
        for old, new, word in (("padding=0", "padding=1", "pads"), ("neuron=relu", "neuron=tanh", "rectifier"),
                               ("pool=max", "pool=avg", "maximum"), ("type=pool", "type=rnorm", "rnorm"),
                               ("type=fc", "type=softmax", "fully connected"),
                               ("inputs=pool1", "inputs=data", "chain")):
            with self.assertRaisesRegex(TrainingProblem, word):
                read_description(text.replace(old, new))
