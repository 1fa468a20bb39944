# SPDX-License-Identifier: MIT
"""Waiting for interrupts, in threads and in event loops."""

from __future__ import annotations

import asyncio
import gc
import os
import select
import signal
import socket
import statistics
import threading
import time
import warnings
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from support import (
    DEADLINE,
    DISABLE,
    ENABLE,
    ERROR,
    WAIT,
    Request,
    ScriptedServer,
    descriptors,
    response,
    wait_until,
    word,
)
from test_errors import BAD_TIMEOUTS

import rynvel
from rynvel import _interrupts
from rynvel.testing import SimulatedServer


@pytest.fixture
def server() -> Iterator[ScriptedServer]:
    with ScriptedServer() as each:
        yield each


@pytest.fixture(params=["tcp", "unix"])
def any_server(request: pytest.FixtureRequest, tmp_path: Path) -> Iterator[ScriptedServer]:
    """A server on a TCP port in one run of a test, and on a local socket in another run."""
    with ScriptedServer(path=tmp_path / "socket" if request.param == "unix" else None) as each:
        yield each


def test_an_interrupt_arrives_once(server: ScriptedServer) -> None:
    with server.open() as device, device.interrupts() as irq:
        assert irq.wait(timeout=0) is None
        before = time.time()
        server.raise_interrupt(word(7))
        event = irq.wait(timeout=DEADLINE)
        assert event is not None and (event.device, event.word) == ("traf.top", 7)
        assert before <= event.time <= time.time()
        assert irq.wait(timeout=0.05) is None
        server.raise_interrupt(word(8) + word(9))
        assert [event.word for event in (irq.wait(), irq.wait()) if event] == [8, 9]


def test_interrupts_are_enabled_and_disabled(server: ScriptedServer) -> None:
    with server.open() as device:
        for _ in range(2):
            with device.interrupts() as irq:
                assert server.kinds()[-1] == ENABLE and "enabled" in repr(irq)
                irq.wait(0)
                irq.wait(0)
                # A wait that follows a wait without an interrupt does not enable the interrupt again.
                assert server.kinds().count(ENABLE) == server.kinds().count(WAIT)
            assert server.kinds()[-1] == DISABLE and "disabled" in repr(irq)
            with pytest.raises(rynvel.ClosedError):
                irq.wait(0)
            with pytest.raises(rynvel.ClosedError):
                irq.fileno()


def test_an_interrupt_is_enabled_again_by_the_next_wait(server: ScriptedServer) -> None:
    with server.open() as device, device.interrupts() as irq:
        server.raise_interrupt(word(1))
        assert irq.wait(DEADLINE)
        assert server.kinds().count(ENABLE) == 1
        irq.wait(0)
        assert server.kinds().count(ENABLE) == 2


def test_interrupts_are_disabled_after_an_exception(server: ScriptedServer) -> None:
    with server.open() as device:
        with pytest.raises(ZeroDivisionError), device.interrupts():
            raise ZeroDivisionError
        assert server.kinds()[-1] == DISABLE
        with device.interrupts():
            pass


def test_interrupts_are_disabled_when_the_device_is_closed(server: ScriptedServer) -> None:
    with server.open() as device, device.interrupts() as irq:
        device.close()
        assert server.kinds()[-1] == DISABLE
        with pytest.raises(rynvel.ClosedError):
            irq.wait(0)
    assert server.kinds().count(DISABLE) == 1


def test_interrupts_are_disabled_when_the_objects_are_collected(server: ScriptedServer) -> None:
    device = server.open()
    irq = device.interrupts().__enter__()
    del irq
    gc.collect()
    assert server.kinds()[-1] == DISABLE
    device.close()


def test_interrupts_are_in_use_only_once(server: ScriptedServer) -> None:
    with server.open() as device:
        irq = device.interrupts()
        with irq:
            with pytest.raises(rynvel.InUseError), device.interrupts():
                pass
            with pytest.raises(rynvel.InUseError), irq:
                pass
            server.raise_interrupt(word(3))
            assert irq.wait(DEADLINE)


def test_a_device_without_interrupts_is_an_error(files: Path, server: ScriptedServer) -> None:
    for device in (rynvel.open("file32"), rynvel.open("spi"), server.open(type="Lseek32")):
        with device, pytest.raises(rynvel.UnsupportedError), device.interrupts():
            pass
        with pytest.raises(NotImplementedError):
            raise rynvel.UnsupportedError


