"""Runs a subcommand, and turns what goes wrong into one line and an exit status."""

from __future__ import annotations

import os
import signal
import sys
import traceback
from types import FrameType
from typing import NoReturn, Sequence

from ..errors import Error
from ._output import Failure, print_json
from ._parser import build_parser
from ._reasons import told


def main(arguments: Sequence[str] | None = None) -> int:
    """Returns the exit status; argparse ends the process itself after --help, --version and wrong command lines.

    Without arguments it is the main program of its process: it takes those of the process, and its signals.
    """
    for stream in (sys.stdout, sys.stderr):
        reconfigure = getattr(stream, "reconfigure", None)
        if reconfigure is not None:
            reconfigure(errors="surrogateescape")  # names of files are bytes
    if arguments is None:
        signal.signal(signal.SIGTERM, _end)
    options = build_parser().parse_args(arguments)
    try:
        status: int = options.work(options)
        sys.stdout.flush()
        return status
    except BrokenPipeError:
        # Whoever reads has enough. Python would try to write the rest at its end.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 128 + signal.SIGPIPE
    except KeyboardInterrupt:
        print(f"{options.name}: interrupted", file=sys.stderr)
        return 128 + signal.SIGINT
    except (Error, ModuleNotFoundError) as problem:
        return _fail(options, told(problem, options))
    except MemoryError:
        return _fail(options, "there is not enough memory; take a smaller picture")
    except OSError as problem:
        name = f"{os.fsdecode(problem.filename)}: " if problem.filename is not None else ""
        return _fail(options, f"{name}{problem.strerror or problem}")
    except Exception:
        # A finder of somebody else's, or an error of ours. Not judged: never the status that says "different".
        traceback.print_exc()
        status = options.failure
        return status


def _end(number: int, frame: FrameType | None) -> NoReturn:
    """What is unfinished is removed on the way."""
    raise SystemExit(128 + number)


def _fail(options: Failure, text: str) -> int:
    line = " ".join(text.split("\n"))
    print(f"{options.name}: {line}", file=sys.stderr)
    if options.json:
        print_json({"error": line})
        sys.stdout.flush()
    return options.failure
