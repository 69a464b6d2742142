"""The shared library in this process: found, loaded once, its four functions declared.

The library reads its tables while it is loaded, and this package never closes it. So a process has one library and
one model, determined by whatever loads it first.
"""

from __future__ import annotations

import atexit
import ctypes
import os
import shutil
import tempfile
import threading
from pathlib import Path
from typing import Mapping, NamedTuple

from .errors import LibraryError, ModelError
from .model_folder import (
    MODEL_NAME,
    model_fingerprint,
    require_model,
    require_own_model,
    require_short_directory,
    temporary_directory,
)

_SONAME = "libZOMU.so.0"


class LandmarkEntry(ctypes.Structure):
    _fields_ = [("id", ctypes.c_int32), ("x", ctypes.c_float), ("y", ctypes.c_float)]


class LandmarkRecord(ctypes.Structure):
    _fields_ = [
        ("count", ctypes.c_int32),
        ("reserved", ctypes.c_uint8 * 4),
        ("entries", LandmarkEntry * 29),
    ]


class Loaded(NamedTuple):
    """The library of this process and the folder whose tables it has read; None without a model."""

    functions: ctypes.CDLL
    model: Path | None
    name: str  # of the library's file; a path is absolute
    directory: str | None  # in which it has found its model; None where that is not known


_lock = threading.Lock()
_loaded: Loaded | None = None
_process = 0
_fingerprint: str | None = None


def load(
    model: str | os.PathLike[str] | None = None,
    *,
    library: str | os.PathLike[str] | None = None,
    without_model: bool = False,
) -> None:
    """Loads the library into this process, with a model, permanently.

    `Context` and `compare` do it themselves if necessary. A process has one library and one model: a
    later call may name the same model again, but no other.

    model          the folder with the 303 files, under any name. Without it the library's own rule
                   applies: the folder ~zvplugintmp~ of the directory that TMPDIR names (or TMP, TEMP,
                   TEMPDIR; else /tmp). TMPDIR is changed during the load: other threads should not ask
                   for temporary files at that time.
    library        the file of the library. Without it: what ZOMU_LIBRARY names, else what the system's
                   loader finds as libZOMU.so.0.
    without_model  true for processes that only compare. The library then reports on standard output
                   that it could not load 28 tables.
    """
    require(model, library, without_model)


def require(
    model: str | os.PathLike[str] | None = None,
    library: str | os.PathLike[str] | None = None,
    without_model: bool = False,
) -> Loaded:
    """The library of this process, loaded now if it is not yet."""
    global _loaded, _process
    with _lock:
        if _loaded is None:
            _loaded = _load_without_model(library) if without_model else _load(model, library)
            _process = os.getpid()
        elif os.getpid() != _process:
            raise LibraryError(
                "this process was forked from one that had loaded the library, and a forked process does not "
                "have the threads that may have been using it. Start workers with 'spawn' "
                "(multiprocessing.get_context('spawn')), or load the library only in the workers"
            )
        elif model is not None and not _is_loaded_model(model):
            raise ModelError(
                f"this process has already loaded the library with {_loaded.model or 'no model'}, and a "
                f"process has one model; start another process for {os.fspath(model)}"
            )
        return _loaded


def name_of_process() -> str:
    """The library's file, or what will be loaded where none was named: a path, or a name for the loader."""
    return _name_of(None) if _loaded is None else _loaded.name


def fingerprint_of_process() -> str | None:
    """The fingerprint of this process's model, or None without one. The first call takes a while."""
    global _fingerprint
    if _loaded is None or _loaded.model is None:
        return None
    if _fingerprint is None:
        _fingerprint = model_fingerprint(_loaded.model)
    return _fingerprint


def _is_loaded_model(model: str | os.PathLike[str]) -> bool:
    assert _loaded is not None
    return (
        _loaded.model is not None and Path(model).exists() and Path(model).samefile(_loaded.model)
    )


