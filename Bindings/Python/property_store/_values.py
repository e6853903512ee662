# SPDX-License-Identifier: MIT
"""Where values are, and what they are in Python."""

from __future__ import annotations

import ctypes
from typing import Optional, Union

from . import _library
from ._errors import NotFoundError, NoValueError

INTEGER, BOOLEAN, TEXT, CHOICE, LOOKUP = range(1, 6)
_TYPES = {
    INTEGER: "integer",
    BOOLEAN: "boolean",
    TEXT: "text",
    CHOICE: "choice",
    LOOKUP: "lookup",
}


class Choice(str):
    """The value text of a choice, which has a number, a name and a description, too."""

    number: int
    name: str
    description: str

    def __new__(cls, text: str, number: int, name: str, description: str) -> Choice:
        self = super().__new__(cls, text)
        self.number, self.name, self.description = number, name, description
        return self

    def __getnewargs__(self) -> tuple[str, int, str, str]:
        return str(self), self.number, self.name, self.description


#: What a value is in Python: by the type of its property an int, a bool or a str. Texts are UTF-8;
#: bytes that are not are lone surrogates in it ("surrogateescape"), and go back as they came.
PropertyData = Union[int, bool, str, Choice]


class Value:
    """Where a value is: a property, a record and a device. Never changes; for every thread."""

    def __init__(self, handle: _library.Handle) -> None:
        self._handle = handle

    def __repr__(self) -> str:
        record = "" if self.record is None else f"[{self.record}]"
        return f"<Value {self.path}{record}{' of ' + self.device if self.device else ''}>"

    def at(self, record: Optional[int] = None, device: Optional[str] = None) -> Value:
        """The same property in another record, or in none, and on another device, or this one."""
        place = _library.NO_RECORD if record is None else record
        if not -(2**63) <= place < 2**63:
            raise ValueError(f"the record {record} has more than 32 bits")
        return Value(
            _library.new_handle(
                "value",
                "elsewhere",
                self._handle,
                place,
                None if device is None else _library.encode_name(device),
            )
        )

    # What the schema says.

    def _text(self, name: str) -> str:
        return _library.decode(_library.answer(name, self._handle))

    @property
    def number(self) -> int:
        return int(_library.answer("number", self._handle))

    @property
    def type(self) -> str:
        """"integer", "boolean", "text", "choice" or "lookup"."""
        return _TYPES.get(_library.answer("type_of", self._handle), "none")

    @property
    def path(self) -> str:
        return self._text("path")

    @property
    def name(self) -> str:
        return self._text("name")

    @property
    def description(self) -> str:
        return self._text("description")

    @property
    def pattern(self) -> str:
        """The regular expression that values have to match; empty for none."""
        return self._text("pattern")

    @property
    def hidden(self) -> bool:
        return bool(_library.answer("flags", self._handle) & 0x01)

    @property
    def advanced(self) -> bool:
        return bool(_library.answer("flags", self._handle) & 0x04)

    @property
    def record(self) -> Optional[int]:
        record = int(_library.answer("record", self._handle))
        return None if record == _library.NO_RECORD else record

    @property
    def device(self) -> str:
        """Empty for the current one, or none."""
        return self._text("device")

    @property
    def choices(self) -> list[Choice]:
        """Empty unless it is a choice."""
        count = _library.answer("choice_count", self._handle)
        return [self._choice_at(index) for index in range(count)]

    def _choice_at(self, index: int) -> Choice:
        number = ctypes.c_int32()
        texts = [ctypes.c_char_p() for _ in range(3)]
        outputs = [ctypes.byref(text) for text in texts]
        _library.call("choice_at", self._handle, index, ctypes.byref(number), *outputs)
        text, name, description = (_library.decode(found.value) for found in texts)
        return Choice(text, number.value, name, description)

    @property
    def default(self) -> Optional[PropertyData]:
        """What it is when nobody has set it; None where the schema does not say."""
        try:
            text = _library.text_of("default_text", self._handle)
        except NoValueError:
            return None
        kind = self.type
        if kind == "choice":
            return next((choice for choice in self.choices if choice == text), None)
        return int(text) if kind == "integer" else text == "1" if kind == "boolean" else text

    # Reading and changing.

    def get(self) -> PropertyData:
        """What this process holds, or its transaction on this thread; else the default."""
        return self._read("get", self._handle)

    def _read(self, how: str, handle: _library.Handle) -> PropertyData:
        kind = self.type
        if kind == "integer":
            return _library.int_of(how + "_int", handle)
        if kind == "boolean":
            return _library.int_of(how + "_bool", handle) != 0
        if kind == "choice":
            return self._choice_of(_library.int_of(how + "_choice", handle))
        return _library.text_of(how + "_text", handle)

    def _choice_of(self, number: int) -> Choice:
        for choice in self.choices:
            if choice.number == number:
                return choice
        raise NotFoundError(f"{self.path} has no choice {number}")

    def set(self, data: PropertyData) -> None:
        """Stores it here, and sends it. A choice is given as such, by its text or its number."""
        kind = self.type
        if kind == "choice":
            _library.call("set_choice", self._handle, self._number_of(data))
        elif kind == "boolean":
            self._require(data, bool)
            _library.call("set_bool", self._handle, int(data))
        elif kind == "integer":
            self._require(data, int)
            if not -(2**31) <= int(data) < 2**31:
                raise ValueError(f"{self.path}: {data} has more than 32 bits")
            _library.call("set_int", self._handle, int(data))
        else:
            self._require(data, str)
            encoded = _library.encode(str(data))
            _library.call("set_text", self._handle, encoded, len(encoded))

    def _require(self, data: PropertyData, kind: type) -> None:
        if not isinstance(data, kind) or (kind is int and isinstance(data, bool)):
            raise TypeError(f"{self.path} is no {type(data).__name__} but a {kind.__name__}")

    def _number_of(self, data: PropertyData) -> int:
        if isinstance(data, Choice):
            return data.number
        if isinstance(data, int) and not isinstance(data, bool):
            return self._choice_of(data).number
        self._require(data, str)
        for choice in self.choices:
            if choice == data:
                return choice.number
        raise NotFoundError(f"{self.path} has no choice {data!r}")

    def set_written(self, text: str) -> None:
        """As a person writes it: see the rules of the property command."""
        _library.call("set_written", self._handle, _library.encode_name(text))

    def set_to_default(self) -> None:
        """Sets the default that the schema has now."""
        _library.call("set_default", self._handle)

    def exists(self) -> bool:
        """Whether this process holds a value."""
        return _library.int_of("exists", self._handle) != 0
