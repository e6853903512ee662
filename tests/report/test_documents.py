# SPDX-License-Identifier: MIT
"""The figures in the README are those of docs/performance.md, and samples those of the examples."""

from __future__ import annotations

import re
import textwrap
import unittest
from pathlib import Path
from typing import Optional

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


def samples(text: str) -> list[tuple[str, str]]:
    """The blocks of a document, each with its language; further in or not."""
    blocks = re.findall(r"^( *)```(\w*)\n(.*?)^\1```$", text, re.MULTILINE | re.DOTALL)
    return [(language, textwrap.dedent(lines)) for _, language, lines in blocks]


def holds(source: str, sample: str) -> bool:
    """Whether a program has the lines of a sample, one after the other, further in or not."""
    lines, wanted = source.splitlines(), sample.splitlines()
    for start in range(len(lines) - len(wanted) + 1):
        part = textwrap.dedent("\n".join(lines[start : start + len(wanted)]))
        if part.splitlines() == wanted:
            return True
    return False


class GuideTest(unittest.TestCase):
    """Its samples are parts of the examples, which are compiled, and run by the tests."""

    FILES = {
        "c": "*/*.c",
        "cmake": "*/CMakeLists.txt",
        "cpp": "*/*.[ch]*",
        "python": "*/*.py",
    }
    FURTHER = (
        "bindings.md",
        "event-loops.md",
        "schema-authors-guide.md",
        "testing.md",
        "transactions.md",
        "typed-handles.md",
    )
    RUN = ("console",)  # by the test package.guide
    SHOWN = ("sh",)  # how this project is installed, which each test of packages does
    TYPED = {"schema-authors-guide.md": SHOWN}  # commands around the samples

    def find(self, language: str, sample: str) -> Optional[Path]:
        """The example that has the sample."""
        mistakes = sorted((PROJECT / "tests/documents/pitfalls").glob("*.cpp"))
        for source in sorted((PROJECT / "examples").glob(self.FILES[language])) + mistakes:
            if holds(source.read_text(encoding="utf-8"), sample):
                return source
        return None

    def check(self, document: str, other_languages: tuple[str, ...]) -> None:
        """Each sample of the document is part of an example, or in a language that is run."""
        found = samples((PROJECT / "docs" / document).read_text(encoding="utf-8"))
        self.assertTrue(found)
        for language, sample in found:
            with self.subTest(sample):
                if language not in other_languages:
                    self.assertIn(language, self.FILES)
                    self.assertIsNotNone(self.find(language, sample))

    def test_each_sample_is_part_of_an_example_or_run(self) -> None:
        self.check("using.md", self.RUN + self.SHOWN)

    def test_each_sample_of_a_further_document_is_part_of_an_example(self) -> None:
        for document in self.FURTHER:
            with self.subTest(document):
                self.check(document, self.TYPED.get(document, ()))

    def test_only_the_installation_is_not_run(self) -> None:
        found = samples((PROJECT / "docs/using.md").read_text(encoding="utf-8"))
        shown = [sample for language, sample in found if language in self.SHOWN]
        self.assertEqual(len(shown), 1)
        self.assertIn("cmake --install", shown[0])

    def test_a_line_that_no_example_has_is_missed(self) -> None:
        self.assertIsNone(self.find("cpp", "nobody has written this;\n"))

    def test_lines_are_found_wherever_they_are_indented(self) -> None:
        sample = "if (A) {\n  B();\n}\n"
        self.assertTrue(holds("void F() {\n  if (A) {\n    B();\n  }\n}\n", sample))
        self.assertFalse(holds("if (A) {\nB();\n}\n", sample))

    def test_samples_further_in_are_seen(self) -> None:
        text = "- text\n\n  ```cpp\n  if (A) {\n    B();\n  }\n  ```\n\n```sh\nls\n```\n"
        self.assertEqual(
            samples(text), [("cpp", "if (A) {\n  B();\n}\n"), ("sh", "ls\n")]
        )


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
