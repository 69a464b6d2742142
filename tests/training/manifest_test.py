"""Lists of photographs, written and read."""

import tempfile
import unittest
from pathlib import Path

from trainer.manifest import read_manifest, write_manifest
from trainer.problems import TrainingProblem


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
        with self.assertRaisesRegex(TrainingProblem, "absent: No such file"):
            read_manifest(self.home / "absent")
