# SPDX-License-Identifier: MIT
"""Opening the store, and reading and changing values by name."""

from __future__ import annotations

import copy
import os
import unittest

import property_store
from fixture import OTHER_DEVICE, PATIENCE, SHORT, THIS_DEVICE, StoreTest, on_another_thread
from property_store import Choice, Store


class StoreValuesTest(StoreTest):
    """Values have the types of Python."""

    def test_an_integer_is_an_int(self) -> None:
        store = self.open()
        self.assertEqual(store["Brightness"], 80)
        store["Brightness"] = 60
        self.assertIs(type(store["Brightness"]), int)
        store.receipt().wait(PATIENCE)
        self.assertEqual(self.tool("get", "Brightness"), "60")

    def test_a_boolean_is_a_bool(self) -> None:
        store = self.open()
        store["Enabled"] = True
        self.assertIs(store["Enabled"], True)
        with self.assertRaises(TypeError):
            store["Enabled"] = 1

    def test_a_text_is_a_str_with_any_bytes(self) -> None:
        store = self.open()
        odd = b"\xff\x80 bytes".decode("utf-8", "surrogateescape")
        for text in ("", "Grüße \U0001f600", "zero\0byte", odd):
            with self.subTest(text):
                store["Motto"] = text
                self.assertEqual(store["Motto"], text)
        with self.assertRaises(UnicodeEncodeError):
            store["Motto"] = "\ud800"

    def test_a_choice_is_its_text_and_knows_the_rest(self) -> None:
        store = self.open()
        mode = store.find("Mode")
        for written in ("night", 1122, mode.choices[1]):
            store["Mode"] = "day"
            store["Mode"] = written
            found = store["Mode"]
            self.assertEqual(found, "night")
            assert isinstance(found, Choice)
            described = (found.number, found.name, found.description)
            self.assertEqual(described, (1122, "Night", "By night"))
            self.assertEqual(copy.deepcopy(found).number, 1122)
        for unknown in ("dusk", 7):
            with self.assertRaises(property_store.NotFoundError):
                store["Mode"] = unknown
        with self.assertRaises(TypeError):
            store["Mode"] = True

    def test_what_a_person_writes_is_read_by_type(self) -> None:
        store = self.open()
        store.find("Enabled").set_written("yes")
        store.find("Mode").set_written("By night")
        self.assertEqual((store["Enabled"], store["Mode"]), (True, "night"))
        with self.assertRaisesRegex(property_store.BadValueError, "'dusk' is no choice"):
            store.find("Mode").set_written("dusk")

    def test_values_have_records_and_devices(self) -> None:
        store = self.open()
        store.set("UserName", "Anna", record=7)
        self.assertEqual(store["UserName[7]"], "Anna")
        self.assertEqual(store.get("UserName", record=8), "")
        self.tool("set", "Brightness=10", "--mac", OTHER_DEVICE)
        self.assertEqual(store.get("Brightness", device=OTHER_DEVICE), 10)
        self.assertEqual(store["Brightness"], 80)

    def test_a_value_tells_what_the_schema_says(self) -> None:
        store = self.open()
        host = store.find("Host", record=3, device=OTHER_DEVICE)
        self.assertEqual((host.path, host.name), ("Device/Display/Host", "Host"))
        self.assertEqual((host.record, host.device), (3, OTHER_DEVICE))
        self.assertEqual((host.type, host.pattern), ("text", "^[a-z]+$"))
        self.assertEqual((host.number, host.description), (117, "Host that it shows"))
        self.assertEqual(repr(host), f"<Value Device/Display/Host[3] of {OTHER_DEVICE}>")
        self.assertTrue(store.find("ServicePin").hidden)
        self.assertTrue(store.find("Contrast").advanced)
        defaults = [store.find(name).default for name in ("Brightness", "Mode", "Enabled", "Motto")]
        self.assertEqual(defaults, [80, "day", False, None])

    def test_a_value_may_be_set_to_its_default(self) -> None:
        store = self.open()
        brightness = store.find("Brightness")
        self.assertFalse(brightness.exists())
        brightness.set(60)
        brightness.set_to_default()
        self.assertEqual((brightness.get(), brightness.exists()), (80, True))

    def test_all_properties_are_listed(self) -> None:
        paths = [value.path for value in self.open()]
        self.assertEqual((paths[0], len(paths)), ("Device/Display/Brightness", 11))

    def test_a_guard_holds_other_threads(self) -> None:
        store = self.open()
        with store.guard():
            with self.assertRaises(property_store.InGuardError):
                store.get("Brightness", device=OTHER_DEVICE)
        on_another_thread(lambda: store.set("Brightness", 60))
        self.assertEqual(store["Brightness"], 60)


