# SPDX-License-Identifier: MIT
"""Devices of a server, and servers that misbehave."""

from __future__ import annotations

import os
import signal
import socket
import struct
import threading
import time
from collections.abc import Iterator
from contextlib import contextmanager
from typing import Any

import numpy
import pytest

import rynvel


def open_clock(server: str, kind: str = "Uio32") -> rynvel.Device:
    return rynvel.open("rtc0", remote=server, timeout=10, type=kind)


class Peer:
    """A server that answers as many requests as it is told, and then is silent or closes the connection."""

    def __init__(self, answers: int, closes: bool = False, interrupt: bytes = b"") -> None:
        self._answers = answers
        self._closes = closes
        self._interrupt = interrupt
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self._listener.getsockname()[1]
        self._connections: list[socket.socket] = []
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self) -> None:
        while True:
            try:
                connection = self._listener.accept()[0]
            except OSError:
                return
            self._connections.append(connection)
            threading.Thread(target=self._answer, args=(connection,), daemon=True).start()

    def _answer(self, connection: socket.socket) -> None:
        try:
            while request := connection.recv(660, socket.MSG_WAITALL):
                if self._answers == 0:
                    if self._closes:
                        connection.close()
                        return
                    continue
                self._answers -= 1
                kind = struct.unpack(">I", request[:4])[0]
                length = struct.unpack(">I", request[648:652])[0] if kind in (2, 3, 4) else 0
                connection.sendall(struct.pack(">i128II", 0, *range(128), length))
                if kind == 12:
                    connection.sendall(self._interrupt)
        except OSError:
            pass

    def close(self) -> None:
        self._listener.close()
        for connection in self._connections:
            connection.close()


@contextmanager
def peer(answers: int, **options: Any) -> Iterator[str]:
    each = Peer(answers, **options)
    try:
        yield each.address
    finally:
        each.close()


def test_registers_of_a_server(server: str) -> None:
    with open_clock(server) as device:
        assert (device.kind, device.width, device.remote) == ("Uio32", 32, server.replace(":", "::"))
        device.write(8, 0x12345678)
        assert device.read(8) == device.read(index=2) == 0x12345678
        device.write(8, 0xFFFF, mask=0x0F0F)
        assert device.read(8) == 0x12345F7F
        values = numpy.arange(300, dtype=numpy.uint32)
        device.write_from(0, values)
        assert device.read_block(0, 300).tolist() == values.tolist()
        assert numpy.asarray(device.read_block(0, 300, byteorder="network")).tolist() == values.tolist()
        device.write_from(0, values.astype(">u4").tobytes(), byteorder="network")
        assert device.read(4) == 1
        with pytest.raises(rynvel.AlignmentError):
            device.read(2)
        with pytest.raises(rynvel.RefusedError):
            device.read(4096)
        with pytest.raises(rynvel.ValueTooWideError):
            device.write(0, 2**32)
        assert device.read(4) == 1


def test_devices_that_the_server_does_not_have(server: str) -> None:
    with pytest.raises(rynvel.RefusedError):
        rynvel.open("nothing", remote=server, type="Uio32")
    with pytest.raises(rynvel.UnknownDeviceError, match="type="):
        rynvel.open("rtc0", remote=server)
    with pytest.raises(ValueError, match="not a device type"):
        rynvel.open("rtc0", remote=server, type="Uio64")
    for name in ("a\nb", "x" * 128):
        with pytest.raises(rynvel.UnknownDeviceError):
            rynvel.open(name, remote=server, type="Uio32")


@pytest.mark.parametrize("address", ["", "a:b", "host:0", "host:65536", ":1", "a b", "1:2:3", "a\0b", "\ud800"])
def test_refuses_what_is_no_address(address: str) -> None:
    with pytest.raises(ValueError):
        rynvel.open("map32", remote=address)


def test_interrupts_of_a_server(server: str) -> None:
    with open_clock(server) as device:
        with device.interrupts() as interrupts:
            for _ in range(3):
                event = interrupts.wait(20)
                assert event is not None and event.device == "rtc0"
                assert isinstance(device.read(0), int)
        with device.interrupts() as interrupts:
            assert interrupts.wait(20) is not None


def test_a_silent_server_is_a_time_out_and_the_device_stays_unusable() -> None:
    with peer(0) as address, pytest.raises(rynvel.DeviceTimeoutError):
        rynvel.open("rtc0", remote=address, timeout=0.05, type="Uio32")
    with peer(1) as address:
        device = rynvel.open("rtc0", remote=address, timeout=0.05, type="Uio32")
        with pytest.raises(TimeoutError):
            device.read(0)
        with pytest.raises(rynvel.ConnectionLostError):
            device.read(0)
        device.close()


def test_a_lost_server_is_a_lost_connection() -> None:
    with peer(2, closes=True) as address:
        with rynvel.open("rtc0", remote=address, type="Uio32") as device:
            assert device.read(0) == 0
            with pytest.raises(ConnectionError):
                device.read(0)


@pytest.mark.parametrize("part", [b"", b"\0", b"\0\0\0"])
def test_a_wait_ends_in_time_if_the_server_is_silent_within_a_record(part: bytes) -> None:
    with peer(1000, interrupt=part) as address:
        with rynvel.open("rtc0", remote=address, timeout=10, type="Uio32") as device:
            with device.interrupts() as interrupts:
                begin = time.monotonic()
                assert interrupts.wait(0.2) is None
                assert interrupts.wait(0.2) is None
                # Far below the time-out of an answer, which would apply to a record that has begun.
                assert time.monotonic() - begin < 5
                assert device.read(0) == 0


def test_ctrl_c_ends_an_exchange() -> None:
    with peer(1) as address:
        with rynvel.open("rtc0", remote=address, timeout=60, type="Uio32") as device:
            main = threading.main_thread().ident
            assert main is not None
            timer = threading.Timer(0.2, signal.pthread_kill, (main, signal.SIGINT))
            timer.start()
            with pytest.raises(KeyboardInterrupt):
                device.read(0)
            timer.join()
            with pytest.raises(rynvel.ConnectionLostError):
                device.read(0)


def test_threads_share_a_connection(server: str) -> None:
    errors: list[BaseException] = []
    with open_clock(server) as device:
        def work(place: int) -> None:
            try:
                for value in range(50):
                    device.write(place, value)
                    if device.read(place) != value:
                        raise AssertionError(place)
            except BaseException as error:
                errors.append(error)

        threads = [threading.Thread(target=work, args=(4 * i,)) for i in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    assert not errors


def test_opens_and_lost_servers_leak_no_descriptor(server: str) -> None:
    def open_often(times: int) -> None:
        for _ in range(times):
            with open_clock(server) as device:
                device.read(0)

    open_often(5)
    before = len(os.listdir("/proc/self/fd"))
    open_often(300)
    unused = socket.create_server(("127.0.0.1", 0))
    address = "127.0.0.1:%d" % unused.getsockname()[1]
    unused.close()
    for _ in range(1000):
        with pytest.raises(rynvel.ConnectionLostError):
            rynvel.open("rtc0", remote=address, type="Uio32")
    assert len(os.listdir("/proc/self/fd")) == before
