# SPDX-License-Identifier: MIT
"""Numbers and judgements as text."""

from __future__ import annotations

from typing import Optional, Sequence

from budgets import Judgement

HEADINGS = ("what", "product", "beside", "", "ratio", "budget", "verdict")
UNKNOWN = "-"


def digits(value: Optional[float]) -> str:
    """Three digits that count, and no more than are needed."""
    if value is None:
        return UNKNOWN
    if abs(value) >= 100:
        return f"{value:,.0f}"
    return f"{value:.3g}"


def quantity(value: Optional[float], is_memory: bool) -> str:
    """Seconds or bytes in a unit that suits them."""
    if value is None:
        return UNKNOWN
    units = (
        ((1024.0**2, "MiB"), (1024.0, "KiB"), (1.0, "B"))
        if is_memory
        else ((1.0, "s"), (1e-3, "ms"), (1e-6, "us"), (1e-9, "ns"))
    )
    size, unit = next((entry for entry in units if abs(value) >= entry[0]), units[-1])
    return f"{digits(value / size)} {unit}"


def row(judgement: Judgement) -> tuple[str, ...]:
    """A judgement under `HEADINGS`."""
    budget = judgement.budget
    return (
        budget.what,
        quantity(judgement.product, judgement.is_memory),
        quantity(judgement.beside, judgement.is_memory),
        budget.beside_text(),
        digits(judgement.ratio),
        f"<= {budget.times:g}",
        judgement.verdict,
    )


def text_table(headings: Sequence[str], rows: Sequence[Sequence[str]]) -> str:
    """Aligned columns; the last one is not filled up."""
    widths = [max(map(len, column)) for column in zip(headings, *rows)]
    lines = [headings, ["-" * width for width in widths], *rows]
    return "\n".join(
        "  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip() for line in lines
    )


def cores_text(cores: int) -> str:
    """How the programs of a table were run."""
    return "pinned to one core" if cores == 1 else f"free on {cores} cores"
