"""`zomu search`: the faces in a folder that are most like one."""

from __future__ import annotations

from argparse import Namespace
from typing import Any

import numpy as np

from .. import _library
from ..comparing import compare_many
from ..errors import Error, ThresholdError
from ..thresholds import Threshold, threshold_for
from ._faces import open_context, read_gallery, template_of
from ._options import (
    add_finder,
    add_json,
    add_largest,
    add_model,
    add_subcommand,
    add_threshold,
    require_fitting,
)
from ._output import print_json, print_text, shown


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "search",
        "find the faces in a folder that are most like one",
        "Compares the one face of a picture with all faces of the pictures and templates in a folder and the folders "
        "below it, and prints the highest scores. What cannot be read is reported and left out.",
        _work,
    )
    parser.add_argument("probe", metavar="PROBE", help="a PNG or JPEG file with one face, or a template file")
    parser.add_argument("folder", metavar="FOLDER", help="the folder with pictures and template files (*.zomu)")
    parser.add_argument("--top", metavar="N", type=int, default=10, help="how many to print (10); 0 for all")
    parser.add_argument(
        "--landmarks", metavar="FILE", help="the landmarks of the face in PROBE: a CSV file with id,x,y"
    )
    add_finder(parser)
    add_largest(parser, " in PROBE")
    add_threshold(parser)
    add_model(parser)
    add_json(parser)


def _work(options: Namespace) -> int:
    require_fitting(options)
    with open_context(options) as context:
        _known_threshold(options, None)
        probe = template_of(options.probe, context, options)
        gallery = read_gallery(options.folder, context, options)
    if not gallery.members:
        raise Error(f"{options.folder}: there is no face in this folder that could be compared")
    limit = _known_threshold(options, gallery.found_by)
    scores = compare_many(gallery.templates, probe)
    order = np.argsort(-scores, kind="stable")
    best = order[: options.top] if options.top > 0 else order
    if options.json:
        matches = [
            {
                "score": float(scores[i]),
                "file": gallery.members[i].path,
                "face": gallery.members[i].number,
                "same": bool(scores[i] >= limit.value) if limit else None,
            }
            for i in best
        ]
        print_json(
            {
                "probe": options.probe,
                "model": _library.fingerprint_of_process(),
                "compared": len(scores),
                "threshold": limit.value if limit else None,
                "meaning": limit.meaning if limit else None,
                "matches": matches,
                "left_out": gallery.rejects,
            }
        )
        return 0
    for i in best:
        mark = "*" if limit is not None and scores[i] >= limit.value else " "
        print(f"{scores[i]:8.4f} {mark} {shown(gallery.members[i].name)}")
    print_text(_footer(len(scores), limit))
    return 0


def _known_threshold(options: Namespace, finder: str | None) -> Threshold | None:
    """A list of scores makes sense without one, too."""
    try:
        return threshold_for(_library.fingerprint_of_process(), options.threshold, finder)
    except ThresholdError:
        if options.threshold is not None:
            raise
        return None


def _footer(count: int, limit: Threshold | None) -> str:
    compared = f"{count} {'face' if count == 1 else 'faces'} compared."
    if limit is None:
        return f"{compared} No threshold is known for this model: which of them are the same person, it doesn't say."
    return (
        f"{compared} * has at least the threshold {limit.value:.4f}, whose rates are for one comparison, not for a "
        f"search. {limit.meaning}"
    )
