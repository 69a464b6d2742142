"""The features of all networks, concatenated in the library's order."""

from pathlib import Path

import numpy as np
import torch

from trainer.description import NETWORKS
from trainer.workplace import result_path

CROPS, OUTPUTS = 2, 160


def load_results(work: Path) -> list[dict]:
    """The results of training each network."""
    return [torch.load(result_path(work, number)) for number in range(1, NETWORKS + 1)]


def joint_features(results: list[dict]) -> np.ndarray:
    """photographs x 8000: network after network, plain before mirrored."""
    return np.concatenate([r["features"].flatten(1).numpy() for r in results], axis=1)


def fit_set(results: list[dict], labels: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Features to fit tables to, and their people: with mirrored ones, and with those of changed patches, which
    follow the others if there are any."""
    features = joint_features(results)
    return with_mirrored(features, np.tile(labels, len(features) // len(labels)))


def with_mirrored(features: np.ndarray, labels: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """The photographs and their mirror images, with the same people.

    Mirroring a picture exchanges the plain and the mirrored crop of each patch, so the features of the
    mirrored photograph are those of the original with the halves exchanged.
    """
    halves = features.reshape(len(features), -1, CROPS, OUTPUTS)
    mirrored = halves[:, :, ::-1].reshape(features.shape)
    return np.concatenate([features, mirrored]), np.concatenate([labels, labels])
