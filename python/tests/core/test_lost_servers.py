# SPDX-License-Identifier: MIT
"""Servers that are lost, are silent, refuse requests, or do not follow the protocol."""

from __future__ import annotations

import array
import contextlib
import mmap
import signal
import socket
import threading
import time
from collections.abc import Callable
from pathlib import Path
from types import FrameType
from typing import Any

import pytest
from support import (
    DEADLINE,
    ERROR,
    OPEN,
    READ32,
    REQUEST_BYTES,
    WAIT,
    WRITE32,
    Request,
    ScriptedServer,
    descriptors,
    response,
    wait_until,
    word,
)

import rynvel
from rynvel.testing import SimulatedServer

# The time in seconds by which a busy machine may exceed a time-out.
SLACK = 5.0

Operation = Callable[[rynvel.Device], Any]
OPERATIONS: dict[str, Operation] = {
    "read": lambda device: device.read(0),
    "write": lambda device: device.write(0, 1),
    "write with mask": lambda device: device.write(0, 1, mask=1),
    "read_into": lambda device: device.read_into(0, bytearray(2000)),
    "write_from": lambda device: device.write_from(0, bytes(2000)),
    "read_block": lambda device: device.read_block(0, 500),
    "interrupts": lambda device: device.interrupts().__enter__(),
}
each_operation = pytest.mark.parametrize("operation", OPERATIONS.values(), ids=OPERATIONS.keys())


