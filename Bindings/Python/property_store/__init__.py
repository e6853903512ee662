# SPDX-License-Identifier: MIT
"""Typed configuration properties that the processes of a device share.

    with Store(timeout=10) as store:
        store["DisplayBrightness"] = 60
        store.receipt().wait(timeout=10)
        for change in store.watch("DisplayBrightness"):
            print(change.value)
"""

from ._errors import (
    AmbiguousError,
    BadArgumentError,
    BadValueError,
    ClosedError,
    ConflictError,
    EndedError,
    InChildError,
    InGuardError,
    InTransactionError,
    NoSchemaError,
    NotFoundError,
    NoValueError,
    OtherStoreError,
    OutOfMemoryError,
    PropertyError,
    PropertyTimeoutError,
    RefusedError,
    SetTwiceError,
    UnknownError,
    WrongThreadError,
    WrongTypeError,
)
from ._library import answer as _answer
from ._library import decode as _decode
from ._receipts import Receipt, Refusal
from ._store import Guard, Store
from ._transactions import Transaction
from ._values import Choice, PropertyData, Value
from ._watch import Change, Watch

__version__ = _decode(_answer("version"))
__all__ = [
    "AmbiguousError",
    "BadArgumentError",
    "BadValueError",
    "Change",
    "Choice",
    "ClosedError",
    "ConflictError",
    "EndedError",
    "Guard",
    "InChildError",
    "InGuardError",
    "InTransactionError",
    "NoSchemaError",
    "NoValueError",
    "NotFoundError",
    "OtherStoreError",
    "OutOfMemoryError",
    "PropertyData",
    "PropertyError",
    "PropertyTimeoutError",
    "Receipt",
    "Refusal",
    "RefusedError",
    "SetTwiceError",
    "Store",
    "Transaction",
    "UnknownError",
    "Value",
    "Watch",
    "WrongThreadError",
    "WrongTypeError",
]
