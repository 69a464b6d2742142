"""Lists of photographs and who is in them: a header `person,photo,landmarks`, then the lines."""

import csv
import io
from pathlib import Path

from trainer.problems import TrainingProblem
from trainer.whole_file import whole_file

HEADER = ["person", "photo", "landmarks"]

SIZE_LIMIT = 1 << 28  # a line for each of some million photographs


def read_manifest(path: Path) -> list[tuple[str, Path, Path]]:
    """Person, photograph and landmarks of each line, with absolute paths."""
    home = path.parent.resolve()
    try:
        with open(path, "rb") as file:
            content = file.read(SIZE_LIMIT + 1)
    except OSError as error:
        raise TrainingProblem(f"{path}: {error.strerror}") from error
    if len(content) > SIZE_LIMIT:
        raise TrainingProblem(f"{path}: is larger than {SIZE_LIMIT} bytes")
    # Names of files are bytes, which need not be text.
    text = io.StringIO(content.decode("utf-8-sig", "surrogateescape"), newline="")
    try:
        header, *lines = [line for line in csv.reader(text, strict=True) if line] or [[]]
    except csv.Error:
        header, lines = [], []
    if header != HEADER or not lines or any(len(line) != len(HEADER) or not all(line) for line in lines):
        raise TrainingProblem(f"{path}: is not a list of {','.join(HEADER)}")
    return [(person, home / photo, home / landmarks) for person, photo, landmarks in lines]


def write_manifest(path: Path, rows) -> None:
    text = io.StringIO(newline="")
    writer = csv.writer(text, lineterminator="\n")
    writer.writerow(HEADER)
    writer.writerows(rows)
    with whole_file(path) as file:
        file.write(text.getvalue().encode("utf-8", "surrogateescape"))
