"""Hands photographs to the workers of a scheduler of Dask, and takes what they give, once for each photograph.

Dask connects, carries, watches its workers and starts them again. Which photographs are where is decided here: a
worker has its own, so that one that dies, hangs or has another model is known, and so are the photographs to blame.
"""

from __future__ import annotations

import contextlib
import itertools
import math
import threading
import time
from collections import deque
from concurrent.futures import CancelledError
from dataclasses import dataclass, field
from typing import Any, Callable, Iterator, Sequence

import distributed
from distributed.comm import CommClosedError

from zomu.errors import Error

from ._sources import Photo
from ._work import BATCH, Reject, Results, Settings, Unlike, extract, introduce

_AHEAD = 1  # batches that wait at a worker, beyond those that it works on
_LOOK = 1.0  # seconds between two looks at which workers there are
_LOSSES = 2  # workers that a photograph may lose while each has nothing else

# The scheduler is gone, or has been replaced by one that knows nothing.
_LOST = (OSError, TimeoutError, CancelledError)


@dataclass
class _Batch:
    photos: Sequence[Photo]
    suspect: bool = False
    """It has lost a worker. Perhaps another batch was to blame: from now on it gets a worker for itself."""
    losses: int = 0
    """Of workers that had nothing else."""


@dataclass
class _Worker:
    """A worker that has the run's model."""

    threads: int
    batches: dict[distributed.Future, _Batch] = field(default_factory=dict)
    """In the order in which it works on them."""
    since: float = 0.0
    """When it last gave something, or got the first."""


