# SPDX-License-Identifier: MIT
"""Measurements: read from what programs wrote, and merged over the rounds."""

from __future__ import annotations

import dataclasses
import json
import math
import statistics
from pathlib import Path
from typing import Any, Iterable, NamedTuple, Optional

SECONDS_AND_BYTES = {
    "ns": 1e-9,
    "us": 1e-6,
    "ms": 1e-3,
    "s": 1.0,
    "B": 1.0,
    "KiB": 1024.0,
    "MiB": 1024.0 * 1024.0,
}

SHOWN_OF_A_LINE = 60

# What Google Benchmark writes beside a benchmark's own counters.
GOOGLE_FIELDS = frozenset(
    (
        "family_index",
        "per_family_instance_index",
        "repetitions",
        "repetition_index",
        "threads",
        "iterations",
        "real_time",
        "cpu_time",
        "items_per_second",
        "bytes_per_second",
    )
)


class MeasurementError(Exception):
    """What a program wrote is no measurement."""


class Key(NamedTuple):
    """What was measured, of whom and how; `setting` is "-" where there is none."""

    subject: str
    metric: str
    setting: str
    size: int
    cores: int

    def name(self) -> str:
        """The name by which budgets refer to it."""
        return f"{self.subject}/{self.metric}/{self.setting}/{self.size}"


@dataclasses.dataclass
class Measurement:
    """What one program measured in one round. Percentiles that nobody knows are None."""

    key: Key
    unit: str
    samples: int
    low: float
    p50: float
    high: float
    p99: Optional[float] = None
    p999: Optional[float] = None
    quantiles: list[float] = dataclasses.field(default_factory=list)


@dataclasses.dataclass
class Merged:
    """All rounds of a measurement: medians of the rounds' percentiles, and the spread of their p50.

    `quantiles` are those of the round whose p50 is nearest to the median.
    """

    key: Key
    unit: str
    rounds: int
    samples: int
    low: float
    p50: float
    p99: Optional[float]
    p999: Optional[float]
    high: float
    spread: tuple[float, float]
    quantiles: list[float]

    def value(self) -> float:
        """The median in seconds or bytes."""
        return self.p50 * SECONDS_AND_BYTES[self.unit]


def _number(record: dict[str, Any], field: str, optional: bool = False) -> Optional[float]:
    value = record.get(field)
    if value is None and optional:
        return None
    if isinstance(value, bool) or not isinstance(value, (int, float)) or not math.isfinite(value):
        raise ValueError(f'"{field}" is no number: {value!r}')
    return float(value)


def _count(record: dict[str, Any], field: str) -> int:
    value = record.get(field)
    if isinstance(value, bool) or not isinstance(value, int) or value < 0:
        raise ValueError(f'"{field}" is no count: {value!r}')
    return value


def _text(record: dict[str, Any], field: str) -> str:
    value = record.get(field)
    if not isinstance(value, str):
        raise ValueError(f'"{field}" is no text: {value!r}')
    return value


def _unit(unit: str) -> str:
    if unit not in SECONDS_AND_BYTES:
        raise ValueError(f'unknown unit "{unit}"')
    return unit


def _measurement_of(record: Any) -> Measurement:
    if not isinstance(record, dict):
        raise ValueError("no object")
    key = Key(
        _text(record, "subject"),
        _text(record, "metric"),
        _text(record, "setting") or "-",
        _count(record, "size"),
        _count(record, "cores"),
    )
    quantiles = record.get("quantiles", [])
    if not isinstance(quantiles, list):
        raise ValueError('"quantiles" is no list')
    return Measurement(
        key=key,
        unit=_unit(_text(record, "unit")),
        samples=_count(record, "samples"),
        low=_number(record, "min"),
        p50=_number(record, "p50"),
        high=_number(record, "max"),
        p99=_number(record, "p99", optional=True),
        p999=_number(record, "p999", optional=True),
        quantiles=[_number({"quantiles": value}, "quantiles") for value in quantiles],
    )


def _record_of(line: str) -> Any:
    try:
        return json.loads(line)
    except ValueError as error:
        raise ValueError(f"no JSON ({error}): {line[:SHOWN_OF_A_LINE]!r}") from error


def read_lines(text: str, source: str) -> list[Measurement]:
    """The measurements of `text`, one a line; `source` names it in errors."""
    found = []
    for number, line in enumerate(text.splitlines(), start=1):
        if not line.strip():
            continue
        try:
            found.append(_measurement_of(_record_of(line)))
        except ValueError as error:
            raise MeasurementError(f"{source}:{number}: {error}") from error
    return found


