# SPDX-License-Identifier: MIT
"""Tests of running measuring programs, with shell scripts in their place."""

from __future__ import annotations

import contextlib
import io
import json
import os
import select
import tempfile
import time
import unittest
from pathlib import Path

from measurements import Measurement
from programs import PROGRAMS, Collected, Outcome, Program, run, run_rounds
from samples import line, measurement


class RunTest(unittest.TestCase):
    """One program."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.build = Path(folder.name)
        self.never = self.build / "never"
        os.mkfifo(self.never)  # who reads it waits for ever
        self.core = min(os.sched_getaffinity(0))

    def run_script(self, script: str, seconds: float = 30.0, **options: bool) -> Outcome:
        path = self.build / "script"
        path.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
        path.chmod(0o755)
        program = Program("script", **options)
        with contextlib.redirect_stderr(io.StringIO()):
            return run(program, self.build, False, [self.core], seconds)

    def test_takes_all_lines(self) -> None:
        outcome = self.run_script(f"echo '{line()}'; echo '{line(size=5)}'")
        self.assertEqual([found.key.size for found in outcome.measurements], [10000, 5])
        self.assertEqual(outcome.failure, "")

    def test_takes_a_document_of_google_benchmark(self) -> None:
        benchmark = {"name": "a/b/-/1", "threads": 1, "real_time": 5.0, "time_unit": "ns"}
        document = json.dumps({"benchmarks": [benchmark]})
        outcome = self.run_script(f"echo '{document}'", is_google_benchmark=True)
        self.assertEqual([found.p50 for found in outcome.measurements], [5.0])
        self.assertEqual(outcome.measurements[0].key.cores, 1)

    def test_half_a_document_is_a_failure(self) -> None:
        outcome = self.run_script("echo '{'", is_google_benchmark=True)
        self.assertEqual(outcome.measurements, [])
        self.assertIn("script", outcome.failure)

    def test_what_was_measured_before_a_failure_is_kept(self) -> None:
        outcome = self.run_script(f"echo '{line()}'; printf '{{\"subj'; exit 3")
        self.assertEqual(len(outcome.measurements), 1)
        self.assertEqual(outcome.failure, "ended with code 3")

    def test_what_a_program_says_is_kept_apart(self) -> None:
        outcome = self.run_script(f"echo '{line()}'; echo careful >&2")
        self.assertEqual((outcome.messages, outcome.failure), ("careful\n", ""))

    def test_a_signal_is_a_failure(self) -> None:
        self.assertEqual(self.run_script("kill -ABRT $$").failure, "was ended by signal 6")

    def test_a_malformed_line_is_a_failure_that_leaves_the_others(self) -> None:
        outcome = self.run_script(f"echo '{line()}'; echo hello; echo '{line()}'")
        self.assertEqual(len(outcome.measurements), 2)
        self.assertRegex(outcome.failure, "^output of script:2: ")

    def test_silence_is_a_failure(self) -> None:
        self.assertEqual(self.run_script("exit 0").failure, "measured nothing")

    def test_what_cannot_be_started_is_a_failure(self) -> None:
        outcome = run(Program("absent"), self.build, False, [self.core], 30.0)
        self.assertRegex(outcome.failure, "^cannot be started: ")

    def test_a_program_that_takes_too_long_is_ended_with_its_children(self) -> None:
        child = self.build / "child"
        begin = time.monotonic()
        outcome = self.run_script(f"cat '{self.never}' & echo $! >'{child}'; echo '{line()}'; wait", 0.5)
        self.assertLess(time.monotonic() - begin, 20.0)
        self.assertEqual(outcome.failure, "did not end within 0.5 seconds")
        self.assertEqual(len(outcome.measurements), 1)
        self.assertTrue(ends(int(child.read_text(encoding="utf-8"))))

    def test_what_a_program_leaves_running_is_ended(self) -> None:
        child = self.build / "child"
        self.run_script(f"cat '{self.never}' & echo $! >'{child}'; echo '{line()}'")
        self.assertTrue(ends(int(child.read_text(encoding="utf-8"))))

    def test_runs_on_the_cores_asked_for_only(self) -> None:
        before = os.sched_getaffinity(0)
        outcome = self.run_script(
            f"echo '{line()}' | sed \"s/notify/$(taskset -cp $$ | sed 's/.*: //')/\""
        )
        self.assertEqual(outcome.measurements[0].key.metric, str(self.core))
        self.assertEqual(os.sched_getaffinity(0), before)


def ends(process: int) -> bool:
    """Whether a process is gone, or is so within some seconds."""
    try:
        handle = os.pidfd_open(process)
    except ProcessLookupError:
        return True
    try:
        return bool(select.select([handle], [], [], 20.0)[0])
    finally:
        os.close(handle)


class CommandTest(unittest.TestCase):
    """What is executed."""

    def test_quick_is_said_first_and_the_server_is_named(self) -> None:
        program = Program("folder/measure", arguments=("{server}",))
        build = Path("/build")
        server = "/build/PropertyServer/property-server"
        self.assertEqual(program.command(build, False), ["/build/folder/measure", server])
        self.assertEqual(program.command(build, True), ["/build/folder/measure", "--quick", server])

    def test_each_path_of_the_product_is_named(self) -> None:
        program = Program("measure", arguments=("{server}", "{tool}", "{schema}"))
        self.assertEqual(
            program.command(Path("/b"), False),
            [
                "/b/measure",
                "/b/PropertyServer/property-server",
                "/b/PropertyTool/property",
                "/b/examples/gateway/gateway.so",
            ],
        )

    def test_names_are_different(self) -> None:
        self.assertEqual(len({program.name for program in PROGRAMS}), len(PROGRAMS))


class RunRoundsTest(unittest.TestCase):
    """All programs, several times."""

    def run_rounds(
        self, outcomes: dict[str, Outcome | list[Outcome]], rounds: int, seconds: float = 60.0
    ) -> Collected:
        """With the same outcome for all runs of a program, or one for each of them."""
        self.order: list[tuple[str, int]] = []

        def run_once(program: Program, cores: list[int]) -> Outcome:
            self.order.append((program.name, len(cores)))
            of_program = outcomes[program.name]
            return of_program.pop(0) if isinstance(of_program, list) else of_program

        with contextlib.redirect_stderr(io.StringIO()) as said:
            programs = [Program(name) for name in outcomes]
            collected = run_rounds(programs, rounds, [[0, 1], [0]], run_once, seconds)
        self.said = said.getvalue()
        return collected

    def test_programs_take_turns(self) -> None:
        self.run_rounds({"a": outcome(1.0), "b": outcome(2.0)}, 2)
        self.assertEqual(self.order, [("a", 2), ("b", 2), ("a", 1), ("b", 1)] * 2)

    def test_keeps_all_measurements(self) -> None:
        collected = self.run_rounds({"a": outcome(1.0), "b": outcome(2.0)}, 1)
        self.assertEqual([found.p50 for found in collected.measurements], [1, 2, 1, 2])
        self.assertEqual(collected.failures, {})

    def test_names_who_failed_and_runs_the_others(self) -> None:
        outcomes = {"a": Outcome([], "ended with code 1"), "b": outcome(2.0)}
        collected = self.run_rounds(outcomes, 2)
        self.assertEqual(list(collected.failures), ["a"])
        self.assertIn("ended with code 1", collected.failures["a"])
        self.assertIn("a failed, try 1 of 3: ended with code 1", self.said)
        self.assertEqual(len(collected.measurements), 4)

    def test_measures_again_what_failed(self) -> None:
        failing = Outcome([measurement("a/b/-/1", 99.0)], "ended with code 1", "no memory\n")
        collected = self.run_rounds({"a": [failing, failing, outcome(1.0), outcome(2.0)]}, 1)
        self.assertEqual([found.p50 for found in collected.measurements], [1, 2])
        self.assertEqual(collected.failures, {})
        self.assertIn("a failed, try 2 of 3: ended with code 1: no memory", self.said)
        self.assertEqual(len(collected.messages), 2)

    def test_gives_up_after_three_tries_and_keeps_what_the_last_one_measured(self) -> None:
        tries = [Outcome([measurement("a/b/-/1", float(p50))], f"code {p50}") for p50 in range(1, 7)]
        collected = self.run_rounds({"a": tries}, 1)
        self.assertEqual(self.order, [("a", 2)] * 3 + [("a", 1)] * 3)
        self.assertEqual([found.p50 for found in collected.measurements], [3, 6])
        self.assertEqual(collected.failures, {"a": "round 1 of 1, 2 core(s), 3 tries: code 3"})

    def test_a_failure_says_what_the_processes_said_last(self) -> None:
        said = "1\n2\n3\n4\nthe writing process 2: no disk\nthe writing process 2 ended with status 1\n"
        collected = self.run_rounds({"a": Outcome([], "ended with code 1", said)}, 1)
        self.assertTrue(collected.failures["a"].endswith(
            "ended with code 1: 2 | 3 | 4 | the writing process 2: no disk"
            " | the writing process 2 ended with status 1"))
        self.assertIn(said, collected.messages[0])

    def test_begins_no_round_that_would_end_too_late(self) -> None:
        collected = self.run_rounds({"a": outcome(1.0)}, 3, seconds=0.0)
        self.assertEqual(len(collected.measurements), 2)
        self.assertIn("round 2 of 3 would end after", self.said)


def outcome(p50: float) -> Outcome:
    """Of a program that measured one thing."""
    found: Measurement = measurement("a/b/-/1", p50)
    return Outcome([found])


if __name__ == "__main__":
    unittest.main()
