# SPDX-License-Identifier: MIT
"""Collects the texts that the sources show to users, with "..." for what differs each time."""

from __future__ import annotations

import re
from pathlib import Path

VARIES = "..."

# Calls whose texts are no messages: help, traces for developers, what the compiler says.
NO_MESSAGES = {
    "add_flag",
    "add_flag_callback",
    "add_option",
    "add_option_group",
    "add_subcommand",
    "footer",
    "CLI::App",
    "Declare",
    "option_text",
    "SendDebugOutput",
    "set_config",
    "set_help_flag",
    "set_version_flag",
    "sd_notify",
    "static_assert",
    "Trace",
    "TraceChange",
}
# Calls all of whose texts are messages, single words included.
MESSAGES = {"Format", "SyslogError", "SyslogWarning"}

TOKEN = re.compile(
    r"""
      (?P<comment>//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*)
    | (?P<raw>R"(?P<mark>\w*)\(.*?\)(?P=mark)")
    | (?P<text>"(?:[^"\\\n]|\\.)*")
    | (?P<letter>'(?:[^'\\\n]|\\.)+')
    | (?P<name>[A-Za-z_][\w]*(?:::[A-Za-z_]\w*)*)
    | (?P<space>\s+)
    | (?P<other>.)
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)
SPECIFIER = re.compile(r"%(?:[-+ #0]*[\d*]*(?:\.[\d*]+)?(?:hh|h|ll|l|z|j|t)?[a-zA-Z]|(?=$)|%)")
ESCAPES = {"n": " ", "t": " ", '"': '"', "\\": "\\", "'": "'"}
SQL = re.compile(
    r"\b(?:SELECT|INSERT|UPDATE \w+ SET|DELETE FROM|CREATE|PRAGMA|ROLLBACK|VACUUM|BEGIN|WHERE"
    r"|VALUES|ORDER BY|ALTER|DROP|INTEGER|TEXT|UNION|FROM|STRICT|REPLACE)\b"
)


class Token:
    """A piece of C++, and the calls around it, the innermost one last."""

    def __init__(self, kind: str, text: str, calls: tuple[str, ...], depth: int) -> None:
        self.kind, self.text, self.calls, self.depth = kind, text, calls, depth


def tokens(source: str) -> list[Token]:
    """The source without blanks and comments."""
    found: list[Token] = []
    calls: list[str] = []
    for match in TOKEN.finditer(source):
        kind, text = str(match.lastgroup), match.group()
        if match.group("raw"):
            kind = "raw"
        if kind in ("comment", "space"):
            continue
        if kind == "other" and text in "([{":
            calls.append(called(found) if text == "(" else text)
        if kind == "other" and text in ")]}" and calls:
            calls.pop()
        found.append(Token(kind, text, tuple(calls), len(calls)))
    return found


def called(before: list[Token]) -> str:
    """What an opening bracket calls: the name before it, or that of the object it constructs."""
    if not before or before[-1].kind != "name":
        return "("
    if len(before) > 1 and before[-2].kind == "name" and before[-2].text == "CLI::App":
        return "CLI::App"
    return before[-1].text


def unescaped(literal: str) -> str:
    """The text of a literal."""
    return re.sub(r"\\(.)", lambda match: ESCAPES.get(match.group(1), ""), literal[1:-1])


def plain(text: str) -> str:
    """A text with one blank where there are several, and one mark where several follow."""
    text = re.sub(r"\s+", " ", text)
    return re.sub(r"(?:\.\.\.)+", VARIES, text)


def is_end(token: Token, depth: int) -> bool:
    """Whether an expression that began at this depth ends before the token."""
    if token.depth < depth:
        return True
    return token.depth == depth and token.text in (",", ";", "?", ":", "<", ">", "=", "&", "|")


def expression(found: list[Token], start: int) -> tuple[str, int]:
    """The text of a sum that begins with a literal, and where it ends."""
    depth, text, at = found[start].depth, "", start
    operand_varies = False
    while at < len(found) and not is_end(found[at], depth):
        token = found[at]
        if token.kind == "text" and token.depth == depth:
            text += unescaped(token.text)
        elif token.text == "+" and token.depth == depth:
            operand_varies = False
        elif token.kind == "name" and token.depth == depth and token.text.startswith("PRI"):
            text += "d"  # completes the "%" before it
        elif not operand_varies:
            text += VARIES
            operand_varies = True
        at += 1
    return text, at


def texts(source: str) -> list[str]:
    """The messages of a source, or the parts that it makes messages of."""
    found = tokens(source)
    result: list[str] = []
    end = 0
    for at, token in enumerate(found):
        if token.kind != "text" or at < end:
            continue
        text, after = expression(found, at)
        if any(call in NO_MESSAGES or call.startswith("PROPERTY_") for call in token.calls):
            continue  # what begins like that is an attribute for the compiler
        # Texts within an operand, such as the argument of a call, come by themselves.
        end = at + 1 if any(inner.depth > token.depth for inner in found[at:after]) else after
        formatted = not MESSAGES.isdisjoint(token.calls)
        if formatted or "%" in text:
            text = SPECIFIER.sub(lambda match: "%" if match.group() == "%%" else VARIES, text)
        if is_condition(found, at) or SQL.search(text):
            continue
        text = plain(text).strip(" .")
        thrown = token.calls[-1:] == ("TCException",) and not text.startswith("/")
        if formatted or thrown or " " in text:
            result.append(text)
    return [text for text in result if re.search(r"[A-Za-z]{2}", text.replace(VARIES, ""))]


def is_condition(found: list[Token], at: int) -> bool:
    """Whether a literal is a condition of an exception that has a message, too."""
    if found[at].calls[-1:] != ("TCException",):
        return False
    while at < len(found) and found[at].depth >= len(found[at].calls) and found[at].text != ";":
        if found[at].text == "Format":
            return True
        at += 1
    return False


def of_files(files: list[Path]) -> dict[str, list[Path]]:
    """The messages of several files, each with those that have it."""
    result: dict[str, list[Path]] = {}
    for file in files:
        for text in texts(file.read_text(encoding="utf-8")):
            result.setdefault(text, []).append(file)
    return result


def of_python(files: list[Path]) -> dict[str, list[Path]]:
    """The same of sources in Python: what their exceptions say."""
    result: dict[str, list[Path]] = {}
    for file in files:
        for text in texts_of_python(file.read_text(encoding="utf-8")):
            result.setdefault(text, []).append(file)
    return result


def texts_of_python(source: str) -> list[str]:
    """The texts that a source in Python raises exceptions with."""
    found = re.findall(r'\braise \w+\(\s*f?"((?:[^"\\]|\\.)*)"', source)
    return [plain(re.sub(r"\{[^}]*\}", VARIES, text)).strip(" .") for text in found]
