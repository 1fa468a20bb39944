#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Production test of the real-time clock.

Writes a sweep of values to the match register and reads each one back, waits for an interrupt, and stores the results
in a CSV file. The exit status is 0 if the device passes, 1 if it fails, and 2 if it cannot be tested.

    production_test.py --map board/maps --remote 10.0.0.7 result.csv
"""

from __future__ import annotations

import argparse
import csv
import sys
import time
from collections.abc import Iterator, Sequence
from typing import NamedTuple

import rynvel


class Result(NamedTuple):
    """A row of the CSV file."""

    step: str
    expected: int
    found: int
    passed: bool


def sweep(device: rynvel.Device) -> Iterator[Result]:
    """Sets each bit of the match register in turn, and reads the register back."""
    register = device.regs.RTCMR
    for bit in range(device.width):
        register.write(1 << bit)
        found = register.read()
        yield Result(f"bit {bit}", 1 << bit, int(found), found == 1 << bit)


def interrupt(device: rynvel.Device, timeout: float) -> Result:
    """Waits for one interrupt."""
    device.regs.RTCIMSC.RTCIMSC = "unmasked"
    with device.interrupts() as interrupts:
        event = interrupts.wait(timeout)
    return Result("interrupt", 1, int(event is not None), event is not None)


def test(device: rynvel.Device, timeout: float) -> list[Result]:
    return [*sweep(device), interrupt(device, timeout)]


def store(results: Sequence[Result], path: str) -> None:
    with open(path, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file)
        writer.writerow(Result._fields)
        writer.writerows(results)


def main(arguments: Sequence[str] | None = None) -> int:
    parser = argparse.ArgumentParser(description="Test the real-time clock of a board.")
    parser.add_argument("file", help="the CSV file for the results")
    parser.add_argument("--device", default="rtc0", help="the device (default: rtc0)")
    parser.add_argument("--remote", help="the server of the device, HOST or HOST::PORT")
    parser.add_argument("--map", help="the file of the register map, or a folder of register maps")
    parser.add_argument("--timeout", type=float, default=5.0, help="the seconds to wait for the interrupt (default: 5)")
    options = parser.parse_args(arguments)

    start = time.monotonic()
    try:
        with rynvel.open(options.device, remote=options.remote, map=options.map) as device:
            results = test(device, options.timeout)
    except (rynvel.Error, ValueError) as error:
        # A ValueError reports an invalid argument, such as the server or the time-out.
        print(f"production_test: {error}", file=sys.stderr)
        return 2
    try:
        store(results, options.file)
    except OSError as error:
        print(f"production_test: {options.file}: {error.strerror}", file=sys.stderr)
        return 2
    failed = [result.step for result in results if not result.passed]
    print(f"{options.device}: {len(results) - len(failed)} of {len(results)} steps passed", end=" ")
    print(f"in {time.monotonic() - start:.1f} s" + (f", failed: {', '.join(failed)}" if failed else ""))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
