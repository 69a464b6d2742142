"""Options that several subcommands have, in the same words."""

from __future__ import annotations

from argparse import ArgumentParser, Namespace
from typing import Any, Callable

from ..errors import Error


def add_subcommand(
    commands: Any, name: str, help: str, description: str, work: Callable[[Namespace], int], failure: int = 1
) -> ArgumentParser:
    """A subcommand that `work` does; `failure` is its exit status when that raises."""
    parser: ArgumentParser = commands.add_parser(name, help=help, description=description)
    parser.set_defaults(work=work, failure=failure, name=parser.prog, json=False)
    return parser


def add_json(parser: ArgumentParser) -> None:
    parser.add_argument("--json", action="store_true", help="print JSON, for programs")


def add_finder(parser: Any) -> None:
    parser.add_argument(
        "--finder", metavar="NAME", help='what finds the faces: "mesh" (the default), or "module:function" of Python'
    )


def add_model(parser: ArgumentParser) -> None:
    parser.add_argument(
        "--model",
        metavar="FOLDER",
        help="the model folder; by default ~zvplugintmp~ in the temporary directory, where `zomu model install` "
        "puts it",
    )


def add_threshold(parser: ArgumentParser) -> None:
    parser.add_argument(
        "--threshold",
        metavar="SCORE",
        type=float,
        help="the score from which on two faces count as the same person; needed unless the model is the "
        "demonstration model, for which one was measured",
    )


def add_unchecked(parser: ArgumentParser) -> None:
    parser.add_argument(
        "--unchecked", action="store_true", help="take the landmarks of --landmarks even if they look wrong"
    )


def add_largest(parser: ArgumentParser, place: str = "") -> None:
    parser.add_argument(
        "--largest",
        action="store_true",
        help=f"of several faces{place} take the largest, if its eyes are at least twice as far apart as those of any "
        "other",
    )


def require_fitting(options: Namespace) -> None:
    """--unchecked vouches for landmarks that somebody has made; what a finder finds is always checked."""
    if getattr(options, "unchecked", False) and options.landmarks is None:
        raise Error("--unchecked is for the landmarks of --landmarks")
    if options.largest and options.landmarks is not None:
        raise Error("--largest is for the faces that a finder finds, and --landmarks says where the face is")