def test_a_file_instead_of_a_driver_is_an_error(files: Path) -> None:
    with rynvel.open("map32") as device, pytest.raises(rynvel.DeviceError, match="map32: enabling the interrupt failed"):
        with device.interrupts():
            pass


def test_a_server_that_refuses_interrupts_is_an_error() -> None:
    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        refused = request.kind == refused_kind
        return response(result=ERROR) if refused else server.normal_answer(request, connection)

    for refused_kind in (WAIT, ENABLE):
        with ScriptedServer(answer) as server, server.open() as device:
            before = descriptors()
            with pytest.raises(rynvel.RefusedError), device.interrupts():
                pass
            assert device.read(0) == 0
            wait_until(lambda: descriptors() <= before)
    refused_kind = DISABLE
    with ScriptedServer(answer) as server, server.open() as device:
        with pytest.raises(rynvel.RefusedError), device.interrupts():
            pass
        # The exception of the block takes precedence over the RefusedError, so that the first problem is reported.
        with pytest.raises(ZeroDivisionError), device.interrupts():
            raise ZeroDivisionError


@pytest.mark.parametrize("sent", [0, 1, 3])
@pytest.mark.parametrize("timeout", [0, 0.2])
def test_a_wait_ends_in_time_when_the_server_is_silent(any_server: ScriptedServer, sent: int, timeout: float) -> None:
    with any_server.open(timeout=DEADLINE) as device, device.interrupts() as irq:
        any_server.raise_interrupt(word(5)[:sent])
        start = time.monotonic()
        assert irq.wait(timeout) is None
        elapsed = time.monotonic() - start
        assert timeout - 0.01 <= elapsed < timeout + 1
        assert device.read(0) == 0
        any_server.raise_interrupt(word(5)[sent:])
        event = irq.wait(DEADLINE)
        assert event is not None and event.word == 5


def test_time_outs_are_kept_to_a_tenth_of_a_second(any_server: ScriptedServer) -> None:
    late = []
    with any_server.open(timeout=DEADLINE) as device, device.interrupts() as irq:
        any_server.raise_interrupt(b"\0\0")
        for _ in range(10):
            start = time.monotonic()
            assert irq.wait(0.05) is None
            late.append(time.monotonic() - start - 0.05)
    # A busy machine may delay some of the waits.
    assert statistics.median(late) < 0.1


def test_a_signal_handler_may_close_the_device_in_the_middle_of_a_record(any_server: ScriptedServer) -> None:
    device = any_server.open(timeout=DEADLINE)
    previous = signal.signal(signal.SIGALRM, lambda number, frame: device.close())
    try:
        with device.interrupts() as irq:
            any_server.raise_interrupt(b"\0\0")
            signal.setitimer(signal.ITIMER_REAL, 0.05)
            with pytest.raises(rynvel.ClosedError):
                irq.wait(DEADLINE)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
    assert any_server.kinds()[-1] == DISABLE


def test_a_half_record_does_not_block_the_event_loop(any_server: ScriptedServer) -> None:
    async def main() -> None:
        with any_server.open(timeout=DEADLINE) as device:
            async with device.events() as events:
                waiting = asyncio.ensure_future(anext(events))
                await asyncio.sleep(0)
                any_server.raise_interrupt(word(5)[:2])
                # The task reads the half record during these sleeps.
                for _ in range(10):
                    start = time.monotonic()
                    await asyncio.sleep(0.005)
                    assert time.monotonic() - start < DEADLINE / 4
                assert not waiting.done()
                any_server.raise_interrupt(word(5)[2:])
                assert (await waiting).word == 5

    run(main())


@pytest.mark.parametrize("data", [b"", b"\0\0"])
def test_a_wait_ends_when_the_connection_is_lost(any_server: ScriptedServer, data: bytes) -> None:
    with any_server.open() as device:
        with pytest.raises(rynvel.ConnectionLostError), device.interrupts() as irq:
            any_server.raise_interrupt(data)
            any_server.drop_connections()
            irq.wait()


def test_bad_time_outs_are_value_errors(server: ScriptedServer) -> None:
    with server.open() as device, device.interrupts() as irq:
        for timeout in BAD_TIMEOUTS:
            with pytest.raises(ValueError, match="timeout"):
                irq.wait(timeout)
        wrong: Any
        for wrong in ("1", b"", [], 1j):
            with pytest.raises(TypeError):
                irq.wait(wrong)
        server.raise_interrupt(word(1) * 3)
        assert irq.wait(10**9) and irq.wait(1e9) and irq.wait(timeout=None)