def _load(model: str | os.PathLike[str] | None, library: str | os.PathLike[str] | None) -> Loaded:
    if model is None:
        directory = temporary_directory()
        require_short_directory(directory)
        # Absolute: the library opens the weights again for every new context.
        folder = Path(directory, MODEL_NAME).absolute()
        require_own_model(folder)
        require_model(folder)
        is_foreign = is_loaded(_name_of(library))
        if not os.path.isabs(directory):
            directory = str(folder.parent)
        functions = _open(library, {"TMPDIR": directory})
        return Loaded(functions, folder, _path_of(library), None if is_foreign else directory)
    folder = Path(model).absolute()
    require_model(folder)
    _refuse_foreign_library(library)
    directory = _directory_with(folder)
    functions = _open(library, {"TMPDIR": directory})
    return Loaded(functions, folder, _path_of(library), directory)


def _load_without_model(library: str | os.PathLike[str] | None) -> Loaded:
    _refuse_foreign_library(library)
    functions = _open(library, {"TMPDIR": _private_directory()})
    return Loaded(functions, None, _path_of(library), None)


def _private_directory() -> str:
    directory = tempfile.mkdtemp(prefix="zomu-")
    atexit.register(_remove_directory, directory, os.getpid())
    require_short_directory(directory)
    return directory


def _remove_directory(directory: str, owner: int) -> None:
    """Forked children inherit what is registered for the end, but the owner goes on reading the model."""
    if os.getpid() == owner:
        shutil.rmtree(directory, ignore_errors=True)


def _directory_with(folder: Path) -> str:
    """A temporary directory in which the library finds `folder` under the only name it looks for."""
    directory = _private_directory()
    os.symlink(folder, os.path.join(directory, MODEL_NAME), target_is_directory=True)
    return directory


def _name_of(library: str | os.PathLike[str] | None) -> str:
    if library is not None:
        return os.fspath(library)
    # Wheels for one kind of system have the library in the package.
    carried = os.path.join(os.path.dirname(os.path.abspath(__file__)), "lib", _SONAME)
    return os.environ.get("ZOMU_LIBRARY") or (carried if os.path.exists(carried) else _SONAME)


def _path_of(library: str | os.PathLike[str] | None) -> str:
    """The name, so that it leads to the same file after the process has moved."""
    name = _name_of(library)
    return os.path.abspath(name) if os.sep in name else name


def is_loaded(name: str) -> bool:
    try:
        ctypes.CDLL(name, mode=os.RTLD_NOLOAD)
    except OSError:
        return False
    return True


def _refuse_foreign_library(library: str | os.PathLike[str] | None) -> None:
    """Another part of the process may have loaded the library, and so determined its model."""
    if is_loaded(_name_of(library)):
        raise LibraryError(
            "another part of this process has already loaded the library, with its model; omit model= to use "
            "that one, or load zomu first"
        )


def _open(library: str | os.PathLike[str] | None, variables: Mapping[str, str]) -> ctypes.CDLL:
    name = _name_of(library)
    try:
        functions = open_with(name, variables)
    except OSError as problem:
        raise LibraryError(
            f"the library cannot be loaded: {problem}. Install it (its Debian package, or `cmake --install`), "
            "or name its file with the environment variable ZOMU_LIBRARY or with library=FILE"
        ) from problem
    return _declared(functions, name)


def open_with(name: str, variables: Mapping[str, str]) -> ctypes.CDLL:
    """Loads a library while the environment has these variables; raises OSError if there is none."""
    before = {variable: os.environ.get(variable) for variable in variables}
    os.environ.update(variables)
    try:
        return ctypes.CDLL(name)
    finally:
        for variable, value in before.items():
            if value is None:
                del os.environ[variable]
            else:
                os.environ[variable] = value


def _declared(functions: ctypes.CDLL, name: str) -> ctypes.CDLL:
    try:
        functions.ZomuCreate.argtypes = ()
        functions.ZomuCreate.restype = ctypes.c_void_p
        functions.ZomuExtractTemplate.argtypes = (
            ctypes.c_void_p,
            ctypes.c_void_p,
            ctypes.c_int32,
            ctypes.c_int32,
            ctypes.c_int32,
            ctypes.POINTER(LandmarkRecord),
            ctypes.c_void_p,
        )
        functions.ZomuExtractTemplate.restype = None
        functions.ZomuCompareTemplates.argtypes = (ctypes.c_void_p, ctypes.c_void_p)
        functions.ZomuCompareTemplates.restype = ctypes.c_float
        functions.ZomuDestroy.argtypes = (ctypes.c_void_p,)
        functions.ZomuDestroy.restype = None
    except AttributeError as problem:
        raise LibraryError(f"{name} is not the library: {problem}") from None
    return functions
