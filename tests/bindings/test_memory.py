# SPDX-License-Identifier: MIT
"""Threads, and what the collector of garbage does while they use the store."""

from __future__ import annotations

import gc
import threading
import unittest
from typing import Callable

from fixture import PATIENCE, StoreTest


class MemoryTest(StoreTest):
    """Handles are given back in any order, on any thread."""

    def run_threads(self, *actions: Callable[[], None]) -> None:
        failures: list[BaseException] = []

        def run(action: Callable[[], None]) -> None:
            try:
                action()
            except BaseException as error:  # pylint: disable=broad-except
                failures.append(error)

        threads = [threading.Thread(target=run, args=[action]) for action in actions]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(failures, [])

    def test_threads_set_and_get_while_garbage_is_collected(self) -> None:
        store = self.open()

        def work(name: str) -> Callable[[], None]:
            def loop() -> None:
                for number in range(100):
                    store[name] = number
                    ring: list[object] = [store.find(name), store.watch(name), store.receipt()]
                    ring.append(ring)
                    self.assertIsInstance(store[name], int)

            return loop

        def collect() -> None:
            for _ in range(50):
                gc.collect()

        self.run_threads(work("Brightness"), work("Contrast"), work("PinLength"), collect)
        store.receipt_of_all().wait(PATIENCE)
        found = [self.tool("get", name) for name in ("Brightness", "Contrast")]
        self.assertEqual(found, ["99", "99"])

    def test_a_watch_is_collected_while_changes_come(self) -> None:
        store = self.open()

        def change() -> None:
            for number in range(200):
                store["Brightness"] = number

        def watch() -> None:
            for _ in range(50):
                store.watch().take()

        self.run_threads(change, watch, watch)
        self.assertEqual(store["Brightness"], 199)

    def test_parts_live_longer_than_the_store(self) -> None:
        store = self.open()
        value, watch, receipt = store.find("Brightness"), store.watch(), store.receipt()
        store.close()
        del store
        gc.collect()
        value.set(60)
        self.assertEqual(watch.next(PATIENCE).value, 60)
        receipt.wait(PATIENCE)
        change_place = watch.take()
        self.assertIsNone(change_place)

    def test_a_thread_that_waits_lets_others_go_on(self) -> None:
        store = self.open()
        watch = store.watch()
        told: list[object] = []
        waiting = threading.Thread(target=lambda: told.append(watch.next(PATIENCE).value))
        waiting.start()
        store["Brightness"] = 60
        waiting.join(PATIENCE)
        self.assertEqual(told, [60])

    def test_a_guard_does_not_stop_threads_that_do_not_use_the_store(self) -> None:
        store = self.open()
        done = threading.Event()
        blocked = threading.Thread(target=lambda: store.set("Brightness", 60))
        with store.guard():
            blocked.start()
            threading.Thread(target=done.set).start()
            self.assertTrue(done.wait(PATIENCE))
            self.assertEqual(store["Brightness"], 80)
        blocked.join(PATIENCE)
        self.assertEqual(store["Brightness"], 60)


if __name__ == "__main__":
    unittest.main()
