# SPDX-License-Identifier: MIT
"""What can go wrong, with the text of the library."""

from __future__ import annotations

from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from ._receipts import Refusal


class PropertyError(Exception):
    """The base of all; by itself, a failure for a reason without a class of its own."""

    status = 1


class OutOfMemoryError(PropertyError, MemoryError):
    status = 2


class BadArgumentError(PropertyError, ValueError):
    """A call breaks a rule."""

    status = 3


class PropertyTimeoutError(PropertyError, TimeoutError):
    status = 4


class ClosedError(PropertyError):
    """Store, watch or process have ended."""

    status = 5


class NotFoundError(PropertyError, LookupError):
    """There is no such property, or no such choice."""

    status = 6


class AmbiguousError(PropertyError, LookupError):
    """A name fits several properties."""

    status = 7


class WrongTypeError(PropertyError, TypeError):
    """The property is of another type."""

    status = 8


class BadValueError(PropertyError, ValueError):
    """The property may not have this value."""

    status = 9


class NoValueError(PropertyError, LookupError):
    """There is no default, or the value could not be fetched."""

    status = 10


class NoSchemaError(PropertyError):
    """No schema library could be loaded."""

    status = 11


class OtherStoreError(PropertyError):
    """The process has a store that was opened in another way."""

    status = 12


class WrongThreadError(PropertyError):
    """A transaction belongs to the thread that has begun it."""

    status = 13


class InTransactionError(PropertyError):
    """The thread has a transaction open."""

    status = 14


class EndedError(PropertyError):
    """The transaction has ended."""

    status = 15


class SetTwiceError(PropertyError):
    """The transaction has set the value otherwise already."""

    status = 16


class RefusedError(PropertyError):
    """The server has refused changes."""

    status = 17
    refusals: list[Refusal] = []


class ConflictError(RefusedError):
    """Values are not as expected; nothing has changed."""

    status = 18


class UnknownError(PropertyError):
    """It is decided, but nobody knows any more how."""

    status = 19


class InGuardError(PropertyError):
    """The server is not asked while the thread has a guard."""

    status = 20


class InChildError(PropertyError):
    """The process is a fork of the one that has the store."""

    status = 21


def _all_below(base: type[PropertyError]) -> list[type[PropertyError]]:
    return [base] + [found for child in base.__subclasses__() for found in _all_below(child)]


_BY_STATUS = {kind.status: kind for kind in _all_below(PropertyError)}


def error_of(status: int, text: str) -> PropertyError:
    """For a status of the library; later versions may have others."""
    return _BY_STATUS.get(status, PropertyError)(text)
