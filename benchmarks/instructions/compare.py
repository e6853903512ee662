#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the instructions of the hottest operations and compares them with the committed counts."""

from __future__ import annotations

import argparse
import dataclasses
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Mapping, Optional, Sequence

COMMITTED = Path(__file__).with_name("x86_64.txt")
TOLERANCE = 0.05
LONGEST_FOLDER = 1000
PACKAGES = ("libc6", "libstdc++6", "valgrind")
HEAD = """\
# Instructions an operation takes, by benchmarks/instructions/compare.py --update.
"""
VERSIONS = "# Counted with: "

GROWN = "grown"
SHRUNK = "shrunk"
SAME = ""
MISSING = "missing"
NEW = "not committed"


class CountError(Exception):
    """There are no counts to compare."""


@dataclasses.dataclass(frozen=True)
class Row:
    """An operation's instructions; None where there are none."""

    name: str
    committed: Optional[float]
    now: Optional[float]

    @property
    def change(self) -> Optional[float]:
        """By which part the count has grown."""
        if self.committed is None or self.now is None:
            return None
        return self.now / self.committed - 1.0

    @property
    def verdict(self) -> str:
        """What is to be said about the operation."""
        if self.committed is None:
            return NEW
        if self.now is None:
            return MISSING
        if self.now > self.committed * (1.0 + TOLERANCE):
            return GROWN
        return SHRUNK if self.now < self.committed * (1.0 - TOLERANCE) else SAME


def read_counts(text: str, source: str) -> dict[str, float]:
    """Lines of a name and a count; empty ones and comments say nothing."""
    counts: dict[str, float] = {}
    for number, line in enumerate(text.splitlines(), start=1):
        if not line.strip() or line.startswith("#"):
            continue
        found = re.fullmatch(r"(\w+) (\d+(?:\.\d+)?)", line)
        if found is None or found[1] in counts or float(found[2]) == 0.0:
            raise CountError(f"{source}:{number}: neither a new name with its count nor a comment")
        counts[found[1]] = float(found[2])
    return counts


def write_counts(counts: Mapping[str, float], versions: str) -> str:
    """What `read_counts` and `read_versions` read."""
    lines = [f"{name} {count:.1f}\n" for name, count in counts.items()]
    return "".join([HEAD, f"{VERSIONS}{versions}\n", *lines])


def read_versions(text: str) -> str:
    """The compiler and the libraries that committed counts hold for."""
    found = re.search(f"^{re.escape(VERSIONS)}(.*)$", text, re.MULTILINE)
    return found[1] if found else "unknown"


def read_profile(text: str) -> Optional[tuple[str, float]]:
    """An operation and its instructions; None for a profile that the program has not asked for."""
    asked = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.MULTILINE)
    if asked is None:
        return None
    trigger = re.fullmatch(r"(\w+) ([1-9]\d*)( in all threads)?", asked[1])
    # The summary is of one thread. The totals are of all, and may have some calls twice.
    kind = "totals" if trigger is not None and trigger[3] else "summary"
    total = re.search(rf"^{kind}: (\d+)$", text, re.MULTILINE)
    if trigger is None or total is None:
        raise CountError(f'the profile "{asked[1]}" lacks its operations or its instructions')
    return trigger[1], int(total[1]) / int(trigger[2])


def read_profiles(texts: Sequence[str]) -> dict[str, float]:
    """Instructions an operation, in the order of the profiles."""
    counts: dict[str, float] = {}
    for profile in filter(None, map(read_profile, texts)):
        if profile[0] in counts:
            raise CountError(f"two profiles of {profile[0]}")
        counts[profile[0]] = profile[1]
    if not counts:
        raise CountError("no operation was counted")
    return counts


def _environment(folder: str) -> dict[str, str]:
    """As large in every folder: valgrind's start script adds the folder's name to it.

    What precedes the stack moves it, and some library functions take more instructions then.
    """
    padding = "x" * max(0, LONGEST_FOLDER - len(os.fsencode(os.path.realpath(folder))))
    return {"LC_ALL": "C", "PATH": "/usr/bin:/bin", "PADDING": padding}


def _part_number(path: Path) -> int:
    return int(path.suffix[1:])


