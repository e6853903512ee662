# SPDX-License-Identifier: MIT
"""Tests of comparing counts of instructions, made by hand."""

from __future__ import annotations

import contextlib
import io
import os
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import compare
from compare import GROWN, MISSING, NEW, SAME, SHRUNK, CountError

COMMITTED = "# Counted with: GCC 1\nread 100.0\nset 200.0\n"


def profile(trigger: str, instructions: int) -> str:
    """As callgrind writes it."""
    head = f"version: 1\n\ndesc: Trigger: {trigger}\n\nevents: Ir\nsummary: {instructions}\n\n"
    return f"{head}fn=f\n0 {instructions}\n\ntotals: {2 * instructions}\n"


def asked(operation: str, times: int, instructions: int) -> str:
    """Such a profile as the workload asks for."""
    return profile(f"Client Request: {operation} {times}", instructions)


class ReadTest(unittest.TestCase):
    """What is committed, and what callgrind writes."""

    def test_reads_names_and_counts(self) -> None:
        found = compare.read_counts("# said\n\nread 12\nset_new 3.5\n", "file")
        self.assertEqual(found, {"read": 12.0, "set_new": 3.5})

    def test_refuses_other_lines(self) -> None:
        for bad in ("read", "read -1", "read 0", "read 1 2", "read nan", "two words 1"):
            with self.subTest(bad), self.assertRaisesRegex(CountError, "^file:2: "):
                compare.read_counts(f"# said\n{bad}\n", "file")

    def test_refuses_a_name_twice(self) -> None:
        with self.assertRaisesRegex(CountError, "^file:2: "):
            compare.read_counts("read 1\nread 2\n", "file")

    def test_reads_what_it_has_written(self) -> None:
        text = compare.write_counts({"set": 2.5, "read": 1.0}, "GCC 1, libc 2")
        found = compare.read_counts(text, "file")
        self.assertEqual(list(found.items()), [("set", 2.5), ("read", 1.0)])
        self.assertEqual(compare.read_versions(text), "GCC 1, libc 2")

    def test_divides_by_the_operations(self) -> None:
        texts = [asked("read", 10, 1005), asked("set", 2, 7)]
        self.assertEqual(compare.read_profiles(texts), {"read": 100.5, "set": 3.5})

    def test_reads_the_totals_of_what_several_threads_do(self) -> None:
        text = profile("Client Request: tell 10 in all threads", 50)
        self.assertEqual(compare.read_profiles([text]), {"tell": 10.0})

    def test_leaves_out_the_profile_of_the_end(self) -> None:
        texts = [asked("read", 1, 5), profile("Program termination", 9)]
        self.assertEqual(compare.read_profiles(texts), {"read": 5.0})

    def test_refuses_half_a_profile(self) -> None:
        for bad in (
            asked("read", 0, 5),
            profile("Client Request: read", 5),
            "desc: Trigger: Client Request: read 1\ntotals: 5\n",
        ):
            with self.subTest(bad), self.assertRaisesRegex(CountError, 'profile "read'):
                compare.read_profiles([bad])

    def test_refuses_an_operation_twice_and_none(self) -> None:
        with self.assertRaisesRegex(CountError, "two profiles of read"):
            compare.read_profiles([asked("read", 1, 5)] * 2)
        with self.assertRaisesRegex(CountError, "no operation"):
            compare.read_profiles([profile("Program termination", 9)])


class JudgeTest(unittest.TestCase):
    """Counts beside committed ones."""

    def judge(self, **now: float) -> tuple[int, str]:
        return compare.judge(COMMITTED, now, "GCC 2", "counts.txt")

    def verdicts(self, **now: float) -> list[str]:
        return [row.verdict for row in compare.compare({"read": 100.0, "set": 200.0}, now)]

    def test_up_to_5_percent_is_the_same(self) -> None:
        self.assertEqual(self.verdicts(read=105.0, set=190.0), [SAME, SAME])
        code, said = self.judge(read=105.0, set=190.0)
        self.assertEqual(code, 0)
        self.assertNotIn("--update", said)

    def test_more_fails_with_a_table(self) -> None:
        self.assertEqual(self.verdicts(read=105.1, set=200.0), [GROWN, SAME])
        code, said = self.judge(read=2105.1, set=200.0)
        self.assertEqual(code, 1)
        self.assertRegex(said, r"\nread +100\.0 +2,105\.1 +\+2005\.1%  grown\n")
        self.assertRegex(said, r"\nset +200\.0 +200\.0 +\+0\.0%\n")
        self.assertIn("committed with: GCC 1\ncounted with:   GCC 2\n", said)

    def test_fewer_passes_with_a_hint(self) -> None:
        self.assertEqual(self.verdicts(read=100.0, set=189.0), [SAME, SHRUNK])
        code, said = self.judge(read=100.0, set=189.0)
        self.assertEqual(code, 0)
        self.assertRegex(said, r"\nset +200\.0 +189\.0 +-5\.5%  shrunk\n")
        self.assertIn("run compare.py --update and commit counts.txt", said)

    def test_a_missing_operation_fails(self) -> None:
        self.assertEqual(self.verdicts(set=200.0), [MISSING, SAME])
        code, said = self.judge(set=200.0)
        self.assertEqual(code, 1)
        self.assertRegex(said, r"\nread +100\.0 +- +-  missing\n")

    def test_another_operation_fails(self) -> None:
        self.assertEqual(self.verdicts(read=100.0, set=200.0, add=1.0), [SAME, SAME, NEW])
        code, said = self.judge(read=100.0, set=200.0, add=1.0)
        self.assertEqual(code, 1)
        self.assertRegex(said, r"\nadd +- +1\.0 +-  not committed\n")

    def test_a_tiny_loss_is_no_negative_nothing(self) -> None:
        self.assertNotIn("-0.0%", self.judge(read=99.99, set=200.0)[1])


