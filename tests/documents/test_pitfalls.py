# SPDX-License-Identifier: MIT
"""The mistakes that the guide for schema authors shows give the messages that it shows."""

from __future__ import annotations

import os
import re
import subprocess
import unittest
from functools import lru_cache
from pathlib import Path

from markdown_documents import PROJECT

PITFALLS = PROJECT / "tests/documents/pitfalls"
GUIDE = PROJECT / "docs/schema-authors-guide.md"
MODULES = Path(os.environ["PITFALL_MODULES"])
TOOL = os.environ["PROPERTY_TOOL"]


def mistakes() -> list[tuple[str, list[str]]]:
    """The samples of the guide's last part, each with the messages below it."""
    part = GUIDE.read_text(encoding="utf-8").split("\n## Mistakes and their messages\n")[1]
    found: list[tuple[str, list[str]]] = []
    for sample, below in re.findall(r"^```cpp\n(.*?)^```\n(.*?)(?=^```|\Z)", part, re.M | re.S):
        found.append((sample, re.findall(r"^> `(.*)`$", below, re.MULTILINE)))
    return found


def sources(sample: str) -> list[str]:
    """The names of the schemas that have the lines of a sample."""

    def flat(text: str) -> str:
        return re.sub(r"\s+", " ", text)

    names = sorted(source.stem for source in PITFALLS.glob("*.cpp"))
    return [
        name
        for name in names
        if flat(sample).strip() in flat((PITFALLS / f"{name}.cpp").read_text(encoding="utf-8"))
    ]


@lru_cache(maxsize=None)
def check(name: str) -> str:
    """All that the command says of a schema."""
    ended = subprocess.run(
        [TOOL, "--schema", MODULES / f"{name}.so", "schema", "check", "--plain"],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
        encoding="utf-8",
    )
    if ended.returncode != 1:
        raise AssertionError(f"{name} ends with {ended.returncode}: {ended.stdout}")
    return ended.stdout.replace("\\\\", "\\")  # as a column is written


class PitfallsTest(unittest.TestCase):
    """Each is compiled, and looked at by the command."""

    def test_each_mistake_gives_its_messages(self) -> None:
        found = mistakes()
        self.assertGreater(len(found), 10)
        for sample, messages in found:
            with self.subTest(sample):
                self.assertTrue(messages)
                names = sources(sample)
                self.assertTrue(names)
                said = "".join(check(name) for name in names)
                for message in messages:
                    self.assertIn(message, said)

    def test_each_schema_with_a_mistake_is_shown(self) -> None:
        shown = {name for sample, _ in mistakes() for name in sources(sample)}
        self.assertEqual(shown, {source.stem for source in PITFALLS.glob("*.cpp")})


if __name__ == "__main__":
    unittest.main()
