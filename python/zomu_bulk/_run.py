"""A run: from a source to finished files."""

from __future__ import annotations

import contextlib
from argparse import Namespace
from typing import NamedTuple, Sequence

from zomu import __version__, model_fingerprint
from zomu.command._faces import place_of_model, require_model_there
from zomu.command._output import warn
from zomu.errors import LandmarkError

from ._engine import Engine
from ._local import clients
from ._parts import Parts
from ._progress import Progress
from ._sources import Photo, photos_of
from ._store import Store
from ._work import Settings


class Done(NamedTuple):
    """Of all runs with this output."""

    output: str
    photographs: int
    earlier: int
    templates: int
    left_out: int
    """Photographs of which something is in rejects.csv."""


def extract_all(options: Namespace) -> Done:
    """Raises zomu.Error for what ends a run; what was done by then is written."""
    require_model_there(options)
    photos = photos_of(options.source, options.landmarks, options.finder is None)
    with_files = any(photo.landmarks is not None for photo in photos)
    if options.unchecked and not with_files:
        raise LandmarkError("--unchecked is for landmarks from files")
    settings = Settings(
        fingerprint=model_fingerprint(place_of_model(options)),
        model=options.model if options.scheduler is None else None,
        finder=options.finder,
        unchecked=options.unchecked,
        version=__version__,
    )
    with contextlib.closing(Store(options.output)) as store:
        parts = Parts(store, settings, with_files, options.part, lambda text: warn(options.name, text))
        left = [photo for photo in photos if not parts.has(photo.name, options.again)]
        earlier = len(photos) - len(left)
        try:
            if left:
                _work_on(left, settings, parts, options, Progress(options.name, len(photos), earlier))
        finally:
            parts.write()
            parts.write_rejects()
        if options.npy:
            parts.write_arrays()
        return Done(options.output, len(photos), earlier, parts.templates, len(parts.rejects))


def _work_on(
    photos: Sequence[Photo], settings: Settings, parts: Parts, options: Namespace, progress: Progress
) -> None:
    def say(text: str) -> None:
        progress.clear()
        warn(options.name, text)

    with clients(options.scheduler, options.processes) as connect:
        engine = Engine(connect, settings, options.limit, say)
        try:
            for count, results in engine.run(photos):
                parts.add(results)
                progress.advance(count, len({reject.photo for reject in results.rejects}))
        finally:
            progress.clear()
            engine.close()
