# SPDX-License-Identifier: MIT
"""Links between the documents lead somewhere, and the README leads to all of them."""

from __future__ import annotations

import re
import unittest
from pathlib import Path

from markdown_documents import PROJECT, anchors, documents, links, prose, rows


def broken(document: Path, text: str) -> list[str]:
    """The links of a document that lead nowhere, to a file or within one."""
    found: list[str] = []
    for link in links(text):
        path, _, part = link.partition("#")
        target = (document.parent / path).resolve() if path else document
        if not target.exists():
            found.append(link)
        elif part and target.suffix == ".md":
            there = text if target == document else target.read_text(encoding="utf-8")
            if part not in anchors(there):
                found.append(link)
    return found


def missing(text: str) -> list[str]:
    """The documents that a text names without a link and that do not exist."""
    names = re.findall(r"\bdocs/[\w/-]+\.md\b", prose(text))
    return [name for name in names if not (PROJECT / name).exists()]


class LinksTest(unittest.TestCase):
    """All documents of the project."""

    def test_each_link_leads_somewhere(self) -> None:
        found = documents()
        self.assertIn(PROJECT / "docs/using.md", found)
        for document in found:
            with self.subTest(document.relative_to(PROJECT)):
                self.assertEqual(broken(document, document.read_text(encoding="utf-8")), [])

    def test_each_document_that_is_named_exists(self) -> None:
        for document in documents():
            with self.subTest(document.relative_to(PROJECT)):
                self.assertEqual(missing(document.read_text(encoding="utf-8")), [])

    def test_a_link_to_no_file_is_broken(self) -> None:
        self.assertEqual(broken(PROJECT / "README.md", "[a](docs/no.md)"), ["docs/no.md"])

    def test_a_link_to_no_heading_is_broken(self) -> None:
        document = PROJECT / "README.md"
        self.assertEqual(broken(document, "# One part\n[a](#one-part)\n"), [])
        self.assertEqual(broken(document, "# One part\n[a](#two)\n"), ["#two"])

    def test_what_code_shows_is_no_link(self) -> None:
        self.assertEqual(links("`[a](b.md)`\n\n```cpp\n[](auto)(c.md)\n```\n"), [])

    def test_the_second_heading_of_one_name_has_a_number(self) -> None:
        self.assertEqual(anchors("# A b\n## A b\n"), {"a-b", "a-b-1"})


class ReadmeTest(unittest.TestCase):
    """Its table of documents."""

    def test_it_lists_every_document(self) -> None:
        text = (PROJECT / "README.md").read_text(encoding="utf-8")
        listed = {link for row in rows(text) for cell in row for link in links(cell)}
        for document in sorted((PROJECT / "docs").glob("*.md")):
            with self.subTest(document.name):
                self.assertIn(f"docs/{document.name}", listed)


if __name__ == "__main__":
    unittest.main()
