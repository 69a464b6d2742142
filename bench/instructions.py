"""Counts the instructions of one extraction, stage by stage, and compares them with stored figures.

    instructions.py PROGRAM            fails where a stage needs 3 per cent more or less than stored
    instructions.py PROGRAM --store    writes the figures to bench/instructions.json

Callgrind counts what the processor would execute, so that a busy machine changes nothing. The products
are OpenBLAS's, which picks its kernels by the processor: they are counted and shown, not compared.
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
    """Instructions below that function, and those of the products in it."""
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
    moved = 0
    for stage, figure in figures.items():
        change = figure / stored[stage] - 1
        is_moved = abs(change) > TOLERANCE
        moved += is_moved
        print(f"{stage:28} {figure:13,} {100 * change:+7.2f} % {'MOVED' if is_moved else 'as stored'}")
    if moved:
        sys.exit(f"{moved} stage(s) moved by more than {100 * TOLERANCE:.0f} %. Faster or slower on "
                 "purpose: bench/instructions.py PROGRAM --store")


if __name__ == "__main__":
    main()
