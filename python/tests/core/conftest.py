# SPDX-License-Identifier: MIT
"""Devices whose files are in a temporary working folder, a driver with interrupts, and a register server."""

from __future__ import annotations

import os
import re
import socket
import struct
import subprocess
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from support import make_files

if "fake_driver" not in os.environ.get("LD_PRELOAD", ""):
    pytest.exit("start these tests with python/tests/core/run", returncode=4)


@pytest.fixture(autouse=True)
def folder(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    """The working folder. The bytes of the device files are 0 to 255, repeated; all bytes of burst_map are 0."""
    monkeypatch.chdir(tmp_path)
    contents = bytes(range(256)) * 16
    for name in ("registers8", "registers16", "registers32", "map"):
        (tmp_path / name).write_bytes(contents)
    (tmp_path / "burst_map").write_bytes(bytes(4194304))
    return tmp_path


@pytest.fixture
def files(folder: Path) -> Path:
    """The working folder, with device files whose registers are 0."""
    make_files(folder)
    return folder


class Driver:
    """The kernel's side of the UIO device 'uio'."""

    def __init__(self, end: socket.socket) -> None:
        self._end = end
        self._end.setblocking(False)

    def raise_interrupt(self, count: int) -> None:
        self._end.send(struct.pack("=I", count))

    def controls(self) -> list[int]:
        """Returns what the program has written since the last call: 1 enables the interrupt, 0 disables it."""
        written = []
        while True:
            try:
                written.append(struct.unpack("=i", self._end.recv(4))[0])
            except (BlockingIOError, struct.error):
                return written


@pytest.fixture
def driver(folder: Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[Driver]:
    attributes = folder / "sysfs" / "uio7" / "maps" / "map0"
    attributes.mkdir(parents=True)
    (attributes / "offset").write_text("0x0\n")
    (attributes / "size").write_text("0x1000\n")
    (folder / "uio_link").symlink_to("uio7")
    inner, outer = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    monkeypatch.setenv("RYNVEL_FAKE_SYSFS", str(folder / "sysfs"))
    monkeypatch.setenv("RYNVEL_FAKE_DRIVER", str(inner.fileno()))
    with inner, outer:
        yield Driver(outer)


@pytest.fixture(scope="session")
def server() -> Iterator[str]:
    """The address of a server that simulates the devices of the board."""
    process = subprocess.Popen(
        [os.environ["RYNVELD"], "--listen", "127.0.0.1:0", "--simulate", "--interrupt-every", "rtc0=50ms"],
        stderr=subprocess.PIPE,
        text=True,
        env={name: value for name, value in os.environ.items() if name != "LD_PRELOAD"},
    )
    assert process.stderr is not None
    line = process.stderr.readline()
    found = re.search(r"127\.0\.0\.1:+(\d+)", line)
    assert found is not None, line
    yield f"127.0.0.1:{found[1]}"
    process.terminate()
    process.stderr.close()
    process.wait(10)


def run_program(text: str) -> subprocess.CompletedProcess[str]:
    """Runs a Python program in the working folder, and returns its exit status and outputs."""
    driver = os.environ.get("RYNVEL_FAKE_DRIVER")
    return subprocess.run(
        [sys.executable, "-X", "faulthandler", "-c", text],
        capture_output=True,
        text=True,
        timeout=60,
        pass_fds=[] if driver is None else [int(driver)],
    )


def calls(*functions: Callable[[], object]) -> tuple[Callable[[], object], ...]:
    """Returns the functions as a tuple of one type, whatever the types of their results are."""
    return functions
