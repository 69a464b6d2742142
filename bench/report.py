"""Turns the results of one run of zomu_bench into the tables of docs/performance.md.

Figures are medians over the repetitions, and every ratio is taken within the run. What runs on one thread is
measured in processor time, which other programs hardly disturb; what runs on two by the clock. The last line
says how many targets were missed; that is not a failure, since a busy machine misses some.

With --document, the tables also replace those of that file: what stands between the lines
<!-- figures: NAME --> and <!-- end of figures -->.
"""

import argparse
import json
import pathlib
import re
import sys
import textwrap

UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
BATCH = 16


def load(path):
    return json.loads(pathlib.Path(path).read_text())


class Results:
    """Seconds by the name of the benchmark: of the processor, and by the clock; and the counters."""

    def __init__(self, path):
        results = load(path)
        self.context = results["context"]
        self.processor, self.clock, self.counters = {}, {}, {}
        for entry in results["benchmarks"]:
            if entry.get("error_occurred"):
                sys.exit(f"{entry['name']}: {entry['error_message']}")
            if entry.get("aggregate_name", "median") != "median":
                continue
            name = entry["run_name"].removesuffix("/real_time").removesuffix("/iterations:1")
            unit = UNITS[entry["time_unit"]]
            self.processor[name] = unit * entry["cpu_time"]
            self.clock[name] = unit * entry["real_time"]
            self.counters[name] = entry
        # Instruction sets with networks of their own, the fastest first: results come in any order.
        sums = sorted((name for name in self.clock if name.startswith("floor/sums/")), key=self.time)
        self.sets = [name.split("/")[2] for name in sums]

    def time(self, name):
        return (self.clock if name.endswith("/2") else self.processor)[name]

    def ratio(self, above, below):
        return self.time(above) / self.time(below)

    def floor(self, kernels):
        return self.time(f"floor/sums/{kernels}") + self.time(f"floor/weights/{kernels}")

    def crowding(self):
        """By how much other programs delayed what runs on one thread: 1 on a quiet machine."""
        ratios = sorted(self.clock[name] / self.processor[name] for name in self.clock
                        if not name.endswith("/2") and self.processor[name] > 1e-5)
        return ratios[len(ratios) // 2]


def peer_ratio(peers, kernels, stage, threads):
    for row in peers["tables"].get(kernels, []):
        if row["stage"] == stage and row["threads"] == threads:
            return row["ratio"]
    return None


# The second bound is that of AVX2, the first that of every other set.
def targets_by_set(results, peers):
    """(what, whether more is better, bounds, figure by instruction set)"""
    sets = results.sets

    def each(figure):
        return {kernels: figure(kernels) for kernels in sets}

    def against_peers(stage, threads):
        return each(lambda kernels: peers and peer_ratio(peers, kernels, stage, threads))

    def clock_ratio(kernels):
        return (results.clock[f"whole/1MP/{kernels}/1"] / results.clock[f"whole/1MP/{kernels}/2"])

    return [
        ("whole extraction against the peer path, 1 thread", False, (0.65, 0.85), against_peers("whole", 1)),
        ("whole extraction against the peer path, 2 threads", False, (0.5, 0.65), against_peers("whole", 2)),
        ("networks against ONNX Runtime, 1 thread", False, (0.62, 1.05), against_peers("networks", 1)),
        ("projection against NumPy, 1 thread", False, (0.95, 1.0), against_peers("projection", 1)),
        ("projection against NumPy, 2 threads", False, (0.95, 1.0), against_peers("projection", 2)),
        ("extraction on 2 threads, faster than on 1", True, (1.85, 1.85), each(clock_ratio)),
        ("faces a second in batches of 16, against singly, 1 thread", True, (1.45, 1.3),
         each(lambda kernels: results.ratio(f"batch/singly/{kernels}", f"batch/together/{kernels}"))),
        ("networks against their floor, 1 thread", False, (1.15, 1.3),
         each(lambda kernels: results.time(f"stage/networks/{kernels}") / results.floor(kernels))),
        ("projection against a plain read of its tables, 1 thread", False, (2, 2),
         each(lambda kernels: results.ratio(f"stage/projection/{kernels}/1", f"floor/tables/{kernels}/1"))),
        ("projection against a plain read of its tables, 2 threads", False, (2, 2),
         each(lambda kernels: results.ratio(f"stage/projection/{kernels}/2", f"floor/tables/{kernels}/2"))),
        ("extraction, faster than the straightforward pipeline, 1 thread", True, (3, 3),
         each(lambda kernels: results.ratio("whole/1MP/straightforward", f"whole/1MP/{kernels}/1"))),
    ]


def other_targets(results):
    """(what, figure, target, whether it is met)"""
    best = results.sets[0]
    size = results.ratio(f"whole/48MP/{best}/1", f"whole/0.3MP/{best}/1")
    requests = [results.counters[f"heap/{threads}"] for threads in (1, 2)]
    most = max(entry["mostRequests"] for entry in requests)
    grows = any(entry["mostRequests"] != entry["fewestRequests"] for entry in requests)
    memory = max(results.counters[f"memory/{threads}"]["contextBytes"] for threads in (1, 2)) / 1e6
    tables = results.counters[f"floor/tables/{best}/1"]["bytes"] / 1e6
    patches = results.ratio("stage/patches/reference", "stage/patches/ours")
    comparison = results.ratio("compare/ours", "compare/additions")
    create = results.ratio("create/ours", "create/read")
    return [
        ("create, against a plain read of its 275 files", f"{create:.2f} times", "at most 1.4", create <= 1.4),
        ("heap requests of an extraction after the first", f"{most:.0f}{', growing' if grows else ''}",
         "at most 10", most <= 10 and not grows),
        ("memory of a context after an extraction", f"{memory:.1f} MB", "at most 41 MB", memory <= 41),
        ("memory of the projection tables", f"{tables:.1f} MB", "at most 32 MB", tables <= 32),
        ("patch stage of a 1-megapixel photo, faster than the reference", f"{patches:.1f} times",
         "at least 10", patches >= 10),
        ("extraction of the same face from 48 megapixels, against 0.3", f"{100 * (size - 1):+.0f} %",
         "within 15 %", abs(size - 1) <= 0.15),
        ("comparison, against 500 additions that wait for each other", f"{comparison:.2f} times",
         "at most 1.3", comparison <= 1.3),
    ]


def target_table(results, peers):
    """The lines of the table, and for each target whether it is met."""
    sets = results.sets
    lines = [f"| Target | {' | | '.join(sets)} | |", f"|---|{'---:|---|' * len(sets)}"]
    verdicts = []
    for what, is_more, bounds, figures in targets_by_set(results, peers):
        cells = []
        for kernels in sets:
            figure = figures[kernels]
            bound = bounds[1 if kernels == "AVX2" else 0]
            if figure is None:
                cells.append("not measured | ")
                continue
            is_met = figure >= bound if is_more else figure <= bound
            verdicts.append(is_met)
            cells.append(f"{figure:.2f} | {'at least' if is_more else 'at most'} {bound:g}: "
                         f"{'met' if is_met else 'missed'}")
        lines.append(f"| {what} | {' | '.join(cells)} |")
    lines += ["", "| Target, for all instruction sets | Figure | |", "|---|---:|---|"]
    for what, figure, target, is_met in other_targets(results):
        verdicts.append(is_met)
        lines.append(f"| {what} | {figure} | {target}: {'met' if is_met else 'missed'} |")
    return lines, verdicts


def stage_table(results):
    """Milliseconds of each stage, its floor beside it."""
    sets = results.sets + ["SSE2"] * ("stage/networks/SSE2" in results.clock)
    lines = [f"| Milliseconds | {' | '.join(sets)} |", f"|---|{'---:|' * len(sets)}"]

    def add(what, figure):
        cells = [figure(kernels) for kernels in sets]
        lines.append(f"| {what} | {' | '.join('' if cell is None else f'{1e3 * cell:.2f}' for cell in cells)} |")

    def of_set(name):
        return lambda kernels: results.time(name.format(kernels)) if name.format(kernels) in results.clock else None

    add("patches, 1 thread", lambda _: results.time("stage/patches/ours"))
    add("networks, 1 thread", of_set("stage/networks/{}"))
    add("floor of the networks: their multiplications", of_set("floor/sums/{}"))
    add("floor of the networks: a read of their weights", of_set("floor/weights/{}"))
    for threads, name in ((1, "1 thread"), (2, "2 threads")):
        add(f"projection, {name}", of_set(f"stage/projection/{{}}/{threads}"))
        add(f"floor of the projection: a read of its tables, {name}", of_set(f"floor/tables/{{}}/{threads}"))
        add(f"whole extraction, {name}", of_set(f"whole/1MP/{{}}/{threads}"))
    add("16 faces, one after the other, 1 thread", of_set("batch/singly/{}"))
    add("16 faces in a batch, 1 thread", of_set("batch/together/{}"))
    return lines


def cost_table(results):
    """Processor time of a million faces."""
    lines = ["| A million faces | ms a face | Faces a second and processor | Processor seconds |",
             "|---|---:|---:|---:|"]
    for kernels in results.sets:
        for way, seconds in (
                ("batches of 16", results.time(f"batch/together/{kernels}") / BATCH),
                ("one by one, 1 thread", results.time(f"batch/singly/{kernels}") / BATCH),
                ("one by one, 2 threads, 1 megapixel", 2 * results.time(f"whole/1MP/{kernels}/2"))):
            lines.append(f"| {kernels}, {way} | {1e3 * seconds:.2f} | {1 / seconds:.0f} | {1e6 * seconds:,.0f} |")
    return lines


def peer_table(peers):
    lines = ["| Stage | Threads | Instruction set | Ours, ms | Peer, ms | Ours / peer | The peer |",
             "|---|---:|---|---:|---:|---:|---|"]
    for kernels, table in peers["tables"].items():
        for row in table:
            lines.append(f"| {row['stage']} | {row['threads']} | {kernels} | {row['ours']:.2f} | "
                         f"{row['peer']:.2f} | {row['ratio']:.2f} | {row['peerWay']} |")
    machine = peers["machine"]
    libraries = "; ".join(f"{key} {value}" if key == "ONNX Runtime" else f"{key} with {value}"
                          for key, value in machine.items() if key.startswith(("ONNX", "NumPy")))
    remark = (f"{machine['processor']}; {libraries}. Load average at the end: {machine['load average']:.1f}.")
    return [*lines, "", *textwrap.wrap(remark, 118)]


def run_lines(results):
    context = results.context
    works = results.counters[f"floor/sums/{results.sets[0]}"]["operations"] / 1e6
    weights = results.counters[f"floor/weights/{results.sets[0]}"]["bytes"] / 1e6
    load_average = ", ".join(f"{value:.1f}" for value in context["load_avg"])
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        model = next((line.split(":")[1].strip() for line in info if line.startswith("model name")), "unknown")
    remark = (
        f"A machine with {context['num_cpus']} processors ({model}), compiler {context['compiler']}, OpenBLAS with "
        f"its {context['blas_kernels']} kernels, on {context['date'][:10]}. Load average at the start: "
        f"{load_average}; what ran on one thread took {results.crowding():.2f} times its processor time by the "
        f"clock. The networks of one face need {works:.1f} million operations and read {weights:.1f} MB of weights.")
    return textwrap.wrap(remark, 118)


def replace_figures(path, blocks):
    text = path.read_text(encoding="utf-8")
    for name, lines in blocks.items():
        pattern = re.compile(rf"(<!-- figures: {name} -->\n).*?(<!-- end of figures -->)", re.DOTALL)
        body = "\n".join(lines)
        text, count = pattern.subn(lambda match, body=body: f"{match[1]}\n{body}\n\n{match[2]}", text)
        if count != 1:
            sys.exit(f"{path}: {count} places for the figures: {name}")
    path.write_text(text, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results", help="JSON of zomu_bench")
    parser.add_argument("--peers", help="JSON of scripts/check.sh bench peers")
    parser.add_argument("--document", type=pathlib.Path, help="file whose figures are replaced")
    arguments = parser.parse_args()
    results = Results(arguments.results)
    peers = load(arguments.peers) if arguments.peers else None
    targets, verdicts = target_table(results, peers)
    blocks = {"run": run_lines(results), "targets": targets, "stages": stage_table(results),
              "cost": cost_table(results)}
    if peers:
        blocks["peers"] = peer_table(peers)
    if arguments.document:
        replace_figures(arguments.document, blocks)

    print("| Step | us |\n|---|---:|")
    for name in sorted(name for name in results.clock if name.startswith(("kernel/", "layer/", "compare/"))):
        print(f"| `{name}` | {1e6 * results.time(name):.2f} |")
    for lines in blocks.values():
        print("", *lines, sep="\n")
    print(f"\n{sum(not is_met for is_met in verdicts)} of {len(verdicts)} targets missed")


if __name__ == "__main__":
    main()
