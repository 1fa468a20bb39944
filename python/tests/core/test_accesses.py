# SPDX-License-Identifier: MIT
"""Registers: the same behavior for files, for mapped devices and for remote devices."""

from __future__ import annotations

import array
import ctypes
import mmap
import struct
import sys
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import numpy
import pytest
from conftest import calls
from support import ScriptedServer
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import rynvel
from rynvel.testing import SimulatedServer

LOCAL = ["file8", "file16", "file32", "map16", "map32", "spi"]
REMOTE = ["Lseek8", "Lseek16", "Lseek32", "Uio16", "Uio32", "Tyvon16", "Tyvon32", "FpgaSpi32"]
# The transfer of an FPGA on SPI needs a driver, which a file cannot replace.
USABLE = [name for name in LOCAL if name != "spi"]


@contextmanager
def opened(target: str) -> Iterator[rynvel.Device]:
    """Opens a local device, or a device with this type on a server."""
    if target in LOCAL:
        with rynvel.open(target) as device:
            yield device
    else:
        with ScriptedServer() as server, server.open("there", type=target) as device:
            yield device


def top_of(device: rynvel.Device) -> int:
    return (1 << device.width) - 1


@pytest.fixture(params=[*USABLE, *REMOTE])
def device(request: pytest.FixtureRequest, files: Path) -> Iterator[rynvel.Device]:
    with opened(request.param) as each:
        yield each


def test_a_written_value_is_read(device: rynvel.Device) -> None:
    step = device.width // 8
    device.write(3 * step, top_of(device))
    device.write(4 * step, 0x5A)
    assert (device.read(3 * step), device.read(4 * step), device.read(5 * step)) == (top_of(device), 0x5A, 0)


def test_an_index_counts_registers(device: rynvel.Device) -> None:
    step = device.width // 8
    device.write(None, 0x5A, index=3)
    assert device.read(3 * step) == device.read(index=3) == device.read(None, index=3) == 0x5A
    device.write(3 * step, 0x33, mask=0xF)
    device.write(None, 0xFF, mask=0xC0, index=3)
    assert device.read(index=3) == 0xD3
    assert (device.read(2 * step), device.read(4 * step)) == (0, 0)


def test_a_mask_of_zero_changes_nothing(device: rynvel.Device) -> None:
    device.write(0, 0x77)
    device.write(0, 0, mask=0)
    assert device.read(0) == 0x77


def test_bursts_have_the_values_of_single_reads(device: rynvel.Device) -> None:
    step = device.width // 8
    values = [(i * 0x01030507) & top_of(device) for i in range(200)]
    letter = {8: "B", 16: "H", 32: "I"}[device.width]
    device.write_from(8 * step, array.array(letter, values))
    assert [device.read((8 + i) * step) for i in (0, 1, 127, 128, 199)] == [values[i] for i in (0, 1, 127, 128, 199)]
    buffer = array.array(letter, [0] * 200)
    device.read_into(8 * step, buffer)
    assert list(buffer) == values
    device.read_into(None, buffer, index=9)
    assert list(buffer)[:199] == values[1:]
    block = device.read_block(8 * step, 200)
    assert block.format == letter and block.tolist() == values and not block.readonly
    assert device.read_block(None, 2, index=8).tolist() == values[:2]


def test_network_order_reverses_the_bytes_of_each_register(device: rynvel.Device) -> None:
    bytes_each = device.width // 8
    values = [(0x01020304 + i * 0x01010101) & top_of(device) for i in range(150)]
    data = b"".join(value.to_bytes(bytes_each, "big") for value in values)
    device.write_from(0, data, byteorder="network")
    assert [device.read(index=i) for i in (0, 149)] == [values[0], values[149]]
    buffer = bytearray(len(data))
    device.read_into(0, buffer, byteorder="network")
    assert buffer == data
    block = device.read_block(0, 150, byteorder="network")
    assert bytes(block) == data
    assert block.format == {1: "B", 2: ">H", 4: ">I"}[bytes_each]
    numbers = numpy.asarray(block)
    assert numbers.tolist() == values
    # The array shares the memory of the block.
    numbers[0] = 5
    assert bytes(block)[:bytes_each] == (5).to_bytes(bytes_each, "big")
    host = bytearray(len(data))
    device.read_into(0, host, byteorder="host")
    assert host == b"".join(value.to_bytes(bytes_each, sys.byteorder) for value in values)


