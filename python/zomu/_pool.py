"""Handles of a library, each of which serves one thread at a time, shared by any number of threads."""

from __future__ import annotations

import threading
import weakref
from contextlib import contextmanager
from typing import Any, Callable, Iterator

from .errors import Error


class HandlePool:
    """Creates another handle when all are in use, up to `limit`, and then makes callers wait."""

    def __init__(self, create: Callable[[], int], destroy: Callable[[int], Any], limit: int) -> None:
        self._create = create
        self._destroy = destroy
        self._limit = limit
        self._changed = threading.Condition()
        self._closed = False
        self._made = 0
        self._free: list[int] = []
        self._finalizer = weakref.finalize(self, _destroy_all, destroy, self._free)

    @contextmanager
    def handle(self) -> Iterator[int]:
        handle = self.take()
        try:
            yield handle
        finally:
            self.give_back(handle)

    def take(self) -> int:
        with self._changed:
            while True:
                self.require_open()
                if self._free:
                    return self._free.pop()
                if self._made < self._limit:
                    self._made += 1
                    break
                self._changed.wait()
        return int(self._create())

    def give_back(self, handle: int) -> None:
        with self._changed:
            if self._closed:
                self._destroy(handle)
                return
            self._free.append(handle)
            self._changed.notify()

    def require_open(self) -> None:
        if self._closed:
            raise Error("the context is closed")

    def close(self) -> None:
        """Destroys the handles; those in use are destroyed when they are given back."""
        with self._changed:
            self._closed = True
            self._finalizer()
            self._changed.notify_all()


def _destroy_all(destroy: Callable[[int], Any], handles: list[int]) -> None:
    while handles:
        destroy(handles.pop())
