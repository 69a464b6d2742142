"""The folder that a run writes to: on this machine, or in a store that fsspec knows."""

from __future__ import annotations

import fcntl
import os
import posixpath
import secrets
from contextlib import contextmanager
from typing import IO, Any, Iterator

import fsspec

from zomu.errors import Error

from ._sources import is_address


class Store:
    """Files appear whole or not at all: here they are written beside, flushed to the disk and renamed; an object of
    a store appears when all of it has arrived.
    """

    def __init__(self, place: str) -> None:
        self.place = place
        self._is_here = not is_address(place)
        self._files, self._root = fsspec.core.url_to_fs(os.path.abspath(place) if self._is_here else place)
        self._files.makedirs(self._root, exist_ok=True)
        self._lock = self._locked() if self._is_here else None

    def path(self, name: str) -> str:
        return posixpath.join(self._root, name)

    def names(self, folder: str, start: str, end: str) -> list[str]:
        """The names in a folder that begin and end so, in their order."""
        self._files.invalidate_cache()
        if not self._files.isdir(self.path(folder)):
            return []
        names = [posixpath.basename(path) for path in self._files.ls(self.path(folder), detail=False)]
        return sorted(name for name in names if name.startswith(start) and name.endswith(end))

    def open(self, name: str) -> IO[bytes]:
        file: IO[bytes] = self._files.open(self.path(name), "rb")
        return file

    def exists(self, name: str) -> bool:
        return bool(self._files.exists(self.path(name)))

    def move(self, name: str, target: str) -> None:
        self._files.makedirs(posixpath.dirname(self.path(target)), exist_ok=True)
        self._files.mv(self.path(name), self.path(target))

    @contextmanager
    def writing(self, name: str) -> Iterator[IO[bytes]]:
        """A new file, or one that replaces what has this name."""
        path = self.path(name)
        if self._is_here:
            with _written_beside(path) as here:
                yield here
            return
        file: Any = self._files.open(path, "wb", autocommit=False)
        try:
            with file:
                yield file
        except BaseException:
            file.discard()
            raise
        file.commit()

    def close(self) -> None:
        if self._lock is not None:
            self._lock.close()

    def _locked(self) -> IO[bytes]:
        """Held by this process until it ends, however it ends."""
        lock = open(self.path(".lock"), "wb")
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            lock.close()
            raise Error(f"{self.place}: another run is writing there; wait for its end, or stop it") from None
        return lock


@contextmanager
def _written_beside(path: str) -> Iterator[IO[bytes]]:
    os.makedirs(os.path.dirname(path), exist_ok=True)
    partial = os.path.join(os.path.dirname(path), f".zomu-{secrets.token_hex(8)}.partial")
    try:
        with open(partial, "xb") as file:
            yield file
            file.flush()
            os.fsync(file.fileno())
        os.replace(partial, path)
    except BaseException:
        if os.path.lexists(partial):
            os.unlink(partial)
        raise
    folder = os.open(os.path.dirname(path), os.O_RDONLY | os.O_DIRECTORY)
    try:
        os.fsync(folder)
    finally:
        os.close(folder)
