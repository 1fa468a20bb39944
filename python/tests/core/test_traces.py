# SPDX-License-Identifier: MIT
"""Traces of the library in Python functions."""

from __future__ import annotations

import io
import re
import signal
import sys
import threading
import time
from pathlib import Path
from typing import Any

import pytest
from support import DEADLINE, run_python, run_successfully, wait_until

import rynvel
from rynvel import _trace


def traced_reads(count: int = 1) -> None:
    with rynvel.open("file8") as device:
        for _ in range(count):
            device.read(0)


def test_a_sink_gets_the_traces_of_its_channel(files: Path) -> None:
    records: list[rynvel.TraceRecord] = []
    with rynvel.trace("Rynvel.*", 7, records.append) as subscription:
        assert "active" in repr(subscription) and subscription.lost == 0
        traced_reads()
    assert "stopped" in repr(subscription)
    reads = [record for record in records if "0x0" in record.text or "read" in record.function.lower()]
    assert reads, records
    record = reads[0]
    assert record.channel.startswith("Rynvel.") and 0 <= record.level <= 7 and record.line > 0
    assert record.thread == threading.get_native_id() and record.time > 1e9 and record.file
    count = len(records)
    traced_reads()
    assert len(records) == count


def channel_of_reads(files: Path) -> str:
    records: list[rynvel.TraceRecord] = []
    with rynvel.trace("*", 7, records.append):
        traced_reads()
    return records[-1].channel


def test_levels_and_channels_select(files: Path) -> None:
    channel = channel_of_reads(files)
    high: list[rynvel.TraceRecord] = []
    low: list[rynvel.TraceRecord] = []
    other: list[rynvel.TraceRecord] = []
    with rynvel.trace(channel, 7, high.append), rynvel.trace(channel, 0, low.append):
        with rynvel.trace("Rynvel.Uio", 7, other.append):
            traced_reads(5)
    assert len(high) >= 5 and not low and not other
    assert {record.channel for record in high} == {channel}
    again: list[rynvel.TraceRecord] = []
    with rynvel.trace(channel, 7, again.append):
        traced_reads(5)
    assert len(again) == len(high)


def test_no_trace_is_lost_when_a_subscription_ends(files: Path) -> None:
    channel = channel_of_reads(files)
    with rynvel.open("file8") as device:
        counts = []
        for number in range(200):
            records: list[rynvel.TraceRecord] = []
            with rynvel.trace(channel, 7, records.append):
                device.read(0)
            counts.append(len(records))
    assert counts[0] > 0 and set(counts) == {counts[0]}


def test_lost_traces_are_counted(files: Path) -> None:
    channel = channel_of_reads(files)
    released = threading.Event()
    delivered: list[rynvel.TraceRecord] = []

    def slow(record: rynvel.TraceRecord) -> None:
        released.wait(DEADLINE)
        delivered.append(record)

    with rynvel.trace(channel, 7, slow) as subscription:
        before = subscription.lost
        traced_reads(30000)
        lost = subscription.lost - before
        released.set()
    assert lost > 0
    records: list[rynvel.TraceRecord] = []
    with rynvel.trace(channel, 7, records.append):
        traced_reads(1)
    assert len(delivered) + lost >= 30000
    # Each trace is either delivered or counted as lost.
    assert (len(delivered) + lost) % 30000 < 10 * len(records)


def test_a_sink_may_stop_its_subscription(files: Path) -> None:
    channel = channel_of_reads(files)
    records: list[rynvel.TraceRecord] = []
    subscriptions: list[rynvel.Trace] = []

    def once(record: rynvel.TraceRecord) -> None:
        records.append(record)
        subscriptions[0].stop()

    subscriptions.append(rynvel.trace(channel, 7, once))
    traced_reads(50)
    wait_until(lambda: "stopped" in repr(subscriptions[0]))
    assert len(records) == 1
    subscriptions[0].stop()


def test_a_sink_may_use_devices_and_fail(files: Path, capsys: pytest.CaptureFixture[str]) -> None:
    channel = channel_of_reads(files)
    values: list[int] = []

    def sink(record: rynvel.TraceRecord) -> None:
        if len(values) < 3:
            with rynvel.open("file16") as device:
                values.append(device.read(0))
            raise ZeroDivisionError("from the sink")

    with rynvel.trace(channel, 7, sink):
        traced_reads(3)
        wait_until(lambda: len(values) == 3)
    assert capsys.readouterr().err.count("ZeroDivisionError: from the sink") == 3


def test_threads_trace_while_subscriptions_start_and_end(files: Path) -> None:
    channel = channel_of_reads(files)
    ended = threading.Event()
    failures: list[BaseException] = []

    def work() -> None:
        try:
            while not ended.is_set():
                traced_reads(10)
        except BaseException as error:
            failures.append(error)

    threads = [threading.Thread(target=work) for _ in range(3)]
    for thread in threads:
        thread.start()
    try:
        for _ in range(15):
            late: list[rynvel.TraceRecord] = []
            subscription = rynvel.trace(channel, 7, late.append)
            wait_until(lambda: bool(late))
            subscription.stop()
            count = len(late)
            assert len(late) == count
    finally:
        ended.set()
        for thread in threads:
            thread.join(DEADLINE)
    assert failures == [] and len(late) == count


