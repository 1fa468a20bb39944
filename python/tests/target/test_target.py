# SPDX-License-Identifier: MIT
"""The package on the target: its extension modules load, and reach the devices of the target and of a server."""

from __future__ import annotations

import platform
import struct
from array import array
from collections.abc import Iterator
from pathlib import Path

import pytest
import rynvel
from rynvel.testing import SimulatedServer

MAPS = Path(__file__).resolve().parents[3] / "board" / "maps"


@pytest.fixture(scope="module")
def server() -> Iterator[SimulatedServer]:
    with SimulatedServer(maps=MAPS) as server:
        yield server


@pytest.fixture
def clock(server: SimulatedServer) -> Iterator[rynvel.Device]:
    with rynvel.open("rtc0", remote=server.address, type="Uio32", timeout=20, map=MAPS) as clock:
        yield clock


@pytest.fixture(autouse=True)
def folder(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    monkeypatch.chdir(tmp_path)
    (tmp_path / "map").write_bytes(bytes(4096))
    for name in ("registers8", "registers16"):
        (tmp_path / name).write_bytes(bytes(64))
    return tmp_path


def test_the_interpreter_is_one_of_the_target() -> None:
    assert (platform.machine(), struct.calcsize("P")) == ("armv7l", 4)


def test_a_mapped_device_is_read_and_written(folder: Path) -> None:
    with rynvel.open("map32") as device:
        device.write(0x10, 0x89ABCDEF)
        device.write(0x10, 0x1100, mask=0xFF00)
        assert device.read(0x10) == 0x89AB11EF
        device.write_from(0x20, array("I", [1, 2, 0xFFFFFFFF]))
        assert list(device.read_block(0x20, 3)) == [1, 2, 0xFFFFFFFF]
        values = array("I", [0] * 2)
        device.read_into(0x20, values, byteorder="network")
        assert values.tobytes() == bytes([0, 0, 0, 1, 0, 0, 0, 2])
    assert (folder / "map").read_bytes()[0x10:0x14] == bytes([0xEF, 0x11, 0xAB, 0x89])


def test_a_device_file_is_read_and_written() -> None:
    with rynvel.open("file16") as device:
        device.write(0x02, 0xBEEF)
        assert (device.read(0x02), device.read(index=1)) == (0xBEEF, 0xBEEF)


# On the target, a machine word has 32 bits.
@pytest.mark.parametrize("address", [0x1000, 0x7FFFFFFC, 0x80000000, 0xFFFFFFFC, 0x100000000, 1 << 63, -4])
def test_an_address_outside_of_the_map_is_an_error(address: int) -> None:
    with rynvel.open("map32") as device:
        with pytest.raises(rynvel.RangeError):
            device.read(address)
        with pytest.raises(rynvel.RangeError):
            device.read_into(address, bytearray(8))


@pytest.mark.parametrize("value", [-1, 1 << 32, 1 << 64])
def test_a_value_that_is_too_wide_is_an_error(value: int) -> None:
    with rynvel.open("map32") as device, pytest.raises(rynvel.ValueTooWideError):
        device.write(0, value)


def test_a_block_larger_than_the_memory_of_a_process_is_an_error() -> None:
    with rynvel.open("file8") as device, pytest.raises(MemoryError):
        device.read_block(0, 1 << 32)


def test_a_bus_error_is_an_error() -> None:
    with rynvel.open("torn") as device:
        assert device.read(0) == 0
        with pytest.raises(rynvel.BusError):
            device.read(0x1000)


def test_a_remote_device_is_read_and_written(clock: rynvel.Device) -> None:
    clock.write(0x04, 0x12345678)
    assert clock.read(0x04) == 0x12345678
    clock.write_from(0x00, array("I", range(200)))
    assert clock.read_block(0x04, 2).tolist() == [1, 2]


def test_registers_have_the_names_of_the_map(clock: rynvel.Device) -> None:
    clock.regs.RTCIMSC.RTCIMSC = "unmasked"
    assert clock.regs["RTCIMSC"].RTCIMSC.name == "unmasked"
    assert clock.regs["RTCPeriphID0"].read() & 0xFF == 0x31


def test_an_interrupt_ends_a_wait(server: SimulatedServer, clock: rynvel.Device) -> None:
    with clock.interrupts() as interrupts:
        assert interrupts.wait(timeout=0) is None
        server.raise_interrupt("rtc0", word=0x80000005)
        event = interrupts.wait(timeout=20)
        assert event is not None and event.word == 0x80000005
        assert interrupts.wait(timeout=0.01) is None