def test_ctrl_c_ends_a_wait(server: ScriptedServer) -> None:
    with server.open() as device, device.interrupts() as irq:

        def interrupt() -> None:
            wait_until_in_use(irq)
            signal.pthread_kill(threading.main_thread().ident or 0, signal.SIGINT)

        thread = threading.Thread(target=interrupt)
        with pytest.raises(KeyboardInterrupt):
            thread.start()
            wait_again_if_in_use(irq)
        thread.join(DEADLINE)
        server.raise_interrupt(word(1))
        assert irq.wait(DEADLINE)


def wait_again_if_in_use(irq: rynvel.Interrupts) -> object:
    """Waits for an interrupt. Tries again while wait_until_in_use() waits in another thread."""
    while True:
        try:
            return irq.wait()
        except rynvel.InUseError:
            continue


def start_waiting(irq: rynvel.Interrupts, results: list[object]) -> threading.Thread:
    def wait() -> None:
        try:
            results.append(wait_again_if_in_use(irq))
        except BaseException as error:
            results.append(error)

    thread = threading.Thread(target=wait)
    thread.start()
    return thread


def wait_until_in_use(irq: rynvel.Interrupts) -> None:
    end = time.monotonic() + DEADLINE
    while time.monotonic() < end:
        try:
            irq.wait(0)
        except rynvel.InUseError:
            return
    raise AssertionError("the other thread does not wait")


def test_closing_the_device_ends_the_wait_of_another_thread(server: ScriptedServer) -> None:
    for closes_device in (True, False):
        results: list[object] = []
        with server.open() as device, device.interrupts() as irq:
            thread = start_waiting(irq, results)
            wait_until_in_use(irq)
            if closes_device:
                device.close()
            else:
                irq.__exit__(None, None, None)
            thread.join(DEADLINE)
            assert not thread.is_alive()
        assert [type(each) for each in results] == [rynvel.ClosedError]
        assert server.kinds()[-1] == DISABLE


def test_ctrl_c_ends_closing_that_waits_for_another_thread() -> None:
    released = threading.Event()

    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        if request.kind == ENABLE and server.kinds().count(ENABLE) == 2:
            released.wait(DEADLINE)
        return server.normal_answer(request, connection)

    results: list[object] = []
    with ScriptedServer(answer) as server:
        device = server.open(timeout=DEADLINE)
        irq = device.interrupts().__enter__()
        server.raise_interrupt(word(1))
        assert irq.wait(DEADLINE)
        thread = start_waiting(irq, results)
        server.wait_for(ENABLE, 2)

        def interrupt() -> None:
            # close() releases the GIL while it waits for the other thread.
            wait_until(lambda: device.closed)
            signal.pthread_kill(threading.main_thread().ident or 0, signal.SIGINT)

        interrupter = threading.Thread(target=interrupt)
        with pytest.raises(KeyboardInterrupt):
            interrupter.start()
            device.close()
        assert thread.is_alive() and not released.is_set()
        interrupter.join(DEADLINE)
        released.set()
        thread.join(DEADLINE)
        assert [type(each) for each in results] == [rynvel.ClosedError]
        # Another call of close() completes what the interrupted call has begun.
        assert server.kinds().count(DISABLE) == 0
        device.close()
        assert server.kinds().count(DISABLE) == 1
        irq.__exit__(None, None, None)
        assert server.kinds().count(DISABLE) == 1


def test_registers_can_be_used_during_a_wait(server: ScriptedServer) -> None:
    results: list[object] = []
    with server.open() as device, device.interrupts() as irq:
        thread = start_waiting(irq, results)
        wait_until_in_use(irq)
        device.write(0, 5)
        assert device.read(0) == 5
        server.raise_interrupt(word(6))
        thread.join(DEADLINE)
    assert isinstance(results[0], rynvel.Event) and results[0].word == 6


def test_the_descriptor_can_be_polled(any_server: ScriptedServer) -> None:
    with any_server.open() as device, device.interrupts() as irq:
        assert select.select([irq], [], [], 0) == ([], [], [])
        any_server.raise_interrupt(word(6)[:2])
        # A part of a record makes the descriptor readable. The wait receives this part, but returns no interrupt.
        assert select.select([irq], [], [], DEADLINE) == ([irq], [], [])
        assert irq.wait(0) is None
        assert select.select([irq], [], [], 0) == ([], [], [])
        any_server.raise_interrupt(word(6)[2:])
        assert select.select([irq], [], [], DEADLINE) == ([irq], [], [])
        event = irq.wait(0)
        assert event is not None and event.word == 6


