# SPDX-License-Identifier: MIT
"""The example in Python, run with a real server."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
import unittest

from fixture import PATIENCE, StoreTest


class ExampleTest(StoreTest):
    """It is talked to by its standard input."""

    def setUp(self) -> None:
        super().setUp()
        shutil.copy(os.environ["GATEWAY_SCHEMA"], self.schema)

    def start(self) -> subprocess.Popen[str]:
        command = [sys.executable, "-B", "-W", "error", os.environ["EXAMPLE"]]
        example = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1
        )
        self.addCleanup(lambda: example.communicate(timeout=PATIENCE))
        self.assertEqual(self.hear(example), "brightness 80")
        return example

    def say(self, example: subprocess.Popen[str], line: str) -> None:
        assert example.stdin is not None
        example.stdin.write(line + "\n")

    def hear(self, example: subprocess.Popen[str]) -> str:
        assert example.stdout is not None
        return example.stdout.readline().strip()

    def test_two_of_them_see_each_other(self) -> None:
        self.start_server()
        first, second = self.start(), self.start()
        self.say(first, "55")
        self.assertEqual({self.hear(first), self.hear(first)}, {"stored", "brightness 55"})
        self.assertEqual(self.hear(second), "brightness 55")
        self.say(second, "step")
        self.assertEqual({self.hear(second), self.hear(second)}, {"stored", "brightness 56"})
        self.assertEqual(self.hear(first), "brightness 56")

    def test_it_says_what_is_not_allowed_and_ends_well(self) -> None:
        self.start_server("[limits]\nvalue_bytes = 3\n")
        example = self.start()
        self.say(example, "bright")
        self.assertIn("'bright' is no whole number", self.hear(example))
        self.say(example, "7000")
        heard = [self.hear(example) for _ in range(3)]
        self.assertTrue(any("value_bytes" in line for line in heard), heard)
        self.assertEqual(example.communicate(timeout=PATIENCE)[0], "")
        self.assertEqual(example.returncode, 0)


if __name__ == "__main__":
    unittest.main()
