# SPDX-License-Identifier: MIT
"""The simulation servers for the tests of users' programs."""

from __future__ import annotations

import os
import signal
import subprocess
import sys
import threading
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

import maps
import pytest

import rynvel
from rynvel.testing import ServerError, SimulatedServer, find_server

DEADLINE = 20.0


def is_running(process: int) -> bool:
    try:
        state = Path(f"/proc/{process}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()[0]
    except FileNotFoundError:
        return False
    return state != "Z"


def wait_until_ended(process: int) -> None:
    end = time.monotonic() + DEADLINE
    while is_running(process):
        assert time.monotonic() < end, f"process {process} still runs"
        time.sleep(0.01)


def server_of(supervisor: int) -> int:
    """Returns the process ID of the server that a supervisor has started."""
    children = Path(f"/proc/{supervisor}/task/{supervisor}/children").read_text(encoding="ascii")
    return int(children.split()[0])


def supervisor_of(server: SimulatedServer) -> int:
    assert server._process is not None
    return server._process.pid


def test_registers_are_shared_by_all_clients() -> None:
    with SimulatedServer() as server:
        server.set_register("traf.top", 0x10, 0x1234)
        server.set_register("traf.top", 0x10, 0xFF, mask=0xF)
        with server.open("traf.top") as device:
            assert device.read(0x10) == 0x123F
        assert server.get_register("traf.top", 0x10) == 0x123F


def test_a_device_has_the_register_maps_of_the_server(tmp_path: Path) -> None:
    with SimulatedServer(maps=maps.write_map(tmp_path)) as server, server.open("traf.top") as device:
        assert device.regs.SERIAL.read() == 0x1234
        server.set_register("traf.top", 0x8, 1)
        assert device.regs.SERIAL.read() == 0x1234


def test_interrupts_are_raised() -> None:
    with SimulatedServer() as server, server.open("traf.top") as device, device.interrupts() as interrupts:
        assert interrupts.wait(timeout=0) is None
        server.raise_interrupt("traf.top", 7)
        event = interrupts.wait(timeout=DEADLINE)
        assert event is not None and event.word == 7
        server.raise_interrupt("traf.top")
        event = interrupts.wait(timeout=DEADLINE)
        assert event is not None and event.word == 2


def test_interrupts_are_raised_periodically() -> None:
    with SimulatedServer(interrupt_every={"traf.top": 0.01}) as server, server.open("traf.top") as device:
        with device.interrupts() as interrupts:
            assert interrupts.wait(timeout=DEADLINE) is not None
            assert interrupts.wait(timeout=DEADLINE) is not None


@pytest.mark.parametrize("name", ["i2c", "none", "", "x" * 128, "a\0b", "\ud800", "é"])
def test_interrupts_that_cannot_be_raised_are_errors(name: str) -> None:
    with SimulatedServer(devices=["i2c", "traf.top"]) as server:
        with pytest.raises(ServerError):
            server.raise_interrupt(name)
        with pytest.raises(ValueError):
            server.raise_interrupt("traf.top", 1 << 32)
        server.raise_interrupt("traf.top", (1 << 32) - 1)


def test_arguments_of_a_wrong_type_are_errors() -> None:
    wrong: Any
    for wrong in ("rtc0", b"rtc0", [5], [None]):
        for parameter in ("devices", "faults", "options"):
            with pytest.raises(TypeError, match=f"^{parameter}: "):
                SimulatedServer(**{parameter: wrong})
    with SimulatedServer() as server:
        for wrong in (1.5, "x", b"1", [1]):
            with pytest.raises(TypeError, match="^traf.top: the interrupt word must be an integer, not "):
                server.raise_interrupt("traf.top", wrong)
        for wrong in (5, None, b"traf.top"):
            with pytest.raises(TypeError, match="is text, not"):
                server.raise_interrupt(wrong, 1)


def test_only_the_given_devices_are_served() -> None:
    with SimulatedServer(devices=["i2c"]) as server:
        server.open("i2c").close()
        with pytest.raises(rynvel.RefusedError):
            server.open("traf.top")


def test_a_slow_server_is_a_time_out() -> None:
    with SimulatedServer(faults=["delay=60s:3"]) as server, server.open("traf.top", timeout=2.0) as device:
        start = time.monotonic()
        with pytest.raises(rynvel.DeviceTimeoutError, match="^traf.top@"):
            for _ in range(3):
                device.read(0)
        assert 2.0 <= time.monotonic() - start < DEADLINE
        # The answer may still arrive, so the connection is not usable.
        with pytest.raises(rynvel.ConnectionLostError):
            device.read(0)


def test_faults_are_simulated() -> None:
    with SimulatedServer(faults=["error:3"]) as server, server.open("traf.top") as device:
        with pytest.raises(rynvel.RefusedError):
            for _ in range(4):
                device.read(0)


def test_many_servers_run_at_a_time() -> None:
    servers = [SimulatedServer() for _ in range(8)]
    threads = [threading.Thread(target=server.start) for server in servers]
    try:
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(DEADLINE)
        assert len({server.port for server in servers}) == len(servers)
        for number, server in enumerate(servers):
            server.set_register("traf.top", 0, number)
        assert [server.get_register("traf.top", 0) for server in servers] == list(range(8))
    finally:
        for server in servers:
            server.close()


def test_a_server_that_does_not_start_is_an_error_with_its_output(tmp_path: Path) -> None:
    broken = maps.write_map(tmp_path, "<device>")
    with pytest.raises(ServerError, match="error"):
        SimulatedServer(maps=broken).start()
    with pytest.raises(ServerError, match="unknown option '--bogus'"):
        SimulatedServer(options=["--bogus"]).start()
    with pytest.raises(ServerError, match="not found"):
        SimulatedServer(program=tmp_path / "none").start()


def test_a_server_that_never_listens_is_an_error(tmp_path: Path) -> None:
    program = tmp_path / "silent"
    program.write_text("#!/bin/sh\necho something else >&2\nexec sleep 1000\n", encoding="ascii")
    program.chmod(0o755)
    server = SimulatedServer(program=program, timeout=0.3)
    start = time.monotonic()
    with pytest.raises(ServerError, match="something else"):
        server.start()
    assert time.monotonic() - start < DEADLINE


def test_a_server_that_ignores_signals_is_killed(tmp_path: Path) -> None:
    program = tmp_path / "stubborn"
    program.write_text(
        "#!/bin/sh\ntrap '' TERM INT\necho 'rynveld: listening on 127.0.0.1:1, serving' >&2\n"
        "while :; do sleep 0.05; done\n",
        encoding="ascii",
    )
    program.chmod(0o755)
    with SimulatedServer(program=program) as server:
        process = server_of(supervisor_of(server))
        assert is_running(process)
    wait_until_ended(process)


def test_a_server_that_has_ended_is_an_error() -> None:
    with SimulatedServer() as server:
        process = server_of(supervisor_of(server))
        os.kill(process, signal.SIGKILL)
        wait_until_ended(process)
        with pytest.raises(ServerError, match="does not raise the interrupt"):
            server.raise_interrupt("traf.top")
        with pytest.raises(rynvel.ConnectionLostError):
            server.open("traf.top")


def test_nothing_works_before_the_start_and_after_the_end() -> None:
    server = SimulatedServer()
    accesses: list[Callable[[], object]] = [
        lambda: server.port,
        lambda: server.address,
        lambda: server.raise_interrupt("traf.top"),
    ]
    for access in accesses:
        with pytest.raises(ServerError, match="not running"):
            access()
    server.close()
    with server:
        with pytest.raises(ServerError, match="already running"):
            server.start()
        assert server.output.startswith("rynveld: listening on 127.0.0.1:")
    server.close()
    with pytest.raises(ServerError, match="not running"):
        server.get_register("traf.top", 0)
    # A server that was closed can start again.
    with server:
        assert server.get_register("traf.top", 0) == 0


def test_the_server_ends_with_a_block_that_fails() -> None:
    process = 0
    with pytest.raises(ZeroDivisionError), SimulatedServer() as server:
        process = server_of(supervisor_of(server))
        raise ZeroDivisionError
    assert not is_running(process)


STARTS_AND_WAITS = """
import os, sys, time
sys.path[:0] = {path!r}
from rynvel.testing import SimulatedServer
server = SimulatedServer().start()
supervisor = server._process.pid
children = open(f"/proc/{{supervisor}}/task/{{supervisor}}/children").read().split()
print(supervisor, children[0], flush=True)
{then}
"""


@pytest.mark.parametrize("then", ["time.sleep(1000)", "os._exit(0)", "sys.exit(0)", "os.abort()"])
def test_no_process_outlives_a_killed_test(then: str, tmp_path: Path) -> None:
    script = STARTS_AND_WAITS.format(path=sys.path, then=then)
    with subprocess.Popen([sys.executable, "-c", script], stdout=subprocess.PIPE, text=True, cwd=tmp_path) as process:
        assert process.stdout is not None
        supervisor, server = map(int, process.stdout.readline().split())
        if "sleep" in then:
            process.kill()
        process.wait(DEADLINE)
    wait_until_ended(server)
    wait_until_ended(supervisor)


def test_a_server_lives_longer_than_the_thread_that_started_it() -> None:
    server = SimulatedServer()
    thread = threading.Thread(target=server.start)
    thread.start()
    thread.join(DEADLINE)
    try:
        assert server.get_register("traf.top", 0) == 0
    finally:
        server.close()


def test_a_server_ends_while_a_forked_process_runs() -> None:
    server = SimulatedServer().start()
    process = server_of(supervisor_of(server))
    child = os.fork()
    if child == 0:
        time.sleep(1000)
        os._exit(0)
    try:
        server.close()
        assert not is_running(process)
    finally:
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)


