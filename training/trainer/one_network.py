"""Trains one network as a classifier of people, with checkpoints that survive a kill."""

import ctypes
import math
from dataclasses import dataclass
from pathlib import Path
from typing import Callable

import numpy as np
import torch
from torch.nn import functional

from trainer.description import load_descriptions
from trainer.network import PIXEL_UNIT, PlainNetwork, TrainingNetwork, folded
from trainer.patch_store import Split, as_input, mean_image, open_store
from trainer.whole_file import whole_file

FEATURE_BATCH = 256


@dataclass(frozen=True)
class Recipe:
    """How networks are trained."""
    epochs: int = 14
    batch: int = 128
    rate: float = 0.015      # the highest of the cycle
    decay: float = 0.05
    margin: float = 0.15
    scale: float = 20.0
    erase: float = 0.3       # share of patches with a hidden rectangle
    gain: float = 0.15       # spread of the random contrast
    seed: int = 1


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


def _hide_rectangles(batch: torch.Tensor, rng: np.random.Generator, share: float) -> None:
    side = batch.shape[-1]
    for row in np.flatnonzero(rng.random(len(batch)) < share):
        h, w = rng.integers(side // 6, side // 2, 2)
        y, x = rng.integers(0, side - h), rng.integers(0, side - w)
        batch[row, :, y:y + h, x:x + w] = float(rng.normal(0, 0.7))


class _Trainer:
    """State of the training of one network."""

    def __init__(self, number: int, store_folder: Path, split: Split, recipe: Recipe):
        self.recipe, self.split = recipe, split
        torch.manual_seed(recipe.seed * 1000 + number)
        self.number = number
        self.description = load_descriptions(store_folder)[number - 1]
        self.patches = open_store(store_folder).patches(number)
        self.mean = torch.from_numpy(mean_image(self.patches, split.train_rows))
        self.network = TrainingNetwork(self.description)
        self.centres = torch.nn.Parameter(
            functional.normalize(torch.randn(split.classes, self.description.outputs)))
        decayed = [p for p in self.network.parameters() if p.requires_grad and p.dim() > 1]
        others = [p for p in self.network.parameters() if p.requires_grad and p.dim() == 1]
        self.optimizer = torch.optim.AdamW(
            [{"params": decayed}, {"params": others + [self.centres], "weight_decay": 0.0}],
            lr=recipe.rate, weight_decay=recipe.decay)
        self.steps = math.ceil(len(split.train_rows) / recipe.batch)
        # A cycle needs a few steps, even if a tiny set has fewer.
        total = max(4, self.steps * recipe.epochs)
        self.schedule = torch.optim.lr_scheduler.OneCycleLR(
            self.optimizer, recipe.rate, total_steps=total, pct_start=max(0.25, 2 / total))
        self.epoch = 0

    def state(self) -> dict:
        return {"network": self.network.state_dict(), "centres": self.centres.data,
                "optimizer": self.optimizer.state_dict(), "schedule": self.schedule.state_dict(),
                "epoch": self.epoch}

    def restore(self, state: dict) -> None:
        self.network.load_state_dict(state["network"])
        self.centres.data.copy_(state["centres"])
        self.optimizer.load_state_dict(state["optimizer"])
        self.schedule.load_state_dict(state["schedule"])
        self.epoch = state["epoch"]

    def _batch(self, chosen: np.ndarray, rng: np.random.Generator) -> torch.Tensor:
        """One of the two crops of each photograph."""
        crops = rng.integers(0, 2, len(chosen))
        rows = self.split.train_rows[chosen]
        return as_input(self.patches[rows, crops], self.mean)

    def run_epoch(self) -> float:
        """Each photograph once. Order and random draws depend on seed, network and epoch."""
        recipe = self.recipe
        rng = np.random.default_rng([recipe.seed, self.number, self.epoch])
        order = rng.permutation(len(self.split.train_rows))
        self.network.train()
        total = 0.0
        for step in range(self.steps):
            # The last batch is as large as the others: statistics of a few rows would be noise.
            first = min(step * recipe.batch, max(0, len(order) - recipe.batch))
            chosen = order[first:first + recipe.batch]
            batch = self._batch(chosen, rng)
            gains = rng.normal(1, recipe.gain, len(chosen)).clip(0.5, 1.5) / PIXEL_UNIT
            batch *= torch.from_numpy(gains.astype(np.float32))[:, None, None, None]
            _hide_rectangles(batch, rng, recipe.erase)
            labels = torch.from_numpy(self.split.labels[chosen])
            cosines = self.network(batch) @ functional.normalize(self.centres).T
            margins = torch.zeros_like(cosines).scatter_(1, labels[:, None], recipe.margin)
            cosines = cosines - margins
            loss = functional.cross_entropy(recipe.scale * cosines, labels)
            self.optimizer.zero_grad(set_to_none=True)
            loss.backward()
            self.optimizer.step()
            self.schedule.step()
            total += float(loss)
        self.epoch += 1
        return total / self.steps

    def settle_norms(self) -> None:
        """Recomputes means and variances over many batches without distortions, not over the last few."""
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
                    self.network(self._batch(chosen, rng) / PIXEL_UNIT)


def compute_features(plain: PlainNetwork, patches: np.ndarray, rows: np.ndarray,
                     mean: torch.Tensor) -> np.ndarray:
    """rows x 2 x outputs, unit vectors of both crops."""
    parts = []
    with torch.no_grad():
        for start in range(0, len(rows), FEATURE_BATCH):
            block = patches[rows[start:start + FEATURE_BATCH]]
            flat = as_input(block.reshape(-1, *block.shape[2:]), mean)
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
    trainer = _Trainer(number, store_folder, split, recipe)
    if checkpoint.exists():
        trainer.restore(torch.load(checkpoint))
    while trainer.epoch < recipe.epochs:
        loss = trainer.run_epoch()
        save(trainer.state(), checkpoint)
        epoch_done(number, loss)
    trainer.settle_norms()
    files = folded(trainer.network)
    plain = PlainNetwork(trainer.description, files)
    features = compute_features(plain, trainer.patches, split.fit_rows, trainer.mean)
    save({"files": files, "mean": trainer.mean, "features": torch.from_numpy(features)}, result)
    checkpoint.unlink()