VALGRIND = """\
#!/bin/sh
for option; do case $option in --callgrind-out-file=*) out=${option#*=};; esac; done
[ "$(./workload)" = counted ] || exit 9
env | grep -q SECRET && exit 8
for part in 1 2 10; do
  printf 'desc: Trigger: Client Request: part%s 10\\nsummary: 1%s0\\n' $part $part >"$out.$part"
done
printf 'desc: Trigger: Program termination\\ntotals: 7\\n' >"$out"
"""


class MainTest(unittest.TestCase):
    """The command line, with scripts for valgrind and the workload."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.committed = self.folder / "counts.txt"
        self.write("valgrind", VALGRIND)
        self.write("counter", "#!/bin/sh\necho counted\n")
        path = f"{self.folder}{os.pathsep}{os.environ['PATH']}"
        patch = mock.patch.dict(os.environ, {"PATH": path, "SECRET": "1"})
        patch.start()
        self.addCleanup(patch.stop)

    def write(self, name: str, script: str) -> None:
        path = self.folder / name
        path.write_text(script, encoding="utf-8")
        path.chmod(0o755)

    def run_main(self, *options: str) -> tuple[int, str, str]:
        workload = str(self.folder / "counter")
        with contextlib.redirect_stdout(io.StringIO()) as output:
            with contextlib.redirect_stderr(io.StringIO()) as errors:
                code = compare.main([workload, "--committed", str(self.committed), *options])
        return code, output.getvalue(), errors.getvalue()

    def test_what_was_updated_is_the_same_in_the_order_of_the_profiles(self) -> None:
        self.assertEqual(self.run_main("--update")[0], 0)
        text = self.committed.read_text(encoding="utf-8")
        self.assertTrue(text.endswith("part1 11.0\npart2 12.0\npart10 110.0\n"), text)
        self.assertIn("# Counted with: an unknown compiler, libc6 ", text)
        code, output, _ = self.run_main()
        self.assertEqual(code, 0, output)

    def test_growth_fails(self) -> None:
        self.committed.write_text("part1 5\npart2 12\npart10 110\n", encoding="utf-8")
        code, output, _ = self.run_main()
        self.assertEqual(code, 1)
        self.assertIn("+120.0%  grown", output)

    def test_without_committed_counts_it_fails(self) -> None:
        code, _, errors = self.run_main()
        self.assertEqual(code, 1)
        self.assertIn("counts.txt", errors)

    def test_a_workload_that_fails_is_named(self) -> None:
        self.write("valgrind", "#!/bin/sh\necho no memory >&2\nexit 3\n")
        code, _, errors = self.run_main("--update")
        self.assertEqual(code, 1)
        self.assertEqual(errors.rstrip(), "compare.py: the workload ended with code 3:\nno memory")
        self.assertFalse(self.committed.exists())

    def test_a_workload_that_does_not_end_is_ended(self) -> None:
        never = self.folder / "never"
        os.mkfifo(never)
        self.write("valgrind", f"#!/bin/sh\nread line <'{never}'\n")
        with self.assertRaisesRegex(CountError, "did not end within 0.2 seconds"):
            compare.count(self.folder / "counter", seconds=0.2)

    def test_counts_all_workloads(self) -> None:
        self.write("other", "#!/bin/sh\necho counted\n")
        named = VALGRIND.replace("Request: part%s", "Request: %s%s")
        name = "$(basename $(readlink workload))"
        self.write("valgrind", named.replace("$part $part", f"{name} $part $part"))
        found = compare.count_all([self.folder / "counter", self.folder / "other"])
        names = ["counter1", "counter2", "counter10", "other1", "other2", "other10"]
        self.assertEqual(list(found), names)

    def test_refuses_an_operation_of_two_workloads(self) -> None:
        with self.assertRaisesRegex(CountError, "two workloads with part1"):
            compare.count_all([self.folder / "counter", self.folder / "counter"])

    def test_says_that_valgrind_is_missing(self) -> None:
        with mock.patch.dict(os.environ, {"PATH": str(self.folder / "empty")}):
            said = (1, "", "compare.py: valgrind is not installed\n")
            self.assertEqual(self.run_main(), said)


class CommittedTest(unittest.TestCase):
    """The project's own counts."""

    def test_are_sound(self) -> None:
        text = compare.COMMITTED.read_text(encoding="utf-8")
        self.assertGreater(len(compare.read_counts(text, compare.COMMITTED.name)), 0)
        self.assertIn("GCC", compare.read_versions(text))


if __name__ == "__main__":
    unittest.main()
