"""A whole model in one file, and the folder that it becomes: the bytes that `zomu-model unpack` writes.

tools/model/model_pack.h describes the layout.
"""

from __future__ import annotations

import os
import secrets
import shutil
import struct
import zlib
from pathlib import Path
from typing import Callable, Iterator

import numpy as np
from numpy.typing import NDArray

from .errors import ModelError
from .model_check import ModelFile, described_files

_MARK = b"ZOMUPACK"
_HEAD = struct.Struct("<8sIII")
_VERSION = 1
_SIZE_LIMIT = 64 << 20

_TABLE_SHAPE = (500, 8000)

_Floats = NDArray[np.float32]


def demonstration_pack() -> Path:
    """The demonstration model: in the package, of the same installation, of Debian's packages, or in the sources."""
    package = Path(__file__).resolve().parent
    shares = [folder / "share" / "zomu" for folder in package.parents[3:4]]  # beside lib/python3/dist-packages
    places = [package / "data", *shares, Path("/usr/share/zomu"), package.parent.parent / "models"]
    for place in places:
        if (place / "rendered-people.pack").is_file():
            return place / "rendered-people.pack"
    raise ModelError("the package came without a model; name a packed one, or install Debian's zomu-tools")


def unpack_model(
    pack: str | os.PathLike[str],
    folder: str | os.PathLike[str],
    *,
    replace: bool = False,
    before_file: Callable[[], None] = lambda: None,
) -> None:
    """Writes the folder that a packed model holds: complete, or not at all.

    replace      true if a model that is there may be replaced; nothing but a model ever is
    before_file  called before each of the 303 files

    Raises ModelError where the pack is truncated, altered or of another kind, and where something else is in the
    folder's place; OSError where the system refuses.
    """
    target = Path(os.path.realpath(folder))
    _refuse_occupied(target, replace)
    content = _verified_content(Path(pack))
    target.parent.mkdir(parents=True, exist_ok=True)
    staged = target.with_name(f"{target.name}.partial-{secrets.token_hex(4)}")
    staged.mkdir()
    try:
        for file, values in _files_of(content, os.fspath(pack)):
            before_file()
            header = np.array(file.header, dtype="<i4").tobytes()
            (staged / file.name).write_bytes(header + values.astype("<f4").tobytes())
        _put_in_place(staged, target, replace)
    finally:
        shutil.rmtree(staged, ignore_errors=True)


def _refuse_occupied(folder: Path, replace: bool) -> None:
    if not os.path.lexists(folder):
        return
    if not folder.is_dir():
        raise ModelError(f"{folder} already exists and is not a folder")
    names = {file.name for file in described_files()}
    there = sorted(os.listdir(folder))
    if there and not replace:
        raise ModelError(f"{folder} is not empty; --force replaces a model")
    for name in there:
        if name not in names or (folder / name).is_symlink() or not (folder / name).is_file():
            raise ModelError(f"{folder} holds {name}, which is not a model file: it is not replaced")


def _put_in_place(staged: Path, target: Path, replace: bool) -> None:
    try:
        os.rename(staged, target)  # onto nothing, or an empty folder
    except OSError:
        _refuse_occupied(target, replace)
        if not replace:
            raise
        former = target.with_name(f"{target.name}.former-{secrets.token_hex(4)}")
        os.rename(target, former)
        try:
            os.rename(staged, target)
        except OSError:
            os.rename(former, target)
            raise
        for file in described_files():
            (former / file.name).unlink(missing_ok=True)
        former.rmdir()


def _verified_content(pack: Path) -> bytes:
    def fail(problem: str) -> None:
        raise ModelError(f"{pack}: {problem}")

    try:
        with open(pack, "rb") as file:
            content = file.read(_SIZE_LIMIT + 1)
    except OSError as problem:
        raise ModelError(f"{pack}: cannot be opened: {problem.strerror}") from problem
    if len(content) > _SIZE_LIMIT:
        fail("is too large for a packed model")
    if not content or content[: len(_MARK)] != _MARK[: len(content)]:
        fail("is not a packed model")
    if len(content) < _HEAD.size:
        fail("is truncated")
    _, version, length, checksum = _HEAD.unpack_from(content)
    if version != _VERSION:
        fail(f"has version {version}, not {_VERSION}")
    body = content[_HEAD.size :]
    if len(body) < length:
        fail(f"is truncated: {len(body)} of {length} bytes")
    if len(body) > length:
        fail(f"has {len(body) - length} bytes too many")
    if zlib.crc32(body) != checksum:
        fail("is altered: its checksum is not that of its content")
    return body


def _files_of(content: bytes, name: str) -> Iterator[tuple[ModelFile, _Floats]]:
    reader = _Reader(content)
    second = np.empty(0, dtype=np.float32)
    try:
        for file in described_files():
            if file.name == "6-1":
                first, second = reader.tables()
                yield file, first
            elif file.name == "6-2":
                yield file, second
            elif file.layer == "fc" and file.holds == "weights":
                yield file, reader.columns(file.rows, file.columns)
            else:
                yield file, reader.halves(file.floats)
    except (ValueError, struct.error) as problem:
        # A content with a right checksum that does not fit was written by something else.
        raise ModelError(f"{name}: {problem}") from None
    if not reader.at_end():
        raise ModelError(f"{name}: holds more than a model")


class _Reader:
    """Each number is one product at most, rounded once: the same bits everywhere."""

    def __init__(self, content: bytes) -> None:
        self._content = content
        self._place = 0

    def at_end(self) -> bool:
        return self._place == len(self._content)

    def halves(self, count: int) -> _Floats:
        exponent = int(np.frombuffer(self._take(1), np.int8)[0])
        values = np.frombuffer(self._take(2 * count), "<f2").astype(np.float32)
        return np.ldexp(values, exponent)

    def columns(self, rows: int, columns: int) -> _Floats:
        factors = np.frombuffer(self._take(4 * columns), "<f4")
        steps = np.frombuffer(self._take(rows * columns), np.int8).reshape(rows, columns)
        return steps.astype(np.float32) * factors.astype(np.float32)

    def tables(self) -> tuple[_Floats, _Floats]:
        first, second = np.zeros(_TABLE_SHAPE, dtype=np.float32), np.zeros(_TABLE_SHAPE, dtype=np.float32)
        (count,) = struct.unpack("<I", self._take(4))
        for _ in range(count):
            (row,) = struct.unpack("<I", self._take(4))
            if row >= _TABLE_SHAPE[0]:
                raise ValueError("names a row that no table has")
            factors = np.frombuffer(self._take(8), "<f4").astype(np.float32)
            basis = self.halves(_TABLE_SHAPE[1])
            first[row], second[row] = factors[0] * basis, factors[1] * basis
        return first, second

    def _take(self, count: int) -> bytes:
        taken = self._content[self._place : self._place + count]
        if len(taken) < count:
            raise ValueError("ends too early")
        self._place += count
        return taken
