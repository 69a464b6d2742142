"""Landmarks of no face: the commands leave it to the tools to refuse them, and say when the user insists."""

import tempfile
import unittest
from pathlib import Path

from support import run_command
from trainer.manifest import write_manifest


class Landmarks(unittest.TestCase):
    def setUp(self):
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory())).resolve()
        self.manifest = self.home / "manifest.csv"
        write_manifest(self.manifest, [("ann", "1.jpg", "1.csv")])
        (self.home / "model").mkdir()
        for name in ("zomu-scores", "zomu-patches"):
            tool = self.home / name
            tool.write_text(f'#!/bin/sh\necho "$@" > "{self.home}/words"\nexit 1\n')
            tool.chmod(0o755)

    def test_that_are_to_be_taken_as_they_are_are_named_to_the_tool(self):
        commands = {
            "evaluate": (self.manifest, self.home / "out", "--model", self.home / "model"),
            "search": ("1.jpg", "1.csv", self.manifest, "--model", self.home / "model"),
            "train.py": (self.manifest, self.home / "new", "--work", self.home / "work"),
        }
        for command, arguments in commands.items():
            for insists in ((), ("--unchecked",)):
                done = run_command(command, *arguments, "--tools", self.home, *insists)
                self.assertIn("exited with status 1", done.stderr)
                words = (self.home / "words").read_text().split()
                self.assertEqual("--unchecked" in words, bool(insists), command)


if __name__ == "__main__":
    unittest.main()
