# SPDX-License-Identifier: MIT
"""The exceptions of the package. Each is a rynvel.Error, and also the exception that Python programs expect."""

from __future__ import annotations

import os
from typing import Any, Callable

# Attributes of OSError that are not in the dictionary of an exception.
_ATTRIBUTES_OF_OSERROR = ("strerror", "filename")
_MOST_CHARACTERS = 100


def quoted(text: str) -> str:
    """Returns a text in quotes for a message. Shortens a text of more than 100 characters."""
    return repr(text if len(text) <= _MOST_CHARACTERS else text[:_MOST_CHARACTERS] + "...")


class Error(Exception):
    """The base class of all errors of this package.

    A message about a device has the form ``DEVICE: what is wrong (what would be right)``.
    """

    def __init__(self, message: str = "", *, errno: int | None = None) -> None:
        super().__init__(message)
        if errno is not None:
            self.errno = errno
            self.strerror = os.strerror(errno)

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""

    def __reduce__(self) -> tuple[Callable[..., Any], tuple[Any, ...]]:
        attributes = {name: getattr(self, name, None) for name in _ATTRIBUTES_OF_OSERROR}
        given = {name: value for name, value in attributes.items() if value is not None}
        return _restore, (type(self), self.args, getattr(self, "errno", None), {**given, **self.__dict__})


def _restore(cls: type[Error], args: tuple[Any, ...], errno: int | None, attributes: dict[str, Any]) -> Error:
    error = cls(*args, errno=errno)
    for name, value in attributes.items():
        setattr(error, name, value)
    return error


class UnknownDeviceError(Error, KeyError):
    """No device has this name. The message suggests similar names, if there are any."""


class MissingFileError(Error, FileNotFoundError):
    """The device file of the device does not exist, and ``filename`` is its path; or the program rynveld is missing."""


class PermissionDeniedError(Error, PermissionError):
    """The user may not open the device file of the device. ``filename`` is its path."""


class DeviceError(Error, OSError):
    """The driver or the hardware has reported a failure. ``errno`` is the error number, if there is one."""


class BusError(DeviceError):
    """The hardware has reported a bus error. A burst may have transferred some of its registers."""


class RangeError(Error, ValueError):
    """Some of the registers are outside of the device. No register was accessed."""


class AlignmentError(Error, ValueError):
    """A byte address is not a multiple of the register size. No register was accessed."""


class ValueTooWideError(Error, ValueError):
    """A value or a mask is negative, or does not fit in its register or field. No register was accessed."""


class WidthError(Error, ValueError):
    """The items of a buffer, or a device type, have another width than the registers. No register was accessed."""


class UnsupportedError(Error, NotImplementedError):
    """The device does not support this operation. For example, a seekable device has no interrupts."""


class InUseError(Error, RuntimeError):
    """The interrupts are already in use, or a signal handler uses the device during an operation of the same thread."""


class RefusedError(Error, OSError):
    """The server refuses the request. The protocol has no field for the reason."""


class ConnectionLostError(Error, ConnectionError):
    """The server cannot be reached, has ended the connection, or does not follow the protocol.

    The device stays unusable. To go on, open the device again.
    """


class DeviceTimeoutError(Error, TimeoutError):
    """The server has not answered within the time-out. The device stays unusable, because the answer may come late."""


class ClosedError(Error, ValueError):
    """The device is closed, or its interrupts are not enabled."""


class ForkedError(ClosedError):
    """The device was opened before the process forked. The child process must open the device again."""


class MapError(Error, ValueError):
    """A register map cannot be used, or no register map describes the device."""


class NotAllowedError(Error, ValueError):
    """The register map does not allow the access, such as a write to a read-only field. No register was written."""


class UnknownNameError(Error, AttributeError, KeyError, IndexError):
    """The register map has no such register, field or element. The message suggests similar names, if there are any."""


# Tracebacks then show the names that programs use, such as rynvel.BusError.
for _value in list(vars().values()):
    if isinstance(_value, type) and issubclass(_value, Error):
        _value.__module__ = "rynvel"
del _value
