"""Trains one network as a classifier of people, with checkpoints that survive a kill."""

import ctypes
import math
from pathlib import Path
from typing import Callable

import numpy as np
import torch
from torch.nn import functional

from trainer.chance import Chance, changed, hide_rectangles
from trainer.description import load_descriptions
from trainer.losses import centre_loss, view_loss
from trainer.network import PIXEL_UNIT, PlainNetwork, TrainingNetwork, folded
from trainer.patch_store import Split, as_input, flattened, mean_image, open_store
from trainer.recipe import Recipe
from trainer.whole_file import whole_file

FEATURE_BATCH = 256


def keep_memory() -> None:
    """Makes the C library keep the memory that a batch frees, which saves a fifth of the time."""
    try:
        mallopt = ctypes.CDLL(None).mallopt
    except (OSError, AttributeError):
        return
    mallopt(-3, 1 << 30)  # M_MMAP_THRESHOLD
    mallopt(-1, (1 << 31) - 1)  # M_TRIM_THRESHOLD


def save(content, path: Path) -> None:
    """Writes a file completely or not at all."""
    with whole_file(path) as file:
        torch.save(content, file)


class Average:
    """The weights of a network, averaged over the last steps."""

    def __init__(self, network: TrainingNetwork, keep: float):
        self.network, self.keep = network, keep
        self.weights = [p.detach().clone() for p in network.parameters()] if keep else []

    def step(self) -> None:
        for weights, p in zip(self.weights, self.network.parameters()):
            weights.lerp_(p.detach(), 1 - self.keep)

    def put_in_place(self) -> None:
        for weights, p in zip(self.weights, self.network.parameters()):
            p.data.copy_(weights)


class Trainer:
    """State of the training of one network."""

    def __init__(self, number: int, store_folder: Path, split: Split, recipe: Recipe):
        self.recipe, self.split = recipe, split
        torch.manual_seed(recipe.seed * 1000 + number)
        self.number = number
        self.description = load_descriptions(store_folder)[number - 1]
        self.patches = open_store(store_folder).patches(number)
        self.mean = torch.from_numpy(flattened(mean_image(self.patches, split.train_rows), recipe.flat))
        self.network = TrainingNetwork(self.description, recipe.drop)
        self.centres = torch.nn.Parameter(
            functional.normalize(torch.randn(split.classes * recipe.centres, self.description.outputs)))
        decayed = [p for p in self.network.parameters() if p.requires_grad and p.dim() > 1]
        others = [p for p in self.network.parameters() if p.requires_grad and p.dim() == 1]
        self.optimizer = torch.optim.AdamW(
            [{"params": decayed}, {"params": others + [self.centres], "weight_decay": 0.0}],
            lr=recipe.rate, weight_decay=recipe.decay)
        self.steps = math.ceil(len(split.train_rows) / recipe.batch)
        # A cycle needs a few steps, even if a tiny set has fewer.
        total = max(4, self.steps * recipe.epochs)
        self.schedule = torch.optim.lr_scheduler.OneCycleLR(
            self.optimizer, recipe.rate, total_steps=total, pct_start=max(recipe.rise, 2 / total))
        self.average = Average(self.network, recipe.average)
        self.epoch = 0

    def state(self) -> dict:
        return {"network": self.network.state_dict(), "centres": self.centres.data,
                "optimizer": self.optimizer.state_dict(), "schedule": self.schedule.state_dict(),
                "average": self.average.weights, "epoch": self.epoch}

    def restore(self, state: dict) -> None:
        self.network.load_state_dict(state["network"])
        self.centres.data.copy_(state["centres"])
        self.optimizer.load_state_dict(state["optimizer"])
        self.schedule.load_state_dict(state["schedule"])
        self.average.weights = state["average"]
        self.epoch = state["epoch"]

    def _batch(self, chosen: np.ndarray, rng: np.random.Generator, is_changed: bool) -> torch.Tensor:
        """One of the two crops of each photograph, in the units of the training network's input."""
        crops = rng.integers(0, 2, len(chosen))
        patches = self.patches[self.split.train_rows[chosen], crops]
        if not is_changed:
            return as_input(patches, self.mean) / PIXEL_UNIT
        recipe = self.recipe
        batch = (changed(patches, recipe, rng) - self.mean).contiguous(memory_format=torch.channels_last)
        gains = rng.normal(1, recipe.gain, len(chosen)).clip(0.5, 1.5) / PIXEL_UNIT
        batch *= torch.from_numpy(gains.astype(np.float32))[:, None, None, None]
        hide_rectangles(batch, recipe, rng)
        return batch

    def _order(self, rng: np.random.Generator) -> np.ndarray:
        """All photographs in a random order; recipe.views of a person stay side by side."""
        order = rng.permutation(len(self.split.train_rows))
        if self.recipe.views == 1:
            return order
        order = order[np.argsort(self.split.labels[order], kind="stable")]
        labels = self.split.labels[order]
        starts = np.flatnonzero(np.append(True, labels[1:] != labels[:-1]))
        place = np.arange(len(order)) - np.repeat(starts, np.diff(np.append(starts, len(order))))
        groups = np.cumsum(place % self.recipe.views == 0) - 1
        return order[np.argsort(rng.permutation(groups[-1] + 1)[groups], kind="stable")]

    def _loss(self, batch: torch.Tensor, labels: torch.Tensor) -> torch.Tensor:
        outputs = self.network(batch)
        loss = centre_loss(outputs, self.centres, labels, self.recipe)
        if self.recipe.pull:
            loss = loss + self.recipe.pull * view_loss(outputs, labels, self.recipe)
        return loss

    def run_epoch(self) -> float:
        """Each photograph once. Order and random draws depend on seed, network and epoch."""
        recipe = self.recipe
        rng = np.random.default_rng([recipe.seed, self.number, self.epoch])
        torch.manual_seed(int(rng.integers(1 << 62)))
        order = self._order(rng)
        self.network.train()
        total = 0.0
        for step in range(self.steps):
            # The last batch is as large as the others: statistics of a few rows would be noise.
            first = min(step * recipe.batch, max(0, len(order) - recipe.batch))
            chosen = order[first:first + recipe.batch]
            loss = self._loss(self._batch(chosen, rng, True), torch.from_numpy(self.split.labels[chosen]))
            self.optimizer.zero_grad(set_to_none=True)
            loss.backward()
            self.optimizer.step()
            self.schedule.step()
            self.average.step()
            total += float(loss)
        self.epoch += 1
        return total / self.steps

    def settle(self) -> None:
        """Puts averaged weights in place, and recomputes means and variances over many batches instead of
        the last few: of unchanged patches, or of changed ones with recipe.settle."""
        self.average.put_in_place()
        norms = [*self.network.norms, self.network.fc_norm]
        for norm in norms:
            norm.reset_running_stats()
            norm.momentum = None
        rng = np.random.default_rng([self.recipe.seed, self.number, self.recipe.epochs])
        order = rng.permutation(len(self.split.train_rows))[:64 * self.recipe.batch]
        self.network.train()
        with torch.no_grad():
            for start in range(0, len(order), self.recipe.batch):
                chosen = order[start:start + self.recipe.batch]
                if len(chosen) == self.recipe.batch or start == 0:
                    self.network(self._batch(chosen, rng, self.recipe.settle > 0))


