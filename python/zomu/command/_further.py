"""Subcommands of packages beside this one, which are imported when somebody asks for them."""

from __future__ import annotations

import functools
import importlib
from argparse import ArgumentParser, Namespace
from typing import Any, Callable, NamedTuple

from ._options import add_subcommand


class _Further(NamedTuple):
    module: str
    """Has `add(parser)`, which sets the description, the arguments and `work`."""
    extra: str
    """Of the distribution; it brings the packages that the module needs."""
    help: str


_SUBCOMMANDS = {
    "extract-all": _Further("zomu_bulk.command", "bulk", "write the templates of many photographs"),
    "gallery": _Further("zomu_gallery.command", "gallery", "keep faces and search them"),
}


def add(commands: Any) -> None:
    for name, further in _SUBCOMMANDS.items():
        parser: Any = add_subcommand(commands, name, further.help, "", _unfinished)
        parser.complete_with = functools.partial(_complete, further)


def _unfinished(options: Namespace) -> int:
    raise NotImplementedError(f"{options.name} has set no work")


def _complete(further: _Further, parser: ArgumentParser) -> None:
    name = parser.prog
    try:
        importlib.import_module(further.module).add(parser)
    except ModuleNotFoundError as problem:
        parser.exit(1, f"{name}: {_what_is_missing(problem, further)}\n")
    parser.set_defaults(work=functools.partial(_work, further, parser.get_default("work")))


def _work(further: _Further, work: Callable[[Namespace], int], options: Namespace) -> int:
    try:
        return work(options)
    except ModuleNotFoundError as problem:
        raise ModuleNotFoundError(_what_is_missing(problem, further)) from problem


def _what_is_missing(problem: ModuleNotFoundError, further: _Further) -> str:
    package = (problem.name or "").partition(".")[0]
    return f"the package {package} is not installed: install zomu[{further.extra}] with pip, which brings it"