class StoreFailuresTest(StoreTest):
    """Failures are exceptions with the library's text."""

    def test_a_name_may_mean_nothing_or_several(self) -> None:
        store = self.open()
        with self.assertRaisesRegex(LookupError, "NoSuchName"):
            store.get("NoSuchName")
        with self.assertRaisesRegex(property_store.AmbiguousError, "Device/Display/Mode"):
            store.get("M")
        with self.assertRaises(ValueError):
            store.get("Mode\0")
        with self.assertRaisesRegex(ValueError, "no address of a device"):
            store.get("Mode", device="nowhere")
        with self.assertRaises(ValueError):
            store.get(store.find("Mode"), record=3)

    def test_numbers_are_not_cut(self) -> None:
        store = self.open()
        for number in (2**31, -(2**31) - 1, 2**64):
            with self.assertRaises(ValueError):
                store["Brightness"] = number
        for record in (2**31, 2**64):
            with self.assertRaises(ValueError):
                store.get("UserName", record=record)
        self.assertEqual(store["Brightness"], 80)

    def test_other_types_are_refused(self) -> None:
        store = self.open()
        for wrong in ("60", 6.0, True, None):
            with self.assertRaises(TypeError):
                store.set("Brightness", wrong)  # type: ignore[arg-type]
        with self.assertRaises(TypeError):
            store["Motto"] = 7

    def test_what_the_schema_forbids_is_refused(self) -> None:
        store = self.open()
        with self.assertRaisesRegex(property_store.BadValueError, "does not match the pattern"):
            store["Host"] = "A1"

    def test_a_server_that_is_away_ends_in_a_time_out(self) -> None:
        with self.assertRaises(TimeoutError):
            Store(self.schema, timeout=SHORT)
        self.start_server()
        self.assertEqual(Store(self.schema, timeout=PATIENCE)["Brightness"], 80)
        for wrong in (-1.0, float("nan")):
            with self.assertRaises(ValueError):
                Store(self.schema, timeout=wrong)

    def test_there_is_one_store(self) -> None:
        first = self.open()
        second = Store(timeout=PATIENCE)
        second["Brightness"] = 60
        self.assertEqual(first["Brightness"], 60)
        with self.assertRaises(property_store.OtherStoreError):
            Store(self.schema, all_devices=True, timeout=PATIENCE)

    def test_there_has_to_be_a_schema(self) -> None:
        with self.assertRaisesRegex(property_store.NoSchemaError, "nowhere"):
            Store("/nowhere", timeout=SHORT)
        with self.assertRaises(ValueError):
            Store("/no\0where", timeout=SHORT)

    def test_schemas_that_are_left_out_are_told(self) -> None:
        (self.folder / "bad.so").write_text("no library", encoding="utf-8")
        self.start_server()
        problems = Store(self.folder, timeout=PATIENCE).schema_problems
        self.assertEqual(len(problems), 1)
        self.assertIn("bad.so: ", problems[0])

    def test_a_closed_store_finds_nothing_and_its_values_stay(self) -> None:
        with self.open() as store:
            brightness = store.find("Brightness")
            self.assertEqual(store.own_device, THIS_DEVICE)
        with self.assertRaises(property_store.ClosedError):
            store.get("Brightness")
        self.assertEqual(brightness.get(), 80)

    def test_a_forked_child_only_reads(self) -> None:
        store = self.open()
        reader, writer = os.pipe()
        child = os.fork()
        if child == 0:
            said = "nothing"
            try:
                store["Brightness"] = 7
            except property_store.InChildError:
                said = f"refused, reads {store['Brightness']}"
            finally:
                os.write(writer, said.encode())
                os._exit(0)
        os.close(writer)
        with os.fdopen(reader, encoding="utf-8") as said_by_child:
            self.assertEqual(said_by_child.read(), "refused, reads 80")
        os.waitpid(child, 0)

    def test_the_package_tells_its_version(self) -> None:
        self.assertRegex(property_store.__version__, r"^\d+\.\d+\.\d+$")


if __name__ == "__main__":
    unittest.main()
