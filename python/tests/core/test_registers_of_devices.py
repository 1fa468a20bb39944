# SPDX-License-Identifier: MIT
"""Registers of devices of this machine, compared with the contents of their files, and devices that threads share."""

from __future__ import annotations

import array
import threading
from typing import Any

import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import rynvel

LOCAL = ["file8", "file16", "file32", "map16", "map32"]


def registers_of(name: str) -> array.array[int]:
    with rynvel.open(name) as device:
        code = {8: "B", 16: "H", 32: "I"}[device.width]
    return array.array(code, bytes(range(256)) * 16)


@pytest.mark.parametrize("name", LOCAL)
def test_reads_by_byte_address_and_by_index(name: str) -> None:
    expected = registers_of(name)
    with rynvel.open(name) as device:
        step = device.width // 8
        assert [device.read(i * step) for i in range(20)] == expected[:20].tolist()
        assert [device.read(index=i) for i in range(20)] == expected[:20].tolist()


@pytest.mark.parametrize("name", LOCAL)
@pytest.mark.parametrize("order", ["host", "network"])
def test_bursts_have_the_same_registers_as_single_reads(name: str, order: Any) -> None:
    expected = registers_of(name)
    if order == "network":
        expected.byteswap()
    with rynvel.open(name) as device:
        step = device.width // 8
        buffer = bytearray(40 * step)
        device.read_into(step, buffer, byteorder=order)
        assert buffer == expected[1:41].tobytes()
        same = array.array(expected.typecode, bytes(40 * step))
        device.read_into(None, same, index=1, byteorder=order)
        assert same == expected[1:41]
        unaligned = memoryview(bytearray(40 * step + 1))[1:]
        device.read_into(step, unaligned, byteorder=order)
        assert unaligned == expected[1:41].tobytes()


@pytest.mark.parametrize("name", LOCAL)
@pytest.mark.parametrize("order", ["host", "network"])
@pytest.mark.parametrize("shift", [0, 1])
def test_written_bursts_are_stored(name: str, order: Any, shift: int) -> None:
    with rynvel.open(name) as device:
        step = device.width // 8
        data = bytes(reversed(range(32 * step)))
        device.write_from(4 * step, memoryview(bytes(shift) + data)[shift:], byteorder=order)
        block = device.read_block(4 * step, 32, byteorder=order)
        assert bytes(block) == data
        assert [device.read(3 * step), device.read(36 * step)] == [registers_of(name)[3], registers_of(name)[36]]


def test_properties_and_repr() -> None:
    with rynvel.open("map16") as device:
        assert (device.name, device.kind, device.width, device.size, device.remote) == (
            "map16", "Tyvon16", 16, 4096, None)
        assert repr(device) == "<rynvel.Device 'map16': Tyvon16, 16 bits, open>"
        with pytest.raises(AttributeError):
            device.width = 8  # type: ignore[misc]


def test_threads_share_a_device() -> None:
    errors: list[BaseException] = []
    with rynvel.open("map32") as device:
        def work(place: int) -> None:
            try:
                for value in range(300):
                    device.write(place, value)
                    if device.read(place) != value:
                        raise AssertionError(place)
                    device.read_block(0, 1024)
            except BaseException as error:
                errors.append(error)

        threads = [threading.Thread(target=work, args=(4 * i,)) for i in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    assert not errors


def test_closing_during_the_bursts_of_other_threads_is_harmless() -> None:
    device = rynvel.open("burst")
    outcomes: list[str] = []

    def work() -> None:
        buffer = bytearray(4194304)
        try:
            while True:
                device.read_into(0, buffer)
        except rynvel.ClosedError:
            outcomes.append("closed")

    threads = [threading.Thread(target=work) for _ in range(3)]
    for thread in threads:
        thread.start()
    device.close()
    for thread in threads:
        thread.join(30)
    assert outcomes == ["closed"] * 3


anything = st.one_of(st.none(), st.booleans(), st.integers(), st.floats(), st.text(), st.binary(),
                     st.integers(min_value=-5000, max_value=5000), st.just(10**100))


@settings(max_examples=300, deadline=None, database=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(name=st.one_of(anything, st.just("map16")), remote=anything, timeout=anything, kind=anything)
def test_every_argument_of_open_gives_a_device_or_an_ordinary_error(
    name: Any, remote: Any, timeout: Any, kind: Any
) -> None:
    try:
        rynvel.open(name, remote=remote, timeout=timeout, type=kind).close()
    except (TypeError, ValueError, rynvel.Error):
        pass
