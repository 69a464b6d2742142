"""Writes the files of a model folder, and reads them back."""

from pathlib import Path

import numpy as np


def write_matrix(path: Path, values: np.ndarray) -> None:
    """Rows, columns, then the floats row by row."""
    values = np.ascontiguousarray(values, "<f4")
    path.write_bytes(np.array(values.shape, "<i4").tobytes() + values.tobytes())


def write_mean_image(path: Path, image: np.ndarray) -> None:
    values = np.ascontiguousarray(image, "<f4").ravel()
    path.write_bytes(np.array([values.size], "<i4").tobytes() + values.tobytes())


def write_table(path: Path, values: np.ndarray) -> None:
    path.write_bytes(np.ascontiguousarray(values, "<f4").tobytes())


def write_network(folder: Path, number: int, files: dict[str, np.ndarray], mean: np.ndarray) -> None:
    """The 11 files of network `number`, counted from 1, and its mean image."""
    for name, values in files.items():
        write_matrix(folder / name, values)
    write_mean_image(folder / f"0-{number}-0", mean)


def read_matrix(path: Path) -> np.ndarray:
    content = path.read_bytes()
    rows, columns = np.frombuffer(content, "<i4", 2)
    return np.frombuffer(content, "<f4", offset=8).reshape(rows, columns).copy()


def read_mean_image(path: Path, planes: int, side: int) -> np.ndarray:
    return np.fromfile(path, "<f4", offset=4).reshape(planes, side, side)


def read_table(path: Path) -> np.ndarray:
    return np.fromfile(path, "<f4")
