"""The command `zomu`: from photographs to answers. `zomu --help` lists what it does.

Nothing else of the package imports this.
"""

from ._main import main

__all__ = ["main"]
