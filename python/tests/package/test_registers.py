# SPDX-License-Identifier: MIT
"""Registers by name, on a simulated device that the same map describes."""

from __future__ import annotations

import copy
import gc
import os
import pickle
import rlcompleter
import weakref
from collections.abc import Callable, Iterator
from fractions import Fraction
from pathlib import Path
from typing import Any

import maps
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import rynvel
from rynvel.testing import SimulatedServer

HUGE = 10**5000


def short(value: object) -> str:
    """Returns the name of a parameter, because pytest cannot convert a huge integer to text."""
    return f"{value.bit_length()}-bits" if isinstance(value, int) else ascii(value)[:20]


@pytest.fixture(scope="module")
def map_file(tmp_path_factory: pytest.TempPathFactory) -> Path:
    return maps.write_map(tmp_path_factory.mktemp("maps"))


@pytest.fixture(scope="module")
def server(map_file: Path) -> Iterator[SimulatedServer]:
    with SimulatedServer(maps=map_file) as server:
        yield server


@pytest.fixture
def device(map_file: Path) -> Iterator[rynvel.Device]:
    # Each test has its own server, so that the registers have their reset values.
    with SimulatedServer(maps=map_file) as server, server.open("traf.top") as device:
        yield device


@pytest.fixture(scope="module")
def shared(server: SimulatedServer) -> Iterator[rynvel.Device]:
    """A device for tests that do not change registers, or do not depend on their values."""
    with server.open("traf.top") as device:
        yield device


def each(*accesses: Callable[[], object]) -> tuple[Callable[[], object], ...]:
    """Returns the functions with a type, because mypy does not infer the type of functions in a tuple."""
    return accesses


def refusal(kind: type[Exception], access: Any, *arguments: Any) -> str:
    with pytest.raises(kind) as caught:
        access(*arguments)
    assert isinstance(caught.value, rynvel.Error)
    return str(caught.value)


def test_a_field_is_an_attribute(device: rynvel.Device) -> None:
    device.regs.CTRL.ENABLE = 1
    assert device.read(0) == 1
    assert device.regs.CTRL.ENABLE == 1
    device.regs.CTRL.MODE = "fast"
    assert device.read(0) == 0x5
    device.regs.CTRL.ENABLE = "off"
    assert device.read(0) == 0x4


def test_a_value_is_an_integer_with_a_name(device: rynvel.Device) -> None:
    device.write(0, 4)
    mode: rynvel.FieldValue = device.regs.CTRL.MODE
    assert isinstance(mode, int)
    assert (mode, mode.name, mode + 1, f"{mode:#x}", str(mode)) == (2, "fast", 3, "0x2", "2")
    assert repr(mode) == "FieldValue(2, 'fast')"
    assert {2: "x"}[mode] == "x"
    restored: rynvel.FieldValue = pickle.loads(pickle.dumps(mode))
    assert (restored, restored.name) == (2, "fast")
    device.regs.CTRL.update(MODE=5)
    assert device.regs.CTRL["MODE"].name is None
    with pytest.raises(AttributeError):
        setattr(mode, "name", "slow")


def test_an_integer_is_never_the_name_of_a_value(device: rynvel.Device) -> None:
    device.regs.CTRL.MODE = "10"
    assert device.regs.CTRL["MODE"] == 3
    message = refusal(rynvel.ValueTooWideError, setattr, device.regs.CTRL, "MODE", 10)
    assert message == "traf.top: field CTRL.MODE: value 10 does not fit in 3 bits"
    assert device.read(0) == 6


def test_a_text_is_never_a_number(shared: rynvel.Device) -> None:
    for text in ("1", "0x2", "", "Fast", "fast ", "\0", "\ud800", "9" * 6000):
        message = refusal(rynvel.NotAllowedError, setattr, shared.regs.CTRL, "MODE", text)
        assert "is not a value of the field (give a number, 'slow', 'fast', '10' or 'wide')" in message
        assert len(message) < 1000


