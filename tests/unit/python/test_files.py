"""Requests and responses of the file services, byte by byte."""

from __future__ import annotations

import errno
import io
import struct
import unittest
from typing import List, Optional, Tuple

import mdp
from fake_service import FakeService, hexed
from mdp import files as under_test

OK = 1
FAILED = 3


class FakeMachine:
    """A machine with the file services in slot 5, whose jobs a test answers one after the other."""

    def __init__(self, *responses: Tuple[int, bytes]) -> None:
        self.requests: List[Tuple[int, bytes]] = []  # service and request data
        self._responses = list(responses)
        self._response: Tuple[int, bytes] = (0, b"")

    def answer(self, frame: bytes) -> Optional[bytes]:
        head = frame[24:30]
        index, flags, sub_index = struct.unpack("<2xHBB", head)
        if index == 0xF020:
            return self._record(head, hexed("01 00  05 00 10 00"))
        if index == 0xF030:
            return self._record(head, hexed("01 00  10 00"))
        if index < 0xB000 or index > 0xBFFF:
            return self._record(head, b"FSO")
        status, data = self._response
        if frame[16:24] == frame[8:16]:  # a read
            return self._record(head, bytes([status]) if sub_index == 2 else bytes([status, 0]) + data)
        self.requests.append((index & 0xF, frame[42:]))
        self._response = self._responses.pop(0)
        return self._record(head, b"")

    @staticmethod
    def _record(head: bytes, data: bytes) -> bytes:
        return struct.pack("<I", 18 + len(data)) + head + bytes(8) + struct.pack("<I", len(data)) + data


class FilesTest(unittest.TestCase):
    def machine(self, *responses: Tuple[int, bytes]) -> mdp.FileServices:
        self.fake = FakeMachine(*responses)
        service = FakeService(self.fake.answer)
        self.addCleanup(service.__exit__, None, None, None)
        return mdp.FileServices(mdp.Client(service.path))


class Listing(FilesTest):
    RECORD = hexed(
        "00 00 00 00  4d 00 00 00  01 00 00 00  02 00 00 00  18 00 00 00  22 00 00 00"
        "00 00 00 00  02 00 00 00  64 64"  # a directory, dd
        "38 00 00 00  05 00 00 00 00 00 00 00  00 00 00 00  02 00 00 00  66 31"  # a file of 5 bytes, f1
        "00 00 00 00  00 00 00 00 01 00 00 00  00 00 00 00  01 00 00 00  ff"  # a file of 4 GiB, no UTF-8
    )

    def test_gives_directories_and_files_with_sizes(self) -> None:
        files = self.machine((OK, self.RECORD))
        listing = files.list("/d/*")
        self.assertEqual(listing.directories, ["dd"])
        self.assertEqual(listing.files, [mdp.RemoteFile("f1", 5), mdp.RemoteFile("\udcff", 1 << 32)])
        self.assertEqual(self.fake.requests, [(0, hexed("04 00 00 00  2f 64 2f 2a"))])

    def test_that_does_not_fit_the_pattern_is_another_client_s(self) -> None:
        with self.assertRaisesRegex(mdp.ProtocolError, "another client disturbed"):
            self.machine((OK, self.RECORD)).list("/d/*.txt")

    def test_with_an_entry_outside_is_malformed(self) -> None:
        for cut in (1, 10, 30, 60):
            with self.assertRaises(mdp.ProtocolError):
                under_test.parse_listing(self.RECORD[:-cut])
        with self.assertRaises(mdp.ProtocolError):
            under_test.parse_listing(self.RECORD[:8] + hexed("09 00 00 00") + self.RECORD[12:])

    def test_status_escapes_the_path_and_tells_what_is_missing(self) -> None:
        files = self.machine((FAILED, hexed("02 00 a7 ec")))
        self.assertIsNone(files.status("/a*b"))
        self.assertEqual(self.fake.requests, [(0, hexed("06 00 00 00") + b"/a[*]b")])


