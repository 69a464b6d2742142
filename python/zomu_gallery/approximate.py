"""The approximate index: a graph of FAISS (HNSW) over rows that are completed so that the nearest is the most alike.

A graph over the rows themselves finds almost nothing: a neighbour of a row is not what has a large inner product with
it. So the rows are centred, which takes the same from every product; their last two columns are multiplied by a scale,
and those of the probe divided by it, which leaves the products as they are; and a 503rd number completes each row to
one length. Then |probe - row|^2 is a constant less twice the inner product.
"""

from __future__ import annotations

from typing import Any

import faiss
import numpy as np

from zomu.errors import TemplateError

from .exact import Ids
from .rows import ROW_SIZE, Floats, probes_of, rows_of

COMPLETED_SIZE = ROW_SIZE + 1

LINKS = 32
"""Of each row in the graph."""
BUILD_WIDTH = 128
SEARCH_WIDTH = 512
"""Rows that a search keeps in view. More find more, and take longer."""
SPREAD = 2.0
"""Of the last two columns, in terms of that of the others. Less makes rows ever farther from their probes."""

_SAMPLE = 100_000
# Rows of later may be longer than any at the beginning.
_RESERVE = 1.1


class ApproximateIndex:
    """A graph over completed rows. Memory: some 2,290 bytes for each row."""

    kind = "approximate"

    def __init__(self, parameters: dict[str, Any], index: Any = None) -> None:
        """An empty one, or one that FAISS has read, with the parameters with which it was made."""
        try:
            self._centre = np.array(parameters["centre"], dtype=np.float32)
            self._scales = np.array(parameters["scales"], dtype=np.float32)
            self._length, self._middle = float(parameters["length"]), float(parameters["middle"])
            width = int(parameters["search width"])
        except (KeyError, TypeError, ValueError):
            raise TemplateError("the parameters of the index are damaged: rebuild it") from None
        self._parameters = parameters
        if index is None:
            graph = faiss.IndexHNSWFlat(COMPLETED_SIZE, LINKS)
            graph.hnsw.efConstruction = BUILD_WIDTH
            index = faiss.IndexIDMap(graph)
        self._index = index
        self._graph = faiss.downcast_index(index.index)
        self._graph.hnsw.efSearch = width
        is_whole = index.d == COMPLETED_SIZE and self._centre.shape == (ROW_SIZE,) and self._scales.shape == (2,)
        if not is_whole or not np.isfinite(self.vectors()).all():
            raise TemplateError("the index is damaged: rebuild it")

    def __len__(self) -> int:
        """With those that were removed, which stay as places without a number until the index is rebuilt."""
        return int(self._index.ntotal)

    def ids(self) -> Ids:
        ids = np.asarray(faiss.vector_to_array(self._index.id_map), dtype=np.int64)
        return ids[ids >= 0]

    def add(self, ids: Ids, templates: Floats) -> None:
        self._index.add_with_ids(self.completed(rows_of(templates)), ids)

    def remove(self, ids: Ids) -> None:
        """Takes the rows out. Each place in the graph gets the row of its neighbour, so that paths through it lead
        where they led; nothing but its links remains until the index is rebuilt.
        """
        known = np.asarray(faiss.vector_to_array(self._index.id_map), dtype=np.int64)
        places = np.flatnonzero(np.isin(known, ids))
        known[places] = -1
        faiss.copy_array_to_vector(known, self._index.id_map)
        vectors = self.vectors()
        for place in places:
            _, near = self._graph.search(vectors[place : place + 1], 64)
            kept = [other for other in near[0] if other >= 0 and known[other] >= 0]
            vectors[place] = vectors[kept[0]] if kept else 0

    def nearest(self, template: Floats, count: int) -> tuple[Ids, Floats]:
        """The numbers of rows that are most alike, -1 for places without one, and their distances."""
        distances, ids = self._index.search(self.points(probes_of(rows_of(template[None]))), min(count, len(self)))
        return ids[0], distances[0]

    def serialized(self) -> Any:
        return self._index

    def parameters(self) -> dict[str, Any]:
        return self._parameters

    def completed(self, rows: Floats) -> Floats:
        """Rows as points, all of one length if none is longer than those that the parameters were taken from."""
        points = np.empty((len(rows), COMPLETED_SIZE), dtype=np.float32)
        points[:, :ROW_SIZE] = _scaled(rows - self._centre, self._scales)
        squares = np.einsum("ij,ij->i", points[:, :ROW_SIZE], points[:, :ROW_SIZE])
        points[:, ROW_SIZE] = np.sqrt(np.maximum(self._length**2 - squares, 0))
        return points

    def points(self, probes: Floats) -> Floats:
        """Probes as points, as far from the centre as a row in the middle; their length changes no order."""
        points = np.zeros((len(probes), COMPLETED_SIZE), dtype=np.float32)
        points[:, :ROW_SIZE] = _scaled(probes, 1 / self._scales)
        points *= self._middle / np.linalg.norm(points, axis=1, keepdims=True)
        return points

    def vectors(self) -> Floats:
        """A view of what the graph keeps."""
        if len(self) == 0:
            return np.empty((0, COMPLETED_SIZE), dtype=np.float32)
        flat = faiss.downcast_index(self._graph.storage)
        vectors: Floats = faiss.rev_swig_ptr(flat.get_xb(), len(self) * COMPLETED_SIZE).reshape(-1, COMPLETED_SIZE)
        return vectors


def parameters_for(templates: Floats, search_width: int = SEARCH_WIDTH) -> dict[str, Any]:
    """What an approximate index is frozen with, from templates like those that it will hold."""
    rows = rows_of(templates[:_SAMPLE])
    if len(rows) < 2:
        raise TemplateError("an approximate index needs at least two templates; add some, or take the exact one")
    centre = rows.mean(axis=0, dtype=np.float64).astype(np.float32)
    spread = np.maximum(rows.std(axis=0, dtype=np.float64), 1e-12)
    scales = (SPREAD * spread[:500].mean() / spread[500:]).astype(np.float32)
    lengths = np.linalg.norm(_scaled(rows - centre, scales), axis=1)
    return {
        "centre": centre.tolist(),
        "scales": scales.tolist(),
        "length": _RESERVE * float(lengths.max()),
        "middle": max(float(np.median(lengths)), 1e-12),
        "search width": search_width,
    }


def _scaled(rows: Floats, scales: Floats) -> Floats:
    """Rows whose last two columns are multiplied."""
    rows = rows.copy()
    rows[:, 500:] *= scales
    return rows