def test_every_kind_of_buffer_is_accepted(device: rynvel.Device) -> None:
    bytes_each = device.width // 8
    letter = {1: "B", 2: "H", 4: "I"}[bytes_each]
    values = [1, 2, 3, 4]
    data = struct.pack(f"={len(values)}{letter}", *values)
    signed = numpy.array(values, dtype=f"i{bytes_each}")
    sources: list[Any] = [data, bytearray(data), memoryview(data), array.array(letter, values), signed]
    for source in sources:
        device.write_from(0, bytes(len(data)))
        device.write_from(0, source)
        assert device.read_block(0, 4).tolist() == values
    misaligned = memoryview(bytearray(len(data) + 1))[1:]
    raw = (ctypes.c_ubyte * len(data))()
    plane = numpy.zeros((2, 2), dtype=f"u{bytes_each}")
    targets: list[Any] = [bytearray(len(data)), misaligned, raw, plane, numpy.zeros(4, dtype=f"u{bytes_each}")]
    for target in targets:
        device.read_into(0, target)
        assert memoryview(target).tobytes() == data
    device.write_from(0, bytes(len(data)))
    device.write_from(0, misaligned)
    assert device.read_block(0, 4).tolist() == values


def test_an_empty_burst_transfers_nothing(device: rynvel.Device) -> None:
    device.read_into(0, bytearray())
    device.write_from(0, b"")
    assert device.read_block(0, 0).tolist() == []


class Number:
    """An integer-like object."""

    def __index__(self) -> int:
        return 4


def test_integers_of_all_kinds_are_accepted(device: rynvel.Device) -> None:
    device.write(Number(), Number())
    assert device.read(4) == 4
    device.write(numpy.uint8(4), numpy.int64(7), mask=numpy.uint16(0xF))
    assert device.read(numpy.int8(4)) == 7
    device.write(None, True, index=True)
    assert device.read(index=True) == 1
    assert type(device.read(4)) is int


WRONG_TYPES: list[Any] = [1.0, "0", b"0", None, [], 1j, object(), numpy.float32(1)]


@pytest.mark.parametrize("value", WRONG_TYPES, ids=repr)
def test_values_of_a_wrong_type_are_type_errors(device: rynvel.Device, value: Any) -> None:
    # An address of None needs an index.
    for call in calls(
        lambda: device.read(value),
        lambda: device.write(value, 0),
        lambda: device.write(0, value),
        lambda: device.read_into(value, bytearray(4)),
        lambda: device.write_from(value, bytes(4)),
        lambda: device.read_block(value, 1),
        lambda: device.read_block(0, value),
    ):
        with pytest.raises(TypeError):
            call()
    if value is not None:
        with pytest.raises(TypeError):
            device.write(0, 0, mask=value)
        with pytest.raises(TypeError):
            device.read(index=value)


HUGE = [-1, -(1 << 31), -(1 << 63), -(1 << 64), 1 << 32, 1 << 63, 1 << 64, 10**5000, -(10**5000)]


@pytest.mark.parametrize("number", HUGE, ids=lambda number: f"{number:#x}"[:12])
def test_numbers_outside_of_all_bounds_are_errors(device: rynvel.Device, number: int) -> None:
    with pytest.raises(rynvel.ValueTooWideError) as too_wide:
        device.write(0, number)
    with pytest.raises(rynvel.ValueTooWideError) as mask_too_wide:
        device.write(0, 0, mask=number)
    texts = [str(too_wide.value), str(mask_too_wide.value)]
    for call in calls(
        lambda: device.read(number),
        lambda: device.read(index=number),
        lambda: device.write(number, 0),
        lambda: device.read_into(number, bytearray(4)),
        lambda: device.write_from(number, bytes(4)),
        lambda: device.read_block(number, 1),
        # A device without a map has up to 2**32 registers.
        lambda: device.read_block(0, number + (number > 0)),
    ):
        with pytest.raises(rynvel.RangeError) as outside:
            call()
        texts.append(str(outside.value))
    assert all(text.startswith(f"{device.name}: ") and len(text) < 200 and "4300" not in text for text in texts)
    # The errors leave the device usable.
    assert device.read(0) == 0


