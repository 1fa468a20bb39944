# SPDX-License-Identifier: MIT
"""Opening devices, and every class of errors."""

from __future__ import annotations

import copy
import errno
import gc
import inspect
import os
import pickle
import re
import signal
import sys
import threading
import warnings
import weakref
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from conftest import calls
from support import (
    DEADLINE,
    FILE_BYTES,
    ScriptedServer,
    descriptors,
    response,
    run_python,
    run_successfully,
    wait_until,
)

import rynvel
from rynvel.testing import ServerError

PYTHON_BASES: dict[type[rynvel.Error], type[Exception]] = {
    rynvel.UnknownDeviceError: KeyError,
    rynvel.MissingFileError: FileNotFoundError,
    rynvel.PermissionDeniedError: PermissionError,
    rynvel.DeviceError: OSError,
    rynvel.BusError: OSError,
    rynvel.RangeError: ValueError,
    rynvel.AlignmentError: ValueError,
    rynvel.ValueTooWideError: ValueError,
    rynvel.WidthError: ValueError,
    rynvel.UnsupportedError: NotImplementedError,
    rynvel.InUseError: RuntimeError,
    rynvel.RefusedError: OSError,
    rynvel.ConnectionLostError: ConnectionError,
    rynvel.DeviceTimeoutError: TimeoutError,
    rynvel.ClosedError: ValueError,
    rynvel.ForkedError: rynvel.ClosedError,
    rynvel.MapError: ValueError,
    rynvel.NotAllowedError: ValueError,
    rynvel.UnknownNameError: AttributeError,
}


def test_every_error_is_listed_here() -> None:
    classes = {each for _, each in inspect.getmembers(rynvel, inspect.isclass) if issubclass(each, Exception)}
    assert classes == {rynvel.Error, *PYTHON_BASES}


@pytest.mark.parametrize("kind", PYTHON_BASES, ids=lambda kind: str(kind.__name__))
def test_an_error_is_also_the_error_that_python_programs_expect(kind: type[rynvel.Error]) -> None:
    assert issubclass(kind, rynvel.Error) and issubclass(kind, PYTHON_BASES[kind])
    error = kind("device: text", errno=errno.EIO)
    assert str(error) == "device: text" and kind.__doc__ and kind.__module__ == "rynvel"
    error.add_note("a note")
    for other in (pickle.loads(pickle.dumps(error)), copy.copy(error), copy.deepcopy(error)):
        assert (type(other), str(other), other.args) == (kind, str(error), error.args)
        assert getattr(other, "errno") == errno.EIO and other.__notes__ == ["a note"]
    assert str(pickle.loads(pickle.dumps(kind("x")))) == "x"


def message_of(kind: type[rynvel.Error], name: Any, *arguments: Any, **named: Any) -> str:
    with pytest.raises(rynvel.Error) as error:
        rynvel.open(name, *arguments, **named)
    assert type(error.value) is kind, error.value
    return str(error.value)


def test_an_unknown_name_suggests_similar_ones(files: Path) -> None:
    text = message_of(rynvel.UnknownDeviceError, "fiel8")
    assert text.startswith("'fiel8': no device has this name (did you mean ") and "file8" in text
    assert "rynvel.devices()" in message_of(rynvel.UnknownDeviceError, "something else")
    with pytest.raises(KeyError):
        rynvel.open("nothing")


def short_id(text: object) -> str:
    return ascii(text)[:12]


@pytest.mark.parametrize(
    "name", ["", "a\0b", "\0", "\ud800", "a\nb", "\x7f", "x" * 200, "x" * 100000, "é" * 100, "file8 ", "*", "\u202e"], ids=short_id
)
@pytest.mark.parametrize("remote", [None, "127.0.0.1::1"])
def test_names_of_all_kinds_are_unknown(files: Path, name: str, remote: str | None) -> None:
    text = message_of(rynvel.UnknownDeviceError, name, remote)
    assert "\n" not in text and "\0" not in text and "\x7f" not in text


@pytest.mark.parametrize("name", ["a\0b", "\ud800", "a\nb", "x" * 128], ids=short_id)
def test_names_that_no_server_accepts_are_unknown(name: str) -> None:
    with ScriptedServer() as server:
        assert message_of(rynvel.UnknownDeviceError, name, server.address, type="Uio32")
        assert server.kinds() == []
        server.open("x" * 127).close()


