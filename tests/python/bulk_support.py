"""What the tests of `zomu extract-all` have in common: the command as a process, finders of their own, what was written."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Callable

import pyarrow.parquet as pq

from support import PROJECT
from zomu import model_pack

PEOPLE = PROJECT / "examples/data/people/photos"

# "notes" says in a file which process has looked at a picture, and takes its time; "fussy" does what the blue
# of the first pixel says.
FINDERS = """
import os, signal, time
from pathlib import Path
from zomu import finders

mesh = finders.finder_named("mesh")

def notes(picture):
    with open(os.environ["NOTES"], "a") as file:
        file.write(f"{os.getpid()}\\n")
    time.sleep(float(os.environ.get("PAUSE", "0.2")))
    return mesh(picture)

def fussy(picture):
    deed = int(picture[0, 0, 0])
    if deed == 1:
        raise RuntimeError("cannot\\nsee")
    if deed == 2:
        os.kill(os.getpid(), signal.SIGKILL)
    if deed == 3 and not os.path.exists(os.environ["NOTES"]):
        Path(os.environ["NOTES"]).touch()
        time.sleep(10_000)
    return mesh(picture)
"""


class BulkTest(unittest.TestCase):
    """With the demonstration model in the temporary directory."""

    @classmethod
    def setUpClass(cls) -> None:
        cls.directory = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        model_pack.unpack_model(model_pack.demonstration_pack(), cls.directory / "~zvplugintmp~")
        os.environ["TMPDIR"] = str(cls.directory)

    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/tmp")))
        self.out = self.folder / "out"
        self.notes = self.folder / "notes"
        (self.folder / "finders_of_tests.py").write_text(FINDERS)
        self.variables = {
            "PYTHONPATH": f"{PROJECT / 'python'}:{self.folder}",
            "TMPDIR": str(self.directory),
            "NOTES": str(self.notes),
        }

    def start(self, *words: object, **variables: str) -> subprocess.Popen[str]:
        command = [sys.executable, "-B", "-m", "zomu", "extract-all", *map(str, words)]
        process = subprocess.Popen(
            command,
            env={**os.environ, **self.variables, **variables},
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(end, process)
        return process

    def run_to_end(self, *words: object, given: str = "", **variables: str) -> tuple[int, str, str]:
        """Exit status, standard output, standard error."""
        return self.ended(self.start(*words, **variables), given)

    def ended(self, process: subprocess.Popen[str], given: str = "") -> tuple[int, str, str]:
        out, err = process.communicate(given, timeout=600)
        # The line of each minute depends on the machine.
        lines = [line for line in err.splitlines(keepends=True) if not re.match(r"zomu extract-all: \d+ of \d+ ", line)]
        return process.returncode, out, "".join(lines)

    def photos(self, people: int = 12) -> Path:
        """A folder with the rendered people, four photographs of each."""
        folder = self.folder / "photos"
        for person in sorted(PEOPLE.iterdir())[:people]:
            shutil.copytree(person, folder / person.name)
        return folder

    def rows(self) -> list[dict[str, object]]:
        return pq.read_table(self.out / "templates").to_pylist()

    def rejects(self) -> dict[str, str]:
        lines = (self.out / "rejects.csv").read_text().splitlines()[1:]
        return {line.split(",", 2)[0]: line.split(",", 2)[2] for line in lines}

    def looked_at(self) -> int:
        return len(self.notes.read_text().splitlines()) if self.notes.exists() else 0

    def has_looked(self, process: int) -> bool:
        return self.notes.exists() and str(process) in self.notes.read_text().split()

    def parts(self) -> list[Path]:
        return sorted((self.out / "templates").glob("part-*.parquet"))

    def assert_each_once(self, folder: Path) -> None:
        expected = sorted(str(path.relative_to(folder)) for path in folder.rglob("*.jpg"))
        self.assertEqual(sorted(row["photo"] for row in self.rows()), expected)


def end(process: subprocess.Popen[str]) -> None:
    if process.poll() is None:
        process.kill()
    process.communicate()


def wait_until(condition: Callable[[], object], seconds: float = 300) -> None:
    finish = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > finish:
            raise AssertionError(f"not within {seconds} s")
        time.sleep(0.05)


def children_of(process: subprocess.Popen[str]) -> list[int]:
    """The workers, which run extractions in processes of their own."""
    found = []
    for task in Path(f"/proc/{process.pid}/task").iterdir():
        found += [int(child) for child in (task / "children").read_text().split()]
    return [child for child in found if b"spawn_main" in Path(f"/proc/{child}/cmdline").read_bytes()]


def is_alive(process: int) -> bool:
    try:
        return Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except FileNotFoundError:
        return False
