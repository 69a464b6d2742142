"""Search: candidates of an index, ranked again by the library's own comparison."""

from __future__ import annotations

from typing import Callable, NamedTuple, Protocol, Sequence

import numpy as np

from zomu import compare_many
from zomu.templates import checked_template

from .exact import ExactIndex, Ids
from .rows import Floats
from .store import StoredFace


class Candidates(Protocol):
    """An index that may miss some of the best."""

    def __len__(self) -> int: ...

    def nearest(self, template: Floats, count: int) -> tuple[Ids, Floats]: ...


class Match(NamedTuple):
    score: float
    """Of the library. No unit, no fixed range, no probability."""
    face: StoredFace


Fetch = Callable[[Ids], Sequence[StoredFace]]
"""Gives what is stored under these numbers; what isn't there any more, it leaves out."""

# Candidates beyond those that are wanted: for the bound, and for templates that are not there any more.
_SPARE = 16
_GROWTH = 8


def search(index: ExactIndex | Candidates, fetch: Fetch, template: Floats, count: int) -> list[Match]:
    """The `count` best matches: scores descend, and of equal ones the older number comes first.

    With an exact index these are, to the last bit, those of a comparison with every template: an inner product
    differs from a score by no more than a bound, and candidates are taken until no other row can reach the worst of
    the matches. With another index they are the best of its candidates.
    """
    probe = checked_template(template)
    taken = count + _SPARE
    while len(index):
        ids, products = index.nearest(probe, taken)
        matches = ranked(fetch(ids[ids >= 0]), probe)[:count]
        if taken >= len(index):
            return matches
        if len(matches) == count:
            if not isinstance(index, ExactIndex):
                return matches
            worst, bound = matches[-1].score, index.bound(probe)
            if float(products[-1]) + 1 + bound < worst:
                return matches
            return ranked(fetch(index.above(probe, worst - 1 - bound)), probe)[:count]
        taken *= _GROWTH
    return []


def ranked(faces: Sequence[StoredFace], probe: Floats) -> list[Match]:
    """The faces with their scores, the best first."""
    if not faces:
        return []
    scores = compare_many(np.stack([face.template for face in faces]), probe)
    order = np.lexsort((np.array([face.id for face in faces]), -scores))
    return [Match(float(scores[i]), faces[i]) for i in order]
