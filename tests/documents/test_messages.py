# SPDX-License-Identifier: MIT
"""docs/troubleshooting.md has every message that users can meet, and none that is gone."""

from __future__ import annotations

import re
import unittest
from functools import lru_cache
from pathlib import Path

from markdown_documents import PROJECT, prose, rows
from source_messages import VARIES, of_files, of_python, plain, texts, texts_of_python

DOCUMENT = (PROJECT / "docs/troubleshooting.md").read_text(encoding="utf-8")
# Beside what is delivered are programs about it.
OTHER_FOLDERS = {"benchmarks", "examples", "tests"}
FOLDERS = sorted(
    file.parent.name
    for file in PROJECT.glob("*/CMakeLists.txt")
    if file.parent.name not in OTHER_FOLDERS
)

# Texts that no user meets as a message, and why.
INTERNAL = {
    **dict.fromkeys(("Boolean Field", "Choice Field", "String Field"), "names of types"),
    **dict.fromkeys(("(...), value", "), value", "governed by"), "what describe prints"),
    "one for each device": "what describe prints",
    **dict.fromkeys(("set at", "set by", "s unless it is confirmed"), "what explain prints"),
    "taken back in ... s unless it is confirmed": "what explain prints",
    "SECONDS LEFT": "a heading of confirm",
    "property: ...:...:": "what stands before a reason, which has an entry",
    ": ...; see --help": "what stands behind a reason, which has an entry",
    **dict.fromkeys(("last commit", "taken mails", "waiting mails"), "names of figures"),
    **dict.fromkeys(("Property Request All", "Property Request All Done"), "traces"),
    "on their way": "for the tests of the model",
    "READY=1 STATUS=Serving ... values": "told to the service manager",
    "test configuration": "stands for a file's name",
    "Once more:": "a question at a terminal",
    **dict.fromkeys(
        (
            "default-src 'none'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
            "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
            "connect-src 'self'; form-action 'none'; frame-ancestors 'none'; base-uri 'none'; "
            "require-trusted-types-for 'script'; trusted-types 'none'",
            "camera=(), geolocation=(), microphone=(), payment=(), usb=()",
            "public, max-age=31536000, immutable",
            "; Path=/; HttpOnly; SameSite=Strict",
            "; Secure",
            "; Max-Age=0",
            "Content-Type: ... Content-Length: ... Connection: close",
            "Content-Length: ... Connection: close",
            "Connection: close",
            "Service Unavailable",
            "URI Too Long",
        ),
        "what the console tells browsers in heads of answers",
    ),
    **dict.fromkeys(
        (
            "id: ... event: change data:",
            "event: change data:",
            "id: ... event: reload data: {}",
            "retry: 1000",
            "event: signed-out data: {}",
            'event: connection data: {"connected":',
        ),
        "what the console tells pages in streams",
    ),
    **dict.fromkeys(
        (
            "# HELP ... ... # TYPE",
            "Stored values",
            "Connections of programs",
            "Number of the last published mail",
            "Mails with changes, taken",
            "Mails with changes, refused or malformed",
            "Mails with changes that are taken and not stored yet",
            "Transactions of the database",
            "Answered requests, by the class of the status",
            "Tries to sign in",
            "Transactions that were asked for, those that take back others included",
            "Open sessions",
            "Open streams of events",
            "Whether the property server is reached",
            "When changes were last stored, in seconds since 1970; 0 for not yet",
            "Whether changes cannot be stored",
            "text/plain; version=0.0.4; charset=utf-8",
        ),
        "what the console tells programs that watch it",
    ),
    **dict.fromkeys(("once secret", "texts to erase"), "names in the database"),
    "id, start, counted, turn, parts, time, writer, number, link, mac, former, present":
        "columns of the database",
}

# Entries whose messages are not of these sources.
OTHERS: dict[str, str] = {
    "file too short": "the system's loader",
    "undefined symbol: ...": "the system's loader",
    "Too many open files": "the system",
}


def spans(text: str) -> list[str]:
    """What stands between backticks."""
    return [plain(span) for span in re.findall(r"`([^`\n]+)`", text)]


def pieces(text: str) -> list[str]:
    """The parts of a message that never differ, those without words left out."""
    parts = [part.strip(" :.") for part in text.split(VARIES)]
    return [part for part in parts if re.search(r"[A-Za-z]{2}", part)]