@pytest.mark.parametrize(
    ("channel", "level", "sink", "error"),
    [
        ("Nothing", 7, print, ValueError),
        ("", 7, print, ValueError),
        ("Rynvel.\0", 7, print, ValueError),
        ("\ud800", 7, print, ValueError),
        ("[", 7, print, ValueError),
        (None, 7, print, TypeError),
        (b"*", 7, print, TypeError),
        ("*", 8, print, ValueError),
        ("*", -1, print, ValueError),
        ("*", 10**5000, print, ValueError),
        ("*", 1.0, print, TypeError),
        ("*", True, print, TypeError),
        ("*", None, print, TypeError),
        ("*", 7, None, TypeError),
        ("*", 7, "sink", TypeError),
    ],
    ids=lambda value: ascii(value)[:10] if not isinstance(value, int) else "number",
)
def test_bad_arguments_are_errors(channel: Any, level: Any, sink: Any, error: type[Exception]) -> None:
    with pytest.raises(error) as caught:
        rynvel.trace(channel, level, sink)
    assert "4300" not in str(caught.value)


@pytest.mark.parametrize("exception", [SystemExit(1), KeyboardInterrupt(), GeneratorExit(), RuntimeError()])
def test_no_exception_of_a_sink_ends_the_delivery(
    files: Path, capsys: pytest.CaptureFixture[str], exception: BaseException
) -> None:
    channel = channel_of_reads(files)
    records: list[rynvel.TraceRecord] = []

    def sink(record: rynvel.TraceRecord) -> None:
        records.append(record)
        if len(records) == 1:
            raise exception

    with rynvel.trace(channel, 7, sink):
        traced_reads()
        wait_until(lambda: len(records) > 1)
        count = len(records)
        traced_reads(5)
        # The thread of the package delivers these traces, because the block has not ended yet.
        wait_until(lambda: len(records) >= count + 5)
    assert capsys.readouterr().err.count(type(exception).__name__) == 1


@pytest.mark.parametrize("stream", [None, "closed"])
def test_an_exception_of_a_sink_without_standard_error(
    files: Path, monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str], stream: str | None
) -> None:
    channel = channel_of_reads(files)
    records: list[rynvel.TraceRecord] = []

    def sink(record: rynvel.TraceRecord) -> None:
        records.append(record)
        raise RuntimeError

    error: io.StringIO | None = None
    if stream is not None:
        error = io.StringIO()
        error.close()
    monkeypatch.setattr("sys.stderr", error)
    with rynvel.trace(channel, 7, sink):
        for _ in range(2):
            records.clear()
            traced_reads()
            wait_until(lambda: bool(records))
    assert capsys.readouterr().out == ""


