# SPDX-License-Identifier: MIT
"""Measurements made by hand for tests."""

from __future__ import annotations

import json
from typing import Any

from measurements import Key, Measurement


def measurement(name: str, p50: float, cores: int = 2, unit: str = "us") -> Measurement:
    """Named subject/metric/setting/size, with percentiles in proportion to the median."""
    subject, metric, setting, size = name.split("/")
    return Measurement(
        key=Key(subject, metric, setting, int(size), cores),
        unit=unit,
        samples=10,
        low=p50 / 2,
        p50=p50,
        high=p50 * 10,
        p99=p50 * 3,
        p999=p50 * 5,
        quantiles=[p50 / 2, p50, p50 * 10],
    )


def line(**changes: Any) -> str:
    """A line as measuring programs write it; a field changed to None is left out."""
    record = {
        "subject": "product",
        "metric": "notify",
        "setting": "relaxed",
        "unit": "us",
        "size": 10000,
        "cores": 2,
        "samples": 3,
        "min": 10,
        "p50": 20.5,
        "p99": 30,
        "p999": 40,
        "max": 50,
        "quantiles": [10, 20.5, 50],
    }
    record.update(changes)
    return json.dumps({field: value for field, value in record.items() if value is not None})
