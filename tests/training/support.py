"""What several tests need: the built tools, and a few rendered photographs."""

import os
import subprocess
import sys
from pathlib import Path

from trainer.description import NetworkDescription, load_descriptions

PROJECT = Path(__file__).resolve().parents[2]
TRAINING = PROJECT / "training"
TOOLS = Path(os.environ.get("ZOMU_TOOLS", PROJECT / "build" / "release" / "tools"))


def run_command(name: str, *arguments) -> subprocess.CompletedProcess:
    """One of the kit's commands from outside."""
    return subprocess.run([sys.executable, "-B", TRAINING / name, *map(str, arguments)],
                          capture_output=True, text=True, check=False)


def load_library_descriptions(folder: Path | str) -> list[NetworkDescription]:
    """The networks as the library describes them, written to `folder` and read by the kit."""
    subprocess.run([TOOLS / "zomu-patches", "describe", folder], check=True)
    return load_descriptions(Path(folder))


def render(folder: Path, *arguments) -> Path:
    """Photographs in `folder`; their manifest."""
    result = run_command("render_people", folder, *arguments)
    if result.returncode != 0:
        raise AssertionError(result.stderr)
    return folder / "manifest.csv"
