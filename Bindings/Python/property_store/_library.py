# SPDX-License-Identifier: MIT
"""The C interface as ctypes sees it. Calls leave the interpreter's lock, and nothing calls back."""

from __future__ import annotations

import ctypes
import os
import weakref
from typing import Any, Optional

from . import _errors
from ._place import LIBRARY

NO_RECORD = -(2**63)
ALL_DEVICES = 1

_SONAME = "libpropertyc.so.0"
_HANDLE = ctypes.c_void_p
_OUT = ctypes.c_void_p  # where an answer goes: byref() of something
_TEXT = ctypes.c_char_p
_INT = ctypes.c_int32
_SIZE = ctypes.c_size_t

# Calls that answer a status, with what they take.
_CALLS: dict[str, list[Any]] = {
    "open": [_OUT, ctypes.c_uint32, _INT, _OUT],
    "schema_problems": [_HANDLE, _OUT],
    "own_device": [_HANDLE, _OUT],
    "find": [_HANDLE, _TEXT, _TEXT, _OUT],
    "at": [_HANDLE, _SIZE, _OUT],
    "elsewhere": [_HANDLE, ctypes.c_int64, _TEXT, _OUT],
    "choice_at": [_HANDLE, _SIZE, _OUT, _OUT, _OUT, _OUT],
    "default_text": [_HANDLE, _OUT, _OUT],
    "get_int": [_HANDLE, _OUT],
    "get_bool": [_HANDLE, _OUT],
    "get_choice": [_HANDLE, _OUT],
    "get_text": [_HANDLE, _OUT, _OUT],
    "exists": [_HANDLE, _OUT],
    "set_int": [_HANDLE, _INT],
    "set_bool": [_HANDLE, _INT],
    "set_choice": [_HANDLE, _INT],
    "set_text": [_HANDLE, _TEXT, _SIZE],
    "set_written": [_HANDLE, _TEXT],
    "set_default": [_HANDLE],
    "guard_enter": [_HANDLE],
    "guard_leave": [_HANDLE],
    "begin": [_HANDLE, _OUT],
    "expect": [_HANDLE, _HANDLE],
    "commit": [_HANDLE, _OUT],
    "commit_if_unchanged": [_HANDLE, _INT, _OUT],
    "receipt_last": [_HANDLE, _OUT],
    "receipt_all": [_HANDLE, _OUT],
    "receipt_wait": [_HANDLE, _INT],
    "refusal_count": [_HANDLE, _OUT, _OUT],
    "refusal_reason": [_HANDLE, _SIZE, _OUT],
    "refusal_value": [_HANDLE, _SIZE, _SIZE, _OUT, _OUT],
    "watch_new": [_HANDLE, _OUT],
    "watch_value": [_HANDLE, _HANDLE],
    "watch_property": [_HANDLE, _HANDLE],
    "watch_all": [_HANDLE],
    "watch_next": [_HANDLE, _INT, _OUT],
    "watch_stop": [_HANDLE],
    "change_value": [_HANDLE, _OUT],
    "change_int": [_HANDLE, _OUT],
    "change_bool": [_HANDLE, _OUT],
    "change_choice": [_HANDLE, _OUT],
    "change_text": [_HANDLE, _OUT, _OUT],
}
# Those that cannot fail: what they answer and take.
_ANSWERS: dict[str, tuple[Any, list[Any]]] = {
    "version": (_TEXT, []),
    "last_error": (_TEXT, []),
    "free": (None, [ctypes.c_void_p]),
    "close": (None, [_HANDLE]),
    "count": (_SIZE, [_HANDLE]),
    "free_value": (None, [_HANDLE]),
    "number": (_INT, [_HANDLE]),
    "type_of": (_INT, [_HANDLE]),
    "path": (_TEXT, [_HANDLE]),
    "name": (_TEXT, [_HANDLE]),
    "description": (_TEXT, [_HANDLE]),
    "pattern": (_TEXT, [_HANDLE]),
    "flags": (_INT, [_HANDLE]),
    "record": (ctypes.c_int64, [_HANDLE]),
    "device": (_TEXT, [_HANDLE]),
    "choice_count": (_SIZE, [_HANDLE]),
    "free_transaction": (None, [_HANDLE]),
    "free_receipt": (None, [_HANDLE]),
    "watch_descriptor": (ctypes.c_int, [_HANDLE]),
    "free_watch": (None, [_HANDLE]),
    "change_removed": (_INT, [_HANDLE]),
    "free_change": (None, [_HANDLE]),
}


