"""The exact index: all rows in memory, in FAISS's flat index for inner products."""

from __future__ import annotations

from typing import Any

import faiss
import numpy as np
from numpy.typing import NDArray

from .rows import ROW_SIZE, Floats, ScoreBound, probes_of, require_rows, rows_of

Ids = NDArray[np.int64]


class ExactIndex:
    """The rows of templates by their numbers. Memory: 2,008 bytes for each, and 8 for its number."""

    kind = "exact"

    def __init__(self, index: Any = None) -> None:
        """An empty one, or one that FAISS has read; raises TemplateError for rows of no template."""
        self._index = index if index is not None else faiss.IndexIDMap2(faiss.IndexFlatIP(ROW_SIZE))
        self._bound = ScoreBound()
        require_rows(self.vectors())
        self._bound.include(self.vectors())

    def __len__(self) -> int:
        return int(self._index.ntotal)

    def ids(self) -> Ids:
        return np.asarray(faiss.vector_to_array(self._index.id_map), dtype=np.int64)

    def add(self, ids: Ids, templates: Floats) -> None:
        rows = rows_of(templates)
        self._index.add_with_ids(rows, ids)
        self._bound.include(rows)

    def remove(self, ids: Ids) -> None:
        self._index.remove_ids(faiss.IDSelectorBatch(ids))

    def nearest(self, template: Floats, count: int) -> tuple[Ids, Floats]:
        """The numbers of the `count` rows with the largest inner products, and these, the largest first."""
        products, ids = self._index.search(_probe(template), min(count, len(self)))
        return ids[0], products[0]

    def above(self, template: Floats, product: float) -> Ids:
        """The numbers of all rows whose inner product is at least this one."""
        below = float(np.nextafter(np.float32(product), np.float32(-np.inf)))
        _, _, ids = self._index.range_search(_probe(template), below)
        return np.asarray(ids, dtype=np.int64)

    def bound(self, template: Floats) -> float:
        """How far an inner product, plus 1, can be from the score."""
        return self._bound.of(_probe(template)[0])

    def serialized(self) -> Any:
        """What FAISS can write."""
        return self._index

    def parameters(self) -> dict[str, Any]:
        return {}

    def vectors(self) -> Floats:
        """A view of the rows."""
        flat = faiss.downcast_index(self._index.index)
        if len(self) == 0:
            return np.empty((0, ROW_SIZE), dtype=np.float32)
        rows: Floats = faiss.rev_swig_ptr(flat.get_xb(), len(self) * ROW_SIZE).reshape(-1, ROW_SIZE)
        return rows


def _probe(template: Floats) -> Floats:
    return probes_of(rows_of(template[None]))
