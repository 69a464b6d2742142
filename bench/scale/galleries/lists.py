"""Inverted lists with product quantisation, for galleries that do not fit into memory: recall against bytes a row.

Rows are completed as for the approximate index, reduced to their main directions, turned at random, and kept as a few
bytes each in the list of the nearest of many centres. A search reads some lists, takes the best by these bytes,
and ranks them again by their templates, which lie on disk. Here the templates are made again instead, so that only the
bytes take memory.
"""

from __future__ import annotations

import resource
import time

import faiss
import numpy as np

from made_templates import MadeTemplates
from zomu_gallery import ApproximateIndex, parameters_for, probes_of, rows_of
from zomu_gallery.approximate import COMPLETED_SIZE

KEPT = 192  # numbers of a row after that; the model's projection has 186 axes
TRAINING = 40  # rows for each list
CANDIDATES = (100, 1000)


def simulate(rows: int, code_bytes: list[int], probes: int) -> None:
    made = MadeTemplates()
    lists = 2 ** round(np.log2(4 * np.sqrt(rows)))
    sample = made.photographs(0, min(rows, TRAINING * lists))
    frozen = ApproximateIndex(parameters_for(sample))
    queries = np.concatenate([made.photographs(0, probes // 2, 1), made.photographs(rows, probes - probes // 2)])
    points = frozen.points(probes_of(rows_of(queries)))
    trained = {}
    graph = "_HNSW32" if lists > 4096 else ""  # over the centres
    for size in code_bytes:
        started = time.process_time()
        index = faiss.index_factory(COMPLETED_SIZE, f"PCAR{KEPT},IVF{lists}{graph},PQ{size}")
        inverted = faiss.extract_index_ivf(index)
        inverted.cp.niter = faiss.downcast_index(inverted).pq.cp.niter = 8
        index.train(frozen.completed(rows_of(sample)))
        trained[size] = index
        print(f"PQ{size}: trained on {len(sample)} rows, {time.process_time() - started:.0f} s of a processor", flush=True)
    del sample

    best = np.full((len(queries), 10), -np.inf, dtype=np.float32)
    names = np.zeros((len(queries), 10), dtype=np.int64)
    first = 0
    started = time.process_time()
    for templates in made.blocks(0, rows):
        block = rows_of(templates)
        products = probes_of(rows_of(queries)) @ block.T
        every = np.concatenate([best, products], axis=1)
        every_name = np.concatenate([names, np.tile(np.arange(first, first + len(block)), (len(queries), 1))], axis=1)
        order = np.argpartition(-every, 10, axis=1)[:, :10]
        best, names = np.take_along_axis(every, order, 1), np.take_along_axis(every_name, order, 1)
        completed = frozen.completed(block)
        for index in trained.values():
            index.add(completed)
        first += len(block)
    winner = np.take_along_axis(names, best.argmax(axis=1)[:, None], 1)[:, 0]
    print(f"{rows} rows added, {time.process_time() - started:.0f} s of a processor; {lists} lists", flush=True)

    half = probes // 2
    print("| bytes a row | lists read | best found: people in it, among 100 and 1000 | strangers | ms |")
    print("|---:|---:|---:|---:|---:|")
    for size, index in trained.items():
        for read in (lists // 64, lists // 16, lists // 4):
            faiss.extract_index_ivf(index).nprobe = read
            started = time.process_time()
            _, found = index.search(points, max(CANDIDATES))
            spent = 1000 * (time.process_time() - started) / len(queries)
            hits = [[name in row[:count] for name, row in zip(winner, found)] for count in CANDIDATES]
            mated = ", ".join(f"{np.mean(part[:half]):.3f}" for part in hits)
            strangers = ", ".join(f"{np.mean(part[half:]):.3f}" for part in hits)
            print(f"| {size} + 8 | {read} of {lists} | {mated} | {strangers} | {spent:.1f} |", flush=True)
    memory = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1e6
    print(f"The process took at most {memory:.1f} GB.")
