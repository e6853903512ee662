# SPDX-License-Identifier: MIT
"""The project's documents: which there are, their headings, links and tables."""

from __future__ import annotations

import re
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]


def documents() -> list[Path]:
    """All documents, those in hidden folders and build folders left out."""
    found = list(PROJECT.glob("*.md"))
    for folder in ("docs", "examples", "packaging", "tests", "Bindings"):
        found += (PROJECT / folder).rglob("*.md")
    return sorted(found)


def prose(text: str) -> str:
    """A document without its samples of code."""
    return re.sub(r"^( *)```.*?^\1```$", "", text, flags=re.MULTILINE | re.DOTALL)


def anchor(heading: str) -> str:
    """What a link calls a heading."""
    shown = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading).lower()
    return re.sub(r"[^\w\- ]", "", shown).strip().replace(" ", "-")


def anchors(text: str) -> set[str]:
    """What links may call the headings of a document; the second of two alike has -1."""
    found: set[str] = set()
    for heading in re.findall(r"^#+ (.*)$", prose(text), re.MULTILINE):
        name = anchor(heading)
        further = 0
        while (f"{name}-{further}" if further else name) in found:
            further += 1
        found.add(f"{name}-{further}" if further else name)
    return found


def links(text: str) -> list[str]:
    """Where the links of a document lead that stay in the project."""
    spans = re.sub(r"`[^`\n]*`", "``", prose(text))
    targets = re.findall(r"\]\(([^)\s]+)\)", spans)
    return [target for target in targets if not re.match(r"[a-z]+:", target)]


def rows(text: str) -> list[list[str]]:
    """The cells of all rows of a document's tables, headings and dividing lines left out."""
    found: list[list[str]] = []
    lines = prose(text).splitlines()
    for number, line in enumerate(lines):
        is_heading = number + 1 < len(lines) and re.match(r"\|[-|]+\|$", lines[number + 1])
        if line.startswith("| ") and not is_heading:
            cells = re.split(r"(?<!\\)\|", line)[1:-1]
            found.append([cell.strip().replace(r"\|", "|") for cell in cells])
    return found
