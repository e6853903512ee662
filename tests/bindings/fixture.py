# SPDX-License-Identifier: MIT
"""A property server in a folder of a test's own, and the store of the test's process."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path
from typing import Callable, Optional

from property_store import Store

THIS_DEVICE = "02:00:00:00:00:01"
OTHER_DEVICE = "02:00:00:00:00:02"
PATIENCE = 30.0  # seconds, for what comes in a test that passes
SHORT = 0.05


class StoreTest(unittest.TestCase):
    """The environment leads to the server, for the test's own process and its children."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory(prefix="property_test.")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.schema = str(self.folder / "schema.so")
        shutil.copy(os.environ["TOOL_SCHEMA"], self.schema)
        os.environ["MAILROUTER_ADDRESS"] = f"unix:path={self.folder}/socket"
        os.environ["PROPERTY_OWN_MAC"] = THIS_DEVICE
        os.environ["PROPERTY_SCHEMA"] = self.schema
        self.server: Optional[subprocess.Popen[str]] = None

    def start_server(self, configuration: str = "") -> None:
        file = self.folder / "server.toml"
        file.write_text(configuration, encoding="utf-8")
        command = [os.environ["SERVER_PROGRAM"], "--address", os.environ["MAILROUTER_ADDRESS"]]
        command += ["--database", str(self.folder / "values.db"), "--config", str(file)]
        self.server = subprocess.Popen(
            command, stdout=subprocess.PIPE, text=True, env=program_environment()
        )
        self.addCleanup(self.stop_server)
        assert self.server.stdout is not None
        self.assertTrue(self.server.stdout.readline().startswith("ready: "))

    def stop_server(self) -> None:
        server, self.server = self.server, None
        if server is not None:
            server.terminate()
            server.communicate(timeout=PATIENCE)

    def open(self, configuration: str = "", all_devices: bool = False) -> Store:
        """A store, with a server of its own."""
        self.start_server(configuration)
        return Store(self.schema, all_devices=all_devices, timeout=PATIENCE)

    def tool(self, *arguments: str) -> str:
        """What the property command answers: another process, which changes values."""
        command = [os.environ["TOOL_PROGRAM"], *arguments]
        done = subprocess.run(
            command, stdout=subprocess.PIPE, text=True, check=True, env=program_environment()
        )
        return done.stdout.strip()

    def run_python(self, code: str) -> str:
        """What a process of its own has written that ends well and without complaints."""
        command = [sys.executable, "-B", "-X", "faulthandler", "-c", code]
        done = subprocess.run(
            command, capture_output=True, text=True, timeout=PATIENCE, check=False
        )
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout


def program_environment() -> dict[str, str]:
    """Without what is loaded into the interpreter for a sanitizer: programs have their own."""
    return {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}


def on_another_thread(action: Callable[[], None]) -> None:
    """Runs it there; what it raises comes out here."""
    raised: list[BaseException] = []

    def run() -> None:
        try:
            action()
        except BaseException as error:  # pylint: disable=broad-except
            raised.append(error)

    thread = threading.Thread(target=run)
    thread.start()
    thread.join()
    if raised:
        raise raised[0]