def test_a_value_is_not_compared_with_a_text() -> None:
    value = rynvel.FieldValue(2, "fast")
    for compare in each(
        lambda: value == "fast",
        lambda: value != "fast",
        lambda: "slow" == value,
        lambda: value in ["fast"],
    ):
        with pytest.raises(TypeError, match="compare the attribute name with '(fast|slow)'"):
            compare()
    assert value == 2 == value and value == 2.0 and value != 3 and value != 2.5 and value is not None
    assert {2: "a"}[value] == "a" and hash(value) == hash(2)


def test_a_name_whose_number_does_not_fit_is_refused(shared: rynvel.Device) -> None:
    refusal(rynvel.ValueTooWideError, setattr, shared.regs.CTRL, "MODE", "wide")


@pytest.mark.parametrize("value", [True, rynvel.FieldValue(1)])
def test_integers_of_other_types_are_numbers(device: rynvel.Device, value: int) -> None:
    device.regs.CTRL.ENABLE = value
    assert device.read(0) == 1


def test_integers_of_numpy_are_numbers(device: rynvel.Device) -> None:
    numpy = pytest.importorskip("numpy")
    device.regs.CTRL.MODE = numpy.uint8(3)
    device.regs.DATA[numpy.int64(1)] = numpy.uint32(7)
    assert (device.read(0), device.read(0x24)) == (6, 7)


@pytest.mark.parametrize("value", [1.0, None, b"on", [1], 1j])
def test_other_types_are_refused(shared: rynvel.Device, value: Any) -> None:
    for access in each(
        lambda: setattr(shared.regs.CTRL, "ENABLE", value),
        lambda: setattr(shared.regs, "CTRL", value),
        lambda: shared.regs.CTRL.write(value),
        lambda: shared.regs.CTRL.update(ENABLE=value),
        lambda: shared.regs.DATA.__setitem__(0, value),
    ):
        with pytest.raises(TypeError, match="must be an integer, not"):
            access()


@pytest.mark.parametrize("value", [-1, 1 << 64, -(1 << 64), HUGE, -HUGE], ids=short)
def test_integers_that_do_not_fit_are_refused(shared: rynvel.Device, value: int) -> None:
    for access in each(
        lambda: setattr(shared.regs.CTRL, "MODE", value),
        lambda: setattr(shared.regs, "CTRL", value),
        lambda: shared.regs.CTRL.write(value),
        lambda: shared.regs.CTRL.write(1, mask=value),
        lambda: shared.regs.CTRL.update(MODE=value),
    ):
        assert "does not fit in" in refusal(rynvel.ValueTooWideError, access)


def test_a_write_of_a_field_keeps_all_other_bits(device: rynvel.Device) -> None:
    # Writing ones clears DONE and FAILED, which are 1 after the reset of the simulated device.
    assert device.read(0x4) == 0x53
    device.regs.STATUS.LEVEL = 2
    assert device.read(0x4) == 0x23
    device.regs.STATUS.DONE = 1
    assert device.read(0x4) == 0x22


def test_a_write_that_cannot_keep_other_bits_is_refused(device: rynvel.Device) -> None:
    message = refusal(rynvel.NotAllowedError, setattr, device.regs.COMMAND, "START", 1)
    assert message == (
        "traf.top: register COMMAND is write-only, so its other fields cannot keep their values "
        "(use update(), and also assign CODE)"
    )
    device.regs.COMMAND.update(START=1, CODE=3)
    assert "has a side effect" in refusal(rynvel.NotAllowedError, setattr, device.regs.QUEUE, "DATA", 1)
    assert device.regs.QUEUE.read(side_effects=True) == 0x1A5


def test_update_writes_several_fields_at_once(device: rynvel.Device) -> None:
    device.regs.CTRL.update({"two words": 1}, MODE="fast", GAIN=3)
    assert device.read(0) == 0x234
    assert "no field is given" in refusal(rynvel.NotAllowedError, device.regs.CTRL.update)
    refusal(rynvel.UnknownNameError, lambda: device.regs.CTRL.update(MODE=1, MOD=1))
    assert "(give LINE[INDEX])" in refusal(rynvel.NotAllowedError, lambda: device.regs.CTRL.update(LINE=1))
    assert "overlaps" in refusal(rynvel.NotAllowedError, lambda: device.regs.TWICE.update(A=1, B=1))
    message = refusal(rynvel.NotAllowedError, lambda: device.regs.CTRL.update({"MODE": 1}, MODE=2))
    assert message == "traf.top: register CTRL: MODE is given twice (give one value)"
    assert device.read(0) == 0x234


