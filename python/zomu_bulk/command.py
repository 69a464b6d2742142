"""`zomu extract-all`: its options, and what it says at the end."""

from __future__ import annotations

import os
from argparse import ArgumentParser, ArgumentTypeError, Namespace

from zomu.command._options import add_finder, add_json, add_model, add_unchecked
from zomu.command._output import print_json, shown

DESCRIPTION = (
    "Writes the templates of all faces in many photographs as Parquet files, with what is known of each face, and a "
    "list of the photographs that gave none, with the reasons. A run that was interrupted, however it ended, goes on "
    "where it was when the same command is given again."
)


def add(parser: ArgumentParser) -> None:
    parser.description = DESCRIPTION
    parser.add_argument(
        "source",
        metavar="SOURCE",
        help="a folder with photographs, a CSV file with the column photo and perhaps person and landmarks, or - for "
        "a list on standard input, one photograph a line; also an address such as s3://bucket/photos",
    )
    parser.add_argument("output", metavar="OUT", help="the folder to write, or to go on with; also an address")
    where = parser.add_mutually_exclusive_group()
    where.add_argument(
        "--landmarks",
        action="store_true",
        help="take the landmarks from the CSV file beside each photograph that has its name",
    )
    add_finder(where)
    add_unchecked(parser)
    add_model(parser)
    engine = parser.add_mutually_exclusive_group()
    engine.add_argument(
        "--processes",
        metavar="N",
        type=_positive,
        default=len(os.sched_getaffinity(0)),
        help="how many work on this machine, with one thread each; by default as many as it has processors",
    )
    engine.add_argument(
        "--scheduler", metavar="ADDRESS", help="work on the workers of this scheduler of Dask, such as tls://host:8786"
    )
    parser.add_argument(
        "--part",
        metavar="N",
        type=_positive,
        default=512,
        help="photographs for each Parquet file (512); what is not in a file yet is done again after a crash",
    )
    parser.add_argument(
        "--limit",
        metavar="SECONDS",
        type=_positive,
        default=300,
        help="the time after which 16 photographs are taken away from a worker, and the longest wait for workers (300)",
    )
    parser.add_argument(
        "--again", action="store_true", help="also try the photographs again that an earlier run has left out"
    )
    parser.add_argument("--npy", action="store_true", help="also write all templates to one file for NumPy")
    add_json(parser)
    parser.set_defaults(work=_work)


def _positive(word: str) -> int:
    if not word.isdecimal() or int(word) < 1:
        raise ArgumentTypeError(f"{word} is not a number from 1 on")
    return int(word)


def _work(options: Namespace) -> int:
    from ._run import extract_all

    done = extract_all(options)
    if options.json:
        print_json(done._asdict())
    else:
        earlier = f", {done.earlier} of them in earlier runs" if done.earlier else ""
        left_out = f"; {done.left_out} left out, see rejects.csv" if done.left_out else ""
        print(f"{shown(done.output)}: {done.templates} templates of {done.photographs} photographs{earlier}{left_out}")
    return 0 if done.templates or not done.photographs else 1
