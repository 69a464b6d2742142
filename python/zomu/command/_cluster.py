"""`zomu cluster`: which faces in a folder belong together."""

from __future__ import annotations

from argparse import Namespace
from typing import Any

import numpy as np
from numpy.typing import NDArray

from .. import _library
from ..comparing import compare_many
from ..errors import Error
from ..thresholds import threshold_for
from ._faces import open_context, read_gallery
from ._options import add_finder, add_json, add_model, add_subcommand, add_threshold
from ._output import print_json, print_text, progressing, shown


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "cluster",
        "group the faces in a folder by person",
        "Compares all faces of the pictures and templates in a folder and the folders below it with each other. Two "
        "faces that score at least the threshold belong together, and so does everything that such pairs connect: one "
        "wrong pair joins two people.",
        _work,
    )
    parser.add_argument("folder", metavar="FOLDER", help="the folder with pictures and template files (*.zomu)")
    add_finder(parser)
    add_threshold(parser)
    add_model(parser)
    add_json(parser)


def _work(options: Namespace) -> int:
    with open_context(options) as context:
        fingerprint = _library.fingerprint_of_process()
        threshold_for(fingerprint, options.threshold)
        gallery = read_gallery(options.folder, context, options)
    if not gallery.members:
        raise Error(f"{options.folder}: there is no face in this folder that could be compared")
    limit = threshold_for(fingerprint, options.threshold, gallery.found_by)
    groups = connected(gallery.templates, limit.value)
    members = gallery.members
    if options.json:
        print_json(
            {
                "model": limit.fingerprint,
                "threshold": limit.value,
                "meaning": limit.meaning,
                "people": [[{"file": members[i].path, "face": members[i].number} for i in group] for group in groups],
                "left_out": gallery.rejects,
            }
        )
        return 0
    for number, group in enumerate(groups, start=1):
        print(f"person {number}: {len(group)} {'face' if len(group) == 1 else 'faces'}")
        for i in group:
            print(f"    {shown(members[i].name)}")
    print_text(f"{len(members)} faces, {len(groups)} people by the threshold {limit.value:.4f}. {limit.meaning}")
    return 0


def connected(templates: NDArray[np.float32], threshold: float) -> list[list[int]]:
    """The rows of (n, 502) in groups: connected components of the pairs that score at least the threshold.

    The largest group comes first; rows within a group ascend.
    """
    group = np.arange(len(templates))
    for i in progressing("comparing", range(len(templates))):
        scores = compare_many(templates[i + 1 :], templates[i])
        for j in i + 1 + np.flatnonzero(scores >= threshold):
            if group[j] != group[i]:
                group[group == group[j]] = group[i]
    groups = [np.flatnonzero(group == name).tolist() for name in dict.fromkeys(group.tolist())]
    return sorted(groups, key=lambda rows: (-len(rows), rows[0]))
