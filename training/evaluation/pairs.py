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


def first_rank(pairs: PairScores) -> float:
    """The share of photographs whose highest score with another one is with the same person's.

    Counts the photographs of people who have two or more.
    """
    count = len(pairs.person)
    best = np.full(count, -np.inf, np.float32)
    nearest = np.zeros(count, np.int64)
    start = 0
    for i in range(count - 1):
        row = pairs.scores[start:start + count - 1 - i]
        start += len(row)
        own = int(row.argmax())
        if row[own] > best[i]:
            best[i], nearest[i] = row[own], i + 1 + own
        higher = i + 1 + np.flatnonzero(row > best[i + 1:])
        best[higher], nearest[higher] = row[higher - i - 1], i
    has_others = np.bincount(pairs.person)[pairs.person] > 1
    return float((pairs.person[nearest] == pairs.person)[has_others].mean())


def person_indices(names: list[str]) -> np.ndarray:
    return np.unique(np.array(names), return_inverse=True)[1]


def from_matrix(matrix: np.ndarray, person: np.ndarray) -> PairScores:
    return PairScores(matrix[np.triu_indices(len(person), 1)].astype(np.float32), person)
