"""Counts the instructions of one extraction, stage by stage, and compares them with stored figures.

    instructions.py PROGRAM            fails if a stage needs 3 per cent more or less than stored
    instructions.py PROGRAM --store    writes the figures to bench/instructions.json

Callgrind counts what the processor would execute, so a busy machine does not matter. The products are
counted and shown, but not compared: OpenBLAS picks its kernels by the processor.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

STORED = pathlib.Path(__file__).with_name("instructions.json")
STAGES = {"patches": "countPatches", "networks": "countNetworks", "projection": "countProjection"}
PRODUCT = "multiply(float"
TOLERANCE = 0.03


def count(program, function):
    """Instructions of that function with its callees, and those of the products among them."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "profile"
        subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no",
             f"--toggle-collect={function}*", f"--callgrind-out-file={out}", program],
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "OMP_NUM_THREADS": "1", "OPENBLAS_CORETYPE": "Haswell"})
        listing = subprocess.run(
            ["callgrind_annotate", "--inclusive=yes", "--threshold=100", out], check=True,
            capture_output=True, text=True).stdout
    total = products = 0
    for line in listing.splitlines():
        figure = line.strip().split(" ", maxsplit=1)[0].replace(",", "")
        if not figure.isdigit():
            continue
        if "PROGRAM TOTALS" in line:
            total = int(figure)
        elif PRODUCT in line:
            products = max(products, int(figure))
    return total, products


def main():
    if len(sys.argv) not in (2, 3) or (len(sys.argv) == 3 and sys.argv[2] != "--store"):
        sys.exit(__doc__)
    figures = {}
    for stage, function in STAGES.items():
        total, products = count(sys.argv[1], function)
        figures[stage] = total - products
        if products:
            print(f"{stage + ', products alone':28} {products:13,}")
    if len(sys.argv) == 3:
        STORED.write_text(json.dumps(figures, indent=2) + "\n")
    stored = json.loads(STORED.read_text())
    changed = 0
    for stage, figure in figures.items():
        change = figure / stored[stage] - 1
        has_changed = abs(change) > TOLERANCE
        changed += has_changed
        print(f"{stage:28} {figure:13,} {100 * change:+7.2f} % {'CHANGED' if has_changed else 'as stored'}")
    if changed:
        sys.exit(f"{changed} stage(s) changed by more than {100 * TOLERANCE:.0f} %. If that is "
                 "intended: bench/instructions.py PROGRAM --store")


if __name__ == "__main__":
    main()
