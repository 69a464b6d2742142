"""Templates that nobody has, as many as wanted: for measurements of galleries larger than any sample.

templates.csv holds what the demonstration model gives for 2,400 rendered photographs of 600 people: for each main
axis of the projection its mean, its variance between people and within a person, and its weight in the quadratic
term. A person is drawn from a normal distribution, and each photograph of theirs from another around it, of which
some scatter more than others.
"""

from __future__ import annotations

from pathlib import Path
from typing import Iterator

import numpy as np
from numpy.typing import NDArray

STATISTICS = Path(__file__).with_name("templates.csv")

# How much photographs differ in how far they are from the person's mean: the deviation of a logarithm.
_SCATTER = 0.25
_BLOCK = 10_000


class MadeTemplates:
    """Templates that depend on the seed, the person's number and the photograph's number only."""

    def __init__(self, seed: int = 1) -> None:
        mean, between, within, weights = np.loadtxt(STATISTICS, delimiter=",", skiprows=1, dtype=np.float32).T
        self._seed, self._mean, self._weights = seed, mean, weights
        self._between, self._within = np.sqrt(between), np.sqrt(within)
        # The main axes lie anywhere in the 500 dimensions, as those of a model do.
        axes = np.random.default_rng(seed).standard_normal((500, len(mean)))
        self._axes = np.ascontiguousarray(np.linalg.qr(axes)[0].T.astype(np.float32))

    def photographs(self, first: int, count: int, photograph: int = 0) -> NDArray[np.float32]:
        """The templates, count x 502, of one photograph of each of the people from `first` on."""
        parts = [part for part in self.blocks(first, count, photograph)]
        return np.concatenate(parts) if parts else np.empty((0, 502), dtype=np.float32)

    def blocks(self, first: int, count: int, photograph: int = 0) -> Iterator[NDArray[np.float32]]:
        """The same, some thousand at a time."""
        end = first + count
        for block in range(first // _BLOCK, -(-end // _BLOCK)):
            start = block * _BLOCK
            made = self._block(block, photograph)
            yield made[max(first - start, 0) : end - start]

    def _block(self, block: int, photograph: int) -> NDArray[np.float32]:
        people = np.random.default_rng([self._seed, block])
        photos = np.random.default_rng([self._seed, block, 1 + photograph])
        shape = (_BLOCK, len(self._mean))
        values = people.standard_normal(shape, dtype=np.float32) * self._between + self._mean
        scatter = np.exp(_SCATTER * photos.standard_normal((_BLOCK, 1), dtype=np.float32) - _SCATTER**2)
        values += photos.standard_normal(shape, dtype=np.float32) * self._within * scatter
        templates = np.empty((_BLOCK, 502), dtype=np.float32)
        templates[:, :500] = values @ self._axes
        templates[:, 500] = np.maximum(values**2 @ self._weights, 0)
        templates[:, 501] = np.linalg.norm(templates[:, :500].astype(np.float64), axis=1)
        return templates
