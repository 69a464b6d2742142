"""What the actions of `zomu gallery` do."""

from __future__ import annotations

import glob
import hashlib
import os
from argparse import Namespace
from pathlib import Path
from typing import Iterator

import numpy as np

from zomu import model_fingerprint
from zomu.command._faces import Member, faces_files, open_context, place_of_model, read_faces, template_of
from zomu.command._options import require_fitting
from zomu.command._output import print_json, print_text, shown
from zomu.context import Context
from zomu.errors import Error, TemplateError, ThresholdError
from zomu.thresholds import Threshold, threshold_for

from .gallery import Gallery
from .searching import Match
from .store import Entry

_FILES_AT_A_TIME = 256
_ROWS_AT_A_TIME = 4096


def add_faces(options: Namespace) -> int:
    extracted = _extracted(options.source)
    with open_context(options) as context:
        fingerprint = model_fingerprint(place_of_model(options))
        with _opened_or_new(options, fingerprint) as gallery:
            _require_model(gallery, fingerprint)
            seen = added = 0
            for entries in _of_tables(extracted, options, fingerprint) if extracted else _of_files(context, options):
                added += gallery.add(entries)
                seen += len(entries)
    if not seen:
        raise Error(f"{options.source}: there is no face that could be added")
    if options.json:
        print_json({"gallery": options.gallery, "faces": seen, "added": added})
    else:
        print(f"{shown(options.gallery)}: {added} of {seen} {'face' if seen == 1 else 'faces'} added")
    return 0


def search_faces(options: Namespace) -> int:
    require_fitting(options)
    with open_context(options) as context, Gallery(options.gallery) as gallery:
        fingerprint = model_fingerprint(place_of_model(options))
        _require_model(gallery, fingerprint)
        limit = _known_threshold(fingerprint, options)
        matches = gallery.search(template_of(options.probe, context, options), options.top)
        count, kind = len(gallery), gallery.kind
    if not matches:
        raise Error(f"{options.gallery}: there is no face in this gallery; `zomu gallery add` adds some")
    if options.json:
        print_json(
            {
                "probe": options.probe,
                "model": fingerprint,
                "compared": count,
                "index": kind,
                "threshold": limit.value if limit else None,
                "meaning": limit.meaning if limit else None,
                "matches": [_described(match, limit) for match in matches],
            }
        )
        return 0
    for match in matches:
        mark = "*" if limit is not None and match.score >= limit.value else " "
        photograph = f"{match.face.photograph.hex()[:16]} face {match.face.face}"
        print(f"{match.score:8.4f} {mark} {shown(match.face.person)} ({photograph})")
    print_text(_footer(count, kind, limit))
    return 0


def delete_person(options: Namespace) -> int:
    with Gallery(options.gallery) as gallery:
        expired = gallery.purge()
        deleted = gallery.delete(options.person) if options.person is not None else 0
    if options.person is not None and not deleted:
        raise Error(f"{options.gallery}: there is nobody of the name {options.person} here")
    if options.json:
        print_json({"gallery": options.gallery, "person": options.person, "deleted": deleted, "expired": expired})
    else:
        print(f"{shown(options.gallery)}: {deleted} templates deleted, {expired} that had expired")
    return 0


def rebuild_index(options: Namespace) -> int:
    with Gallery(options.gallery) as gallery:
        count = gallery.rebuild(options.kind)
        kind = gallery.kind
    if options.json:
        print_json({"gallery": options.gallery, "index": kind, "templates": count})
    else:
        print(f"{shown(options.gallery)}: {kind} index of {count} templates")
    return 0


def _opened_or_new(options: Namespace, fingerprint: str) -> Gallery:
    if not os.path.exists(os.path.join(options.gallery, "gallery.json")):
        return Gallery.create(options.gallery, fingerprint, options.database)
    if options.database is not None:
        raise Error(f"{options.gallery}: is there already; leave --database out")
    return Gallery(options.gallery)


def _require_model(gallery: Gallery, fingerprint: str) -> None:
    if gallery.fingerprint != fingerprint:
        raise TemplateError(
            f"the gallery holds templates of another model, {gallery.fingerprint[:16]}..., not {fingerprint[:16]}...: "
            f"give that model with --model, or make another gallery"
        )


def _of_files(context: Context, options: Namespace) -> Iterator[list[Entry]]:
    files = faces_files(options.source) if os.path.isdir(options.source) else [options.source]
    for start in range(0, len(files), _FILES_AT_A_TIME):
        members = read_faces(files[start : start + _FILES_AT_A_TIME], context, options).members
        yield [_entry_of(member, options) for member in members]


def _entry_of(member: Member, options: Namespace) -> Entry:
    person = options.person or Path(member.path).resolve().parent.name
    photograph = hashlib.sha256(Path(member.path).read_bytes()).digest()
    return Entry(person, photograph, member.template, member.number, options.consent, options.expires)


def _extracted(source: str) -> list[str]:
    """The files with templates in a folder of `zomu extract-all`."""
    return sorted(glob.glob(os.path.join(glob.escape(source), "templates", "*.parquet")))


def _of_tables(files: list[str], options: Namespace, fingerprint: str) -> Iterator[list[Entry]]:
    import pyarrow.parquet as pq

    columns = ["person", "sha256", "face", "model", "template"]
    for path in files:
        for batch in pq.ParquetFile(path).iter_batches(_ROWS_AT_A_TIME, columns=columns):
            if set(batch.column("model").to_pylist()) - {fingerprint}:
                raise TemplateError(f"{path}: made with another model; extract the photographs again with this one")
            templates = np.asarray(batch.column("template").flatten(), dtype=np.float32).reshape(-1, 502)
            people, digests, faces = (batch.column(name).to_pylist() for name in columns[:3])
            if options.person is None and None in people:
                raise Error(f"{path}: does not say who the people are; give --person NAME")
            yield [
                Entry(options.person or person, bytes.fromhex(digest), template, face, options.consent, options.expires)
                for person, digest, face, template in zip(people, digests, faces, templates)
            ]


def _known_threshold(fingerprint: str, options: Namespace) -> Threshold | None:
    """A list of scores makes sense without one, too."""
    try:
        return threshold_for(fingerprint, options.threshold)
    except ThresholdError:
        if options.threshold is not None:
            raise
        return None


def _described(match: Match, limit: Threshold | None) -> dict[str, object]:
    return {
        "score": match.score,
        "person": match.face.person,
        "photograph": match.face.photograph.hex(),
        "face": match.face.face,
        "same": bool(match.score >= limit.value) if limit else None,
    }


def _footer(count: int, kind: str, limit: Threshold | None) -> str:
    compared = f"{count} {'face' if count == 1 else 'faces'} searched."
    if kind != "exact":
        compared += " The index is approximate: it misses some of the best."
    if limit is None:
        return f"{compared} No threshold is known for this model: which of them are the same person, it doesn't say."
    return (
        f"{compared} * has at least the threshold {limit.value:.4f}, whose rates are for one comparison, not for a "
        f"search. {limit.meaning}"
    )