class Angry:
    def __index__(self) -> int:
        raise ZeroDivisionError


def test_an_exception_of_a_conversion_is_passed_on(device: rynvel.Device) -> None:
    for call in calls(
        lambda: device.read(Angry()),
        lambda: device.write(0, Angry()),
        lambda: device.write(0, 0, mask=Angry()),
        lambda: device.read_block(0, Angry()),
    ):
        with pytest.raises(ZeroDivisionError):
            call()


def test_a_conversion_may_close_the_device(files: Path) -> None:
    for target in ("file32", "map32", "Uio32"):
        with opened(target) as device:

            class Closing:
                def __index__(self) -> int:
                    device.close()
                    return 0

            with pytest.raises(rynvel.ClosedError):
                device.read(Closing())
        with opened(target) as device:
            with pytest.raises(rynvel.ClosedError):
                device.write(0, Closing())
        with opened(target) as device:
            with pytest.raises(rynvel.ClosedError):
                device.read_block(0, Closing())


def test_arguments_that_do_not_match_are_type_errors(device: rynvel.Device) -> None:
    untyped: Any = device
    for call in calls(
        lambda: untyped.read(),
        lambda: untyped.read(0, 0),
        lambda: untyped.read(0, index=0),
        lambda: untyped.read(0, offset=0),
        lambda: untyped.write(0),
        lambda: untyped.write(),
        lambda: untyped.write(0, 0, 0),
        lambda: untyped.write(0, 0, value=0),
        lambda: untyped.write(0, 0, index=0),
        lambda: untyped.read_into(0),
        lambda: untyped.read_into(0, bytes(4)),
        lambda: untyped.read_into(0, 5),
        lambda: untyped.write_from(0, "text"),
        lambda: untyped.read_into(0, bytearray(4), byteorder=1),
        lambda: untyped.read_block(0),
        lambda: untyped.close(1),
        lambda: type(untyped).read(5, 0),
    ):
        with pytest.raises(TypeError):
            call()
    for order in ("big", "", "hos\0t", "\ud800"):
        with pytest.raises(ValueError, match="byteorder"):
            untyped.read_into(0, bytearray(4), byteorder=order)


# mypy --strict reports every ignore comment that is not needed, so these comments also test which types the stubs
# refuse.
def test_objects_without_a_buffer_are_errors_for_type_checkers_too(device: rynvel.Device) -> None:
    with pytest.raises(TypeError):
        device.read_into(0, "text")  # type: ignore[arg-type]
    with pytest.raises(TypeError):
        device.read_into(0, [0, 0])  # type: ignore[arg-type]
    with pytest.raises(TypeError):
        device.read_into(0, bytes(4))  # type: ignore[arg-type]
    with pytest.raises(TypeError):
        device.write_from(0, 5)  # type: ignore[arg-type]
    with pytest.raises(TypeError):
        device.write_from(0, None)  # type: ignore[arg-type]
    with pytest.raises(TypeError):
        device.write(value=1)  # type: ignore[call-overload]


def test_all_objects_with_a_buffer_have_a_type_that_the_stubs_accept(device: rynvel.Device) -> None:
    data = bytes([1, 2, 3, 4])
    whole, items = bytearray(4), (ctypes.c_uint8 * 4)()
    with mmap.mmap(-1, 4) as pages:
        values, of_numpy = array.array("B", data), numpy.zeros(4, dtype="u1")
        device.write_from(0, data)
        device.read_into(0, whole)
        device.write_from(0, values)
        device.read_into(0, memoryview(values))
        device.read_into(0, items)
        device.read_into(0, pages)
        device.read_into(0, of_numpy)
        device.write_from(0, of_numpy)
        found = [bytes(whole), values.tobytes(), bytes(items), pages[:], of_numpy.tobytes()]
        assert found == [data] * 5
    device.write(value=7, index=0)
    device.write(address=0, value=7, mask=3)
    assert device.read(address=0) & 3 == 3


