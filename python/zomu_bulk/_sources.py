"""The photographs of a source: a folder, a manifest, a list; on this machine or in a store that fsspec knows."""

from __future__ import annotations

import csv
import io
import os
import posixpath
import sys
from pathlib import Path
from typing import Iterable, NamedTuple

import fsspec

from zomu.command._faces import is_picture, pictures_under
from zomu.errors import Error


class Photo(NamedTuple):
    """A photograph to work on."""

    name: str
    """By which it is known: below the source's folder, or as a list names it. Text, whatever the file's name is."""
    path: str
    """Absolute, or an address; a worker opens it."""
    landmarks: str | None
    """The path of their file; None if a finder is to find them."""
    person: str | None


def photos_of(source: str, beside: bool, may_name_landmarks: bool) -> list[Photo]:
    """The photographs of a source, in its order, each once.

    beside              true if the landmarks are in a CSV file beside each
    may_name_landmarks  false if a manifest's landmarks don't count
    """
    if source == "-":
        photos = _of_list(sys.stdin.buffer.read(), beside)
    elif source.lower().endswith(".csv"):
        photos = _of_manifest(source, beside, may_name_landmarks)
    else:
        photos = _of_folder(source, beside)
    once: dict[str, Photo] = {}
    for photo in photos:
        if once.setdefault(photo.name, photo) != photo:
            raise Error(f"{source}: has two lines for {photo.name} that say different things; take one out")
    if not once:
        raise Error(f"{source}: names no photograph; give a folder, a CSV file with the column photo, or a list")
    return list(once.values())


def is_address(name: str) -> bool:
    return "://" in name


def _of_folder(folder: str, beside: bool) -> Iterable[Photo]:
    if not is_address(folder):
        home = os.path.abspath(folder)
        paths = pictures_under(home)
        return (_photo(os.path.relpath(path, home), path, beside) for path in paths)
    store, root = fsspec.core.url_to_fs(folder)
    files = [path for path in store.find(root) if is_picture(path)]
    return (
        _photo(posixpath.relpath(path, root.rstrip("/")), store.unstrip_protocol(path), beside) for path in sorted(files)
    )


def _of_list(content: bytes, beside: bool) -> Iterable[Photo]:
    names = [os.fsdecode(line.removesuffix(b"\r")) for line in content.split(b"\n")]
    return (_photo(name, _placed(name, os.getcwd()), beside) for name in names if name)


def _of_manifest(path: str, beside: bool, may_name_landmarks: bool) -> Iterable[Photo]:
    with fsspec.open(path, "rb") as file:
        text = io.StringIO(file.read().decode("utf-8-sig", "surrogateescape"), newline="")
    home = posixpath.dirname(path) if is_address(path) else os.path.dirname(os.path.abspath(path))
    try:
        rows = list(csv.DictReader(text, strict=True))
    except csv.Error as problem:
        raise Error(f"{path}: is no CSV file: {problem}") from None
    if rows and "photo" not in rows[0]:
        raise Error(f"{path}: has no column photo; its first line must name the columns, such as person,photo")
    for row in rows:
        name, landmarks = row["photo"], row.get("landmarks")
        if not name:
            raise Error(f"{path}: has a line without a photo; take it out")
        photo = _photo(name, _placed(name, home), beside)._replace(person=row.get("person") or None)
        if landmarks and may_name_landmarks and not beside:
            photo = photo._replace(landmarks=_placed(landmarks, home))
        yield photo


def _placed(name: str, home: str) -> str:
    if is_address(name):
        return name
    return posixpath.join(home, name) if is_address(home) else os.path.abspath(os.path.join(home, name))


def _photo(name: str, path: str, beside: bool) -> Photo:
    landmarks = str(Path(path).with_suffix(".csv")) if not is_address(path) else posixpath.splitext(path)[0] + ".csv"
    text = name.encode("utf-8", "backslashreplace").decode()
    return Photo(text, path, landmarks if beside else None, None)
