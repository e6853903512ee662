# SPDX-License-Identifier: MIT
"""The index of decisions has each of them, with its title and what takes its place."""

from __future__ import annotations

import re
import unittest

from markdown_documents import PROJECT, rows

FOLDER = PROJECT / "docs/decisions"
INDEX = (FOLDER / "README.md").read_text(encoding="utf-8")


def titles() -> dict[str, str]:
    """The titles of all decisions by the names of their files."""
    found: dict[str, str] = {}
    for decision in sorted(FOLDER.glob("[0-9]*.md")):
        first = decision.read_text(encoding="utf-8").splitlines()[0]
        found[decision.name] = first.removeprefix("# ")
    return found


def superseded() -> dict[str, str]:
    """The numbers of decisions that say so of themselves, with the number in their place."""
    found: dict[str, str] = {}
    for name in titles():
        said = re.search(
            r"^\*Superseded by (\d{4})\b", (FOLDER / name).read_text(encoding="utf-8"), re.MULTILINE
        )
        if said:
            found[name[:4]] = said.group(1)
    return found


def listed() -> list[tuple[str, str, str]]:
    """File, title and what stands of each row."""
    found: list[tuple[str, str, str]] = []
    for row in rows(INDEX):
        link = re.fullmatch(r"\[(\d{4})\]\((\1-[\w-]+\.md)\)", row[0])
        if link is None or len(row) != 4 or not row[2]:
            raise ValueError(f"no row of a decision: {row}")
        found.append((link.group(2), row[1], row[3]))
    return found


class DecisionsTest(unittest.TestCase):
    """docs/decisions and its README.md."""

    def test_each_decision_is_listed_once_in_order(self) -> None:
        self.assertEqual([name for name, _, _ in listed()], list(titles()))

    def test_no_number_is_used_twice(self) -> None:
        numbers = [name[:4] for name in titles()]
        self.assertEqual(numbers, sorted(set(numbers)))

    def test_each_row_has_the_title_of_its_decision(self) -> None:
        self.assertEqual({name: title for name, title, _ in listed()}, titles())

    def test_the_rows_say_what_is_superseded_and_by_what(self) -> None:
        said: dict[str, str] = {}
        other_way: dict[str, str] = {}
        for name, _, stands in listed():
            gone = re.fullmatch(r"superseded by (\d{4})", stands)
            still = re.fullmatch(r"yes(?:; supersedes (\d{4}(?:, \d{4})*))?", stands)
            self.assertTrue(gone or still, f"{name}: {stands}")
            if gone:
                said[name[:4]] = gone.group(1)
            elif still and still.group(1):
                other_way |= {number: name[:4] for number in still.group(1).split(", ")}
        self.assertEqual(said, superseded())
        self.assertEqual(other_way, superseded())


if __name__ == "__main__":
    unittest.main()