def test_a_real_server_reports_each_interrupt_once() -> None:
    with SimulatedServer() as server, rynvel.open("traf.top", server.address, 20, type="Uio32") as device:
        for _ in range(2):
            with device.interrupts() as irq:
                for number in range(10):
                    server.raise_interrupt("traf.top", number)
                    event = irq.wait(DEADLINE)
                    assert event is not None and event.word == number
                assert irq.wait(0.05) is None


def run(coroutine: Any) -> Any:
    async def limited() -> Any:
        return await asyncio.wait_for(coroutine, DEADLINE)

    with warnings.catch_warnings():
        warnings.simplefilter("error")
        return asyncio.run(limited(), debug=True)


def test_events_can_be_iterated(server: ScriptedServer) -> None:
    async def collect() -> list[int]:
        words = []
        with server.open() as device:
            async for event in device.events():
                words.append(event.word)
                if len(words) == 3:
                    break
                server.raise_interrupt(word(len(words)))
        return words

    async def main() -> list[int]:
        task = asyncio.create_task(collect())
        while ENABLE not in server.kinds():
            await asyncio.sleep(0.001)
        server.raise_interrupt(word(0))
        return await task

    assert run(main()) == [0, 1, 2]
    assert server.kinds()[-1] == DISABLE


def test_events_of_a_closed_device_are_an_error(server: ScriptedServer) -> None:
    async def main() -> None:
        device = server.open()
        events = device.events()
        device.close()
        with pytest.raises(rynvel.ClosedError):
            device.events()
        with pytest.raises(rynvel.ClosedError):
            await anext(events)
        with pytest.raises(StopAsyncIteration):
            await anext(events)

    run(main())


def test_a_second_task_gets_an_error_and_does_not_disturb_the_first(server: ScriptedServer) -> None:
    async def main() -> None:
        with server.open() as device:
            events = device.events()
            first = asyncio.ensure_future(anext(events))
            await asyncio.sleep(0)
            with pytest.raises(rynvel.InUseError, match="another task"):
                await anext(events)
            with pytest.raises(rynvel.InUseError):
                await anext(device.events())
            server.raise_interrupt(word(4))
            assert (await first).word == 4
            await events.aclose()

    run(main())


class CountingLoop(asyncio.SelectorEventLoop):
    """An event loop that counts the descriptors that it watches."""

    readers = 0

    def add_reader(self, fd: Any, callback: Any, *args: Any) -> None:
        self.readers += 1
        super().add_reader(fd, callback, *args)

    def remove_reader(self, fd: Any) -> bool:
        self.readers -= 1
        return super().remove_reader(fd)


def test_a_canceled_task_leaves_no_reader(server: ScriptedServer) -> None:
    loop = CountingLoop()

    async def main() -> None:
        with server.open() as device:
            events = device.events()
            for _ in range(2):
                task = asyncio.ensure_future(anext(events))
                while loop.readers == 0:
                    await asyncio.sleep(0)
                task.cancel()
                (outcome,) = await asyncio.gather(task, return_exceptions=True)
                assert type(outcome).__name__.startswith("Cancel")
                assert loop.readers == 0
                assert server.kinds()[-1] == DISABLE
                events = device.events()
            with pytest.raises(asyncio.TimeoutError):
                await asyncio.wait_for(anext(events), 0.05)
            assert loop.readers == 0
            # The device remains usable.
            async with device.events() as events:
                waiting = asyncio.ensure_future(anext(events))
                await asyncio.sleep(0)
                server.raise_interrupt(word(8))
                assert (await waiting).word == 8

    try:
        loop.run_until_complete(asyncio.wait_for(main(), DEADLINE))
    finally:
        loop.close()


