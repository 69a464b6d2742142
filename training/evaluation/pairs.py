"""Scores of all pairs of photographs, and who is in the photographs."""

from dataclasses import dataclass

import numpy as np


@dataclass(frozen=True)
class PairScores:
    """`scores` runs through the upper triangle: (0, 1), (0, 2) ... (1, 2) ..."""
    scores: np.ndarray
    person: np.ndarray  # for each photograph the index of its person

    @property
    def first_and_second(self) -> tuple[np.ndarray, np.ndarray]:
        return np.triu_indices(len(self.person), 1)

    def is_same(self) -> np.ndarray:
        """For each pair, whether both photographs show the same person."""
        count = len(self.person)
        same = np.empty(len(self.scores), bool)
        start = 0
        for i in range(count - 1):
            same[start:start + count - 1 - i] = self.person[i + 1:] == self.person[i]
            start += count - 1 - i
        return same


def person_indices(names: list[str]) -> np.ndarray:
    return np.unique(np.array(names), return_inverse=True)[1]


def from_matrix(matrix: np.ndarray, person: np.ndarray) -> PairScores:
    return PairScores(matrix[np.triu_indices(len(person), 1)].astype(np.float32), person)
