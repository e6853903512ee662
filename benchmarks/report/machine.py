# SPDX-License-Identifier: MIT
"""The machine and the programs on it that measurements hold for."""

from __future__ import annotations

import datetime
import os
import platform
import re
import subprocess
import tempfile
from pathlib import Path

PEER_PACKAGES = {
    "sqlite": "libsqlite3-0",
    "redis": "redis-server",
    "lmdb": "liblmdb0",
    "gsettings": "libglib2.0-0",
    "dconf": "dconf-service",
    "dbus": "dbus",
}
IN_MEMORY = ("tmpfs", "ramfs")
UNKNOWN = "unknown"


def _output(command: list[str]) -> str:
    """The first line that a command writes; "unknown" when it cannot say."""
    try:
        ended = subprocess.run(command, capture_output=True, text=True, check=True, timeout=30)
    except (OSError, subprocess.SubprocessError):
        return UNKNOWN
    lines = ended.stdout.strip().splitlines()
    return lines[0] if lines else UNKNOWN


def _first_match(path: str, pattern: str) -> str:
    try:
        found = re.search(pattern, Path(path).read_text(encoding="utf-8"), re.MULTILINE)
    except OSError:
        return UNKNOWN
    return found.group(1) if found else UNKNOWN


def _memory() -> str:
    kib = _first_match("/proc/meminfo", r"^MemTotal:\s+(\d+) kB")
    return f"{int(kib) / 1048576:.1f} GiB" if kib != UNKNOWN else UNKNOWN


def _compiler(build: Path) -> str:
    name = _first_match(str(build / "CMakeCache.txt"), r"^CMAKE_CXX_COMPILER:[A-Z]+=(.*)$")
    return _output([name, "--version"]) if name != UNKNOWN else UNKNOWN


def _commit(source: Path) -> str:
    git = ["git", "-c", f"safe.directory={source}", "-C", str(source)]
    commit = _output([*git, "rev-parse", "HEAD"])
    changed = commit != UNKNOWN and _output([*git, "status", "--porcelain"]) != UNKNOWN
    return f"{commit} with changes" if changed else commit


def _databases(folder: str) -> str:
    # Not all file systems have a source, so each is asked for alone.
    kind = _output(["findmnt", "-n", "-o", "FSTYPE", "-T", folder])
    text = f'{kind} on {_output(["findmnt", "-n", "-o", "SOURCE", "-T", folder])}'
    options = _output(["findmnt", "-n", "-o", "OPTIONS", "-T", folder])
    text += f" ({options})" if options != UNKNOWN else ""
    if kind in IN_MEMORY:
        text += "; in memory, so that durable changes say nothing about a disk"
    return text


def _peers() -> str:
    versions = {
        peer: _output(["dpkg-query", "-W", "-f=${Version}", package])
        for peer, package in PEER_PACKAGES.items()
    }
    known = [f"{peer} {version}" for peer, version in versions.items() if version != UNKNOWN]
    return ", ".join(known) or UNKNOWN


def describe(source: Path, build: Path) -> dict[str, str]:
    """What to know about this machine to judge what was measured on it."""
    return {
        "processor": _first_match("/proc/cpuinfo", r"^model name\s*:\s*(.*)$"),
        "cores": str(os.cpu_count()),
        "memory": _memory(),
        "kernel": f"{platform.system()} {platform.release()}",
        "compiler": _compiler(build),
        "databases": _databases(os.environ.get("TMPDIR") or tempfile.gettempdir()),
        "peers": _peers(),
        "commit": _commit(source),
        "date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
    }
