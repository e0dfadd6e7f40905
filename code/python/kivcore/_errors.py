"""The exceptions of the package."""

from __future__ import annotations

import errno
import os

# The largest errno value of Linux. Results below its negative are not errno values.
_LARGEST_ERRNO = 4095


class Error(Exception):
    """The base of the exceptions that only this package raises."""


class CallError(Error):
    """An operation of the library or of a plug-in failed.

    For example, a shared object cannot be opened, or a description cannot be understood.
    """


class ArgumentError(Error):
    """The library or a plug-in cannot use an argument."""


class MissingError(Error):
    """Something required is missing, for example a function in a shared object."""


class UnsupportedError(Error):
    """The request is valid, but not supported, whatever the input."""


class PluginError(Error):
    """A plug-in raised an exception of its own, or gave an answer that cannot be true."""


class UnknownIdError(Error, KeyError):
    """No plug-in has this id, or matches it as a pattern."""

    __str__ = Exception.__str__  # KeyError would quote the message


class ResultError(OSError):
    """An operation failed, and the plug-in's result is not an errno value.

    ``strerror`` has the operation and the result, ``filename`` the path; ``errno`` is None.
    """

    def __str__(self) -> str:
        return f"{self.strerror}: {self.filename!r}"


class LoadWarning(UserWarning):
    """A plug-in directory did not load, or an id was refused."""


def os_error(result: int, operation: str, plugin_id: str, path: str) -> OSError:
    """The exception for a negative result of an operation."""
    where = f"{plugin_id}: {operation}"
    # Plug-ins return -1 for any failure; it does not mean EPERM.
    if -_LARGEST_ERRNO <= result < -1:
        return OSError(-result, f"{os.strerror(-result)} ({where})", path)
    return ResultError(None, f"{where} failed with result {result}", path)


def check(result: int, operation: str, plugin_id: str, path: str) -> int:
    """The result, unless it is negative."""
    if result < 0:
        raise os_error(result, operation, plugin_id, path)
    return result


def no_such(code: int, plugin_id: str, what: str, path: str) -> OSError:
    """The exception for something that is not there or of the wrong kind."""
    return OSError(code, f"{os.strerror(code)} ({plugin_id}: {what})", path)


def damage(plugin_id: str, text: str, is_limit: bool, path: str) -> OSError:
    """The exception for a list that is incomplete."""
    code = errno.EFBIG if is_limit else errno.EBADMSG
    return OSError(code, f"not listed whole: {text} ({plugin_id})", path)
