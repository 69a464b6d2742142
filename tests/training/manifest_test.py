"""Lists of photographs, written and read."""

import os
import tempfile
import unittest
from pathlib import Path

from support import PROJECT, TOOLS
from trainer.manifest import read_manifest, write_manifest
from trainer.problems import TrainingProblem
from trainer.tools import run_tool


class Manifests(unittest.TestCase):
    def setUp(self):
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory())).resolve()
        self.path = self.home / "manifest.csv"

    def test_paths_are_seen_from_the_list(self):
        write_manifest(self.path, [("ann", "a/1.jpg", "/b/1.csv"), ("bob", "2.jpg", "2.csv")])
        self.assertEqual(read_manifest(self.path),
                         [("ann", self.home / "a/1.jpg", Path("/b/1.csv")),
                          ("bob", self.home / "2.jpg", self.home / "2.csv")])
        # Blank lines and the line ends of Windows are accepted.
        self.path.write_bytes(b"person,photo,landmarks\r\n\r\nann,1.jpg,1.csv\r\n")
        self.assertEqual(len(read_manifest(self.path)), 1)

    def test_what_is_no_list_is_said_in_one_line(self):
        for text in ("", "\n", "person,photo\nann,1.jpg\n", "person,photo,landmarks\n",
                     "person,photo,landmarks\nann,1.jpg\n",
                     "person,photo,landmarks\nann,1.jpg,1.csv,more\n"):
            self.path.write_text(text, encoding="utf-8")
            with self.assertRaisesRegex(TrainingProblem, "manifest.csv: is not a list of person,photo"):
                read_manifest(self.path)
        for text in ("ann,1.jpg,1.csv\nbob,,2.csv\n", "ann,\"1.jpg,1.csv\n", "ann,1\".jpg\",1.csv,\n"):
            self.path.write_text("person,photo,landmarks\n" + text, encoding="utf-8")
            with self.assertRaisesRegex(TrainingProblem, "manifest.csv: is not a list of person,photo"):
                read_manifest(self.path)
        with self.assertRaisesRegex(TrainingProblem, "/dev/zero: is larger than 268435456 bytes"):
            read_manifest(Path("/dev/zero"))
        with self.assertRaisesRegex(TrainingProblem, "absent: No such file"):
            read_manifest(self.home / "absent")

    def test_any_name_comes_back_as_it_was_written(self):
        names = ["with, comma", 'with "marks"', "two\nlines", "two\r\nlines", '"', ",", " blanks ",
                 os.fsdecode(b"\xff"), "M\u00fcller"]
        rows = [(name, self.home / name, self.home / f"{name}.csv") for name in names]
        write_manifest(self.path, rows)
        self.assertEqual(read_manifest(self.path), rows)
        self.path.write_bytes(b"\xef\xbb\xbf" + self.path.read_bytes())  # as spreadsheets save them
        self.assertEqual(read_manifest(self.path), rows)

    def test_the_tools_read_and_write_the_same_lists(self):
        folder = self.home / "a folder"
        folder.mkdir()
        sample = PROJECT / "examples/data/portrait"
        rows = []
        for name in ("a b", os.fsdecode(b"\xff")):
            photo, landmarks = folder / f"{name}.png", folder / f"{name}.csv"
            photo.symlink_to(sample.with_suffix(".png"))
            landmarks.symlink_to(sample.with_suffix(".csv"))
            rows.append((name, photo, landmarks))
        write_manifest(self.path, rows)
        run_tool(TOOLS, "zomu-patches", "cut", self.path, self.home / "patches")
        self.assertEqual(read_manifest(self.home / "patches" / "faces.csv"), rows)
