"""Lists of photographs and who is in them: a header `person,photo,landmarks`, then the lines."""

import csv
from pathlib import Path

from trainer.problems import TrainingProblem

HEADER = ["person", "photo", "landmarks"]


def read_manifest(path: Path) -> list[tuple[str, Path, Path]]:
    """Person, photograph and landmarks of each line, with absolute paths."""
    home = path.parent.resolve()
    try:
        with open(path, newline="", encoding="utf-8") as file:
            header, *lines = [line for line in csv.reader(file) if line] or [[]]
    except OSError as error:
        raise TrainingProblem(f"{path}: {error.strerror}") from error
    if header != HEADER or not lines or any(len(line) != len(HEADER) for line in lines):
        raise TrainingProblem(f"{path}: is not a list of {','.join(HEADER)}")
    return [(person, home / photo, home / landmarks) for person, photo, landmarks in lines]


def write_manifest(path: Path, rows) -> None:
    with open(path, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(HEADER)
        writer.writerows(rows)
