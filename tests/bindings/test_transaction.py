# SPDX-License-Identifier: MIT
"""Transactions, and changes on conditions."""

from __future__ import annotations

import gc
import threading
import unittest
from typing import Iterator

import property_store
from fixture import PATIENCE, StoreTest, on_another_thread
from property_store import Transaction

THREE_BYTES = "[limits]\nvalue_bytes = 3\n"


class TransactionTest(StoreTest):
    """A context is made wholly or not at all."""

    def test_a_context_commits_at_its_end(self) -> None:
        store = self.open()
        with store.transaction() as change:
            store["Brightness"] = 60
            store["Mode"] = "night"
            on_another_thread(lambda: self.assertEqual(store["Brightness"], 80))
            self.assertEqual(store["Brightness"], 60)
        assert change.receipt is not None
        change.receipt.wait(PATIENCE)
        found = [self.tool("get", name) for name in ("Brightness", "Mode")]
        self.assertEqual(found, ["60", "By night"])

    def test_an_exception_rolls_back_and_goes_on(self) -> None:
        store = self.open()
        with self.assertRaisesRegex(RuntimeError, "on its way"):
            with store.transaction() as change:
                store["Brightness"] = 60
                raise RuntimeError("on its way")
        self.assertEqual((store["Brightness"], change.receipt), (80, None))
        store["Brightness"] = 61
        self.assertEqual(store["Brightness"], 61)

    def test_an_end_by_hand_leaves_nothing_to_the_context(self) -> None:
        store = self.open()
        with store.transaction() as change:
            store["Brightness"] = 60
            change.rollback()
        self.assertEqual(store["Brightness"], 80)
        with store.transaction() as change:
            store["Brightness"] = 60
            change.commit().wait(PATIENCE)
        self.assertEqual(store["Brightness"], 60)
        with self.assertRaises(property_store.EndedError):
            change.commit()

    def test_a_value_is_set_once(self) -> None:
        store = self.open()
        with self.assertRaisesRegex(property_store.SetTwiceError, "Brightness"):
            with store.transaction():
                store["Brightness"] = 60
                store["Brightness"] = 61
        self.assertEqual(store["Brightness"], 80)

    def test_they_do_not_nest(self) -> None:
        store = self.open()
        with store.transaction():
            with self.assertRaises(property_store.InTransactionError):
                store.transaction().begin()

    def test_they_belong_to_one_thread(self) -> None:
        store = self.open()
        with store.transaction() as change:
            store["Brightness"] = 60
            with self.assertRaises(property_store.WrongThreadError):
                on_another_thread(lambda: self.assertIsNone(change.commit()))
        self.assertEqual(store["Brightness"], 60)


class ConditionTest(StoreTest):
    """What was expected decides."""

    def test_what_is_expected_is_read(self) -> None:
        store = self.open()
        with store.transaction(timeout=PATIENCE) as change:
            store.set("Brightness", int(change.expect("Brightness")) + 1)
        self.assertEqual(store["Brightness"], 81)
        self.assertEqual(self.tool("get", "Brightness"), "81")

    def test_a_conflict_names_the_value_that_stands(self) -> None:
        store = self.open()
        with self.assertRaises(property_store.ConflictError) as caught:
            with store.transaction(timeout=PATIENCE) as change:
                store.set("Brightness", int(change.expect("Brightness")) + 1)
                self.tool("set", "Brightness=7")
        [refusal] = caught.exception.refusals
        [(value, standing)] = refusal.values
        self.assertEqual((value.path, standing), ("Device/Display/Brightness", "7"))
        self.assertTrue(refusal.reason)

    def test_threads_count_without_losing_one(self) -> None:
        store = self.open()

        def count() -> None:
            for _ in range(5):
                while True:
                    try:
                        with store.transaction(timeout=PATIENCE) as change:
                            store.set("Brightness", int(change.expect("Brightness")) + 1)
                        break
                    except property_store.ConflictError:
                        pass

        threads = [threading.Thread(target=count) for _ in range(3)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(self.tool("get", "Brightness"), "95")

    def test_what_is_not_allowed_is_refused(self) -> None:
        store = self.open(THREE_BYTES)
        with self.assertRaises(property_store.RefusedError) as caught:
            with store.transaction(timeout=PATIENCE) as change:
                change.expect("Brightness")
                store["Brightness"] = 7000
        self.assertNotIsInstance(caught.exception, property_store.ConflictError)
        self.assertEqual(len(caught.exception.refusals), 1)


class DroppedTransactionTest(StoreTest):
    """Nobody refers to it any more."""

    def test_it_is_rolled_back(self) -> None:
        store = self.open()
        change = store.transaction().begin()
        store["Brightness"] = 60
        del change
        gc.collect()
        self.assertEqual(store["Brightness"], 80)

    def test_it_is_rolled_back_by_its_thread_when_another_collects_it(self) -> None:
        store = self.open()
        ring: list[object] = [store.transaction().begin()]
        ring.append(ring)
        store["Brightness"] = 60
        gc.disable()
        del ring
        on_another_thread(lambda: self.assertGreater(gc.collect(), 0))
        gc.enable()
        self.assertEqual(store["Brightness"], 80)
        with store.transaction():
            store["Brightness"] = 61
        self.assertEqual(store["Brightness"], 61)

    def test_a_generator_that_holds_one_may_be_collected_on_another_thread(self) -> None:
        store = self.open()

        def hold() -> Iterator[Transaction]:
            with store.transaction() as change:
                store["Brightness"] = 60
                yield change

        held = [hold()]
        next(held[0])
        on_another_thread(lambda: held.pop().close())
        self.assertEqual(store["Brightness"], 80)

    def test_a_thread_may_end_with_one(self) -> None:
        store = self.open()
        kept: list[Transaction] = []
        on_another_thread(lambda: kept.append(store.transaction().begin()))
        with self.assertRaises(property_store.WrongThreadError):
            kept[0].commit()
        kept.clear()
        with store.transaction():
            store["Brightness"] = 60
        self.assertEqual(store["Brightness"], 60)


if __name__ == "__main__":
    unittest.main()