def test_arguments_of_a_wrong_type_are_type_errors(files: Path) -> None:
    untyped: Any = rynvel.open
    for call in calls(
        lambda: untyped(),
        lambda: untyped(None),
        lambda: untyped(b"file8"),
        lambda: untyped(8),
        lambda: untyped("file8", 5),
        lambda: untyped("file8", b"host"),
        lambda: untyped("file8", None, "1"),
        lambda: untyped("file8", None, [1]),
        lambda: untyped("file8", None, 1j),
        lambda: untyped("file8", type=5),
        lambda: untyped("file8", bogus=5),
    ):
        with pytest.raises(TypeError):
            call()


BAD_TIMEOUTS = [float("nan"), float("inf"), -float("inf"), -1, -0.001, 1e400, 10**400, -(10**400), 10**5000, 1e10]


@pytest.mark.parametrize("timeout", [*BAD_TIMEOUTS, 0, 0.0, -0.0], ids=lambda timeout: f"{timeout:x}"[:9] if isinstance(timeout, int) else None)
def test_timeouts_out_of_bounds_are_value_errors(files: Path, timeout: float) -> None:
    with ScriptedServer() as server:
        for name, remote in (("file8", None), ("traf", server.address)):
            with pytest.raises(ValueError, match="timeout") as error:
                rynvel.open(name, remote, timeout)
            assert "4300" not in str(error.value)
        assert server.kinds() == []


@pytest.mark.parametrize("timeout", [None, 1, 0.0001, 1e9, True])
def test_good_timeouts_are_accepted(files: Path, timeout: float | None) -> None:
    rynvel.open("file8", timeout=timeout).close()
    rynvel.open("file8", None, timeout).close()


@pytest.mark.parametrize(
    "address", ["", ":", "::", "::1", ":1", "a:b", "host:", "host:0", "host:65536", "host:x", "a b", "h\0", "\ud800", "1:2:3", "h\n"]
)
def test_bad_server_addresses_are_value_errors(address: str) -> None:
    with pytest.raises(ValueError) as error:
        rynvel.open("far32", address)
    assert "\n" not in str(error.value) and "\0" not in str(error.value)


def test_bad_types_are_value_errors(files: Path) -> None:
    assert "type=" in message_of(rynvel.UnknownDeviceError, "x", "127.0.0.1::1")
    for kind in ("uio32", "Uio64", "", "Remote32", "Uio32\0", "\ud800"):
        with pytest.raises(ValueError, match="type"):
            rynvel.open("x", "127.0.0.1::1", type=kind)
    with pytest.raises(ValueError, match="this machine"):
        rynvel.open("file8", type="Lseek8")
    assert "32 bits" in message_of(rynvel.WidthError, "far32", type="Lseek8")
    with pytest.raises(ValueError, match="HOST::PORT"):
        rynvel.open("far.wrong")


def test_missing_files_are_errors(files: Path) -> None:
    for name in ("missing", "missing.map"):
        text = message_of(rynvel.MissingFileError, name)
        assert text.startswith(f"{name}: nowhere/") and text.endswith("No such file or directory")
    with pytest.raises(FileNotFoundError) as error:
        rynvel.open("missing")
    assert error.value.errno == errno.ENOENT
    assert message_of(rynvel.DeviceError, "folder").endswith("Is a directory")


@pytest.mark.parametrize(("name", "file"), [("map16", "map"), ("seek.irq16", "registers16"), ("spi", "registers32")])
def test_a_tyvon_or_spi_device_without_its_file_is_missing(files: Path, name: str, file: str) -> None:
    (files / file).unlink()
    with pytest.raises(rynvel.MissingFileError, match=f"^{re.escape(name)}: ") as caught:
        rynvel.open(name)
    assert caught.value.errno == errno.ENOENT


@pytest.mark.parametrize(
    "access",
    [
        lambda device: device.read(0),
        lambda device: device.write(0, 1),
        lambda device: device.write(0, 1, mask=1),
        lambda device: device.read_block(0, 4),
        lambda device: device.write_from(0, bytes(16)),
    ],
    ids=["read", "write", "masked write", "read_block", "write_from"],
)
def test_an_spi_device_whose_driver_refuses_a_transfer_is_an_error(
    files: Path, access: Callable[[rynvel.Device], object]
) -> None:
    with rynvel.open("spi") as device, pytest.raises(rynvel.DeviceError, match="^spi: ") as caught:
        access(device)
    assert caught.value.errno == errno.ENOTTY
    assert (files / "registers32").read_bytes() == bytes(FILE_BYTES)


