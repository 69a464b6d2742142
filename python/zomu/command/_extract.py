"""`zomu extract`: the template of a face as a file, as `zomu-template extract` writes it."""

from __future__ import annotations

from argparse import Namespace
from typing import Any

from ..errors import problems_of
from ..templates import save_template, template_fingerprint
from ._faces import one_face, open_context
from ._options import (
    add_finder,
    add_json,
    add_largest,
    add_model,
    add_subcommand,
    add_unchecked,
    require_fitting,
)
from ._output import print_json, shown


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "extract",
        "write the template of a face",
        "Computes the template of the one face in a picture and writes it to a file that records its model: the bytes "
        "that `zomu-template extract` writes for the same landmarks.",
        _work,
    )
    parser.add_argument("picture", metavar="PICTURE", help="a PNG or JPEG file")
    parser.add_argument("template", metavar="OUT.zomu", help="the template file to write")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--landmarks", metavar="FILE", help="the landmarks of the face: a CSV file with id,x,y")
    add_finder(where)
    add_largest(parser)
    add_unchecked(parser)
    add_model(parser)
    add_json(parser)


def _work(options: Namespace) -> int:
    require_fitting(options)
    with open_context(options) as context:
        image, landmarks = one_face(options.picture, options.landmarks, options)
        with problems_of(options.picture):
            template = context.extract(image, landmarks, unchecked=options.unchecked)
        save_template(options.template, template)
    if options.json:
        print_json(
            {
                "picture": options.picture,
                "template": options.template,
                "model": template_fingerprint(options.template),
                "landmarks": {str(number): [x, y] for number, (x, y) in landmarks.items()},
            }
        )
    else:
        print(shown(options.template))
    return 0
