"""Puts the times of dump_stages, run_networks.py and peer_path.py side by side.

    peer_report.py PEERS.json ROUND_FOLDER...

Each folder holds the files of one round for 1 and for 2 threads. A time is the median over the rounds of the
medians within a round. Prints a table for each instruction set of ours and writes them to PEERS.json.
"""

import json
import os
import pathlib
import statistics
import sys

THREADS = (1, 2)
STAGES = ("patches", "networks", "projection")


def read_all(folders, pattern):
    """The contents of the files of that name in each round, by name."""
    names = sorted(path.name for path in folders[0].glob(pattern))
    return {name: [json.loads((folder / name).read_text()) for folder in folders] for name in names}


def over_rounds(entries):
    medians = sorted(entry["median"] for entry in entries)
    return {"ms": statistics.median(medians), "fastestRound": medians[0], "slowestRound": medians[-1]}


def peer_times(folders):
    """Every way of every stage, and how far each is from our numbers."""
    times, differences, versions = [], [], {}

    def add(stage, threads, way, rounds):
        times.append({"stage": stage, "threads": threads, "way": way, **over_rounds(rounds)})
        found = {key: max(entry[key] for entry in rounds)
                 for key in ("absolute", "relative", "mean", "largest") if key in rounds[0]}
        differences.append({"stage": stage, "threads": threads, "way": way, **found})

    for threads in THREADS:
        (networks,) = read_all(folders, f"networks-{threads}.json").values()
        versions["ONNX Runtime"] = networks[0]["runtime"]
        for way in networks[0]["ways"]:
            add("networks", threads, way, [entry["ways"][way] for entry in networks])
        for paths in read_all(folders, f"path-{threads}-*.json").values():
            opencv, numpy = (f"{name} {paths[0][name.lower()]}" for name in ("OpenCV", "NumPy"))
            versions[opencv] = versions[numpy] = paths[0]["blas"]
            for way in paths[0]["patches"]:
                add("patches", threads, f"{way}, {opencv}", [entry["patches"][way] for entry in paths])
            add("projection", threads, numpy, [entry["projection"] for entry in paths])
    return times, differences, versions


def compare(ours, peer):
    """A row for each stage and number of threads. The peer's is its fastest way that does not use more
    threads: with two, one may stay idle."""
    table = []
    for threads in THREADS:
        rows = []
        for stage in STAGES:
            best = min((entry for entry in peer if entry["stage"] == stage and entry["threads"] <= threads),
                       key=lambda entry: entry["ms"])
            rows.append({"stage": stage, "threads": threads, "ours": ours[stage, threads]["ms"],
                         "peer": best["ms"], "peerWay": f"{best['way']}, {best['threads']} thread(s)"})
        peer_sum = sum(row["peer"] for row in rows)
        rows.append({"stage": "sum", "threads": threads, "ours": sum(row["ours"] for row in rows),
                     "peer": peer_sum, "peerWay": "sum of the three"})
        rows.append({"stage": "whole", "threads": threads, "ours": ours["whole", threads]["ms"],
                     "peer": peer_sum, "peerWay": "sum of the three"})
        table += rows
    return [{**row, "ratio": row["ours"] / row["peer"]} for row in table]


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        return next((line.split(":")[1].strip() for line in info if line.startswith("model name")), "unknown")


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    folders = [pathlib.Path(folder) for folder in sys.argv[2:]]
    peer, differences, versions = peer_times(folders)
    rounds = {threads: read_all(folders, f"ours-{threads}.json")[f"ours-{threads}.json"] for threads in THREADS}
    machine = {"processor": processor(), "processors": os.cpu_count(), "load average": os.getloadavg()[0],
               "compiler": rounds[1][0]["compiler"], **versions}
    tables = {}
    for kernels in rounds[1][0]["kernels"]:
        ours = {(stage, threads): over_rounds([entry["kernels"][kernels][stage] for entry in rounds[threads]])
                for stage in (*STAGES, "whole") for threads in THREADS}
        tables[kernels] = compare(ours, peer)
    pathlib.Path(sys.argv[1]).write_text(json.dumps(
        {"machine": machine, "rounds": len(folders), "tables": tables, "peer": peer, "differences": differences},
        indent=2) + "\n")

    for kernels, table in tables.items():
        print(f"\n{kernels:<12} threads   ours ms   peer ms     ratio   the peer")
        for row in table:
            print(f"{row['stage']:<12} {row['threads']:7}  {row['ours']:8.2f}  {row['peer']:8.2f}  "
                  f"{row['ratio']:8.2f}   {row['peerWay']}")
    print("""
ours      one process; stages timed one by one, whole is a complete extraction
peer      patches: OpenCV, given our transforms; networks: ONNX Runtime; projection: NumPy. Each
          stage in a process of its own, its fastest way with at most that many threads; whole is
          the sum, as if passing data on cost nothing
ratio     ours / peer: below 1, ours is faster""")
    print("\nEvery way of the peer, ms (fastest to slowest round), and its largest difference from ours:")
    for entry, found in zip(peer, differences):
        how_far = (f"{found['relative']:.1e} of the largest value" if "relative" in found
                   else f"{found['largest']:.0f} grey levels, {found['mean']:.2f} on average")
        print(f"  {entry['stage']:<12} {entry['way']:<24} {entry['threads']} thread(s)  {entry['ms']:8.2f}   "
              f"({entry['fastestRound']:.2f} to {entry['slowestRound']:.2f})   {how_far}")
    print()
    for key, value in machine.items():
        print(f"{key}: {value}")


if __name__ == "__main__":
    main()
