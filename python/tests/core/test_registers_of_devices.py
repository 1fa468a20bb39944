# SPDX-License-Identifier: MIT
"""Registers of devices of this machine: files and maps."""

from __future__ import annotations

import array
import copy
import gc
import os
import pickle
import struct
import threading
import warnings
from typing import Any

import numpy
import pytest
from conftest import calls
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import rynvel

LOCAL = ["file8", "file16", "file32", "map16", "map32"]


def type_and_size(value: object) -> str:
    """Return a name of a parameter. Python does not write out large integers."""
    return f"int of {value.bit_length()} bits" if isinstance(value, int) else repr(value)


class Index:
    def __init__(self, value: int) -> None:
        self._value = value

    def __index__(self) -> int:
        return self._value


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
def test_writes_a_register_and_the_bits_of_a_mask(name: str) -> None:
    with rynvel.open(name) as device:
        step = device.width // 8
        before, after = device.read(0), device.read(2 * step)
        device.write(step, 0x5A)
        assert device.read(step) == 0x5A
        device.write(step, 0xFF, mask=0x0F)
        assert device.read(step) == 0x5F
        device.write(None, 0, mask=0xF0, index=1)
        assert device.read(step) == 0x0F
        assert [device.read(0), device.read(2 * step)] == [before, after]


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
def test_written_bursts_arrive(name: str, order: Any, shift: int) -> None:
    with rynvel.open(name) as device:
        step = device.width // 8
        data = bytes(reversed(range(32 * step)))
        device.write_from(4 * step, memoryview(bytes(shift) + data)[shift:], byteorder=order)
        block = device.read_block(4 * step, 32, byteorder=order)
        assert bytes(block) == data
        assert [device.read(3 * step), device.read(36 * step)] == [registers_of(name)[3], registers_of(name)[36]]


@pytest.mark.parametrize("name", LOCAL)
def test_blocks_are_arrays_without_a_copy(name: str) -> None:
    expected = registers_of(name)
    with rynvel.open(name) as device:
        block = device.read_block(0, 50)
        assert block.tolist() == expected[:50].tolist()
        assert block.itemsize == device.width // 8
        view = numpy.asarray(block)
        assert view.tolist() == expected[:50].tolist()
        view[0] = 7
        assert block[0] == 7
        swapped = numpy.asarray(device.read_block(0, 50, byteorder="network"))
        assert swapped.tolist() == expected[:50].tolist()
        assert len(device.read_block(0, 0)) == 0


def test_numpy_arrays_are_buffers() -> None:
    with rynvel.open("map32") as device:
        values = numpy.zeros(8, dtype=numpy.uint32)
        device.read_into(0, values)
        assert values.tolist() == registers_of("map32")[:8].tolist()
        device.write_from(0, numpy.arange(8, dtype=numpy.uint32))
        assert device.read(numpy.uint8(28)) == 7
        device.write(0, numpy.int64(3))
        assert device.read(0) == 3


@pytest.mark.parametrize("value, error", ids=type_and_size, argvalues=[
    (-1, rynvel.ValueTooWideError), (2**32, rynvel.ValueTooWideError), (2**64, rynvel.ValueTooWideError),
    (-(10**5000), rynvel.ValueTooWideError), (10**5000, rynvel.ValueTooWideError), (1.0, TypeError), ("1", TypeError),
    (None, TypeError), (b"1", TypeError),
])
def test_refuses_values_that_are_no_register_values(value: Any, error: type[Exception]) -> None:
    with rynvel.open("map32") as device:
        before = device.read(0)
        for call in calls(lambda: device.write(0, value), lambda: device.write(0, 1, mask=value)):
            if value is None:
                continue
            with pytest.raises(error) as caught:
                call()
            assert "4300 digits" not in str(caught.value)
        assert device.read(0) == before


@pytest.mark.parametrize("place, error", ids=type_and_size, argvalues=[
    (-4, rynvel.RangeError), (4096, rynvel.RangeError), (2**32, rynvel.RangeError), (2**64, rynvel.RangeError),
    (10**5000, rynvel.RangeError), (2, rynvel.AlignmentError), (1.0, TypeError), ("0", TypeError), (None, TypeError),
])
def test_refuses_places_outside_of_the_device(place: Any, error: type[Exception]) -> None:
    with rynvel.open("map32") as device:
        attempts = calls(
            lambda: device.read(place), lambda: device.write(place, 0), lambda: device.read_into(place, bytearray(4)),
            lambda: device.write_from(place, bytes(4)), lambda: device.read_block(place, 1),
        )
        for call in attempts:
            with pytest.raises(error):
                call()


