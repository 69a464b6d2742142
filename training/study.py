#!/usr/bin/python3
"""Studies a trained model: how each network performs alone, what the joint fit adds, and what each
condition costs.

    study.py WORKDIR MODELDIR OUTDIR --held-out MANIFEST --condition "yaw 30" MANIFEST ... \\
        --other-seed WORKDIR ...

OUTDIR then holds study.json, study.md with the same figures as tables, and the plots. All error
rates are equal error rates over all pairs of photographs of people who were not used in training. Scores
are computed from the library's own features by the formulas of the tables; `evaluate` does it
through the exported functions.

Needs Debian's python3-torch, python3-numpy and python3-matplotlib, and the built tools.
"""

import argparse
import json
import os
import sys
import tempfile
from pathlib import Path

os.environ.setdefault("OMP_NUM_THREADS", "1")

import numpy as np
import torch

from evaluation.cosines import cosines
from evaluation.pairs import from_matrix, person_indices
from evaluation.plots import plot_bars, plot_line
from evaluation.rates import curve_of
from trainer.description import NETWORKS
from trainer.joint import fit_set, load_results
from trainer.manifest import read_manifest, write_manifest
from trainer.model_folder import write_network
from trainer.patch_store import open_store, split_people
from trainer.problems import TrainingProblem
from trainer.tables import fit_tables, scores
from trainer.tools import default_tools, placed_model, run_tool
from trainer.whole_file import whole_file
from trainer.workplace import result_path

FEATURES = 320  # of one network: two crops of 160
COMPONENTS = (25, 50, 100, 150, 200, 300, 400, 499)
TOGETHER = (1, 2, 4, 8, 16, 25)


class Faces:
    """Features of the photographs of a manifest, and who is in them."""

    def __init__(self, manifest: Path, options: argparse.Namespace, model: Path | None = None):
        with placed_model(model or options.model) as home:
            listed = self._first_people(manifest, options.people, home)
            run_tool(options.tools, "zomu-patches", "features", listed, home / "out",
                     jobs=options.jobs, temporary=home)
            used = read_manifest(home / "out" / "faces.csv")
            self.person = person_indices([person for person, _, _ in used])
            self.features = np.load(home / "out" / "features.npy")

    @staticmethod
    def _first_people(manifest: Path, limit: int, home: Path) -> Path:
        rows = read_manifest(manifest)
        chosen = set(list(dict.fromkeys(person for person, _, _ in rows))[:limit])
        path = home / "manifest.csv"
        write_manifest(path, [row for row in rows if row[0] in chosen])
        return path

    def error(self, matrix: np.ndarray) -> float:
        """The equal error rate in per cent."""
        return 100 * curve_of(from_matrix(matrix, self.person)).equal_error()


def columns_of(networks: list[int]) -> np.ndarray:
    return np.concatenate([np.arange(FEATURES * (n - 1), FEATURES * n) for n in networks])


def alone(faces: Faces, mean: np.ndarray, number: int) -> float:
    part = columns_of([number])
    return faces.error(cosines(faces.features[:, part], mean[part]))


def by_seed(work: Path, mean: np.ndarray, options: argparse.Namespace) -> dict:
    """The networks in `work`, trained from another seed, each alone in place of the model's own."""
    seed = json.loads((work / "settings.json").read_text(encoding="utf-8"))["seed"]
    numbers = [n for n in range(1, NETWORKS + 1) if result_path(work, n).exists()]
    with tempfile.TemporaryDirectory() as temporary:
        model = Path(temporary)
        for file in options.model.iterdir():
            (model / file.name).symlink_to(file.resolve())
        for number in numbers:
            result = torch.load(result_path(work, number))
            files = {name: values.numpy() for name, values in result["files"].items()}
            for name in (*files, f"0-{number}-0"):
                (model / name).unlink()
            write_network(model, number, files, result["mean"].numpy())
        faces = Faces(options.held_out, options, model)
    return {"seed": seed, "alone": {number: alone(faces, mean, number) for number in numbers}}


def together(faces: Faces, fit: np.ndarray, labels: np.ndarray, components: int) -> dict[str, list]:
    mean = fit.mean(axis=0)
    result = {"networks": list(TOGETHER), "cosine": [], "fitted": []}
    for count in TOGETHER:
        part = columns_of(list(range(1, count + 1)))
        tables = fit_tables(fit[:, part], labels, components)
        features = faces.features[:, part]
        result["cosine"].append(faces.error(cosines(features, mean[part])))
        result["fitted"].append(faces.error(scores(tables, features, features)))
    return result


def by_components(faces: Faces, fit: np.ndarray, labels: np.ndarray) -> dict[str, list]:
    result = {"components": [], "directions": [], "error": []}
    for components in COMPONENTS:
        tables = fit_tables(fit, labels, components)
        result["components"].append(tables.components)
        result["directions"].append(len(tables.values))
        result["error"].append(faces.error(scores(tables, faces.features, faces.features)))
    return result


