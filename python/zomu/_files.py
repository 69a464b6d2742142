"""How this package writes files: as a whole or not at all."""

from __future__ import annotations

import errno
import os
import secrets
import stat

_NEW = os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC


def write_file(path: str | os.PathLike[str], content: bytes) -> None:
    """Writes beside `path`, under a name of chance, and then renames; raises OSError, and what was there stays.

    Replaces regular files only, and keeps their permissions. Never follows a link.
    """
    name = os.fspath(path)
    permissions = _permissions_of_former(name)
    partial = os.path.join(os.path.dirname(name), f".zomu-{secrets.token_hex(8)}.partial")
    try:
        descriptor = os.open(partial, _NEW, 0o666 if permissions is None else 0o600)
    except OSError as problem:
        raise OSError(problem.errno, problem.strerror, name) from None
    try:
        with open(descriptor, "wb") as file:
            if permissions is not None:
                os.fchmod(descriptor, permissions)
            file.write(content)
        os.replace(partial, name)
    except BaseException as problem:
        os.unlink(partial)
        if isinstance(problem, OSError):
            raise OSError(problem.errno, problem.strerror, name) from None
        raise


def _permissions_of_former(name: str) -> int | None:
    """Those of the file that will be replaced, None where there is none."""
    try:
        mode = os.lstat(name).st_mode
    except FileNotFoundError:
        return None
    if stat.S_ISDIR(mode):
        raise OSError(errno.EISDIR, "is a folder", name)
    if stat.S_ISLNK(mode):
        raise OSError(errno.EEXIST, "is a symbolic link, and none is followed or replaced", name)
    if not stat.S_ISREG(mode):
        raise OSError(errno.EEXIST, "is not a regular file, and is not replaced", name)
    return stat.S_IMODE(mode)
