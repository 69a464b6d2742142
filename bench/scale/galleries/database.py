"""What templates take in PostgreSQL: bytes of each, in line and out of line, and the time to load and to read them."""

from __future__ import annotations

import hashlib
import time

from made_templates import MadeTemplates
from postgres_server import PostgresServer
from zomu_gallery import Entry
from zomu_gallery.database import DatabaseStore

_BLOCK = 10_000


def measure(rows: int) -> None:
    made = MadeTemplates()
    server = PostgresServer()
    try:
        server.install()
        print("| template column | table | its indexes | log of changes | all, bytes a template | load, s | read, s |")
        print("|---|---:|---:|---:|---:|---:|---:|")
        for storage in ("PLAIN", "EXTERNAL"):
            server.execute(f"ALTER TABLE zomu.template ALTER COLUMN template SET STORAGE {storage}")
            store = DatabaseStore(server.add_tenant(storage.lower()), "ab" * 32)
            started = time.perf_counter()
            for first in range(0, rows, _BLOCK):
                templates = made.photographs(first, min(_BLOCK, rows - first))
                store.add(
                    [
                        Entry(f"person {first + i}", hashlib.sha256(template.tobytes()).digest(), template)
                        for i, template in enumerate(templates)
                    ]
                )
            loaded = time.perf_counter() - started
            started = time.perf_counter()
            count = sum(len(ids) for ids, _ in store.blocks())
            read = time.perf_counter() - started
            assert count == rows
            ((table, indexes, log),) = server.execute(
                "SELECT pg_table_size('zomu.template'), pg_indexes_size('zomu.template'),"
                " pg_total_relation_size('zomu.change')"
            )
            sizes = [size / rows for size in (table, indexes, log, table + indexes + log)]
            print(
                f"| {storage} | " + " | ".join(f"{size:,.0f}" for size in sizes) + f" | {loaded:.1f} | {read:.1f} |",
                flush=True,
            )
            store.close()
            server.execute("TRUNCATE zomu.template, zomu.change")
    finally:
        server.stop()
