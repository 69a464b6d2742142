"""Plots where the time of one extraction goes: stacked bars by stage, one thread.

    plot.py RESULTS.json PICTURE.png [PEERS.json]
"""

import sys

import matplotlib

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402  (the backend must be set first)

from report import Results, load  # noqa: E402

STAGES = ("patches", "networks", "projection")
COLOURS = ("#4477aa", "#ee8866", "#bbbbbb")


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    results = Results(sys.argv[1])

    def bar(*names):
        return [1e3 * results.time(name) for name in names]

    bars = {}
    for kernels in results.sets:
        bars[f"floor, {kernels}"] = [0.0, 1e3 * results.floor(kernels),
                                     1e3 * results.time(f"floor/tables/{kernels}/1")]
        bars[f"ours, {kernels}"] = bar("stage/patches/ours", f"stage/networks/{kernels}",
                                       f"stage/projection/{kernels}/1")
    if len(sys.argv) == 4:
        (table, *_) = load(sys.argv[3])["tables"].values()
        peer = {row["stage"]: row["peer"] for row in table if row["threads"] == 1}
        bars["peer path"] = [peer[stage] for stage in STAGES]
    if "stage/networks/SSE2" in results.clock:
        bars["ours, SSE2 (layers)"] = bar("stage/patches/ours", "stage/networks/SSE2",
                                          "stage/projection/SSE2/1")
    bars["straightforward"] = bar("stage/patches/reference", "stage/networks/straightforward",
                                  "stage/projection/reference")

    figure, axes = pyplot.subplots(figsize=(8, 0.8 + 0.5 * len(bars)), layout="constrained")
    names = list(bars)[::-1]
    left = [0.0] * len(names)
    for stage, (label, colour) in enumerate(zip(STAGES, COLOURS)):
        widths = [bars[name][stage] for name in names]
        axes.barh(names, widths, left=left, color=colour, label=label)
        left = [a + b for a, b in zip(left, widths)]
    for name, total in zip(names, left):
        axes.text(total, name, f" {total:.1f} ms", va="center")
    axes.set_xlabel("milliseconds for one face in a photo of 1 megapixel, one thread")
    axes.set_xlim(right=1.12 * max(left))
    axes.spines[["top", "right"]].set_visible(False)
    axes.legend(frameon=False, loc="upper right")
    figure.savefig(sys.argv[2], dpi=120)


if __name__ == "__main__":
    main()
