# SPDX-License-Identifier: MIT
"""Plots as SVG documents to be put into a page."""

from __future__ import annotations

import io
import math
import re
from typing import Callable, Iterable, Optional, Sequence

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402  # after the choice of what draws
from matplotlib.axes import Axes  # noqa: E402
from matplotlib.axis import Axis  # noqa: E402
from matplotlib.ticker import FuncFormatter, NullFormatter  # noqa: E402

from measurements import SECONDS_AND_BYTES, Merged  # noqa: E402

# Told apart also by the colour-blind; the product's come first.
COLOURS = ("#0072b2", "#56b4e9", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#555555", "#a08000")
FLOOR_STYLES = {"map": "--", "seqpacket": "--", "disk": "--"}
MICROSECOND = 1e-6

IN_PROCESS = (
    "product/read_integer/own_mac",
    "product/exist/-",
    "product/set_equal/-",
    "product/set_changed/-",
    "map/read/-",
    "map/write/-",
)
SCHEMA = ("product/schema_construction/-", "product/schema_initialisation/-")
START_UP = ("product/start_up/-", "map/build/-", "sqlite/load/*", "redis/load/*", "lmdb/load/*")
LATENCIES = (
    "product/notify/relaxed/10000",
    "product/notify/full/10000",
    "seqpacket/two_hops/-/*",
    "redis/publish/-/*",
    "gsettings/notify/-/100",
)
# Names with the changes that one measurement of them holds.
DURABLE = (
    ("product/durable_change_1/*/*", 1),
    ("product/durable_change_8/*/*", 1),
    ("product/durable_transaction_100/*/*", 100),
    ("sqlite/write/*/*", 1),
    ("sqlite/transaction_100/*/*", 100),
    ("redis/write/*/*", 1),
    ("redis/transaction_100/*/*", 100),
    ("lmdb/write/*/*", 1),
    ("lmdb/transaction_100/*/*", 100),
    ("gsettings/write_sync/*/*", 1),
    ("disk/fdatasync/*/*", 1),
)


def _fits(merged: Merged, pattern: str) -> bool:
    parts = pattern.split("/")
    key = merged.key.name().split("/")
    return all(wanted in ("*", part) for wanted, part in zip(parts, key))


def _label(merged: Merged, with_size: bool = False) -> str:
    key = merged.key
    text = f"{key.subject} {key.metric}" + (f" [{key.setting}]" if key.setting != "-" else "")
    return f"{text} @{key.size:,}" if with_size and key.size else text


def _svg(figure: plt.Figure) -> str:
    """The figure without what only a file of its own needs."""
    text = io.StringIO()
    figure.savefig(text, format="svg", bbox_inches="tight")
    plt.close(figure)
    svg = text.getvalue()
    svg = re.sub(r"<metadata>.*?</metadata>", "", svg, flags=re.DOTALL)
    return svg[svg.index("<svg") :].strip()


def _draw(name: str, size: tuple[float, float], draw: Callable[[Axes], bool]) -> Optional[str]:
    """None when `draw` finds nothing to draw. The name keeps the plots' identifiers apart."""
    with matplotlib.rc_context({"svg.hashsalt": name, "svg.fonttype": "path", "font.size": 9}):
        figure, axes = plt.subplots(figsize=size)
        axes.grid(True, which="major", color="#dddddd", linewidth=0.6)
        axes.set_axisbelow(True)
        for side in ("top", "right"):
            axes.spines[side].set_visible(False)
        if not draw(axes):
            plt.close(figure)
            return None
        return _svg(figure)


def _plain_ticks(axis: Axis) -> None:
    """1,000 instead of ten to the third power."""
    axis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:,.10g}"))
    axis.set_minor_formatter(NullFormatter())


def _decades(values: Iterable[float]) -> tuple[float, float]:
    """Powers of ten around the values, so that a logarithmic axis has two numbers at least."""
    logarithms = [math.log10(value) for value in values if value > 0.0]
    if not logarithms:
        return 0.1, 1.0
    low = math.floor(min(logarithms))
    return 10.0**low, 10.0 ** max(low + 1, math.ceil(max(logarithms)))


