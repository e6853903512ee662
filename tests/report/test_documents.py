# SPDX-License-Identifier: MIT
"""The figures in the README are those of docs/performance.md."""

from __future__ import annotations

import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
HEADER = "| what | beside | budget | ratio, 2 cores | ratio, 1 core | |"


def rows_below(header: str, text: str) -> list[str]:
    """The rows of the only table with this header."""
    lines = text.splitlines()
    if lines.count(header) != 1:
        raise ValueError(f"{lines.count(header)} tables with the header {header}")
    rows: list[str] = []
    for line in lines[lines.index(header) + 2 :]:  # below the line that divides them
        if not line.startswith("|"):
            break
        rows.append(line)
    return rows


class ReadmeTest(unittest.TestCase):
    """Its rows of budgets, beside all of them."""

    def test_each_row_is_one_of_all(self) -> None:
        of_readme, of_all = (
            rows_below(HEADER, (PROJECT / name).read_text(encoding="utf-8"))
            for name in ("README.md", "docs/performance.md")
        )
        self.assertTrue(of_readme)
        for row in of_readme:
            with self.subTest(row):
                self.assertIn(row, of_all)


if __name__ == "__main__":
    unittest.main()