def after_open(answer: Callable[[ScriptedServer, Request, socket.socket], bytes | None]) -> Any:
    """Returns an answer function that answers Open with success, and all other requests with `answer`."""

    def answer_all(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        return response() if request.kind == OPEN else answer(server, request, connection)

    return answer_all


@each_operation
def test_a_lost_connection_is_an_error(operation: Operation) -> None:
    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        return None if is_losing else server.normal_answer(request, connection)

    is_losing = True
    with ScriptedServer(after_open(answer)) as server, server.open() as device:
        with pytest.raises(rynvel.ConnectionLostError, match="^traf.top@127.0.0.1::[0-9]+: "):
            operation(device)
        # From now on, the server would answer a new connection.
        is_losing = False
        if operation is OPERATIONS["interrupts"]:
            # Interrupts use a separate connection.
            assert device.read(0) == 0
            with device.interrupts():
                pass
            return
        count = len(server.kinds())
        for access in OPERATIONS.values():
            if access is not OPERATIONS["interrupts"]:
                with pytest.raises(rynvel.ConnectionLostError):
                    access(device)
        assert len(server.kinds()) == count


@each_operation
def test_a_refusal_is_an_error_and_the_device_stays_usable(operation: Operation) -> None:
    refusing = True

    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        return response(result=ERROR) if refusing else server.normal_answer(request, connection)

    with ScriptedServer(after_open(answer)) as server, server.open() as device:
        with pytest.raises(rynvel.RefusedError, match="^traf.top@127.0.0.1::[0-9]+: "):
            operation(device)
        refusing = False
        device.write(4, 7)
        assert device.read(4) == 7


@each_operation
@pytest.mark.parametrize("sent", [0, 1, 519])
def test_a_silent_server_is_a_time_out(operation: Operation, sent: int) -> None:
    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        connection.sendall(response(5)[:sent])
        server.ended.wait(DEADLINE)
        return None

    with ScriptedServer(after_open(answer)) as server, server.open(timeout=0.2) as device:
        start = time.monotonic()
        with pytest.raises(rynvel.DeviceTimeoutError) as error:
            operation(device)
        assert 0.19 < time.monotonic() - start < SLACK
        assert isinstance(error.value, TimeoutError) and isinstance(error.value, OSError)


def test_a_late_answer_is_not_taken_for_the_next_one() -> None:
    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        if len(server.requests) > 2:
            return server.normal_answer(request, connection)
        time.sleep(0)
        late.wait(DEADLINE)
        return response(99)

    late = threading.Event()
    with ScriptedServer(after_open(answer)) as server, server.open(timeout=0.1) as device:
        with pytest.raises(rynvel.DeviceTimeoutError):
            device.read(0)
        late.set()
        for _ in range(20):
            with pytest.raises((rynvel.ConnectionLostError, rynvel.DeviceTimeoutError)):
                device.read(0)


MALFORMED = {
    "wrong number of values": response(1, 2),
    "no value": response(),
    "too long": response(1, length=129),
    "wrong result": response(1, result=7),
    "two answers": response(1) + response(2),
    "text": b"HTTP/1.1 400 Bad Request\r\n" * 20,
}


@pytest.mark.parametrize("answer", MALFORMED.values(), ids=MALFORMED.keys())
def test_a_malformed_answer_is_an_error(answer: bytes) -> None:
    with ScriptedServer(after_open(lambda server, request, connection: answer)) as server, server.open() as device:
        if answer == MALFORMED["two answers"]:
            # The first read returns its value if the second answer arrives later.
            with contextlib.suppress(rynvel.ConnectionLostError):
                assert device.read(0) == 1
        for _ in range(2):
            with pytest.raises(rynvel.ConnectionLostError):
                device.read(0)


def test_a_value_that_is_too_wide_is_an_error() -> None:
    answer = after_open(lambda server, request, connection: response(0x100))
    with ScriptedServer(answer) as server, server.open(type="Lseek8") as device:
        with pytest.raises(rynvel.ConnectionLostError, match="8 bits"):
            device.read(0)


def test_opening_a_silent_server_is_a_time_out() -> None:
    with socket.create_server(("127.0.0.1", 0)) as listener:
        remote = "127.0.0.1::%d" % listener.getsockname()[1]
        start = time.monotonic()
        with pytest.raises(rynvel.DeviceTimeoutError):
            rynvel.open("x", remote, 0.2, type="Uio32")
        assert 0.19 < time.monotonic() - start < SLACK


def test_long_bursts_have_several_requests() -> None:
    with ScriptedServer() as server, server.open() as device:
        device.write_from(8, array.array("I", range(300)))
        assert [(request.address, request.length) for request in server.requests if request.kind == WRITE32] == [
            (2, 128),
            (130, 128),
            (258, 44),
        ]
        assert device.read_block(8, 300).tolist() == list(range(300))
        assert [request.length for request in server.requests if request.kind == READ32] == [128, 128, 44]
        device.write(0, 5, mask=0xF)
        assert server.requests[-1].mask == 0xF
        count = len(server.requests)
        device.write(0, 5, mask=0)
        assert len(server.requests) == count


def test_threads_share_a_device() -> None:
    wrong: list[object] = []

    def work(device: rynvel.Device, index: int) -> None:
        try:
            for i in range(100):
                device.write(None, i, index=index)
                value = device.read(index=index)
                if value != i:
                    wrong.append((index, i, value))
        except BaseException as error:
            wrong.append(error)

    with SimulatedServer() as server, rynvel.open("traf.top", server.address, 20, type="Uio32") as device:
        threads = [threading.Thread(target=work, args=(device, index)) for index in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(DEADLINE)
            assert not thread.is_alive()
    assert wrong == []


def test_other_threads_run_during_a_request() -> None:
    released = threading.Event()

    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        assert released.wait(DEADLINE)
        return server.normal_answer(request, connection)

    with ScriptedServer(after_open(answer)) as server, server.open() as device:
        thread = threading.Thread(target=device.read, args=(0,))
        thread.start()
        server.wait_for(READ32)
        # This thread would not run if the other thread held the GIL.
        released.set()
        thread.join(DEADLINE)
        assert not thread.is_alive()


def test_a_device_can_be_closed_during_a_request() -> None:
    released = threading.Event()
    results: list[object] = []

    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        released.wait(DEADLINE)
        return response(77)

    with ScriptedServer(after_open(answer)) as server, server.open() as device:
        thread = threading.Thread(target=lambda: results.append(device.read(0)))
        thread.start()
        server.wait_for(READ32)
        device.close()
        released.set()
        thread.join(DEADLINE)
    assert results == [77]


class Alarm:
    """Sends SIGINT to the main thread when a server has received `count` requests of a type."""

    def __init__(self, server: ScriptedServer, kind: int, count: int = 1) -> None:
        self._thread = threading.Thread(target=self._run, args=(server, kind, count))
        self.requests = 0
        """The number of requests that the server had received before the signal."""

    def _run(self, server: ScriptedServer, kind: int, count: int) -> None:
        server.wait_for(kind, count)
        self.requests = len(server.kinds())
        signal.pthread_kill(threading.main_thread().ident or 0, signal.SIGINT)

    def __enter__(self) -> None:
        self._thread.start()

    def __exit__(self, *details: object) -> None:
        self._thread.join(DEADLINE)


@pytest.mark.parametrize("operation", [OPERATIONS["read"], OPERATIONS["write_from"], OPERATIONS["interrupts"]])
def test_ctrl_c_ends_a_request(operation: Operation) -> None:
    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        server.ended.wait(DEADLINE)
        return None

    with ScriptedServer(after_open(answer)) as server, server.open(timeout=1000) as device:
        kind = {"read": READ32, "write_from": WRITE32}.get(next(k for k, v in OPERATIONS.items() if v is operation), WAIT)
        with pytest.raises(KeyboardInterrupt), Alarm(server, kind):
            operation(device)
        if kind != WAIT:
            # Otherwise, the device could read a late answer as the answer to the next request.
            with pytest.raises(rynvel.ConnectionLostError):
                device.read(0)


def test_ctrl_c_ends_a_long_burst_between_its_requests() -> None:
    with ScriptedServer() as server, server.open() as device:
        alarm = Alarm(server, READ32, 5)
        # The whole burst has 131,072 requests.
        with pytest.raises(KeyboardInterrupt), alarm:
            device.read_block(0, 1 << 24)
        assert 0 < alarm.requests <= len(server.kinds()) < alarm.requests + 10000


def test_ctrl_c_ends_the_wait_for_another_thread() -> None:
    released = threading.Event()

    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        released.wait(DEADLINE)
        return server.normal_answer(request, connection)

    with ScriptedServer(after_open(answer)) as server, server.open() as device:
        thread = threading.Thread(target=device.read, args=(0,))
        thread.start()
        with pytest.raises(KeyboardInterrupt), Alarm(server, READ32):
            device.read(4)
        released.set()
        thread.join(DEADLINE)
        assert device.read(0) == 0


def test_a_signal_handler_without_exception_does_not_end_a_request() -> None:
    called: list[int] = []
    released = threading.Event()

    def handle(number: int, frame: FrameType | None) -> None:
        called.append(number)
        with pytest.raises(rynvel.InUseError):
            device.read(8)
        released.set()

    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        released.wait(DEADLINE)
        return response(5)

    previous = signal.signal(signal.SIGINT, handle)
    try:
        with ScriptedServer(after_open(answer)) as server, server.open() as device:
            with Alarm(server, READ32):
                assert device.read(0) == 5
    finally:
        signal.signal(signal.SIGINT, previous)
    assert called == [signal.SIGINT]


@pytest.mark.parametrize(
    ("name", "file", "size"),
    [("file8", "registers8", 1 << 28), ("file32", "registers32", 1 << 26), ("huge", "huge_map", 1 << 30)],
)
def test_ctrl_c_ends_a_long_burst_of_a_local_device(files: Path, name: str, file: str, size: int) -> None:
    (files / file).touch()
    # The file and the buffer are sparse, so only the part that the burst has reached takes memory.
    with (files / file).open("r+b") as registers:
        registers.write(b"\1")
        registers.seek(size - 1)
        registers.write(b"\1")
    buffer = mmap.mmap(-1, size)

    def interrupt() -> None:
        wait_until(lambda: buffer[0] == 1)
        signal.pthread_kill(threading.main_thread().ident or 0, signal.SIGINT)

    thread = threading.Thread(target=interrupt)
    with rynvel.open(name) as device:
        with pytest.raises(KeyboardInterrupt):
            thread.start()
            device.read_into(0, buffer)
        thread.join(DEADLINE)
        # The burst has not reached its end, and the device is still usable.
        assert buffer[size - 1] == 0
        assert device.read(0) == 1


@pytest.mark.parametrize("count", [100, pytest.param(1000, marks=pytest.mark.slow)])
def test_lost_servers_leave_nothing(count: int) -> None:
    def resident() -> int:
        with open("/proc/self/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * 4096

    def lose(servers: int) -> None:
        for _ in range(servers):
            with ScriptedServer(after_open(lambda server, request, connection: None)) as server:
                device = server.open()
                with pytest.raises(rynvel.ConnectionLostError):
                    device.read(0)
                device.close()

    lose(10)
    before, memory = descriptors(), resident()
    lose(count)
    wait_until(lambda: descriptors() == before)
    assert resident() - memory < 4 << 20


def test_requests_have_the_size_of_the_protocol() -> None:
    assert (REQUEST_BYTES, len(response()), len(word(1))) == (660, 520, 4)
