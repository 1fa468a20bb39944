# SPDX-License-Identifier: MIT
"""Devices, and the device table."""

from __future__ import annotations

from types import TracebackType
from typing import NamedTuple, SupportsFloat, SupportsIndex

from . import _core
from ._errors import MissingFileError, PermissionDeniedError
from ._interrupts import Events, Interrupts
from ._registers import MapPath, MapPaths, Registers, list_of_paths, registers_of


class DeviceInfo(NamedTuple):
    """A row of the device table."""

    name: str
    kind: str
    """The device type, for example ``'Uio32'``."""
    width: int
    """The width of the registers in bits: 8, 16 or 32."""
    path: str | None
    """The device file; None for a remote device."""
    remote: str | None
    """The server of a remote device; None for a device of this machine."""
    present: bool | None
    """Whether the device file exists; None for a remote device, because devices() does not connect to servers."""


class Device(_core.Device):
    """An open device. ``rynvel.open()`` returns a Device, and the end of a ``with`` block closes the device.

    Threads may share a device. Operations on one remote device run one after the other.
    After a fork, the child process must open its devices again.
    """

    # Any other attribute raises AttributeError. Otherwise, `device.CTRL = 1` would set an attribute, not a register.
    __slots__ = ("__weakref__", "_map", "_registers")

    _map: list[MapPath]
    _registers: Registers | None

    def __new__(
        cls,
        name: str,
        remote: str | None = None,
        timeout: SupportsFloat | SupportsIndex | None = None,
        type: str | None = None,
    ) -> Device:
        device = super().__new__(cls, name, remote, timeout, type)
        assert isinstance(device, Device)
        device._map = []
        device._registers = None
        return device

    def __enter__(self) -> Device:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, traceback: TracebackType | None
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed" if self.closed else "open"
        server = "" if self.remote is None else f" at {self.remote}"
        return f"<rynvel.Device {self.name!r}{server}: {self.kind}, {self.width} bits, {state}>"

    @property
    def regs(self) -> Registers:
        """The registers of the device by name. Raises MapError if no register map describes the device."""
        if self._registers is None:
            self._registers = registers_of(self)
        return self._registers

    def interrupts(self) -> Interrupts:
        """Returns a context manager that enables the interrupts of the device, and disables them at the end.

        Raises UnsupportedError for a device without interrupts, and InUseError if the interrupts are already in use.
        Both are raised when the block begins.
        """
        return Interrupts(self)

    def events(self) -> Events:
        """Returns an asynchronous iterator of interrupts.

        The first step enables the interrupts. The end of the iteration disables them.

        Raises ClosedError if the device is closed.
        """
        return Events(self)


def open(
    name: str,
    remote: str | None = None,
    timeout: float | None = None,
    map: MapPaths | None = None,
    *,
    type: str | None = None,
) -> Device:
    """Opens the device with this name.

    remote  the server, as HOST, HOST:PORT or HOST::PORT; None for a device of the device table
    timeout the time in seconds within which a server must answer, by default 5; devices of this machine ignore it
    map     a register map, a folder of register maps, or a list of both; None to search the maps of RYNVEL_MAPS and of
            this machine. The first use of ``regs`` reads the maps.
    type    the type of the device on its server, for example 'Uio32'; None for the type in the device table

    Raises UnknownDeviceError, MissingFileError, PermissionDeniedError or DeviceError; for a remote device also
    ConnectionLostError, RefusedError and DeviceTimeoutError. Raises ValueError, which is not a rynvel.Error, if
    remote, timeout or type is not valid.
    """
    maps = list_of_paths("map", map)
    try:
        device = Device(name, remote, timeout, type)
    except (MissingFileError, PermissionDeniedError) as error:
        if remote is None:
            error.filename = next((row.path for row in devices() if row.name == name), None)
        raise
    device._map = maps
    return device


def devices() -> list[DeviceInfo]:
    """Returns the rows of the device table, in the order of their handles. Opens no device."""
    return [DeviceInfo(*row) for row in _core.devices()]
