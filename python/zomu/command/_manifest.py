"""`zomu manifest`: from a folder for each person to what training and evaluation read."""

from __future__ import annotations

import os
import re
from argparse import Namespace
from collections import Counter
from pathlib import Path
from typing import Any, Sequence

from .._files import write_file
from ..errors import Error
from ..landmarks import write_landmarks
from ._faces import PICTURE_PROBLEMS, one_face, pictures_under
from ._options import add_finder, add_json, add_largest, add_subcommand
from ._output import print_json, progressing, shown, warn
from ._reasons import reason

_FEWEST = 2
_Row = tuple[str, str, str]


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "manifest",
        "make a training manifest of photographs",
        "Takes a folder with a folder for each person, finds the landmarks of each photograph, and writes "
        "OUT/manifest.csv, OUT/landmarks/ and OUT/rejects.csv, which says why a photograph was left out: it cannot be "
        "read, it has no face or several, or it is the only one of its person.",
        _work,
    )
    parser.add_argument("folder", metavar="FOLDER", help="the folder that has a folder for each person")
    parser.add_argument("output", metavar="OUT", help="the folder to write; must be absent or empty")
    add_finder(parser)
    add_largest(parser)
    add_json(parser)


def _work(options: Namespace) -> int:
    photos = _photos_of_people(options.folder)
    if not photos:
        raise Error(f"{options.folder}: no folder in it has photographs; each person needs a folder with two or more")
    output = Path(options.output)
    output.mkdir(parents=True, exist_ok=True)
    if any(output.iterdir()):
        raise Error(f"{output}: is not empty; name another folder")
    rows, rejects = _found(photos, output, options)
    rows, lonely = _without_single_photos(rows)
    rejects += lonely
    write_file(output / "rejects.csv", _csv_bytes(("photo", "reason"), rejects))
    for photo, why in rejects:
        warn(options.name, f"{photo}: {why}; left out")
    if not rows:
        reasons = output / "rejects.csv"
        raise Error(f"{options.folder}: no person has two photographs that can be used; {reasons} says why")
    # Without links, so that ".." leads where it seems to.
    place = os.path.realpath(output)
    paths = [[person] + [os.path.relpath(os.path.realpath(file), place) for file in files] for person, *files in rows]
    write_file(output / "manifest.csv", _csv_bytes(("person", "photo", "landmarks"), paths))
    people = len({person for person, _, _ in rows})
    if options.json:
        left_out = [{"file": photo, "reason": why} for photo, why in rejects]
        print_json(
            {
                "manifest": str(output / "manifest.csv"),
                "people": people,
                "photographs": len(rows),
                "left_out": left_out,
            }
        )
    else:
        print(
            f"{shown(output / 'manifest.csv')}: {len(rows)} photographs of {people} people; {len(rejects)} left out, "
            "see rejects.csv"
        )
    return 0


def _photos_of_people(folder: str) -> list[tuple[str, str]]:
    """Person and photograph."""
    if not os.path.isdir(folder):
        raise NotADirectoryError(20, "is not a folder", folder)
    people = sorted(entry.name for entry in os.scandir(folder) if entry.is_dir())
    return [(person, photo) for person in people for photo in pictures_under(os.path.join(folder, person))]


def _found(
    photos: list[tuple[str, str]], output: Path, options: Namespace
) -> tuple[list[_Row], list[tuple[str, str]]]:
    rows: list[_Row] = []
    rejects: list[tuple[str, str]] = []
    for person, photo in progressing("photographs", photos):
        try:
            _, landmarks = one_face(photo, None, options)
        except PICTURE_PROBLEMS as problem:
            rejects.append((photo, reason(problem, photo, options)))
            continue
        file = output / "landmarks" / (os.path.relpath(photo, options.folder) + ".csv")
        file.parent.mkdir(parents=True, exist_ok=True)
        write_landmarks(file, landmarks)
        rows.append((person, photo, str(file)))
    return rows, rejects


def _without_single_photos(rows: list[_Row]) -> tuple[list[_Row], list[tuple[str, str]]]:
    """Training needs pairs."""
    photos = Counter(person for person, _, _ in rows)
    lonely = [row for row in rows if photos[row[0]] < _FEWEST]
    for _, _, landmarks in lonely:
        os.unlink(landmarks)
    kept = [row for row in rows if photos[row[0]] >= _FEWEST]
    return kept, [(photo, f"the only usable photograph of {person}") for person, photo, _ in lonely]


def _csv_bytes(header: Sequence[str], rows: Sequence[Sequence[str]]) -> bytes:
    lines = [",".join(_quoted(field) for field in row) + "\n" for row in (header, *rows)]
    return "".join(lines).encode("utf-8", "surrogateescape")


def _quoted(field: str) -> str:
    """As the tools write it; csv.writer leaves a carriage return as it is."""
    return '"' + field.replace('"', '""') + '"' if re.search('[,"\r\n]', field) else field