def read_file(path: Path) -> list[Measurement]:
    """The measurements of a file, one a line."""
    return read_lines(path.read_text(encoding="utf-8"), str(path))


def write_lines(measurements: Iterable[Measurement]) -> str:
    """The lines that `read_lines` reads."""
    lines = []
    for measurement in measurements:
        record = measurement.key._asdict()
        record.update(
            unit=measurement.unit,
            samples=measurement.samples,
            min=measurement.low,
            p50=measurement.p50,
            p99=measurement.p99,
            p999=measurement.p999,
            max=measurement.high,
            quantiles=measurement.quantiles,
        )
        lines.append(json.dumps(record, separators=(",", ":")) + "\n")
    return "".join(lines)


def _google_name(name: str, cores: int) -> Key:
    """From subject/metric/setting/size; more parts, as "threads:2", are Google Benchmark's own."""
    parts = name.split("/")
    if len(parts) < 4 or not parts[3].isdecimal() or not all(parts[:3]):
        raise ValueError(f'the name "{name}" is not subject/metric/setting/size')
    return Key(parts[0], parts[1], parts[2], int(parts[3]), cores)


def _repeated(key: Key, unit: str, values: list[float]) -> Measurement:
    return Measurement(
        key=key,
        unit=unit,
        samples=len(values),
        low=min(values),
        p50=statistics.median(values),
        high=max(values),
    )


def _google_values(benchmark: dict[str, Any], key: Key) -> Iterable[tuple[Key, str, float]]:
    # Google Benchmark divides the time by the calls of all threads; each thread takes so many times
    # as long for one of its own.
    time = _number(benchmark, "real_time") * _number(benchmark, "threads")
    yield key, _unit(_text(benchmark, "time_unit")), time
    for field, value in benchmark.items():
        if isinstance(value, (int, float)) and field not in GOOGLE_FIELDS:
            yield key._replace(metric=field), "B", _number(benchmark, field)


def read_google_benchmark(text: str, source: str, cores: int) -> list[Measurement]:
    """The measurements that Google Benchmark wrote as JSON, measured on `cores` cores.

    A benchmark's repetitions are the samples of a measurement. A counter of a benchmark is a
    measurement of its own, in bytes, with the counter's name as metric.
    """
    values: dict[tuple[Key, str], list[float]] = {}
    try:
        for benchmark in json.loads(text)["benchmarks"]:
            if benchmark.get("run_type") == "aggregate":
                continue
            name = _text(benchmark, "name")
            if benchmark.get("error_occurred"):
                raise ValueError(f'{name}: {benchmark.get("error_message")}')
            for key, unit, value in _google_values(benchmark, _google_name(name, cores)):
                values.setdefault((key, unit), []).append(value)
    except (ValueError, KeyError, TypeError, AttributeError) as error:
        raise MeasurementError(f"{source}: not what Google Benchmark writes: {error}") from error
    return [_repeated(key, unit, found) for (key, unit), found in values.items()]


def _median(values: Iterable[Optional[float]]) -> Optional[float]:
    known = [value for value in values if value is not None]
    return statistics.median(known) if known else None


def _merge(key: Key, rounds: list[Measurement]) -> Merged:
    units = sorted({measurement.unit for measurement in rounds})
    if len(units) > 1:
        raise MeasurementError(f"{key.name()}: measured in different units: {', '.join(units)}")
    middle = statistics.median(measurement.p50 for measurement in rounds)
    nearest = min(rounds, key=lambda measurement: abs(measurement.p50 - middle))
    return Merged(
        key=key,
        unit=units[0],
        rounds=len(rounds),
        samples=sum(measurement.samples for measurement in rounds),
        low=min(measurement.low for measurement in rounds),
        p50=middle,
        p99=_median(measurement.p99 for measurement in rounds),
        p999=_median(measurement.p999 for measurement in rounds),
        high=max(measurement.high for measurement in rounds),
        spread=(
            min(measurement.p50 for measurement in rounds),
            max(measurement.p50 for measurement in rounds),
        ),
        quantiles=nearest.quantiles,
    )


def merge(measurements: Iterable[Measurement]) -> list[Merged]:
    """Each measurement once, over all rounds, in order of their keys."""
    rounds: dict[Key, list[Measurement]] = {}
    for measurement in measurements:
        rounds.setdefault(measurement.key, []).append(measurement)
    return [_merge(key, rounds[key]) for key in sorted(rounds)]
