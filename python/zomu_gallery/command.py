"""`zomu gallery`: faces that are kept, and searched."""

from __future__ import annotations

from argparse import ArgumentParser, ArgumentTypeError, Namespace
from datetime import datetime, timezone
from typing import Any, Callable

from zomu.command._options import add_finder, add_json, add_largest, add_model, add_subcommand, add_threshold

DESCRIPTION = (
    "Keeps templates of faces in a folder, or in PostgreSQL, and finds those that are most like a face: by FAISS, with "
    "the scores of the library. `zomu search` is for folders that are searched once."
)


def add(parser: ArgumentParser) -> None:
    parser.description = DESCRIPTION
    actions = parser.add_subparsers(metavar="ACTION", required=True, parser_class=type(parser))

    adding = _action(
        actions,
        "add",
        "add faces to a gallery, which is made if it is not there",
        "Adds all faces of pictures, of template files, or of what `zomu extract-all` has written. A face of a "
        "photograph that is there already is not added again. What cannot be read is reported and left out.",
        "add_faces",
    )
    adding.add_argument(
        "source", metavar="SOURCE", help="a folder, a PNG or JPEG file, a template file, or the folder of extract-all"
    )
    adding.add_argument("--person", metavar="NAME", help="who it is; by default the name of the folder of each file")
    adding.add_argument("--consent", metavar="TEXT", default="", help="a reference to what the people have agreed to")
    adding.add_argument("--expires", metavar="DATE", type=_date, help="the day from which on they are not found any more")
    adding.add_argument(
        "--database", metavar="ADDRESS", help="a new gallery keeps its templates there: postgresql://tenant@host/name"
    )
    add_finder(adding)
    add_model(adding)
    add_json(adding)

    searching = _action(
        actions,
        "search",
        "find the faces in a gallery that are most like one",
        "Compares the one face of a picture with the gallery, and prints the highest scores.",
        "search_faces",
    )
    searching.add_argument("probe", metavar="PROBE", help="a PNG or JPEG file with one face, or a template file")
    searching.add_argument("--top", metavar="N", type=_count, default=10, help="how many to print (10)")
    searching.add_argument(
        "--landmarks", metavar="FILE", help="the landmarks of the face in PROBE: a CSV file with id,x,y"
    )
    add_finder(searching)
    add_largest(searching, " in PROBE")
    add_threshold(searching)
    add_model(searching)
    add_json(searching)

    deleting = _action(
        actions,
        "delete",
        "delete a person from a gallery",
        "Deletes all templates of a person, and of everybody what has expired, from the store and from the index.",
        "delete_person",
    )
    deleting.add_argument("person", metavar="PERSON", nargs="?", help="the name; without one, only what has expired")
    add_json(deleting)

    rebuilding = _action(
        actions,
        "rebuild",
        "make the index of a gallery again",
        "Makes the index from the templates: exact, or approximate for a gallery whose exact search takes too long.",
        "rebuild_index",
    )
    kind = rebuilding.add_mutually_exclusive_group()
    kind.add_argument("--exact", dest="kind", action="store_const", const="exact", help="one that misses nothing")
    kind.add_argument(
        "--approximate", dest="kind", action="store_const", const="approximate", help="one that misses some of the best"
    )
    add_json(rebuilding)


def _action(actions: Any, name: str, help: str, description: str, work: str) -> ArgumentParser:
    parser = add_subcommand(actions, name, help, description, _later(work))
    parser.add_argument("gallery", metavar="GALLERY", help="the folder of the gallery")
    return parser


def _later(name: str) -> Callable[[Namespace], int]:
    """A function of `actions`, which needs the packages of the extra."""

    def work(options: Namespace) -> int:
        try:
            from . import actions

            status: int = getattr(actions, name)(options)
        except ModuleNotFoundError as problem:
            extra = "bulk" if problem.name == "pyarrow" else "gallery"
            raise ModuleNotFoundError(
                f"the package {problem.name} is not installed: install zomu[{extra}] with pip, which brings it"
            ) from problem
        return status

    return work


def _count(word: str) -> int:
    if not word.isdecimal() or int(word) < 1:
        raise ArgumentTypeError(f"{word} is not a number from 1 on")
    return int(word)


def _date(word: str) -> datetime:
    try:
        return datetime.strptime(word, "%Y-%m-%d").replace(tzinfo=timezone.utc)
    except ValueError:
        raise ArgumentTypeError(f"{word} is not a date like 2030-12-31") from None
