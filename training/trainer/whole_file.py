"""Files and folders that appear complete or not at all."""

import errno
import os
import secrets
import shutil
import tempfile
from contextlib import contextmanager
from pathlib import Path
from typing import BinaryIO, Iterator

from trainer.problems import TrainingProblem


@contextmanager
def whole_file(path: Path) -> Iterator[BinaryIO]:
    """A new file beside `path`, which takes its place at the end. If anything is raised, it is removed, and what
    was there stays. Nothing but a regular file is replaced, and no link is followed."""
    if path.is_symlink() or (path.exists() and not path.is_file()):
        raise TrainingProblem(f"{path}: is not a regular file, and is not replaced")
    partial = path.with_name(f".zomu-{secrets.token_hex(8)}")
    with open(partial, "xb") as file:
        try:
            yield file
            file.flush()
            os.replace(partial, path)
        except BaseException:
            partial.unlink()
            raise


def put_in_place(partial: Path, model: Path) -> None:
    """Renames a folder to a place where nothing is, or an empty folder. Whatever came there meanwhile stays."""
    try:
        try:
            os.rename(partial, model)
        except OSError as error:
            if error.errno != errno.EXDEV:
                raise
            with tempfile.TemporaryDirectory(dir=model.parent) as beside:
                os.rename(shutil.copytree(partial, Path(beside) / model.name), model)
            shutil.rmtree(partial)
    except OSError as error:
        raise TrainingProblem(f"{model}: already exists ({error.strerror})") from error
