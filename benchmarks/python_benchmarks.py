# SPDX-License-Identifier: MIT
"""Measures the Python package, and writes medians of processor times in the CSV format of the other benchmarks.

A read of a mapped device is compared with the call of an empty function of pybind11 with the same argument. A burst is
compared with the burst of the C interface, into the same buffer.

Usage: python_benchmarks.py [--second-thread] REPETITIONS RESULTS.csv
PYTHONPATH must contain the folder of the package and of the module python_baselines. RYNVEL_LIBRARY is the path of the
library. The package and the library contain the device table of the benchmarks.
"""

from __future__ import annotations

import ctypes
import os
import random
import statistics
import sys
import threading
import time
from array import array
from collections.abc import Callable
from timeit import Timer

import python_baselines
import rynvel

# The descriptor and the size in bytes of the memory file that devices.def names as /proc/self/fd/200.
REGISTERS_DESCRIPTOR = 200
REGISTERS_BYTES = 0x10000
SHORTEST_SECONDS = 0.02

# A function that performs an operation the given number of times, and returns the total processor time in seconds.
Measurement = Callable[[int], float]


def make_registers() -> None:
    file = os.memfd_create("registers")
    os.ftruncate(file, REGISTERS_BYTES)
    os.dup2(file, REGISTERS_DESCRIPTOR)
    os.close(file)


def statement(text: str, **names: object) -> Measurement:
    return Timer(text, timer=time.process_time, globals=names).timeit


def ctypes_read() -> Measurement:
    library = ctypes.CDLL(os.environ["RYNVEL_LIBRARY"])
    library.Rynvel_open.argtypes = [ctypes.c_char_p]
    library.Rynvel_read32.argtypes = [ctypes.c_int, ctypes.c_uint32, ctypes.POINTER(ctypes.c_uint32)]
    handle = library.Rynvel_open(b"mapped32")
    if handle == -1:
        sys.exit("python_benchmarks.py: mapped32: ctypes cannot open the device")
    value = ctypes.c_uint32()
    return statement(
        "value.value if read(handle, 0, reference) == 0 else fail()",
        read=library.Rynvel_read32,
        handle=handle,
        reference=ctypes.byref(value),
        value=value,
    )


def c_bursts(buffer: array[int]) -> Measurement:
    def measure(repetitions: int) -> float:
        start = time.process_time()
        python_baselines.read_bursts(buffer, repetitions)
        return time.process_time() - start

    return measure


def benchmarks(device: rynvel.Device) -> dict[str, Measurement]:
    buffer = array("I", bytes(4 * 1024))
    return {
        "python_read/empty": statement("empty(0)", empty=python_baselines.empty),
        "python_read/package": statement("read(0)", read=device.read),
        "python_read/ctypes": ctypes_read(),
        "python_burst_read/library/1024": c_bursts(buffer),
        "python_burst_read/package/1024": statement("read_into(0, buffer)", read_into=device.read_into, buffer=buffer),
    }


def sufficient_repetitions(measure: Measurement) -> int:
    repetitions = 100
    while measure(repetitions) < SHORTEST_SECONDS:
        repetitions *= 2
    return repetitions


def main() -> None:
    second_thread = sys.argv[1:2] == ["--second-thread"]
    if len(sys.argv) != 3 + second_thread:
        sys.exit((__doc__ or "").splitlines()[5])
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    if second_thread:
        threading.Thread(target=threading.Event().wait, daemon=True).start()
    make_registers()
    with rynvel.open("mapped32") as device:
        measurements = benchmarks(device)
        counts = {name: sufficient_repetitions(measure) for name, measure in measurements.items()}
        rounds = [name for name in measurements for _ in range(int(sys.argv[-2]))]
        random.shuffle(rounds)
        times: dict[str, list[float]] = {name: [] for name in measurements}
        for name in rounds:
            times[name].append(measurements[name](counts[name]) / counts[name] * 1e9)
    with open(sys.argv[-1], "w", encoding="utf-8") as results:
        for name, values in times.items():
            # The time is a processor time, which ratios.awk reads from the fourth column.
            print(f'"{name}_median",{len(values)},,{statistics.median(values):.3f},ns', file=results)


main()
