# SPDX-License-Identifier: MIT
"""What has become of changes."""

from __future__ import annotations

import ctypes
import time
from dataclasses import dataclass
from typing import Callable, Optional

from . import _library
from ._errors import NotFoundError, PropertyTimeoutError, RefusedError
from ._values import Value

_SLICE = 0.25  # seconds of a call; between two of them the interpreter handles signals


def wait_in_slices(wait: Callable[[int], None], timeout: Optional[float]) -> None:
    """Waits for milliseconds, again and again until that does not end in a time-out, or `timeout`
    seconds have passed."""
    end = None if timeout is None else time.monotonic() + timeout
    while True:
        left = _SLICE if end is None else min(_SLICE, max(0.0, end - time.monotonic()))
        try:
            wait(_library.milliseconds(left))
            return
        except PropertyTimeoutError:
            if end is not None and time.monotonic() >= end:
                raise


@dataclass(frozen=True)
class Refusal:
    """Of one set or one transaction."""

    reason: str
    #: What it is about, and the stored text that the server holds, where a conflict names it.
    values: tuple[tuple[Value, Optional[str]], ...]


class Receipt:
    """Stands for changes that this process has sent. For every thread."""

    def __init__(self, handle: _library.Handle) -> None:
        self._handle = handle

    def wait(self, timeout: Optional[float] = None) -> None:
        """Returns when the server has stored the changes. Raises RefusedError when it has refused
        some, PropertyTimeoutError when that is not known after so many seconds, ClosedError and
        UnknownError."""
        _library.milliseconds(timeout)
        try:
            wait_in_slices(lambda left: _library.call("receipt_wait", self._handle, left), timeout)
        except RefusedError as error:
            error.refusals = self.refusals
            raise

    @property
    def refusals(self) -> list[Refusal]:
        """Empty before a wait has ended."""
        count = ctypes.c_size_t()
        _library.call("refusal_count", self._handle, ctypes.byref(count), None)
        return [self._refusal_at(index) for index in range(count.value)]

    def _refusal_at(self, index: int) -> Refusal:
        reason = ctypes.c_char_p()
        _library.call("refusal_reason", self._handle, index, ctypes.byref(reason))
        values: list[tuple[Value, Optional[str]]] = []
        while True:
            try:
                values.append(self._value_at(index, len(values)))
            except NotFoundError:
                return Refusal(_library.decode(reason.value), tuple(values))

    def _value_at(self, refusal: int, index: int) -> tuple[Value, Optional[str]]:
        pointer, standing = ctypes.c_void_p(), ctypes.c_char_p()
        outputs = ctypes.byref(pointer), ctypes.byref(standing)
        _library.call("refusal_value", self._handle, refusal, index, *outputs)
        text = None if standing.value is None else _library.decode(standing.value)
        return Value(_library.Handle("value", pointer.value)), text
