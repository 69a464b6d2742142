"""The command line: the subcommands, and the options that several of them have."""

from __future__ import annotations

import argparse
from typing import Any, Callable, NoReturn

from .._version import __version__
from . import _cluster, _draw, _extract, _find, _manifest, _model, _search, _verify

DESCRIPTION = "Faces in photographs: finds them, tells them apart, lists and draws them."

_SUBCOMMANDS: tuple[Callable[[Any], None], ...] = (
    _find.add,
    _extract.add,
    _verify.add,
    _search.add,
    _cluster.add,
    _draw.add,
    _model.add,
    _manifest.add,
)


class Parser(argparse.ArgumentParser):
    """Reports a wrong command line in one line, with exit status 2."""

    def __init__(self, **settings: Any) -> None:
        super().__init__(allow_abbrev=False, **settings)

    def error(self, message: str) -> NoReturn:
        self.exit(2, f"{self.prog}: {message}; `{self.prog} --help` says more\n")


def build_parser() -> Parser:
    parser = Parser(prog="zomu", description=DESCRIPTION, epilog="`zomu COMMAND --help` says more about each.")
    parser.add_argument("--version", action="version", version=f"zomu {__version__}", help="print the version and exit")
    commands = parser.add_subparsers(metavar="COMMAND", required=True, parser_class=Parser)
    for add in _SUBCOMMANDS:
        add(commands)
    return parser
