# SPDX-License-Identifier: MIT
"""Tests of what scripts/check asks of the text of C++ files."""

from __future__ import annotations

import unittest

from check_sources import findings


def found(text: str, file: str = "Platform/Utility/TCThing.cpp") -> list[str]:
    """What is wrong, without the file."""
    return [line.removeprefix(f"{file}:") for line in findings(text, file)]


class BracesTest(unittest.TestCase):
    """Statements that are no blocks."""

    def test_finds_each_statement_without_braces(self) -> None:
        lacking = {
            "if (A) B();": "1: if without braces",
            "if (A) {\n} else\n  B();": "2: else without braces",
            "for (int A : B)\n  C();": "1: for without braces",
            "while (A) B();": "1: while without braces",
            "do B(); while (A);": "1: do without braces",
            "if constexpr (A) B();": "1: if without braces",
            "if (A(B, (C)))\n  D();": "1: if without braces",
        }
        for text, finding in lacking.items():
            with self.subTest(text):
                self.assertIn(finding, found(text))

    def test_blocks_and_chains_are_right(self) -> None:
        for text in ("if (A(B)) {\n}", "if (A) {\n} else if (B) {\n} else {\n}", "for (;;) {\n}",
                     "do {\n} while (A);", "while (A) {\n}", "if constexpr (A) {\n}"):
            with self.subTest(text):
                self.assertEqual(found(text), [])

    def test_what_is_no_code_is_left_out(self) -> None:
        for text in ("// if (A) B", "/* else\n B */", '"if (A) B";', 'R"(while (A) B)";', "#if (A)",
                     "#define A \\\n  if (B) C", "'\"'; // if (A)", "if (A == 1'000'000) {\n}"):
            with self.subTest(text):
                self.assertEqual(found(text), [])


class HeadingsTest(unittest.TestCase):
    """Lines that divide a file."""

    def test_one_form_is_right(self) -> None:
        self.assertEqual(found("// ---- what the router sends ----\n  // ---- a ----b ----\n"), [])

    def test_other_forms_are_found(self) -> None:
        for text in ("// --- reading ---", "// ---------", "// ==== reading ====", "  // -- a --",
                     "//////// reading", "// ---- reading -----", "// ---- ----"):
            with self.subTest(text):
                self.assertEqual(len(found(text)), 1)

    def test_a_comment_with_a_dash_is_none(self) -> None:
        self.assertEqual(found("// - one\n// -1 means none\n// a -- b\n"), [])


class SourcesTest(unittest.TestCase):
    """Where an exception says that it comes from."""

    def test_the_file_itself_is_right(self) -> None:
        self.assertEqual(found('char const kSource[] = "../Platform/Utility/TCThing";'), [])

    def test_another_file_is_found(self) -> None:
        self.assertEqual(found('\nthrow TCException("../Platform/Utility/TCOther", 1);'),
                         ['2: an exception\'s source "../Platform/Utility/TCOther",'
                          ' expected "../Platform/Utility/TCThing"'])

    def test_a_test_may_name_what_it_expects(self) -> None:
        text = 'EXPECT_EQ(Source, "../Platform/Utility/TCOther");'
        self.assertEqual(found(text, "tests/unit/Test.cpp"), [])


if __name__ == "__main__":
    unittest.main()
