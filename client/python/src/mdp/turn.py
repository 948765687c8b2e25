"""Keeping apart what must not be done by two programs at once."""

from __future__ import annotations

import fcntl
import os
import stat
import time
from types import TracebackType
from typing import Iterator, Optional, Type

_INTERVAL = 0.005


def _is_own_directory(path: str) -> bool:
    # Only there can nobody else put a file in the place of the lock, or hold the lock for ever.
    try:
        status = os.stat(path)
    except OSError:
        return False
    others_write = status.st_mode & (stat.S_IWGRP | stat.S_IWOTH)
    return path.startswith("/") and stat.S_ISDIR(status.st_mode) and status.st_uid == os.geteuid() and not others_write


def _directories(socket_path: str) -> Iterator[str]:
    yield os.path.dirname(socket_path) or "/"
    if os.geteuid() == 0:
        yield "/run"
        yield "/var/run"
    else:
        yield os.environ.get("XDG_RUNTIME_DIR", "")
        yield os.environ.get("HOME", "")


def _open_lock(socket_path: str, name: str) -> Optional[int]:
    for directory in filter(_is_own_directory, _directories(socket_path)):
        flags = os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC
        try:
            return os.open(f"{directory}/.mdp-{name}.lock", flags, 0o600)
        except OSError:
            continue
    return None


class Turn:
    """The turn of this program among those of the same user: of several with the same name one has it at a time.

    The programs in C++ take the same turns: a service object keeps one response for all clients, and it does not tell
    whom it answers. The turn ends with the "with" block. Where there is no directory that is the user's own, nobody
    waits.
    """

    def __init__(self, socket_path: str, name: str) -> None:
        self._socket_path = socket_path
        self._name = name
        self._descriptor: Optional[int] = None

    def wait(self, at_most: Optional[float] = None) -> bool:
        """Waits for the turn, for so many seconds or without limit, and tells whether it is there."""
        self.end()
        self._descriptor = _open_lock(self._socket_path, self._name)
        if self._descriptor is None:
            return True
        end = None if at_most is None else time.monotonic() + at_most
        while True:
            try:
                fcntl.flock(self._descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
                return True
            except BlockingIOError:
                if end is not None and time.monotonic() >= end:
                    self.end()
                    return False
            except OSError:
                return True  # a file system without locks
            time.sleep(_INTERVAL)

    def end(self) -> None:
        if self._descriptor is not None:
            os.close(self._descriptor)
            self._descriptor = None

    def __enter__(self) -> Turn:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.end()
