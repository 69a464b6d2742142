"""What a score means: thresholds belong to one model, and to the photographs on which they were measured.

docs/model.md has the measurements.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Mapping

from .errors import ThresholdError


@dataclass(frozen=True)
class MeasuredThreshold:
    """The score from which on two faces count as the same person, and how often that is wrong."""

    value: float
    """A score, without a unit."""
    false_match_rate: float
    """The share of pairs of different people that score as high as this or higher, 0 to 1."""
    false_non_match_rate: float
    """The share of pairs of the same person that score lower, 0 to 1."""
    measured_on: str
    """The photographs and the landmarks: a phrase in words."""
    model: str
    """What the model is: a phrase in words."""
    finder: str | None = None
    """The finder that found the landmarks, with its version; None where they were known."""


DEMONSTRATION_MODEL = "e391fe224888f9edde1c13ea9b32f21f9a59730bcffd3077e0c1c321bfa9ab2b"
"""The fingerprint of the model that comes with the project."""

# By fingerprint. The figures are those of models/rendered-people.json.
MEASURED_THRESHOLDS: Mapping[str, MeasuredThreshold] = {
    DEMONSTRATION_MODEL: MeasuredThreshold(
        0.7097293138504028,
        0.001,
        0.0019642857142857144,
        "8,000 photographs of 1,000 rendered people, whose landmarks were 1 % of the eye distance off",
        "the demonstration model, which was trained on drawn heads and cannot identify real people",
    ),
}

# By fingerprint and finder. The figures are those of models/rendered-people-found.json.
MEASURED_WITH_FINDER: Mapping[tuple[str, str], MeasuredThreshold] = {
    (DEMONSTRATION_MODEL, "mesh 1"): MeasuredThreshold(
        0.7097293138504028,
        0.001061710920752665,
        0.008778455586966225,
        "7,838 photographs of 1,000 rendered people, with the landmarks that the finder mesh 1 found (in 162 others "
        "it found no face)",
        "the demonstration model, which was trained on drawn heads and cannot identify real people",
        "mesh 1",
    ),
}


@dataclass(frozen=True)
class Threshold:
    """The threshold of a comparison, and where it comes from."""

    value: float
    fingerprint: str | None
    """Of the model; None where it isn't known."""
    measured: MeasuredThreshold | None
    """None for a threshold that the caller gave."""

    @property
    def meaning(self) -> str:
        """For people, in one or two sentences."""
        known = MEASURED_THRESHOLDS.get(self.fingerprint or "")
        about_model = f" The model is {known.model}." if known is not None else ""
        if self.measured is None:
            return f"The threshold was given by the caller; its rate of false matches is not known here.{about_model}"
        measured = self.measured
        others = "on other photographs" + (", and with landmarks of a finder," if measured.finder is None else "")
        return (
            f"On {measured.measured_on}, {_percent(measured.false_match_rate)} of the pairs of different people "
            f"scored at least the threshold, and {_percent(measured.false_non_match_rate)} of the pairs of one person "
            f"scored less; {others} the rates may be quite different.{about_model}"
        )


def threshold_for(fingerprint: str | None, given: float | None = None, finder: str | None = None) -> Threshold:
    """The threshold that the caller gives, else the one measured for the model.

    finder  what found the landmarks, with its version: "mesh 1". The threshold of a model is the same for all, but
            its rates have been measured with some.

    Raises ThresholdError if there is neither: nobody knows then what a score means.
    """
    if given is not None:
        if not abs(given) < float("inf"):
            raise ThresholdError(f"a threshold must be a finite number, not {given}")
        return Threshold(float(given), fingerprint, None)
    known = fingerprint or ""
    measured = MEASURED_WITH_FINDER.get((known, finder or ""), MEASURED_THRESHOLDS.get(known))
    if measured is None:
        name = f"the model {fingerprint[:16]}..." if fingerprint else "a model without a fingerprint"
        raise ThresholdError(
            f"no threshold is known for {name}: measure one (training/evaluate), and give it as threshold"
        )
    return Threshold(measured.value, fingerprint, measured)


def _percent(share: float) -> str:
    return f"{100 * share:.3g} %"
