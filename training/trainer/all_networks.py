"""Trains networks in parallel, each in its own process with one thread."""

import multiprocessing
import os
import signal
import time
from concurrent.futures import FIRST_COMPLETED, ProcessPoolExecutor, wait
from pathlib import Path

from tqdm import tqdm

from trainer.one_network import train_network
from trainer.recipe import Recipe
from trainer.patch_store import Split
from trainer.workplace import Workplace

# In a worker: the queue to which it reports its epochs.
_reports = None


def _begin(reports) -> None:
    global _reports
    _reports = reports
    signal.signal(signal.SIGINT, signal.SIG_IGN)  # the parent says when to stop


def _end_without_parent() -> None:
    """Without this, a worker whose parent was killed would compete with those of the next run."""
    if not multiprocessing.parent_process().is_alive():
        os._exit(1)


def _report(number: int, loss: float) -> None:
    _end_without_parent()
    _reports.put((number, loss))


def _work(number: int, store_folder: Path, split: Split, recipe: Recipe,
          home: Path) -> tuple[int, float]:
    _end_without_parent()
    start = time.process_time()
    train_network(number, store_folder, split, recipe, home, _report)
    return number, time.process_time() - start


def train_networks(numbers: list[int], workplace: Workplace, store_folder: Path, split: Split,
                   recipe: Recipe, jobs: int) -> None:
    """Leaves a result for each network in the workplace. A progress bar counts all epochs."""
    numbers = [number for number in numbers if not workplace.result(number).exists()]
    context = multiprocessing.get_context("spawn")
    reports = context.Queue()
    with ProcessPoolExecutor(jobs, context, _begin, (reports,)) as pool, \
            tqdm(total=len(numbers) * recipe.epochs, unit="epoch", disable=None,
                 smoothing=0.05) as bar:
        waiting = {pool.submit(_work, number, store_folder, split, recipe,
                               workplace.result(number).parent) for number in numbers}
        try:
            while waiting:
                done, waiting = wait(waiting, timeout=1, return_when=FIRST_COMPLETED)
                while not reports.empty():
                    network, loss = reports.get()
                    bar.update()
                    bar.set_postfix_str(f"network {network}, loss {loss:.3f}")
                    workplace.log({"network": network, "loss": round(loss, 4)})
                for future in done:
                    number, seconds = future.result()
                    workplace.log({"network": number, "processor seconds": round(seconds, 1)})
                    bar.write(f"network {number}: {seconds:.0f} s of processor time")
        except BaseException:
            for process in multiprocessing.active_children():
                process.terminate()
            for future in waiting:
                future.cancel()
            raise
