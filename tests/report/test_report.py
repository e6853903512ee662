# SPDX-License-Identifier: MIT
"""Tests of the report's page, data and command line; plots are left to who looks at them."""

from __future__ import annotations

import contextlib
import io
import json
import sys
import tempfile
import types
import unittest
from pathlib import Path
from unittest import mock

import report
from budgets import MISSED, NOT_MEASURED, Budget, judge_all
from measurements import merge
from page import make_page
from samples import line, measurement

BUDGETS = [
    Budget("read", "product/read/-/100", ("map/read/-/100",), times=2.0),
    Budget("tell", "product/notify/-/100", ("map/read/-/100",), times=2.0),
]
MEASURED = merge([measurement("product/read/-/100", 3.0), measurement("map/read/-/100", 1.0)])


class PageTest(unittest.TestCase):
    """The HTML page."""

    def page(self, **failures: str) -> str:
        judged = {2: judge_all(BUDGETS, MEASURED, 2)}
        return make_page({"kernel": "<L>"}, failures, judged, {"a & b": "<svg></svg>"}, MEASURED)

    def test_shows_verdicts_raw_numbers_and_plots(self) -> None:
        page = self.page()
        self.assertIn(f'<td class="missed">{MISSED}</td>', page)
        self.assertIn(f'<td class="unknown">{NOT_MEASURED}</td>', page)
        self.assertIn("<td>map read</td>", page)
        self.assertIn("<figcaption>a &amp; b</figcaption>\n<svg></svg>", page)

    def test_texts_are_escaped(self) -> None:
        self.assertIn("&lt;L&gt;", self.page())
        self.assertNotIn("<L>", self.page())

    def test_names_what_failed(self) -> None:
        self.assertIn("<li>redis_peer: no &lt;server&gt;</li>", self.page(redis_peer="no <server>"))
        self.assertNotIn("failed", self.page())

    def test_refers_to_nothing_outside(self) -> None:
        for outside in ("http:", "https:", "src=", "href=", "@import", "url("):
            self.assertNotIn(outside, self.page())


class MainTest(unittest.TestCase):
    """The command line, with an empty build folder."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        plots = types.ModuleType("plots")
        plots.draw_all = lambda measured: {"a plot": "<svg></svg>"}
        patch = mock.patch.dict(sys.modules, {"plots": plots})
        patch.start()
        self.addCleanup(patch.stop)

    def run_main(self, *arguments: str) -> tuple[int, str, str]:
        with contextlib.redirect_stdout(io.StringIO()) as output:
            with contextlib.redirect_stderr(io.StringIO()) as errors:
                code = report.main(
                    ["--build", str(self.folder), "--output", str(self.folder / "new"), *arguments]
                )
        return code, output.getvalue(), errors.getvalue()

    def write_lines(self, *lines: str) -> Path:
        path = self.folder / "lines.jsonl"
        path.write_text("\n".join(lines), encoding="utf-8")
        return path

    def test_makes_a_report_of_earlier_lines(self) -> None:
        path = self.write_lines(
            line(metric="start_up", setting="", p50=4.0),
            line(subject="redis", metric="load", setting="", p50=5.0),
        )
        code, output, _ = self.run_main("--lines", str(path))
        self.assertEqual(code, 0)
        self.assertRegex(output, r"start up, 10,000 values +4 us +5 us +redis load @10,000 .* met\n")
        self.assertIn("not measured", output)
        self.assertIn("a plot", (self.folder / "new/report.html").read_text(encoding="utf-8"))
        results = json.loads((self.folder / "new/results.json").read_text(encoding="utf-8"))
        self.assertEqual(results["measurements"][0]["p50"], 4.0)
        self.assertEqual(results["measurements"][0]["key"]["subject"], "product")
        verdicts = {judgement["verdict"] for judgement in results["judgements"]["2"]}
        self.assertEqual(verdicts, {"met", "not measured"})
        self.assertIn("processor", results["machine"])

    def test_programs_that_are_not_built_are_failures(self) -> None:
        code, _, errors = self.run_main()
        self.assertEqual(code, 1)
        self.assertIn("nothing was measured", errors)

    def test_makes_a_report_of_what_there_is(self) -> None:
        program = self.folder / "benchmarks/peers/disk_floor"
        program.parent.mkdir(parents=True)
        text = line(subject="disk", metric="fdatasync")
        program.write_text(f"#!/bin/sh\necho '{text}'\n", encoding="utf-8")
        program.chmod(0o755)
        chosen = ("--only", "disk_floor", "--only", "map_floor")
        code, output, errors = self.run_main("--rounds", "1", *chosen)
        self.assertEqual(code, 1)
        self.assertIn("map_floor: was not built", errors)
        self.assertNotIn("redis_peer", errors)
        self.assertIn("report.html", output)
        lines = (self.folder / "new/lines.jsonl").read_text(encoding="utf-8")
        self.assertIn('"metric":"fdatasync"', lines)

    def test_an_unknown_program_is_refused(self) -> None:
        with self.assertRaisesRegex(SystemExit, "no program nothing_peer; there are: .*map_floor"):
            self.run_main("--only", "nothing_peer")

    def test_rounds_are_positive(self) -> None:
        for rounds in ("0", "-1", "many"):
            with self.subTest(rounds), self.assertRaises(SystemExit):
                self.run_main("--rounds", rounds)


class CoreSettingsTest(unittest.TestCase):
    """The sets of processor cores."""

    def test_free_on_two_and_pinned_to_the_first(self) -> None:
        self.assertEqual(report.core_settings([5, 3, 4]), [[3, 4], [3]])

    def test_one_core_is_used_once(self) -> None:
        self.assertEqual(report.core_settings([7]), [[7]])


if __name__ == "__main__":
    unittest.main()
