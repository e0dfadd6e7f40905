"""The registry of plug-ins."""

from __future__ import annotations

import difflib
import os
import warnings
import weakref
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Optional, Union

from . import _kivcore
from ._browse import Directory
from ._errors import Error, LoadWarning, UnknownIdError
from ._frames import Frames
from ._streams import FileSequence, Reader, Writer
from ._text import PathLike, path_bytes, text_bytes
from ._watch import Watch

if TYPE_CHECKING:
    from numpy.typing import DTypeLike

# What to do with an object that has an interface.
_ADVICE = {
    "frame_reader": "use registry.frames or registry.open",
    "multi_file_reader": "use registry.files or registry.open",
    "reader": "use registry.open",
    "writer": "use registry.open",
    "browser": "use registry.browse",
    "monitor": "use registry.watch",
}


@dataclass
class LoadReport:
    """What became of the plug-in directories in one directory."""

    directory: str
    loaded: dict[str, tuple[str, ...]] = field(default_factory=dict)
    """From each plug-in directory that loaded to its ids."""
    failed: dict[str, str] = field(default_factory=dict)
    """From each plug-in directory that failed to load to the reason."""
    refused: dict[str, str] = field(default_factory=dict)
    """From each id that was not registered to the reason."""
    replaced: dict[str, str] = field(default_factory=dict)
    """From each id that a native plug-in took over to the directory that had it."""
    passed_over: dict[str, str] = field(default_factory=dict)
    """From each entry that is not a plug-in directory to the reason."""


def _report(directory: str, events: list[tuple[str, str, str, str, str, int, int]]) -> LoadReport:
    report = LoadReport(directory)
    ids: list[str] = []
    said = ""  # by the XML library, about the current directory
    for what, place, plugin_id, other, reason, line, column in events:
        if what == "registered":
            ids.append(plugin_id)
        elif what == "replaced":
            ids.append(plugin_id)
            report.replaced[plugin_id] = other
        elif what == "refused":
            holder = f"; {other!r} has it" if other else ""
            report.refused[plugin_id] = f"{place!r} was not registered: {reason}{holder}"
        elif what == "xml_report":
            said = f"{place}/plugin.xml:{line}:{column}: {reason.splitlines()[0]}"
        elif what == "passed_over":
            report.passed_over[place] = reason
        elif what == "failed":
            report.failed[place] = said or reason
        else:
            report.loaded[place] = tuple(ids)
        if what in ("loaded", "failed"):
            ids, said = [], ""
    return report


def _default_directories() -> list[str]:
    """Those of KIVPLUG_PATH; without it, the one that is installed with this package."""
    named = [each for each in os.environ.get("KIVPLUG_PATH", "").split(":") if each]
    package = os.path.dirname(os.path.realpath(_kivcore.__file__))
    return named or [os.path.normpath(os.path.join(package, _kivcore.plugins_from_package))]