def test_read_only_and_write_only(shared: rynvel.Device) -> None:
    regs = shared.regs
    assert regs.CTRL.LOCKED == 0
    assert refusal(rynvel.NotAllowedError, setattr, regs.CTRL, "LOCKED", 1).endswith("CTRL.LOCKED is read-only")
    assert refusal(rynvel.NotAllowedError, lambda: regs.CTRL.SECRET).endswith("CTRL.SECRET is write-only")
    assert refusal(rynvel.NotAllowedError, setattr, regs, "SERIAL", 1).endswith("register SERIAL is read-only")
    assert refusal(rynvel.NotAllowedError, regs.COMMAND.read).endswith("register COMMAND is write-only")
    assert refusal(rynvel.NotAllowedError, lambda: regs.CTRL.read().SECRET).endswith("CTRL.SECRET is write-only")


def test_a_read_with_a_side_effect_must_be_requested(device: rynvel.Device) -> None:
    for access in each(
        device.regs.QUEUE.read, lambda: device.regs.QUEUE.DATA, lambda: device.regs["QUEUE.DATA"]
    ):
        assert "reading register QUEUE has a side effect" in refusal(rynvel.NotAllowedError, access)
    value = device.regs.QUEUE.read(side_effects=True)
    assert (value, value.DATA, value.FULL) == (0x1A5, 0xA5, 1)
    assert device.read(0x10) == 0


def test_write_constraints(device: rynvel.Device) -> None:
    assert "(write 1 to 9)" in refusal(rynvel.NotAllowedError, setattr, device.regs.CTRL, "GAIN", 0)
    assert "(write 10 to 20)" in refusal(rynvel.NotAllowedError, setattr, device.regs, "RANGE", 9)
    device.regs.CTRL.GAIN = 9
    device.regs.RANGE = 10
    assert (device.read(0), device.read(0x64)) == (0x90, 10)


def test_a_masked_write_checks_the_result(device: rynvel.Device) -> None:
    device.regs.CTRL.GAIN = 9
    assert "value 11 is not allowed" in refusal(
        rynvel.NotAllowedError, lambda: device.regs.CTRL.write(0x20, mask=0x20)
    )
    device.regs.CTRL.write(0x00, mask=0x80)
    assert device.read(0) == 0x10
    assert "selects no bits" in refusal(rynvel.NotAllowedError, lambda: device.regs.CTRL.write(1, mask=0))
    device.regs.STATUS.write(0x70, mask=0xF0)
    assert device.read(0x4) == 0x73


def test_a_whole_register_is_assigned(device: rynvel.Device) -> None:
    device.regs.CTRL = 0x10
    assert device.read(0) == 0x10
    device.regs["CTRL"].write(0x20)
    device.regs["NARROW"] = 0xFFFF
    assert (device.read(0), device.read(0x70)) == (0x20, 0xFFFF)
    refusal(rynvel.ValueTooWideError, setattr, device.regs, "NARROW", 0x10000)


def test_a_value_that_was_read_has_its_fields(device: rynvel.Device) -> None:
    device.write(0, 0x500093)
    value = device.regs.CTRL.read()
    device.write(0, 0)
    assert value == 0x500093
    assert (value.ENABLE.name, value["GAIN"], value["read"], value.LINE1) == ("on", 9, 0, 5)
    assert list(value.fields)[:2] == ["LINE1", "LINE0"]
    assert repr(value).startswith("<CTRL 0x00500093: LINE1=5, LINE0=0, ")
    assert "ENABLE=1 (on)>" in repr(value)
    assert "SECRET" not in value.fields
    assert pickle.loads(pickle.dumps(value)) == 0x500093
    refusal(rynvel.UnknownNameError, lambda: value.MOD)
    with pytest.raises(AttributeError):
        value.ENABLE = 0


