#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the measuring programs for scripts/bench, or takes earlier lines, and makes the report."""

from __future__ import annotations

import argparse
import dataclasses
import json
import os
import sys
from pathlib import Path
from typing import Mapping, Sequence

from budgets import Judgement, judge_all, read_budgets
from machine import describe
from measurements import MeasurementError, Merged, merge, read_file, write_lines
from page import make_page
from programs import PROGRAMS, Collected, Outcome, Program, run, run_rounds
from tables import HEADINGS, cores_text, row, text_table

BUDGETS = Path(__file__).with_name("budgets.json")
SECONDS_A_RUN = 240.0
QUICK_SECONDS_A_RUN = 60.0
FREE_CORES = 2
ROUNDS = 3
SECONDS_UNLESS_ROUNDS_ARE_GIVEN = 870.0


def core_settings(usable: Sequence[int]) -> list[list[int]]:
    """The sets of processor cores to run on: free on two, then pinned to one."""
    first = sorted(usable)
    free = first[:FREE_CORES]
    return [free, first[:1]] if len(free) > 1 else [free]


def choose(names: Sequence[str]) -> list[Program]:
    """The programs of these names; all without names."""
    known = {program.name: program for program in PROGRAMS}
    unknown = [name for name in names if name not in known]
    if unknown:
        raise SystemExit(f"scripts/bench: no program {unknown[0]}; there are: {', '.join(known)}")
    return [program for name, program in known.items() if not names or name in names]


def collect(arguments: argparse.Namespace) -> Collected:
    """Runs what there is in the build folder; what is not there is a failure."""
    wanted = choose(arguments.only)
    built = [program for program in wanted if (arguments.build / program.path).is_file()]
    seconds = QUICK_SECONDS_A_RUN if arguments.quick else SECONDS_A_RUN

    def run_once(program: Program, cores: list[int]) -> Outcome:
        return run(program, arguments.build, arguments.quick, cores, seconds)

    settings = core_settings(list(os.sched_getaffinity(0)))
    if arguments.rounds is None:
        limit = SECONDS_UNLESS_ROUNDS_ARE_GIVEN
        collected = run_rounds(built, ROUNDS, settings, run_once, limit)
    else:
        collected = run_rounds(built, arguments.rounds, settings, run_once)
    for program in wanted:
        if program not in built:
            collected.failures[program.name] = "was not built"
    return collected


def results(
    machine: Mapping[str, str],
    failures: Mapping[str, str],
    judged: Mapping[int, Sequence[Judgement]],
    measured: Sequence[Merged],
) -> str:
    """Everything, for programs."""
    content = {
        "machine": machine,
        "failures": failures,
        "judgements": {
            str(cores): [dataclasses.asdict(judgement) for judgement in judgements]
            for cores, judgements in judged.items()
        },
        "measurements": [
            {**dataclasses.asdict(merged), "key": merged.key._asdict()} for merged in measured
        ],
    }
    return json.dumps(content, indent=1) + "\n"


def print_tables(judged: Mapping[int, Sequence[Judgement]]) -> None:
    """The judgements on the terminal."""
    for cores, judgements in judged.items():
        print(f"\n== programs {cores_text(cores)} ==")
        print(text_table(HEADINGS, [row(judgement) for judgement in judgements]))


def make_report(collected: Collected, machine: Mapping[str, str], output: Path) -> None:
    """Prints the tables and writes results.json and report.html."""
    measured = merge(collected.measurements)
    cores_used = sorted({merged.key.cores for merged in measured}, reverse=True)
    budgets = read_budgets(BUDGETS)
    judged = {cores: judge_all(budgets, measured, cores) for cores in cores_used}
    print_tables(judged)
    (output / "results.json").write_text(
        results(machine, collected.failures, judged, measured), encoding="utf-8"
    )
    from plots import draw_all  # needs more than Python's own library

    plots = draw_all([merged for merged in measured if merged.key.cores == max(cores_used)])
    page = make_page(machine, collected.failures, judged, plots, measured)
    (output / "report.html").write_text(page, encoding="utf-8")


def positive(text: str) -> int:
    """A number of rounds."""
    value = int(text)
    if value < 1:
        raise ValueError(text)
    return value


def parse(arguments: Sequence[str]) -> argparse.Namespace:
    """The command line, which scripts/bench makes."""
    parser = argparse.ArgumentParser(description=__doc__, allow_abbrev=False)
    parser.add_argument("--build", type=Path, required=True, help="folder with the programs")
    parser.add_argument("--output", type=Path, required=True, help="folder for what is written")
    parser.add_argument("--rounds", type=positive)
    parser.add_argument("--quick", action="store_true", help="fewer samples, smaller sizes")
    parser.add_argument("--only", action="append", default=[], metavar="NAME", help="of a program")
    parser.add_argument("--lines", type=Path, help="run nothing: the report of this file")
    return parser.parse_args(arguments)


def main(command_line: Sequence[str]) -> int:
    """0 when all programs did what they should."""
    arguments = parse(command_line)
    arguments.output.mkdir(parents=True, exist_ok=True)
    if arguments.lines is not None:
        collected = Collected(read_file(arguments.lines))
    else:
        collected = collect(arguments)
        lines = write_lines(collected.measurements)
        (arguments.output / "lines.jsonl").write_text(lines, encoding="utf-8")
        messages = "".join(collected.messages)
        (arguments.output / "messages.log").write_text(messages, encoding="utf-8")
    if not collected.measurements:
        print("scripts/bench: nothing was measured", file=sys.stderr)
        return 1
    machine = describe(Path(__file__).resolve().parents[2], arguments.build)
    make_report(collected, machine, arguments.output)
    print(f"\nThe whole report: {arguments.output / 'report.html'}")
    for name, failure in collected.failures.items():
        print(f"scripts/bench: {name}: {failure}", file=sys.stderr)
    return 1 if collected.failures else 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except MeasurementError as error:
        print(f"scripts/bench: {error}", file=sys.stderr)
        sys.exit(1)
