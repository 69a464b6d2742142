"""Indexes as files, and the file that says which one is a gallery's."""

from __future__ import annotations

import contextlib
import fcntl
import hashlib
import json
import os
import secrets
from pathlib import Path
from typing import Any, Iterator

import faiss

from zomu._files import write_file
from zomu.errors import Error

from .approximate import ApproximateIndex
from .exact import ExactIndex

Index = ExactIndex | ApproximateIndex

_DESCRIPTION = "gallery.json"
_FORMAT = 1
_SUFFIX = ".faiss"


def write_description(folder: Path, description: dict[str, Any]) -> None:
    text = json.dumps({"format": _FORMAT, **description}, indent=1)
    write_file(folder / _DESCRIPTION, text.encode() + b"\n")


def read_description(folder: Path) -> dict[str, Any]:
    """Fingerprint, database and index of a gallery; raises Error if the folder is none."""
    try:
        description = json.loads((folder / _DESCRIPTION).read_bytes())
        if description["format"] == _FORMAT and {"fingerprint", "database", "index"} <= description.keys():
            return dict(description)
    except FileNotFoundError:
        raise Error(f"{folder}: is not a gallery; `zomu gallery add` makes one") from None
    except (ValueError, TypeError, KeyError):
        pass
    raise Error(f"{folder / _DESCRIPTION}: is damaged, or of a later version of zomu")


def save_index(folder: Path, index: Index, position: int) -> None:
    """Writes the index beside the former one, then says that it is the gallery's, then removes the former."""
    partial = folder / f".zomu-{secrets.token_hex(8)}.partial"
    try:
        faiss.write_index(index.serialized(), str(partial))
        digest = _digest(partial)
        with _locked(folder):
            name = f"{digest[:16]}{_SUFFIX}"
            os.replace(partial, folder / name)
            saved = {
                "kind": index.kind,
                "file": name,
                "sha256": digest,
                "position": position,
                "parameters": index.parameters(),
            }
            write_description(folder, {**read_description(folder), "index": saved})
            for other in folder.glob(f"*{_SUFFIX}"):
                if other.name != name:
                    other.unlink()
    finally:
        partial.unlink(missing_ok=True)


def load_index(folder: Path) -> tuple[Index, int] | None:
    """The index and its position in the log of changes, None if there is none; raises Error if it was altered."""
    with _locked(folder):
        saved = read_description(folder)["index"]
        if saved is None:
            return None
        path = folder / Path(saved["file"]).name
        try:
            if _digest(path) == saved["sha256"]:
                index = faiss.read_index(str(path))
                if saved["kind"] == ExactIndex.kind:
                    return ExactIndex(index), int(saved["position"])
                return ApproximateIndex(saved["parameters"], index), int(saved["position"])
        except FileNotFoundError:
            pass
    raise Error(f"{path}: is not the index that was saved; `zomu gallery rebuild {folder}` makes it again")


def _digest(path: Path) -> str:
    with open(path, "rb") as file:
        digest = hashlib.sha256()
        while block := file.read(1 << 20):
            digest.update(block)
    return digest.hexdigest()


@contextlib.contextmanager
def _locked(folder: Path) -> Iterator[None]:
    """One process at a time."""
    with open(folder / ".lock", "ab") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield
