"""Photographs of experiments: drawn once, their patches cut once, and kept."""

import hashlib
import shutil
import subprocess
import sys
from pathlib import Path

from trainer.manifest import read_manifest
from trainer.problems import TrainingProblem
from trainer.tools import PROJECT, run_tool

RENDERER = PROJECT / "training" / "render_people"


def _key(*parts) -> str:
    return hashlib.sha256("\0".join(map(str, parts)).encode()).hexdigest()[:12]


def renderer_key(words: list[str]) -> str:
    """Of the renderer's options and of its code."""
    code = [RENDERER, *sorted((RENDERER.parent / "rendering").glob("*.py"))]
    return _key(*words, *(hashlib.sha256(path.read_bytes()).hexdigest() for path in code))


def drawn_manifest(home: Path, words: list[str], jobs: int) -> Path:
    """That of people drawn with these options. It is written last, so that it stands for all of them."""
    folder = home / f"people-{renderer_key(words)}"
    if not (folder / "manifest.csv").exists():
        print(f"drawing {' '.join(words)}", flush=True)
        result = subprocess.run([sys.executable, RENDERER, folder, *words, "--jobs", str(jobs)], check=False)
        if result.returncode != 0:
            raise TrainingProblem(f"render_people exited with status {result.returncode}")
    return folder / "manifest.csv"


def cut_patches(home: Path, manifest: Path, tools: Path, jobs: int) -> Path:
    """The folder with the patches of the photographs of a manifest."""
    stamps = []
    for person, photo, landmarks in read_manifest(manifest):
        for file in (photo, landmarks):
            if not file.exists():
                raise TrainingProblem(f"{file}: does not exist")
        stamps += [person, photo, photo.stat().st_mtime_ns, landmarks, landmarks.stat().st_mtime_ns]
    folder = home / f"patches-{_key(*stamps)}"
    if not folder.exists():
        partial = folder.with_name(folder.name + ".partial")
        shutil.rmtree(partial, ignore_errors=True)
        print(run_tool(tools, "zomu-patches", "cut", manifest, partial, jobs=jobs), end="", flush=True)
        partial.rename(folder)
    return folder
