"""Runs the tools that are built with the library."""

import argparse
import os
import subprocess
import tempfile
from contextlib import contextmanager
from pathlib import Path
from typing import Iterator

from trainer.problems import TrainingProblem

PROJECT = Path(__file__).resolve().parents[2]
MODEL_FOLDER = "~zvplugintmp~"


def default_tools() -> Path:
    return PROJECT / "build" / "release" / "tools"


def add_unchecked(parser: argparse.ArgumentParser) -> None:
    """--unchecked, for run_tool: a list with this word, or an empty one."""
    parser.add_argument("--unchecked", action="append_const", const="--unchecked", default=[],
                        help="take landmarks as they are, even if they are not a face's")


@contextmanager
def placed_model(model: Path) -> Iterator[Path]:
    """A temporary directory in which the library finds `model`."""
    if not model.is_dir():
        raise TrainingProblem(f"{model}: no such folder")
    with tempfile.TemporaryDirectory() as temporary:
        (Path(temporary) / MODEL_FOLDER).symlink_to(model.resolve())
        yield Path(temporary)


def run_tool(tools: Path, name: str, *arguments, jobs: int = 1, temporary: Path | None = None) -> str:
    """Runs a tool and returns its standard output; its standard error is shown at once."""
    program = tools / name
    if not program.exists():
        raise TrainingProblem(f"{program}: does not exist; build the tools, or name their folder with --tools")
    environment = dict(os.environ, OMP_NUM_THREADS=str(jobs))
    if temporary is not None:
        environment["TMPDIR"] = str(temporary)
    result = subprocess.run([program, *map(str, arguments)], stdout=subprocess.PIPE, text=True,
                            env=environment, check=False)
    if result.returncode != 0:
        raise TrainingProblem((result.stdout.strip() + "\n").lstrip("\n")
                              + f"{name} exited with status {result.returncode}")
    return result.stdout
