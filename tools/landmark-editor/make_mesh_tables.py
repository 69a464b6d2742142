#!/usr/bin/python3
"""Writes mesh_tables.js from the tables of the Python finder, which pages from the disk can't read.

    tools/landmark-editor/make_mesh_tables.py [FILE]    by default mesh_tables.js beside this program
"""

from __future__ import annotations

import sys
import textwrap
from pathlib import Path

HERE = Path(__file__).resolve().parent
DATA = HERE.parent.parent / "python/zomu/finders/data"

HEAD = """\
// Written by make_mesh_tables.py from python/zomu/finders/data: change that, and run it again.
'use strict';

// Landmarks as weighted means of points of the mesh: [point, weight], and so on.
"""


def tables() -> str:
    rows: dict[str, list[str]] = {}
    for line in (DATA / "mesh_landmarks.csv").read_text().splitlines()[1:]:
        landmark, point, weight = line.split(",")
        rows.setdefault(landmark, []).append(f"[{point}, {float(weight)!r}]")
    means = "".join(f"  [{landmark}, [{', '.join(pairs)}]],\n" for landmark, pairs in rows.items())
    partners = ", ".join((DATA / "mesh_partners.csv").read_text().split()[1:])
    wrapped = textwrap.fill(partners, 116, initial_indent="  ", subsequent_indent="  ")
    return (
        f"{HEAD}zomu.meshMeans = new Map([\n{means}]);\n\n"
        "// For each point of the mesh the one on the other side of the face.\n"
        f"zomu.meshPartners = [\n{wrapped},\n];\n"
    )


if __name__ == "__main__":
    target = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE / "mesh_tables.js"
    target.write_text(tables())
