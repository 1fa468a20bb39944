# SPDX-License-Identifier: MIT
"""Interrupts of a UIO device, and what the package writes to the driver of the device."""

from __future__ import annotations

import asyncio
import select
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
        # The source of the interrupt is still active, so nothing may enable the interrupt until the next wait.
        assert driver.controls() == []
        assert interrupts.wait(0) is None
        assert driver.controls() == [1]
        assert interrupts.wait(0) is None
        assert driver.controls() == []


def test_a_time_out_gives_none(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        assert interrupts.wait(0.01) is None
        assert interrupts.wait(timeout=0) is None


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


def test_the_descriptor_is_readable_when_an_interrupt_arrives(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        assert select.select([interrupts], [], [], 0)[0] == []
        driver.raise_interrupt(1)
        assert select.select([interrupts], [], [], 10)[0] == [interrupts]


def test_a_second_wait_enables_the_interrupt_for_the_descriptor(driver: Driver) -> None:
    with rynvel.open("uio") as device, device.interrupts() as interrupts:
        assert driver.controls() == [1]
        for number in (1, 2):
            driver.raise_interrupt(number)
            assert select.select([interrupts], [], [], 10)[0] == [interrupts]
            event = interrupts.wait(0)
            assert event is not None and event.word == number and driver.controls() == []
            assert interrupts.wait(0) is None and driver.controls() == [1]
        assert "until it returns None" in str(rynvel.Interrupts.fileno.__doc__)


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
