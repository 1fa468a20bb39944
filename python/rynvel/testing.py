# SPDX-License-Identifier: MIT
"""Simulated devices for the tests of programs that use this package.

SimulatedServer runs the real register server on this machine with devices in memory:

    with SimulatedServer(maps="board/maps") as server:
        with server.open("rtc0") as clock:
            clock.write(0x10, 1)
"""

from __future__ import annotations

import contextlib
import errno
import os
import shutil
import signal
import socket
import struct
import subprocess
import threading
import time
from collections.abc import Mapping, Sequence
from pathlib import Path
from types import TracebackType
from typing import IO, TYPE_CHECKING

from ._errors import Error, MissingFileError, quoted
from ._registers import MapPaths, integer_of, list_of_paths, map_paths

if TYPE_CHECKING:
    from ._device import Device

__all__ = ["ServerError", "SimulatedServer", "find_server"]

# A script that runs the server until standard input contains a line or ends. Standard input also ends if this process
# is killed. The script then terminates the server, and kills the server if it does not end within about 2 seconds.
_SUPERVISOR = """
"$@" &
server=$!
exec 2>/dev/null
read -r _
kill $server
pause=0.01
tries=0
while kill -0 $server && [ $tries -lt 40 ]; do
    [ $tries -lt 20 ] || pause=0.1
    sleep $pause
    tries=$((tries + 1))
done
kill -9 $server
wait $server
"""
_END_SECONDS = 20.0
_KEPT_LINES = 200

# The layouts of requests and responses, which docs/protocol.md describes.
_REQUEST = struct.Struct(">I128sI128IIII")
_RESPONSE = struct.Struct(">I128II")
_OPEN, _DEBUG = 0, 13
_HOST_ORDER = 1


class ServerError(Error, RuntimeError):
    """The simulation server does not start, has ended, or does not do what a test asks for."""


def find_server() -> str:
    """Returns the path of rynveld: $RYNVELD, the build folder of this package, or the first one on the PATH.

    Searches /usr/local/sbin and /usr/sbin after the PATH.

    Raises MissingFileError if there is none.
    """
    given = os.environ.get("RYNVELD")
    if given:
        return given
    built = Path(__file__).resolve().parents[2] / "server" / "rynveld"
    if built.is_file():
        return str(built)
    folders = os.pathsep.join([os.environ.get("PATH", os.defpath), "/usr/local/sbin", "/usr/sbin"])
    found = shutil.which("rynveld", path=folders)
    if found is None:
        raise MissingFileError(
            "rynveld: not found (build or install it, or set RYNVELD to its path)", errno=errno.ENOENT
        )
    return found


def _texts(parameter: str, texts: Sequence[str]) -> list[str]:
    """Returns a list of texts. Raises TypeError for a single text, which is also a sequence of texts."""
    if isinstance(texts, (str, bytes)) or not all(isinstance(text, str) for text in texts):
        raise TypeError(f"{parameter}: not a sequence of texts (give a list)")
    return list(texts)


class _Deadline:
    def __init__(self, seconds: float) -> None:
        self._end = time.monotonic() + seconds

    def left(self) -> float:
        return max(0.0, self._end - time.monotonic())


