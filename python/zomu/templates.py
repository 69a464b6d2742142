"""Templates: arrays of 502 float32, their score, and their files.

A file has 2048 bytes: the mark "ZOMUTPL1", the SHA-256 of the model that made the template (32 bytes),
and the 502 floats, little-endian. `zomu-template` reads and writes the same files.
"""

from __future__ import annotations

import ctypes
import os
from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _library
from ._files import write_file
from .errors import ModelError, TemplateError

TEMPLATE_SIZE = 502

_MARK = b"ZOMUTPL1"
_FINGERPRINT_BYTES = 32
_FILE_BYTES = len(_MARK) + _FINGERPRINT_BYTES + 4 * TEMPLATE_SIZE

# What no extraction gives is refused, so that no template scores above 3.01: docs/model-files.md.
_LENGTHS = (1e-6, 1e6)
_LENGTH_TOLERANCE = 1e-3
_QUADRATIC_TERM_LIMIT = 1e12


def compare(a: NDArray[np.float32], b: NDArray[np.float32]) -> float:
    """The score of two templates: the larger, the more alike.

    Scores have no fixed range, and they are not probabilities. Both templates must come from the same
    model, which files record and arrays do not. Raises TemplateError if there is no finite score.
    """
    first, second = checked_template(a), checked_template(b)
    score = float(comparing_functions().ZomuCompareTemplates(first.ctypes.data, second.ctypes.data))
    if not np.isfinite(score):
        raise TemplateError("there is no score")
    return score


def comparing_functions() -> ctypes.CDLL:
    """The library, loaded now if it is not yet; raises ModelError with what to do without a model."""
    try:
        return _library.require().functions
    except ModelError as problem:
        raise ModelError(
            f"{problem}. A process that only compares calls zomu.load(without_model=True) first"
        ) from None


def save_template(
    path: str | os.PathLike[str], template: NDArray[np.float32], *, fingerprint: str | None = None
) -> None:
    """Writes a template with the fingerprint of its model: that of this process unless one is given."""
    content = checked_template(template).astype("<f4").tobytes()
    model = fingerprint if fingerprint is not None else _library.fingerprint_of_process()
    if model is None:
        raise TemplateError(
            "no model is loaded that could have made this template; pass its fingerprint="
        )
    write_file(path, _MARK + _bytes_of(model) + content)


def load_template(
    path: str | os.PathLike[str], *, fingerprint: str | None = None
) -> NDArray[np.float32]:
    """Reads a template that was made with the model `fingerprint`, or with that of this process.

    Raises TemplateError if another model made it, or an unknown one (a fingerprint of zeros): such templates
    cannot be compared. In a process without a model, and without a fingerprint, any other is accepted.
    """
    made_with, template = _read(path)
    if not any(made_with):
        raise TemplateError(f"{os.fspath(path)}: made with an unknown model; extract it again, with the model known")
    expected = fingerprint if fingerprint is not None else _library.fingerprint_of_process()
    if expected is not None and _bytes_of(expected) != made_with:
        raise TemplateError(
            f"{os.fspath(path)}: made with another model: {made_with.hex()[:16]}..., not {expected[:16]}..."
        )
    return template


def template_fingerprint(path: str | os.PathLike[str]) -> str:
    """The fingerprint of the model that made the template of a file."""
    return _read(path)[0].hex()


def is_template_file(path: str | os.PathLike[str]) -> bool:
    """Whether the file begins like one; false, too, if it cannot be opened."""
    try:
        with open(path, "rb") as file:
            return file.read(len(_MARK)) == _MARK
    except OSError:
        return False


def checked_template(template: Any) -> NDArray[np.float32]:
    """The template as a contiguous array; raises TemplateError if it is not one."""
    if not isinstance(template, np.ndarray) or template.dtype != np.float32:
        kind = template.dtype if isinstance(template, np.ndarray) else type(template).__name__
        raise TemplateError(f"a template must be an array of float32, not {kind}")
    if template.shape != (TEMPLATE_SIZE,):
        raise TemplateError(f"a template must have the shape ({TEMPLATE_SIZE},), not {template.shape}")
    if not np.all(np.isfinite(template)):
        raise TemplateError("the template holds values that are not finite")
    _require_plausible(template)
    return np.ascontiguousarray(template)


def is_plausible(templates: NDArray[np.float32]) -> NDArray[np.bool_]:
    """For each row of (n, 502): whether `checked_template` takes it. False is not certain: sums differ in their last
    digits, so that the limits here are a little narrower.
    """
    values = templates.astype(np.float64)
    with np.errstate(invalid="ignore", over="ignore"):
        length = np.sqrt((values[:, :500] ** 2).sum(axis=1))
        term, stored = values[:, 500], values[:, 501]
        good: NDArray[np.bool_] = np.isfinite(values).all(axis=1)
        good &= (_LENGTHS[0] <= stored) & (stored <= _LENGTHS[1])
        good &= np.abs(stored - length) <= 0.999 * _LENGTH_TOLERANCE * length
        good &= (0.0 <= term) & (term <= _QUADRATIC_TERM_LIMIT)
    return good


def _require_plausible(template: NDArray[np.float32]) -> None:
    length = float(np.linalg.norm(template[:500].astype(np.float64)))
    term, stored = map(float, template[500:])
    if not _LENGTHS[0] <= stored <= _LENGTHS[1]:
        raise TemplateError(f"no extraction gives a length of {stored:.6g}")
    if not abs(stored - length) <= _LENGTH_TOLERANCE * length:
        raise TemplateError(f"the template says a length of {stored:.6g}, and its values one of {length:.6g}")
    if not 0.0 <= term <= _QUADRATIC_TERM_LIMIT:
        raise TemplateError(f"no extraction gives a quadratic term of {term:.6g}")


def _read(path: str | os.PathLike[str]) -> tuple[bytes, NDArray[np.float32]]:
    with open(path, "rb") as file:
        content = file.read(_FILE_BYTES + 1)
    if len(content) != _FILE_BYTES or not content.startswith(_MARK):
        raise TemplateError(f"{os.fspath(path)}: is not a template file")
    start = len(_MARK) + _FINGERPRINT_BYTES
    template = np.frombuffer(content, dtype="<f4", offset=start).astype(np.float32)
    try:
        return content[len(_MARK) : start], checked_template(template)
    except TemplateError as problem:
        raise TemplateError(f"{os.fspath(path)}: {problem}") from None


def _bytes_of(fingerprint: str) -> bytes:
    try:
        value = bytes.fromhex(fingerprint)
    except ValueError:
        value = b""
    if len(value) != _FINGERPRINT_BYTES:
        raise TemplateError(f"a fingerprint must have 64 hexadecimal digits: {fingerprint!r}")
    return value
