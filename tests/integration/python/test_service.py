"""The package mdp against the running service of a test machine."""

from __future__ import annotations

import doctest
import errno
import hashlib
import io
import os
import sys
import threading
import unittest
from pathlib import Path
from typing import Callable, List, Tuple

import mdp

README = Path(__file__).resolve().parents[3] / "client/python/README.md"

DEVICE_NAME = 0x1008


class Values(unittest.TestCase):
    def setUp(self) -> None:
        self.client = mdp.Client()

    def test_are_read_and_written_by_their_types(self) -> None:
        self.assertEqual(self.client.read_value(0x1000), 655365001)
        self.client.write_value(DEVICE_NAME, 0, "press-8")
        self.assertEqual(self.client.read(DEVICE_NAME), b"press-8")
        self.assertEqual(os.uname().nodename, "press-8")

    def test_that_are_refused_tell_code_and_name(self) -> None:
        rows: List[Tuple[Callable[[], object], str]] = [
            (lambda: self.client.write_value(DEVICE_NAME, 0, "qr_x"), "OBJ_E_INVALIDARG"),
            (lambda: self.client.write(0x1000, 0, b"1234"), "OBJ_E_INVALACCESS"),
            (lambda: self.client.read(0x1018, 2), "OBJ_E_NOTSUPPORTED"),
            (lambda: self.client.read(0x1018, 9), "OBJ_E_INVALIDIDX"),
            (lambda: self.client.describe_object(0x9999), "OBJ_E_INVALIDIDX"),
            (lambda: self.client.describe_entry(0x1018, 9), "OBJ_E_INVALIDIDX"),
        ]
        for act, name in rows:
            with self.subTest(name=name), self.assertRaises(mdp.ObjectError) as caught:
                act()
            self.assertEqual(caught.exception.name, name)

    def test_read_complete_stops_at_the_first_failure(self) -> None:
        value = self.client.read_complete(0x1018)
        self.assertEqual(value, mdp.CompleteValue(mdp.Code.OBJ_E_NOTSUPPORTED, b"\x04\0\x02\0\0\0"))

    def test_longer_than_the_first_room_are_read_whole(self) -> None:
        (software,) = self.client.list_modules(mdp.ModuleType.SOFTWARE)
        small = mdp.Client(read_capacity=3)
        self.assertEqual(small.read_complete(software.data(1)), self.client.read_complete(software.data(1)))


class Dictionary(unittest.TestCase):
    def setUp(self) -> None:
        self.client = mdp.Client()

    def test_objects_are_counted_listed_and_described(self) -> None:
        indexes = self.client.list_objects()
        self.assertEqual(len(indexes), self.client.count_objects().all)
        self.assertEqual(indexes, sorted(indexes))
        modules = self.client.describe_object(0xF020)
        self.assertEqual((modules.object_code, modules.data_type), (mdp.ObjectCode.ARRAY, 0xF020))
        self.assertEqual(modules.item_count, len(self.client.list_modules()) + 1)

    def test_names_are_in_the_language_asked_for(self) -> None:
        self.assertEqual(self.client.describe_entry(DEVICE_NAME).name, "Device name")
        german = mdp.Client(language=mdp.Language.GERMAN)
        self.assertEqual(
            german.describe_entry(DEVICE_NAME),
            mdp.EntryDescription(
                DEVICE_NAME, 0, mdp.DataType.VISIBLE_STRING, german.describe_entry(DEVICE_NAME).bit_length, True, True,
                "Gerätename",
            ),
        )

    def test_modules_are_found_by_type(self) -> None:
        self.assertEqual([module.name for module in self.client.list_modules(2)], ["em0", "em1"])
        (time,) = self.client.list_modules(mdp.ModuleType.TIME)
        self.assertEqual((time.type_name, time.ident), ("Time", 0x00032710))
        self.assertEqual(self.client.read_value(time.index, 1), 3 << 16 | time.slot)


