"""Templates in a file of SQLite, for galleries without a server."""

from __future__ import annotations

import os
import sqlite3
import time
from contextlib import closing
from pathlib import Path
from typing import Any, ContextManager, Iterator, Sequence

import numpy as np

from .exact import Ids
from .rows import Floats
from .store import Changes, Entry, StoredFace, block_of, faces_of, problems_of_store

_BLOCK = 4096
_NOT_EXPIRED = "(expires IS NULL OR expires > ?)"


class FolderStore:
    """The file `path`, which is created if it is not there.

    SQLite loses nothing that was committed, and overwrites what is deleted.
    """

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self._path = os.fspath(path)
        tables = Path(__file__).with_name("folder.sql").read_text()
        with self._problems():
            self._connection = sqlite3.connect(path, isolation_level=None, timeout=60)
            self._connection.execute("PRAGMA secure_delete = ON")
            # Of a new file: seven templates in a page. Four kilobytes would hold one.
            self._connection.execute("PRAGMA page_size = 16384")
            if not self._connection.execute("SELECT 1 FROM sqlite_master WHERE name = 'template_deleted'").fetchall():
                self._connection.executescript(f"BEGIN IMMEDIATE;{tables}COMMIT;")

    def add(self, entries: Sequence[Entry]) -> int:
        values = [
            (
                entry.person,
                entry.photograph,
                entry.face,
                entry.consent,
                entry.expires.timestamp() if entry.expires is not None else None,
                entry.template.astype("<f4").tobytes(),
            )
            for entry in entries
        ]
        columns = "person, photograph, face, consent, expires, template"
        return self._change(
            f"INSERT INTO template ({columns}) VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT (photograph, face) DO NOTHING",
            values,
        )

    def delete(self, person: str) -> int:
        return self._change("DELETE FROM template WHERE person = ?", [(person,)])

    def purge(self) -> int:
        return self._change("DELETE FROM template WHERE expires <= ?", [(time.time(),)])

    def fetch(self, ids: Ids) -> list[StoredFace]:
        rows = []
        for number in ids.tolist():
            rows += self._rows(
                f"SELECT id, person, photograph, face, template FROM template WHERE id = ? AND {_NOT_EXPIRED}",
                number,
                time.time(),
            )
        return faces_of(rows)

    def position(self) -> int:
        ((end,),) = self._rows("SELECT coalesce(max(number), 0) FROM change")
        return int(end)

    def changes(self, position: int) -> Changes:
        rows = self._rows("SELECT number, id, is_deletion FROM change WHERE number > ? ORDER BY number", position)
        table = np.array(rows, dtype=np.int64).reshape(-1, 3)
        is_deletion = table[:, 2] == 1
        end = int(table[-1, 0]) if len(table) else position
        return Changes(end, table[~is_deletion, 1], table[is_deletion, 1])

    def blocks(self) -> Iterator[tuple[Ids, Floats]]:
        statement = "SELECT id, template FROM template ORDER BY id"
        with self._problems(), closing(self._connection.execute(statement)) as rows:
            while block := rows.fetchmany(_BLOCK):
                yield block_of(block)

    def close(self) -> None:
        self._connection.close()

    def _change(self, statement: str, values: Sequence[tuple[object, ...]]) -> int:
        before = self._connection.total_changes
        with self._problems(), self._connection:
            self._connection.execute("BEGIN IMMEDIATE")
            self._connection.executemany(statement, values)
            # The triggers' rows count as well: one for each.
            return (self._connection.total_changes - before) // 2

    def _rows(self, statement: str, *values: object) -> list[Any]:
        with self._problems():
            return self._connection.execute(statement, values).fetchall()

    def _problems(self) -> ContextManager[None]:
        return problems_of_store(sqlite3.Error, self._path)
