"""Cosines of features less a mean, and the error rates of such scores."""

from dataclasses import dataclass

import numpy as np

from evaluation.pairs import from_matrix
from evaluation.rates import curve_of


def cosines(features: np.ndarray, mean: np.ndarray) -> np.ndarray:
    centred = features - mean
    centred /= np.linalg.norm(centred, axis=1, keepdims=True)
    return centred @ centred.T


@dataclass(frozen=True)
class Errors:
    """Shares: at the threshold where both errors are equal; false non-matches at one false match in a thousand;
    pairs of a same and a different pair of which the different one scores higher, which has the least noise."""
    equal: float
    non_match: float
    order: float


def errors_of(matrix: np.ndarray, person: np.ndarray) -> Errors:
    """Of all pairs of photographs, from the scores of each against each."""
    pairs = from_matrix(matrix, person)
    curve = curve_of(pairs)
    same = pairs.is_same()
    different = np.sort(pairs.scores[~same])
    higher = len(different) - np.searchsorted(different, pairs.scores[same])
    return Errors(curve.equal_error(), curve.non_match_at(1e-3), float(higher.mean() / len(different)))
