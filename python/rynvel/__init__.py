# SPDX-License-Identifier: MIT
"""The devices of librynvel: registers and interrupts by device name.

    import rynvel

    with rynvel.open("rtc0") as clock:
        now = clock.read(0x00)

open() opens a device, devices() lists the device table, and trace() passes traces of the library to a function.
``from rynvel import *`` also replaces Python's own open(), so import the package as above.

Addresses are byte addresses; ``index=`` gives a register index instead. Times are in seconds.
The errors of devices, registers and servers derive from ``rynvel.Error``. An argument of a wrong type raises TypeError.
An argument with an invalid value, such as a negative time-out, raises ValueError.
"""

from ._device import Device, DeviceInfo, devices, open
from ._errors import (
    AlignmentError,
    BusError,
    ClosedError,
    ConnectionLostError,
    DeviceError,
    DeviceTimeoutError,
    Error,
    ForkedError,
    InUseError,
    MapError,
    MissingFileError,
    NotAllowedError,
    PermissionDeniedError,
    RangeError,
    RefusedError,
    UnknownDeviceError,
    UnknownNameError,
    UnsupportedError,
    ValueTooWideError,
    WidthError,
)
from ._interrupts import Event, Events, Interrupts
from ._registers import (
    FieldArray,
    FieldInfo,
    FieldValue,
    Register,
    RegisterArray,
    RegisterGroup,
    RegisterInfo,
    Registers,
    RegisterValue,
)
from ._trace import Trace, TraceRecord, trace

__all__ = [
    "AlignmentError",
    "BusError",
    "ClosedError",
    "ConnectionLostError",
    "Device",
    "DeviceError",
    "DeviceInfo",
    "DeviceTimeoutError",
    "Error",
    "Event",
    "Events",
    "FieldArray",
    "FieldInfo",
    "FieldValue",
    "ForkedError",
    "InUseError",
    "Interrupts",
    "MapError",
    "MissingFileError",
    "NotAllowedError",
    "PermissionDeniedError",
    "RangeError",
    "RefusedError",
    "Register",
    "RegisterArray",
    "RegisterGroup",
    "RegisterInfo",
    "RegisterValue",
    "Registers",
    "Trace",
    "TraceRecord",
    "UnknownDeviceError",
    "UnknownNameError",
    "UnsupportedError",
    "ValueTooWideError",
    "WidthError",
    "devices",
    "open",
    "trace",
]
