# SPDX-License-Identifier: MIT
"""Device files and a register server for the tests of rynvel._core."""

from __future__ import annotations

import os
import socket
import struct
import subprocess
import sys
import textwrap
import threading
import time
from collections.abc import Callable
from pathlib import Path
from types import TracebackType
from typing import NamedTuple

import rynvel

DEADLINE = 20.0
MAP_BYTES = 4096
FILE_BYTES = 1024
BURST_BYTES = 4194304

_REQUEST = struct.Struct(">I128sI128IIII")
REQUEST_BYTES = _REQUEST.size
RESPONSE_BYTES = 520
(OPEN, CLOSE, READ8, READ16, READ32, WRITE8, WRITE16, WRITE32) = range(8)
GET_TYPE, ENABLE, DISABLE, WAIT = 9, 10, 11, 12
ERROR = 0xFFFFFFFF


def make_files(folder: Path) -> None:
    """Creates the files of devices.def."""
    for name in ("registers8", "registers16", "registers32"):
        (folder / name).write_bytes(bytes(FILE_BYTES))
    (folder / "map").write_bytes(bytes(MAP_BYTES))
    with (folder / "burst_map").open("wb") as file:
        file.truncate(BURST_BYTES)


def descriptors() -> int:
    return len(os.listdir("/proc/self/fd"))


def wait_until(condition: Callable[[], bool]) -> None:
    end = time.monotonic() + DEADLINE
    while not condition():
        assert time.monotonic() < end, "the condition has not become true in time"
        time.sleep(0.001)


def run_python(script: str, *arguments: str, seconds: float = 4 * DEADLINE) -> subprocess.CompletedProcess[str]:
    """Runs a program in a new interpreter with the same module search path."""
    return subprocess.run(
        [sys.executable, "-X", "faulthandler", "-W", "error::ResourceWarning", "-c", textwrap.dedent(script), *arguments],
        capture_output=True,
        text=True,
        timeout=seconds,
        env={**os.environ, "PYTHONPATH": os.pathsep.join(path for path in sys.path if path)},
        check=False,
    )


def run_successfully(script: str, *arguments: str) -> str:
    """Runs a program that must succeed and write nothing to standard error. Returns its output."""
    result = run_python(script, *arguments)
    assert (result.returncode, result.stderr) == (0, ""), result.stdout + result.stderr
    return result.stdout


class Request(NamedTuple):
    kind: int
    name: str
    address: int
    values: tuple[int, ...]
    length: int
    order: int
    mask: int


def response(*values: int, result: int = 0, length: int | None = None) -> bytes:
    words = (*values, *[0] * (128 - len(values)))
    return struct.pack(">I128II", result, *words, len(values) if length is None else length)


def word(number: int) -> bytes:
    return struct.pack(">I", number)


Answer = Callable[["ScriptedServer", Request, socket.socket], "bytes | None"]


class ScriptedServer:
    """A register server whose answers a test determines.

    `answer` returns the answer to a request, or None to end the connection. The function may also write to the
    connection itself. Without `answer`, the server answers with `normal_answer`, from registers in memory. With
    `path`, the server listens on a local socket with this path; otherwise, on a TCP port that the system chooses.
    """

    def __init__(self, answer: Answer | None = None, path: Path | None = None) -> None:
        self._answer = answer
        self.registers: dict[int, int] = {}
        self.requests: list[Request] = []
        self.armed: list[socket.socket] = []
        self.changed = threading.Condition()
        self.ended = threading.Event()
        self._connections: list[socket.socket] = []
        self._threads: list[threading.Thread] = []
        if path is None:
            self._listener = socket.create_server(("127.0.0.1", 0))
            self.address = "127.0.0.1::%d" % self._listener.getsockname()[1]
        else:
            self._listener = socket.socket(socket.AF_UNIX)
            self._listener.bind(str(path))
            self._listener.listen()
            self.address = f"unix:{path}"
        self._acceptor = threading.Thread(target=self._accept, daemon=True)
        self._acceptor.start()

    def __enter__(self) -> ScriptedServer:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.ended.set()
        # Ends accept(), which close() does not.
        self._listener.shutdown(socket.SHUT_RDWR)
        self._acceptor.join(DEADLINE)
        self._listener.close()
        self.drop_connections()
        for thread in self._threads:
            thread.join(DEADLINE)
            assert not thread.is_alive()

    def open(self, name: str = "traf.top", timeout: float = DEADLINE, type: str | None = "Uio32") -> rynvel.Device:
        return rynvel.open(name, remote=self.address, timeout=timeout, type=type)

    def drop_connections(self) -> None:
        with self.changed:
            connections, self._connections = self._connections, []
        for connection in connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def kinds(self) -> list[int]:
        with self.changed:
            return [request.kind for request in self.requests]

    def wait_for(self, kind: int, count: int = 1) -> None:
        """Waits until the server has received `count` requests of a type."""
        with self.changed:
            reached = self.changed.wait_for(lambda: self.kinds_locked().count(kind) >= count, DEADLINE)
            assert reached, f"{count} requests of type {kind} have not arrived"

    def kinds_locked(self) -> list[int]:
        return [request.kind for request in self.requests]

    def raise_interrupt(self, data: bytes) -> None:
        """Sends data to the armed connections."""
        for connection in self.armed:
            try:
                connection.sendall(data)
            except OSError:
                # The client has disarmed the connection.
                pass

    def normal_answer(self, request: Request, connection: socket.socket) -> bytes:
        if request.kind in (READ8, READ16, READ32):
            first = request.address
            return response(*(self.registers.get(first + i, 0) for i in range(request.length)))
        if request.kind in (WRITE8, WRITE16, WRITE32):
            for i, value in enumerate(request.values[: request.length]):
                old = self.registers.get(request.address + i, 0)
                mask = request.mask or 0xFFFFFFFF
                self.registers[request.address + i] = (old & ~mask) | (value & mask)
        if request.kind == WAIT:
            self.armed.append(connection)
        return response()

    def _accept(self) -> None:
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            with self.changed:
                self._connections.append(connection)
            thread = threading.Thread(target=self._serve, args=(connection,), daemon=True)
            self._threads.append(thread)
            thread.start()

    def _serve(self, connection: socket.socket) -> None:
        with connection:
            try:
                while data := connection.recv(REQUEST_BYTES, socket.MSG_WAITALL):
                    if len(data) < REQUEST_BYTES or not self._handle(data, connection):
                        return
            except OSError:
                # The test or the client has dropped the connection.
                return

    def _handle(self, data: bytes, connection: socket.socket) -> bool:
        kind, name, address, *values, length, order, mask = _REQUEST.unpack(data)
        request = Request(kind, name.rstrip(b"\0").decode(), address, tuple(values), length, order, mask)
        with self.changed:
            self.requests.append(request)
            self.changed.notify_all()
        if self._answer is None:
            reply: bytes | None = self.normal_answer(request, connection)
        else:
            reply = self._answer(self, request, connection)
        if reply is None:
            return False
        connection.sendall(reply)
        return True
