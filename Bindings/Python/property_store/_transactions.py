# SPDX-License-Identifier: MIT
"""Changes that are made together."""

from __future__ import annotations

import ctypes
from types import TracebackType
from typing import TYPE_CHECKING, Optional, Union

from . import _library
from ._errors import EndedError, RefusedError
from ._receipts import Receipt
from ._values import PropertyData, Value

if TYPE_CHECKING:
    from ._store import Store


class Transaction:
    """What its thread sets between begin and end is made wholly or not at all.

    As a context, commits at the end, or rolls back when an exception leaves it. Where something was
    expected, the server decides, and the end waits for that up to `timeout` seconds. Belongs to the
    thread that begins it; one that nobody refers to any more is rolled back. In a coroutine, do not
    await inside: other tasks of the thread would set their values in it.
    """

    def __init__(self, store: Store, timeout: Optional[float] = None) -> None:
        self._store = store
        self._timeout = _library.milliseconds(timeout)
        self._handle: Optional[_library.Handle] = None
        self._expecting = False
        #: Of the commit, once there was one.
        self.receipt: Optional[Receipt] = None

    def begin(self) -> Transaction:
        """Raises InTransactionError when the thread has one open."""
        self._expecting = False
        self.receipt = None
        self._handle = _library.new_handle("transaction", "begin", self._store.handle)
        return self

    def _open(self) -> _library.Handle:
        if self._handle is None:
            raise EndedError("the transaction has not begun, or has ended")
        return self._handle

    def expect(
        self, value: Union[str, Value], record: Optional[int] = None, device: Optional[str] = None
    ) -> PropertyData:
        """Reads a value: the commit is to be done only if the server still holds it."""
        place = self._store.place(value, record, device)
        with self._store.guard():  # nothing comes in between the two
            _library.call("expect", self._open(), place._handle)
            self._expecting = True
            return place.get()

    def commit(self) -> Receipt:
        """Ends it, and sends the changes. Where something was expected, raises ConflictError when
        that is not so, RefusedError, and PropertyTimeoutError: then the receipt will tell. Where
        nothing was, the receipt has all of that."""
        handle = self._open()
        pointer = ctypes.c_void_p()
        output = ctypes.byref(pointer)
        try:
            if self._expecting:
                _library.call("commit_if_unchanged", handle, self._timeout, output)
            else:
                _library.call("commit", handle, output)
        except RefusedError as error:
            error.refusals = self._finish(pointer).refusals
            raise
        finally:
            if pointer.value is not None:
                self._finish(pointer)
        return self._finish(pointer)

    def _finish(self, pointer: ctypes.c_void_p) -> Receipt:
        """It has ended, with this receipt."""
        if self.receipt is None:
            self.receipt = Receipt(_library.Handle("receipt", pointer.value))
            self.rollback()
        return self.receipt

    def rollback(self) -> None:
        """Ends it without any change. On another thread, that of the transaction does it."""
        handle, self._handle = self._handle, None
        if handle is not None:
            handle.give_back()

    def __enter__(self) -> Transaction:
        return self.begin()

    def __exit__(
        self,
        kind: Optional[type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        try:
            if kind is None and self._handle is not None:
                self.commit()
        finally:
            self.rollback()
