# SPDX-License-Identifier: MIT
"""Tests of reading and merging measurements."""

from __future__ import annotations

import json
import tempfile
import unittest
from pathlib import Path
from typing import Any

from measurements import (
    Key,
    MeasurementError,
    merge,
    read_file,
    read_google_benchmark,
    read_lines,
    write_lines,
)
from samples import line, measurement


class ReadLinesTest(unittest.TestCase):
    """Lines of JSON as the measuring programs write them."""

    def test_takes_every_field(self) -> None:
        (found,) = read_lines(line(), "x")
        self.assertEqual(found.key, Key("product", "notify", "relaxed", 10000, 2))
        self.assertEqual((found.unit, found.samples), ("us", 3))
        self.assertEqual((found.low, found.p50, found.p99, found.p999, found.high),
                         (10, 20.5, 30, 40, 50))
        self.assertEqual(found.quantiles, [10, 20.5, 50])

    def test_no_setting_has_the_name_of_none(self) -> None:
        (found,) = read_lines(line(setting="", size=0), "x")
        self.assertEqual(found.key.name(), "product/notify/-/0")

    def test_empty_lines_are_left_out(self) -> None:
        self.assertEqual(len(read_lines(f"\n{line()}\n\n{line()}\n", "x")), 2)

    def test_no_lines_are_no_measurements(self) -> None:
        self.assertEqual(read_lines("", "x"), [])

    def test_an_error_names_file_and_line(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "some.jsonl"
            path.write_text(f"{line()}\n\n{line()[:-5]}\n", encoding="utf-8")
            with self.assertRaisesRegex(MeasurementError, f"^{path}:3: "):
                read_file(path)

    def test_refuses_what_is_no_measurement(self) -> None:
        bad = {
            "no JSON": "hello",
            "no object": "[1, 2]",
            "no metric": line(metric=None),
            "no median": line(p50=None),
            "a text as median": line(p50="20"),
            "a truth as median": line(p50=True),
            "a size below zero": line(size=-1),
            "half a core": line(cores=0.5),
            "an unknown unit": line(unit="furlong"),
            "quantiles that are no list": line(quantiles=7),
            "a quantile that is no number": line(quantiles=[1, "x"]),
            "not a number": line(p50=float("nan")),
            "infinity": line(max=float("inf")),
        }
        for what, text in bad.items():
            with self.subTest(what), self.assertRaisesRegex(MeasurementError, "^x:1: "):
                read_lines(text, "x")

    def test_shows_the_beginning_of_a_line_that_is_no_json(self) -> None:
        with self.assertRaisesRegex(MeasurementError, r"no JSON .*: 'usage: a*'$") as caught:
            read_lines("usage: " + "a" * 1000, "x")
        self.assertLess(len(str(caught.exception)), 200)

    def test_names_the_field_that_is_wrong(self) -> None:
        with self.assertRaisesRegex(MeasurementError, '"samples"'):
            read_lines(line(samples="many"), "x")

    def test_reads_what_it_writes(self) -> None:
        written = [*read_lines(line(), "x"), *read_google_benchmark(google("a/b/c/1"), "y", 1)]
        self.assertEqual(read_lines(write_lines(written), "z"), written)


def google(*names: str, **changes: Any) -> str:
    """What Google Benchmark writes for these names, the first one 100 ns, the next one 101 ns."""
    benchmarks = [
        {
            "name": name,
            "run_type": "iteration",
            "repetitions": 1,
            "repetition_index": 0,
            "threads": 1,
            "iterations": 1000,
            "real_time": 100.0 + number,
            "cpu_time": 90.0,
            "time_unit": "ns",
            **changes,
        }
        for number, name in enumerate(names)
    ]
    return json.dumps({"context": {"num_cpus": 2}, "benchmarks": benchmarks})


class ReadGoogleBenchmarkTest(unittest.TestCase):
    """Documents of Google Benchmark."""

    def test_takes_names_apart(self) -> None:
        (found,) = read_google_benchmark(google("product/read_integer/own_mac/10000"), "x", 1)
        self.assertEqual(found.key, Key("product", "read_integer", "own_mac", 10000, 1))
        self.assertEqual((found.unit, found.p50, found.samples), ("ns", 100.0, 1))

    def test_what_follows_the_size_is_not_part_of_the_name(self) -> None:
        name = "product/read_by_2_threads/-/100/real_time/threads:2"
        (found,) = read_google_benchmark(google(name), "x", 2)
        self.assertEqual(found.key.name(), "product/read_by_2_threads/-/100")

    def test_the_time_is_that_of_each_thread(self) -> None:
        (found,) = read_google_benchmark(google("a/b/-/1", threads=2), "x", 2)
        self.assertEqual(found.p50, 200.0)

    def test_repetitions_are_samples(self) -> None:
        (found,) = read_google_benchmark(google(*["a/b/-/1"] * 3), "x", 2)
        self.assertEqual((found.samples, found.low, found.p50, found.high), (3, 100, 101, 102))

    def test_repetitions_have_no_high_percentiles(self) -> None:
        (found,) = read_google_benchmark(google("a/b/-/1"), "x", 2)
        self.assertIsNone(found.p99)
        self.assertIsNone(found.p999)

    def test_aggregates_are_left_out(self) -> None:
        text = google("a/b/-/1_mean", run_type="aggregate")
        self.assertEqual(read_google_benchmark(text, "x", 2), [])

    def test_a_counter_is_a_measurement(self) -> None:
        text = google("product/fill/-/10000", memory_per_value=123.5)
        time, memory = read_google_benchmark(text, "x", 2)
        self.assertEqual(time.key.metric, "fill")
        self.assertEqual(memory.key.name(), "product/memory_per_value/-/10000")
        self.assertEqual((memory.unit, memory.p50), ("B", 123.5))

    def test_rates_are_no_measurements(self) -> None:
        found = read_google_benchmark(google("a/b/-/1", items_per_second=5.0), "x", 2)
        self.assertEqual([measured.key.metric for measured in found], ["b"])

    def test_refuses_other_names_and_documents(self) -> None:
        bad = {
            "no size": google("a/b/c"),
            "a size that is no number": google("a/b/c/many"),
            "an empty part": google("a//c/1"),
            "an unknown unit": google("a/b/c/1", time_unit="m"),
            "no time": google("a/b/c/1", real_time=None),
            "no JSON": "{",
            "no benchmarks": "{}",
            "another document": "[]",
        }
        for what, text in bad.items():
            with self.subTest(what), self.assertRaisesRegex(MeasurementError, "^source"):
                read_google_benchmark(text, "source", 2)

    def test_a_benchmark_that_gave_up_is_an_error(self) -> None:
        text = google("a/b/c/1", error_occurred=True, error_message="no store")
        with self.assertRaisesRegex(MeasurementError, "no store"):
            read_google_benchmark(text, "x", 2)


class MergeTest(unittest.TestCase):
    """Rounds become one."""

    def test_percentiles_are_medians_of_the_rounds(self) -> None:
        (merged,) = merge(measurement("a/b/-/1", p50) for p50 in (30.0, 10.0, 20.0))
        self.assertEqual((merged.p50, merged.p99, merged.p999), (20, 60, 100))
        self.assertEqual((merged.rounds, merged.samples), (3, 30))

    def test_spread_is_that_of_the_medians_and_extremes_are_of_all_samples(self) -> None:
        (merged,) = merge(measurement("a/b/-/1", p50) for p50 in (30.0, 10.0, 20.0))
        self.assertEqual(merged.spread, (10, 30))
        self.assertEqual((merged.low, merged.high), (5, 300))

    def test_two_rounds_have_the_mean_of_both(self) -> None:
        (merged,) = merge(measurement("a/b/-/1", p50) for p50 in (10.0, 30.0))
        self.assertEqual(merged.p50, 20)

    def test_keeps_the_distribution_of_the_round_in_the_middle(self) -> None:
        (merged,) = merge(measurement("a/b/-/1", p50) for p50 in (30.0, 10.0, 20.0))
        self.assertEqual(merged.quantiles, [10, 20, 200])

    def test_a_percentile_of_some_rounds_is_that_of_those(self) -> None:
        rounds = [measurement("a/b/-/1", 10.0), measurement("a/b/-/1", 20.0)]
        rounds[1].p99 = None
        rounds[0].p999 = rounds[1].p999 = None
        (merged,) = merge(rounds)
        self.assertEqual(merged.p99, 30)
        self.assertIsNone(merged.p999)

    def test_keeps_apart_what_differs_in_one_part(self) -> None:
        names = ["a/b/-/1", "x/b/-/1", "a/x/-/1", "a/b/x/1", "a/b/-/2"]
        merged = merge([measurement(name, 1.0) for name in names]
                       + [measurement("a/b/-/1", 1.0, cores=1)])
        self.assertEqual(len(merged), 6)
        self.assertTrue(all(found.rounds == 1 for found in merged))

    def test_different_units_are_an_error(self) -> None:
        rounds = [measurement("a/b/-/1", 1.0), measurement("a/b/-/1", 1.0, unit="ms")]
        with self.assertRaisesRegex(MeasurementError, "a/b/-/1.*ms, us"):
            merge(rounds)

    def test_values_are_in_seconds_and_bytes(self) -> None:
        units = {"ns": 2e-9, "us": 2e-6, "ms": 2e-3, "s": 2.0, "B": 2.0, "KiB": 2048.0}
        for unit, value in units.items():
            with self.subTest(unit):
                (merged,) = merge([measurement("a/b/-/1", 2.0, unit=unit)])
                self.assertAlmostEqual(merged.value(), value, delta=value * 1e-9)


if __name__ == "__main__":
    unittest.main()