def test_an_exception_has_precedence_over_a_failure_to_disable() -> None:
    def answer(server: ScriptedServer, request: Request, connection: socket.socket) -> bytes | None:
        return response(result=ERROR) if request.kind == DISABLE else server.normal_answer(request, connection)

    async def main(server: ScriptedServer) -> None:
        with server.open() as device:
            task = asyncio.ensure_future(anext(device.events()))
            await asyncio.sleep(0)
            task.cancel()
            (outcome,) = await asyncio.gather(task, return_exceptions=True)
            assert type(outcome).__name__.startswith("Cancel")
            with pytest.raises(asyncio.TimeoutError):
                await asyncio.wait_for(anext(device.events()), 0.05)
            with pytest.raises(ZeroDivisionError):
                async with device.events() as events:
                    server.armed.clear()
                    raising = asyncio.ensure_future(anext(events))
                    await asyncio.sleep(0)
                    server.raise_interrupt(word(1))
                    await raising
                    raise ZeroDivisionError
            # If the block raises no exception, the refusal to disable the interrupt does.
            with pytest.raises(rynvel.RefusedError):
                async with device.events() as events:
                    server.armed.clear()
                    raising = asyncio.ensure_future(anext(events))
                    await asyncio.sleep(0)
                    server.raise_interrupt(word(1))
                    await raising

    with ScriptedServer(answer) as server:
        run(main(server))
        assert server.kinds().count(DISABLE) == 4


def test_the_end_of_a_wait_leaves_the_readers_of_other_files(server: ScriptedServer) -> None:
    async def main() -> None:
        loop = asyncio.get_running_loop()
        device = server.open()
        waiting = asyncio.ensure_future(anext(device.events()))
        await asyncio.sleep(0)
        used = set(os.listdir("/proc/self/fd"))
        device.close()
        # The system assigns the lowest free descriptors, which include those that the device has closed.
        pairs = [socket.socketpair() for _ in range(4)]
        ends = {end.fileno(): end for pair in pairs for end in pair}
        assert used & {str(number) for number in ends}
        called: set[int] = set()
        for number in ends:
            loop.add_reader(number, called.add, number)
        with pytest.raises(rynvel.ClosedError):
            await waiting
        for end in ends.values():
            end.send(b"x")
        await asyncio.sleep(0.01)
        for number, end in ends.items():
            assert loop.remove_reader(number)
            end.close()
        assert called == set(ends)

    run(main())


def test_closing_the_device_ends_an_iteration_with_an_error(server: ScriptedServer) -> None:
    async def main() -> None:
        device = server.open()
        waiting = asyncio.ensure_future(anext(device.events()))
        await asyncio.sleep(0)
        device.close()
        with pytest.raises(rynvel.ClosedError):
            await waiting

    run(main())


def test_aclose_ends_the_iteration_of_another_task(server: ScriptedServer) -> None:
    async def iterate(events: rynvel.Events) -> list[int]:
        return [event.word async for event in events]

    async def main() -> list[int]:
        with server.open() as device:
            events = device.events()
            task = asyncio.create_task(iterate(events))
            await asyncio.sleep(0)
            server.raise_interrupt(word(5))
            while server.kinds().count(ENABLE) < 2:
                await asyncio.sleep(0.001)
            await events.aclose()
            await events.aclose()
            return await task

    assert run(main()) == [5]


def test_a_file_that_an_event_loop_cannot_watch_is_an_error(tmp_path: Path) -> None:
    with (tmp_path / "file").open("wb") as file, pytest.raises(rynvel.UnsupportedError, match="in a thread"):
        run(_interrupts._readable((file.fileno(), file.fileno())))


def test_a_loop_that_is_closed_during_a_wait(server: ScriptedServer) -> None:
    loop = asyncio.new_event_loop()
    device = server.open()
    task = loop.create_task(anext(device.events()))
    loop.run_until_complete(asyncio.sleep(0))
    loop.close()
    unraisable: list[object] = []
    with pytest.MonkeyPatch.context() as patch:
        patch.setattr("sys.unraisablehook", unraisable.append)
        # The loop reports a pending task that is destroyed.
        loop.set_exception_handler(lambda loop, context: None)
        del task
        gc.collect()
    assert unraisable == []
    assert server.kinds()[-1] == DISABLE
    device.close()


def test_several_devices_in_one_loop() -> None:
    async def first_word(server: ScriptedServer) -> int:
        with server.open() as device:
            async for event in device.events():
                return event.word
        raise AssertionError

    async def main(servers: list[ScriptedServer]) -> list[int]:
        tasks = [asyncio.create_task(first_word(server)) for server in servers]
        for number, server in enumerate(servers):
            while ENABLE not in server.kinds():
                await asyncio.sleep(0.001)
            server.raise_interrupt(word(number))
        return list(await asyncio.gather(*tasks))

    with ScriptedServer() as one, ScriptedServer() as two, ScriptedServer() as three:
        assert run(main([one, two, three])) == [0, 1, 2]