def _load() -> ctypes.CDLL:
    """The library of the tree that this package lies in, else the one that the system knows."""
    own = os.path.join(os.path.dirname(os.path.abspath(__file__)), LIBRARY, _SONAME)
    library = ctypes.CDLL(own if os.path.exists(own) else _SONAME)
    for name, arguments in _CALLS.items():
        function = getattr(library, "property_" + name)
        function.restype, function.argtypes = _INT, arguments
    for name, (answer, arguments) in _ANSWERS.items():
        function = getattr(library, "property_" + name)
        function.restype, function.argtypes = answer, arguments
    return library


_library = _load()


def call(name: str, *arguments: Any) -> None:
    """Raises a PropertyError, with the library's text, unless all went well."""
    status = getattr(_library, "property_" + name)(*arguments)
    if status != 0:
        raise _errors.error_of(status, decode(_library.property_last_error()))


def answer(name: str, *arguments: Any) -> Any:
    """What a call that cannot fail says."""
    return getattr(_library, "property_" + name)(*arguments)


class Handle:
    """Given back when nothing refers to it any more, on whichever thread that is; not at the end of
    the interpreter, when other threads may still use it: the process ends with it."""

    def __init__(self, kind: str, pointer: Optional[int]) -> None:
        self._as_parameter_ = ctypes.c_void_p(pointer)
        free = getattr(_library, "property_close" if kind == "store" else "property_free_" + kind)
        self._finalizer = weakref.finalize(self, free, pointer)
        self._finalizer.atexit = False

    def give_back(self) -> None:
        """Now; it must not be used afterwards."""
        self._finalizer()


def new_handle(kind: str, name: str, *arguments: Any) -> Handle:
    """What a call answers as its last argument."""
    pointer = ctypes.c_void_p()
    call(name, *arguments, ctypes.byref(pointer))
    return Handle(kind, pointer.value)


def encode(text: str) -> bytes:
    """Bytes of a text; those that are not UTF-8 have come in as lone surrogates."""
    return text.encode("utf-8", "surrogateescape")


def decode(data: Optional[bytes]) -> str:
    return (data or b"").decode("utf-8", "surrogateescape")


def encode_name(text: str) -> bytes:
    """For what ends with a zero byte in C."""
    data = encode(text)
    if b"\0" in data:
        raise ValueError("a name has no zero bytes")
    return data


def text_of(name: str, *arguments: Any, with_length: bool = True) -> str:
    """A text that a call answers."""
    pointer, length = ctypes.c_void_p(), ctypes.c_size_t()
    outputs = [ctypes.byref(pointer)] + ([ctypes.byref(length)] if with_length else [])
    call(name, *arguments, *outputs)
    try:
        size = length.value if with_length else -1
        return decode(ctypes.string_at(pointer.value or 0, size))
    finally:
        answer("free", pointer)


def int_of(name: str, handle: Handle) -> int:
    """A number that a call answers."""
    number = ctypes.c_int32()
    call(name, handle, ctypes.byref(number))
    return number.value


def milliseconds(timeout: Optional[float]) -> int:
    """Of seconds, rounded up; None is without limit."""
    if timeout is None:
        return -1
    if not timeout >= 0:
        raise ValueError(f"a time-out of {timeout} s")
    return min(-int(-timeout * 1000 // 1), 2**31 - 1)
