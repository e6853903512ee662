# SPDX-License-Identifier: MIT
"""Tests of budgets: what is met, what is missed, what nobody has measured."""

from __future__ import annotations

import tempfile
import unittest
from pathlib import Path

import budgets
from budgets import MET, MISSED, NOT_MEASURED, Budget, judge, judge_all, read_budgets
from measurements import MeasurementError, Merged, merge
from samples import measurement
from tables import quantity, row, text_table

READ = Budget("read", "product/read/-/100", ("map/read/-/100",), times=2.0)


def both(product: float, beside: float) -> list[Merged]:
    """Measurements for `READ`."""
    return merge(
        [measurement("product/read/-/100", product), measurement("map/read/-/100", beside)]
    )


class JudgeTest(unittest.TestCase):
    """One budget beside measurements."""

    def test_met_up_to_the_factor_itself(self) -> None:
        measured = both(2.0, 1.0)
        judgement = judge(READ, measured)
        self.assertEqual((judgement.verdict, judgement.ratio), (MET, 2.0))

    def test_missed_beyond_the_factor(self) -> None:
        measured = both(2.1, 1.0)
        judgement = judge(READ, measured)
        self.assertEqual(judgement.verdict, MISSED)
        self.assertAlmostEqual(judgement.ratio, 2.1)

    def test_different_units_are_compared_as_times(self) -> None:
        measured = merge([
            measurement("product/read/-/100", 1900.0, unit="ns"),
            measurement("map/read/-/100", 1.0, unit="us"),
        ])
        self.assertAlmostEqual(judge(READ, measured).ratio, 1.9)

    def test_without_a_measurement_nothing_is_met(self) -> None:
        sides = {
            "map/read/-/100": measurement("product/read/-/100", 1.0),
            "product/read/-/100": measurement("map/read/-/100", 1.0),
        }
        for lacking, there in sides.items():
            with self.subTest(lacking):
                judgement = judge(READ, merge([there]))
                self.assertEqual(judgement.verdict, NOT_MEASURED)
                self.assertEqual(judgement.lacking, (lacking,))
                self.assertIsNone(judgement.ratio)

    def test_without_any_measurement_nothing_is_met(self) -> None:
        self.assertEqual(judge(READ, []).verdict, NOT_MEASURED)

    def test_another_size_is_another_measurement(self) -> None:
        measured = merge([
            measurement("product/read/-/100", 1.0), measurement("map/read/-/1000", 1.0)
        ])
        self.assertEqual(judge(READ, measured).verdict, NOT_MEASURED)

    def test_beside_nothing_is_not_met(self) -> None:
        measured = both(1.0, 0.0)
        self.assertEqual(judge(READ, measured).verdict, NOT_MEASURED)

    def test_several_beside_are_added(self) -> None:
        budget = Budget("both", "product/read/-/1", ("a/b/-/1", "c/d/-/1"), times=1.5)
        measured = merge([
            measurement("product/read/-/1", 15.0),
            measurement("a/b/-/1", 4.0),
            measurement("c/d/-/1", 6.0),
        ])
        self.assertAlmostEqual(judge(budget, measured).ratio, 1.5)
        self.assertEqual(judge(budget, measured[:-1]).verdict, NOT_MEASURED)

    def test_one_of_several_beside_lacking_is_not_measured(self) -> None:
        budget = Budget("both", "product/read/-/1", ("a/b/-/1", "c/d/-/1"), times=1.5)
        measured = merge([measurement("product/read/-/1", 1.0), measurement("a/b/-/1", 4.0)])
        judgement = judge(budget, measured)
        self.assertEqual((judgement.verdict, judgement.lacking), (NOT_MEASURED, ("c/d/-/1",)))

    def test_beside_is_divided(self) -> None:
        budget = Budget("part", "product/read/-/1", ("a/b/-/1",), times=1.0, divided_by=100.0)
        measured = merge([measurement("product/read/-/1", 3.0), measurement("a/b/-/1", 200.0)])
        judgement = judge(budget, measured)
        self.assertAlmostEqual(judgement.ratio, 1.5)
        self.assertEqual(judgement.verdict, MISSED)

    def test_any_size_is_the_only_one(self) -> None:
        budget = Budget("any", "product/read/-/1", ("a/b/-/*",), times=1.0)
        measured = [measurement("product/read/-/1", 3.0), measurement("a/b/-/77", 4.0)]
        self.assertEqual(judge(budget, merge(measured)).verdict, MET)
        judgement = judge(budget, merge([*measured, measurement("a/b/-/78", 4.0)]))
        self.assertEqual(judgement.verdict, NOT_MEASURED)
        self.assertEqual(judgement.lacking, ("a/b/-/* may be any of the sizes 77, 78",))

    def test_memory_beside_time_is_an_error(self) -> None:
        measured = merge([
            measurement("product/read/-/100", 1.0, unit="B"), measurement("map/read/-/100", 1.0)
        ])
        with self.assertRaisesRegex(MeasurementError, "memory beside time"):
            judge(READ, measured)

    def test_each_number_of_cores_is_judged_by_its_own_measurements(self) -> None:
        measured = merge([
            measurement("product/read/-/100", 1.0, cores=2),
            measurement("map/read/-/100", 1.0, cores=2),
            measurement("product/read/-/100", 5.0, cores=1),
            measurement("map/read/-/100", 1.0, cores=1),
        ])
        self.assertEqual(judge_all([READ], measured, cores=2)[0].verdict, MET)
        self.assertEqual(judge_all([READ], measured, cores=1)[0].verdict, MISSED)
        self.assertEqual(judge_all([READ], measured, cores=4)[0].verdict, NOT_MEASURED)


