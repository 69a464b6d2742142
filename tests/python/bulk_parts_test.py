"""The files of a run, and its line of progress, without workers."""

import contextlib
import json
import random
import tempfile
import unittest
from pathlib import Path

import numpy as np
import pyarrow.parquet as pq

from zomu.errors import Error
from zomu_bulk._parts import Parts
from zomu_bulk._progress import Progress
from zomu_bulk._sources import photos_of
from zomu_bulk._store import Store
from zomu_bulk._work import Face, Reject, Results, Settings

SETTINGS = Settings(fingerprint="ab" * 32, model=None, finder=None, unchecked=False, version="0.1.0")


def results(*names: str, rejected: str = "") -> Results:
    """A face for each name, and a photograph that gave none."""
    faces = [Face(name, "cd" * 32, None, 1, 1, (1.0, 2.0, 3.0, 4.0), 0.5, "mesh", "1") for name in names]
    templates = list(np.random.default_rng(1).standard_normal((len(names), 502)).astype(np.float32))
    return Results(faces, templates, [Reject(rejected, None, "no\nface")] if rejected else [])


class PartsTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.said: list[str] = []

    @contextlib.contextmanager
    def opened(self, size: int = 2):
        with contextlib.closing(Store(str(self.folder))) as store:
            yield Parts(store, SETTINGS, False, size, self.said.append)

    def test_a_photograph_is_done_when_a_file_names_it(self) -> None:
        with self.opened() as parts:
            parts.add(results("a"))
            self.assertFalse(parts.has("a", False))
            parts.add(results("b", rejected="c"))
            for name in "abc":
                self.assertTrue(parts.has(name, False))
            self.assertEqual((parts.has("b", True), parts.has("c", True)), (True, False))
            parts.add(results("d"))
        with self.opened() as parts:
            self.assertEqual([parts.has(name, False) for name in "abcd"], [True, True, True, False])
            self.assertEqual((parts.templates, list(parts.rejects)), (2, ["c"]))
            parts.add(results("c", "d"))
            self.assertEqual((parts.templates, list(parts.rejects)), (4, []))
        with self.opened() as parts:
            self.assertEqual((parts.templates, list(parts.rejects)), (4, []))
        self.assertEqual(pq.read_table(self.folder / "templates").column("photo").to_pylist(), list("abcd"))

    def test_a_file_that_is_cut_off_anywhere_does_not_count(self) -> None:
        with self.opened() as parts:
            parts.add(results("a", "b"))
            parts.add(results("c", "d"))
        last = self.folder / "templates/part-00000002.parquet"
        whole = last.read_bytes()
        lengths = random.Random(1).sample(range(len(whole)), 100)
        for length in sorted({0, 1, 4, *lengths, *range(len(whole) - 100, len(whole))}):
            for content in (whole[:length], whole[:length] + bytes(len(whole) - length)):
                if content != whole:
                    last.write_bytes(content)
                    with self.opened() as parts:
                        self.assertEqual([parts.has(name, False) for name in "abcd"], [True, True, False, False])
                    self.assertFalse(last.exists())
        self.assertTrue(all(line.startswith("part-00000002.parquet: is damaged or cut off") for line in self.said))

    def test_what_has_another_model_or_finder_is_refused(self) -> None:
        with self.opened():
            pass
        for other in (SETTINGS.__class__(**{**vars(SETTINGS), "fingerprint": "ef" * 32}), SETTINGS):
            with contextlib.closing(Store(str(self.folder))) as store:
                with self.assertRaisesRegex(Error, "was begun with another (model|landmarks); name another folder"):
                    Parts(store, other, other is SETTINGS, 2, self.said.append)
        (self.folder / "run.json").write_text("{")
        with self.assertRaisesRegex(Error, "run.json: is damaged; name another folder"), self.opened():
            pass

    def test_arrays_have_the_rows_of_the_files(self) -> None:
        with self.opened() as parts:
            parts.add(results("a", "b"))
            parts.add(results("c", rejected="d"))
            parts.write_arrays()
            parts.write_rejects()
        self.assertEqual(np.load(self.folder / "templates.npy").shape, (3, 502))
        lines = (self.folder / "faces.csv").read_text().splitlines()
        self.assertEqual([line.split(",")[0] for line in lines], ["photo", "a", "b", "c"])
        self.assertEqual((self.folder / "rejects.csv").read_text(), 'photo,face,reason\nd,,"no\nface"\n')
        self.assertEqual(json.loads((self.folder / "run.json").read_text())["model"], SETTINGS.fingerprint)


class SourcesTest(unittest.TestCase):
    def test_a_manifest_says_who_and_where(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        manifest = folder / "list.csv"
        manifest.write_text('person,photo,landmarks\n"ann, b",a/1.jpg,a/1.csv\n,https://host/2.jpg,\n"ann, b",a/1.jpg,a/1.csv\n')
        first, second = photos_of(str(manifest), False, True)
        self.assertEqual(second, ("https://host/2.jpg", "https://host/2.jpg", None, None))
        self.assertEqual(first, ("a/1.jpg", str(folder / "a/1.jpg"), str(folder / "a/1.csv"), "ann, b"))
        manifest.write_text("person,photo,landmarks\nann,a/1.jpg,a/1.csv\nbob,a/1.jpg,a/2.csv\n")
        with self.assertRaisesRegex(Error, "has two lines for a/1.jpg that say different things; take one out"):
            photos_of(str(manifest), False, True)
        manifest.write_text("person,photo,landmarks\nann,a/1.jpg,b/1.csv\n")
        for beside, may_name, landmarks in ((False, True, "b/1.csv"), (False, False, None), (True, True, "a/1.csv")):
            (photo,) = photos_of(str(manifest), beside, may_name)
            self.assertEqual(photo.person, "ann")
            self.assertEqual(photo.landmarks, landmarks and str(folder / landmarks))


class ProgressTest(unittest.TestCase):
    def test_says_rate_and_time_left(self) -> None:
        for done, seconds, words in (
            (0, 10.0, "7 of 1007 photographs, 2 left out"),
            (100, 10.0, "107 of 1007 photographs, 10.0 a second, (90 s|2 min) left, 2 left out"),
            (1, 10.0, "8 of 1007 photographs, 0.1 a second, 2 h 4[67] min left, 2 left out"),
            (1000, 10.0, "1007 of 1007 photographs, 100.0 a second, 0 s left, 2 left out"),
        ):
            progress = Progress("bulk", 1007, 7)
            progress._history[0] = (progress._history[0][0] - seconds, 7)
            progress.advance(done, 2)
            self.assertRegex(progress.line(), f"^bulk: {words}$".replace("10.0", "(9.9|10.0)"))


if __name__ == "__main__":
    unittest.main()
