"""Directories and files that a plug-in lists."""

from __future__ import annotations

import datetime
import errno
import os
import re
from collections.abc import Iterator
from typing import TYPE_CHECKING, Optional, Union

from . import _kivcore
from ._errors import Error, damage, no_such
from ._text import path_bytes

if TYPE_CHECKING:
    from ._registry import Registry
    from ._streams import Reader

InfoValue = Union[str, int, datetime.datetime]

# A directory that contains itself under ever new paths is given up here.
_DEEPEST = 4096

_NUMBER = re.compile(r"-?(0|[1-9][0-9]*)", re.ASCII)
_TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", re.ASCII)

# Keys whose values are texts, even if one looks like a number.
_TEXTS = {"name", "link"}


def _typed(key: str, value: str) -> InfoValue:
    if key in _TEXTS:
        return value
    if _NUMBER.fullmatch(value):
        return int(value) if len(value) < 20 else value
    if _TIME.fullmatch(value):
        try:
            return datetime.datetime.strptime(value, "%Y-%m-%dT%H:%M:%S%z")
        except ValueError:
            return value
    return value


class _Source:
    """A browser, and what its entries need of it."""

    def __init__(self, registry: Registry, made: _kivcore.Object,
                 reader: Optional[str]) -> None:
        self.registry = registry
        self.id = made.id
        self.core = _kivcore.Browser(made)
        self.reader = reader

    def info(self, path: str) -> dict[str, InfoValue]:
        """What is known about a path."""
        known = self.core.info(path_bytes(path))
        return {key: _typed(key, value) for key, value in known.items()}

    def reader_id(self) -> str:
        """The id of the matching reader: of the same key, or of another key of this browser."""
        if self.reader is not None:
            return self.reader
        own_key, developer, version = self.id.split("/")[2:]
        keys = [own_key, *self.registry.describe(self.id).get("interface.key", "").split("|")]
        for key in keys:
            any_version = f"io/read/{re.escape(key)}/{re.escape(developer)}/"
            for found in map(self.registry.find, (any_version + re.escape(version),
                                                  any_version + ".*")):
                if found:
                    return found[0]
        raise Error(f"no reader of {developer} has a key of {self.id}; pass its id as reader")


class Entry:
    """A directory or a file that a browser lists. Iterating over a directory lists it."""

    def __init__(self, source: _Source, name: str, path: str, is_dir: bool) -> None:
        self._source = source
        self._name, self._path, self._is_dir = name, path, is_dir

    @property
    def name(self) -> str:
        """The name to show."""
        return self._name

    @property
    def path(self) -> str:
        """The path that the browser knows it by."""
        return self._path

    @property
    def is_dir(self) -> bool:
        """Whether it is a directory."""
        return self._is_dir

    @property
    def info(self) -> dict[str, InfoValue]:
        """What the plug-in knows about it, asked anew. Integers and times are not texts here."""
        return self._source.info(self._path)

    @property
    def url(self) -> str:
        """What the matching reader opens; empty for a directory."""
        source = self._source
        return source.core.url(path_bytes(self._path))

    def open(self, mode: str = "r") -> Reader:
        """Open the file through the matching reader."""
        if not (url := self.url):
            raise no_such(errno.EISDIR if self._is_dir else errno.ENOENT, self._source.id, "open",
                          self._path)
        registry = self._source.registry
        return registry._reader(registry._created(self._source.reader_id(), ("reader",)), url, mode)

    def __iter__(self) -> Iterator[Entry]:
        """List the directory: directories first, then files."""
        if not self._is_dir:
            raise no_such(errno.ENOTDIR, self._source.id, "list", self._path)
        directories, files = self._source.core.list(
            path_bytes(self._path))
        for entries, are_directories in (directories, True), (files, False):
            for name, path in entries:
                yield Entry(self._source, name, path, are_directories)

    def walk(self) -> Iterator[Entry]:
        """Iterate over everything below. Each directory comes before its contents."""
        seen = {self._path}
        waiting = [iter(self)]
        while waiting:
            entry = next(waiting[-1], None)
            if entry is None:
                waiting.pop()
                continue
            yield entry
            if not entry.is_dir or entry.path in seen:
                continue
            if len(waiting) >= _DEEPEST:
                raise no_such(errno.ELOOP, self._source.id, "walk", entry.path)
            seen.add(entry.path)
            waiting.append(iter(entry))

    def __repr__(self) -> str:
        return f"<{'directory' if self._is_dir else 'file'} {self._path!r} of {self._source.id}>"


class Directory(Entry):
    """The place where browsing starts. ``Registry.browse`` makes it.

    If the list is incomplete, for example because an archive is damaged, iterating over it and
    ``walk`` raise OSError after the last entry.
    """

    def __init__(self, registry: Registry, made: _kivcore.Object, path: str,
                 reader: Optional[str]) -> None:
        source = _Source(registry, made, reader)
        path = path or source.core.root()
        if not path:
            raise ValueError(f"{source.id} has no place of its own to start from; pass a path")
        if not source.core.can_browse(path_bytes(path)):
            code = errno.ENOTDIR if os.path.exists(path) else errno.ENOENT
            raise no_such(code, source.id, "browse", path)
        super().__init__(source, os.path.basename(path), path, True)

    def __iter__(self) -> Iterator[Entry]:
        """List the directory: directories first, then files."""
        yield from super().__iter__()
        info = self.info
        if "damage" in info:
            raise damage(self._source.id, str(info["damage"]), "limit" in info, self._path)