@lru_cache(maxsize=None)
def messages() -> dict[str, list[Path]]:
    """The messages of the sources, each with the files that have it."""
    files = [file for folder in FOLDERS for file in sorted((PROJECT / folder).rglob("*"))]
    found = of_files([file for file in files if file.suffix in (".h", ".cpp")])
    for text, sources in of_python([file for file in files if file.suffix == ".py"]).items():
        found.setdefault(text, []).extend(sources)
    return found


def entries() -> list[str]:
    """The messages that the document has rows for."""
    return [span for row in rows(DOCUMENT) for span in spans(row[0]) if " " in span]


def missing(found: dict[str, list[Path]]) -> dict[str, str]:
    """The messages that stand nowhere in the document, with their files."""
    shown = spans(prose(DOCUMENT))
    return {
        text: ", ".join(file.name for file in files)
        for text, files in found.items()
        if text not in INTERNAL and not any(text in span for span in shown)
    }


def gone(shown: list[str], found: dict[str, list[Path]]) -> list[str]:
    """The entries of which a part stands in no source."""
    everything = "\n".join(found)
    return [
        entry
        for entry in shown
        if entry not in OTHERS and not all(piece in everything for piece in pieces(entry))
    ]


class MessagesTest(unittest.TestCase):
    """The document beside the sources."""

    def test_each_message_has_an_entry(self) -> None:
        self.assertLessEqual({"PropertyServer", "PropertyConsole"}, set(FOLDERS))
        self.assertGreater(len(messages()), 300)
        self.assertEqual(missing(messages()), {})

    def test_each_entry_has_a_message(self) -> None:
        self.assertGreater(len(entries()), 300)
        self.assertEqual(gone(entries(), messages()), [])

    def test_what_is_internal_is_in_the_sources(self) -> None:
        self.assertEqual([text for text in INTERNAL if text not in messages()], [])

    def test_what_is_of_others_has_an_entry(self) -> None:
        self.assertEqual([text for text in OTHERS if text not in spans(DOCUMENT)], [])

    def test_each_row_says_something(self) -> None:
        for row in rows(DOCUMENT):
            with self.subTest(row):
                self.assertEqual(len(row), 2)
                self.assertTrue(spans(row[0]))


class CollectionTest(unittest.TestCase):
    """How messages are found in sources."""

    def test_a_new_message_is_missed(self) -> None:
        source = 'void F() { throw TCException(kSource, 1).Format("%s has no end", Name); }'
        self.assertEqual(texts(source), ["has no end"])
        self.assertEqual(missing({"has no end": [Path("F.cpp")]}), {"has no end": "F.cpp"})

    def test_an_entry_that_is_gone_is_found(self) -> None:
        self.assertEqual(gone(["a text that nobody says"], messages()), ["a text that nobody says"])

    def test_what_is_joined_is_one_message(self) -> None:
        source = 'Fail("user " + User + " may not read " "property " + Name);'
        self.assertEqual(texts(source), ["user ... may not read property"])

    def test_what_a_format_fills_in_varies(self) -> None:
        source = 'SyslogError("%zu of 100%% in %" PRIu64 " are %s here", A, B, C);'
        self.assertEqual(texts(source), ["of 100% in ... are ... here"])

    def test_a_condition_counts_where_there_is_no_message(self) -> None:
        self.assertEqual(texts('throw TCException(kSource, 1, "No!=__null");'), ["No!=__null"])
        self.assertEqual(
            texts('throw TCException(kSource, 1, "A != B").Format("no A");'), ["no A"]
        )

    def test_help_traces_and_questions_to_the_database_do_not_count(self) -> None:
        source = """
          // "a comment is none"
          App.add_flag("--x", m_X, "Show all of it");
          SendDebugOutput(DEBUG_COMMON, "Got %d values", Count);
          Prepare("SELECT a FROM b");
        """
        self.assertEqual(texts(source), [])

    def test_texts_of_python_count(self) -> None:
        source = 'raise ValueError(f"the record {record} has more than 32 bits")'
        self.assertEqual(texts_of_python(source), ["the record ... has more than 32 bits"])


if __name__ == "__main__":
    unittest.main()
