"""False matches, false non-matches, and the rate at which they are equal."""

from dataclasses import dataclass

import numpy as np

from evaluation.pairs import PairScores


@dataclass(frozen=True)
class Curve:
    """At each threshold, ascending: the share of different pairs at or above it, and of same pairs
    below it."""
    thresholds: np.ndarray
    false_match: np.ndarray
    false_non_match: np.ndarray

    def equal_error(self) -> float:
        return _crossing(self.false_match, self.false_non_match)

    def threshold_at(self, false_match: float) -> float:
        """The lowest threshold at which at most this share of different pairs match."""
        return float(self.thresholds[np.argmax(self.false_match <= false_match)])

    def non_match_at(self, false_match: float) -> float:
        return float(self.false_non_match[np.argmax(self.false_match <= false_match)])


def _crossing(false_match: np.ndarray, false_non_match: np.ndarray) -> float:
    """Where the two rates cross, interpolated between the two thresholds around that point."""
    after = int(np.argmax(false_non_match >= false_match))
    if after == 0:
        return float(max(false_match[0], false_non_match[0]))
    gap_before = false_match[after - 1] - false_non_match[after - 1]
    gap_after = false_non_match[after] - false_match[after]
    share = gap_before / (gap_before + gap_after) if gap_before + gap_after > 0 else 0.0
    return float(false_match[after - 1] + share * (false_match[after] - false_match[after - 1]))


def error_curve(same: np.ndarray, different: np.ndarray, points: int = 4000) -> Curve:
    """Rates at the scores of the same pairs and at quantiles of the different ones."""
    same, different = np.sort(same), np.sort(different)
    tail = np.unique(np.rint(len(different) * (1 - np.geomspace(1, 1 / len(different), points)))
                     .astype(np.int64).clip(0, len(different) - 1))
    thresholds = np.unique(np.concatenate([same, different[tail]]))
    thresholds = np.append(thresholds, np.nextafter(thresholds[-1], np.inf))
    false_match = 1 - np.searchsorted(different, thresholds, "left") / len(different)
    false_non_match = np.searchsorted(same, thresholds, "left") / len(same)
    return Curve(thresholds, false_match, false_non_match)


def curve_of(pairs: PairScores) -> Curve:
    same = pairs.is_same()
    return error_curve(pairs.scores[same], pairs.scores[~same])


def rates_at(pairs: PairScores, threshold: float) -> tuple[float, float]:
    """The share of different pairs at or above a threshold, and of same pairs below it."""
    same = pairs.is_same()
    false_match = np.mean(pairs.scores[~same] >= threshold)
    return float(false_match), float(np.mean(pairs.scores[same] < threshold))


@dataclass(frozen=True)
class Interval:
    low: float
    high: float


def equal_error_interval(pairs: PairScores, rounds: int = 200, seed: int = 1,
                         share: float = 0.95) -> Interval:
    """Confidence interval of the equal error rate: a bootstrap over people.

    People are drawn, not pairs, since the pairs of one person are not independent. A person drawn w
    times weighs w in pairs of the same person, and w w' in pairs with a person drawn w' times. Pairs
    of a person with a copy of the same person are left out: in truth nobody was drawn twice.
    """
    people = int(pairs.person.max()) + 1
    same = pairs.is_same()
    curve = error_curve(pairs.scores[same], pairs.scores[~same])
    # Only scores near the crossing matter: the other pairs of different people are just counted.
    rate = curve.equal_error()
    floor = curve.threshold_at(min(1.0, max(10 * rate, 0.02)))
    first, second = pairs.first_and_second
    near = ~same & (pairs.scores >= floor)
    order = np.argsort(pairs.scores[near])[::-1]
    different = pairs.scores[near][order]
    a, b = pairs.person[first[near]][order], pairs.person[second[near]][order]
    same_order = np.argsort(pairs.scores[same])
    same_scores = pairs.scores[same][same_order]
    owner = pairs.person[first[same]][same_order]
    photos = np.bincount(pairs.person, minlength=people).astype(np.float64)
    thresholds = np.unique(np.quantile(different, np.linspace(0, 1, 2000)))
    place_same = np.searchsorted(same_scores, thresholds, "left")
    place_different = np.searchsorted(-different, -thresholds, "right")

    rng = np.random.default_rng(seed)
    rates = np.empty(rounds)
    for k in range(rounds):
        weight = np.bincount(rng.integers(0, people, people), minlength=people).astype(np.float64)
        own = np.concatenate([[0], np.cumsum(weight[owner])])
        others = np.concatenate([[0], np.cumsum(weight[a] * weight[b])])
        total = (np.sum(weight * photos) ** 2 - np.sum(np.square(weight * photos))) / 2
        rates[k] = _crossing(others[place_different] / total, own[place_same] / max(own[-1], 1e-9))
    low, high = np.quantile(rates, [(1 - share) / 2, (1 + share) / 2])
    return Interval(float(low), float(high))
