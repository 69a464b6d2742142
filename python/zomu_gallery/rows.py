"""Gallery rows and probes: the score of two templates as the inner product of two vectors of 502 numbers, plus 1.

With p the projection of a template, q its quadratic term and n its norm:

    row    (p / n, 1 / n, q / n)
    probe  (2 p / n, -q / n, -1 / n)
"""

from __future__ import annotations

import numpy as np
from numpy.typing import NDArray

from zomu.errors import TemplateError

ROW_SIZE = 502

Floats = NDArray[np.float32]

# How far a template's stored norm may be off the length of its projection.
_TOLERANCE = 1e-3

_BLOCK = 65_536


def rows_of(templates: Floats) -> Floats:
    """The rows, (n, 502), of templates, (n, 502), which must be checked ones."""
    rows = np.empty_like(templates, order="C")
    norms = templates[:, 501:]
    np.divide(templates[:, :500], norms, out=rows[:, :500])
    rows[:, 500] = np.float32(1) / norms[:, 0]
    rows[:, 501] = templates[:, 500] / norms[:, 0]
    return rows


def probes_of(rows: Floats) -> Floats:
    """Rows as probes: doubled, exchanged and negated, which rounds nothing."""
    probes = np.empty_like(rows, order="C")
    np.multiply(rows[:, :500], np.float32(2), out=probes[:, :500])
    np.negative(rows[:, 501], out=probes[:, 500])
    np.negative(rows[:, 500], out=probes[:, 501])
    return probes


def require_rows(rows: Floats) -> None:
    """Raises TemplateError if one of them is the row of no template."""
    for start in range(0, len(rows), _BLOCK):
        block = rows[start : start + _BLOCK].astype(np.float64)
        with np.errstate(invalid="ignore", over="ignore"):
            lengths = np.sqrt((block[:, :500] ** 2).sum(axis=1))
            good = np.isfinite(block).all(axis=1) & (np.abs(1 / lengths - 1) <= 1.01 * _TOLERANCE)
            good &= (block[:, 500] > 0.99e-6) & (block[:, 500] < 1.01e6) & (block[:, 501] >= 0)
        if not good.all():
            raise TemplateError(f"row {start + int(np.argmin(good))} is not that of a template")


class ScoreBound:
    """How far the inner product of a probe and a row, plus 1, can be from the score that the library computes.

    Both are sums of 502 terms, rounded at each step, the one in the order of a BLAS and the other in the library's.
    Each differs from the exact score by no more than gamma times the sum A of the absolute values of the terms, with
    gamma = k u / (1 - k u), u = 2^-24, and k the roundings on the way of a term: two in row and probe, one of the
    product, 501 of the sum, and fewer than 512 in the library, whose final addition of 1 the term A + 1 includes.
    A is at most 2 |p/n| |p'/n'| + q/n 1/n' + 1/n q'/n', where the first two lengths are 1 within a thousandth.
    """

    def __init__(self) -> None:
        self._largest = np.zeros(2)

    def include(self, rows: Floats) -> None:
        """Makes the bound hold for these rows, too."""
        if len(rows):
            self._largest = np.maximum(self._largest, rows[:, 500:].max(axis=0).astype(np.float64))

    def of(self, probe: Floats) -> float:
        """The bound for one probe, (502,), and all rows that were included."""
        steps = 512 * 2.0**-24
        last = np.abs(probe[500:].astype(np.float64)) @ self._largest
        terms = 1.0001 * (2 * (1 + 2 * _TOLERANCE) ** 2 + float(last))
        return 2 * steps / (1 - steps) * (terms + 1)
