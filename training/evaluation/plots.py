"""Curves and histograms as PNG files."""

from pathlib import Path
from statistics import NormalDist

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
from matplotlib.ticker import LogLocator, NullLocator

from evaluation.rates import Curve
from trainer.whole_file import whole_file

SIZE = (6.4, 4.4)
RATES = (1e-5, 1e-4, 1e-3, 1e-2, 0.05, 0.2, 0.5)


def _save(figure, path: Path) -> None:
    figure.tight_layout()
    with whole_file(path) as file:
        figure.savefig(file, dpi=110, format="png", metadata={"Software": None})
    plt.close(figure)


def _percent(rate: float) -> str:
    return f"{100 * rate:g} %"


def plot_roc(curves: dict[str, Curve], path: Path) -> None:
    figure, axes = plt.subplots(figsize=SIZE)
    for name, curve in curves.items():
        shown = curve.false_match > 0
        axes.semilogx(curve.false_match[shown], 1 - curve.false_non_match[shown], label=name)
    axes.set_xlabel("false matches, share of different pairs")
    axes.set_ylabel("matches, share of same pairs")
    axes.set_title("ROC over all pairs")
    axes.grid(alpha=0.3)
    axes.legend()
    _save(figure, path)


def plot_det(curves: dict[str, Curve], path: Path) -> None:
    """Both axes are normal deviates: normally distributed scores give a straight line."""
    figure, axes = plt.subplots(figsize=SIZE)
    deviate = np.vectorize(NormalDist().inv_cdf, otypes=[float])  # also of empty arrays
    for name, curve in curves.items():
        shown = (curve.false_match > 0) & (curve.false_match < 1) & (curve.false_non_match > 0) & (
            curve.false_non_match < 1)
        axes.plot(deviate(curve.false_match[shown]), deviate(curve.false_non_match[shown]),
                  label=name)
    places = deviate(np.array(RATES))
    for axis in (axes.xaxis, axes.yaxis):
        axis.set_ticks(places, [_percent(rate) for rate in RATES])
    axes.set_xlim(places[0], places[-1])
    axes.set_ylim(places[0], places[-1])
    axes.plot(places, places, color="grey", linewidth=0.7, linestyle=":")
    axes.set_xlabel("false matches")
    axes.set_ylabel("false non-matches")
    axes.set_title("DET over all pairs")
    axes.grid(alpha=0.3)
    axes.legend()
    _save(figure, path)


def plot_histogram(same: np.ndarray, different: np.ndarray, path: Path) -> None:
    figure, axes = plt.subplots(figsize=SIZE)
    bins = np.linspace(min(same.min(), different.min()), max(same.max(), different.max()), 120)
    for scores, name in ((different, "different people"), (same, "the same person")):
        axes.hist(scores, bins, density=True, alpha=0.6, label=name)
    axes.set_xlabel("score")
    axes.set_ylabel("density")
    axes.set_title("Scores of all pairs")
    axes.legend()
    _save(figure, path)


def plot_line(x, series: dict[str, list[float]], labels: tuple[str, str], title: str, path: Path,
              log_y: bool = False) -> None:
    figure, axes = plt.subplots(figsize=SIZE)
    for name, values in series.items():
        axes.plot(x, values, marker="o", label=name)
    if log_y:
        axes.set_yscale("log")
        axes.yaxis.set_major_locator(LogLocator(subs=(1, 2, 5)))
        axes.yaxis.set_major_formatter("{x:g}")
        axes.yaxis.set_minor_locator(NullLocator())
    axes.set_xlabel(labels[0])
    axes.set_ylabel(labels[1])
    axes.set_title(title)
    axes.grid(alpha=0.3)
    if len(series) > 1:
        axes.legend()
    _save(figure, path)


def plot_bars(names: list[str], values: list[float], labels: tuple[str, str], title: str,
              path: Path) -> None:
    figure, axes = plt.subplots(figsize=SIZE)
    axes.bar(names, values)
    axes.set_xlabel(labels[0])
    axes.set_ylabel(labels[1])
    axes.set_title(title)
    axes.tick_params(axis="x", labelsize=7)
    _save(figure, path)
