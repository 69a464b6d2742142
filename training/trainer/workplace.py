"""The folder in which a training keeps its progress, from which it resumes after a kill."""

from __future__ import annotations

import hashlib
import json
import shutil
from dataclasses import asdict
from pathlib import Path
from typing import TYPE_CHECKING

from trainer.manifest import read_manifest
from trainer.problems import TrainingProblem
from trainer.tools import run_tool
from trainer.whole_file import whole_file

if TYPE_CHECKING:
    from trainer.recipe import Recipe


def result_path(work: Path, number: int) -> Path:
    """The result file of network `number`."""
    return work / f"network-{number:02}" / "result.pt"


class Workplace:
    """`folder` belongs to one manifest and one recipe."""

    def __init__(self, folder: Path, manifest: Path, recipe: Recipe, fit_share: float):
        self.folder = folder
        read_manifest(manifest)  # before the folder is claimed for it
        try:
            content = manifest.read_bytes()
        except OSError as error:
            raise TrainingProblem(f"{manifest}: {error.strerror}") from error
        settings = {"manifest": str(manifest.resolve()),
                    "content": hashlib.sha256(content).hexdigest(),
                    "fit share": fit_share, **asdict(recipe)}
        folder.mkdir(parents=True, exist_ok=True)
        file = folder / "settings.json"
        if not file.exists():
            self._replace(file, json.dumps(settings, indent=2) + "\n")
        former = json.loads(file.read_text(encoding="utf-8"))
        for key in settings:
            if former.get(key) != settings[key]:
                raise TrainingProblem(f"{folder}: was begun with {key} {former.get(key)}, not "
                                      f"{settings[key]}; name another folder, or remove it")

    @staticmethod
    def _replace(file: Path, text: str) -> None:
        with whole_file(file) as stream:
            stream.write(text.encode())

    def patches(self, manifest: Path, tools: Path, jobs: int, *words: str) -> Path:
        """The folder with the patches, which are cut if they do not exist yet; `words` for the tool."""
        patches = self.folder / "patches"
        if not patches.exists():
            partial = self.folder / "patches.partial"
            shutil.rmtree(partial, ignore_errors=True)
            print(run_tool(tools, "zomu-patches", "cut", manifest, partial, *words, jobs=jobs), end="")
            partial.rename(patches)
        return patches

    def result(self, number: int) -> Path:
        return result_path(self.folder, number)

    def log(self, line: dict) -> None:
        with open(self.folder / "log.jsonl", "a", encoding="utf-8") as file:
            file.write(json.dumps(line) + "\n")
