"""What the tests of galleries have in common: templates that nobody has, and galleries with them."""

from __future__ import annotations

import hashlib
import sys
import tempfile
import unittest
from datetime import datetime
from pathlib import Path

import numpy as np

import zomu
from support import MODEL, PROJECT
from zomu_gallery import Entry, Gallery, Match
from zomu_gallery.store import StoredFace

sys.path.insert(0, str(PROJECT / "bench/scale/galleries"))
from made_templates import MadeTemplates  # noqa: E402

FINGERPRINT = "ab" * 32
MADE = MadeTemplates()


class GalleryTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        zomu.load(model=MODEL)

    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory())) / "gallery"

    def gallery(self) -> Gallery:
        """The one in the folder, which is created first if it isn't there."""
        is_there = self.folder.exists()
        return self.enterContext(Gallery(self.folder) if is_there else Gallery.create(self.folder, FINGERPRINT))


def entry(person: str, template: np.ndarray, face: int = 1, expires: datetime | None = None) -> Entry:
    return Entry(person, hashlib.sha256(template.tobytes()).digest(), template, face, "on paper", expires)


def entries(templates: np.ndarray, first: int = 0) -> list[Entry]:
    """Each of a person with a number."""
    return [entry(f"person {first + number}", template) for number, template in enumerate(templates)]


def fetcher(templates: np.ndarray, without: tuple[int, ...] = ()):
    """As a store, with the rows as numbers; some are not there any more."""
    return lambda ids: [
        StoredFace(number, f"person {number}", bytes(32), 1, templates[number])
        for number in ids.tolist()
        if number not in without
    ]


def brute_force(templates: np.ndarray, probe: np.ndarray, count: int) -> list[tuple[int, bytes]]:
    """The best by the library alone: numbers and bits of scores, the older of equal ones first."""
    scores = zomu.compare_many(templates, probe)
    return [(int(i), scores[i].tobytes()) for i in np.argsort(-scores, kind="stable")[:count]]


def bits(matches: list[Match]) -> list[tuple[int, bytes]]:
    return [(match.face.id, np.float32(match.score).tobytes()) for match in matches]