def test_arrays_are_selected_by_index(device: rynvel.Device) -> None:
    regs = device.regs
    regs.DATA[3] = 7
    assert device.read(0x2C) == 7
    regs.DATA[2].LOW = 9
    assert (regs["DATA[2].LOW"], regs["DATA[2]"].read()) == (9, 9)
    regs["DATA[1]"] = 5
    assert [register.read() for register in regs.DATA] == [0, 5, 9, 7]
    regs.IRQ["B"] = 3
    assert regs.IRQB.read() == 3
    assert (len(regs.DATA), repr(regs.DATA)) == (4, "<array DATA of 4 elements>")


@pytest.mark.parametrize("index", [4, -1, 1 << 64, HUGE, "", "A", "0x1", "\0", "\ud800", "9" * 6000], ids=short)
def test_unknown_indexes_are_refused(shared: rynvel.Device, index: Any) -> None:
    message = refusal(rynvel.UnknownNameError, lambda: shared.regs.DATA[index])
    assert "(the indexes are 0 to 3)" in message and len(message) < 1000
    refusal(rynvel.UnknownNameError, shared.regs.DATA.__setitem__, index, 1)
    with pytest.raises(IndexError):
        shared.regs.DATA[index]


def test_arrays_of_fields(device: rynvel.Device) -> None:
    line = device.regs.CTRL.LINE
    line[1] = 5
    device.regs.CTRL.LINE0 = 3
    assert (list(line), len(line), line["1"]) == ([3, 5], 2, 5)
    assert device.read(0) == 0x530000
    refusal(rynvel.UnknownNameError, lambda: line[2])
    assert "give LINE[INDEX]" in refusal(rynvel.NotAllowedError, setattr, device.regs.CTRL, "LINE", 1)


def test_clusters(device: rynvel.Device) -> None:
    device.regs.CHANNEL[2].LIMIT = 8
    device.regs.CHANNEL[1].LEVEL.VALUE = 6
    device.regs.CLOCK.PLL.DIVIDER = 4
    assert (device.read(0xA4), device.read(0x90), device.read(0xCC)) == (8, 6, 4)
    assert device.regs["CHANNEL[1].LEVEL.VALUE"] == 6
    assert list(device.regs.CLOCK) == ["RATE", "PLL.DIVIDER"]
    assert "is not a register" in refusal(rynvel.NotAllowedError, setattr, device.regs, "CLOCK", 1)
    assert "did you mean 'PLL.DIVIDER'" in refusal(rynvel.UnknownNameError, lambda: device.regs.CLOCK["PLL.DIVIDR"])


def test_names_that_collide_with_methods_are_items(device: rynvel.Device) -> None:
    device.regs.CTRL["read"] = 1
    assert device.regs.CTRL["read"] == 1
    assert callable(device.regs.CTRL.read)
    with pytest.raises(AttributeError, match="for a field of this name"):
        device.regs.CTRL.read = 1
    with pytest.raises(AttributeError, match="for a register of this name"):
        setattr(device.regs, "register", 1)
    device.regs["register"] = 3
    assert (device.regs["register"].read(), device.read(0x50)) == (3, 3)
    assert (device.regs.CTRL["_private"], device.regs.CTRL["class"], device.regs.CTRL["two words"]) == (0, 0, 0)


@pytest.mark.parametrize(
    "name",
    ["CTRX", "", "CTRL.", ".CTRL", "CTRL.MODE.X", "\0", "CTRL\0", "\ud800", "a\nb", "é" * 9999],
    ids=short,
)
def test_unknown_names_are_refused(shared: rynvel.Device, name: str) -> None:
    for access in each(
        lambda: shared.regs[name],
        lambda: shared.regs.__setitem__(name, 1),
        lambda: shared.regs.register(name),
    ):
        message = refusal(rynvel.UnknownNameError, access)
        assert repr(name if len(name) <= 100 else name[:100] + "...") in message
        assert len(message) < 1000
        assert "\0" not in message and "\n" not in message
        with pytest.raises(KeyError):
            access()
    assert name not in shared.regs
    refusal(rynvel.UnknownNameError, lambda: shared.regs.CTRL[name])