def _draw_growth(
    axes: Axes, measured: Sequence[Merged], patterns: Sequence[str], unit: str, what: str = "values"
) -> bool:
    lines: dict[str, list[Merged]] = {}
    for pattern in patterns:
        for merged in measured:
            if merged.key.size > 0 and _fits(merged, pattern):
                lines.setdefault(_label(merged), []).append(merged)
    for number, (label, points) in enumerate(lines.items()):
        points.sort(key=lambda merged: merged.key.size)
        axes.plot(
            [merged.key.size for merged in points],
            [merged.value() / SECONDS_AND_BYTES[unit] for merged in points],
            marker="o",
            markersize=3,
            linestyle=FLOOR_STYLES.get(points[0].key.subject, "-"),
            color=COLOURS[number % len(COLOURS)],
            label=label,
        )
    axes.set(xscale="log", yscale="log", xlabel=what, ylabel=unit)
    _plain_ticks(axes.xaxis)
    _plain_ticks(axes.yaxis)
    if lines:
        axes.legend(fontsize=8, loc="upper left", bbox_to_anchor=(1.02, 1.0), frameon=False)
    return bool(lines)


def _draw_latencies(axes: Axes, measured: Sequence[Merged]) -> bool:
    found = [
        merged
        for name in LATENCIES
        for merged in measured
        if _fits(merged, name) and len(merged.quantiles) > 1
    ]
    for number, merged in enumerate(found):
        scale = SECONDS_AND_BYTES[merged.unit] / MICROSECOND
        steps = len(merged.quantiles) - 1
        axes.plot(
            [value * scale for value in merged.quantiles],
            [100.0 * step / steps for step in range(steps + 1)],
            linestyle=FLOOR_STYLES.get(merged.key.subject, "-"),
            color=COLOURS[number % len(COLOURS)],
            label=_label(merged, with_size=True),
        )
    axes.set(xscale="log", xlabel="microseconds", ylabel="percent that took no longer")
    _plain_ticks(axes.xaxis)
    if found:
        axes.set_xlim(
            _decades(
                value * SECONDS_AND_BYTES[merged.unit] / MICROSECOND
                for merged in found
                for value in merged.quantiles
            )
        )
        axes.legend(fontsize=8, loc="upper left", bbox_to_anchor=(1.02, 1.0), frameon=False)
    return bool(found)


def _draw_durable(axes: Axes, measured: Sequence[Merged]) -> bool:
    bars = [
        (_label(merged), merged.value() / MICROSECOND / changes, merged.key.subject)
        for pattern, changes in DURABLE
        for merged in measured
        if _fits(merged, pattern)
    ]
    bars.reverse()
    for row, (_, value, subject) in enumerate(bars):
        axes.barh(row, value, height=0.7, color=COLOURS[0] if subject == "product" else "#aaaaaa")
        axes.annotate(
            f" {value:,.3g}" if value < 1000 else f" {value:,.0f}", (value, row), va="center",
            fontsize=8,
        )
    axes.set_yticks(range(len(bars)), [label for label, _, _ in bars])
    axes.set(xscale="log", xlabel="microseconds a change")
    axes.set_xlim(_decades(value for _, value, _ in bars))
    _plain_ticks(axes.xaxis)
    return bool(bars)


def draw_all(measured: Sequence[Merged]) -> dict[str, str]:
    """The plots by their captions, of what was measured on one number of cores."""
    found = {
        "Operations in one process, by the number of values": _draw(
            "in-process", (7, 4), lambda axes: _draw_growth(axes, measured, IN_PROCESS, "ns")
        ),
        "Start of a process until it has all values, beside building or loading the same": _draw(
            "start-up", (7, 4), lambda axes: _draw_growth(axes, measured, START_UP, "ms")
        ),
        "Making and completing a schema, by the number of its nodes": _draw(
            "schema", (7, 3), lambda axes: _draw_growth(axes, measured, SCHEMA, "ms", "nodes")
        ),
        "From the change in one process until another one holds it": _draw(
            "latency", (7, 4), lambda axes: _draw_latencies(axes, measured)
        ),
        "Changes until they are kept as the setting promises; those in transactions of 100 "
        "divided by 100": _draw("durable", (7, 5), lambda axes: _draw_durable(axes, measured)),
    }
    return {caption: svg for caption, svg in found.items() if svg is not None}
