"""Scores of tables that were fitted to other people: all pairs of photographs, no pair by tables that know it."""

from itertools import combinations
from typing import Callable

import numpy as np

from trainer.problems import TrainingProblem

Fit = Callable[[np.ndarray, np.ndarray], Callable[[np.ndarray, np.ndarray], np.ndarray]]


def parts_of_people(person: np.ndarray, parts: int, seed: int) -> np.ndarray:
    """For each photograph the part that its person was drawn into."""
    people = int(person.max()) + 1
    if people < 2 * parts:
        raise TrainingProblem(f"{people} people are too few; {parts} parts need at least {2 * parts}")
    part = np.empty(people, np.int64)
    part[np.random.default_rng(seed).permutation(people)] = np.arange(people) % parts
    return part[person]


def scores_across(features: np.ndarray, person: np.ndarray, parts: int, seed: int, fit: Fit) -> np.ndarray:
    """Photographs x photographs.

    `fit` gets features and people from 0, and gives a function that scores each of some features against each of
    others. For two parts of the people it is fitted to all other parts. Pairs within a part are scored by the mean
    over the fits that leave it out.
    """
    part = parts_of_people(person, parts, seed)
    matrix = np.zeros((len(person), len(person)))
    for i, j in combinations(range(parts), 2):
        others = (part != i) & (part != j)
        score = fit(features[others], np.unique(person[others], return_inverse=True)[1])
        a, b = np.flatnonzero(part == i), np.flatnonzero(part == j)
        between = score(features[a], features[b])
        matrix[np.ix_(a, b)] = between
        matrix[np.ix_(b, a)] = between.T
        for own in (a, b):
            matrix[np.ix_(own, own)] += score(features[own], features[own]) / (parts - 1)
    return matrix
