#!/usr/bin/python3
"""Trains a model for the library on labelled photographs: networks, mean images and tables.

    train.py MANIFEST MODELDIR --work WORKDIR

MANIFEST has the header `person,photo,landmarks` and a line for each photograph. Intermediate results
are kept in WORKDIR, and the same command resumes an interrupted run. MODELDIR appears at the end,
complete and checked.

Needs Debian's python3-torch, python3-numpy and python3-tqdm, and the built tools.
"""

import argparse
import os
import shutil
import sys
from pathlib import Path

# NumPy's BLAS reads this when it is loaded; networks are trained in parallel instead.
os.environ.setdefault("OMP_NUM_THREADS", "1")

import numpy as np

from trainer.all_networks import train_networks
from trainer.description import NETWORKS
from trainer.joint import fit_set, load_results
from trainer.model_folder import write_network, write_table
from trainer.patch_store import open_store, split_people
from trainer.problems import TrainingProblem
from trainer.recipe import Recipe, with_settings
from trainer.tables import fit_tables
from trainer.tools import add_unchecked, default_tools, run_tool
from trainer.whole_file import put_in_place
from trainer.workplace import Workplace


def arguments() -> argparse.Namespace:
    recipe = Recipe()
    parser = argparse.ArgumentParser(prog="train.py", description=__doc__.splitlines()[0])
    parser.add_argument("manifest", type=Path, metavar="MANIFEST")
    parser.add_argument("model", type=Path, metavar="MODELDIR", help="absent or empty")
    parser.add_argument("--work", type=Path, required=True, metavar="WORKDIR")
    parser.add_argument("--epochs", type=int, default=recipe.epochs)
    parser.add_argument("--batch", type=int, default=recipe.batch)
    parser.add_argument("--rate", type=float, default=recipe.rate, help="highest learning rate")
    parser.add_argument("--margin", type=float, default=recipe.margin)
    parser.add_argument("--scale", type=float, default=recipe.scale)
    parser.add_argument("--set", action="append", default=[], nargs="+", metavar="NAME=VALUE",
                        help="other settings of the recipe")
    parser.add_argument("--seed", type=int, default=recipe.seed)
    parser.add_argument("--fit-share", type=float, default=0.15,
                        help="share of the people set aside for the tables")
    parser.add_argument("--components", type=int, default=200,
                        help="principal components for the tables, at most 499")
    parser.add_argument("--likeness", type=float, default=1.0,
                        help="how many times more alike people are than those of the tables (default 1)")
    parser.add_argument("--jobs", type=int, default=1, help="networks trained at the same time")
    parser.add_argument("--only", type=int, nargs="+", metavar="N", default=None,
                        help="train only these networks, and do not write a model")
    parser.add_argument("--tools", type=Path, default=default_tools(),
                        help="folder of zomu-patches and zomu-model")
    add_unchecked(parser)
    options = parser.parse_args()
    if min(options.epochs, options.jobs, options.components) < 1 or options.batch < 2:
        parser.error("epochs, jobs and components must be at least 1, batch at least 2")
    if not 1 <= options.likeness < float("inf"):
        parser.error("likeness must be at least 1")
    if options.components > 499 or not 0 < options.fit_share < 1 or options.seed < 0:
        parser.error("components must be at most 499, fit-share between 0 and 1, seed not negative")
    if options.only and not all(1 <= number <= NETWORKS for number in options.only):
        parser.error(f"networks must be 1 to {NETWORKS}")
    return options


def write_model(options: argparse.Namespace, results: list[dict], labels: np.ndarray) -> None:
    tables = fit_tables(*fit_set(results, labels), options.components, options.seed, options.likeness)
    partial = options.work / "model.partial"
    shutil.rmtree(partial, ignore_errors=True)
    partial.mkdir()
    for number, result in enumerate(results, 1):
        files = {name: values.numpy() for name, values in result["files"].items()}
        write_network(partial, number, files, result["mean"].numpy())
    write_table(partial / "6-0", tables.mean)
    write_table(partial / "6-1", tables.table_a())
    write_table(partial / "6-2", tables.table_b())
    run_tool(options.tools, "zomu-model", "check", partial)
    options.model.parent.mkdir(parents=True, exist_ok=True)
    put_in_place(partial, options.model)
    print(f"tables: {len(tables.values)} directions of {tables.components} components, "
          f"{tables.left_out} left out")
    print(f"{options.model}: complete and checked")


def main() -> int:
    options = arguments()
    if options.model.exists() and (not options.model.is_dir() or any(options.model.iterdir())):
        raise TrainingProblem(f"{options.model}: already exists")
    recipe = Recipe(epochs=options.epochs, batch=options.batch, rate=options.rate,
                    margin=options.margin, scale=options.scale, seed=options.seed)
    recipe = with_settings(recipe, [word for words in options.set for word in words])
    workplace = Workplace(options.work, options.manifest, recipe, options.fit_share)
    folder = workplace.patches(options.manifest, options.tools, options.jobs, *options.unchecked)
    split = split_people(open_store(folder), options.fit_share, recipe.seed)
    print(f"{split.classes} people in {len(split.train_rows)} photographs for the networks, "
          f"{split.fit_labels.max() + 1} in {len(split.fit_rows)} for the tables", flush=True)
    numbers = options.only or list(range(1, NETWORKS + 1))
    train_networks(numbers, workplace, folder, split, recipe, options.jobs)
    if options.only is None:
        write_model(options, load_results(options.work), split.fit_labels)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except TrainingProblem as problem:
        print(f"train.py: {problem}", file=sys.stderr)
        sys.exit(1)
    except KeyboardInterrupt:
        print("train.py: interrupted; the same command resumes from here", file=sys.stderr)
        sys.exit(130)