def count(workload: Path, seconds: float = 100.0) -> dict[str, float]:
    """Instructions an operation of the workload, run in a new folder under a name of its own."""
    valgrind = shutil.which("valgrind")
    if valgrind is None:
        raise CountError("valgrind is not installed")
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "workload").symlink_to(workload.resolve())
        command = [valgrind, "--tool=callgrind", f"--callgrind-out-file={folder / 'profile'}"]
        try:
            subprocess.run(
                [*command, "./workload"],
                cwd=folder,
                env=_environment(name),
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                errors="replace",
                timeout=seconds,
                check=True,
            )
        except subprocess.CalledProcessError as error:
            text = f"the workload ended with code {error.returncode}:\n{error.stdout}"
            raise CountError(text) from error
        except subprocess.TimeoutExpired as error:
            raise CountError(f"the workload did not end within {seconds:g} seconds") from error
        profiles = sorted(folder.glob("profile.*"), key=_part_number)
        return read_profiles([path.read_text(encoding="utf-8") for path in profiles])


def count_all(workloads: Sequence[Path]) -> dict[str, float]:
    """Instructions an operation of all workloads."""
    counts: dict[str, float] = {}
    for workload in workloads:
        for name, instructions in count(workload).items():
            if name in counts:
                raise CountError(f"two workloads with {name}")
            counts[name] = instructions
    return counts


def describe_versions(workload: Path) -> str:
    """The compiler, as the program says, and the installed libraries."""
    said = re.search(rb"GCC: \([^)]*\) [\d.]+", workload.read_bytes())
    found = [said[0].decode(errors="replace") if said else "an unknown compiler"]
    for package in PACKAGES:
        query = ["dpkg-query", "-W", "-f=${Package} ${Version}", package]
        try:
            found.append(subprocess.run(query, capture_output=True, text=True, check=True).stdout)
        except (OSError, subprocess.CalledProcessError):
            found.append(f"{package} unknown")
    return ", ".join(found)


def compare(committed: Mapping[str, float], now: Mapping[str, float]) -> list[Row]:
    """All operations, the committed ones first."""
    names = [*committed, *(name for name in now if name not in committed)]
    return [Row(name, committed.get(name), now.get(name)) for name in names]


def table(rows: Sequence[Row]) -> str:
    """The counts side by side."""
    lines = [f'{"operation":24}{"committed":>12}{"now":>12}{"change":>10}']
    for row in rows:
        cells = ["-" if value is None else f"{value:,.1f}" for value in (row.committed, row.now)]
        change = "-" if row.change is None else f"{round(row.change, 3) + 0.0:+.1%}"
        line = f"{row.name:24}{cells[0]:>12}{cells[1]:>12}{change:>10}  {row.verdict}"
        lines.append(line.rstrip())
    return "\n".join(lines)


def judge(committed: str, now: Mapping[str, float], versions: str, source: str) -> tuple[int, str]:
    """The exit code, and what to say about counts beside a text of committed ones."""
    rows = compare(read_counts(committed, source), now)
    verdicts = {row.verdict for row in rows}
    said = ["Instructions an operation:", table(rows)]
    failed = bool(verdicts & {GROWN, MISSING, NEW})
    if failed:
        said += [
            f"More than {TOLERANCE:.0%} more instructions, or other operations than committed.",
            f"committed with: {read_versions(committed)}",
            f"counted with:   {versions}",
        ]
    if failed or SHRUNK in verdicts:
        said.append(f"When that is meant, run {Path(__file__).name} --update and commit {source}.")
    return int(failed), "\n".join(said)


def main(arguments: Sequence[str]) -> int:
    """The exit code: 0 when no count has grown."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument(
        "workload",
        type=Path,
        nargs="+",
        help="instruction_workload and change_workload of a release build",
    )
    parser.add_argument("--update", action="store_true", help="writes the committed counts anew")
    parser.add_argument("--committed", type=Path, default=COMMITTED, metavar="FILE")
    options = parser.parse_args(arguments)
    try:
        now = count_all(options.workload)
        versions = describe_versions(options.workload[0])
        if options.update:
            options.committed.write_text(write_counts(now, versions), encoding="utf-8")
            print(f"{options.committed} is written")
            return 0
        text = options.committed.read_text(encoding="utf-8")
        code, said = judge(text, now, versions, options.committed.name)
    except (CountError, OSError) as error:
        print(f"{Path(__file__).name}: {error}", file=sys.stderr)
        return 1
    print(said)
    return code


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