def test_a_seekable_tyvon_device_has_registers_and_its_driver_may_refuse_interrupts(files: Path) -> None:
    with rynvel.open("seek.irq16") as device:
        device.write(0x02, 0xBEEF)
        assert (device.read(0x02), device.read(index=0)) == (0xBEEF, 0)
        with pytest.raises(rynvel.DeviceError, match="seek.irq16: enabling the interrupt failed") as caught:
            with device.interrupts():
                pass
        assert caught.value.errno == errno.ENOTTY


def test_a_uio_device_without_description_is_an_error(files: Path) -> None:
    (files / "uio_link").write_bytes(bytes(4096))
    assert "sysfs" in message_of(rynvel.DeviceError, "uio")


def test_a_file_without_permission_is_an_error(files: Path) -> None:
    files.chmod(0o755)
    (files / "registers8").chmod(0)
    script = """
        import os
        import rynvel
        if os.getuid() == 0:
            os.setgroups([])
            os.setresgid(65534, 65534, 65534)
            os.setresuid(65534, 65534, 65534)
        try:
            rynvel.open("file8")
        except PermissionError as error:
            assert type(error) is rynvel.PermissionDeniedError
            print(error.errno, error)
    """
    assert run_successfully(script) == f"{errno.EACCES} file8: registers8: Permission denied\n"


def test_a_failing_write_is_an_error(files: Path) -> None:
    with rynvel.open("full") as device:
        for call in calls(lambda: device.write(0, 1), lambda: device.write_from(0, b"12"), lambda: device.write(0, 1, mask=1)):
            with pytest.raises(rynvel.DeviceError, match="full: writing .*No space left on device"):
                call()
        assert pytest.raises(OSError, device.write, 0, 1).value.errno == errno.ENOSPC


def test_reading_after_the_end_of_a_file_is_an_error(files: Path) -> None:
    for name in ("file8", "file16", "file32"):
        with rynvel.open(name) as device:
            for call in calls(lambda: device.read(1024), lambda: device.read_block(1020, 5 if name == "file8" else 3)):
                with pytest.raises(rynvel.DeviceError):
                    call()


def test_a_bus_error_is_an_exception(files: Path) -> None:
    with rynvel.open("torn") as device:
        for call in calls(
            lambda: device.read(4096),
            lambda: device.write(4096, 1),
            lambda: device.write(4096, 1, mask=1),
            lambda: device.read_block(4000, 100),
            lambda: device.read_into(4096, bytearray(8)),
            lambda: device.write_from(4096, bytes(8)),
            lambda: device.read_block(4096, 2, byteorder="network"),
        ):
            with pytest.raises(rynvel.BusError, match="torn: .*bus error"):
                call()
        # The mutex of the device is free again.
        device.write(0, 5)
        assert device.read(0) == 5


