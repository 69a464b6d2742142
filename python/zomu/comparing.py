"""Scores of many templates at a time."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from .errors import TemplateError
from .templates import TEMPLATE_SIZE, checked_template, comparing_functions, is_plausible

_BYTES = 4 * TEMPLATE_SIZE

# Templates that are checked at a time, so that the copies for it stay small.
_BLOCK = 4096


def compare_many(gallery: NDArray[np.float32], probe: NDArray[np.float32]) -> NDArray[np.float32]:
    """The scores of one or more templates with all those of a gallery.

    gallery  float32, (n, 502), as `Context.extract_many` gives them; n may be 0
    probe    float32, (502,) or (m, 502)

    Gives float32, (n,) for one template and (n, m) for m of them: the bits of `compare(gallery[i], probe[j])`,
    from the same function of the library. Scores have no unit and no fixed range. All templates must come from
    the same model.

    Raises TemplateError that names the first row that is not a template.
    """
    rows = _checked_rows(gallery, "gallery")
    is_one = isinstance(probe, np.ndarray) and probe.ndim == 1
    columns = checked_template(probe)[None] if is_one else _checked_rows(probe, "probe")
    compare = comparing_functions().ZomuCompareTemplates
    first, second = rows.ctypes.data, columns.ctypes.data
    scores = np.empty((len(rows), len(columns)), dtype=np.float32)
    for i in range(len(rows)):
        row = first + i * _BYTES
        scores[i] = [compare(row, second + j * _BYTES) for j in range(len(columns))]
    if not np.all(np.isfinite(scores)):
        i, j = np.argwhere(~np.isfinite(scores))[0]
        raise TemplateError(f"there is no score of gallery[{i}]" + ("" if is_one else f" and probe[{j}]"))
    return scores[:, 0] if is_one else scores


def _checked_rows(templates: Any, name: str) -> NDArray[np.float32]:
    if not isinstance(templates, np.ndarray) or templates.dtype != np.float32:
        kind = templates.dtype if isinstance(templates, np.ndarray) else type(templates).__name__
        raise TemplateError(f"{name} must be an array of float32, not {kind}")
    if templates.ndim != 2 or templates.shape[1] != TEMPLATE_SIZE:
        raise TemplateError(f"{name} must have the shape (n, {TEMPLATE_SIZE}), not {templates.shape}")
    for start in range(0, len(templates), _BLOCK):
        for i in start + np.flatnonzero(~is_plausible(templates[start : start + _BLOCK])):
            try:
                checked_template(templates[i])
            except TemplateError as problem:
                raise TemplateError(f"{name}[{i}]: {problem}") from None
    return np.ascontiguousarray(templates)
