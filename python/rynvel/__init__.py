# SPDX-License-Identifier: MIT
"""The devices of librynvel: registers and interrupts by device name.

    import rynvel

    with rynvel.open("rtc0") as clock:
        now = clock.read(0x00)

Addresses are byte addresses; ``index=`` gives a register index instead. Times are in seconds.
All errors of the package derive from ``rynvel.Error``.
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