def test_a_thread_that_has_ended_is_replaced(files: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    channel = channel_of_reads(files)
    records: list[rynvel.TraceRecord] = []
    ended = threading.Thread(target=int)
    ended.start()
    ended.join(DEADLINE)
    with rynvel.trace(channel, 7, print) as first:
        first.stop()
        wait_until(lambda: _trace._dispatcher._thread is None)
        _trace._dispatcher._thread = ended
        with rynvel.trace(channel, 7, records.append):
            traced_reads()
            wait_until(lambda: bool(records))


@pytest.mark.parametrize("exception", [KeyboardInterrupt, SystemExit])
def test_an_interrupted_stop_ends_the_subscription(files: Path, exception: type[BaseException]) -> None:
    channel = channel_of_reads(files)
    main = threading.current_thread()
    records: list[rynvel.TraceRecord] = []
    others: list[rynvel.TraceRecord] = []

    def sink(record: rynvel.TraceRecord) -> None:
        # The main thread holds the lock of the delivery, so the end of the subscription delivers the traces in this
        # thread.
        if threading.current_thread() is main:
            raise exception
        records.append(record)

    with rynvel.trace(channel, 7, others.append):
        with pytest.raises(exception), rynvel.trace(channel, 7, sink) as subscription:
            with _trace._dispatcher._delivery:
                traced_reads(10)
                subscription.stop()
        assert "stopped" in repr(subscription) and not records
        # The other subscription receives all traces.
        wait_until(lambda: len(others) >= 10)
    subscription.stop()
    with pytest.raises(exception), rynvel.trace(channel, 7, sink) as subscription:
        with _trace._dispatcher._delivery:
            traced_reads(10)
            subscription.stop()
    later: list[rynvel.TraceRecord] = []
    rynvel.trace(channel, 7, later.append).stop()
    assert not later and not records


def interrupt_when_blocked(function: str) -> None:
    """Sends SIGINT to the main thread when the main thread waits in a function."""
    main = threading.main_thread().ident or 0

    def position() -> tuple[str, int]:
        frame = sys._current_frames()[main]
        return frame.f_code.co_name, frame.f_lasti

    def is_blocked() -> bool:
        before = position()
        time.sleep(0.01)
        return before[0] == function and position() == before

    wait_until(is_blocked)
    signal.pthread_kill(main, signal.SIGINT)


def test_ctrl_c_during_the_wait_for_a_sink_ends_the_subscription(files: Path) -> None:
    channel = channel_of_reads(files)
    is_called, released = threading.Event(), threading.Event()
    records: list[rynvel.TraceRecord] = []

    def sink(record: rynvel.TraceRecord) -> None:
        records.append(record)
        is_called.set()
        released.wait(DEADLINE)

    subscription = rynvel.trace(channel, 7, sink)
    traced_reads(10)
    assert is_called.wait(DEADLINE)
    thread = threading.Thread(target=interrupt_when_blocked, args=("remove",))
    with pytest.raises(KeyboardInterrupt):
        thread.start()
        subscription.stop()
    thread.join(DEADLINE)
    assert "stopped" in repr(subscription)
    released.set()
    wait_until(lambda: _trace._dispatcher._thread is None)
    assert len(records) == 1


def test_traces_during_the_end_are_not_for_later_subscriptions(files: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    channel = channel_of_reads(files)
    forget = _trace._dispatcher._forget

    def trace_and_forget(trace: rynvel.Trace) -> None:
        traced_reads()
        forget(trace)

    records: list[rynvel.TraceRecord] = []
    subscription = rynvel.trace(channel, 7, records.append)
    monkeypatch.setattr(_trace._dispatcher, "_forget", trace_and_forget)
    subscription.stop()
    monkeypatch.undo()
    later: list[rynvel.TraceRecord] = []
    rynvel.trace(channel, 7, later.append).stop()
    assert not later


def test_traces_without_subscription_go_to_standard_error(files: Path) -> None:
    script = """
        import os
        os.environ["ZILTRACE"] = "*=7"
        import rynvel
        with rynvel.trace("Rynvel.Uio", 7, print):
            with rynvel.open("file8") as device:
                device.read(0)
    """
    result = run_python(script)
    assert result.returncode == 0 and result.stdout == ""
    assert re.search(r"^Rynvel\.\w+ \d ", result.stderr, re.MULTILINE)


def test_traces_without_subscription_and_standard_error_are_discarded(files: Path) -> None:
    script = """
        import os, sys
        os.environ["ZILTRACE"] = "*=7"
        import rynvel
        sys.stderr = None
        with rynvel.trace("Rynvel.Uio", 7, print):
            with rynvel.open("file8") as device:
                device.read(0)
    """
    assert run_python(script).stdout == ""


def test_a_thread_delivers_the_traces_of_the_child_of_a_fork(files: Path) -> None:
    script = """
        import os, time, rynvel
        records = []
        subscription = rynvel.trace("*", 7, records.append)
        child = os.fork()
        with rynvel.open("file8") as device:
            device.read(0)
        end = time.monotonic() + 20
        while not records and time.monotonic() < end:
            time.sleep(0.001)
        if child == 0:
            os._exit(not records)
        assert records and os.waitpid(child, 0)[1] == 0
    """
    run_successfully(script)


def test_the_child_of_a_fork_has_its_own_traces(files: Path) -> None:
    script = """
        import os, sys, threading, rynvel
        records = []
        subscription = rynvel.trace("*", 7, records.append)
        ended = threading.Event()
        def work():
            while not ended.is_set():
                with rynvel.open("file8") as device:
                    device.read(0)
        threads = [threading.Thread(target=work) for _ in range(2)]
        for thread in threads:
            thread.start()
        for _ in range(20):
            child = os.fork()
            if child == 0:
                records.clear()
                with rynvel.open("file16") as device:
                    device.read(0)
                subscription.stop()
                mine = {record.thread for record in records}
                os._exit(0 if mine == {threading.get_native_id()} else 3)
            status = os.waitpid(child, 0)[1]
            if status != 0:
                print("the child ends with", status)
        ended.set()
        for thread in threads:
            thread.join()
        print("the end", bool(records))
    """
    assert run_successfully(script) == "the end True\n"


@pytest.mark.parametrize("end", ["", "sys.exit(0)", "os._exit(0)", "threading.Thread(target=work, daemon=True).start()"])
def test_the_interpreter_ends_with_active_traces(files: Path, end: str) -> None:
    script = f"""
import os, sys, threading, rynvel
def work():
    while True:
        with rynvel.open("file8") as device:
            device.read(0)
subscription = rynvel.trace("*", 7, lambda record: None)
device = rynvel.open("file16")
device.read(0)
device.close()
{end}
"""
    for _ in range(3):
        result = run_python(script)
        # A trace that begins before the subscription ends may reach the configured sink afterwards.
        assert result.returncode == 0 and ("daemon" in end or result.stderr == ""), result.stderr
        assert "Error" not in result.stderr and "Fatal" not in result.stderr, result.stderr


def test_all_traces_are_delivered_at_exit(files: Path) -> None:
    script = """
        import rynvel
        count = 0
        def sink(record):
            print(record.text, flush=True)
        rynvel.trace("*", 7, sink)
        with rynvel.open("file8") as device:
            for address in range(100):
                device.read(address)
    """
    assert len(run_successfully(script).splitlines()) >= 100
