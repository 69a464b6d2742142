"""What is in each file of a model folder, and what is wrong with it: the words of `zomu-model list` and `check`."""

from __future__ import annotations

import os
import stat
from pathlib import Path
from typing import NamedTuple

import numpy as np

from .errors import ModelError
from .model_folder import model_files


class ModelFile(NamedTuple):
    name: str
    holds: str
    network: int
    """Its number; 0 for the tables that all share."""
    layer: str
    """That reads it; empty for a table."""
    rows: int
    columns: int
    size: int
    """Bytes."""

    @property
    def floats(self) -> int:
        return self.rows * self.columns

    @property
    def header(self) -> tuple[int, ...]:
        """The int32 in front of the floats."""
        if self.holds == "mean image":
            return (self.columns,)
        return (self.rows, self.columns) if self.layer else ()


_LAYERS = {"1": ("conv1", 16), "2": ("conv2", 32), "3": ("local3", 48), "4": ("local4", 64), "5": ("fc", 160)}
_TABLES = {"6-0": ("feature mean", 1), "6-1": ("projection", 500), "6-2": ("projection", 500)}


def described_files() -> list[ModelFile]:
    """All 303, in the order in which the library reads them."""
    return [_described(name, size) for name, size in model_files()]


def _described(name: str, size: int) -> ModelFile:
    stage, number, part = (name + "-").split("-")[:3]
    if name in _TABLES:
        holds, rows = _TABLES[name]
        return ModelFile(name, holds, 0, "", rows, 8000, size)
    if stage == "0":
        return ModelFile(name, "mean image", int(number), "", 1, size // 4 - 1, size)
    layer, outputs = _LAYERS[stage]
    floats = size // 4 - 2
    if floats > outputs:
        return ModelFile(name, "weights", int(number), layer, floats // outputs, outputs, size)
    rows, columns = (1, outputs) if layer == "fc" else (outputs, 1)
    return ModelFile(name, "biases", int(number), layer, rows, columns, size)


def list_text() -> str:
    """The table of all files, for people."""
    files = described_files()
    lines = [f"{'file':<8} {'holds':<12} {'network':>7} {'layer':<6} {'shape':>11} {'bytes':>10}"]
    for file in files:
        network = str(file.network or "all")
        shape = f"{file.rows} x {file.columns}"
        lines.append(f"{file.name:<8} {file.holds:<12} {network:>7} {file.layer:<6} {shape:>11} {file.size:>10}")
    lines.append(f"{len(files)} files, {sum(file.size for file in files)} bytes")
    return "\n".join(lines)


def check_model(folder: str | os.PathLike[str]) -> list[str]:
    """A line for each file that is missing, has a wrong size or shape, or holds what is not a finite number."""
    if not Path(folder).is_dir():
        raise ModelError(f"{os.fspath(folder)}: no such folder")
    faults = ((file.name, _faults_of(Path(folder, file.name), file)) for file in described_files())
    return [f"{name}: {'; '.join(texts)}" for name, texts in faults if texts]


def _faults_of(path: Path, file: ModelFile) -> list[str]:
    try:
        status = path.stat()
        if not stat.S_ISREG(status.st_mode):
            return ["not a file"]
        with open(path, "rb") as stream:
            content = stream.read(file.size)
    except FileNotFoundError:
        return ["missing"]
    except OSError:
        return ["cannot be opened"]
    faults = []
    if status.st_size != file.size:
        difference = status.st_size - file.size
        word = "too many" if difference > 0 else "too few"
        faults.append(f"{status.st_size} bytes, {abs(difference)} {word}")
        text = _text_instead(content[:512])
        if text:
            return [*faults, text]
    return faults + _wrong_header(content, file) + _wrong_values(content, file)


def _text_instead(start: bytes) -> str:
    """What was fetched instead of the file, where that was a text."""
    if not start or any(not (32 <= byte <= 126 or byte in b"\n\r\t") for byte in start):
        return ""
    is_pointer = start.startswith(b"version ") and b"\noid " in start
    return "a text pointer to a large file instead of the file itself" if is_pointer else "text instead of data"


def _wrong_header(content: bytes, file: ModelFile) -> list[str]:
    expected = file.header
    if len(content) < 4 * len(expected):
        return []  # shows in the size already
    actual = tuple(int(value) for value in np.frombuffer(content, "<i4", len(expected)))
    if actual == expected:
        return []
    what = "count" if len(expected) == 1 else "shape"
    return [f"{what} {' x '.join(map(str, actual))}, not {' x '.join(map(str, expected))}"]


def _wrong_values(content: bytes, file: ModelFile) -> list[str]:
    rest = content[4 * len(file.header) :]
    values = np.frombuffer(rest, "<f4", len(rest) // 4)
    wrong = np.flatnonzero(~np.isfinite(values))
    if len(wrong) == 0:
        return []
    verb = "value is" if len(wrong) == 1 else "values are"
    return [f"{len(wrong)} {verb} not finite, the first at index {wrong[0]}"]
