"""Bulk extraction: photographs a second with 1 and 2 processes, and how much of a photograph's time is not work.

    PYTHONPATH=python bench/scale/bulk.py [--photographs N] [--rounds N]

What is compared runs by turns, and the median of each counts. Processor time is counted, too: it says how much work there
is, also on a machine that does other things. The sample are the rendered people of examples/data/people, each many times.
"""

from __future__ import annotations

import argparse
import os
import statistics
import tempfile
import time
from pathlib import Path
from typing import Any, Callable, NamedTuple

import psutil

os.environ["OMP_NUM_THREADS"] = "1"
os.environ["OPENBLAS_NUM_THREADS"] = "1"

import zomu
from zomu import finders
from zomu_bulk._engine import Engine
from zomu_bulk._local import clients
from zomu_bulk._parts import Parts
from zomu_bulk._sources import Photo, photos_of
from zomu_bulk._store import Store
from zomu_bulk._work import Settings

PEOPLE = Path(__file__).parents[2] / "examples/data/people/photos"


class Cost(NamedTuple):
    """Seconds for each photograph."""

    wall: float
    processor: float
    """Of this process and of its workers."""


class Clock:
    def __init__(self) -> None:
        self._wall, self._processor = time.perf_counter(), _processor_time()

    def cost(self, photographs: int) -> Cost:
        wall, processor = time.perf_counter() - self._wall, _processor_time() - self._processor
        return Cost(wall / photographs, processor / photographs)


def _processor_time() -> float:
    here = psutil.Process()
    times = [process.cpu_times() for process in (here, *here.children(recursive=True))]
    return float(sum(spent.user + spent.system for spent in times))


def sample(count: int) -> list[Photo]:
    photos = photos_of(str(PEOPLE), False, True)
    return [photos[i % len(photos)]._replace(name=f"{i}") for i in range(count)]


def one_by_one(photos: list[Photo], context: zomu.Context) -> dict[str, Cost]:
    """In this process, with one thread."""
    finder = finders.finder_named()
    costs = {}
    clock = Clock()
    pictures = [zomu.read_picture(photo.path) for photo in photos]
    costs["decoding"] = clock.cost(len(photos))
    clock = Clock()
    faces = [finders.find_faces(picture, finder)[0] for picture in pictures]
    costs["finder"] = clock.cost(len(photos))
    clock = Clock()
    for start in range(0, len(photos), 16):
        chosen = slice(start, start + 16)
        context.extract_many((picture, face.landmarks) for picture, face in zip(pictures[chosen], faces[chosen]))
    costs["library, 16 together"] = clock.cost(len(photos))
    costs["all three, one by one"] = Cost(*(sum(part) for part in zip(*costs.values())))
    return costs


def bulk(photos: list[Photo], settings: Settings, connect: Callable[[], Any], workers: int) -> Cost:
    """With workers that are ready: 16 photographs for each come first."""
    with tempfile.TemporaryDirectory() as folder:
        store = Store(folder)
        parts = Parts(store, settings, False, 512, print)
        engine = Engine(connect, settings, 300, print)
        for _, results in engine.run([photo._replace(name=f"first {photo.name}") for photo in photos[: 16 * workers]]):
            parts.add(results)
        clock = Clock()
        for _, results in engine.run(photos):
            parts.add(results)
        parts.write()
        cost = clock.cost(len(photos))
        engine.close()
        store.close()
        return cost


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--photographs", type=int, default=384, help="for each measurement (384)")
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()
    photos = sample(options.photographs)
    context = zomu.Context()
    model = zomu.model_fingerprint(Path(os.environ.get("TMPDIR", "/tmp"), "~zvplugintmp~"))
    settings = Settings(fingerprint=model, model=None, finder=None, unchecked=False, version=zomu.__version__)
    rounds: list[dict[str, Cost]] = []
    with clients(None, 1) as first, clients(None, 2) as both:
        for _ in range(options.rounds):
            rounds.append(one_by_one(photos, context))
            rounds[-1]["bulk, 1 process"] = bulk(photos, settings, first, 1)
            rounds[-1]["bulk, 2 processes"] = bulk(photos, settings, both, 2)

    def ratio(above: str, below: str, field: str) -> float:
        return statistics.median(getattr(costs[above], field) / getattr(costs[below], field) for costs in rounds)

    print(f"\nBulk extraction: {options.photographs} photographs, {options.rounds} rounds\n")
    print("| For each photograph | Milliseconds | Of a processor | Photographs a second |")
    print("|---|---:|---:|---:|")
    for name in rounds[0]:
        wall, processor = (statistics.median(times) for times in zip(*(costs[name] for costs in rounds)))
        print(f"| {name} | {1e3 * wall:.2f} | {1e3 * processor:.2f} | {1 / wall:.1f} |")
    whole, one, two = "all three, one by one", "bulk, 1 process", "bulk, 2 processes"
    for field, words in (("wall", "time"), ("processor", "processor time")):
        print(f"\n1 process against one by one: {ratio(one, whole, field):.3f} times the {words} (at most 1.15)", end="")
    print(f"\n2 processes against 1: {ratio(one, two, 'wall'):.3f} times as fast (at least 1.85), ", end="")
    print(f"{ratio(two, one, 'processor'):.3f} times the processor time")


if __name__ == "__main__":
    main()
