"""Changes that a plug-in reports."""

from __future__ import annotations

import logging
import math
import time
from collections import deque
from dataclasses import dataclass
from types import TracebackType
from typing import Optional

from . import _kivcore
from ._errors import check
from ._text import path_bytes

# Signals such as Ctrl-C are handled between two waits.
_LONGEST_WAIT = 0.2

# From the library's severities to the levels of logging.
_LEVELS = (logging.DEBUG, logging.INFO, logging.INFO, logging.WARNING, logging.ERROR,
           logging.CRITICAL, logging.CRITICAL, logging.CRITICAL)

_CHANGES = {0: "created", 1: "modified", 2: "removed"}


@dataclass(frozen=True)
class Event:
    """A change: "created", "modified", "removed", or "changed" for anything else; and its path."""

    change: str
    path: str


class Watch:
    """The changes below a path, as an iterator. ``Registry.watch`` makes it.

    Iteration waits for the next change. It ends when nothing has happened for ``timeout`` seconds
    (it may then be continued), when what is watched no longer exists, and after ``close``, which
    another thread may call. What the plug-in logs goes to the logger "kivcore".
    """

    def __init__(self, made: _kivcore.Object, path: str, timeout: Optional[float]) -> None:
        if timeout is not None and not timeout >= 0:
            raise ValueError(f"the timeout is {timeout}; it must be None or a time from 0 seconds")
        self._id, self._path = made.id, path
        self._timeout = timeout
        self._waiting: deque[Event] = deque()
        self._ended = self._closing = False
        self._core = _kivcore.Monitor(made)
        self._checked(self._core.start(path_bytes(path)), "start")

    def _checked(self, result: int, operation: str) -> int:
        return check(result, operation, self._id, self._path)

    @property
    def path(self) -> str:
        """What is watched."""
        return self._path

    @property
    def ended(self) -> bool:
        """Whether what was watched no longer exists."""
        return self._ended

    @property
    def closed(self) -> bool:
        """Whether the watch is closed."""
        return self._core.closed

    def close(self) -> None:
        """Stop watching; closing again does nothing."""
        self._closing = True
        self._checked(self._core.stop(), "stop")

    def __enter__(self) -> Watch:
        return self

    def __exit__(self, type: Optional[type[BaseException]], value: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        self.close()

    def __iter__(self) -> Watch:
        return self

    def __next__(self) -> Event:
        limit = None if self._timeout is None else time.monotonic() + self._timeout
        while not self._waiting:
            left = _LONGEST_WAIT if limit is None else limit - time.monotonic()
            if self._ended or self._closing or not self._poll(min(max(left, 0), _LONGEST_WAIT)):
                raise StopIteration
            if not self._waiting and left <= 0:
                raise StopIteration
        return self._waiting.popleft()

    def _poll(self, seconds: float) -> bool:
        """Wait for events. Returns False if another thread closed the watch."""
        try:
            result, changes, logged, ended = self._core.poll(math.ceil(seconds * 1000))
        except ValueError:
            if self._closing:
                return False
            raise
        self._ended |= ended
        self._waiting.extend(Event(_CHANGES.get(change, "changed"), path)
                             for change, path in changes)
        for severity, text in logged:
            logging.getLogger("kivcore").log(_LEVELS[min(severity, 7)], "%s", text)
        if not ended:
            self._checked(result, "poll")
        return True

    def __repr__(self) -> str:
        return f"<Watch of {self._path!r} through {self._id}>"