def test_buffers_that_do_not_match_are_errors(device: rynvel.Device) -> None:
    bytes_each = device.width // 8
    strided = memoryview(bytearray(4 * bytes_each))[::2]
    with pytest.raises(TypeError, match="contiguous"):
        device.read_into(0, strided)
    wrong: list[Any] = [numpy.zeros(8, dtype=f"f{max(bytes_each, 2)}"), numpy.zeros(8, dtype="c16")]
    wrong += [numpy.zeros(8, dtype=f"u{size}") for size in (2, 4, 8) if size != bytes_each]
    wrong += [numpy.zeros(8, dtype=bool), (ctypes.c_wchar * 8)(), numpy.zeros(8, dtype="U1")]
    wrong += [numpy.zeros(8, dtype=[("field", f"u{bytes_each}")]), array.array("u", "texts")]
    growing = bytearray(bytes_each + 1)
    if bytes_each > 1:
        wrong += [growing]
    for buffer in wrong:
        with pytest.raises(rynvel.WidthError):
            device.read_into(0, buffer)
        with pytest.raises(rynvel.WidthError):
            device.write_from(0, buffer)
    # This would be a BufferError if the package still held the buffer.
    growing.extend(b"more")


@pytest.mark.parametrize("device", ["file16", "map32", "Uio32"], indirect=True)
def test_an_array_in_another_byte_order_is_not_filled_with_wrong_numbers(device: rynvel.Device) -> None:
    bytes_each = device.width // 8
    device.write(0, 0x1234)
    other = numpy.zeros(1, dtype=f"{'>' if sys.byteorder == 'little' else '<'}u{bytes_each}")
    for call in calls(lambda: device.read_into(0, other), lambda: device.write_from(0, other)):
        with pytest.raises(ValueError, match="byte order"):
            call()
    if sys.byteorder == "little":
        device.read_into(0, other, byteorder="network")
        assert other.tolist() == [0x1234]
        other[0] = 0x4321
        device.write_from(0, other, byteorder="network")
        assert device.read(0) == 0x4321


