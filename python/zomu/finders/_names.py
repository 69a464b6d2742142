"""Finders by their names, as the options of commands give them."""

from __future__ import annotations

import importlib
from typing import cast

from ._face import Finder, FinderError

_BUILT_IN = "mesh"


def finder_named(name: str = _BUILT_IN) -> Finder:
    """The finder of that name: "mesh", or "module:function" for one that Python can import.

    Raises FinderError with one line that says what is missing.
    """
    if name == _BUILT_IN:
        from .mesh_finder import MeshFinder

        return MeshFinder()
    module, colon, attribute = name.partition(":")
    if not (module and colon and attribute):
        raise FinderError(f'there is no finder "{name}": say "{_BUILT_IN}", or "module:function" for another')
    try:
        finder = getattr(importlib.import_module(module), attribute)
    except ImportError as problem:
        raise FinderError(f'the finder "{name}" cannot be imported: {problem}; is its package installed?') from problem
    except AttributeError as problem:
        raise FinderError(f'the module {module} has no "{attribute}"') from problem
    if not callable(finder):
        raise FinderError(f'"{name}" cannot be called with a picture')
    return cast(Finder, finder)
