# SPDX-License-Identifier: MIT
"""The store of the process."""

from __future__ import annotations

import ctypes
import os
from types import TracebackType
from typing import Iterator, Optional, Union

from . import _library
from ._errors import ClosedError
from ._receipts import Receipt, wait_in_slices
from ._transactions import Transaction
from ._values import PropertyData, Value
from ._watch import Watch


class Guard:
    """As a context: no value changes meanwhile but by this thread, so that all reads are of one
    state. Other threads wait; take it around reads alone."""

    def __init__(self, store: Store) -> None:
        self._store = store

    def __enter__(self) -> Guard:
        _library.call("guard_enter", self._store.handle)
        return self

    def __exit__(
        self,
        kind: Optional[type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        _library.call("guard_leave", self._store.handle)


class Store:
    """The values of the process, connected to the property server. For every thread.

    `schemas` are files and folders of schema libraries; without any, PROPERTY_SCHEMA names them, or
    they are the installed ones. Waits up to `timeout` seconds for the server; None is without
    limit. A process has one store, until it ends: opening it again gives the same one, and
    OtherStoreError where other schemas or devices are asked for.
    """

    def __init__(
        self,
        *schemas: Union[str, os.PathLike[str]],
        all_devices: bool = False,
        timeout: Optional[float] = None,
    ) -> None:
        _library.milliseconds(timeout)
        paths = [os.fsencode(schema) for schema in schemas]
        if any(b"\0" in path for path in paths):
            raise ValueError("a path has no zero bytes")
        named = (ctypes.c_char_p * (len(paths) + 1))(*paths, None) if paths else None
        pointer = ctypes.c_void_p()
        flags = _library.ALL_DEVICES if all_devices else 0
        wait_in_slices(
            lambda left: _library.call("open", named, flags, left, ctypes.byref(pointer)), timeout
        )
        self._handle = _library.Handle("store", pointer.value)
        self._closed = False

    @property
    def handle(self) -> _library.Handle:
        """Of the C interface. Raises ClosedError."""
        if self._closed:
            raise ClosedError("the store was closed")
        return self._handle

    def close(self) -> None:
        """Nothing can be found in it any more. Values and watches of it stay usable, because the
        process keeps its store until it ends."""
        self._closed = True

    def __enter__(self) -> Store:
        return self

    def __exit__(
        self,
        kind: Optional[type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    @property
    def own_device(self) -> str:
        """The address of this device; empty when it has none."""
        return _library.text_of("own_device", self.handle, with_length=False)

    @property
    def schema_problems(self) -> list[str]:
        """Which schema libraries were left out, and why."""
        return _library.text_of("schema_problems", self.handle, with_length=False).splitlines()

    # Which value.

    def find(
        self, name: str, record: Optional[int] = None, device: Optional[str] = None
    ) -> Value:
        """A property by its number, path, the end of its path, or beginnings of its last parts;
        "[7]" behind it is a record, and so is `record`. Raises NotFoundError, AmbiguousError."""
        address = None if device is None else _library.encode_name(device)
        encoded = _library.encode_name(name)
        found = Value(_library.new_handle("value", "find", self.handle, encoded, address))
        return found if record is None else found.at(record, device)

    def place(
        self,
        value: Union[str, Value],
        record: Optional[int] = None,
        device: Optional[str] = None,
    ) -> Value:
        """A value by name, or one that was found already."""
        if isinstance(value, Value):
            if record is not None or device is not None:
                raise ValueError("a Value has its record and device: see Value.at")
            return value
        return self.find(value, record, device)

    def __iter__(self) -> Iterator[Value]:
        """All properties, in the order of the schema's tree."""
        for index in range(_library.answer("count", self.handle)):
            yield Value(_library.new_handle("value", "at", self.handle, index))

    # Reading and changing.

    def get(
        self, value: Union[str, Value], record: Optional[int] = None, device: Optional[str] = None
    ) -> PropertyData:
        return self.place(value, record, device).get()

    def set(
        self,
        value: Union[str, Value],
        data: PropertyData,
        record: Optional[int] = None,
        device: Optional[str] = None,
    ) -> None:
        self.place(value, record, device).set(data)

    def __getitem__(self, value: Union[str, Value]) -> PropertyData:
        return self.get(value)

    def __setitem__(self, value: Union[str, Value], data: PropertyData) -> None:
        self.set(value, data)

    def guard(self) -> Guard:
        return Guard(self)

    def transaction(self, timeout: Optional[float] = None) -> Transaction:
        return Transaction(self, timeout)

    # What becomes of changes.

    def receipt(self) -> Receipt:
        """Of the last set or commit of this thread."""
        return Receipt(_library.new_handle("receipt", "receipt_last", self.handle))

    def receipt_of_all(self) -> Receipt:
        """Of all that the process has changed so far."""
        return Receipt(_library.new_handle("receipt", "receipt_all", self.handle))

    def watch(
        self,
        *values: Union[str, Value],
        all_places: bool = False,
        timeout: Optional[float] = None,
    ) -> Watch:
        """Changes from now on, of these values; with `all_places`, of their properties in all
        records and on all devices; without any, of everything."""
        handle = _library.new_handle("watch", "watch_new", self.handle)
        for value in values:
            name = "watch_property" if all_places else "watch_value"
            _library.call(name, handle, self.place(value)._handle)
        if not values:
            _library.call("watch_all", handle)
        return Watch(handle, timeout)