@pytest.mark.parametrize("device", ["file16", "map32", "Uio32"], indirect=True)
def test_an_array_in_little_endian_order_does_not_get_network_order(device: rynvel.Device) -> None:
    device.write(0, 0x1234)
    kind: Any = {2: ctypes.c_uint16, 4: ctypes.c_uint32}[device.width // 8]
    numbers: Any = (kind.__ctype_le__ * 2)()
    assert memoryview(numbers).format[0] == "<"
    for call in calls(
        lambda: device.read_into(0, numbers, byteorder="network"),
        lambda: device.write_from(0, numbers, byteorder="network"),
    ):
        with pytest.raises(ValueError, match="byte order"):
            call()
    assert numbers[0] == 0 and device.read(0) == 0x1234
    if sys.byteorder == "little":
        device.read_into(0, numbers)
        assert numbers[0] == 0x1234


@pytest.mark.parametrize(("name", "end"), [("map16", 4096), ("map32", 4096), ("burst", 4194304)])
def test_a_map_has_an_end(files: Path, name: str, end: int) -> None:
    with rynvel.open(name) as device:
        step = device.width // 8
        assert device.size == end
        device.write(end - step, 0x5A)
        assert device.read(index=end // step - 1) == 0x5A
        buffer = bytearray(2 * step)
        device.read_into(end - 2 * step, buffer)
        for call in calls(
            lambda: device.read(end),
            lambda: device.read(index=end // step),
            lambda: device.write(end, 0),
            lambda: device.read_into(end - step, buffer),
            lambda: device.write_from(end - step, buffer),
            lambda: device.read_block(end - step, 2),
            lambda: device.read_block(end, 0),
            lambda: device.read_block(0, end // step + 1),
        ):
            with pytest.raises(rynvel.RangeError, match=f"{end}|{end // step} "):
                call()
        assert isinstance(pytest.raises(ValueError, device.read, end).value, rynvel.Error)


@pytest.mark.parametrize("target", ["file16", "file32", "map16", "map32", "Uio16", "FpgaSpi32"])
def test_addresses_are_multiples_of_the_register_size(files: Path, target: str) -> None:
    with opened(target) as device:
        for address in range(1, device.width // 8):
            text = f"{device.name}: address {4 + address:#x} is not a multiple of {device.width // 8} "
            for call in calls(
                lambda: device.read(4 + address),
                lambda: device.write(4 + address, 0),
                lambda: device.read_block(4 + address, 2),
                lambda: device.read_into(4 + address, bytearray(4)),
                lambda: device.write_from(4 + address, bytes(4)),
            ):
                with pytest.raises(rynvel.AlignmentError) as error:
                    call()
                assert str(error.value).startswith(text)


@pytest.mark.parametrize("target", ["file8", "map16", "map32", "Lseek8", "Uio16", "Uio32"])
def test_a_value_fits_in_a_register(files: Path, target: str) -> None:
    with opened(target) as device:
        device.write(0, top_of(device), mask=top_of(device))
        with pytest.raises(rynvel.ValueTooWideError, match=r"value 0x1\w*0 is not from 0 to 0xf+ "):
            device.write(0, top_of(device) + 1)
        with pytest.raises(rynvel.ValueTooWideError, match="mask"):
            device.write(0, 0, mask=top_of(device) + 1)
        assert device.read(0) == top_of(device)


def test_a_burst_of_a_mapped_device_may_have_a_million_registers(files: Path) -> None:
    with rynvel.open("burst") as device:
        values = numpy.arange(device.size // 4, dtype="u4") if device.size else numpy.zeros(0, dtype="u4")
        device.write_from(0, values)
        assert (numpy.asarray(device.read_block(0, len(values))) == values).all()
        network = numpy.asarray(device.read_block(4, len(values) - 1, byteorder="network"))
        assert (network == values[1:]).all()


def test_a_real_server_has_the_same_registers() -> None:
    with SimulatedServer() as server:
        with rynvel.open("traf.top", remote=server.address, timeout=20, type="Uio32") as device:
            assert (device.kind, device.width, device.remote, device.size) == ("Uio32", 32, server.address, None)
            values = list(range(0xFFFF0000, 0xFFFF0000 + 300))
            device.write_from(0, array.array("I", values))
            assert device.read_block(0, 300).tolist() == values
            assert device.read(index=299) == values[299]
            device.write(4, 0, mask=0xFF000000)
            assert device.read(4) == 0x00FF0001
            network = b"".join(value.to_bytes(4, "big") for value in values)
            device.write_from(0, network, byteorder="network")
            assert device.read(4) == values[1]
            assert bytes(device.read_block(0, 300, byteorder="network")) == network
            # The package cannot check the address, because only the server has the size of the device.
            with pytest.raises(rynvel.RefusedError):
                device.read(4096)


@settings(max_examples=300, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(data=st.data())
def test_no_argument_ends_the_interpreter(files: Path, data: st.DataObject) -> None:
    anything = st.one_of(
        st.integers(),
        st.integers(-5, 5000),
        st.floats(),
        st.text(max_size=5),
        st.none(),
        st.booleans(),
        st.binary(max_size=9),
        st.binary(max_size=9).map(bytearray),
        st.lists(st.integers(0, 255), max_size=5).map(lambda items: array.array("I", items)),
        st.sampled_from(["host", "network"]),
    )
    function = data.draw(st.sampled_from(["read", "write", "read_into", "write_from", "read_block"]))
    positional = data.draw(st.lists(anything, max_size=3))
    named = data.draw(st.dictionaries(st.sampled_from(["mask", "index", "byteorder", "value", "count"]), anything))
    name = data.draw(st.sampled_from(["file8", "file16", "map16", "map32", "torn"]))
    with rynvel.open(name) as device:
        try:
            getattr(device, function)(*positional, **named)
        except (TypeError, rynvel.Error) as error:
            assert str(error)
        except ValueError as error:
            assert "byteorder" in str(error) or "byte order" in str(error)
        if name != "torn":
            assert device.read(0) >= 0
