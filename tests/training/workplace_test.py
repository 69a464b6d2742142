"""The folder of a training: to whom it belongs, and what is written into it."""

import tempfile
import unittest
from dataclasses import dataclass
from pathlib import Path

from trainer.problems import TrainingProblem
from trainer.whole_file import put_in_place, whole_file
from trainer.workplace import Workplace


@dataclass
class Settings:
    seed: int = 1


class Workplaces(unittest.TestCase):
    def setUp(self):
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.manifest, self.work = self.home / "manifest.csv", self.home / "work"

    def begin(self, text: str) -> None:
        self.manifest.write_text(text, encoding="utf-8")
        Workplace(self.work, self.manifest, Settings(), 0.5)

    def test_a_bad_manifest_does_not_claim_the_folder(self):
        with self.assertRaisesRegex(TrainingProblem, "is not a list of person,photo"):
            self.begin("photo,person,landmarks\na,b,c\n")
        self.assertFalse(self.work.exists())
        self.begin("person,photo,landmarks\na,b,c\n")
        with self.assertRaisesRegex(TrainingProblem, "was begun with content"):
            self.begin("person,photo,landmarks\na,b,d\n")

    def test_planted_links_are_not_followed(self):
        victim = self.home / "victim"
        victim.write_text("old", encoding="utf-8")
        self.work.mkdir()
        for name in ("settings.partial", "link"):
            (self.work / name).symlink_to(victim)
        self.begin("person,photo,landmarks\na,b,c\n")
        with self.assertRaisesRegex(TrainingProblem, "link: is not a regular file"):
            with whole_file(self.work / "link") as file:
                file.write(b"new")
        self.assertEqual(victim.read_text(encoding="utf-8"), "old")

    def test_a_failed_write_leaves_the_former_file(self):
        path = self.home / "file"
        path.write_bytes(b"old")
        with self.assertRaises(KeyboardInterrupt), whole_file(path) as file:
            file.write(b"new")
            raise KeyboardInterrupt
        self.assertEqual([entry.read_bytes() for entry in self.home.iterdir()], [b"old"])

    def test_what_came_to_the_place_of_a_model_stays(self):
        for name in ("new", "empty", "taken"):
            partial, model = self.home / "partial", self.home / name
            partial.mkdir()
            (partial / "6-1").touch()
            if name != "new":
                model.mkdir()
            if name == "taken":
                (model / "letter").touch()
                with self.assertRaisesRegex(TrainingProblem, "taken: already exists"):
                    put_in_place(partial, model)
                self.assertEqual([path.name for path in model.iterdir()], ["letter"])
            else:
                put_in_place(partial, model)
                self.assertEqual([path.name for path in model.iterdir()], ["6-1"])
