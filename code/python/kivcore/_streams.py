"""Readers and writers: plug-ins as Python's raw streams."""

from __future__ import annotations

import errno
import io
import operator
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Optional, Union

from . import _kivcore
from ._errors import check, os_error
from ._text import path_bytes, text_bytes

if TYPE_CHECKING:
    from _typeshed import ReadableBuffer, WriteableBuffer

    from ._registry import Registry

# What readall() reads at once: the cost of a call vanishes in it.
_STEP = 1 << 18


class Stream(io.RawIOBase):
    """What readers and writers have in common. ``Registry.open`` makes them.

    Like every raw stream of Python, one read or write may move fewer bytes than asked for. Wrap
    the stream in ``io.BufferedReader``, ``io.BufferedWriter`` or ``io.TextIOWrapper`` if you need
    more. Threads that share a stream take turns. A stream is closed when it is collected, but only
    ``close`` and ``with`` report that closing failed.
    """

    _core: Union[_kivcore.Reader, _kivcore.Writer]

    def __init__(self, registry: Registry, plugin_id: str, path: str, mode: str) -> None:
        self._registry = registry
        self._id = plugin_id
        self._path = path
        self._mode = mode

    @property
    def plugin_id(self) -> str:
        """The id of the plug-in."""
        return self._id

    @property
    def name(self) -> str:
        """The path that was opened."""
        return self._path

    @property
    def mode(self) -> str:
        """The mode of opening, which the plug-in interprets."""
        return self._mode

    def _checked(self, result: int, operation: str) -> int:
        return check(result, operation, self._id, self._path)

    def _open(self) -> None:
        operation = f"open with mode {self._mode!r}"
        self._checked(self._core.open(path_bytes(self._path), text_bytes(self._mode, "mode")),
                      operation)

    @property
    def closed(self) -> bool:
        """Whether the stream is closed."""
        return self._core.closed

    def close(self) -> None:
        """Close the stream; closing it again does nothing. A writer's data is safe after this."""
        self._checked(self._core.close(), "close")

    def seek(self, offset: int, whence: int = io.SEEK_SET) -> int:
        """Move to a position in bytes and return it; see ``io.IOBase.seek``."""
        if whence not in (io.SEEK_SET, io.SEEK_CUR, io.SEEK_END):
            raise ValueError(f"invalid whence ({whence}, should be 0, 1 or 2)")
        offset = operator.index(offset)
        if not -(1 << 63) <= offset < 1 << 63:
            raise OverflowError(f"position {offset} does not fit in 64 bits")
        return self._checked(self._core.seek(offset, whence), "seek")

    def tell(self) -> int:
        """The position in bytes."""
        return self._checked(self._core.tell(), "tell")

    def seekable(self) -> bool:
        """Whether the plug-in can seek in what is open."""
        return self._core.seek(0, io.SEEK_CUR) >= 0

    def size(self) -> int:
        """The size of the whole stream in bytes."""
        return self._checked(self._core.size(), "size")

    def readinto(self, buffer: WriteableBuffer) -> int:
        """Not supported by writers."""
        raise io.UnsupportedOperation("not readable")

    def write(self, data: ReadableBuffer) -> int:
        """Not supported by readers."""
        raise io.UnsupportedOperation("not writable")

    def truncate(self, size: Any = None) -> int:
        """Not supported."""
        raise io.UnsupportedOperation("plug-ins cannot truncate")

    def __repr__(self) -> str:
        state = "closed " if self.closed else ""
        return f"<{state}{type(self).__name__} {self._path!r} through {self._id}>"


class Reader(Stream):
    """Reads bytes through a plug-in.

    A reader can be pickled: what is pickled are the registry's directories, the id, the path and
    the position. It is opened anew, at that position, where it is unpickled; a closed reader stays
    closed.
    """

    _core: _kivcore.Reader

    def __init__(self, registry: Registry, made: _kivcore.Object, path: str, mode: str,
                 is_open: bool = True) -> None:
        super().__init__(registry, made.id, path, mode)
        self._core = self._core_of(made)
        if is_open:
            self._open()

    @staticmethod
    def _core_of(made: _kivcore.Object) -> _kivcore.Reader:
        return _kivcore.Reader(made)

    def readable(self) -> bool:
        """True, while the reader is open."""
        self._check_open()
        return True

    def readinto(self, buffer: WriteableBuffer) -> int:
        """Read into a writable bytes-like object, without a copy; return the number of bytes.

        Fewer bytes than fit do not mean the end; 0 does.
        """
        got = self._core.readinto(buffer)
        if got < 0:
            raise os_error(got, "read", self._id, self._path)
        return got

    def readall(self) -> bytes:
        """Read to the end."""
        read = bytearray()
        buffer = memoryview(bytearray(_STEP))
        while got := self.readinto(buffer):
            read += buffer[:got]
        return bytes(read)

    def _check_open(self) -> None:
        if self.closed:
            raise ValueError("I/O operation on closed file")

    def __reduce__(self) -> tuple[Any, ...]:
        position = None if self.closed else self.tell()
        return _reader_from, (self._registry, self._id, self._path, self._mode, position)


def _reader_from(registry: Registry, plugin_id: str, path: str, mode: str,
                 position: Optional[int]) -> Stream:
    """What a pickled reader becomes."""
    made = registry._created(plugin_id, ("reader",))
    reader = registry._reader(made, path, mode, is_open=position is not None)
    if position:
        reader.seek(position)
    return reader


@dataclass(frozen=True)
class File:
    """One file of a sequence: its path and its size in bytes."""

    path: str
    size: int


class FileSequence(Reader):
    """Reads files that belong together as one stream, end to end. ``Registry.files`` makes it."""

    _core: _kivcore.FileSequence

    @staticmethod
    def _core_of(made: _kivcore.Object) -> _kivcore.FileSequence:
        return _kivcore.FileSequence(made)

    @property
    def files(self) -> tuple[File, ...]:
        """The files, in order."""
        files = (File(path, self._checked(size, "file_size")) for path, size in self._core.files())
        return tuple(files)

    @property
    def current_file(self) -> int:
        """The number of the file at the position, from 0."""
        return self._core.current_file()

    def select_file(self, index: int) -> None:
        """Move to the start of a file."""
        count = len(self._core.files())
        if not 0 <= index < count:
            raise IndexError(f"no file {index} among the {count}, which are counted from 0")
        self._checked(self._core.select_file(index), "select_file")


class Writer(Stream):
    """Writes bytes through a plug-in. The data is safe only after ``close`` has succeeded."""

    _core: _kivcore.Writer

    def __init__(self, registry: Registry, made: _kivcore.Object, path: str, mode: str) -> None:
        super().__init__(registry, made.id, path, mode)
        self._core = _kivcore.Writer(made)
        self._open()

    def writable(self) -> bool:
        """True, while the writer is open."""
        if self.closed:
            raise ValueError("I/O operation on closed file")
        return True

    def write(self, data: ReadableBuffer) -> int:
        """Write a bytes-like object; return the number of bytes written, which may be fewer."""
        done = self._core.write(data)
        # A writer that takes nothing would be asked for ever.
        if done == 0 and memoryview(data).nbytes > 0:
            done = -errno.EIO
        return self._checked(done, "write")

    def flush(self) -> None:
        """Write out what the plug-in has buffered."""
        self._checked(self._core.flush(), "flush")

    def __reduce__(self) -> tuple[Any, ...]:
        raise TypeError(f"cannot pickle {self!r}: opening it again could empty the file")
