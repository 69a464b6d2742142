"""`zomu find`: the faces in pictures, with their landmarks."""

from __future__ import annotations

import os
from argparse import Namespace
from pathlib import Path
from typing import Any

from .._one_face import NO_FACE, only_face
from ..errors import Error
from ..finders import Face
from ..landmarks import write_landmarks
from ._faces import PICTURE_PROBLEMS, faces_in, the_finder
from ._options import add_finder, add_json, add_largest, add_subcommand
from ._output import print_json, progressing, shown, warn
from ._reasons import reason


class Occupied(Error):
    """The landmark file of a face would replace another."""


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "find",
        "find faces and their landmarks",
        "Finds the faces in pictures and prints where they are, in pixels of the upright picture. With --csv it also "
        "writes their 25 landmarks. Exit status: 0 if every picture has a face, 1 if one has none or cannot be read.",
        _work,
    )
    parser.add_argument("pictures", metavar="PICTURE", nargs="+", help="a PNG or JPEG file")
    parser.add_argument(
        "--csv",
        metavar="FOLDER",
        help="write landmark files there: NAME.csv for the largest face of a picture, NAME-2.csv for the next",
    )
    parser.add_argument("--force", action="store_true", help="replace landmark files that are there")
    add_finder(parser)
    add_largest(parser)
    add_json(parser)


def _work(options: Namespace) -> int:
    finder = the_finder(options)
    results = []
    written: set[Path] = set()
    is_good = True
    if options.csv is not None:
        os.makedirs(options.csv, exist_ok=True)
    for path in progressing("pictures", options.pictures):
        result: dict[str, Any] = {"picture": path, "faces": []}
        results.append(result)
        try:
            image, faces = faces_in(path, finder)
            result["height"], result["width"] = image.shape[:2]
            if options.largest:
                faces = [only_face(faces, largest=True)]
            for number, face in enumerate(faces, start=1):
                result["faces"].append(_described(face))
                if options.csv is not None:
                    file = _csv_file(options, path, number, written)
                    write_landmarks(file, face.landmarks)
                    result["faces"][-1]["csv"] = str(file)
            if not faces:
                result["error"] = NO_FACE
        except (Occupied, *PICTURE_PROBLEMS) as problem:
            result["error"] = reason(problem, path, options)
        is_good = is_good and "error" not in result
    if options.json:
        print_json(results)
    else:
        _print(options, results)
    return 0 if is_good else 1


def _csv_file(options: Namespace, picture: str, number: int, written: set[Path]) -> Path:
    file = Path(options.csv, Path(picture).stem + (f"-{number}.csv" if number > 1 else ".csv"))
    if file in written:
        raise Occupied(f"another of the pictures has already given {file}; use a folder of its own for each")
    if file.exists() and not options.force:
        raise Occupied(f"{file} is there already; --force replaces it")
    written.add(file)
    return file


def _described(face: Face) -> dict[str, Any]:
    return {
        "box": [round(value, 3) for value in face.box],
        "confidence": round(face.confidence, 6),
        "eye_distance": round(face.eye_distance, 3),
        "finder": face.finder,
        "version": face.version,
        "landmarks": {str(number): [x, y] for number, (x, y) in face.landmarks.items()},
    }


def _print(options: Namespace, results: list[dict[str, Any]]) -> None:
    for result in results:
        for number, face in enumerate(result["faces"], start=1):
            left, top, right, bottom = face["box"]
            print(
                f"{shown(result['picture'])}: face {number} of {len(result['faces'])}: {right - left:.0f} x "
                f"{bottom - top:.0f} at ({left:.0f}, {top:.0f}), eyes {face['eye_distance']:.0f} apart, "
                f"confidence {face['confidence']:.2f}" + (f", {shown(face['csv'])}" if "csv" in face else "")
            )
        if "error" in result:
            warn(options.name, f"{result['picture']}: {result['error']}")
