# SPDX-License-Identifier: MIT
"""What has become of changes."""

from __future__ import annotations

import signal
import threading
import unittest

import property_store
from fixture import PATIENCE, SHORT, StoreTest, on_another_thread

THREE_BYTES = "[limits]\nvalue_bytes = 3\n"


class ReceiptTest(StoreTest):
    """Waiting raises what is not good news."""

    def test_a_change_is_stored(self) -> None:
        store = self.open()
        store["Brightness"] = 60
        receipt = store.receipt()
        receipt.wait(PATIENCE)
        self.assertEqual(receipt.refusals, [])
        self.assertEqual(self.tool("get", "Brightness"), "60")

    def test_a_refused_change_says_why(self) -> None:
        store = self.open(THREE_BYTES)
        store["Brightness"] = 7000
        receipt = store.receipt()
        with self.assertRaises(property_store.RefusedError) as caught:
            receipt.wait(PATIENCE)
        [refusal] = caught.exception.refusals
        [(value, standing)] = refusal.values
        self.assertEqual((value.number, standing), (111, None))
        self.assertEqual(str(caught.exception), refusal.reason)
        self.assertEqual(len(receipt.refusals), 1)

    def test_a_server_that_is_away_ends_in_a_time_out(self) -> None:
        store = self.open()
        self.stop_server()
        store["Brightness"] = 60
        receipt = store.receipt()
        with self.assertRaises(TimeoutError):
            receipt.wait(SHORT)
        with self.assertRaises(ValueError):
            receipt.wait(-1)
        self.start_server()
        receipt.wait(PATIENCE)

    def test_receipts_are_of_a_thread_or_of_all(self) -> None:
        store = self.open()
        self.stop_server()
        on_another_thread(lambda: store.set("Brightness", 60))
        store.receipt().wait(0)
        with self.assertRaises(TimeoutError):
            store.receipt_of_all().wait(0)

    def test_a_wait_without_limit_is_interrupted_by_signals(self) -> None:
        store = self.open()
        self.stop_server()
        store["Brightness"] = 60

        def interrupt(*_: object) -> None:
            raise InterruptedError("a signal")

        signal.signal(signal.SIGUSR1, interrupt)
        main = threading.main_thread().ident
        assert main is not None
        timer = threading.Timer(SHORT, lambda: signal.pthread_kill(main, signal.SIGUSR1))
        timer.start()
        with self.assertRaises(InterruptedError):
            store.receipt().wait()
        timer.join()


if __name__ == "__main__":
    unittest.main()
