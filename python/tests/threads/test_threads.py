# SPDX-License-Identifier: MIT
"""Programs with threads that share devices, with the thread sanitizer."""

from __future__ import annotations

import os
import re
import subprocess
from collections.abc import Iterator
from pathlib import Path

import pytest

FOLDER = Path(__file__).resolve().parent
BUILD = Path(os.environ["SANITIZED_BUILD"])
SECONDS = os.environ.get("RYNVEL_STRESS_SECONDS", "10")
STATUS_OF_A_RACE = 66
TRACE = re.compile(r"\d{4}-\d{2}-\d{2}T[\d:.]+Z \d+ Rynvel\.\w+ \d ")

# Two threads call a function with a data race. ctypes releases the GIL for the call.
RACE = """
import ctypes, sys, threading
count = ctypes.CDLL(sys.argv[1]).count
threads = [threading.Thread(target=count) for _ in range(2)]
for thread in threads: thread.start()
for thread in threads: thread.join()
"""


def run(folder: Path, *arguments: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        # With address randomization, the sanitizer may fail to map its shadow memory.
        ["setarch", "--addr-no-randomize", "/usr/bin/python3", *arguments],
        capture_output=True,
        text=True,
        timeout=600,
        cwd=folder,
        env={
            **os.environ,
            "LD_PRELOAD": f"{os.environ['SANITIZER']}:{BUILD / 'python' / 'clocklock.so'}",
            "PYTHONPATH": str(BUILD / "python_tests"),
            "TSAN_OPTIONS": f"exitcode={STATUS_OF_A_RACE} suppressions={FOLDER / 'suppressions'}",
            "ZILTRACE": "*=0",
        },
        check=False,
    )


@pytest.fixture
def server() -> Iterator[str]:
    """The address of a server that simulates the devices of the board."""
    program = [os.environ["RYNVELD"], "--simulate", "--listen", "127.0.0.1:0", "--interrupt-every", "rtc0=10ms"]
    with subprocess.Popen(program, stderr=subprocess.PIPE, text=True) as process:
        try:
            assert process.stderr is not None
            line = process.stderr.readline()
            found = re.search(r"127\.0\.0\.1:(\d+)", line)
            assert found is not None, line
            yield f"127.0.0.1::{found[1]}"
        finally:
            process.terminate()


@pytest.fixture
def folder(tmp_path: Path) -> Path:
    for name in ("registers8", "registers16", "registers32", "map"):
        (tmp_path / name).write_bytes(bytes(4096))
    return tmp_path


def test_the_sanitizer_reports_a_race(tmp_path: Path) -> None:
    result = run(tmp_path, "-c", RACE, str(BUILD / "python" / "race.so"))
    assert result.returncode == STATUS_OF_A_RACE, result.stderr
    assert "WARNING: ThreadSanitizer: data race" in result.stderr


def test_threads_share_devices(folder: Path, server: str) -> None:
    result = run(folder, str(FOLDER / "stress.py"), SECONDS, server)
    # A trace that a thread writes while a subscription ends may go to standard error.
    others = [line for line in result.stderr.splitlines() if not TRACE.match(line)]
    assert (result.returncode, others) == (0, []), result.stdout + result.stderr