class ReadBudgetsTest(unittest.TestCase):
    """The file of budgets."""

    def read(self, text: str) -> list[Budget]:
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "budgets.json"
            path.write_text(text, encoding="utf-8")
            return read_budgets(path)

    def test_takes_every_field(self) -> None:
        found = self.read('{"budgets": [{"what": "w", "product": "p/m/-/1", "beside": ["a/b/c/2"],'
                          ' "times": 2.5, "beside_divided_by": 100}]}')
        self.assertEqual(found, [Budget("w", "p/m/-/1", ("a/b/c/2",), 2.5, 100.0)])

    def test_refuses_what_is_no_budget(self) -> None:
        bad = {
            "no JSON": "{",
            "no list": "{}",
            "no factor": '{"budgets": [{"what": "w", "product": "p/m/-/1",'
                         ' "beside": ["a/b/c/2"]}]}',
            "half a name": '{"budgets": [{"what": "w", "product": "p/m", "beside": ["a/b/c/2"],'
                           ' "times": 1}]}',
            "nothing beside": '{"budgets": [{"what": "w", "product": "p/m/-/1", "beside": [],'
                              ' "times": 1}]}',
            "no times": '{"budgets": [{"what": "w", "product": "p/m/-/1", "beside": ["a/b/c/2"],'
                        ' "times": 0}]}',
        }
        for what, text in bad.items():
            with self.subTest(what), self.assertRaisesRegex(MeasurementError, "budgets.json"):
                self.read(text)

    def test_the_project_s_own_are_sound_and_different(self) -> None:
        found = read_budgets(Path(budgets.__file__).with_name("budgets.json"))
        self.assertGreater(len(found), 10)
        self.assertEqual(len({(budget.product, budget.beside) for budget in found}), len(found))
        for budget in found:
            self.assertTrue(budget.product.startswith("product/"), budget)


class TablesTest(unittest.TestCase):
    """Numbers as text."""

    def test_quantities_have_units_that_suit_them(self) -> None:
        times = {2e-9: "2 ns", 1.5e-6: "1.5 us", 0.1234: "123 ms", 3.0: "3 s", 0.0: "0 ns"}
        for value, text in times.items():
            self.assertEqual(quantity(value, is_memory=False), text)
        memory = {12.0: "12 B", 2048.0: "2 KiB", 3.5 * 1024 * 1024: "3.5 MiB"}
        for value, text in memory.items():
            self.assertEqual(quantity(value, is_memory=True), text)

    def test_a_row_says_all(self) -> None:
        budget = Budget("part", "product/x/full/1", ("a/b/full/10000",), 1.0, divided_by=100.0)
        measured = merge([
            measurement("product/x/full/1", 3.0), measurement("a/b/full/10000", 200.0)
        ])
        self.assertEqual(
            row(judge(budget, measured)),
            ("part", "3 us", "2 us", "a b [full] @10,000 / 100", "1.5", "<= 1", MISSED),
        )

    def test_a_row_says_what_is_not_known(self) -> None:
        cells = row(judge(READ, []))
        self.assertEqual((cells[1], cells[2], cells[4], cells[6]), ("-", "-", "-", NOT_MEASURED))

    def test_columns_are_aligned(self) -> None:
        table = text_table(("a", "b"), [("long one", "x"), ("s", "y")])
        self.assertEqual(table, "a         b\n--------  -\nlong one  x\ns         y")


if __name__ == "__main__":
    unittest.main()