class _Output:
    """The text that a program writes to standard error. A thread reads the text, so that the program does not block."""

    def __init__(self, stream: IO[bytes]) -> None:
        self._stream = stream
        self._lines: list[str] = []
        self._has_ended = False
        self._changed = threading.Condition()
        self._thread = threading.Thread(target=self._collect, name="rynveld output", daemon=True)
        self._thread.start()

    def text(self) -> str:
        with self._changed:
            return "\n".join(self._lines)

    def wait_for(self, prefix: str, deadline: _Deadline) -> str | None:
        """Returns the rest of the first line with a prefix; None if the output ends or the deadline passes before."""
        with self._changed:
            self._changed.wait_for(lambda: self._has_ended or self._find(prefix) is not None, deadline.left())
            return self._find(prefix)

    def join(self, deadline: _Deadline) -> None:
        self._thread.join(deadline.left())

    def _find(self, prefix: str) -> str | None:
        return next((line[len(prefix) :] for line in self._lines if line.startswith(prefix)), None)

    def _collect(self) -> None:
        with self._stream:
            for line in self._stream:
                with self._changed:
                    self._lines.append(line.decode("utf-8", "replace").rstrip("\n"))
                    # Keeps the first lines, which contain the address, and the last ones.
                    if len(self._lines) > _KEPT_LINES:
                        del self._lines[_KEPT_LINES // 2]
                    self._changed.notify_all()
        with self._changed:
            self._has_ended = True
            self._changed.notify_all()


class SimulatedServer:
    """A rynveld with simulated devices, on a free port of this machine. Use it in a `with` block.

    Each simulated device of the device table has 4096 bytes of registers, which are 0 or, with register maps, behave as
    the maps describe them. The server ends at the end of the block, or when this process and all processes that
    it has forked have ended.

    maps: register maps, files or folders; open() also uses them.
    devices: the names of the devices to serve; an empty list for all devices.
    interrupt_every: device names, and the seconds between two interrupts of the device.
    faults: faults of rynveld's option --fault, such as "delay=500ms:10".
    options: more options of rynveld.
    program: the path of rynveld; see find_server().
    timeout: the time-out in seconds for the start of the server, and for each answer to a request.
    """

    def __init__(
        self,
        *,
        maps: MapPaths | None = None,
        devices: Sequence[str] = (),
        interrupt_every: Mapping[str, float] | None = None,
        faults: Sequence[str] = (),
        options: Sequence[str] = (),
        program: str | os.PathLike[str] | None = None,
        timeout: float = 10.0,
    ) -> None:
        self._maps = [os.fsdecode(path) for path in map_paths(list_of_paths("maps", maps))]
        self._program = os.fspath(program) if program is not None else find_server()
        self._timeout = timeout
        self._arguments = [
            *(word for path in self._maps for word in ("--map", path)),
            *(word for name in _texts("devices", devices) for word in ("--device", name)),
            *(word for fault in _texts("faults", faults) for word in ("--fault", fault)),
            *(
                word
                for name, seconds in (interrupt_every or {}).items()
                for word in ("--interrupt-every", f"{name}={round(seconds * 1000)}ms")
            ),
            *_texts("options", options),
        ]
        self._process: subprocess.Popen[bytes] | None = None
        self._output: _Output | None = None
        self._address: tuple[str, int] | None = None

    def start(self) -> SimulatedServer:
        """Starts the server and waits until it listens. Raises ServerError with the server's output if it does not."""
        if self._process is not None:
            raise ServerError("rynveld: the server is already running")
        command = [self._program, "--simulate", "--listen", "127.0.0.1:0", *self._arguments]
        deadline = _Deadline(self._timeout)
        try:
            self._process = subprocess.Popen(
                ["/bin/sh", "-c", _SUPERVISOR, "rynveld", *command],
                stdin=subprocess.PIPE,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.PIPE,
                start_new_session=True,
            )
            assert self._process.stderr is not None
            self._output = _Output(self._process.stderr)
            listening = self._output.wait_for("rynveld: listening on ", deadline)
            if listening is None:
                raise self._failure("does not start")
            host, port = listening.split(",")[0].rsplit(":", 1)
            self._address = (host, int(port))
        except BaseException:
            self.close()
            raise
        return self

    def close(self) -> None:
        """Ends the server. Does nothing if the server is not running. Raises ServerError if it does not end."""
        process, self._process = self._process, None
        self._address = None
        if process is None:
            return
        assert process.stdin is not None
        deadline = _Deadline(_END_SECONDS)
        try:
            # Writes a line, because a forked process may keep the pipe open after this process has closed it.
            with contextlib.suppress(BrokenPipeError), process.stdin:
                process.stdin.write(b"\n")
            process.wait(deadline.left())
        except subprocess.TimeoutExpired:
            self._kill(process)
            raise self._failure(f"does not end within {_END_SECONDS:g} s") from None
        except BaseException:
            self._kill(process)
            raise
        finally:
            if self._output is not None:
                self._output.join(deadline)

    @staticmethod
    def _kill(process: subprocess.Popen[bytes]) -> None:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()

    def __enter__(self) -> SimulatedServer:
        return self if self._process is not None else self.start()

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<SimulatedServer {self.address if self._address else 'not running'}>"

    @property
    def host(self) -> str:
        """The address of the machine: 127.0.0.1."""
        return self._running()[0]

    @property
    def port(self) -> int:
        """The port that the system has chosen."""
        return self._running()[1]

    @property
    def address(self) -> str:
        """The address as HOST::PORT, for rynvel.open(remote=...)."""
        host, port = self._running()
        return f"{host}::{port}"

    @property
    def output(self) -> str:
        """The lines that the server has written to standard error: at most the first 100 and the last 100."""
        return self._output.text() if self._output is not None else ""

    def open(self, name: str, *, timeout: float | None = None, map: MapPaths | None = None) -> Device:
        """Opens a device of the server, with the register maps of the server unless you give others."""
        import rynvel

        paths = map if map is not None else (self._maps or None)
        return rynvel.open(
            name, remote=self.address, timeout=self._timeout if timeout is None else timeout, map=paths
        )

    def get_register(self, name: str, address: int) -> int:
        """Reads the register at a byte address as a client does, and returns its value."""
        with self.open(name) as device:
            return device.read(address)

    def set_register(self, name: str, address: int, value: int, *, mask: int | None = None) -> None:
        """Writes a register as a client does. With a register map, the server does not change read-only bits."""
        with self.open(name) as device:
            if mask is None:
                device.write(address, value)
            else:
                device.write(address, value, mask=mask)

    def raise_interrupt(self, name: str, word: int | None = None) -> None:
        """Raises the interrupt of a device. If the interrupt is disabled, it stays pending.

        word: the interrupt word; without it, the number of interrupts raised so far.

        Raises ServerError if the device has no interrupt, or if the server does not serve it.
        """
        if not isinstance(name, str):
            raise TypeError(f"the name of a device is text, not {type(name).__name__}")
        if word is not None:
            word = integer_of(word, f"{name}: the interrupt word")
        if word is not None and not 0 <= word < 1 << 32:
            raise ValueError(f"{name}: the interrupt word does not fit in 32 bits")
        deadline = _Deadline(self._timeout)
        try:
            with socket.create_connection(self._running(), timeout=deadline.left()) as connection:
                self._request(connection, deadline, _OPEN, name, [])
                self._request(connection, deadline, _DEBUG, name, [] if word is None else [word])
        except OSError as error:
            raise self._failure(f"does not raise the interrupt of {name}: {error}") from None

    def _request(
        self, connection: socket.socket, deadline: _Deadline, kind: int, name: str, values: Sequence[int]
    ) -> None:
        words = [*values, *[0] * (128 - len(values))]
        try:
            encoded = name.encode("ascii")
        except UnicodeEncodeError:
            encoded = b""
        if not 0 < len(encoded) < 128 or b"\0" in encoded:
            raise ServerError(f"{quoted(name)} is not the name of a device")
        connection.settimeout(max(deadline.left(), 0.001))
        connection.sendall(_REQUEST.pack(kind, encoded, 0, *words, len(values), _HOST_ORDER, 0))
        answer = b""
        while len(answer) < _RESPONSE.size:
            connection.settimeout(max(deadline.left(), 0.001))
            part = connection.recv(_RESPONSE.size - len(answer))
            if not part:
                raise self._failure("has closed the connection")
            answer += part
        if _RESPONSE.unpack(answer)[0] != 0:
            raise self._failure(
                f"does not serve {name}" if kind == _OPEN else f"does not simulate an interrupt of {name}"
            )

    def _running(self) -> tuple[str, int]:
        if self._address is None:
            raise ServerError("rynveld: the server is not running (use it in a with block, or call start())")
        return self._address

    def _failure(self, problem: str) -> ServerError:
        output = self.output
        return ServerError(f"rynveld {problem}" + (f" (its output: {output})" if output else " (it wrote no output)"))
