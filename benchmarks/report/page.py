# SPDX-License-Identifier: MIT
"""The report as one HTML page that needs nothing beside it."""

from __future__ import annotations

import html
from typing import Iterable, Mapping, Sequence

from budgets import MET, MISSED, Judgement
from measurements import Merged
from tables import HEADINGS, cores_text, digits, row

STYLE = """
body { font: 15px/1.45 sans-serif; color: #222; background: #fff; max-width: 66em;
  margin: 2em auto; padding: 0 1em; }
h1, h2, h3 { line-height: 1.2; }
table { border-collapse: collapse; margin: 0.5em 0 1.5em; font-size: 13px; }
th, td { padding: 0.25em 0.7em; border-bottom: 1px solid #ddd; text-align: left; }
td.number { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
td.met { color: #17692b; } td.missed { color: #a11; font-weight: bold; } td.unknown { color: #777; }
.failure { color: #a11; }
figure { margin: 1em 0 2em; } figure svg { max-width: 100%; height: auto; }
"""

VERDICT_CLASSES = {MET: "met", MISSED: "missed"}

RAW_HEADINGS = (
    "measurement",
    "setting",
    "values",
    "cores",
    "unit",
    "p50",
    "p50 of rounds",
    "p99",
    "p99.9",
    "least",
    "most",
    "rounds",
    "samples",
)


def _table(headings: Sequence[str], rows: Iterable[Sequence[str]], classes: Sequence[str]) -> str:
    """A class "verdict" gives cells a class of their own by what they say."""
    lines = ["<table><tr>", *(f"<th>{html.escape(text)}</th>" for text in headings), "</tr>\n"]
    for cells in rows:
        lines.append("<tr>")
        for text, kind in zip(cells, classes):
            name = VERDICT_CLASSES.get(text, "unknown") if kind == "verdict" else kind
            lines.append(f'<td class="{name}">' if name else "<td>")
            lines.append(f"{html.escape(text)}</td>")
        lines.append("</tr>\n")
    return "".join([*lines, "</table>\n"])


def _judgements(judged: Mapping[int, Sequence[Judgement]]) -> str:
    parts = ["<h2>Beside floors and peers</h2>\n"]
    for cores, judgements in judged.items():
        parts.append(f"<h3>Programs {cores_text(cores)}</h3>\n")
        classes = ("", "number", "number", "", "number", "number", "verdict")
        parts.append(_table(HEADINGS, map(row, judgements), classes))
    return "".join(parts)


def _raw_row(merged: Merged) -> tuple[str, ...]:
    key = merged.key
    return (
        f"{key.subject} {key.metric}",
        key.setting,
        f"{key.size:,}" if key.size else "-",
        str(key.cores),
        merged.unit,
        digits(merged.p50),
        " to ".join(digits(value) for value in merged.spread),
        digits(merged.p99),
        digits(merged.p999),
        digits(merged.low),
        digits(merged.high),
        str(merged.rounds),
        f"{merged.samples:,}",
    )


def _raw(measured: Iterable[Merged]) -> str:
    return "<h2>All numbers</h2>\n" + _table(
        RAW_HEADINGS, map(_raw_row, measured), ("", "", *["number"] * (len(RAW_HEADINGS) - 2))
    )


def _failures(failures: Mapping[str, str]) -> str:
    if not failures:
        return ""
    items = "".join(
        f"<li>{html.escape(name)}: {html.escape(text)}</li>\n" for name, text in failures.items()
    )
    return f'<div class="failure"><h2>What failed or is missing</h2>\n<ul>\n{items}</ul></div>\n'


def make_page(
    machine: Mapping[str, str],
    failures: Mapping[str, str],
    judged: Mapping[int, Sequence[Judgement]],
    plots: Mapping[str, str],
    measured: Iterable[Merged],
) -> str:
    """The page; `plots` are SVG documents by their captions."""
    figures = "".join(
        f"<figure><figcaption>{html.escape(caption)}</figcaption>\n{svg}\n</figure>\n"
        for caption, svg in plots.items()
    )
    return (
        '<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8">'
        f"<title>Measurements</title><style>{STYLE}</style></head><body>\n"
        "<h1>Measurements</h1>\n"
        f'{_table(("", ""), machine.items(), ("", ""))}'
        f"{_failures(failures)}{_judgements(judged)}"
        "<p>Medians over the rounds of the rounds' medians. A budget is how many times what it is "
        "set beside the product may take.</p>\n"
        f"<h2>Curves</h2>\n{figures}{_raw(measured)}</body></html>\n"
    )
