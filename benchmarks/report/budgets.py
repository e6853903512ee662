# SPDX-License-Identifier: MIT
"""Budgets: how long the product may take, in times of what it is set beside."""

from __future__ import annotations

import dataclasses
import json
from pathlib import Path
from typing import Iterable, Optional, Union

from measurements import MeasurementError, Merged

MET = "met"
MISSED = "missed"
NOT_MEASURED = "not measured"


@dataclasses.dataclass(frozen=True)
class Budget:
    """Holds when `product` takes at most `times` the sum of `beside` over `divided_by`.

    Names are subject/metric/setting/size; size "*" stands for the only size that was measured.
    """

    what: str
    product: str
    beside: tuple[str, ...]
    times: float
    divided_by: float = 1.0

    def beside_text(self) -> str:
        """What the product is set beside, in short."""
        names = " + ".join(_in_short(name) for name in self.beside)
        if self.divided_by == 1.0:
            return names
        return f"{f'({names})' if len(self.beside) > 1 else names} / {self.divided_by:g}"


@dataclasses.dataclass(frozen=True)
class Judgement:
    """A budget beside what was measured, in seconds or bytes.

    `lacking` says what would have to be measured for a verdict.
    """

    budget: Budget
    verdict: str
    product: Optional[float] = None
    beside: Optional[float] = None
    ratio: Optional[float] = None
    is_memory: bool = False
    lacking: tuple[str, ...] = ()


def _in_short(name: str) -> str:
    subject, metric, setting, size = name.split("/")
    text = f"{subject} {metric}"
    if setting != "-":
        text += f" [{setting}]"
    return text if size in ("0", "*") else f"{text} @{int(size):,}"


def _budget_of(record: dict, source: str) -> Budget:
    budget = Budget(
        what=record["what"],
        product=record["product"],
        beside=tuple(record["beside"]),
        times=float(record["times"]),
        divided_by=float(record.get("beside_divided_by", 1.0)),
    )
    for name in (budget.product, *budget.beside):
        if len(name.split("/")) != 4:
            raise MeasurementError(f'{source}: "{name}" is not subject/metric/setting/size')
    if not budget.beside or budget.times <= 0.0 or budget.divided_by <= 0.0:
        raise MeasurementError(f'{source}: "{budget.what}": nothing beside it or no factor')
    return budget


def read_budgets(path: Path) -> list[Budget]:
    """The budgets of a file."""
    try:
        records = json.loads(path.read_text(encoding="utf-8"))["budgets"]
        return [_budget_of(record, str(path)) for record in records]
    except (ValueError, KeyError, TypeError) as error:
        raise MeasurementError(f"{path}: no budgets: {error!r}") from error


def _find(name: str, measured: Iterable[Merged]) -> Union[Merged, str]:
    """The measurement of this name; a text that says why there is none."""
    beginning, size = name.rsplit("/", 1)
    found = [
        merged
        for merged in measured
        if merged.key.name().rsplit("/", 1)[0] == beginning
        and size in ("*", str(merged.key.size))
    ]
    if len(found) > 1:
        sizes = ", ".join(str(merged.key.size) for merged in found)
        return f"{name} may be any of the sizes {sizes}"
    return found[0] if found else name


def _is_memory(merged: Merged) -> bool:
    return merged.unit.endswith("B")


def _sum(found: list[Union[Merged, str]]) -> Optional[float]:
    """In seconds or bytes; None when one is lacking."""
    values = [side.value() for side in found if isinstance(side, Merged)]
    return sum(values) if len(values) == len(found) else None


def judge(budget: Budget, measured: list[Merged]) -> Judgement:
    """Judges one budget by measurements that were all made on the same number of cores."""
    found = [_find(name, measured) for name in (budget.product, *budget.beside)]
    known = [side for side in found if isinstance(side, Merged)]
    is_memory = any(_is_memory(side) for side in known)
    if any(_is_memory(side) != is_memory for side in known):
        raise MeasurementError(f'"{budget.what}": memory beside time')
    product = _sum(found[:1])
    divisor = _sum(found[1:])
    if divisor is not None:
        divisor /= budget.divided_by
    if product is None or not divisor:
        lacking = tuple(side for side in found if isinstance(side, str))
        return Judgement(budget, NOT_MEASURED, product, divisor, None, is_memory, lacking)
    ratio = product / divisor
    verdict = MET if ratio <= budget.times else MISSED
    return Judgement(budget, verdict, product, divisor, ratio, is_memory)


def judge_all(
    budgets: Iterable[Budget], measured: Iterable[Merged], cores: int
) -> list[Judgement]:
    """Judges all budgets by what was measured on `cores` cores."""
    same_cores = [merged for merged in measured if merged.key.cores == cores]
    return [judge(budget, same_cores) for budget in budgets]