class Transfers(FilesTest):
    def test_read_goes_on_with_the_handle_until_the_end(self) -> None:
        files = self.machine(
            (OK, hexed("03 00 00 00  07 00 00 00  00 00 00 00  61 62 63")),
            (OK, hexed("01 00 00 00  00 00 00 00  01 00 00 00  64")),
        )
        self.assertEqual(files.read("/f"), b"abcd")
        self.assertEqual(
            self.fake.requests,
            [
                (1, hexed("02 00 00 00  00 00 00 00  00 00 10 00  2f 66")),
                (1, hexed("00 00 00 00  07 00 00 00  00 00 10 00")),
            ],
        )

    def test_read_into_a_sink_keeps_nothing(self) -> None:
        files = self.machine((OK, hexed("01 00 00 00  00 00 00 00  01 00 00 00  64")))
        sink = io.BytesIO()
        self.assertEqual(files.read("/f", sink), b"")
        self.assertEqual(sink.getvalue(), b"d")

    def test_read_with_another_handle_is_another_client_s_file(self) -> None:
        files = self.machine(
            (OK, hexed("01 00 00 00  07 00 00 00  00 00 00 00  61")),
            (OK, hexed("01 00 00 00  08 00 00 00  00 00 00 00  62")),
        )
        with self.assertRaisesRegex(mdp.ObjectError, "OBJ_E_INVALIDARG"):
            files.read("/f")

    def test_read_with_a_length_that_does_not_fit_is_malformed(self) -> None:
        with self.assertRaises(mdp.ProtocolError):
            self.machine((OK, hexed("02 00 00 00  00 00 00 00  01 00 00 00  64"))).read("/f")

    def test_write_of_a_small_file_is_one_request_that_closes_it(self) -> None:
        files = self.machine((OK, hexed("00 00 00 00")))
        files.write("/f", b"abc")
        self.assertEqual(
            self.fake.requests, [(2, hexed("02 00 00 00  00 00 00 00  03 00 00 00  01 00 00 00  2f 66  61 62 63"))]
        )

    def test_write_of_a_chunk_goes_on_with_the_handle(self) -> None:
        files = self.machine((OK, hexed("09 00 00 00")), (OK, hexed("00 00 00 00")))
        self.assertEqual(files.write_from("/f", io.BytesIO(b"x" * (1 << 20) + b"y")), (1 << 20) + 1)
        head = hexed("02 00 00 00  00 00 00 00  00 00 10 00  00 00 00 00  2f 66")
        self.assertEqual(self.fake.requests[0][1][:18], head)
        self.assertEqual(self.fake.requests[1][1], hexed("00 00 00 00  09 00 00 00  01 00 00 00  01 00 00 00  79"))

    def test_write_that_fails_closes_the_file(self) -> None:
        class Broken(io.BytesIO):
            def read(self, size: Optional[int] = -1) -> bytes:
                piece = super().read(size)
                if not piece:
                    raise OSError(errno.EIO, "broken")
                return piece

        files = self.machine((OK, hexed("09 00 00 00")), (OK, hexed("00 00 00 00")))
        with self.assertRaisesRegex(OSError, "broken"):
            files.write_from("/f", Broken(b"x" * (1 << 20)))
        self.assertEqual(self.fake.requests[1], (2, hexed("00 00 00 00  09 00 00 00  00 00 00 00  01 00 00 00")))


class Changes(FilesTest):
    def test_send_lengths_flags_and_paths(self) -> None:
        done = (OK, hexed("00 00 00 00"))
        files = self.machine(*[done] * 6)
        files.copy("/a", "/bc")
        files.copy("/a", "/bc", overwrite=True)
        files.move("/a", "/bc")
        files.delete("/a")
        files.delete("/a", recursive=True)
        files.make_directory("/a/b", parents=True)
        self.assertEqual(
            self.fake.requests,
            [
                (3, hexed("02 00 00 00  03 00 00 00  01 00 00 00") + b"/a/bc"),
                (3, hexed("02 00 00 00  03 00 00 00  03 00 00 00") + b"/a/bc"),
                (3, hexed("02 00 00 00  03 00 00 00  00 00 00 00") + b"/a/bc"),
                (4, hexed("02 00 00 00  00 00 00 00") + b"/a"),
                (4, hexed("02 00 00 00  01 00 00 00") + b"/a"),
                (5, hexed("04 00 00 00  01 00 00 00") + b"/a/b"),
            ],
        )

    def test_that_are_refused_carry_the_system_s_number(self) -> None:
        with self.assertRaises(mdp.ObjectError) as caught:
            self.machine((FAILED, hexed("11 00 a7 ec"))).copy("/a", "/b")
        self.assertEqual(caught.exception.errno, errno.EEXIST)


if __name__ == "__main__":
    unittest.main()
