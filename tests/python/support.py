"""What the tests have in common: the paths of what was built, the sample face, other processes."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

PROJECT = Path(os.environ["ZOMU_TEST_PROJECT"])
TEMPORARY = Path(os.environ["ZOMU_TEST_MODEL"])  # the temporary directory with the model
MODEL = TEMPORARY / "~zvplugintmp~"
COMPARE_FACES = os.environ["ZOMU_TEST_COMPARE"]
TEMPLATE_HOST = os.environ.get("ZOMU_TEST_TEMPLATE_HOST", "")
TOOLS = Path(os.environ["ZOMU_TEST_TOOLS"])
PICTURE = PROJECT / "examples/data/portrait.png"
LANDMARKS = PROJECT / "examples/data/portrait.csv"


def run(*command: object, **variables: str) -> subprocess.CompletedProcess[str]:
    """Runs a program with the model of the tests, unless `variables` say otherwise."""
    environment = {**os.environ, "TMPDIR": str(TEMPORARY), **variables}
    return subprocess.run([str(word) for word in command], env=environment, capture_output=True, text=True, timeout=60)


def run_python(code: str, **variables: str) -> subprocess.CompletedProcess[str]:
    """Runs a piece of Python in a process of its own, where nothing is loaded yet."""
    return run(sys.executable, "-B", "-c", code, **variables)


def linked_model(folder: Path, leave_out: str = "") -> Path:
    """A model folder made of links to the files of the tests' model, one of which may be missing."""
    folder.mkdir()
    for file in MODEL.iterdir():
        if file.name != leave_out:
            (folder / file.name).symlink_to(file)
    return folder