def test_unknown_names_suggest_the_nearest(shared: rynvel.Device) -> None:
    assert "(did you mean 'CTRL'?)" in refusal(rynvel.UnknownNameError, lambda: shared.regs.CTRK)
    assert "(did you mean 'MODE'?)" in refusal(rynvel.UnknownNameError, setattr, shared.regs.CTRL, "MODEL", 1)
    assert "give 'VALUE'" in refusal(rynvel.UnknownNameError, lambda: shared.regs.CHANNEL[0].LEVEL.QUITE_DIFFERENT)
    assert "has no fields" in refusal(rynvel.UnknownNameError, lambda: shared.regs.SERIAL.X)
    assert not hasattr(shared.regs, "CTRK")
    assert not hasattr(shared.regs.CTRL, "MODEL")


@pytest.mark.parametrize("name", [1, None, b"CTRL", 1.0, ["CTRL"]])
def test_a_name_must_be_text(shared: rynvel.Device, name: Any) -> None:
    for access in each(lambda: shared.regs[name], lambda: shared.regs.CTRL[name], lambda: shared.regs.register(name)):
        with pytest.raises(TypeError, match="is text, not"):
            access()
    assert name not in shared.regs
    assert name not in shared.regs.CTRL


def test_registers_that_the_device_cannot_access(shared: rynvel.Device) -> None:
    message = refusal(rynvel.NotAllowedError, shared.regs.WIDE.read)
    assert message == "traf.top: register WIDE has 64 bits (the device has 32-bit registers)"
    assert "is not a multiple of 4" in refusal(rynvel.NotAllowedError, setattr, shared.regs, "UNALIGNED", 1)
    # The response of the server does not contain a reason.
    refusal(rynvel.RefusedError, shared.regs.OUTSIDE.read)


def test_a_register_is_not_its_value(shared: rynvel.Device) -> None:
    with pytest.raises(TypeError, match=r"compare SERIAL.read\(\)"):
        assert shared.regs.SERIAL == 0x1234
    for number in (0x1234, 4660.0, 1j, True, Fraction(1), "x"):
        for compare in each(lambda: shared.regs.SERIAL == number, lambda: number != shared.regs.SERIAL):
            with pytest.raises(TypeError, match=r"compare SERIAL.read\(\)"):
                compare()
    with pytest.raises(TypeError, match=r"call SERIAL.read\(\)"):
        assert shared.regs.SERIAL
    assert shared.regs.SERIAL == shared.regs["SERIAL"]
    assert shared.regs.SERIAL != shared.regs.CTRL
    assert shared.regs.SERIAL.read() == 0x1234


def test_a_copy_of_a_register_is_the_register(shared: rynvel.Device) -> None:
    regs = shared.regs
    for thing in (regs, regs.CTRL, regs.CTRL.LINE, regs.DATA, regs.CLOCK):
        assert copy.copy(thing) is thing and copy.deepcopy([thing])[0] is thing
        with pytest.raises(TypeError, match="of traf.top|array .* cannot be pickled"):
            pickle.dumps(thing)


def test_a_device_has_no_further_attributes(shared: rynvel.Device) -> None:
    device: Any = shared
    for name in ("CTRL", "timeout", "regs"):
        with pytest.raises(AttributeError):
            setattr(device, name, 7)
    assert shared.regs.CTRL.read() == 0 == shared.read(0)


def test_completion_offers_names_and_reads_nothing(map_file: Path) -> None:
    # The server closes the connection at the request after Open, so a completion that reads a register fails.
    with SimulatedServer(maps=map_file, faults=["disconnect:2"]) as server, server.open("traf.top") as device:
        regs = device.regs
        assert {"CTRL", "DATA", "CHANNEL", "CLOCK", "IRQ", "register"} <= set(dir(regs))
        assert "DATA[0]" not in dir(regs)
        completer = rlcompleter.Completer({"regs": regs})
        assert "regs.CTRL.MODE" in (completer.attr_matches("regs.CTRL.") or [])
        assert "regs.CTRL" in [match.rstrip("(") for match in completer.attr_matches("regs.C") or []]
        assert {"ENABLE", "LINE", "LINE1", "MODE"} <= set(dir(regs.CTRL))
        assert not {"two words", "class", "_private"} & set(dir(regs.CTRL))
        assert "Bits 3:1." in str(type(regs.CTRL).MODE.__doc__)
        with pytest.raises(rynvel.ConnectionLostError):
            for _ in range(3):
                device.read(0)


