"""The command line: the subcommands, and the options that several of them have."""

from __future__ import annotations

import argparse
from typing import Any, Callable, NoReturn

from .._version import __version__
from . import _cluster, _draw, _extract, _find, _further, _manifest, _model, _search, _verify

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
    _further.add,
)


class Parser(argparse.ArgumentParser):
    """Reports a wrong command line in one line, with exit status 2."""

    def __init__(self, **settings: Any) -> None:
        super().__init__(allow_abbrev=False, **settings)
        self.complete_with: Callable[[Parser], None] | None = None

    def complete(self) -> None:
        """Adds the arguments of a subcommand that is in another package."""
        if self.complete_with is not None:
            complete, self.complete_with = self.complete_with, None
            complete(self)

    def parse_known_args(self, args: Any = None, namespace: Any = None) -> Any:
        self.complete()
        return super().parse_known_args(args, namespace)

    def error(self, message: str) -> NoReturn:
        self.exit(2, f"{self.prog}: {message}; `{self.prog} --help` says more\n")


def build_parser() -> Parser:
    parser = Parser(prog="zomu", description=DESCRIPTION, epilog="`zomu COMMAND --help` says more about each.")
    parser.add_argument("--version", action="version", version=f"zomu {__version__}", help="print the version and exit")
    commands = parser.add_subparsers(metavar="COMMAND", required=True, parser_class=Parser)
    for add in _SUBCOMMANDS:
        add(commands)
    return parser