class Services(unittest.TestCase):
    def test_end_well_or_with_their_code(self) -> None:
        client = mdp.Client()
        adapter = client.list_modules(mdp.ModuleType.NETWORK_ADAPTER)[0]
        # Without DHCP there is nothing to renew, and the service ends well; a record of 5 bytes cannot be used.
        self.assertEqual(client.call_service(adapter.service(0)), b"")
        with self.assertRaisesRegex(mdp.ObjectError, "OBJ_E_INVALIDDATA"):
            client.call_service(adapter.service(1), b"12345")


class Files(unittest.TestCase):
    def setUp(self) -> None:
        self.files = mdp.FileServices(mdp.Client())
        self.files.make_directory("/var/python/deep", parents=True)
        self.addCleanup(self.files.delete, "/var/python", recursive=True)

    def test_larger_than_a_chunk_arrive_whole(self) -> None:
        content = bytes(range(256)) * (3 << 12) + b"end"  # 3 MiB and 3 bytes
        self.assertEqual(self.files.write_from("/var/python/large", io.BytesIO(content)), len(content))
        self.assertEqual(Path("/var/python/large").read_bytes(), content)
        sink = io.BytesIO()
        self.files.read("/var/python/large", sink)
        self.assertEqual(hashlib.sha256(sink.getvalue()).digest(), hashlib.sha256(content).digest())

    def test_of_whole_chunks_and_of_nothing_end_too(self) -> None:
        for content in (b"", b"x" * (1 << 20)):
            self.files.write("/var/python/edge", content)
            self.assertEqual(self.files.read("/var/python/edge"), content)

    def test_are_listed_with_names_that_are_no_utf_8(self) -> None:
        self.files.write("/var/python/\udcff [1]*", b"12345")
        self.assertEqual(
            self.files.list("/var/python/*"), mdp.Listing(["deep"], [mdp.RemoteFile("\udcff [1]*", 5)])
        )
        self.assertEqual(self.files.status("/var/python/\udcff [1]*"), mdp.RemoteStatus(False, 5))
        self.assertEqual(self.files.status("/var/python/deep"), mdp.RemoteStatus(True, 0))
        self.assertIsNone(self.files.status("/var/python/none"))

    def test_are_copied_moved_and_deleted(self) -> None:
        self.files.write("/var/python/a", b"a")
        self.files.copy("/var/python/a", "/var/python/b")
        with self.assertRaises(mdp.ObjectError) as caught:
            self.files.move("/var/python/a", "/var/python/b")
        self.assertEqual(caught.exception.errno, errno.EEXIST)
        self.files.move("/var/python/a", "/var/python/b", overwrite=True)
        self.files.delete("/var/python/b")
        self.assertEqual(self.files.list("/var/python/*").files, [])

    def test_that_do_not_exist_tell_so(self) -> None:
        with self.assertRaisesRegex(mdp.ObjectError, "OBJ_E_INVALIDDATA"):
            self.files.read("/var/python/none")
        with self.assertRaises(mdp.ObjectError) as caught:
            self.files.list("/var/python/none*")
        self.assertEqual(caught.exception.errno, errno.ENOENT)

    def test_are_moved_by_many_threads_without_harm(self) -> None:
        wrong = []

        def work(number: int) -> None:
            path, content = f"/var/python/t{number}", str(number).encode() * 5000
            for _ in range(3):
                self.files.write(path, content)
                if self.files.read(path) != content:
                    wrong.append(number)

        threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])


class Readme(unittest.TestCase):
    def test_tells_what_happens(self) -> None:
        told = doctest.testfile(str(README), module_relative=False, optionflags=doctest.ELLIPSIS)
        self.assertGreater(told.attempted, 20)
        self.assertEqual(told.failed, 0)


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("this changes the machine: it is for throw-away ones")
    unittest.main(verbosity=2)
