"""`zomu model`: the folder with the trained numbers, as `zomu-model` installs, checks, lists and names it."""

from __future__ import annotations

import os
from argparse import Namespace
from pathlib import Path
from typing import Any

from ..errors import ModelError
from ..model_check import check_model, described_files, list_text
from ..model_folder import MODEL_NAME, model_fingerprint, require_own_model, temporary_directory
from ..model_pack import demonstration_pack, unpack_model
from ..thresholds import DEMONSTRATION_MODEL, MEASURED_THRESHOLDS
from ._options import add_json, add_subcommand
from ._output import Progress, print_json, shown


def add(commands: Any) -> None:
    parser = add_subcommand(
        commands,
        "model",
        "install, check, list and name models",
        "Works with model folders. What `zomu-model` does as well, it does in the same way.",
        _where,
    )
    actions = parser.add_subparsers(metavar="ACTION", required=True)

    install = add_subcommand(
        actions,
        "install",
        "unpack a model where the library looks for it",
        "Unpacks a model into the folder ~zvplugintmp~ of the temporary directory (TMPDIR, else /tmp), where the "
        "library looks for it. The folder appears with all of its files or not at all. Many systems empty /tmp when "
        "they start; if TMPDIR names another folder, the model stays.",
        _install,
    )
    install.add_argument(
        "pack", metavar="FILE", nargs="?", help="the packed model; by default the demonstration model"
    )
    install.add_argument("--folder", metavar="FOLDER", help="unpack it into this folder instead")
    install.add_argument("--force", action="store_true", help="replace an existing model")
    add_json(install)

    check = add_subcommand(
        actions, "check", "say what is wrong with a model folder", "Checks the contents of all 303 files, and that no "
        "other user has put the folder into a directory to which everybody can write.", _check
    )
    _add_folder(check)
    add_json(check)

    list_files = add_subcommand(
        actions, "list", "print all files with shapes and sizes", "Prints the files that a model folder has.", _list
    )
    add_json(list_files)

    fingerprint = add_subcommand(
        actions,
        "fingerprint",
        "print the SHA-256 of all files",
        "Prints the number that tells one model from another.",
        _fingerprint,
    )
    _add_folder(fingerprint)
    add_json(fingerprint)

    where = add_subcommand(
        actions,
        "where",
        "print where the model is, and which one",
        "Prints the folder where the library looks for its model, and what is known of the model that is there.",
        _where,
    )
    add_json(where)


def _add_folder(parser: Any) -> None:
    parser.add_argument(
        "folder", metavar="FOLDER", nargs="?", help="the model folder; by default that where the library looks"
    )


def _folder(options: Namespace) -> str:
    folder: str | None = options.folder
    return folder if folder is not None else str(_default())


def _default() -> Path:
    folder = Path(temporary_directory(), MODEL_NAME)
    require_own_model(folder)
    return folder


def _install(options: Namespace) -> int:
    pack = options.pack if options.pack is not None else demonstration_pack()
    folder = _folder(options)
    with Progress("files", len(described_files())) as progress:
        unpack_model(pack, folder, replace=options.force, before_file=progress.advance)
    size = sum(file.size for file in described_files())
    if options.json:
        fingerprint = model_fingerprint(folder)
        print_json({"folder": os.path.abspath(folder), "bytes": size, **_known(fingerprint)})
        return 0
    print(f"{shown(folder)}: {len(described_files())} files, {size} bytes")
    if options.pack is None:
        print("This is the demonstration model: it was trained on drawn heads, and cannot identify real people.")
    if folder == f"/tmp/{MODEL_NAME}":
        print(
            "Many systems empty /tmp when they start. To keep the model, set TMPDIR to another folder and install again."
        )
    return 0


def _check(options: Namespace) -> int:
    folder = _folder(options)
    faults = check_model(folder)
    if options.json:
        print_json({"folder": folder, "good": not faults, "faults": faults})
        return 1 if faults else 0
    for line in faults:
        print(line)
    count = len(described_files())
    if faults:
        raise ModelError(f"{folder}: {len(faults)} of {count} files are wrong")
    print(f"{shown(folder)}: all {count} files are good")
    return 0


def _list(options: Namespace) -> int:
    if options.json:
        print_json([file._asdict() for file in described_files()])
    else:
        print(list_text())
    return 0


def _fingerprint(options: Namespace) -> int:
    fingerprint = model_fingerprint(_folder(options))
    if options.json:
        print_json(_known(fingerprint))
    else:
        print(fingerprint)
    return 0


def _where(options: Namespace) -> int:
    folder = _default()
    if not folder.is_dir():
        raise ModelError(f"there is no model in {folder}: `zomu model install` puts the demonstration model there")
    fingerprint = model_fingerprint(folder)
    if options.json:
        print_json({"folder": str(folder), **_known(fingerprint)})
        return 0
    print(shown(folder))
    known = MEASURED_THRESHOLDS.get(fingerprint)
    print(f"{fingerprint}: {known.model if known else 'a model of which this package knows nothing'}")
    return 0


def _known(fingerprint: str) -> dict[str, Any]:
    return {"fingerprint": fingerprint, "is_demonstration_model": fingerprint == DEMONSTRATION_MODEL}
