# SPDX-License-Identifier: MIT
"""The measuring programs, and how to run one of them."""

from __future__ import annotations

import contextlib
import dataclasses
import math
import os
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import IO, Callable, Iterator

from measurements import Measurement, MeasurementError, read_google_benchmark, read_lines

PLACES = {
    "{server}": "PropertyServer/property-server",
    "{tool}": "PropertyTool/property",
    "{schema}": "examples/gateway/gateway.so",
}
TRIES = 3
LAST_MESSAGES = 5


@dataclasses.dataclass(frozen=True)
class Program:
    """A measuring program in the build folder. A Google Benchmark writes one document, not lines.

    The arguments "{server}", "{tool}" and "{schema}" stand for paths in the build folder: of the
    property server, the command and a schema library.
    """

    path: str
    arguments: tuple[str, ...] = ()
    quick_arguments: tuple[str, ...] = ("--quick",)
    is_google_benchmark: bool = False

    @property
    def name(self) -> str:
        """What --only and failures call it."""
        return Path(self.path).name

    def command(self, build: Path, quick: bool) -> list[str]:
        """What to execute."""
        arguments = [*(self.quick_arguments if quick else ()), *self.arguments]
        paths = (str(build / PLACES[a]) if a in PLACES else a for a in arguments)
        return [str(build / self.path), *paths]


GOOGLE_ARGUMENTS = ("--benchmark_format=json", "--benchmark_min_time=0.05")

PROGRAMS = (
    Program("benchmarks/peers/map_floor"),
    Program("benchmarks/peers/disk_floor"),
    Program("benchmarks/peers/socket_floor"),
    Program(
        "benchmarks/store_benchmark",
        arguments=GOOGLE_ARGUMENTS,
        quick_arguments=("--benchmark_filter=/(100|10000)(/real_time.*)?$",),
        is_google_benchmark=True,
    ),
    Program("benchmarks/store_memory"),
    Program("benchmarks/schema_benchmark"),
    Program("benchmarks/process_benchmark", arguments=("{server}",)),
    Program("benchmarks/command_benchmark", arguments=("{server}", "{tool}", "{schema}")),
    Program("benchmarks/peers/sqlite_peer"),
    Program("benchmarks/peers/redis_peer"),
    Program("benchmarks/peers/lmdb_peer"),
    Program("benchmarks/peers/gsettings_peer"),
)


@dataclasses.dataclass(frozen=True)
class Outcome:
    """What a program measured, why it failed if it did, and what it wrote for people."""

    measurements: list[Measurement]
    failure: str = ""
    messages: str = ""


@contextlib.contextmanager
def only_on(cores: list[int]) -> Iterator[None]:
    """Lets this process and those that it starts use only these processor cores."""
    before = os.sched_getaffinity(0)
    os.sched_setaffinity(0, cores)
    try:
        yield
    finally:
        os.sched_setaffinity(0, before)


