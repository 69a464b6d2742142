"""The patches that zomu-patches cut, mapped into memory, and who is in each photograph."""

from dataclasses import dataclass
from pathlib import Path

import numpy as np
import torch

from trainer.manifest import read_manifest
from trainer.problems import TrainingProblem


@dataclass(frozen=True)
class PatchStore:
    folder: Path
    people: list[str]       # by index
    person: np.ndarray      # for each photograph the index of its person

    def patches(self, number: int) -> np.ndarray:
        """photographs x 2 x planes x side x side bytes of network `number`, counted from 1."""
        return np.load(self.folder / f"patches-{number:02}.npy", mmap_mode="r")


def open_store(folder: Path) -> PatchStore:
    names = [person for person, _, _ in read_manifest(folder / "faces.csv")]
    people = sorted(set(names))
    index = {name: i for i, name in enumerate(people)}
    return PatchStore(folder, people, np.array([index[name] for name in names]))


@dataclass(frozen=True)
class Split:
    """People for training the networks, and others for fitting the tables."""
    train_rows: np.ndarray
    labels: np.ndarray      # of the train rows, from 0
    classes: int
    fit_rows: np.ndarray
    fit_labels: np.ndarray


def split_people(store: PatchStore, share: float, seed: int) -> Split:
    """Sets `share` of the people aside for the tables.

    The features of people that a network was trained on vary too little within a person. So the tables
    are fitted to people that no network has seen.
    """
    photos = np.bincount(store.person, minlength=len(store.people))
    several = np.flatnonzero(photos >= 2)
    if len(several) < 4:
        raise TrainingProblem("training needs at least four people with two photographs each")
    order = np.random.default_rng(seed).permutation(several)
    count = int(np.clip(round(share * len(several)), 2, len(several) - 2))
    aside = np.zeros(len(store.people), bool)
    aside[order[:count]] = True
    train_rows = np.flatnonzero(~aside[store.person])
    fit_rows = np.flatnonzero(aside[store.person])
    _, labels = np.unique(store.person[train_rows], return_inverse=True)
    _, fit_labels = np.unique(store.person[fit_rows], return_inverse=True)
    return Split(train_rows, labels, int(labels.max()) + 1, fit_rows, fit_labels)


def whole_split(store: PatchStore) -> Split:
    """Everybody for the networks."""
    nobody = np.empty(0, np.int64)
    return Split(np.arange(len(store.person)), store.person, len(store.people), nobody, nobody)


def mean_image(patches: np.ndarray, rows: np.ndarray) -> np.ndarray:
    """The mean over both crops of the photographs, planes x side x side floats."""
    total = np.zeros(patches.shape[2:], np.int64)
    for start in range(0, len(rows), 512):
        total += patches[rows[start:start + 512]].sum(axis=(0, 1), dtype=np.int64)
    return (total / (2 * len(rows))).astype(np.float32)


def flattened(image: np.ndarray, share: float) -> np.ndarray:
    """Closer to one level for each plane, so that features depend less on the average face of the photographs.

    Pixels in the margin of most photographs, which are 0 there, stay about as they are: they would stand out.
    """
    levels = np.array([plane[plane > 0].mean() if plane.any() else 0 for plane in image], np.float32)
    return (image + share * (np.minimum(levels[:, None, None], 2 * image) - image)).astype(np.float32)


def as_input(patches: np.ndarray, mean: torch.Tensor) -> torch.Tensor:
    """Converts bytes to the input of a network's first layer: grey levels minus the mean image."""
    values = torch.from_numpy(np.ascontiguousarray(patches)).float()
    return (values - mean).contiguous(memory_format=torch.channels_last)
