"""Templates in PostgreSQL: database.sql has the tables, docs/gallery.md what to know of them."""

from __future__ import annotations

from typing import Any, ContextManager, Iterator, Sequence

import numpy as np
import psycopg

from .exact import Ids
from .rows import Floats
from .store import Changes, Entry, StoredFace, block_of, faces_of, problems_of_store

_BLOCK = 4096

_INCOMING = """
CREATE TEMPORARY TABLE incoming (
    person text, photograph bytea, face smallint, consent text, expires timestamptz, template bytea
) ON COMMIT DROP
"""
_COPY = "COPY incoming (person, photograph, face, consent, expires, template) FROM STDIN (FORMAT BINARY)"
_INSERT = """
INSERT INTO zomu.template (person, photograph, face, fingerprint, consent, expires, template)
SELECT person, photograph, face, %s, consent, expires, template FROM incoming
ON CONFLICT (tenant, fingerprint, photograph, face) DO NOTHING
"""
_FETCH = """
SELECT id, person, photograph, face, template FROM zomu.template
WHERE id = ANY(%s) AND fingerprint = %s AND (expires IS NULL OR expires > now())
"""
_END = "SELECT pg_snapshot_xmin(pg_current_snapshot())::text"
_CHANGES = """
SELECT id, is_deletion FROM zomu.change
WHERE transaction >= %s::xid8 AND fingerprint = %s
"""


class DatabaseStore:
    """The templates of one model and of one tenant, which is the role that logs in.

    address      as PostgreSQL's own programs take it, "postgresql://acme@host/faces"; the password comes from
                 ~/.pgpass or the like
    fingerprint  of the model
    """

    def __init__(self, address: str, fingerprint: str) -> None:
        with _problems():
            self._connection = psycopg.connect(address, autocommit=True)
        self._model = bytes.fromhex(fingerprint)

    def add(self, entries: Sequence[Entry]) -> int:
        # COPY does not write to tables with row-level security: it fills a table of the transaction.
        with _problems(), self._connection.transaction(), self._connection.cursor() as cursor:
            cursor.execute(_INCOMING)
            with cursor.copy(_COPY) as copy:
                copy.set_types(["text", "bytea", "int2", "text", "timestamptz", "bytea"])
                for entry in entries:
                    content = entry.template.astype("<f4").tobytes()
                    copy.write_row(
                        (entry.person, entry.photograph, entry.face, entry.consent, entry.expires, content)
                    )
            cursor.execute(_INSERT, (self._model,))
            return int(cursor.rowcount)

    def delete(self, person: str) -> int:
        """The files of the database keep the bytes until VACUUM and later writes: docs/gallery.md."""
        return int(self._execute("DELETE FROM zomu.template WHERE person = %s", person).rowcount)

    def purge(self) -> int:
        return int(self._execute("DELETE FROM zomu.template WHERE expires <= now()").rowcount)

    def fetch(self, ids: Ids) -> list[StoredFace]:
        return faces_of(self._execute(_FETCH, ids.tolist(), self._model).fetchall())

    def position(self) -> int:
        row = self._execute(_END).fetchone()
        return int(row[0])

    def changes(self, position: int) -> Changes:
        # The end comes first. Transactions that are under way now are read again from there.
        end = self.position()
        rows = self._execute(_CHANGES, str(position), self._model).fetchall()
        table = np.array(rows, dtype=np.int64).reshape(-1, 2)
        is_deletion = table[:, 1] == 1
        return Changes(end, table[~is_deletion, 0], table[is_deletion, 0])

    def blocks(self) -> Iterator[tuple[Ids, Floats]]:
        statement = "SELECT id, template FROM zomu.template WHERE fingerprint = %s ORDER BY id"
        with _problems(), self._connection.transaction(), self._connection.cursor("templates") as cursor:
            cursor.itersize = _BLOCK
            cursor.execute(statement, (self._model,), binary=True)
            while block := cursor.fetchmany(_BLOCK):
                yield block_of(block)

    def close(self) -> None:
        self._connection.close()

    def _execute(self, statement: Any, *values: object) -> Any:
        with _problems():
            return self._connection.execute(statement, values, binary=True)


def _problems() -> ContextManager[None]:
    return problems_of_store(psycopg.Error, "the database cannot be used (docs/gallery.md says how it is set up)")
