#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What scripts/check asks of the text of C++ files and no other tool asks of all of them."""

from __future__ import annotations

import re
import sys
from pathlib import Path
from typing import Iterator, Sequence

# Files that throw in the name of another: users know these sources and lines.
SOURCES_OF_OTHERS: dict[str, str] = {
    "CommonProperties/Store/TCCurrentDevice.cpp": "../CommonProperties/TCPropertyCollection",
    "CommonProperties/Store/TCPropertyReader.cpp": "../CommonProperties/TCPropertyCollection",
}

HEADING = re.compile(r"^ *// *[-=*#]{2,}.*$|^ */{4,}.*$", re.MULTILINE)
GOOD_HEADING = re.compile(r"^ *// ---- [^ -].*[^ -] ----$")
SOURCE = re.compile(
    r'"(\.\./(?:Platform|CommonProperties|PropertyInterface|SchemaLibrary|PropertyServer|PropertyTool|PropertyConsole|ServerClient)'
    r'/[^"]*)"'
)
NO_CODE = re.compile(
    r'R"(?P<mark>\w*)\(.*?\)(?P=mark)"'  # texts that may hold anything
    r"|//[^\n]*|/\*.*?\*/"
    r'|"(?:\\.|[^"\\\n])*"'
    r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])*'"  # not what divides the digits of a number
    r"|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*",
    re.DOTALL | re.MULTILINE,
)
STATEMENT = re.compile(r"\b(?:(?P<condition>if|for|while)\s*(?:constexpr\s*)?\(|(?P<bare>else|do)\b)")

Finding = tuple[int, str]  # a place in the text and what is wrong there


def code_of(text: str) -> str:
    """The text with blanks for all that is no code, so that places stay what they are."""
    return NO_CODE.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)


def end_of_brackets(code: str, place: int) -> int:
    """The place behind the bracket that closes the one just before `place`."""
    depth = 1
    while depth > 0 and place < len(code):
        depth += {"(": 1, ")": -1}.get(code[place], 0)
        place += 1
    return place


def without_braces(text: str) -> Iterator[Finding]:
    """Statements of if, else, for, while and do that are no blocks."""
    code = code_of(text)
    for match in STATEMENT.finditer(code):
        word = match["condition"] or match["bare"]
        end = match.end() if match["bare"] else end_of_brackets(code, match.end())
        rest = code[end:].lstrip()
        closes_do = word == "while" and rest.startswith(";") and code[: match.start()].rstrip().endswith("}")
        chained = word == "else" and re.match(r"if\b", rest)
        if not rest.startswith("{") and not closes_do and not chained:
            yield match.start(), f"{word} without braces"


def other_headings(text: str) -> Iterator[Finding]:
    """Lines that divide a file but have another form than `// ---- heading ----`."""
    for match in HEADING.finditer(text):
        if not GOOD_HEADING.match(match.group()):
            yield match.start(), "a heading in another form than // ---- heading ----"


def sources_of_others(text: str, file: str) -> Iterator[Finding]:
    """Exceptions that name another file than the one that throws them."""
    path = Path(file)
    if path.parts[0] in ("tests", "benchmarks", "examples"):
        return
    own = SOURCES_OF_OTHERS.get(file, f"../{path.with_suffix('')}")
    for match in SOURCE.finditer(text):
        if match[1] != own:
            yield match.start(), f'an exception\'s source "{match[1]}", expected "{own}"'


def findings(text: str, file: str) -> list[str]:
    """All that is wrong in a file, as FILE:LINE: what."""
    found = [*without_braces(text), *other_headings(text), *sources_of_others(text, file)]
    return [f"{file}:{text.count(chr(10), 0, place) + 1}: {what}" for place, what in sorted(found)]


def main(files: Sequence[str]) -> int:
    """0 when nothing is wrong in any of the files."""
    found = [line for file in files for line in findings(Path(file).read_text("utf-8"), file)]
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
