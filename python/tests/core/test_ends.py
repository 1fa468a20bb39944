# SPDX-License-Identifier: MIT
"""Forked processes, the end of the interpreter, and leaks."""

from __future__ import annotations

import socket
from pathlib import Path

import pytest
from support import (
    DEADLINE,
    DISABLE,
    ENABLE,
    OPEN,
    READ32,
    WAIT,
    Request,
    ScriptedServer,
    run_python,
    run_successfully,
    word,
)

FORKED = """
    import gc, os, sys, rynvel
    devices = [rynvel.open("map32"), rynvel.open("file8"), rynvel.open("x", sys.argv[1], 20, type="Uio32")]
    remote = devices[2]
    irq = remote.interrupts()
    irq.__enter__()
    child = os.fork()
    if child == 0:
        status = 0
        def expect_forked(call):
            global status
            try:
                call()
            except rynvel.ForkedError as error:
                assert isinstance(error, rynvel.ClosedError) and "fork" in str(error), error
            else:
                status += 1
        for device in devices:
            status += not device.closed
            expect_forked(lambda: device.read(0))
            expect_forked(lambda: device.write(0, 1))
            expect_forked(lambda: device.read_into(0, bytearray(4)))
            expect_forked(lambda: device.read_block(0, 1))
            expect_forked(lambda: device.events())
        expect_forked(lambda: irq.wait(0))
        expect_forked(lambda: irq.fileno())
        irq.__exit__(None, None, None)
        remote.close()
        del device, devices, remote, irq
        gc.collect()
        # The child can open its own devices.
        with rynvel.open("map32") as own:
            own.write(0, 5)
        {end}
    assert os.waitpid(child, 0)[1] == 0
    assert devices[0].read(0) == 5 and devices[1].read(0) == 0 and remote.read(0) == 0
    print("enabled", irq.wait(20).word)
    irq.__exit__(None, None, None)
    for device in devices:
        device.close()
"""


@pytest.mark.parametrize("end", ["os._exit(status)", "sys.exit(status)"])
def test_a_forked_child_does_not_disturb_the_devices_of_its_parent(files: Path, end: str) -> None:
    def answer(server: ScriptedServer, request, connection):  # type: ignore[no-untyped-def]
        reply = server.normal_answer(request, connection)
        if request.kind == READ32:
            server.raise_interrupt(word(8))
        return reply

    with ScriptedServer(answer) as server:
        assert run_successfully(FORKED.format(end=end), server.address) == "enabled 8\n"
        # The child process has sent nothing.
        assert server.kinds() == [OPEN, OPEN, WAIT, ENABLE, READ32, DISABLE]


def test_a_fork_during_operations_of_other_threads(files: Path) -> None:
    script = """
        import os, sys, threading, rynvel
        ended = threading.Event()
        remote = rynvel.open("x", sys.argv[1], 20, type="Uio32")
        burst = rynvel.open("burst")
        def work(device):
            while not ended.is_set():
                device.read(0)
                device.read_block(0, 2000)
        threads = [threading.Thread(target=work, args=(device,)) for device in (remote, burst)]
        for thread in threads:
            thread.start()
        for _ in range(30):
            child = os.fork()
            if child == 0:
                try:
                    remote.read(0)
                except rynvel.ForkedError:
                    with rynvel.open("burst") as own:
                        own.read(0)
                    os._exit(0)
                os._exit(1)
            assert os.waitpid(child, 0)[1] == 0
        ended.set()
        for thread in threads:
            thread.join()
        remote.close()
        burst.close()
    """
    with ScriptedServer() as server:
        assert run_successfully(script, server.address) == ""


ENDS = {
    "open devices": "",
    "devices in a cycle": "loop = [devices]; loop.append(loop); sys.devices = loop",
    "daemon thread in a wait": "start(irq.wait)",
    "daemon thread in a request": "start(forever(lambda: devices[2].read(0)))",
    "daemon threads in all devices": "[start(forever(lambda: device.read_block(0, 1000))) for device in devices]",
    "daemon thread that opens devices": "start(forever(lambda: rynvel.open('burst').close()))",
    "daemon thread with a warning": "start(forever(lambda: rynvel.open('burst')))",
    "exit handler": "atexit.register(lambda: devices[0].read(0))",
    "exception": "raise SystemExit(3)",
    "event loop": "loop = asyncio.new_event_loop(); task = loop.create_task(other())\nloop.run_until_complete(asyncio.sleep(0.01))",
    "signal": "os.kill(os.getpid(), signal.SIGUSR1)",
}
STATUS = {"exception": 3}

# While the slow finalizer sleeps at the end of the interpreter, a daemon thread waits for the GIL, which it never
# receives. Then another finalizer uses the object that the thread is using. The thread must not use a global name of
# the program: otherwise, the interpreter runs no finalizers.
SLOW_ENDS = {
    "generator with interrupts": "generator = use(); start(next(generator).wait)",
    "finalizer that closes a device during a wait": "closing = Closing(devices[2]); start(irq.wait)",
    "finalizer that closes a device during a request": "closing = Closing(devices[2]); start(devices[2].read, 4)",
    "finalizer that uses a device during a request": "using = Using(devices[2]); start(devices[2].read, 4)",
    "finalizer that closes a device during the enabling": (
        "closing = Closing(devices[2]); devices[2].read(8); irq.wait(20); start(irq.wait)"
    ),
}

