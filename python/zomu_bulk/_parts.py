"""What a run has written: Parquet files, each with the faces of some photographs and the reasons for the others.

A photograph is done when a file names it. There is no other record of what is done.
"""

from __future__ import annotations

import csv
import io
import json
import re
from typing import Any, Callable, Iterator

import numpy as np
import pyarrow as pa
import pyarrow.parquet as pq
from numpy.typing import NDArray

from zomu.errors import Error

from ._store import Store
from ._work import Face, Reject, Results, Settings

FOLDER = "templates"
_RUN = "run.json"
_REJECTS = b"zomu.rejects"
_BOX = ("left", "top", "right", "bottom")
_SCHEMA = pa.schema(
    [
        ("photo", pa.string()),
        ("sha256", pa.string()),
        ("person", pa.string()),
        ("face", pa.int32()),
        ("faces", pa.int32()),
        *((side, pa.float32()) for side in _BOX),
        ("confidence", pa.float32()),
        ("finder", pa.string()),
        ("finder_version", pa.string()),
        ("model", pa.string()),
        ("zomu", pa.string()),
        ("template", pa.list_(pa.float32(), 502)),
    ]
)


class Parts:
    """The finished files of a run, and the next one."""

    def __init__(self, store: Store, settings: Settings, with_files: bool, size: int, warn: Callable[[str], None]) -> None:
        """Opens what is there; a file that is damaged is put aside, and its photographs count as not done.

        size  photographs in a file
        """
        self._store = store
        self._settings = settings
        self._size = size
        self._begin(with_files)
        self.with_faces: set[str] = set()
        self.rejects: dict[str, list[Reject]] = {}
        self.templates = 0
        self._next = 1
        self._waiting = Results()
        self._names: set[str] = set()
        for name in store.names(FOLDER, "part-", ".parquet"):
            self._next = int(re.sub("[^0-9]", "", name) or 0) + 1
            try:
                photos, rejects = _read(store, f"{FOLDER}/{name}")
            except (pa.ArrowException, OSError, ValueError, KeyError):
                store.move(f"{FOLDER}/{name}", f"damaged/{name}")
                warn(f"{name}: is damaged or cut off, and now in damaged/; its photographs are done again")
                continue
            self._count(photos, rejects)

    def add(self, results: Results) -> None:
        """Takes the results of some photographs, and writes a file when they are enough."""
        self._waiting.faces += results.faces
        self._waiting.templates += results.templates
        self._waiting.rejects += results.rejects
        self._names.update(face.photo for face in results.faces)
        self._names.update(reject.photo for reject in results.rejects)
        if len(self._names) >= self._size:
            self.write()

    def write(self) -> None:
        """Writes what no file has yet."""
        if not self._names:
            return
        waiting, self._waiting, self._names = self._waiting, Results(), set()
        with self._store.writing(f"{FOLDER}/part-{self._next:08d}.parquet") as file:
            pq.write_table(
                _table(waiting, self._settings),
                file,
                compression="zstd",
                use_dictionary=["person", "finder", "finder_version", "model", "zomu"],
                write_page_checksum=True,
            )
        self._next += 1
        self._count([face.photo for face in waiting.faces], waiting.rejects)

    def write_rejects(self) -> None:
        text = io.StringIO(newline="")
        writer = csv.writer(text, lineterminator="\n")
        writer.writerow(Reject._fields)
        writer.writerows(reject for name in sorted(self.rejects) for reject in self.rejects[name])
        with self._store.writing("rejects.csv") as file:
            file.write(text.getvalue().encode())

    def write_arrays(self) -> None:
        """templates.npy, an array (n, 502), and faces.csv with a line for each of its rows."""
        with self._store.writing("faces.csv") as table, self._store.writing("templates.npy") as array:
            header = {"descr": "<f4", "fortran_order": False, "shape": (self.templates, 502)}
            np.lib.format.write_array_header_1_0(array, header)  # type: ignore[no-untyped-call]
            lines = io.TextIOWrapper(table, "utf-8", newline="", write_through=True)
            writer = csv.writer(lines, lineterminator="\n")
            writer.writerow(_SCHEMA.names[:-1])
            for rows, templates in self._tables():
                writer.writerows(rows)
                array.write(templates.tobytes())
            lines.detach()

    def _begin(self, with_files: bool) -> None:
        """What may not change from one run to the next: rows of one table must be comparable."""
        description = {
            "format": 1,
            "model": self._settings.fingerprint,
            "landmarks": "from files" if with_files else self._settings.finder or "mesh",
            "unchecked": self._settings.unchecked,
        }
        if not self._store.exists(_RUN):
            with self._store.writing(_RUN) as file:
                file.write(json.dumps(description, indent=2).encode() + b"\n")
            return
        with self._store.open(_RUN) as existing:
            try:
                found = json.loads(existing.read())
            except ValueError:
                raise Error(f"{self._store.place}/{_RUN}: is damaged; name another folder") from None
        for name, value in description.items():
            if not isinstance(found, dict) or found.get(name) != value:
                raise Error(f"{self._store.place}: was begun with another {name}; name another folder")

    def _count(self, photos: list[str], rejects: list[Reject]) -> None:
        """A later file knows more of a photograph that was tried again."""
        self.templates += len(photos)
        self.with_faces.update(photos)
        for name in {*photos, *(reject.photo for reject in rejects)}:
            self.rejects.pop(name, None)
        for reject in rejects:
            self.rejects.setdefault(reject.photo, []).append(reject)

    def has(self, photo: str, again: bool) -> bool:
        """Whether a photograph is done; what has given no face is not, if it is to be tried again."""
        return photo in self.with_faces or (photo in self.rejects and not again)

    def _tables(self) -> Iterator[tuple[list[tuple[Any, ...]], NDArray[np.float32]]]:
        for name in self._store.names(FOLDER, "part-", ".parquet"):
            with self._store.open(f"{FOLDER}/{name}") as file:
                table = pq.read_table(file, schema=_SCHEMA, page_checksum_verification=True)
            columns = [table.column(name).to_pylist() for name in _SCHEMA.names[:-1]]
            templates = table.column("template").combine_chunks().flatten().to_numpy().reshape(-1, 502)
            yield list(zip(*columns)), templates.astype("<f4")


def _read(store: Store, name: str) -> tuple[list[str], list[Reject]]:
    with store.open(name) as file:
        part = pq.ParquetFile(file, page_checksum_verification=True)
        photos = part.read(columns=["photo"]).column("photo").to_pylist()
        rejects = json.loads(part.schema_arrow.metadata[_REJECTS])
    return photos, [Reject(*reject) for reject in rejects]


def _table(results: Results, settings: Settings) -> pa.Table:
    faces = results.faces
    columns: dict[str, Any] = {name: [getattr(face, name) for face in faces] for name in Face._fields if name != "box"}
    for place, side in enumerate(_BOX):
        columns[side] = [face.box[place] if face.box is not None else None for face in faces]
    columns["model"] = [settings.fingerprint] * len(faces)
    columns["zomu"] = [settings.version] * len(faces)
    values = np.array(results.templates, dtype=np.float32).reshape(-1)
    columns["template"] = pa.FixedSizeListArray.from_arrays(pa.array(values, pa.float32()), 502)
    rejects = json.dumps(results.rejects).encode()
    return pa.table([columns[name] for name in _SCHEMA.names], schema=_SCHEMA.with_metadata({_REJECTS: rejects}))