def test_accepts_truth_values_and_objects_with_an_index() -> None:
    with rynvel.open("map32") as device:
        device.write(Index(4), True)
        assert device.read(4) == 1


def test_an_object_that_closes_the_device_is_harmless() -> None:
    device = rynvel.open("map32")

    class Closing:
        def __index__(self) -> int:
            device.close()
            return 0

    with pytest.raises(rynvel.ClosedError):
        device.read(Closing())


def test_refuses_bursts_beyond_the_map_and_wrong_buffers() -> None:
    with rynvel.open("map32") as device:
        with pytest.raises(rynvel.RangeError):
            device.read_into(4092, bytearray(8))
        with pytest.raises(rynvel.RangeError):
            device.read_block(0, 1025)
        with pytest.raises(rynvel.RangeError):
            device.read_block(0, -1)
        with pytest.raises(rynvel.WidthError):
            device.read_into(0, bytearray(5))
        with pytest.raises(rynvel.WidthError):
            device.read_into(0, array.array("H", [0, 0]))
        with pytest.raises(rynvel.WidthError):
            device.write_from(0, array.array("f", [0.0]))
        with pytest.raises(TypeError):
            device.read_into(0, bytes(4))
        with pytest.raises(TypeError):
            device.read_into(0, memoryview(bytearray(16))[::2])
        with pytest.raises(TypeError):
            device.read_into(0, 5)
        with pytest.raises(ValueError):
            device.read_into(0, bytearray(4), byteorder="big")  # type: ignore[arg-type]
        with pytest.raises(TypeError):
            device.read_into(0, bytearray(4), byteorder=1)  # type: ignore[arg-type]


def test_refuses_wrong_calls() -> None:
    with rynvel.open("map32") as device:
        wrong: Any = device
        opening: Any = rynvel.Device
        for call in calls(
            lambda: wrong.read(), lambda: wrong.read(0, 0), lambda: wrong.read(0, index=0), lambda: wrong.read(x=1),
            lambda: wrong.read(0, address=0), lambda: wrong.write(0), lambda: wrong.read_into(0),
            lambda: wrong.read_block(0), lambda: wrong.close(1), lambda: opening(), lambda: wrong.write(0, 1, 2),
        ):
            with pytest.raises(TypeError):
                call()


@pytest.mark.parametrize("name, error, base", [
    ("map3", rynvel.UnknownDeviceError, KeyError), ("", rynvel.UnknownDeviceError, KeyError),
    ("a\0b", rynvel.UnknownDeviceError, KeyError), ("map32\0", rynvel.UnknownDeviceError, KeyError),
    ("\ud800", rynvel.UnknownDeviceError, KeyError), ("a\nb", rynvel.UnknownDeviceError, KeyError),
    ("missing", rynvel.MissingFileError, FileNotFoundError), ("missing.map", rynvel.MissingFileError, OSError),
    ("folder", rynvel.DeviceError, OSError), ("far.wrong", ValueError, ValueError),
    ("far8", rynvel.ConnectionLostError, ConnectionError), (5, TypeError, TypeError), (b"map32", TypeError, TypeError),
])
def test_names_that_cannot_be_opened(name: Any, error: type[Exception], base: type[Exception]) -> None:
    with pytest.raises(error) as caught:
        rynvel.open(name)
    assert isinstance(caught.value, base)
    assert "\n" not in str(caught.value) and "\0" not in str(caught.value)


def test_the_message_suggests_the_nearest_name_and_the_error_number_is_kept() -> None:
    with pytest.raises(rynvel.UnknownDeviceError, match="did you mean 'map32'"):
        rynvel.open("map33")
    with pytest.raises(rynvel.MissingFileError) as caught:
        rynvel.open("missing")
    assert caught.value.errno == 2
    again = pickle.loads(pickle.dumps(caught.value))
    assert (type(again), str(again), again.errno) == (type(caught.value), str(caught.value), 2)


def test_a_file_without_permission_is_a_permission_error() -> None:
    os.chmod("map", 0)
    user = os.geteuid()
    if user == 0:
        # The superuser may open every file.
        os.seteuid(65534)
    try:
        with pytest.raises(rynvel.PermissionDeniedError) as caught:
            rynvel.open("map32")
    finally:
        os.seteuid(user)
    assert caught.value.errno == 13