class Registry:
    """The plug-ins of some directories.

    Pass directories of plug-ins, or plug-in directories. Without an argument, the registry has the
    plug-ins of the directories in the environment variable KIVPLUG_PATH, which are separated by
    colons, or else those that are installed with this package. A directory that cannot be listed
    raises OSError. A plug-in directory that does not load is reported as a LoadWarning, and the
    others load; ``reports`` has the details.

    Where a method takes an id, it also takes a regular expression (PCRE) that matches the whole
    id. It then uses the first id that matches: the newest of several versions.

    Any number of threads may use a registry. It may be dropped while its objects are still in use.
    A registry can be pickled: what is pickled are the absolute paths of its directories, which are
    loaded again where it is unpickled.
    """

    def __init__(self, *directories: PathLike) -> None:
        self._core = _kivcore.Registry()
        self._is_default = not directories
        self._directories: list[str] = []
        self._reports: list[LoadReport] = []
        for directory in directories or _default_directories():
            report = self.load(directory)
            for place, reason in (*report.failed.items(), *report.refused.items()):
                warnings.warn(f"{place}: {reason}", LoadWarning, stacklevel=2)
        self._own = len(self._directories)

    def load(self, directory: PathLike) -> LoadReport:
        """Load a directory of plug-ins, or one plug-in directory, and report what happened."""
        path = os.path.abspath(os.fsdecode(directory))
        is_collection = "plugin.xml" not in os.listdir(path)
        report = _report(path, self._core.load(path_bytes(path), is_collection))
        self._directories.append(path)
        self._reports.append(report)
        return report

    @property
    def directories(self) -> tuple[str, ...]:
        """The directories that were loaded, as absolute paths."""
        return tuple(self._directories)

    @property
    def reports(self) -> tuple[LoadReport, ...]:
        """What became of each of the directories."""
        return tuple(self._reports)

    @property
    def plugins(self) -> Iterator[str]:
        """Iterate over all ids."""
        return iter(self.find())

    def find(self, pattern: str = "") -> list[str]:
        """The ids that match a pattern, by default all: versions together, the newest first.

        A pattern that does not compile matches nothing.
        """
        return self._core.find(text_bytes(pattern, "pattern") or b"(?s).*")

    def describe(self, id: str) -> dict[str, str]:
        """The description of a plug-in: what its plugin.xml says, and its directory as "path"."""
        described = self._core.describe(self._resolved(id).encode("utf-8", "surrogateescape"))
        assert described is not None
        return described

    def open(self, id: str, path: PathLike, mode: str = "r") -> Union[Reader, Writer]:
        """Open a file through a reader or a writer.

        Every reader takes the mode "r", and every writer takes "w". What else there is depends on
        the plug-in; those that come with the library ignore a "b". Some paths are not those of
        files: an archive's reader takes what its browser lists.
        """
        made = self._created(id, ("reader", "writer"))
        if "reader" not in made.interfaces:
            return Writer(self, made, os.fsdecode(path), mode)
        return self._reader(made, os.fsdecode(path), mode)

    def _reader(self, made: _kivcore.Object, path: str, mode: str, is_open: bool = True) -> Reader:
        kind = FileSequence if "multi_file_reader" in made.interfaces else Reader
        return kind(self, made, path, mode, is_open=is_open)

    def files(self, id: str, pattern: PathLike, mode: str = "r") -> FileSequence:
        """Open files that belong together, such as "shot.####.dpx", as one stream."""
        return FileSequence(self, self._created(id, ("multi_file_reader",)), os.fsdecode(pattern),
                            mode)

    def frames(self, id: str, path: PathLike, track: int = 0, dtype: DTypeLike = None) -> Frames:
        """Open a track of a media file, as a sequence of NumPy arrays, one for each frame."""
        return Frames(self._created(id, ("frame_reader",)), os.fsdecode(path), track, dtype)

    def browse(self, id: str, path: PathLike = "", reader: Optional[str] = None) -> Directory:
        """List what is in a path, for example an archive.

        Without a path, browsing starts where the plug-in says. ``reader`` is the id of the reader
        that opens the files; by default, it is chosen by the developer and the keys of the
        browser.
        """
        return Directory(self, self._created(id, ("browser",)), os.fsdecode(path), reader)

    def watch(self, id: str, path: PathLike, timeout: Optional[float] = None) -> Watch:
        """Watch a path, such as a directory, and iterate over the changes.

        Iteration ends when nothing has happened for ``timeout`` seconds; None waits for ever.
        """
        return Watch(self._created(id, ("monitor",)), os.fsdecode(path), timeout)

    def _resolved(self, id: str) -> str:
        """The id itself, or the first id that it matches as a pattern."""
        encoded = text_bytes(id, "id")
        if self._core.describe(encoded) is not None:
            return id
        if found := self._core.find(encoded):
            return found[0]
        known = self.find()
        nearest = difflib.get_close_matches(id, known, 3, 0.3)
        hint = ("no plug-ins are loaded from " + ", ".join(map(repr, self._directories))
                if not known else "the nearest ids are " + ", ".join(nearest) if nearest else
                "Registry.find() lists the ids")
        raise UnknownIdError(f"no plug-in has the id {id!r}, or matches it as a pattern; {hint}")

    def _created(self, id: str, wanted: tuple[str, ...]) -> _kivcore.Object:
        """A new object that has one of the wanted interfaces."""
        resolved = self._resolved(id)
        made = self._core.create(resolved.encode("utf-8", "surrogateescape"))
        if made is None:
            raise Error(f"{resolved} makes no objects: nothing serves its flavor, category and type, "
                        "or its create function returned null")
        if not any(each in made.interfaces for each in wanted):
            names = " or ".join(wanted)
            if not made.interfaces:
                raise TypeError(f"{resolved} makes objects of kind {made.kind!r}, not a {names}")
            actual = made.interfaces[0]
            raise TypeError(f"{resolved} is a {actual}, not a {names}; {_ADVICE[actual]}")
        return made

    def __reduce__(self) -> tuple[Any, ...]:
        given = () if self._is_default else self._directories[:self._own]
        return _registry_from, (tuple(given), tuple(self._directories[self._own:]))

    def __repr__(self) -> str:
        return f"<Registry of {', '.join(map(repr, self._directories))}>"


# The registries that were unpickled here: many readers share one.
_unpickled: weakref.WeakValueDictionary[Any, Registry] = weakref.WeakValueDictionary()


def _registry_from(given: tuple[str, ...], loaded: tuple[str, ...]) -> Registry:
    """What a pickled registry becomes."""
    key = given, loaded, os.environ.get("KIVPLUG_PATH")
    registry = _unpickled.get(key)
    if registry is None:
        registry = Registry(*given)
        for directory in loaded:
            registry.load(directory)
        _unpickled[key] = registry
    return registry
