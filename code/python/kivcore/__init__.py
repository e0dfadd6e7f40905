"""Media through plug-ins.

A Registry has the plug-ins of some directories, and makes their objects. Each behaves like
something that you know:

    open     a raw stream, to read or to write
    files    the same, for files that belong together
    frames   a sequence of NumPy arrays, one for each frame of a sound or a film
    browse   directories and files, for example those inside an archive
    watch    an iterator over changes

For example, the first line of a text that was compressed with gzip, the files in an archive, and
the peak of a sound:

    import io, kivcore
    registry = kivcore.Registry()

    with io.TextIOWrapper(registry.open("io/read/gzip/.*", "text.gz")) as lines:
        print(next(lines))

    for entry in registry.browse("io/browse/archive/.*", "papers.zip").walk():
        print(entry.path, entry.info)

    with registry.frames("io/read/sound/.*", "sound.flac") as frames:
        print(max(abs(frame).max() for frame in frames))

Ids name plug-ins: category/type/key/developer/version. Wherever an id is expected, a regular
expression in its place selects the newest version of the first plug-in whose id it matches.

Errors. An operation that fails raises OSError, or its subclass that fits, such as
FileNotFoundError, with the errno that the plug-in gave and the path. ResultError is the OSError of
a plug-in that gives no errno. What is closed raises ValueError. UnknownIdError, which is a KeyError,
names the nearest ids; TypeError says what an object is if it is not what you asked for. What the
library and plug-ins raise themselves becomes an Error or one of its subclasses.

Threads and processes. The GIL is released during every call into a plug-in. Threads may share
every object; calls into one object take turns. An object that another thread was using during a
fork raises RuntimeError in the child process; others can be used there, and share the open file
with the parent process, as Python's own files do. Registries and readers can be pickled.

Lifetime. Drop objects in any order: each keeps what it needs. Close writers, because only ``close``
reports that the end of the data could not be written.
"""

from ._browse import Directory, Entry
from ._errors import (ArgumentError, CallError, Error, LoadWarning, MissingError, PluginError,
                      ResultError, UnknownIdError, UnsupportedError)
from ._frames import AudioTrack, Frames, Track, VideoTrack
from ._kivcore import version as __version__
from ._registry import LoadReport, Registry
from ._streams import File, FileSequence, Reader, Stream, Writer
from ._watch import Event, Watch

__all__ = [
    "Registry", "LoadReport",
    "Stream", "Reader", "Writer", "FileSequence", "File",
    "Frames", "Track", "AudioTrack", "VideoTrack",
    "Directory", "Entry",
    "Watch", "Event",
    "Error", "CallError", "ArgumentError", "MissingError", "UnsupportedError", "PluginError",
    "UnknownIdError", "ResultError", "LoadWarning",
]

# For help(), messages and pickles: the modules of the package are not its interface.
for _name in __all__:
    globals()[_name].__module__ = __name__
del _name