def test_info_has_the_properties_of_the_map(shared: rynvel.Device, map_file: Path) -> None:
    info = shared.regs.STATUS.info
    assert (info.path, info.address, info.width, info.reset_value) == ("STATUS", 4, 32, 0x53)
    assert (info.readable, info.writable, info.has_read_effect, info.obstacle) == (True, True, False, "")
    assert [(field.name, field.msb, field.lsb) for field in info.fields] == [
        ("DONE", 0, 0),
        ("FAILED", 1, 1),
        ("LEVEL", 7, 4),
    ]
    assert shared.regs.CTRL.info.fields[0].values == {"off": 0, "on": 1}
    assert shared.regs.QUEUE.info.has_read_effect
    assert "64 bits" in shared.regs.WIDE.info.obstacle
    assert shared.regs.map_file == str(map_file)
    assert repr(shared.regs.CTRL) == "<register CTRL of traf.top at 0x0>"
    assert str(map_file) in repr(shared.regs)


def test_the_registers_are_iterated_by_name(shared: rynvel.Device) -> None:
    names = list(shared.regs)
    assert names[:4] == ["CTRL", "STATUS", "SERIAL", "COMMAND"]
    assert "CHANNEL[2].LIMIT" in names
    assert all(name in shared.regs for name in names)
    assert list(shared.regs.STATUS) == ["DONE", "FAILED", "LEVEL"]
    readable = [name for name in names if shared.regs.register(name).info.readable]
    assert "COMMAND" not in readable and "CTRL" in readable


def test_attributes_are_found_once(shared: rynvel.Device) -> None:
    assert shared.regs is shared.regs
    assert shared.regs.CTRL is shared.regs.CTRL is shared.regs["CTRL"]
    assert shared.regs.DATA[1] is shared.regs["DATA[1]"]
    assert type(shared.regs.DATA[1]) is type(shared.regs.DATA[2])


def test_registers_of_a_closed_device_are_errors(server: SimulatedServer) -> None:
    device = server.open("traf.top")
    regs = device.regs
    device.close()
    for access in each(regs.CTRL.read, lambda: regs.CTRL.MODE, lambda: setattr(regs.CTRL, "MODE", 1)):
        refusal(rynvel.ClosedError, access)


def test_a_device_with_registers_is_collected(server: SimulatedServer) -> None:
    device = server.open("traf.top")
    device.regs.CTRL.MODE = 1
    gone = weakref.ref(device)
    del device
    gc.collect()
    assert gone() is None