def test_no_descriptor_is_left() -> None:
    def descriptors() -> int:
        return len(os.listdir("/proc/self/fd"))

    with SimulatedServer():
        pass
    before = descriptors()
    for _ in range(5):
        with SimulatedServer() as server:
            server.get_register("traf.top", 0)
    assert descriptors() == before


def test_the_server_program_is_found(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setenv("RYNVELD", "/given/rynveld")
    assert find_server() == "/given/rynveld"
    monkeypatch.delenv("RYNVELD")
    monkeypatch.setattr("rynvel.testing.__file__", str(tmp_path / "a" / "b" / "testing.py"))
    monkeypatch.setenv("PATH", str(tmp_path))
    program = tmp_path / "rynveld"
    program.write_text("#!/bin/sh\n", encoding="ascii")
    program.chmod(0o755)
    assert find_server() == str(program)


@pytest.mark.parametrize(("seconds", "period"), [(0.0104, "10ms"), (60.0, "60000ms")])
def test_periods_are_in_milliseconds(seconds: float, period: str) -> None:
    with SimulatedServer(interrupt_every={"traf.top": seconds}) as server:
        process = server_of(supervisor_of(server))
        arguments = Path(f"/proc/{process}/cmdline").read_text(encoding="utf-8").split("\0")
        assert arguments[arguments.index("--interrupt-every") + 1] == f"traf.top={period}"
        assert server.get_register("traf.top", 0) == 0


def test_the_middle_of_a_long_output_is_discarded(tmp_path: Path) -> None:
    program = tmp_path / "talkative"
    program.write_text(
        "#!/bin/sh\necho 'rynveld: listening on 127.0.0.1:1, serving' >&2\nseq 100000 >&2\nexec sleep 1000\n",
        encoding="ascii",
    )
    program.chmod(0o755)
    server: Any = SimulatedServer(program=program)
    with server:
        end = time.monotonic() + DEADLINE
        while not server.output.endswith("100000"):
            assert time.monotonic() < end
            time.sleep(0.01)
        assert server.output.startswith("rynveld: listening")
        assert len(server.output.splitlines()) <= 200