ENDING = """
import asyncio, atexit, os, signal, sys, threading, time, warnings
import rynvel
warnings.simplefilter("ignore")
signal.signal(signal.SIGUSR1, lambda number, frame: sys.exit(0))
devices = [rynvel.open("map32"), rynvel.open("burst"), rynvel.open("x", sys.argv[1], 20, type="Uio32")]
irq = devices[2].interrupts()
irq.__enter__()
started = threading.Event()
async def other():
    device = rynvel.open("y", sys.argv[1], 20, type="Uio32")
    async for event in device.events():
        pass
def forever(call):
    def run():
        while True:
            call()
    return run
def start(target, *arguments):
    threading.Thread(target=target, args=arguments, daemon=True).start()
    time.sleep(0.01)
def use():
    with rynvel.open("z", sys.argv[1], 20, type="Uio32") as device, device.interrupts() as interrupts:
        yield interrupts
class Owner:
    def __init__(self, device):
        self.device = device
class Closing(Owner):
    def __del__(self):
        self.device.close()
class Using(Owner):
    def __del__(self):
        self.device.read(0)
class Slow:
    def __del__(self, sleep=time.sleep):
        sleep(0.25)
{end}
"""


def ends(end: str, server: ScriptedServer) -> int:
    """Runs a program to its end. Returns its exit status."""
    result = run_python(ENDING.format(end=end), server.address, seconds=DEADLINE)
    assert "Fatal" not in result.stderr and "Segmentation" not in result.stderr, result.stderr
    return result.returncode


@pytest.mark.parametrize("name", ENDS)
def test_the_interpreter_ends(files: Path, name: str) -> None:
    with ScriptedServer() as server:
        assert [ends(ENDS[name], server) for _ in range(3)] == [STATUS.get(name, 0)] * 3


@pytest.mark.parametrize("end", SLOW_ENDS.values(), ids=SLOW_ENDS.keys())
def test_the_interpreter_ends_after_slow_finalizers(files: Path, end: str) -> None:
    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        is_silent = request.kind == READ32 and request.address == 1
        enables = [each for each in server.requests if (each.kind, each.name) == (ENABLE, "x")]
        enables_again = request.kind == ENABLE and len(enables) == 2
        if is_silent or enables_again:
            server.ended.wait(DEADLINE)
        reply = server.normal_answer(request, connection)
        if request.kind == READ32 and request.address == 2:
            server.raise_interrupt(word(8))
        return reply

    with ScriptedServer(answer) as server:
        # The names that begin with an underscore are finalized first.
        assert ends("_slow = Slow(); " + end, server) == 0


LEAKS = """
    import gc, os, sys, rynvel

    def resident():
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * 4096

    def descriptors():
        return len(os.listdir("/proc/self/fd"))

    remote = sys.argv[1]
    buffer = bytearray(4096)

    def open_and_close():
        with rynvel.open("map32") as device:
            device.read(0)
        with rynvel.open("x", remote, 20, type="Uio32") as device:
            with device.interrupts():
                pass
        for name in ("nothing", "missing", "torn"):
            try:
                with rynvel.open(name) as device:
                    device.read(4096)
            except rynvel.Error:
                pass

    local = rynvel.open("map32")
    served = rynvel.open("x", remote, 20, type="Uio32")

    def access():
        for device in (local, served):
            device.write(0, 0xFFFFFFFF, mask=0xFFFF0000)
            device.read_into(0, buffer)
            device.read_block(0, 300, byteorder="network").tobytes()
            device.write_from(0, buffer)
            for wrong in (1, -1, 1 << 40):
                try:
                    device.read(wrong)
                except rynvel.Error:
                    pass
        for _ in range(1000):
            local.read(0)
            local.write(4, 1 << 31)

    def measure(work, count):
        for _ in range(count // 10):
            work()
        gc.collect()
        memory, files = resident(), descriptors()
        for _ in range(count):
            work()
        gc.collect()
        assert descriptors() == files, "descriptors leak"
        assert resident() - memory < 1 << 20, resident() - memory

    measure(open_and_close, int(sys.argv[2]))
    measure(access, int(sys.argv[3]))
    local.close()
    served.close()
    print("no leak")
"""


def test_nothing_leaks(files: Path) -> None:
    with ScriptedServer() as server:
        assert run_successfully(LEAKS, server.address, "300", "100") == "no leak\n"


@pytest.mark.slow
def test_nothing_leaks_after_many_operations(files: Path) -> None:
    """Opens and closes local and remote devices 10,000 times, and reads more than a million times."""
    with ScriptedServer() as server:
        result = run_python(LEAKS, server.address, "10000", "1000", seconds=1800)
    assert (result.returncode, result.stdout, result.stderr) == (0, "no leak\n", "")
