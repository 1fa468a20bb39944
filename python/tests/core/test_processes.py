# SPDX-License-Identifier: MIT
"""Traces, forks, and the end of the interpreter."""

from __future__ import annotations

import logging
import os
import threading
from typing import Any

import pytest
from conftest import Driver, calls, run_program

import rynvel


def test_traces_arrive_until_they_are_stopped() -> None:
    records: list[rynvel.TraceRecord] = []
    with rynvel.trace("Rynvel.Lseek", 6, records.append):
        with rynvel.open("file8") as device:
            device.read(0x12)
    count = len(records)
    assert any(each.channel == "Rynvel.Lseek" and "0x00000012" in each.text for each in records)
    with rynvel.open("file8") as device:
        device.read(0)
    assert len(records) == count


def test_patterns_and_levels_select_the_traces() -> None:
    all_records: list[rynvel.TraceRecord] = []
    none: list[rynvel.TraceRecord] = []
    with rynvel.trace("*", 6, all_records.append), rynvel.trace("Rynvel.Uio", 6, none.append):
        rynvel.open("map32").close()
    assert all_records and not none and max(each.level for each in all_records) <= 6


@pytest.mark.parametrize("channel, level, sink", [
    ("Nothing", 6, print), ("Rynvel.Uio", 8, print), ("Rynvel.Uio", -1, print), ("Rynvel.Uio", 6, None),
    ("Rynvel.Uio", 1.5, print), (5, 6, print),
])
def test_refuses_wrong_subscriptions(channel: Any, level: Any, sink: Any) -> None:
    with pytest.raises((ValueError, TypeError)):
        rynvel.trace(channel, level, sink)


def test_a_sink_may_stop_its_own_subscription_and_may_use_devices() -> None:
    done = threading.Event()
    calls: list[int] = []

    def sink(record: rynvel.TraceRecord) -> None:
        calls.append(record.level)
        subscription.stop()
        with rynvel.open("file8") as device:
            device.read(0)
        done.set()

    subscription = rynvel.trace("Rynvel.Lseek", 6, sink)
    with rynvel.open("file8") as device:
        device.read(0)
    assert done.wait(10)
    subscription.stop()
    assert len(calls) == 1


def test_an_exception_of_a_sink_is_printed(capsys: pytest.CaptureFixture[str]) -> None:
    def sink(record: rynvel.TraceRecord) -> None:
        raise RuntimeError("broken sink")

    with rynvel.trace("Rynvel.Lseek", 6, sink):
        rynvel.open("file8").close()
    assert "broken sink" in capsys.readouterr().err


def test_traces_are_passed_to_logging(caplog: pytest.LogCaptureFixture) -> None:
    log = logging.getLogger("rynvel.test")
    with caplog.at_level(logging.DEBUG), rynvel.trace("Rynvel.Lseek", 6, lambda each: log.debug("%s", each.text)):
        with rynvel.open("file8") as device:
            device.read(0x34)
    assert "0x00000034" in caplog.text


def test_a_child_process_must_open_its_devices_again(driver: Driver, server: str) -> None:
    local = rynvel.open("uio")
    remote = rynvel.open("rtc0", remote=server, type="Uio32")
    with local.interrupts() as interrupts:
        assert driver.controls() == [1]
        child = os.fork()
        if child == 0:
            status = 1
            try:
                for call in calls(lambda: local.read(0), lambda: remote.read(0), lambda: interrupts.wait(0)):
                    with pytest.raises(rynvel.ForkedError):
                        call()
                assert local.closed and remote.closed
                interrupts.__exit__(None, None, None)
                local.close()
                remote.close()
                with rynvel.open("file8") as again:
                    assert again.read(1) == 1
                status = 0
            finally:
                os._exit(status)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
        assert driver.controls() == []
        driver.raise_interrupt(4)
        event = interrupts.wait(10)
        assert event is not None and event.word == 4
    assert isinstance(remote.read(0), int)
    local.close()
    remote.close()


def test_the_interpreter_ends_with_devices_threads_and_traces(driver: Driver) -> None:
    result = run_program("""
import threading, rynvel
rynvel.trace("*", 7, lambda record: None)
device = rynvel.open("uio")
other = rynvel.open("map32")
interrupts = device.interrupts().__enter__()
threading.Thread(target=interrupts.wait, daemon=True).start()
def read():
    while True:
        other.read_block(0, 1024)
for _ in range(3):
    threading.Thread(target=read, daemon=True).start()
print("end")
""")
    assert (result.returncode, result.stdout) == (0, "end\n"), result.stderr
    assert "Fatal" not in result.stderr


def test_a_fork_with_active_traces_still_traces() -> None:
    result = run_program("""
import os, rynvel
records = []
subscription = rynvel.trace("Rynvel.Lseek", 6, records.append)
child = os.fork()
rynvel.open("file8").close()
subscription.stop()
assert records
if child:
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
""")
    assert result.returncode == 0, result.stderr
