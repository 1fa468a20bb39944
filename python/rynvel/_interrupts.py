# SPDX-License-Identifier: MIT
"""Interrupts: waiting in a thread, and in an event loop."""

from __future__ import annotations

import asyncio
import contextlib
import os
import time
from types import TracebackType
from typing import TYPE_CHECKING, NamedTuple

from . import _core
from ._errors import ClosedError, Error, InUseError, UnsupportedError

if TYPE_CHECKING:
    from ._device import Device


class Event(NamedTuple):
    """An interrupt that the program has received from a device."""

    device: str
    """The name of the device."""
    word: int
    """The interrupt word; for a UIO device, the number of its interrupts since the driver was loaded."""
    time: float
    """The time at which the program received the interrupt, in seconds since 1970, like time.time()."""


class Interrupts:
    """The interrupts of a device, enabled within a ``with`` block.

    The driver of a UIO device disables the interrupt when it arrives. The next wait() enables the interrupt again.
    Clear the source of the interrupt before you call wait() again.
    """

    def __init__(self, device: Device) -> None:
        self._device = device
        self._session: _core.Session | None = None

    def __enter__(self) -> Interrupts:
        if self._session is not None:
            raise InUseError(f"{self._device.name}: this object already uses the interrupts (leave its block first)")
        self._session = self._device._start_interrupts()
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, traceback: TracebackType | None
    ) -> None:
        session, self._session = self._session, None
        if session is None:
            return
        try:
            session.stop()
        except Error:
            # An exception of the block has precedence, because it is probably the cause of this error.
            if error is None:
                raise

    def __repr__(self) -> str:
        state = "disabled" if self._session is None else "enabled"
        return f"<rynvel.Interrupts of {self._device.name!r}, {state}>"

    def wait(self, timeout: float | None = None) -> Event | None:
        """Waits for the next interrupt and returns it; None if the interrupt does not arrive within the time-out.

        The time-out is in seconds, and None means no time-out. Ctrl-C ends the wait.

        Raises ClosedError if another thread closes the device, InUseError if another thread waits, and DeviceError; for
        a remote device also ConnectionLostError, RefusedError and DeviceTimeoutError.
        """
        word = self._active().wait(timeout)
        return None if word is None else Event(self._device.name, word, time.time())

    def fileno(self) -> int:
        """Returns a descriptor that is readable when an interrupt may have arrived, for select() and poll().

        When the descriptor is readable, call wait(0) until it returns None. The call that follows a received interrupt
        enables the interrupt again. Without that call, the descriptor of a UIO device does not become readable again.
        """
        return self._active().descriptors()[0]

    def _active(self) -> _core.Session:
        if self._session is None:
            raise ClosedError(f"{self._device.name}: the interrupts are not enabled (use them in a with block)")
        return self._session


class Events:
    """The interrupts of a device, for ``async for``.

    For a remote device, the steps and the end of the iteration send requests to the server. Each request blocks the
    event loop until the server answers, at most for the time-out of the device.
    """

    def __init__(self, device: Device) -> None:
        if device.closed:
            device._start_interrupts()
        self._device = device
        self._session: _core.Session | None = None
        self._is_waiting = False
        self._is_ended = False

    def __aiter__(self) -> Events:
        return self

    async def __anext__(self) -> Event:
        if self._is_ended:
            raise StopAsyncIteration
        if self._is_waiting:
            raise InUseError(f"{self._device.name}: another task waits for the interrupts")
        self._is_waiting = True
        try:
            return await self._next()
        except ClosedError:
            # Another task may have called aclose().
            if self._is_ended:
                raise StopAsyncIteration from None
            self._abandon()
            raise
        except BaseException:
            self._abandon()
            raise
        finally:
            self._is_waiting = False

    async def aclose(self) -> None:
        """Disables the interrupts, and ends the iteration."""
        self._end()

    async def __aenter__(self) -> Events:
        return self

    async def __aexit__(
        self, kind: type[BaseException] | None, error: BaseException | None, traceback: TracebackType | None
    ) -> None:
        if error is None:
            self._end()
        else:
            self._abandon()

    def _abandon(self) -> None:
        """Disables the interrupts after an exception. Suppresses a failure, because the exception has precedence."""
        with contextlib.suppress(Error):
            self._end()

    def _end(self) -> None:
        self._is_ended = True
        session, self._session = self._session, None
        if session is not None:
            session.stop()

    async def _next(self) -> Event:
        if self._session is None:
            self._session = self._device._start_interrupts()
        session = self._session
        session.enable()
        while True:
            await _readable(session.descriptors())
            word = session.wait(0)
            if word is not None:
                return Event(self._device.name, word, time.time())


async def _readable(descriptors: tuple[int, int]) -> None:
    """Waits until one of the descriptors is readable. A wait that is canceled leaves no reader in the event loop."""
    loop = asyncio.get_running_loop()
    ready: asyncio.Future[None] = loop.create_future()

    def finish() -> None:
        if not ready.done():
            ready.set_result(None)

    try:
        with contextlib.ExitStack() as watched:
            for descriptor in descriptors:
                # Watches a duplicate. Another task may close the device before this task runs again. The descriptor
                # number may then belong to another file that the event loop watches.
                duplicate = os.dup(descriptor)
                watched.callback(os.close, duplicate)
                loop.add_reader(duplicate, finish)
                watched.callback(_remove_reader, loop, duplicate)
            await ready
    except PermissionError as error:
        raise UnsupportedError("an event loop cannot wait for a file of this kind (use interrupts() in a thread)") from error


def _remove_reader(loop: asyncio.AbstractEventLoop, descriptor: int) -> None:
    # An event loop that was closed during the wait no longer has readers.
    if not loop.is_closed():
        loop.remove_reader(descriptor)
