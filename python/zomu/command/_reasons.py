"""What is wrong, in one line that also says what to do next."""

from __future__ import annotations

from argparse import Namespace

from ..errors import FaceCountError, LandmarkError


def told(problem: Exception, options: Namespace) -> str:
    """The words of the problem, and the next step where they don't say it."""
    return f"{problem}{_next_step(problem, options)}"


def reason(problem: Exception, path: str, options: Namespace) -> str:
    """The same of a file that is named elsewhere."""
    return told(problem, options).removeprefix(f"{path}: ")


def _next_step(problem: Exception, options: Namespace) -> str:
    if isinstance(problem, LandmarkError) and not isinstance(problem.__cause__, OSError):
        return "; docs/landmarks.md shows where landmarks are"
    if isinstance(problem, FaceCountError) and problem.has_largest and not getattr(options, "largest", True):
        return "; --largest takes the largest"
    return ""