def _end_group(process: subprocess.Popen) -> None:
    """Ends what a program may have left running: it is the leader of its own process group."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)


def _text_of(file: IO[bytes]) -> str:
    file.seek(0)
    return file.read().decode(errors="replace")


def _wait(process: subprocess.Popen, seconds: float) -> str:
    """Why the program failed; empty when it did not."""
    try:
        code = process.wait(timeout=seconds)
    except subprocess.TimeoutExpired:
        return f"did not end within {seconds:g} seconds"
    finally:
        _end_group(process)
        process.wait()
    if code == 0:
        return ""
    return f"ended with code {code}" if code > 0 else f"was ended by signal {-code}"


def _execute(command: list[str], seconds: float) -> tuple[str, str, str]:
    """The program's output, what it said beside it, and why it failed if it did.

    Both go to files: a pipe would be waited for as long as any child of the program holds it.
    """
    with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as messages:
        try:
            process = subprocess.Popen(
                command,
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=messages,
                start_new_session=True,
            )
        except OSError as error:
            return "", "", f"cannot be started: {error.strerror}"
        failure = _wait(process, seconds)
        return _text_of(output), _text_of(messages), failure


def _whole_lines(output: str) -> str:
    """Without a last line that is not ended."""
    return output[: output.rfind("\n") + 1]


def _parse_lines(name: str, output: str) -> Outcome:
    """Line by line, so that a bad one does not cost the good ones."""
    good: list[Measurement] = []
    failure = ""
    for number, line in enumerate(output.splitlines(), start=1):
        try:
            good.extend(read_lines("\n" * (number - 1) + line, f"output of {name}"))
        except MeasurementError as error:
            failure = failure or str(error)
    return Outcome(good, failure)


def run(program: Program, build: Path, quick: bool, cores: list[int], seconds: float) -> Outcome:
    """Runs a program once on these processor cores, for so many seconds at most.

    What a program measured before it failed is kept.
    """
    with only_on(cores):
        output, messages, failure = _execute(program.command(build, quick), seconds)
    if not program.is_google_benchmark:
        parsed = _parse_lines(program.name, _whole_lines(output) if failure else output)
    elif failure:
        parsed = Outcome([])
    else:
        try:
            source = f"output of {program.name}"
            parsed = Outcome(read_google_benchmark(output, source, len(cores)))
        except MeasurementError as error:
            parsed = Outcome([], str(error))
    failure = failure or parsed.failure
    if not failure and not parsed.measurements:
        failure = "measured nothing"
    return Outcome(parsed.measurements, failure, messages)


@dataclasses.dataclass
class Collected:
    """All that programs measured, and the failures: one text a program, the first one."""

    measurements: list[Measurement] = dataclasses.field(default_factory=list)
    failures: dict[str, str] = dataclasses.field(default_factory=dict)
    messages: list[str] = dataclasses.field(default_factory=list)


def say(text: str) -> None:
    """What goes on, for whoever waits."""
    print(text, file=sys.stderr, flush=True)


def _with_last_messages(outcome: Outcome) -> str:
    """The failure and what the program and its processes said last: which of them failed and why."""
    lines = [line.strip() for line in outcome.messages.strip().splitlines()]
    return ": ".join([outcome.failure, *([" | ".join(lines[-LAST_MESSAGES:])] if lines else [])])


def _run_until_measured(
    program: Program,
    cores: list[int],
    what: str,
    run_once: Callable[[Program, list[int]], Outcome],
    collected: Collected,
) -> None:
    """Measures again what failed: a machine that others load may give up one process and not the
    next. Only the last try counts; every failure is told."""
    for tried in range(1, TRIES + 1):
        start = time.monotonic()
        outcome = run_once(program, cores)
        say(f"{what}: {program.name}: {time.monotonic() - start:.1f} s")
        if outcome.messages:
            collected.messages.append(f"== {what}: {program.name} ==\n{outcome.messages}")
        if not outcome.failure:
            break
        failure = _with_last_messages(outcome)
        say(f"scripts/bench: {program.name} failed, try {tried} of {TRIES}: {failure}")
    else:
        collected.failures.setdefault(program.name, f"{what}, {TRIES} tries: {failure}")
    collected.measurements.extend(outcome.measurements)


def run_rounds(
    programs: list[Program],
    rounds: int,
    settings: list[list[int]],
    run_once: Callable[[Program, list[int]], Outcome],
    seconds: float = math.inf,
) -> Collected:
    """Runs all programs one after the other on each set of processor cores, and all of that again.

    So what disturbs the machine for a while disturbs all of them. Who fails is run again at once;
    who fails in all its tries has failed, even if it succeeds in another round. No round begins
    that would, as long as the longest one before, end later than after `seconds`.
    """
    collected = Collected()
    begin = time.monotonic()
    longest = 0.0
    for number in range(1, rounds + 1):
        began = time.monotonic()
        if number > 1 and began - begin + longest > seconds:
            say(f"round {number} of {rounds} would end after {seconds:g} seconds: left out")
            break
        for cores in settings:
            for program in programs:
                what = f"round {number} of {rounds}, {len(cores)} core(s)"
                _run_until_measured(program, cores, what, run_once, collected)
        longest = max(longest, time.monotonic() - began)
    return collected