def compute_features(plain: PlainNetwork, patches: np.ndarray, rows: np.ndarray, mean: torch.Tensor,
                     chance: Chance | None = None, seed: int = 1) -> np.ndarray:
    """rows x 2 x outputs, unit vectors of both crops; of patches that are changed, with `chance`."""
    parts = []
    rng = np.random.default_rng(seed)
    with torch.no_grad():
        for start in range(0, len(rows), FEATURE_BATCH):
            block = patches[rows[start:start + FEATURE_BATCH]]
            crops = block.reshape(-1, *block.shape[2:])
            if chance is None:
                flat = as_input(crops, mean)
            else:
                flat = (changed(crops, chance, rng) - mean).contiguous(memory_format=torch.channels_last)
            parts.append(plain.features(flat).numpy().reshape(len(block), 2, -1))
    return np.concatenate(parts)


def train_network(number: int, store_folder: Path, split: Split, recipe: Recipe, home: Path,
                  epoch_done: Callable[[int, float], None]) -> None:
    """Leaves result.pt in `home`: the files of network `number`, its mean image, and its features
    of the people set aside. Finished work is not repeated."""
    home.mkdir(parents=True, exist_ok=True)
    result, checkpoint = home / "result.pt", home / "checkpoint.pt"
    if result.exists():
        return
    torch.set_num_threads(1)
    keep_memory()
    trainer = Trainer(number, store_folder, split, recipe)
    if checkpoint.exists():
        trainer.restore(torch.load(checkpoint))
    while trainer.epoch < recipe.epochs:
        loss = trainer.run_epoch()
        save(trainer.state(), checkpoint)
        epoch_done(number, loss)
    trainer.settle()
    files = folded(trainer.network)
    plain = PlainNetwork(trainer.description, files)
    features = compute_features(plain, trainer.patches, split.fit_rows, trainer.mean)
    if recipe.fit_changes:
        more = compute_features(plain, trainer.patches, split.fit_rows, trainer.mean, recipe,
                                recipe.seed * 1000 + number)
        features = np.concatenate([features, more])
    save({"files": files, "mean": trainer.mean, "features": torch.from_numpy(features)}, result)
    checkpoint.unlink()


def trained_features(number: int, store_folder: Path, split: Split, recipe: Recipe, others: dict[str, Path],
                     fit: str) -> tuple[dict[str, np.ndarray], float]:
    """Trains network `number` without a trace on disk: its features of all photographs of other stores,
    rows x (2 x outputs), and the loss of the last epoch. Those of store `fit` are followed by those of changed
    patches, if the recipe says so."""
    torch.set_num_threads(1)
    keep_memory()
    trainer = Trainer(number, store_folder, split, recipe)
    loss = 0.0
    while trainer.epoch < recipe.epochs:
        loss = trainer.run_epoch()
    trainer.settle()
    plain = PlainNetwork(trainer.description, folded(trainer.network))
    features = {}
    for name, folder in others.items():
        patches = open_store(folder).patches(number)
        found = compute_features(plain, patches, np.arange(len(patches)), trainer.mean)
        if name == fit and recipe.fit_changes:
            more = compute_features(plain, patches, np.arange(len(patches)), trainer.mean, recipe, recipe.seed)
            found = np.concatenate([found, more])
        features[name] = found.reshape(len(found), -1)
    return features, loss