@pytest.mark.parametrize("timeout", [float("nan"), float("inf"), -1, 0, 10**400, -(10**400), 1e300], ids=type_and_size)
def test_refuses_times_that_are_no_time_out(timeout: Any) -> None:
    with pytest.raises(ValueError):
        rynvel.open("map32", timeout=timeout)


def test_a_bus_error_becomes_an_exception_and_leaves_the_device_usable() -> None:
    with rynvel.open("torn") as device:
        for call in calls(
            lambda: device.read(4096), lambda: device.write(4096, 1), lambda: device.write(4096, 1, mask=3),
            lambda: device.read_into(0, bytearray(8192)), lambda: device.write_from(4096, bytes(8)),
        ):
            with pytest.raises(rynvel.BusError, match="bus error"):
                call()
        assert device.read(4) == 0x07060504


def test_a_short_file_is_a_device_error() -> None:
    with rynvel.open("file32") as device, pytest.raises(rynvel.DeviceError):
        device.read(4096)
    with rynvel.open("full") as device, pytest.raises(rynvel.DeviceError) as caught:
        device.write(0, 1)
    assert caught.value.errno == 28


def test_a_closed_device_refuses_everything() -> None:
    device = rynvel.open("map32")
    assert not device.closed
    device.close()
    device.close()
    assert device.closed and "closed" in repr(device) and device.name == "map32" and device.width == 32
    for call in calls(
        lambda: device.read(0), lambda: device.write(0, 0), lambda: device.read_into(0, bytearray(4)),
        lambda: device.write_from(0, bytes(4)), lambda: device.read_block(0, 1), lambda: device.events(),
        lambda: device.interrupts().__enter__(),
    ):
        with pytest.raises(rynvel.ClosedError):
            call()


def test_properties_and_repr() -> None:
    with rynvel.open("map16") as device:
        assert (device.name, device.kind, device.width, device.size, device.remote) == (
            "map16", "Tyvon16", 16, 4096, None)
        assert repr(device) == "<rynvel.Device 'map16': Tyvon16, 16 bits, open>"
        with pytest.raises(AttributeError):
            device.width = 8  # type: ignore[misc]
        with pytest.raises(TypeError):
            copy.copy(device)
        with pytest.raises(TypeError):
            pickle.dumps(device)


def test_the_device_table() -> None:
    rows = {row.name: row for row in rynvel.devices()}
    assert rows["map32"] == ("map32", "Tyvon32", 32, "map", None, True)
    assert rows["missing"].present is False
    assert rows["far8"] == ("far8", "Remote8", 8, None, "127.0.0.1::1", None)


def test_an_unclosed_device_gives_a_warning_and_its_descriptor_back() -> None:
    before = len(os.listdir("/proc/self/fd"))
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        rynvel.open("map32")
        gc.collect()
    assert [each.category for each in caught] == [ResourceWarning]
    assert len(os.listdir("/proc/self/fd")) == before


def test_ten_thousand_opens_and_a_million_reads_leak_nothing() -> None:
    def memory() -> int:
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE")

    def open_often(times: int) -> None:
        for _ in range(times):
            with rynvel.open("map32") as device:
                device.read(0)
            with pytest.raises(rynvel.RangeError):
                device.read(-1)

    open_often(200)
    descriptors, before = len(os.listdir("/proc/self/fd")), memory()
    open_often(10_000)
    with rynvel.open("map32") as device:
        for _ in range(1_000_000):
            device.read(0)
    assert len(os.listdir("/proc/self/fd")) == descriptors
    assert memory() - before < 2_000_000


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
@given(place=anything, value=anything, mask=anything, index=anything, order=anything)
def test_every_argument_gives_a_result_or_an_ordinary_error(
    place: Any, value: Any, mask: Any, index: Any, order: Any
) -> None:
    with rynvel.open("map16") as device:
        wrong: Any = device
        for call in calls(
            lambda: wrong.read(place, index=index), lambda: wrong.write(place, value, mask=mask, index=index),
            lambda: wrong.read_into(place, bytearray(8), index=index, byteorder=order),
            lambda: wrong.read_block(place, value, index=index), lambda: wrong.write_from(place, value),
            lambda: rynvel.open(place, remote=value, timeout=mask, type=index),
        ):
            try:
                call()
            except (TypeError, ValueError, rynvel.Error):
                pass


def test_network_order_is_the_order_of_the_network() -> None:
    with rynvel.open("map32") as device:
        device.write(0, 0x01020304)
        assert bytes(device.read_block(0, 1, byteorder="network")) == struct.pack(">I", 0x01020304)