class Engine:
    def __init__(
        self,
        connect: Callable[[], distributed.Client],
        settings: Settings,
        limit: float,
        warn: Callable[[str], None],
    ) -> None:
        """
        connect  a new client; called again where the scheduler is lost
        limit    seconds for a batch, and for waiting for a scheduler or workers
        """
        self._connect = connect
        self._settings = settings
        self._limit = limit
        self._warn = warn
        self._client = connect()
        self._workers: dict[str, _Worker] = {}
        self._applicants: dict[str, tuple[distributed.Future, float]] = {}
        self._refused: dict[str, str] = {}  # reasons by address
        self._had_workers = False
        self._waiting: deque[_Batch] = deque()
        self._looked = 0.0
        self._hopeless_since: float | None = None

    def run(self, photos: Sequence[Photo]) -> Iterator[tuple[int, Results]]:
        """The number of photographs that are done, and their results, in any order."""
        batches = (_Batch(photos[start : start + BATCH]) for start in range(0, len(photos), BATCH))
        left: _Batch | None = next(batches, None)
        while left is not None or self._waiting or any(worker.batches for worker in self._workers.values()):
            try:
                self._look()
                yield from self._condemned()
                for address in self._idle():
                    is_busy = bool(self._workers[address].batches)
                    batch = next((waiting for waiting in self._waiting if not (waiting.suspect and is_busy)), None)
                    if batch is not None:
                        self._waiting.remove(batch)
                    elif left is not None:
                        batch, left = left, next(batches, None)
                    if batch is not None:
                        self._submit(address, batch)
                yield from self._collect()
            except _LOST:
                self._reconnect()

    def close(self) -> None:
        _close(self._client)

    def _look(self) -> None:
        """Which workers there are: new ones say what they are before they get work."""
        if time.monotonic() - self._looked < _LOOK:
            return
        threads = self._client.nthreads()
        self._looked = time.monotonic()
        for address in [*self._workers, *self._applicants, *self._refused]:
            if address not in threads:
                if address in self._workers:
                    self._warn(f"the worker {address} is lost: its work is done by others")
                self._forget(address)
        for address in threads:
            if address not in self._workers and address not in self._applicants and address not in self._refused:
                self._ask(address, self._looked)
        for address, (future, since) in list(self._applicants.items()):
            self._judge(address, future, since, threads[address])
        for address, worker in list(self._workers.items()):
            if worker.batches and self._looked - worker.since > self._limit:
                self._restart(address, f"has given nothing for {self._limit:.0f} s")
        self._require_hope()

    def _ask(self, address: str, since: float) -> None:
        """What the worker is; it answers when it has done what it is doing. Nobody waits for it since infinity."""
        future = self._client.submit(introduce, self._settings, workers=[address], pure=False)
        self._applicants[address] = (future, since)

    def _judge(self, address: str, future: distributed.Future, since: float, threads: int) -> None:
        if not future.done():
            if self._looked - since > self._limit:
                self._warn(f"the worker {address} does not answer: it gets no work until it does")
                self._applicants[address] = (future, math.inf)
            return
        if future.status != "finished":
            problem = _problem_of(future)
            self._refuse(address, str(problem) if isinstance(problem, Error) else repr(problem))
            return
        del self._applicants[address]
        self._workers[address] = _Worker(threads)
        self._had_workers = True

    def _refuse(self, address: str, reason: str) -> None:
        self._applicants.pop(address, None)
        self._refused[address] = reason
        self._warn(f"the worker {address} gets no work: {reason}")

    def _require_hope(self) -> None:
        if self._workers or any(since < math.inf for _, since in self._applicants.values()):
            self._hopeless_since = None
            return
        now = time.monotonic()
        if self._hopeless_since is None:
            self._hopeless_since = now
        if self._refused and not self._had_workers and now - self._hopeless_since > 15 * _LOOK:
            raise Error(f"no worker can do the work: one {next(iter(self._refused.values()))}")
        if now - self._hopeless_since > self._limit:
            command = f"`dask worker {self._client.scheduler.address}`"
            raise Error(f"no worker came within {self._limit:.0f} s; start one with {command}")

    def _idle(self) -> Iterator[str]:
        """Workers that take another batch: all get one before any gets two."""
        for wanted in itertools.count(1):
            asked = [name for name, worker in self._workers.items() if wanted <= worker.threads + _AHEAD]
            if not asked:
                return
            for name in asked:
                given = self._workers[name].batches
                if len(given) < wanted and not any(batch.suspect for batch in given.values()):
                    yield name

    def _submit(self, address: str, batch: _Batch) -> None:
        worker = self._workers[address]
        if not worker.batches:
            worker.since = time.monotonic()
        try:
            future = self._client.submit(extract, self._settings, batch.photos, workers=[address], pure=False)
        except BaseException:
            self._waiting.appendleft(batch)
            raise
        worker.batches[future] = batch

    def _collect(self) -> Iterator[tuple[int, Results]]:
        running = [future for worker in self._workers.values() for future in worker.batches]
        running += [future for future, _ in self._applicants.values()]
        if not running:
            time.sleep(_LOOK / 4)
            return
        with contextlib.suppress(TimeoutError, CancelledError):
            distributed.wait(running, timeout=_LOOK, return_when="FIRST_COMPLETED")
        if any(future.done() for future, _ in self._applicants.values()):
            self._looked = 0.0
        for address, worker in list(self._workers.items()):
            for future in [future for future in worker.batches if future.done()]:
                if future in worker.batches:  # its worker may have been given up
                    yield from self._take(address, worker, future)

    def _take(self, address: str, worker: _Worker, future: distributed.Future) -> Iterator[tuple[int, Results]]:
        if future.status == "finished":
            try:
                results: Results = future.result(timeout=20 * _LOOK)
            except _LOST:
                self._restart(address, "doesn't give what it has done")
                return
            batch = worker.batches.pop(future)
            worker.since = time.monotonic()
            yield len(batch.photos), results
            return
        problem = _problem_of(future)
        if isinstance(problem, distributed.KilledWorker):
            self._warn(f"the worker {address} was lost again and again: its work is done by others")
            self._forget(address)
        elif isinstance(problem, Unlike):
            self._forget(address, blameless=True)
            self._refuse(address, str(problem))
        elif isinstance(problem, Error):
            raise problem
        else:
            raise Error(f"the worker {address} failed: {type(problem).__name__}: {problem}")

    def _restart(self, address: str, reason: str) -> None:
        """Takes its work away; a nanny ends the process and starts another. Without one, it may come to itself."""
        self._warn(f"the worker {address} {reason}: its work is done by others")
        self._forget(address)
        self._ask(address, math.inf)
        client = self._client

        def restart() -> None:
            with contextlib.suppress(Exception):  # there is no nanny, or it is gone, too
                client.restart_workers([address], timeout=self._limit, raise_for_error=False)

        threading.Thread(target=restart, daemon=True).start()

    def _forget(self, address: str, blameless: bool = False) -> None:
        """Its batches go to others."""
        self._applicants.pop(address, None)
        self._refused.pop(address, None)
        worker = self._workers.pop(address, None)
        if worker is None:
            return
        for future, batch in worker.batches.items():
            future.release()
            if not blameless:
                batch.losses += batch.suspect and len(worker.batches) == 1
                batch.suspect = True
            if batch.losses and len(batch.photos) > 1:
                self._waiting.extend(_Batch([photo], suspect=True) for photo in batch.photos)
            else:
                self._waiting.append(batch)

    def _condemned(self) -> Iterator[tuple[int, Results]]:
        for batch in [batch for batch in self._waiting if batch.losses >= _LOSSES]:
            self._waiting.remove(batch)
            reason = "each process that worked on it ended or hung; is it very large?"
            yield 1, Results(rejects=[Reject(batch.photos[0].name, None, reason)])

    def _reconnect(self) -> None:
        """What was under way is done again, when the scheduler is back."""
        self._warn("the scheduler is lost: waiting for it to come back")
        for address in list(self._workers):
            self._forget(address, blameless=True)
        self._applicants.clear()
        self._refused.clear()
        _close(self._client)
        end = time.monotonic() + self._limit
        while True:
            try:
                self._client = self._connect()
                self._looked = 0.0
                self._warn("the scheduler is back")
                return
            except _LOST as problem:
                if time.monotonic() > end:
                    raise Error(
                        f"the scheduler did not come back within {self._limit:.0f} s; the same command goes on where "
                        "this run was"
                    ) from problem
                time.sleep(_LOOK)


def _problem_of(future: distributed.Future) -> BaseException:
    if future.status == "error":
        problem: BaseException = future.exception()
        return problem
    raise CommClosedError("the scheduler has forgotten what it was given")


def _close(client: Any) -> None:
    try:
        client.close(timeout=2)
    except Exception:  # it is gone anyway
        pass
