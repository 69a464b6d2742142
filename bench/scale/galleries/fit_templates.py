#!/usr/bin/env python3
"""Writes the statistics from which made_templates.py makes templates: templates.csv beside this file.

    fit_templates.py MANIFEST [OUT.csv]

MANIFEST is that of training/render_people, with the same number of photographs of each person. The model is
that of the temporary directory. Everything is fixed by the photographs and the model.
"""

from __future__ import annotations

import csv
import sys
from pathlib import Path

import numpy as np

import zomu

# Axes with less than this variance belong to no rank of the model's projection.
SMALLEST_VARIANCE = 1e-6


def read_templates(manifest: Path) -> np.ndarray:
    """The templates of all photographs, people x photographs x 502, in double."""
    with open(manifest, newline="") as file:
        lines = list(csv.DictReader(file))
    photographs = ((zomu.read_picture(manifest.parent / line["photo"]), manifest.parent / line["landmarks"])
                   for line in lines)
    with zomu.Context() as context:
        templates = context.extract_many(photographs)
    people = len({line["person"] for line in lines})
    return templates.astype(np.float64).reshape(people, -1, 502)


def statistics(templates: np.ndarray) -> np.ndarray:
    """Mean, variance between people, variance within, and weight in the quadratic term, for each main axis."""
    projections = templates[:, :, :500]
    people, photographs, size = projections.shape
    variances, axes = np.linalg.eigh(np.cov(projections.reshape(-1, size).T))
    axes = axes[:, variances > SMALLEST_VARIANCE][:, ::-1]
    turned = projections @ axes
    means = turned.mean(axis=1)
    within = ((turned - means[:, None]) ** 2).sum(axis=(0, 1)) / (people * (photographs - 1))
    between = means.var(axis=0, ddof=1) - within / photographs
    weights = np.linalg.lstsq((turned**2).reshape(-1, axes.shape[1]), templates[:, :, 500].ravel(), rcond=None)[0]
    smallest = SMALLEST_VARIANCE
    return np.stack([means.mean(axis=0), np.maximum(between, smallest), np.maximum(within, smallest), weights], axis=1)


def main() -> None:
    if not 2 <= len(sys.argv) <= 3:
        sys.exit(__doc__)
    out = Path(sys.argv[2]) if len(sys.argv) == 3 else Path(__file__).with_name("templates.csv")
    table = statistics(read_templates(Path(sys.argv[1])))
    np.savetxt(out, table, fmt="%.5g", delimiter=",", header="mean,between,within,weight", comments="")
    print(f"{out}: {len(table)} axes")


if __name__ == "__main__":
    main()
