"""`zomu draw`: a picture with the landmarks of its faces."""

from __future__ import annotations

import importlib
import io
from argparse import Namespace
from typing import Any

import numpy as np
from numpy.typing import NDArray

from .._files import write_file
from .._one_face import NO_FACE
from ..errors import Error, problems_of
from ..landmark_check import check_landmarks
from ..landmarks import as_landmarks
from ..picture_files import read_picture
from ._faces import Points, faces_in, the_finder
from ._options import add_finder, add_subcommand
from ._output import shown, warn

_POINT = (255, 220, 0)
_EDGE = (0, 0, 0)

# Pixels. Pictures with ids are enlarged until the eyes are so far apart, but not beyond this side.
_EYE_DISTANCE_FOR_IDS = 240
_LARGEST_SIDE = 4000


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "draw",
        "draw a picture with its landmarks",
        "Writes a PNG file: the upright picture with the landmarks of its faces. Landmarks that look wrong are drawn "
        "as well, with a line that says what is wrong.",
        _work,
    )
    parser.add_argument("picture", metavar="PICTURE", help="a PNG or JPEG file")
    parser.add_argument("output", metavar="OUT.png", help="the PNG file to write")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--landmarks", metavar="FILE", help="draw these landmarks: a CSV file with id,x,y")
    add_finder(where)
    parser.add_argument(
        "--ids", action="store_true", help="write ids beside the landmarks, and enlarge the picture for it"
    )


def _work(options: Namespace) -> int:
    if options.landmarks is not None:
        faces = [as_landmarks(options.landmarks)]
        with problems_of(options.picture):
            image = read_picture(options.picture)
        fault = check_landmarks(faces[0], image.shape[1], image.shape[0])
        if fault is not None:
            warn(options.name, f"{options.landmarks}: {fault}")
    else:
        image, found = faces_in(options.picture, the_finder(options))
        faces = [face.landmarks for face in found]
        if not faces:
            raise Error(f"{options.picture}: {NO_FACE}")
    write_file(options.output, _png_with(image, faces, options.ids))
    print(f"{shown(options.output)}: {len(faces)} {'face' if len(faces) == 1 else 'faces'}")
    return 0


def _png_with(image: NDArray[np.uint8], faces: list[Points], with_ids: bool) -> bytes:
    try:
        modules = [importlib.import_module(f"PIL.{name}") for name in ("Image", "ImageDraw")]
    except ImportError as problem:
        raise ModuleNotFoundError(
            "drawing needs Pillow: install zomu[draw], Pillow or Debian's python3-pil"
        ) from problem
    Image, ImageDraw = modules
    scale = _scale_for_ids(image, faces) if with_ids else 1
    sheet = Image.fromarray(np.ascontiguousarray(image[:, :, ::-1].repeat(scale, axis=0).repeat(scale, axis=1)))
    pen = ImageDraw.Draw(sheet)
    for face in faces:
        points = {number: (scale * (x + 0.5) - 0.5, scale * (y + 0.5) - 0.5) for number, (x, y) in face.items()}
        radius = _radius(points)
        for number, (x, y) in points.items():
            pen.ellipse((x - radius, y - radius, x + radius, y + radius), fill=_POINT, outline=_EDGE)
            if with_ids:
                pen.text((x + radius + 1, y - 5), str(number), fill=_POINT)
    file = io.BytesIO()
    sheet.save(file, "PNG")
    return file.getvalue()


def _scale_for_ids(image: NDArray[np.uint8], faces: list[Points]) -> int:
    """How many times as large the picture must be for the ids of its smallest face to be read; 1 to 8."""
    wanted = np.ceil(_EYE_DISTANCE_FOR_IDS / max(1.0, min(_eye_distance(points) for points in faces)))
    return int(max(1, min(wanted, 8, _LARGEST_SIDE // max(image.shape))))


def _eye_distance(points: Points) -> float:
    (x0, y0), (x1, y1) = points[0], points[1]
    return float(np.hypot(x1 - x0, y1 - y0))


def _radius(points: Points) -> float:
    """A fortieth of the distance between the eyes, at least 1.5 pixels."""
    return max(1.5, _eye_distance(points) / 40.0)
