"""Counts the instructions of one extraction, stage by stage, and compares them with stored figures.

    instructions.py PROGRAM            fails if a stage needs 3 per cent more or less than stored
    instructions.py PROGRAM --store    writes the figures to bench/instructions.json

Callgrind counts what the processor would execute, so a busy machine does not matter. It does not know
AVX-512, so two other paths are counted, each asked for by its name: the direct kernels with AVX2, which come
from the same source, and the layers, which run with SSE2. The products of the layers are counted and
shown, but not compared: OpenBLAS picks its kernels by the processor.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

STORED = pathlib.Path(__file__).with_name("instructions.json")
PATHS = ("AVX2", "SSE2")
STAGES = {"patches": "countPatches", "networks": "countNetworks", "projection": "countProjection"}
PRODUCT = "multiply(float"
TOLERANCE = 0.03


def count(program, kernels):
    """Instructions of each stage with its callees, and those of the products in the networks."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "profile"
        subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no",
             *(f"--toggle-collect={function}*" for function in STAGES.values()),
             f"--callgrind-out-file={out}", program, kernels],
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "OMP_NUM_THREADS": "1", "OPENBLAS_CORETYPE": "Haswell"})
        listing = subprocess.run(
            ["callgrind_annotate", "--inclusive=yes", "--threshold=100", out], check=True,
            capture_output=True, text=True).stdout
    counts = dict.fromkeys(STAGES, 0)
    products = 0
    for line in listing.splitlines():
        figure = line.strip().split(" ", maxsplit=1)[0].replace(",", "")
        if not figure.isdigit():
            continue
        for stage, function in STAGES.items():
            if function + "(" in line:
                counts[stage] = max(counts[stage], int(figure))
        if PRODUCT in line:
            products = max(products, int(figure))
    return counts, products


def main():
    if len(sys.argv) not in (2, 3) or (len(sys.argv) == 3 and sys.argv[2] != "--store"):
        sys.exit(__doc__)
    figures = {}
    for kernels in PATHS:
        counts, products = count(sys.argv[1], kernels)
        figures[kernels] = {**counts, "networks": counts["networks"] - products}
        if products:
            print(f"{kernels} {'networks, products alone':28} {products:13,}")
    if len(sys.argv) == 3:
        STORED.write_text(json.dumps(figures, indent=2) + "\n")
    stored = json.loads(STORED.read_text())
    changed = 0
    for kernels, stages in figures.items():
        for stage, figure in stages.items():
            change = figure / stored[kernels][stage] - 1
            has_changed = figure == 0 or abs(change) > TOLERANCE
            changed += has_changed
            print(f"{kernels} {stage:28} {figure:13,} {100 * change:+7.2f} % "
                  f"{'CHANGED' if has_changed else 'as stored'}")
    if changed:
        sys.exit(f"{changed} stage(s) changed by more than {100 * TOLERANCE:.0f} %. If that is "
                 "intended: bench/instructions.py PROGRAM --store")


if __name__ == "__main__":
    main()