def training_seconds(work: Path) -> dict[str, float]:
    seconds = {}
    for line in (work / "log.jsonl").read_text(encoding="utf-8").splitlines():
        entry = json.loads(line)
        if "processor seconds" in entry:
            number = str(entry["network"])
            seconds[number] = seconds.get(number, 0.0) + entry["processor seconds"]
    return seconds


def table(heads: tuple[str, ...], rows) -> str:
    lines = ["| " + " | ".join(heads) + " |", "|" + "---:|" * len(heads)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def seed_rows(study: dict) -> list[tuple]:
    others = [other["alone"] for other in study["other seeds"]]
    numbers = sorted(set.intersection(*map(set, others))) if others else []
    return [(n, f"{study['alone'][n - 1]:.2f}", *(f"{alone[n]:.2f}" for alone in others))
            for n in numbers]


def write_texts(folder: Path, study: dict) -> None:
    with whole_file(folder / "study.json") as file:
        file.write((json.dumps(study, indent=2) + "\n").encode())

    def percent(rate):
        return f"{rate:.2f}"

    parts = [
        table(("Network", "alone, %"), [(n, percent(rate)) for n, rate in
                                         enumerate(study["alone"], 1)]),
        table(("Networks", "cosine, %", "fitted, %"),
              zip(study["together"]["networks"], map(percent, study["together"]["cosine"]),
                  map(percent, study["together"]["fitted"]))),
        table(("Components", "directions", "error, %"),
              zip(study["components"]["components"], study["components"]["directions"],
                  map(percent, study["components"]["error"]))),
        table(("Condition", "error, %"),
              [(name, percent(rate)) for name, rate in study["conditions"].items()]),
        table(("Network", f"seed {study['settings']['seed']}, %",
               *(f"seed {other['seed']}, %" for other in study["other seeds"])), seed_rows(study)),
        f"Processor time of the networks: {sum(study['seconds'].values()) / 60:.0f} minutes.\n",
    ]
    with whole_file(folder / "study.md") as file:
        file.write("\n".join(parts).encode())


def write_plots(folder: Path, study: dict) -> None:
    error = "equal error rate, %"
    plot_bars([str(n) for n in range(1, NETWORKS + 1)], study["alone"], ("network", error),
              "Each network alone", folder / "networks.png")
    plot_line(study["together"]["networks"],
              {name: study["together"][name] for name in ("cosine", "fitted")},
              ("networks", error), "Networks together", folder / "together.png", log_y=True)
    plot_line(study["components"]["components"], {"fitted": study["components"]["error"]},
              ("principal components", error), "Components behind the tables",
              folder / "components.png")
    if study["conditions"]:
        plot_bars(list(study["conditions"]), list(study["conditions"].values()), ("", error),
                  "Conditions", folder / "conditions.png")


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="study.py", description=__doc__.split("\n\n")[0])
    parser.add_argument("work", type=Path, metavar="WORKDIR", help="that of train.py")
    parser.add_argument("model", type=Path, metavar="MODELDIR")
    parser.add_argument("folder", type=Path, metavar="OUTDIR")
    parser.add_argument("--held-out", type=Path, required=True, metavar="MANIFEST")
    parser.add_argument("--condition", nargs=2, action="append", default=[],
                        metavar=("NAME", "MANIFEST"))
    parser.add_argument("--other-seed", type=Path, action="append", default=[], metavar="WORKDIR",
                        help="that of networks trained with another --seed")
    parser.add_argument("--people", type=int, default=300, help="how many of each manifest, from the first on")
    parser.add_argument("--components", type=int, default=200)
    parser.add_argument("--jobs", type=int, default=1, help="threads")
    parser.add_argument("--tools", type=Path, default=default_tools())
    return parser.parse_args()


def main() -> int:
    options = arguments()
    settings = json.loads((options.work / "settings.json").read_text(encoding="utf-8"))
    split = split_people(open_store(options.work / "patches"), settings["fit share"],
                         settings["seed"])
    fit, labels = fit_set(load_results(options.work), split.fit_labels)
    mean = fit.mean(axis=0)
    held_out = Faces(options.held_out, options)
    tables = fit_tables(fit, labels, options.components, settings["seed"])
    conditions = {"held out": held_out.error(scores(tables, held_out.features, held_out.features))}
    for name, manifest in options.condition:
        faces = Faces(Path(manifest), options)
        conditions[name] = faces.error(scores(tables, faces.features, faces.features))
    study = {"settings": settings, "people": int(held_out.person.max()) + 1,
             "alone": [alone(held_out, mean, number) for number in range(1, NETWORKS + 1)],
             "other seeds": [by_seed(work, mean, options) for work in options.other_seed],
             "together": together(held_out, fit, labels, options.components),
             "components": by_components(held_out, fit, labels),
             "conditions": conditions, "seconds": training_seconds(options.work)}
    options.folder.mkdir(parents=True, exist_ok=True)
    write_texts(options.folder, study)
    write_plots(options.folder, study)
    print((options.folder / "study.md").read_text(encoding="utf-8"), end="")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except TrainingProblem as problem:
        print(f"study.py: {problem}", file=sys.stderr)
        sys.exit(1)
