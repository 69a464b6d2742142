"""Bulk extraction: photographs a second with 1 and 2 processes, and how much of a photograph's time is not work.

    PYTHONPATH=python bench/scale/bulk.py [--photographs N] [--rounds N]

What is compared runs by turns, and the median of each counts: the machine may be doing other things as well. The
sample are the rendered people of examples/data/people, each many times.
"""

from __future__ import annotations

import argparse
import os
import statistics
import tempfile
import time
from pathlib import Path
from typing import Callable

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


def sample(count: int) -> list[Photo]:
    photos = photos_of(str(PEOPLE), False, True)
    return [photos[i % len(photos)]._replace(name=f"{i}") for i in range(count)]


def one_by_one(photos: list[Photo], context: zomu.Context) -> dict[str, float]:
    """Seconds for each photograph, in this process with one thread."""
    finder = finders.finder_named()
    pictures, faces = [], []
    times = {}
    started = time.perf_counter()
    for photo in photos:
        pictures.append(zomu.read_picture(photo.path))
    times["decoding"] = time.perf_counter() - started
    started = time.perf_counter()
    for picture in pictures:
        faces.append(finders.find_faces(picture, finder)[0])
    times["finder"] = time.perf_counter() - started
    started = time.perf_counter()
    for start in range(0, len(photos), 16):
        chosen = slice(start, start + 16)
        context.extract_many((picture, face.landmarks) for picture, face in zip(pictures[chosen], faces[chosen]))
    times["library, 16 together"] = time.perf_counter() - started
    return {name: seconds / len(photos) for name, seconds in times.items()}


def bulk(photos: list[Photo], settings: Settings, connect: Callable[[], object], workers: int) -> float:
    """Seconds for each photograph, with workers that are ready: 16 photographs for each come first."""
    with tempfile.TemporaryDirectory() as folder:
        store = Store(folder)
        parts = Parts(store, settings, False, 512, print)
        engine = Engine(connect, settings, 300, print)  # type: ignore[arg-type]
        for _, results in engine.run([photo._replace(name=f"first {photo.name}") for photo in photos[: 16 * workers]]):
            parts.add(results)
        started = time.perf_counter()
        for _, results in engine.run(photos):
            parts.add(results)
        parts.write()
        seconds = time.perf_counter() - started
        engine.close()
        store.close()
        return seconds / len(photos)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--photographs", type=int, default=384, help="for each measurement (384)")
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()
    photos = sample(options.photographs)
    context = zomu.Context()
    model = zomu.model_fingerprint(Path(os.environ.get("TMPDIR", "/tmp"), "~zvplugintmp~"))
    settings = Settings(fingerprint=model, model=None, finder=None, unchecked=False, version=zomu.__version__)
    single: list[dict[str, float]] = []
    one: list[float] = []
    two: list[float] = []
    with clients(None, 1) as first, clients(None, 2) as both:
        for _ in range(options.rounds):
            single.append(one_by_one(photos, context))
            one.append(bulk(photos, settings, first, 1))
            two.append(bulk(photos, settings, both, 2))
    parts = {name: statistics.median(times[name] for times in single) for name in single[0]}
    total = statistics.median(sum(times.values()) for times in single)
    over = statistics.median(bulk_time / sum(times.values()) for bulk_time, times in zip(one, single))
    faster = statistics.median(slow / fast for slow, fast in zip(one, two))
    print(f"\nBulk extraction: {options.photographs} photographs, {options.rounds} rounds\n")
    print("| What | Milliseconds for each photograph | Photographs a second |")
    print("|---|---:|---:|")
    for name, seconds in parts.items():
        print(f"| {name} | {1e3 * seconds:.2f} | |")
    print(f"| all three, one by one | {1e3 * total:.2f} | {1 / total:.1f} |")
    for name, times in (("1 process", one), ("2 processes", two)):
        median = statistics.median(times)
        print(f"| bulk, {name} | {1e3 * median:.2f} | {1 / median:.1f} |")
    print(f"\n1 process against one by one: {over:.3f} times the time (at most 1.15)")
    print(f"2 processes against 1: {faster:.3f} times as fast (at least 1.85)")


if __name__ == "__main__":
    main()
