"""Where the workers are: processes of this machine, or those of a scheduler that runs already."""

from __future__ import annotations

import logging
import tempfile
from contextlib import contextmanager
from typing import Callable, Iterator

import dask
import distributed

from zomu.errors import Error

_SETTINGS = {
    # One thread for each process, of whatever computes in it.
    "distributed.nanny.pre-spawn-environ": {"OMP_NUM_THREADS": 1, "OPENBLAS_NUM_THREADS": 1, "MKL_NUM_THREADS": 1},
    "distributed.worker.profile.enabled": False,
    # No pages for browsers, which nobody has asked for.
    "distributed.scheduler.http.routes": [],
    "distributed.worker.http.routes": [],
    "distributed.worker.preload": ["zomu_bulk._worker"],
}


@contextmanager
def clients(scheduler: str | None, processes: int) -> Iterator[Callable[[], distributed.Client]]:
    """What makes clients of a scheduler: the one at the address, or one of this process, with processes of its own.

    These listen on this machine alone, and talk with certificates that are made for the run: whoever reached them
    otherwise could have them run code.
    """
    with _silent_logs(), _clients(scheduler, processes) as connect:
        yield connect


@contextmanager
def _clients(scheduler: str | None, processes: int) -> Iterator[Callable[[], distributed.Client]]:
    if scheduler is not None:
        try:
            distributed.Client(scheduler, timeout=10).close()
        except (OSError, TimeoutError, ValueError) as problem:
            text = " ".join(str(problem).split())
            raise Error(f"no scheduler answers at {scheduler}: {text}; start one with `dask scheduler`") from problem
        yield lambda: distributed.Client(scheduler, timeout=10)
        return
    with tempfile.TemporaryDirectory(prefix="zomu-") as folder, dask.config.set(_SETTINGS):
        try:
            cluster = distributed.LocalCluster(
                n_workers=processes,
                threads_per_worker=1,
                host="127.0.0.1",
                dashboard_address="127.0.0.1:0",
                worker_dashboard_address="127.0.0.1:0",
                security=True,
                silence_logs=logging.CRITICAL,
                local_directory=folder,
            )
        except RuntimeError as problem:
            raise Error(f"{processes} processes could not be started: {problem}; try --processes 1") from problem
        with cluster:
            yield lambda: distributed.Client(cluster)


@contextmanager
def _silent_logs() -> Iterator[None]:
    """What a user can do something about, the engine says in its own words."""
    logging.disable(logging.CRITICAL)
    try:
        yield
    finally:
        logging.disable(logging.NOTSET)
