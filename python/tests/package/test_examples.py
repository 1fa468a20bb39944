# SPDX-License-Identifier: MIT
"""The example programs, run as a user runs them."""

from __future__ import annotations

import csv
import subprocess
import sys
from pathlib import Path

from rynvel.testing import SimulatedServer

PROJECT = Path(__file__).resolve().parents[3]
PROGRAM = PROJECT / "python" / "examples" / "production_test.py"
MAPS = PROJECT / "board" / "maps"


def run(*arguments: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [sys.executable, str(PROGRAM), *arguments], capture_output=True, text=True, timeout=60, check=False
    )


def rows_of(file: Path) -> list[dict[str, str]]:
    with file.open(newline="", encoding="utf-8") as lines:
        return list(csv.DictReader(lines))


def test_a_good_device_passes(tmp_path: Path) -> None:
    file = tmp_path / "result.csv"
    with SimulatedServer(maps=MAPS, interrupt_every={"rtc0": 0.02}) as server:
        result = run("--map", str(MAPS), "--remote", server.address, str(file))
        assert server.get_register("rtc0", 0x10) == 1
    assert (result.returncode, result.stderr) == (0, "")
    assert result.stdout.startswith("rtc0: 33 of 33 steps passed in ")
    rows = rows_of(file)
    assert [row["step"] for row in rows] == [*(f"bit {bit}" for bit in range(32)), "interrupt"]
    assert rows[31] == {"step": "bit 31", "expected": str(1 << 31), "found": str(1 << 31), "passed": "True"}


def test_a_device_without_interrupt_fails(tmp_path: Path) -> None:
    file = tmp_path / "result.csv"
    with SimulatedServer(maps=MAPS) as server:
        result = run("--map", str(MAPS), "--remote", server.address, "--timeout", "0.1", str(file))
    assert result.returncode == 1
    assert result.stdout.rstrip().endswith("failed: interrupt")
    assert rows_of(file)[-1]["passed"] == "False"


def test_wrong_arguments_are_errors(tmp_path: Path) -> None:
    file = tmp_path / "result.csv"
    with SimulatedServer(maps=MAPS) as server:
        for arguments, message in (
            (["--remote", ":", str(file)], ":"),
            (["--remote", server.address, "--timeout", "-1", str(file)], "timeout: not a time"),
            (["--remote", server.address, "--timeout", "0", str(tmp_path)], f"{tmp_path}: Is a directory"),
        ):
            result = run("--map", str(MAPS), *arguments)
            assert (result.returncode, result.stdout) == (2, ""), result.stderr
            assert result.stderr.startswith("production_test: ") and message in result.stderr
            assert result.stderr.count("\n") == 1
    assert not file.exists()


def test_a_missing_server_is_an_error(tmp_path: Path) -> None:
    file = tmp_path / "result.csv"
    with SimulatedServer() as server:
        address = server.address
    result = run("--map", str(MAPS), "--remote", address, str(file))
    assert result.returncode == 2
    assert result.stderr.startswith(f"production_test: rtc0@{address}: ")
    assert not file.exists()
