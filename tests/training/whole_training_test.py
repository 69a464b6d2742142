"""A small training from photographs to a model folder, seen from outside and from the library."""

import json
import tempfile
import unittest
from pathlib import Path

import numpy as np
import torch

from support import TOOLS, render, run_command
from trainer.description import load_descriptions
from trainer.manifest import read_manifest, write_manifest
from trainer.model_folder import read_matrix, read_mean_image
from trainer.network import PlainNetwork
from trainer.one_network import compute_features, train_network
from trainer.recipe import Recipe
from trainer.patch_store import open_store, split_people
from trainer.tools import MODEL_FOLDER, run_tool

# Of a component of a unit vector. Both sides round some thousand additions for each; what was seen
# on models of all kinds is below a tenth of it.
FEATURE_BOUND = 1e-5

OPTIONS = ("--epochs", 2, "--batch", 16, "--fit-share", 0.4, "--tools", TOOLS)


class Interrupted(Exception):
    """Stands for a kill."""


class WholeTraining(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.manifest = render(cls.home / "people", "--people", 12, "--photos", 4)
        with open(cls.manifest, "a", encoding="utf-8") as file:
            file.write("nobody,photos/no.jpg,photos/no.csv\n")
        cls.work, cls.model = cls.home / "work", cls.home / "tmp" / MODEL_FOLDER
        cls.result = cls.train(cls.model)

    @classmethod
    def train(cls, model, *options, manifest=None, work=None):
        return run_command("train.py", manifest or cls.manifest, model, "--work", work or cls.work, *OPTIONS, *options)

    def assert_refused(self, result, words):
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, words)

    def test_a_complete_model_comes_out(self):
        self.assertEqual(self.result.returncode, 0, self.result.stderr)
        self.assertIn("48 photographs, 1 left out", self.result.stdout)
        self.assertIn("no.jpg: cannot be opened", self.result.stderr)
        self.assertIn("complete and checked", self.result.stdout)
        self.assertEqual(len(list(self.model.iterdir())), 303)
        run_tool(TOOLS, "zomu-model", "check", self.model)

    def test_the_library_computes_the_features_that_were_trained(self):
        out = self.home / "features"
        run_tool(TOOLS, "zomu-patches", "features", self.manifest, out, temporary=self.model.parent)
        library = np.load(out / "features.npy").reshape(48, 25, 2, 160)
        store = open_store(self.work / "patches")
        rows = np.arange(len(store.person))
        for number, net in enumerate(load_descriptions(store.folder), 1):
            names = [name for stage in net.stages for name in (stage.weights, stage.biases)]
            names += [*net.fc_weights, net.fc_biases]
            files = {name: torch.from_numpy(read_matrix(self.model / name)) for name in names}
            mean = torch.from_numpy(read_mean_image(self.model / f"0-{number}-0", net.planes, net.side))
            ours = compute_features(PlainNetwork(net, files), store.patches(number), rows, mean)
            difference = np.abs(ours - library[:, number - 1]).max()
            self.assertLess(difference, FEATURE_BOUND, f"network {number}")
            self.assertGreater(library[:, number - 1].std(axis=0).max(), 0.01)

    def test_a_killed_training_goes_on_to_the_same_numbers(self):
        store_folder = self.work / "patches"
        split = split_people(open_store(store_folder), 0.4, 1)
        recipe = Recipe(epochs=3, batch=16)

        def stop(_number, _loss):
            raise Interrupted

        whole, pieces = self.home / "whole", self.home / "pieces"
        train_network(4, store_folder, split, recipe, whole, lambda number, loss: None)
        for _ in range(recipe.epochs):
            with self.assertRaises(Interrupted):
                train_network(4, store_folder, split, recipe, pieces, stop)
        train_network(4, store_folder, split, recipe, pieces, stop)
        first, second = (torch.load(home / "result.pt") for home in (whole, pieces))
        for name in first["files"]:
            self.assertTrue(torch.equal(first["files"][name], second["files"][name]), name)
        self.assertTrue(torch.equal(first["features"], second["features"]))

    def test_the_same_command_again_does_nothing_twice(self):
        stamps = {path: path.stat().st_mtime_ns for path in self.work.glob("network-*/result.pt")}
        self.assertEqual(len(stamps), 25)
        again = self.home / "again"
        result = self.train(again)
        self.assertEqual(result.returncode, 0, result.stderr)
        for path, stamp in stamps.items():
            self.assertEqual(path.stat().st_mtime_ns, stamp)
        for path in self.model.iterdir():
            self.assertEqual(path.read_bytes(), (again / path.name).read_bytes(), path.name)

    def test_other_settings_folders_in_the_way_and_too_few_people_are_refused(self):
        other = self.train(self.home / "other", "--seed", 2)
        self.assert_refused(other, r"^train\.py: .*was begun with seed 1, not 2")
        self.assertFalse((self.home / "other").exists())
        self.assert_refused(self.train(self.model), "already exists")
        manifest = self.home / "few.csv"
        write_manifest(manifest, read_manifest(self.manifest)[:8])
        few = self.train(self.home / "few", manifest=manifest, work=self.home / "few-work")
        self.assert_refused(few, "at least four people")

    def test_a_face_is_searched_for(self):
        photo = self.manifest.parent / "photos/00003/01.jpg"
        arguments = ("search", photo, photo.with_suffix(".csv"), self.manifest, "--model", self.model, "--tools", TOOLS)
        result = run_command(*arguments, "--top", 2, "--threshold", -100)
        self.assertEqual(result.returncode, 0, result.stderr)
        first, second, reached = result.stdout.splitlines()
        self.assertEqual(first.split()[1:], ["00003", "01.jpg"])
        self.assertGreater(float(first.split()[0]), float(second.split()[0]))
        self.assertEqual(reached, "48 of 48 scores are -100 or more")
        absent = run_command(*arguments[:2], "absent.csv", *arguments[3:])
        self.assert_refused(absent, r"search: .*01\.jpg: cannot be searched for\n$")

    def test_the_model_is_looked_into(self):
        other = self.home / "other-seed"
        result = self.train(self.home / "none", "--seed", 2, "--only", 3, 20, work=other)
        self.assertEqual(result.returncode, 0, result.stderr)
        out = self.home / "study"
        result = run_command("study.py", self.work, self.model, out, "--held-out", self.manifest,
                             "--condition", "the same", self.manifest, "--other-seed", other,
                             "--components", 20, "--tools", TOOLS)
        self.assertEqual(result.returncode, 0, result.stderr)
        study = json.loads((out / "study.json").read_text(encoding="utf-8"))
        self.assertEqual(len(study["alone"]), 25)
        self.assertEqual(study["conditions"]["the same"], study["conditions"]["held out"])
        (seeds,) = study["other seeds"]
        self.assertEqual((seeds["seed"], set(seeds["alone"])), (2, {"3", "20"}))
        self.assertNotEqual(seeds["alone"]["3"], study["alone"][2])
        self.assertEqual(set(study["seconds"]), {str(n) for n in range(1, 26)})
        text = (out / "study.md").read_text(encoding="utf-8")
        self.assertIn("| Network | seed 1, % | seed 2, % |", text)
        for name in ("networks", "together", "components", "conditions"):
            self.assertEqual((out / f"{name}.png").read_bytes()[:4], b"\x89PNG")

    def test_the_model_is_evaluated_and_packed(self):
        people = self.manifest.parent
        write_manifest(people / "good.csv", read_manifest(self.manifest)[:-1])
        pack, unpacked = self.home / "model.pack", self.home / "unpacked"
        run_tool(TOOLS, "zomu-model", "pack", self.model, pack)
        run_tool(TOOLS, "zomu-model", "unpack", pack, unpacked)
        scores = []
        for model in (self.model, unpacked):
            out = self.home / f"rates-{model.name}"
            result = run_command("evaluate", people / "good.csv", out, "--model", model, "--rounds", 20,
                                 "--tools", TOOLS)
            self.assertEqual(result.returncode, 0, result.stderr)
            rates = json.loads((out / "rates.json").read_text(encoding="utf-8"))
            self.assertEqual(rates["same pairs"], 72)
            self.assertEqual(rates["different pairs"], 48 * 47 // 2 - 72)
            for name in ("roc.png", "det.png", "histogram.png"):
                self.assertEqual((out / name).read_bytes()[:4], b"\x89PNG")
            scores.append(np.load(out / "scores.npy"))
        self.assertLess(np.abs(scores[0] - scores[1]).mean(), 0.1)
        self.assertGreater(np.abs(scores[0] - scores[1]).max(), 0)
