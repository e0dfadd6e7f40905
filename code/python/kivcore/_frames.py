"""Media by tracks and frames."""

from __future__ import annotations

import errno
import operator
from collections.abc import Iterator
from dataclasses import dataclass, field
from types import TracebackType
from typing import TYPE_CHECKING, Any, Optional, Union, overload

from . import _kivcore
from ._errors import check, no_such, os_error
from ._text import path_bytes

if TYPE_CHECKING:
    import numpy
    from numpy.typing import DTypeLike, NDArray

# A count that does not fit in the record's 32 bits is the largest one.
_UNKNOWN_COUNT = 0xFFFFFFFF

# Room for frames of tracks whose record does not say how large they are.
_UNKNOWN_FRAME_SIZE = 16 << 20


@dataclass(frozen=True)
class Track:
    """What is known about a track. Sound and video have classes of their own."""

    index: int
    type: str
    """"Video", "Audio", "Meta", "Text" or "Hint"."""
    description: str = field(repr=False)
    """The record as lines of "label: value", for people."""


@dataclass(frozen=True)
class AudioTrack(Track):
    """A track of sound. A frame is a run of samples of every channel."""

    track_format: str
    """Four characters, such as "WAVE"."""
    frame_data_size: int
    """Bytes of a frame; the last one may be shorter."""
    number_of_frames: int
    samples_per_frame: int
    """Of one channel."""
    total_samples: int
    """Of one channel."""
    channels: int
    bits_per_sample: int
    sample_rate: float
    """Samples per second."""
    offset_from_video: int
    """In samples."""


@dataclass(frozen=True)
class VideoTrack(Track):
    """A track of pictures, each of them a frame."""

    track_format: str
    """Four characters."""
    frame_data_size: int
    """Bytes of a frame."""
    number_of_frames: int
    framerate: float
    """Frames per second."""
    start_timecode: str
    """hh:mm:ss:ff, or hh:mm:ss;ff if the timecode drops frames."""
    pixel_width: int
    pixel_height: int
    pixel_aspect_ratio: float
    """Width of a pixel divided by its height."""
    field_order: int


def _track(index: int, known: Optional[dict[str, Any]]) -> Track:
    if known is None:
        return Track(index, "", "")
    if "channels" in known:
        return AudioTrack(index, **known)
    return VideoTrack(index, **known) if "pixel_width" in known else Track(index, **known)


class Frames:
    """A track's frames, as a sequence of NumPy arrays. ``Registry.frames`` makes it.

    A frame of sound is an array of samples x channels: 16-bit integers, or floats if the track has
    32 or 64 bits per sample, which is how the bundled plug-in delivers them. Other frames are
    arrays of bytes, because the record does not say what they contain. Pass ``dtype`` to
    ``Registry.frames`` if a plug-in delivers something else.

    Any number of loops may run at the same time, and each starts at the first frame.
    """

    def __init__(self, made: _kivcore.Object, path: str, track: int, dtype: DTypeLike) -> None:
        self._id, self._path = made.id, path
        self._core = _kivcore.FrameReader(made)
        self._checked(self._core.open(path_bytes(path), b"r"), "open")
        tracks = self._core.tracks()
        if not 0 <= track < len(tracks):
            raise IndexError(f"no track {track} among the {len(tracks)} of {path!r}, which are "
                             "counted from 0")
        self._tracks = tuple(_track(index, known) for index, known in enumerate(tracks))
        self._selected = self._tracks[track]
        self._checked(self._core.select_track(track), "select_track")
        self._set_layout(dtype)

    def _set_layout(self, dtype: DTypeLike) -> None:
        import numpy

        known = self._selected
        channels = 0
        if isinstance(known, AudioTrack):
            types = {16: numpy.int16, 32: numpy.float32, 64: numpy.float64}
            dtype = types.get(known.bits_per_sample) if dtype is None else dtype
            channels = known.channels if dtype is not None else 0
        self._dtype = numpy.dtype(numpy.uint8 if dtype is None else dtype)
        if self._dtype.hasobject or self._dtype.itemsize == 0:
            raise ValueError(f"frames cannot be arrays of the type {self._dtype!r}: they are bytes")
        self._row_size = self._dtype.itemsize * max(channels, 1)
        size = getattr(known, "frame_data_size", _UNKNOWN_FRAME_SIZE)
        # At least one row: to a buffer without room, a plug-in might answer 0, which means the end.
        rows = max(-(-size // self._row_size), 1)
        self._shape = (rows, channels) if channels > 0 else (rows,)
        self._empty = numpy.empty

    def _checked(self, result: int, operation: str) -> int:
        return check(result, operation, self._id, self._path)

    @property
    def path(self) -> str:
        """The path that was opened."""
        return self._path

    @property
    def tracks(self) -> tuple[Track, ...]:
        """All tracks of the file."""
        return self._tracks

    @property
    def track(self) -> Track:
        """The track whose frames these are."""
        return self._selected

    @property
    def dtype(self) -> numpy.dtype[Any]:
        """The type of the arrays' elements."""
        return self._dtype

    @property
    def closed(self) -> bool:
        """Whether the file is closed."""
        return self._core.closed

    def close(self) -> None:
        """Close the file; closing it again does nothing."""
        self._checked(self._core.close(), "close")

    def __enter__(self) -> Frames:
        return self

    def __exit__(self, type: Optional[type[BaseException]], value: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        self.close()

    def _frame(self, index: int) -> Optional[NDArray[Any]]:
        """One frame; None at the end."""
        frame = self._empty(self._shape, self._dtype)
        got = self._core.read_frame(index, frame)
        if got == frame.nbytes:
            return frame
        if got == 0:
            return None
        if got < 0:
            raise os_error(got, f"read_frame {index}", self._id, self._path)
        if got % self._row_size:
            raise no_such(errno.EBADMSG, self._id,
                          f"frame {index} has {got} bytes, which are not whole samples", self._path)
        return frame[:got // self._row_size].copy()

    def __len__(self) -> int:
        """The number of frames. Raises TypeError if the plug-in does not know it."""
        count: int = getattr(self._selected, "number_of_frames", _UNKNOWN_COUNT)
        if count == _UNKNOWN_COUNT:
            raise TypeError(f"the number of frames of {self._path!r} is not known")
        return count

    def __bool__(self) -> bool:
        return True

    def __iter__(self) -> Iterator[NDArray[Any]]:
        index = 0
        while (frame := self._frame(index)) is not None:
            yield frame
            index += 1

    @overload
    def __getitem__(self, index: int) -> NDArray[Any]: ...

    @overload
    def __getitem__(self, index: slice) -> list[NDArray[Any]]: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[NDArray[Any], list[NDArray[Any]]]:
        """One frame, or the list of those of a slice. Negative indexes count from the end."""
        if isinstance(index, slice):
            return [self[each] for each in range(*index.indices(len(self)))]
        index = operator.index(index)
        at = index + len(self) if index < 0 else index
        count = getattr(self._selected, "number_of_frames", _UNKNOWN_COUNT)
        frame = self._frame(at) if 0 <= at < count else None
        if frame is None:
            raise IndexError(f"no frame {index} in {self._path!r}")
        return frame

    def __repr__(self) -> str:
        return f"<Frames of track {self._selected.index} of {self._path!r} through {self._id}>"
