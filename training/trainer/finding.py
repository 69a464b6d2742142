"""Landmarks that a finder finds in many photographs, in several processes. Needs OpenCV."""

import multiprocessing
import sys
from functools import partial
from pathlib import Path
from typing import Callable, Sequence

import cv2
import numpy as np
from tqdm import tqdm

from trainer.tools import PROJECT

sys.path.insert(0, str(PROJECT / "python"))

from zomu.finders import Face, find_faces, finder_named
from zomu.landmarks import write_landmarks

# Which of the faces of a picture is meant, or None.
Choice = Callable[[Sequence[Face], np.ndarray], Face | None]

_finder = None


def only_face(faces: Sequence[Face], _picture: np.ndarray) -> Face | None:
    return faces[0] if len(faces) == 1 else None


def middle_face(faces: Sequence[Face], picture: np.ndarray) -> Face | None:
    """The one whose box is nearest to the middle of the picture."""
    middle = np.array(picture.shape[1::-1]) / 2

    def distance(face: Face) -> float:
        left, top, right, bottom = face.box
        return float(np.hypot(*(np.array([left + right, top + bottom]) / 2 - middle)))

    return min(faces, key=distance, default=None)


def _begin(name: str) -> None:
    global _finder
    cv2.setNumThreads(1)
    _finder = finder_named(name)


def _find(choice: Choice, task: tuple[Path, Path]) -> bool:
    photo, file = task
    if file.exists():
        return True
    picture = cv2.imread(str(photo))
    face = None if picture is None else choice(find_faces(picture, _finder), picture)
    if face is not None:
        write_landmarks(file, face.landmarks)
    return face is not None


def find_landmarks(tasks: Sequence[tuple[Path, Path]], finder: str, jobs: int, choice: Choice) -> list[bool]:
    """For each photograph and file of landmarks, whether the file is there now. Finished ones are not repeated."""
    with multiprocessing.get_context("spawn").Pool(jobs, _begin, (finder,)) as pool:
        results = pool.imap(partial(_find, choice), tasks, chunksize=8)
        return list(tqdm(results, total=len(tasks), unit="photo", disable=None))
