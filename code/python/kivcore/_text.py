"""Texts that go into the library."""

from __future__ import annotations

import os
from typing import Union

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


def path_bytes(path: PathLike) -> bytes:
    """A path as the file system has it; surrogate escapes become the bytes that they stand for."""
    return _without_null(os.fsencode(path), "path")


def text_bytes(text: str, what: str) -> bytes:
    """An id, a mode or a pattern."""
    if not isinstance(text, str):
        raise TypeError(f"the {what} must be a str, not {type(text).__name__}")
    return _without_null(text.encode("utf-8", "surrogateescape"), what)


def _without_null(encoded: bytes, what: str) -> bytes:
    if b"\0" in encoded:
        raise ValueError(f"embedded null character in the {what} {encoded!r}")
    return encoded