def test_bus_errors_of_several_threads_are_exceptions(files: Path) -> None:
    caught: list[int] = []

    def work(seed: int) -> None:
        count = 0
        with rynvel.open("torn") as device:
            for i in range(200):
                try:
                    device.read(4 * ((i * seed) % 2048))
                except rynvel.BusError:
                    count += 1
        caught.append(count)

    threads = [threading.Thread(target=work, args=(seed,)) for seed in (3, 5, 7, 11)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(DEADLINE)
    expected = [sum((i * seed) % 2048 >= 1024 for i in range(200)) for seed in (3, 5, 7, 11)]
    assert sorted(caught) == sorted(expected)


# The actions of a program before it reads a register that causes a bus error.
BEFORE_A_BUS_ERROR = {
    "handler after opening": "replace()",
    "handler after many accesses": "access(300); replace(); access(256)",
    "handler before a long burst": "access(1); replace(); error = burst",
    "blocked signals": "block()",
    "blocked signals after many accesses": "access(300); block(); access(256)",
    "blocked signals before a long burst": "access(1); block(); error = burst",
    "blocked signals of a new thread": "block(); in_thread = True",
    "blocked signals during the opening": "block(); device = rynvel.open('torn')",
}


@pytest.mark.parametrize("before", BEFORE_A_BUS_ERROR.values(), ids=BEFORE_A_BUS_ERROR.keys())
def test_a_bus_error_is_an_exception_whatever_the_program_does_with_the_signal(files: Path, before: str) -> None:
    script = f"""
        import signal, threading, rynvel
        device = rynvel.open("torn")
        in_thread = False
        def replace():
            signal.signal(signal.SIGBUS, lambda *details: None)
        def block():
            signal.pthread_sigmask(signal.SIG_BLOCK, signal.valid_signals())
        def access(count):
            for _ in range(count):
                device.read(0)
        def burst():
            device.read_block(0, 1025)
        def error():
            device.read(4096)
        {before}
        def fail():
            try:
                error()
            except rynvel.BusError:
                print("BusError")
        if in_thread:
            thread = threading.Thread(target=fail)
            thread.start()
            thread.join()
        else:
            fail()
    """
    result = run_python(script, seconds=DEADLINE)
    assert (result.returncode, result.stdout) == (0, "BusError\n"), result.stderr


def test_a_fault_handler_stays_quiet_and_still_reports_faults_of_other_code(files: Path) -> None:
    script = """
        import faulthandler, mmap, sys, rynvel
        faulthandler.disable()
        device = rynvel.open("torn")
        faulthandler.enable()
        try:
            device.read(4096)
        except rynvel.BusError:
            print("BusError", file=sys.stderr)
        with open("map", "r+b") as file:
            mapping = mmap.mmap(file.fileno(), 4096)
            file.truncate(0)
            mapping[0]
    """
    result = run_python(script, seconds=DEADLINE)
    assert result.returncode == -signal.SIGBUS
    assert result.stderr.startswith("BusError\n") and result.stderr.count("Fatal Python error: Bus error") == 1


def test_a_sigbus_of_other_code_ends_the_process_as_before(files: Path) -> None:
    script = """
        import mmap, rynvel
        rynvel.open("torn").close()
        with open("map", "r+b") as file:
            mapping = mmap.mmap(file.fileno(), 4096)
            file.truncate(0)
            print("reading", flush=True)
            mapping[0]
            print("read")
    """
    result = run_python(script)
    assert (result.returncode, result.stdout) == (-7, "reading\n")


def test_a_closed_device_stays_closed(files: Path) -> None:
    with ScriptedServer() as server:
        for device in (rynvel.open("file8"), rynvel.open("map32"), server.open()):
            assert not device.closed
            text = repr(device)
            assert device.name in text and device.kind in text and f"{device.width} bits" in text and "open" in text
            device.close()
            device.close()
            assert device.closed and "closed" in repr(device)
            for call in calls(
                lambda: device.read(0),
                lambda: device.write(0, 0),
                lambda: device.write(0, 0, mask=1),
                lambda: device.read_into(0, bytearray(4)),
                lambda: device.write_from(0, bytes(4)),
                lambda: device.read_block(0, 1),
                lambda: device.interrupts().__enter__(),
                lambda: device.events(),
            ):
                with pytest.raises(rynvel.ClosedError, match=f"{device.name}: the device is closed"):
                    call()
            # The properties of a closed device remain readable.
            assert device.width in (8, 32) and device.kind


def test_a_block_closes_the_device_even_when_it_fails(files: Path) -> None:
    with pytest.raises(ZeroDivisionError), rynvel.open("map32") as device:
        raise ZeroDivisionError
    assert device.closed


def test_an_unreferenced_device_is_closed_with_a_warning(files: Path) -> None:
    rynvel.open("map32").close()
    before = descriptors()
    device = rynvel.open("map32")
    alive = weakref.ref(device)
    with pytest.warns(ResourceWarning, match="unclosed device <rynvel.Device 'map32'"):
        del device
        gc.collect()
    assert alive() is None and descriptors() == before


def test_devices_cannot_be_copied(files: Path) -> None:
    with rynvel.open("map32") as device:
        for call in calls(lambda: copy.copy(device), lambda: pickle.dumps(device), lambda: copy.deepcopy(device)):
            with pytest.raises(TypeError):
                call()


def test_objects_cannot_be_created_without_a_device() -> None:
    core_module = sys.modules["rynvel._core"]
    for kind in (rynvel.Device, core_module.Device, core_module.Session, core_module.Block):
        with pytest.raises(TypeError):
            kind()
        with pytest.raises(TypeError):
            object.__new__(kind)
        with pytest.raises(TypeError):
            kind.__new__(int)


def test_the_table_lists_all_devices(files: Path) -> None:
    rows = {row.name: row for row in rynvel.devices()}
    assert rows["file8"] == ("file8", "Lseek8", 8, "registers8", None, True)
    assert rows["missing"].present is False and rows["uio"].present is False
    assert rows["far32"] == ("far32", "Remote32", 32, None, "127.0.0.1::1", None)
    (files / "registers8").unlink()
    assert {row.name: row for row in rynvel.devices()}["file8"].present is False
    rows_of_file = [line.split() for line in (Path(__file__).parents[1] / "devices.def").read_text().splitlines()]
    assert [row[0] for row in rows_of_file if row[0] != "#"] == list(rows)


def test_devices_of_the_table_on_a_server_that_does_not_exist(files: Path) -> None:
    for name in ("far8", "far32"):
        assert message_of(rynvel.ConnectionLostError, name) == f"{name}@127.0.0.1::1: Connection refused"


def test_only_register_0_can_be_used_if_the_type_is_unknown(files: Path) -> None:
    with ScriptedServer() as server:
        with rynvel.open("far32", server.address) as device:
            device.write(0, 5)
            assert device.read(0) == device.read(index=0) == 5
            with pytest.raises(rynvel.RangeError, match="type="):
                device.read(4)
            with pytest.raises(rynvel.RangeError, match="type="):
                device.read_block(0, 2)
        with rynvel.open("far32", server.address, type="Lseek32") as device:
            assert device.kind == "Lseek32"
            device.read(8)
            assert server.requests[-1].address == 8
        with rynvel.open("far32", server.address, type="Uio32") as device:
            device.read(8)
            assert server.requests[-1].address == 2


def test_all_descriptors_are_closed(files: Path) -> None:
    rynvel.open("map32").close()
    before = descriptors()
    with ScriptedServer() as server:
        for _ in range(20):
            for name in ("file8", "map16", "burst", "torn"):
                with rynvel.open(name):
                    pass
            for name in ("missing", "folder", "nothing", "missing.map", "far8"):
                with pytest.raises(rynvel.Error):
                    rynvel.open(name)
            with server.open() as device, device.interrupts():
                pass
    gc.collect()
    wait_until(lambda: descriptors() == before)


def test_errors_of_device_files_have_the_attributes_of_the_system(files: Path) -> None:
    with pytest.raises(FileNotFoundError) as caught:
        rynvel.open("missing")
    restored = pickle.loads(pickle.dumps(caught.value))
    for error in (caught.value, restored):
        assert (error.errno, error.strerror) == (errno.ENOENT, "No such file or directory")
        assert error.filename == {row.name: row.path for row in rynvel.devices()}["missing"]
        assert str(error) == str(caught.value) and str(error).startswith("missing: ")


def test_no_descriptor_is_inherited(files: Path) -> None:
    with ScriptedServer() as server, rynvel.open("map32"), rynvel.open("file8"), server.open() as device:
        before = set(os.listdir("/proc/self/fd"))
        with device.interrupts():
            for number in map(int, set(os.listdir("/proc/self/fd")) | before):
                try:
                    path = os.readlink(f"/proc/self/fd/{number}")
                except FileNotFoundError:
                    continue
                if "registers" in path or path.endswith("/map") or "eventfd" in path:
                    assert not os.get_inheritable(number), path


def test_no_warning_is_given_for_closed_devices(files: Path) -> None:
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with rynvel.open("map32"):
            pass
        gc.collect()


def test_help_describes_every_function() -> None:
    # help() lists all exceptions before the functions, so the docstring of the package must name the functions.
    assert {"open()", "devices()", "trace()"} <= set(str(rynvel.__doc__).split())
    for name in rynvel.__all__:
        assert inspect.getdoc(getattr(rynvel, name)), name
    for name, member in inspect.getmembers(rynvel.Device):
        if not name.startswith("_"):
            assert inspect.getdoc(member), name
    assert str(inspect.signature(rynvel.Device.read)) == "(self, address=None, /, *, index=None)"
    assert issubclass(ServerError, rynvel.Error)


def test_a_server_that_refuses_the_device_is_an_error() -> None:
    with ScriptedServer(lambda server, request, connection: response(result=0xFFFFFFFF)) as server:
        with pytest.raises(rynvel.RefusedError, match="traf.top@127.0.0.1::[0-9]+: .*refuses to open") as error:
            server.open()
        assert isinstance(error.value, OSError)
