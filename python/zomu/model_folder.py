"""The folder with the trained numbers: where the library looks for it, its files, its fingerprint.

The library reads the folder MODEL_NAME in the temporary directory, and looks that directory up once,
while it is loaded.
"""

from __future__ import annotations

import hashlib
import os
from pathlib import Path

from .errors import ModelError

MODEL_NAME = "~zvplugintmp~"
NETWORKS = 25

# Networks that read patches in colour, and those with patches of 55 x 55; others: grey, 47 x 47.
_COLOUR = frozenset({1, 2, 3, 5, 8, 11, 14, 17, 19, 21, 23, 25})
_LARGE = frozenset({1, 2})

# With a longer path of the temporary directory, loading the library would end the process.
_DIRECTORY_LIMIT = 237


def temporary_directory() -> str:
    """The directory in which the library looks for its model, by the library's own rule."""
    for name in ("TMPDIR", "TMP", "TEMP", "TEMPDIR"):
        value = os.environ.get(name)
        if value:
            return value
    return "/tmp"


def model_files() -> list[tuple[str, int]]:
    """Name and size in bytes of the 303 files, in the order in which the library reads them."""
    files = []
    for network in range(1, NETWORKS + 1):
        side = 55 if network in _LARGE else 47
        planes = 3 if network in _COLOUR else 1
        files.append((f"0-{network}-0", 4 + 4 * planes * side * side))
    files += [("6-0", 4 * 8000), ("6-1", 4 * 500 * 8000), ("6-2", 4 * 500 * 8000)]
    for network in range(1, NETWORKS + 1):
        large = network in _LARGE
        shapes = {
            "1-{}-1": (48 if network in _COLOUR else 16) * 16,
            "1-{}-2": 16,
            "2-{}-1": 144 * 32,
            "2-{}-2": 32,
            "3-{}-1": 288 * 48,
            "3-{}-2": 48,
            "4-{}-1": 192 * 64,
            "4-{}-2": 64,
            "5-{}-1": (1024 if large else 576) * 160,
            "5-{}-2": (1200 if large else 768) * 160,
            "5-{}-3": 160,
        }
        files += [(name.format(network), 8 + 4 * floats) for name, floats in shapes.items()]
    return files


def require_model(folder: Path) -> None:
    """Raises ModelError if the folder is missing, or files in it are missing or have a wrong size.

    The values are not checked: `zomu-model check` does that.
    """
    if not folder.is_dir():
        raise ModelError(
            f"there is no model folder {folder}. Name one with Context(model=FOLDER), or set TMPDIR to "
            f"a directory that has the model in its folder {MODEL_NAME}. `zomu-model make FOLDER` creates "
            "an untrained one for experiments"
        )
    faults = []
    for name, size in model_files():
        try:
            actual = (folder / name).stat().st_size
        except OSError:
            faults.append(f"{name} is missing")
            continue
        if actual != size:
            faults.append(f"{name} has {actual} bytes instead of {size}")
    if faults:
        shown = ", ".join(faults[:3]) + (" and so on" if len(faults) > 3 else "")
        raise ModelError(
            f"{len(faults)} of the 303 files of the model folder {folder} are wrong: {shown}. "
            "`zomu-model check FOLDER` says what is wrong with each"
        )


def require_own_model(folder: Path) -> None:
    """Raises ModelError if another user has put the folder where everybody can put one.

    Root may. A folder that the caller names is nobody else's choice; this is for the one that the library finds.
    """
    try:
        owner, directory = os.lstat(folder).st_uid, os.stat(folder.parent)
    except OSError:
        return  # there is none
    if directory.st_mode & 0o002 and owner not in (0, os.geteuid()):
        raise ModelError(
            f"{folder} belongs to another user, and everybody can write to {folder.parent}; whoever makes a model "
            "decides who looks like whom, so set TMPDIR to a folder of your own and install one there"
        )


def require_short_directory(directory: str) -> None:
    """Raises ModelError if a path is so long that the library would end the process."""
    size = len(os.fsencode(directory.rstrip("/")))
    if size > _DIRECTORY_LIMIT:
        raise ModelError(
            f"the path of the temporary directory has {size} bytes, the library accepts {_DIRECTORY_LIMIT}: "
            f"{directory}"
        )


def model_fingerprint(folder: str | os.PathLike[str]) -> str:
    """SHA-256 over the contents of all 303 files in the order of model_files, in hexadecimal digits.

    The same as `zomu-model fingerprint FOLDER` prints.
    """
    require_model(Path(folder))
    digest = hashlib.sha256()
    for name, size in model_files():
        content = (Path(folder) / name).read_bytes()
        if len(content) != size:
            raise ModelError(f"{Path(folder) / name} changed while it was read")
        digest.update(content)
    return digest.hexdigest()
