# SPDX-License-Identifier: MIT
"""Changes for loops, threads and coroutines."""

from __future__ import annotations

import asyncio
import gc
import threading
import unittest
import weakref

import property_store
from fixture import PATIENCE, SHORT, THIS_DEVICE, StoreTest
from property_store import Change, Store, Watch


class WatchTest(StoreTest):
    """Iterating waits for changes."""

    def test_a_change_tells_value_and_place(self) -> None:
        store = self.open()
        watch = store.watch("Brightness")
        self.tool("set", "Brightness=60")
        change = watch.next(PATIENCE)
        self.assertEqual((change.value, change.removed), (60, False))
        self.assertEqual((change.path, change.record), ("Device/Display/Brightness", None))
        self.assertEqual(change.device, THIS_DEVICE)

    def test_each_type_is_told_as_it_is_read(self) -> None:
        store = self.open()
        watch = store.watch()
        odd = b"\xff\0x".decode("utf-8", "surrogateescape")
        store["Enabled"], store["Mode"], store["Motto"] = True, "night", odd
        told = [watch.next(PATIENCE).value for _ in range(3)]
        self.assertEqual(told, [True, "night", odd])

    def test_a_removal_tells_the_default(self) -> None:
        store = self.open()
        store["Brightness"] = 60
        store.receipt().wait(PATIENCE)
        watch = store.watch("Brightness")
        self.tool("reset", "Brightness")
        change = watch.next(PATIENCE)
        self.assertEqual((change.value, change.removed), (80, True))

    def test_all_places_of_a_property_may_be_watched(self) -> None:
        store = self.open()
        one, all_places = store.watch("UserName[7]"), store.watch("UserName", all_places=True)
        store.set("UserName", "Anna", record=7)
        store.set("UserName", "Bert", record=8)
        store["Brightness"] = 60
        self.assertEqual([one.next(0).value, one.take()], ["Anna", None])
        records = [all_places.next(0).record, all_places.next(0).record]
        self.assertEqual((records, all_places.take()), ([7, 8], None))

    def test_iterating_ends_when_nothing_has_changed_for_a_while(self) -> None:
        store = self.open()
        watch = store.watch("Brightness", "Mode", timeout=SHORT)
        store["Brightness"] = 60
        store["Mode"] = "night"
        self.assertEqual([change.value for change in watch], [60, "night"])
        with self.assertRaises(TimeoutError):
            watch.next(SHORT)
        with self.assertRaises(ValueError):
            store.watch(timeout=-1)

    def test_closing_ends_iterating_in_other_threads(self) -> None:
        store = self.open()
        told: list[Change] = []
        first = threading.Event()

        def take(watch: Watch) -> None:
            for change in watch:
                told.append(change)
                first.set()

        with store.watch() as watch:
            threads = [threading.Thread(target=take, args=[watch]) for _ in range(2)]
            for thread in threads:
                thread.start()
            store["Brightness"] = 60
            self.assertTrue(first.wait(PATIENCE))
        for thread in threads:
            thread.join(PATIENCE)
            self.assertFalse(thread.is_alive())
        self.assertEqual(len(told), 1)
        with self.assertRaises(property_store.ClosedError):
            watch.next()

    def test_a_watch_that_is_dropped_in_the_midst_goes(self) -> None:
        store = self.open()
        gone = threading.Event()
        watch = store.watch()
        weakref.finalize(watch, gone.set)
        store["Brightness"] = 60
        store["Mode"] = "night"
        for change in watch:
            self.assertEqual(change.value, 60)
            break
        del watch
        gc.collect()
        self.assertTrue(gone.is_set())
        store["Brightness"] = 61
        self.assertEqual(change.value, 60)

    def test_an_unknown_name_is_not_watched(self) -> None:
        with self.assertRaises(property_store.NotFoundError):
            self.open().watch("NoSuchName")


class AsyncWatchTest(StoreTest):
    """The same in the loop of asyncio, without a thread."""

    def test_changes_are_awaited(self) -> None:
        store = self.open()

        async def take() -> list[object]:
            told: list[object] = []
            loop = asyncio.get_running_loop()
            task = loop.run_in_executor(None, self.tool, "set", "Brightness=60")
            async for change in store.watch("Brightness", timeout=PATIENCE):
                told.append(change.value)
                if change.value == 60:
                    await task
                    store["Brightness"] = 61
                else:
                    break
            return told

        self.assertEqual(asyncio.run(take()), [60, 61])

    def test_iterating_ends_after_a_while_and_when_it_is_closed(self) -> None:
        store = self.open()

        async def take(watch: Watch) -> list[Change]:
            return [change async for change in watch]

        async def take_until_closed() -> list[Change]:
            watch = store.watch()
            task = asyncio.create_task(take(watch))
            await asyncio.sleep(0)
            watch.close()
            return await task

        self.assertEqual(asyncio.run(take(store.watch(timeout=SHORT))), [])
        self.assertEqual(asyncio.run(take_until_closed()), [])

    def test_a_task_that_is_cancelled_loses_no_change(self) -> None:
        store = self.open()

        async def cancel_and_take() -> object:
            watch = store.watch()
            task = asyncio.create_task(watch.__anext__())
            await asyncio.sleep(0)
            task.cancel()
            with self.assertRaises(asyncio.CancelledError):
                await task
            store["Brightness"] = 60
            return (await watch.__anext__()).value

        self.assertEqual(asyncio.run(cancel_and_take()), 60)

    def test_one_task_waits_at_a_time(self) -> None:
        store = self.open()

        async def wait_twice() -> None:
            watch = store.watch()
            task = asyncio.create_task(watch.__anext__())
            await asyncio.sleep(0)
            with self.assertRaisesRegex(RuntimeError, "another task"):
                await watch.__anext__()
            store["Brightness"] = 60
            self.assertEqual((await task).value, 60)

        asyncio.run(wait_twice())

    def test_several_watches_share_a_loop(self) -> None:
        store = self.open()

        async def first_of(store: Store, name: str) -> object:
            async for change in store.watch(name, timeout=PATIENCE):
                return change.value
            return None

        async def take_both() -> list[object]:
            tasks = [asyncio.create_task(first_of(store, name)) for name in ("Brightness", "Mode")]
            await asyncio.sleep(0)
            store["Mode"] = "night"
            store["Brightness"] = 60
            return list(await asyncio.gather(*tasks))

        self.assertEqual(asyncio.run(take_both()), [60, "night"])


if __name__ == "__main__":
    unittest.main()
