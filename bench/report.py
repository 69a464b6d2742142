"""Turns the results of one run of zomu_bench into the table of performance targets.

Times are medians over the repetitions; every ratio is taken within the run. The last line says how
many targets were missed; that is not a failure, since a busy machine misses some.
"""

import argparse
import json
import pathlib
import sys


def load(path):
    return json.loads(pathlib.Path(path).read_text())


def medians(results):
    """Seconds, and the counters, by the name of the benchmark."""
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    times, counters = {}, {}
    for entry in results["benchmarks"]:
        if entry.get("error_occurred"):
            sys.exit(f"{entry['name']}: {entry['error_message']}")
        if entry.get("aggregate_name", "median") != "median":
            continue
        name = entry["run_name"].removesuffix("/real_time").removesuffix("/iterations:1")
        times[name] = entry["real_time"] * units[entry["time_unit"]]
        counters[name] = entry
    return times, counters


def rows(times, counters):
    """(what, figure, target, whether it is met)"""

    def ratio(above, below):
        return times[above] / times[below]

    def at_least(what, value, bound):
        return what, f"{value:.2f} times", f"at least {bound}", value >= bound

    def at_most(what, value, bound):
        return what, f"{value:.2f} times", f"at most {bound}", value <= bound

    outside = 1 - ratio("stage/networks/products", "stage/networks/ours")
    size = ratio("whole/48MP/ours/1", "whole/0.3MP/ours/1")
    few = counters["heap/1000"]["fewestRequests"]
    most = counters["heap/1000"]["mostRequests"]
    return [
        at_least("patch stage of a 1-megapixel photo, faster than the reference",
                 ratio("stage/patches/reference", "stage/patches/ours"), 10),
        ("extraction of the same face from 48 megapixels, against 0.3",
         f"{100 * (size - 1):+.0f} %", "within 15 %", abs(size - 1) <= 0.15),
        at_most("projection, against a plain read of both tables",
                ratio("stage/projection/ours", "stage/projection/read"), 2),
        ("networks on one thread: time outside the products",
         f"{100 * outside:.0f} %", "at most 18 %", outside <= 0.18),
        at_least("extraction on one thread, faster than the straightforward pipeline",
                 ratio("whole/1MP/straightforward", "whole/1MP/ours/1"), 3),
        at_least("extraction on 2 threads, faster than on 1",
                 ratio("whole/1MP/ours/1", "whole/1MP/ours/2"), 1.7),
        at_most("comparison, against 500 additions that wait for each other",
                ratio("compare/ours", "compare/additions"), 1.3),
        at_most("create, against a plain read of its 275 files",
                ratio("create/ours", "create/read"), 1.5),
        ("heap requests of an extraction, over 1,000 of them",
         f"{few:.0f} to {most:.0f}", "no growth", few == most),
    ]


def peer_rows(peers):
    for row in peers["table"]:
        if row["stage"] == "whole":
            yield (f"photo to template, against the peer path, {row['threads']} thread(s)",
                   f"{row['ratio']:.2f} times", "aim: at most 1", row["ratio"] <= 1)


def print_products(times, other_times):
    """The stages that contain the matrix products, with each library for them."""
    print("\n| With the products of | OpenBLAS, ms | oneDNN, ms |\n|---|---:|---:|")
    for name in ("stage/networks/products", "stage/networks/ours",
                 "whole/1MP/ours/1", "whole/1MP/ours/2"):
        print(f"| `{name}` | {1e3 * times[name]:.2f} | {1e3 * other_times[name]:.2f} |")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results", help="JSON of zomu_bench")
    parser.add_argument("--peers", help="JSON of scripts/check.sh bench peers")
    parser.add_argument("--onednn", help="JSON of zomu_bench configured with ZOMU_SGEMM=onednn")
    arguments = parser.parse_args()
    results = load(arguments.results)
    times, counters = medians(results)
    table = rows(times, counters)
    if arguments.peers:
        table += peer_rows(load(arguments.peers))

    print("| Stage | ms |\n|---|---:|")
    for name in sorted(name for name in times if name.startswith(("stage/", "whole/", "create/"))):
        print(f"| `{name}` | {1e3 * times[name]:.2f} |")
    print("\n| Step | us |\n|---|---:|")
    for name in sorted(name for name in times if name.startswith(("kernel/", "layer/", "compare/"))):
        print(f"| `{name}` | {1e6 * times[name]:.2f} |")
    if arguments.onednn:
        print_products(times, medians(load(arguments.onednn))[0])
    print("\n| Promise | Figure | Target | |\n|---|---:|---|---|")
    for what, figure, target, is_met in table:
        print(f"| {what} | {figure} | {target} | {'met' if is_met else 'missed'} |")
    whole = counters["whole/1MP/ours/1"]
    print(f"\nOne extraction makes {whole['heapRequests']:.0f} heap requests for "
          f"{whole['heapBytes'] / 1e6:.1f} MB in total.")
    context = results["context"]
    for key in ("compiler", "blas", "blas_kernels", "num_cpus", "mhz_per_cpu"):
        print(f"{key}: {context[key]}")
    print(f"{sum(not is_met for *_, is_met in table)} of {len(table)} targets missed")


if __name__ == "__main__":
    main()
