"""`zomu verify`: whether two photographs show the same person, as far as the model can tell."""

from __future__ import annotations

from argparse import Namespace
from typing import Any

from .. import _library
from ..templates import is_template_file
from ..verification import verify
from ._faces import place_of_model, require_model_there, silent_standard_output
from ._options import (
    add_finder,
    add_json,
    add_largest,
    add_model,
    add_subcommand,
    add_threshold,
    add_unchecked,
    require_fitting,
)
from ._output import print_json, print_text


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "verify",
        "tell whether two pictures show the same person",
        "Scores the faces of two pictures, and compares the score with the threshold of the model. Exit status: 0 the "
        "same, 1 different, 2 not to be judged (no face, several faces, no picture, no model, no known threshold).",
        _work,
        failure=2,
    )
    parser.add_argument("first", metavar="A", help="a PNG or JPEG file, or a template file")
    parser.add_argument("second", metavar="B", help="another one")
    where = parser.add_mutually_exclusive_group()
    where.add_argument(
        "--landmarks", metavar=("FILE_A", "FILE_B"), nargs=2, help="the landmarks of both: CSV files with id,x,y"
    )
    add_finder(where)
    add_largest(parser)
    add_unchecked(parser)
    add_threshold(parser)
    add_model(parser)
    add_json(parser)


def _work(options: Namespace) -> int:
    require_fitting(options)
    if is_template_file(options.first) and is_template_file(options.second) and options.model is None:
        _load_for_comparing(options)
    else:
        require_model_there(options)
    landmarks = tuple(options.landmarks or (None, None))
    result = verify(
        options.first,
        options.second,
        landmarks=(landmarks[0], landmarks[1]),
        finder=options.finder,
        threshold=options.threshold,
        model=options.model,
        unchecked=options.unchecked,
        largest=options.largest,
    )
    if options.json:
        measured = result.measured
        print_json(
            {
                "a": options.first,
                "b": options.second,
                "score": result.score,
                "threshold": result.threshold,
                "same": result.same,
                "false_match_rate": measured.false_match_rate if measured else None,
                "false_non_match_rate": measured.false_non_match_rate if measured else None,
                "measured_on": measured.measured_on if measured else None,
                "finder": result.finder,
                "model": result.fingerprint,
                "meaning": result.meaning,
            }
        )
    else:
        answer = "the same person" if result.same else "different people"
        relation = "at least" if result.same else "below"
        print(f"{answer}, if you trust this model: score {result.score:.4f}, {relation} {result.threshold:.4f}")
        print_text(f"model {(result.fingerprint or 'unknown')[:16]}. {result.meaning}")
    return 0 if result.same else 1


def _load_for_comparing(options: Namespace) -> None:
    """Templates in files know their model, which doesn't have to be here."""
    if not place_of_model(options).is_dir():
        with silent_standard_output():
            _library.require(without_model=True)