class TestMaps:
    def test_maps_are_searched_in_the_environment(
        self, server: SimulatedServer, map_file: Path, monkeypatch: pytest.MonkeyPatch
    ) -> None:
        monkeypatch.setenv("RYNVEL_MAPS", str(map_file.parent))
        with rynvel.open("traf.top", remote=server.address) as device:
            assert device.regs.map_file == str(map_file)

    def test_several_maps_and_every_form_of_path_are_accepted(self, server: SimulatedServer, map_file: Path) -> None:
        name = str(map_file)
        paths: list[Any] = [map_file, name, os.fsencode(map_file), [map_file.parent], (name, map_file)]
        for path in paths:
            with server.open("traf.top", map=path) as device:
                assert "CTRL" in device.regs

    @pytest.mark.parametrize("paths", [5, 1.0, True, [5], ["board.svd", None], {"a": 1}.values()], ids=str)
    def test_values_that_are_not_paths_are_refused_at_once(self, server: SimulatedServer, paths: Any) -> None:
        for refuse in each(
            lambda: server.open("traf.top", map=paths),
            lambda: rynvel.open("traf.top", server.address, map=paths),
            lambda: SimulatedServer(maps=paths),
        ):
            with pytest.raises(TypeError, match="^maps?: (int|float|bool|NoneType) is not a path"):
                refuse()

    @pytest.mark.parametrize("path", ["a\0b", b"a\0b", "\ud800", ["board.svd", "\0"]])
    def test_impossible_paths_are_refused(self, server: SimulatedServer, path: Any) -> None:
        with server.open("traf.top", map=path) as device:
            message = refusal(rynvel.MapError, lambda: device.regs)
        assert "is not a path" in message
        message.encode()
        with pytest.raises(rynvel.MapError):
            SimulatedServer(maps=path)

    @pytest.mark.parametrize(
        ("text", "message"),
        [
            ("", "error"),
            ("<device>", "error"),
            ("\0" * 100, "error"),
            (maps.map_of("other", maps.register("R", 0)), "no register map describes the device"),
            (maps.map_of("traf_top", maps.register("R", 0), unit_bits=16), "addressUnitBits is 16"),
        ],
    )
    def test_unusable_maps_are_errors(
        self, server: SimulatedServer, tmp_path: Path, text: str, message: str
    ) -> None:
        path = maps.write_map(tmp_path, text)
        with server.open("traf.top", map=path) as device:
            assert message in refusal(rynvel.MapError, lambda: device.regs)
            assert device.read(0x8) == 0x1234

    def test_missing_maps_are_errors(self, server: SimulatedServer, tmp_path: Path) -> None:
        with server.open("traf.top", map=tmp_path / "none.svd") as device:
            assert "No such file" in refusal(rynvel.MapError, lambda: device.regs)

    def test_missing_maps_with_unusual_names_are_errors(self, server: SimulatedServer, tmp_path: Path) -> None:
        for name in (b"none\xff", b"none\n\x1b"):
            with server.open("traf.top", map=os.fsencode(tmp_path) + b"/" + name) as device:
                assert os.fsdecode(name) in refusal(rynvel.MapError, lambda: device.regs)

    def test_pipes_that_no_writer_completes_are_errors(
        self, server: SimulatedServer, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
    ) -> None:
        monkeypatch.setattr("rynvel._registers._MAP_TIMEOUT_MS", 50)
        os.mkfifo(tmp_path / "pipe")
        with server.open("traf.top", map=tmp_path / "pipe") as device:
            assert "the map is incomplete after" in refusal(rynvel.MapError, lambda: device.regs)

    def test_unusual_names_work(self, server: SimulatedServer, tmp_path: Path) -> None:
        folder = os.fsencode(tmp_path) + b"/\xff\n"
        os.mkdir(folder)
        with open(folder + b"/m.svd", "w", encoding="utf-8") as file:
            file.write(maps.map_of("traf_top", maps.register("größe", 8) + maps.register("ﬁ", 4)))
        with server.open("traf.top", map=folder) as device:
            assert device.regs.größe.read() == 0x1234
            assert os.fsencode(device.regs.map_file) == folder + b"/m.svd"
            # Python normalizes this attribute name to "fi", so the attribute would not find the register.
            assert "ﬁ" not in dir(device.regs)
            assert device.regs["ﬁ"].info.address == 4


@settings(deadline=None, max_examples=300)
@given(name=st.text(), value=st.one_of(st.integers(), st.text(), st.floats(), st.none(), st.binary()))
def test_any_name_and_value_give_a_documented_error(shared: rynvel.Device, name: str, value: Any) -> None:
    expected = (rynvel.Error, TypeError)
    register = shared.regs.CTRL
    for access in each(
        lambda: shared.regs[name],
        lambda: shared.regs.__setitem__(name, value),
        lambda: register[name],
        lambda: register.__setitem__(name, value),
        lambda: register.__setitem__("MODE", value),
        lambda: register.write(value, mask=value),
        lambda: register.update({name: value}),
        lambda: shared.regs.DATA[value],
    ):
        try:
            access()
        except expected as error:
            assert str(error)
