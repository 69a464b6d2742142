"""Folders of photographs that researchers share, and the protocol that belongs to one of them."""

import re
from dataclasses import dataclass
from pathlib import Path
from statistics import fmean, stdev

import numpy as np

from trainer.problems import TrainingProblem


@dataclass(frozen=True)
class ListedPair:
    """Two photographs, as person and number, in one of the folds."""
    first: tuple[str, int]
    second: tuple[str, int]
    fold: int

    def is_same(self) -> bool:
        return self.first[0] == self.second[0]


def read_pairs(path: Path) -> list[ListedPair]:
    """A pairs.txt: the numbers of folds and of pairs, then for each fold lines `name number number` of one person and
    as many lines `name number name number` of two."""
    try:
        lines = [line.split() for line in path.read_text(encoding="utf-8").splitlines() if line.strip()]
    except (OSError, UnicodeDecodeError) as error:
        raise TrainingProblem(f"{path}: {getattr(error, 'strerror', None) or 'is not text'}") from error
    pairs = []
    try:
        folds, count = map(int, lines[0])
        if folds < 2 or count < 1 or len(lines) != 1 + 2 * folds * count:
            raise ValueError
        for row, line in enumerate(lines[1:]):
            fold, place = divmod(row, 2 * count)
            if len(line) != (3 if place < count else 4):
                raise ValueError
            first, second = (line[0], int(line[1])), (line[-2] if len(line) == 4 else line[0], int(line[-1]))
            pairs.append(ListedPair(first, second, fold))
    except (ValueError, IndexError):
        raise TrainingProblem(f"{path}: is not a list of pairs in folds") from None
    return pairs


def lfw_photo(folder: Path, person: str, number: int) -> Path:
    return folder / person / f"{person}_{number:04}.jpg"


def att_photos(folder: Path) -> list[tuple[str, Path]]:
    """Person and photograph of the folders s1, s2 and so on."""
    people = [entry for entry in folder.iterdir() if re.fullmatch(r"s\d+", entry.name)] if folder.is_dir() else []
    people.sort(key=lambda entry: int(entry.name[1:]))
    photos = [(person.name, photo) for person in people
              for photo in sorted(person.glob("*.pgm"), key=lambda photo: (len(photo.name), photo.name))]
    if not photos:
        raise TrainingProblem(f"{folder}: has no folders s1, s2 ... with PGM files")
    return photos


def _best_threshold(scores: np.ndarray, same: np.ndarray) -> float:
    """The one with the fewest errors; a score that reaches it counts as the same person."""
    order = np.argsort(scores)
    scores, same = scores[order], same[order]
    missed = np.concatenate([[0], np.cumsum(same)])
    matched = np.concatenate([np.cumsum(~same[::-1])[::-1], [0]])
    best = int(np.argmin(missed + matched))
    below = scores[best - 1] if best > 0 else scores[0] - 1
    above = scores[best] if best < len(scores) else scores[-1] + 1
    return float((below + above) / 2)


@dataclass(frozen=True)
class Accuracy:
    mean: float       # over folds
    deviation: float  # between folds


def accuracy_over_folds(scores: np.ndarray, same: np.ndarray, fold: np.ndarray) -> Accuracy:
    """Of each fold with the threshold that is best on all others. A pair without a score, NaN, counts as wrong."""
    shares = []
    for held_out in np.unique(fold):
        there = ~np.isnan(scores)
        others = there & (fold != held_out)
        if not others.any():
            raise TrainingProblem("too few pairs have scores")
        threshold = _best_threshold(scores[others], same[others])
        own = fold == held_out
        with np.errstate(invalid="ignore"):
            right = there[own] & ((scores[own] >= threshold) == same[own])
        shares.append(float(right.mean()))
    return Accuracy(fmean(shares), stdev(shares))
