# SPDX-License-Identifier: MIT
"""The end of the interpreter, whatever is open."""

from __future__ import annotations

import unittest

from fixture import StoreTest

OPEN = "from property_store import Store\nstore = Store(timeout=30)\n"


class ExitTest(StoreTest):
    """It ends well, and without complaints."""

    def setUp(self) -> None:
        super().setUp()
        self.start_server()

    def test_with_everything_open(self) -> None:
        self.run_python(
            OPEN + "watch = store.watch()\nvalue = store.find('Brightness')\n"
            "change = store.transaction().begin()\nstore['Mode'] = 'night'\n"
            "receipt = store.receipt()\nguard = store.guard().__enter__()\n"
        )
        self.assertEqual(self.tool("get", "Mode"), "By day")

    def test_what_was_set_last_arrives(self) -> None:
        self.run_python(OPEN + "store['Brightness'] = 60\n")
        self.assertEqual(self.tool("get", "Brightness"), "60")

    def test_with_daemon_threads_that_wait_and_set(self) -> None:
        self.run_python(
            OPEN + "import threading, itertools\n"
            "def wait(watch):\n"
            "    for change in watch: pass\n"
            "def set():\n"
            "    for number in itertools.count(): store['Brightness'] = number % 100\n"
            "def hold():\n"
            "    with store.transaction():\n"
            "        threading.Event().wait()\n"
            "for action, arguments in ((wait, [store.watch('Mode')]), (wait, [store.watch()]),\n"
            "                          (set, []), (hold, [])):\n"
            "    threading.Thread(target=action, args=arguments, daemon=True).start()\n"
            "store.watch('Brightness').next(30)\n"
        )

    def test_with_a_loop_that_is_left_in_the_midst(self) -> None:
        output = self.run_python(
            OPEN + "import asyncio\n"
            "async def wait():\n"
            "    async for change in store.watch('Brightness'):\n"
            "        print(change.value)\n"
            "async def main():\n"
            "    task = asyncio.create_task(wait())\n"
            "    await asyncio.sleep(0)\n"
            "    store['Brightness'] = 60\n"
            "    await asyncio.sleep(0)\n"
            "asyncio.run(main())\n"
            "watch = store.watch()\n"
        )
        self.assertIn(output, ("", "60\n"))

    def test_after_os_exit_and_an_exception(self) -> None:
        self.run_python(OPEN + "import os\nwatch = store.watch()\nos._exit(0)\n")
        self.run_python(
            OPEN + "import sys\nwatch = store.watch()\nring = [watch]\nring.append(ring)\n"
            "try:\n    store['NoSuchName']\nexcept LookupError:\n    sys.exit(0)\n"
        )

    def test_while_there_is_no_server(self) -> None:
        self.stop_server()
        self.run_python(
            "import property_store\n"
            "try:\n    property_store.Store(timeout=0.05)\n"
            "except TimeoutError:\n    pass\n"
        )

    def test_of_a_forked_child(self) -> None:
        output = self.run_python(
            OPEN + "import os, sys\nwatch = store.watch()\nchild = os.fork()\n"
            "if child == 0:\n    sys.exit(0 if store['Brightness'] == 80 else 3)\n"
            "print(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))\n"
        )
        self.assertEqual(output, "0\n")


if __name__ == "__main__":
    unittest.main()
