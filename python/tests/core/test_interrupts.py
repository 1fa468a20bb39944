# SPDX-License-Identifier: MIT
"""Interrupts of a UIO device, in threads and in event loops."""

from __future__ import annotations

import asyncio
import os
import select
import signal
import threading
import time
from typing import Any

import pytest
from conftest import Driver

import rynvel


def test_enables_at_the_beginning_and_disables_at_the_end(driver: Driver) -> None:
    with rynvel.open("uio") as device:
        with device.interrupts() as interrupts:
            assert driver.controls() == [1]
            assert "enabled" in repr(interrupts)
        assert driver.controls() == [0]
        with pytest.raises(rynvel.ClosedError):
            interrupts.wait(0)


def test_one_interrupt_arrives_once_and_the_next_wait_enables_again(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        assert driver.controls() == [1]
        driver.raise_interrupt(7)
        before = time.time()
        event = interrupts.wait(10)
        assert event is not None and (event.device, event.word) == ("uio", 7) and event.time >= before
        # The source of the interrupt is still active: nothing may enable the interrupt until the next wait.
        assert driver.controls() == []
        assert interrupts.wait(0) is None
        assert driver.controls() == [1]
        assert interrupts.wait(0) is None
        assert driver.controls() == []


def test_a_time_out_gives_none(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        assert interrupts.wait(0.01) is None
        assert interrupts.wait(timeout=0) is None


@pytest.mark.parametrize(
    "timeout",
    [-1, float("nan"), float("inf"), 10**400, "1"],
    ids=["negative", "nan", "infinite", "large", "text"],
)
def test_refuses_what_is_no_time_out(driver: Driver, timeout: Any) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        with pytest.raises((ValueError, TypeError)):
            interrupts.wait(timeout)


def test_disables_after_an_exception_and_when_the_device_is_closed_inside(driver: Driver) -> None:
    device = rynvel.open("uio")
    with pytest.raises(RuntimeError, match="inside"), device.interrupts():
        raise RuntimeError("inside")
    assert driver.controls() == [1, 0]
    with device.interrupts() as interrupts:
        device.close()
        assert driver.controls() == [1, 0]
        with pytest.raises(rynvel.ClosedError):
            interrupts.wait(0)
    assert driver.controls() == []


def test_closing_ends_the_wait_of_another_thread(driver: Driver) -> None:
    outcomes: list[str] = []
    device = rynvel.open("uio")
    with device.interrupts() as interrupts:
        def work() -> None:
            try:
                interrupts.wait()
            except rynvel.ClosedError:
                outcomes.append("closed")

        thread = threading.Thread(target=work)
        thread.start()
        device.close()
        thread.join(10)
    assert outcomes == ["closed"]


def test_only_one_user_and_one_waiting_thread(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        with pytest.raises(rynvel.InUseError):
            device.interrupts().__enter__()
        words: list[int] = []

        def wait() -> None:
            while not words:
                try:
                    event = interrupts.wait(30)
                    words.append(-1 if event is None else event.word)
                except rynvel.InUseError:
                    pass

        waiting = threading.Thread(target=wait)
        waiting.start()
        with pytest.raises(rynvel.InUseError):
            for _ in range(1_000_000):
                interrupts.wait(0)
                os.sched_yield()
        driver.raise_interrupt(1)
        waiting.join(10)
        assert words == [1]


def test_a_device_without_interrupts_says_so() -> None:
    with rynvel.open("file8") as device, pytest.raises(rynvel.UnsupportedError):
        device.interrupts().__enter__()


def test_ctrl_c_ends_a_wait(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        main = threading.main_thread().ident
        assert main is not None
        timer = threading.Timer(0.2, signal.pthread_kill, (main, signal.SIGINT))
        timer.start()
        with pytest.raises(KeyboardInterrupt):
            interrupts.wait(30)
        timer.join()
        driver.raise_interrupt(3)
        event = interrupts.wait(10)
        assert event is not None and event.word == 3


def test_the_descriptor_is_readable_when_an_interrupt_arrives(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        assert select.select([interrupts], [], [], 0)[0] == []
        driver.raise_interrupt(1)
        assert select.select([interrupts], [], [], 10)[0] == [interrupts]


def test_events_arrive_in_an_event_loop(driver: Driver) -> None:
    async def collect() -> list[int]:
        words = []
        with rynvel.open("uio") as device:
            driver.raise_interrupt(5)
            async for event in device.events():
                words.append(event.word)
                if len(words) == 3:
                    break
                driver.raise_interrupt(5 + len(words))
        return words

    assert asyncio.run(collect()) == [5, 6, 7]
    assert driver.controls() == [1, 1, 1, 0]


def test_a_canceled_task_leaves_no_reader_and_disables(driver: Driver) -> None:
    async def cancel() -> None:
        with rynvel.open("uio") as device:
            async def wait() -> None:
                async for _ in device.events():
                    pass

            task = asyncio.create_task(wait())
            await asyncio.sleep(0)
            await asyncio.sleep(0)
            assert driver.controls() == [1]
            task.cancel()
            assert await asyncio.wait([task]) == ({task}, set())
            assert driver.controls() == [0]
            loop: Any = asyncio.get_running_loop()
            assert len(loop._selector.get_map()) == 1  # the loop's own descriptor
            driver.raise_interrupt(9)
            async for event in device.events():
                assert event.word == 9
                break

    asyncio.run(cancel())


def test_two_tasks_on_one_device_and_closing_while_a_task_waits(driver: Driver) -> None:
    async def both() -> None:
        device = rynvel.open("uio")
        events = device.events()
        first = asyncio.create_task(events.__anext__())
        await asyncio.sleep(0)
        with pytest.raises(rynvel.InUseError):
            await device.events().__anext__()
        with pytest.raises(rynvel.InUseError):
            await events.__anext__()
        device.close()
        with pytest.raises(rynvel.ClosedError):
            await first
        with pytest.raises(rynvel.ClosedError):
            device.events()

    asyncio.run(both())
