# SPDX-License-Identifier: MIT
"""Threads that share devices: registers, bursts, interrupts, traces, and devices that are opened and closed.

Usage: stress.py SECONDS [ADDRESS_OF_A_SERVER]
The devices are files in the working folder.
"""

from __future__ import annotations

import sys
import threading
import time
from collections.abc import Callable

import rynvel

SECONDS = float(sys.argv[1])
failures: list[BaseException] = []
counts: dict[str, int] = {}


def repeat(name: str, operation: Callable[[], object]) -> None:
    """Repeats an operation, at least once."""
    count = 0
    end = time.monotonic() + SECONDS
    try:
        while count == 0 or time.monotonic() < end:
            operation()
            count += 1
    except BaseException as error:
        failures.append(error)
    counts[name] = count


def open_and_close(name: str) -> None:
    with rynvel.open(name) as device:
        device.read(0)


def trace() -> None:
    with rynvel.trace("Rynvel.*", 7, sink=lambda record: None):
        time.sleep(0.001)


class Replaced:
    """A device that one thread closes and opens again while other threads use it."""

    def __init__(self, name: str) -> None:
        self._name = name
        self._device = rynvel.open(name)

    def replace(self) -> None:
        old, self._device = self._device, rynvel.open(self._name)
        old.close()

    def use(self) -> None:
        try:
            self._device.read_into(0, bytearray(1024))
        except rynvel.ClosedError:
            pass

    def close(self) -> None:
        self._device.close()


def operations(device: rynvel.Device) -> dict[str, Callable[[], object]]:
    name = f"{device.name}@{device.remote}"
    size = device.width // 8
    return {
        f"{name} read": lambda: device.read(0),
        f"{name} write": lambda: device.write(size, 1, mask=1),
        f"{name} read_into": lambda: device.read_into(0, bytearray(256 * size)),
        f"{name} write_from": lambda: device.write_from(0, bytes(64 * size)),
        f"{name} properties": lambda: (device.closed, repr(device)),
    }


def waits(device: rynvel.Device) -> Callable[[], object]:
    def wait() -> None:
        with device.interrupts() as interrupts:
            for _ in range(10):
                interrupts.wait(timeout=0.005)

    return wait


def main() -> int:
    devices = [rynvel.open(name) for name in ("map32", "map16", "file8", "file32")]
    replaced = [Replaced("map32"), Replaced("file16")]
    work: dict[str, Callable[[], object]] = {"opens": lambda: open_and_close("map32"), "traces": trace}
    for shared in replaced:
        work[f"replace {shared}"] = shared.replace
        work[f"use {shared}"] = shared.use
    if len(sys.argv) > 2:
        devices.append(rynvel.open("rtc0", remote=sys.argv[2], type="Uio32", timeout=60))
        work["waits"] = waits(devices[-1])
    for device in devices:
        work.update(operations(device))
    threads = [threading.Thread(target=repeat, args=item) for item in work.items()]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for device in devices:
        device.close()
    for shared in replaced:
        shared.close()
    for failure in failures:
        print(repr(failure))
    print(f"{len(threads)} threads, {sum(counts.values())} operations, at least {min(counts.values())} of a kind")
    return 1 if failures else 0


sys.exit(main())
