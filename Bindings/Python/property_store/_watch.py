# SPDX-License-Identifier: MIT
"""Changes of values, for loops, threads and coroutines."""

from __future__ import annotations

import asyncio
import select
import time
from dataclasses import dataclass
from types import TracebackType
from typing import Optional

from . import _library
from ._errors import ClosedError, PropertyTimeoutError
from ._values import PropertyData, Value


@dataclass(frozen=True)
class Change:
    """Of one value."""

    place: Value
    #: What it was changed to; of a removed one, its default.
    value: PropertyData
    removed: bool

    @property
    def path(self) -> str:
        return self.place.path

    @property
    def record(self) -> Optional[int]:
        return self.place.record

    @property
    def device(self) -> str:
        return self.place.device


class Watch:
    """Queues changes from its making on; of changes of one value that wait, the last is kept.

    Iterating waits for changes, and ends when none has come for `timeout` seconds or the watch is
    closed. Asynchronous iterating does the same in the running loop, for one task at a time.
    Changes go to whoever takes them first.
    """

    def __init__(self, handle: _library.Handle, timeout: Optional[float]) -> None:
        _library.milliseconds(timeout)
        self._handle = handle
        self._timeout = timeout
        self._awaited = False

    def fileno(self) -> int:
        """Readable while changes wait or the watch is closed; for waiting only."""
        return int(_library.answer("watch_descriptor", self._handle))

    def take(self) -> Optional[Change]:
        """The oldest change that waits, or None. Raises ClosedError."""
        try:
            handle = _library.new_handle("change", "watch_next", self._handle, 0)
        except PropertyTimeoutError:
            return None
        place = Value(_library.new_handle("value", "change_value", handle))
        removed = _library.answer("change_removed", handle) != 0
        return Change(place, place._read("change", handle), removed)

    def next(self, timeout: Optional[float] = None) -> Change:
        """Waits for a change. Raises PropertyTimeoutError and ClosedError."""
        _library.milliseconds(timeout)
        end = None if timeout is None else time.monotonic() + timeout
        ready = select.poll()
        ready.register(self.fileno(), select.POLLIN)
        while True:
            change = self.take()
            if change is not None:
                return change
            left = None if end is None else max(0.0, end - time.monotonic())
            if not ready.poll(_library.milliseconds(left)):
                raise PropertyTimeoutError(f"nothing has changed within {timeout} s")

    def close(self) -> None:
        """Ends all iterating, in every thread, too."""
        _library.call("watch_stop", self._handle)

    def __enter__(self) -> Watch:
        return self

    def __exit__(
        self,
        kind: Optional[type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __iter__(self) -> Watch:
        return self

    def __next__(self) -> Change:
        try:
            return self.next(self._timeout)
        except (PropertyTimeoutError, ClosedError):
            raise StopIteration from None

    def __aiter__(self) -> Watch:
        return self

    async def __anext__(self) -> Change:
        try:
            change = self.take()
            while change is None:
                await asyncio.wait_for(self._readable(), self._timeout)
                change = self.take()
            return change
        except (asyncio.TimeoutError, ClosedError):
            raise StopAsyncIteration from None

    async def _readable(self) -> None:
        if self._awaited:
            raise RuntimeError("another task waits for the next change of this watch")
        loop = asyncio.get_running_loop()
        ready: asyncio.Future[None] = loop.create_future()
        descriptor = self.fileno()
        self._awaited = True
        loop.add_reader(descriptor, lambda: ready.done() or ready.set_result(None))
        try:
            await ready
        finally:
            loop.remove_reader(descriptor)
            self._awaited = False
