"""The features of all networks side by side, as the library orders them."""

from pathlib import Path

import numpy as np
import torch

from trainer.description import NETWORKS
from trainer.workplace import result_path

CROPS, OUTPUTS = 2, 160


def load_results(work: Path) -> list[dict]:
    """What the training of each network left."""
    return [torch.load(result_path(work, number)) for number in range(1, NETWORKS + 1)]


def joint_features(results: list[dict]) -> np.ndarray:
    """photographs x 8000: network after network, plain before mirrored."""
    return np.concatenate([r["features"].flatten(1).numpy() for r in results], axis=1)


def with_mirrored(features: np.ndarray, labels: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """The photographs and as many mirrored ones of the same people.

    Mirroring a picture makes the plain crop of each patch the mirrored one and the other way round:
    so the features of the mirrored photograph are there already, with the halves exchanged.
    """
    halves = features.reshape(len(features), -1, CROPS, OUTPUTS)
    mirrored = halves[:, :, ::-1].reshape(features.shape)
    return np.concatenate([features, mirrored]), np.concatenate([labels, labels])
