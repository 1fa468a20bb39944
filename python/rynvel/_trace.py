# SPDX-License-Identifier: MIT
"""Traces of the library, for Python functions such as those of logging."""

from __future__ import annotations

import atexit
import contextlib
import os
import re
import sys
import threading
import traceback
from collections import deque
from types import TracebackType
from typing import Callable, NamedTuple

from . import _core
from ._errors import quoted


class TraceRecord(NamedTuple):
    """A trace of the library."""

    channel: str
    level: int
    """The level, 0 to 7. A lower level is more severe."""
    text: str
    file: str
    line: int
    function: str
    is_entry: bool
    """Whether the trace records that a function was entered."""
    time: float
    """The time of the trace, in seconds since 1970."""
    thread: int
    """The kernel's identifier of the thread that wrote the trace."""


Sink = Callable[[TraceRecord], object]


class Trace:
    """A subscription to traces. ``stop()`` or the end of a ``with`` block ends the subscription."""

    def __init__(self, channel: str, level: int, sink: Sink) -> None:
        if not isinstance(channel, str):
            raise TypeError("channel must be str")
        if not callable(sink):
            raise TypeError("sink must be callable")
        if isinstance(level, bool) or not isinstance(level, int):
            raise TypeError("level must be int")
        if not 0 <= level <= 7:
            raise ValueError("level must be from 0 to 7")
        self._pattern = _compiled(channel)
        if not any(self._pattern.fullmatch(name) for name, _ in _core.trace_channels()):
            names = ", ".join(sorted({name for name, _ in _core.trace_channels()}))
            raise ValueError(f"channel: {quoted(channel)} matches no channel (the channels are {names})")
        self.channel = channel
        self.level = level
        self._sink = sink
        self._is_active = True
        _dispatcher.add(self)

    def __enter__(self) -> Trace:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, tb: TracebackType | None
    ) -> None:
        self.stop()

    def __repr__(self) -> str:
        state = "active" if self._is_active else "stopped"
        return f"<rynvel.Trace of {self.channel!r} up to level {self.level}, {state}>"

    @property
    def lost(self) -> int:
        """The number of traces of all channels that were lost because the sinks were too slow."""
        return int(_core.trace_lost())

    def stop(self) -> None:
        """Delivers the traces that were made so far, and ends the subscription. No later trace is passed to the sink.

        The calling thread delivers these traces. If the thread of the package is calling a sink, the calling thread
        waits for the sink. Do not call this method while you hold a lock that a sink needs. A sink may call stop().

        Ctrl-C and sys.exit() in a sink end the delivery. The subscription then ends without the remaining traces, and
        at most one call of the sink is still running.

        A trace that another thread writes during the call may appear on standard error.
        """
        _dispatcher.remove(self)


def trace(channel: str, level: int, sink: Sink) -> Trace:
    """Calls ``sink`` for each trace of a channel up to a level. Returns the subscription, to stop it.

    channel the name of a channel, such as 'Rynvel.Uio', or a pattern with * and ?
    level   the highest level, 0 to 7

    A thread of the package calls the sink, and so does each thread that stops a subscription. An exception of the sink
    is printed on standard error, and does not end the subscription.
    While a subscription exists, traces that match no subscription appear on standard error.
    """
    return Trace(channel, level, sink)


def _compiled(channel: str) -> re.Pattern[str]:
    return re.compile("".join({"*": ".*", "?": "."}.get(letter, re.escape(letter)) for letter in channel), re.DOTALL)


def _to_standard_error(text: str) -> None:
    """Writes a line to standard error, if that is possible. With None as the file, print() uses standard output."""
    if sys.stderr is not None:
        with contextlib.suppress(Exception):
            print(text, file=sys.stderr)


class _Dispatcher:
    """Passes the traces of the process on to the subscriptions."""

    def __init__(self) -> None:
        self._traces: list[Trace] = []
        self._configured: dict[str, int] = {}
        self._reset()
        os.register_at_fork(after_in_child=self._restart)
        atexit.register(self._stop_all)

    def _reset(self) -> None:
        # Guards the list of subscriptions and the levels. Held only for a short time.
        self._state = threading.RLock()
        # Held while sinks are called.
        self._delivery = threading.RLock()
        self._thread: threading.Thread | None = None
        # The traces that were taken from the queue and not yet delivered. If an exception ends the delivery in one
        # thread, another thread delivers the rest.
        self._taken: deque[TraceRecord] = deque()

    def add(self, trace: Trace) -> None:
        with self._state:
            if not self._traces:
                self._configured = dict(_core.trace_channels())
                _core.trace_attach()
            self._traces.append(trace)
            self._set_levels()
            self._start_thread()

    def remove(self, trace: Trace) -> None:
        if threading.current_thread() is self._thread:
            self._forget(trace)
            return
        try:
            with self._delivery:
                self._deliver()
                self._forget(trace)
                # The traces that were made in the meantime are not for later subscriptions.
                self._deliver()
        except BaseException:
            # Ctrl-C, or sys.exit() in a sink.
            self._forget(trace)
            self._drop_if_unused()
            raise

    def _forget(self, trace: Trace) -> None:
        with self._state:
            trace._is_active = False
            if trace not in self._traces:
                return
            self._traces.remove(trace)
            self._set_levels()
            if not self._traces:
                _core.trace_detach()
                _core.trace_wake_up()

    def _drop_if_unused(self) -> None:
        with self._state:
            if not self._traces:
                _core.trace_take()
                self._taken.clear()

    def _set_levels(self) -> None:
        for name, configured in self._configured.items():
            levels = [each.level for each in self._traces if each._pattern.fullmatch(name)]
            _core.trace_set_level(name, max([configured, *levels]))

    def _start_thread(self) -> None:
        if self._thread is None or not self._thread.is_alive():
            self._thread = threading.Thread(target=self._run, name="rynvel traces", daemon=True)
            self._thread.start()

    def _run(self) -> None:
        while True:
            with self._state:
                if not self._traces:
                    self._thread = None
                    return
            _core.trace_wait(1.0)
            self._deliver()

    def _deliver(self) -> None:
        # Holds the lock during both steps. Otherwise, stop() could return before this thread delivers its traces.
        with self._delivery:
            self._taken.extend(TraceRecord(*row) for row in _core.trace_take())
            while (next_one := self._next()) is not None:
                self._dispatch(*next_one)

    def _next(self) -> tuple[TraceRecord, list[Trace]] | None:
        """Returns the next trace and the subscriptions; None if all traces are delivered."""
        with self._state:
            return (self._taken.popleft(), list(self._traces)) if self._taken else None

    def _dispatch(self, record: TraceRecord, traces: list[Trace]) -> None:
        is_matched = False
        for each in traces:
            if each._is_active and record.level <= each.level and each._pattern.fullmatch(record.channel):
                is_matched = True
                self._call(each, record)
        if not is_matched and record.level <= self._configured.get(record.channel, 0):
            _to_standard_error(f"{record.channel} {record.level} {record.function}: {record.text}")

    def _call(self, trace: Trace, record: TraceRecord) -> None:
        try:
            trace._sink(record)
        except BaseException as error:
            # In a thread of the program, Ctrl-C and sys.exit() have their usual effect. The thread of the package
            # continues, because it serves all subscriptions.
            if not isinstance(error, Exception) and threading.current_thread() is not self._thread:
                raise
            _to_standard_error(traceback.format_exc().rstrip("\n"))

    def _stop_all(self) -> None:
        for each in list(self._traces):
            each.stop()

    def _restart(self) -> None:
        self._reset()
        if self._traces:
            self._start_thread()


_dispatcher = _Dispatcher()
