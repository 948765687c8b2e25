"""What the client sends and takes, byte by byte."""

from __future__ import annotations

import errno
import os
import socket
import tempfile
import unittest
from typing import Callable, Dict, Optional
from unittest import mock

import mdp
from fake_service import NO_ANSWER, SILENCE, FakeService, hexed

# The head of the answer to a read: command, index, flags, sub-index, result, length.
READ_NAME_FRAME = hexed(
    "32 00 00 00 00 00 00 00"  # 50 bytes
    "18 00 00 00 00 00 00 00"
    "18 00 00 00 00 00 00 00"
    "00 00 08 10 00 00 00 00 00 00 00 00 00 00 08 00 00 00"
    "00 00 00 00 00 00 00 00"
)
READ_NAME_REPLY = hexed("15 00 00 00  00 00 08 10 00 00 00 00 00 00 00 00 00 00 03 00 00 00  62 6f 78")


def failed(code: str) -> bytes:
    """A record without data; the code lowest byte first, sign-extended to 64 bits."""
    return hexed("12 00 00 00  00 00 11 80 00 02") + hexed(code) + hexed("ff ff ff ff  00 00 00 00")


def value(head: str, data: str) -> bytes:
    """A good record: command, index, flags and sub-index, then behind the result the length and the data."""
    record = hexed(head) + bytes(8) + hexed(data)
    return len(record).to_bytes(4, "little") + record


class ClientTest(unittest.TestCase):
    def serve(self, answer: Callable[[bytes], Optional[bytes]], **options: object) -> mdp.Client:
        service = FakeService(answer)
        self.addCleanup(service.__exit__, None, None, None)
        self.service = service
        return mdp.Client(service.path, **options)  # type: ignore[arg-type]

    def serve_parts(self, answers: Dict[bytes, bytes], **options: object) -> mdp.Client:
        """Answers go by the first bytes of the record, which lies behind the 24 bytes of the frame's header."""

        def answer(frame: bytes) -> Optional[bytes]:
            for begin, reply in answers.items():
                if frame[24:].startswith(begin):
                    return reply
            return NO_ANSWER

        return self.serve(answer, **options)


class Reading(ClientTest):
    def test_sends_one_frame_with_room_for_the_value(self) -> None:
        client = self.serve(lambda _: READ_NAME_REPLY, read_capacity=8)
        self.assertEqual(client.read(0x1008), b"box")
        self.assertEqual(self.service.frames, [READ_NAME_FRAME])

    def test_asks_again_with_more_room_when_the_value_is_longer(self) -> None:
        def answer(frame: bytes) -> bytes:
            room = len(frame) - 42
            return failed("02 01 a6 ec") if room < 64 else READ_NAME_REPLY

        client = self.serve(answer, read_capacity=8)
        self.assertEqual(client.read(0x1008), b"box")
        self.assertEqual([len(frame) - 42 for frame in self.service.frames], [8, 64])

    def test_gives_up_at_the_largest_room(self) -> None:
        client = self.serve(lambda _: failed("02 01 a6 ec"), maximum_capacity=1000)
        with self.assertRaises(mdp.ObjectError) as caught:
            client.read(0x8011, 2)
        self.assertEqual(caught.exception.code, mdp.Code.OBJ_E_BUFFERTOOSMALL)
        self.assertEqual(len(self.service.frames[-1]) - 42, 1000)

    def test_of_an_entry_without_value_is_an_error_with_code_and_name(self) -> None:
        client = self.serve(lambda _: failed("00 10 a6 ec"))
        with self.assertRaises(mdp.ObjectError) as caught:
            client.read(0x8011, 2)
        self.assertEqual(caught.exception.code, 0xECA61000)
        self.assertEqual(caught.exception.name, "OBJ_E_NOTSUPPORTED")
        self.assertEqual(
            str(caught.exception), "0x8011:2: 0xECA61000 OBJ_E_NOTSUPPORTED: this device does not support the entry"
        )

    def test_complete_keeps_what_came_before_a_failure(self) -> None:
        reply = hexed("18 00 00 00  00 00 18 10 01 00 00 10 a6 ec ff ff ff ff 06 00 00 00  04 00 02 00 00 00")
        client = self.serve(lambda _: reply)
        value = client.read_complete(0x1018)
        self.assertEqual(value, mdp.CompleteValue(0xECA61000, hexed("04 00 02 00 00 00")))
        self.assertEqual(self.service.frames[0][24:30], hexed("00 00 18 10 01 00"), "flag 1, sub-index 0")

    def test_of_an_address_that_cannot_be_sends_nothing(self) -> None:
        client = self.serve(lambda _: NO_ANSWER)
        for index, sub_index in ((0x10000, 0), (-1, 0), (0x1008, 256)):
            with self.assertRaises(mdp.ArgumentError):
                client.read(index, sub_index)
        self.assertEqual(self.service.frames, [])

    def test_decodes_by_the_described_type(self) -> None:
        entry = (
            hexed("00 00 00 00 00 00 00 00")
            + hexed("48 01 00 00 00 00 00 00  01 00  03 00  10 00  3f 00")
            + hexed("ff" * 32)
            + hexed("40 00 00 00 00 00 00 00  06 00 00 00 00 00 00 00")
            + b"Offset".ljust(256, b"\0")
        )
        client = self.serve_parts(
            {
                hexed("00 00 11 80"): value("00 00 11 80 00 01", "02 00 00 00  fb ff"),
                hexed("03 00 11 80"): len(entry).to_bytes(4, "little") + entry,
            }
        )
        self.assertEqual(client.read_value(0x8011, 1), -5)


class Writing(ClientTest):
    def test_sends_the_value_as_the_request(self) -> None:
        client = self.serve(lambda _: hexed("12 00 00 00  00 00 08 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00"))
        client.write(0x1008, 0, b"abc")
        frame = hexed(
            "2d 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2d 00 00 00 00 00 00 00"
            "00 00 08 10 00 00 00 00 00 00 00 00 00 00 03 00 00 00  61 62 63"
        )
        self.assertEqual(self.service.frames, [frame])

    def test_that_is_refused_is_an_error(self) -> None:
        client = self.serve(lambda _: failed("07 01 a6 ec"))
        with self.assertRaisesRegex(mdp.ObjectError, "OBJ_E_INVALIDARG"):
            client.write(0x8011, 2, b"x")

    def test_answered_with_another_length_is_a_malformed_answer(self) -> None:
        client = self.serve(lambda _: READ_NAME_REPLY)
        with self.assertRaises(mdp.ProtocolError):
            client.write(0x1008, 0, b"x")


class Describing(ClientTest):
    def test_of_an_object_gives_kind_type_number_and_name(self) -> None:
        client = self.serve(lambda _: hexed("11 00 00 00  08 07 00 04 00 00 00 00 00 00 00 00  4c c3 a4 6e 67"))
        described = client.describe_object(0xF020, mdp.Language.GERMAN)
        self.assertEqual(described, mdp.ObjectDescription(0xF020, mdp.ObjectCode.ARRAY, 7, 4, "Läng"))
        self.assertEqual(self.service.frames[0][:32], hexed(
            "2c 01 00 00 00 00 00 00  18 00 00 00 00 00 00 00  20 00 00 00 00 00 00 00  02 00 20 f0 07 04 00 00"
        ), "300 bytes: 24 of the header, 8 of the request, 12 and 256 of the answer")

    def test_of_an_entry_asks_for_the_access_and_eight_bytes_more(self) -> None:
        client = self.serve(lambda _: NO_ANSWER)
        with self.assertRaises(mdp.ConnectionClosed):
            client.describe_entry(0x8011, 2, mdp.Language.ENGLISH)
        frame = self.service.frames[0]
        self.assertEqual(frame[24:33], hexed("03 00 11 80 02 09 04 00 00"))
        self.assertEqual(frame[33:51], hexed("00 00 00 00 00 00 00 00  48 01 00 00 00 00 00 00  01 00"))
        self.assertEqual(len(frame), 24 + 9 + 8 + 64 + 8 + 256)

    def test_of_what_does_not_exist_is_that_error(self) -> None:
        client = self.serve_parts({hexed("00 00"): failed("00 01 a6 ec")})
        with self.assertRaisesRegex(mdp.ObjectError, "0x9999:0: 0xECA60100 OBJ_E_INVALIDIDX"):
            client.describe_object(0x9999)
        with self.assertRaisesRegex(mdp.ObjectError, "0x9999:1: 0xECA60100 OBJ_E_INVALIDIDX"):
            client.describe_entry(0x9999, 1)

    def test_of_a_refused_entry_that_exists_stays_a_refusal(self) -> None:
        client = self.serve_parts({hexed("00 00"): READ_NAME_REPLY})
        with self.assertRaises(mdp.ConnectionClosed):
            client.describe_object(0x1008)

    def test_asks_for_the_client_s_language(self) -> None:
        client = self.serve(lambda _: hexed("0c 00 00 00  07 09 00 01 00 00 00 00 00 00 00 00"), language=1031)
        self.assertEqual(client.describe_object(0x1008).name, "")
        self.assertEqual(self.service.frames[0][28:32], hexed("07 04 00 00"))

    def test_lists_what_was_counted_and_more_when_it_grew(self) -> None:
        def answer(frame: bytes) -> Optional[bytes]:
            if frame[24:28] == hexed("01 00 00 00"):
                return hexed("0a 00 00 00  02 00 00 00 00 00 02 00 02 00")
            room = len(frame) - 28
            return NO_ANSWER if room == 4 else hexed("06 00 00 00  00 10 08 10 20 f0")

        client = self.serve(answer)
        self.assertEqual(client.count_objects(), mdp.ObjectCounts(2, 0, 0, 2, 2))
        self.assertEqual(client.list_objects(), [0x1000, 0x1008, 0xF020])

    def test_finds_modules_with_their_indexes(self) -> None:
        client = self.serve_parts(
            {
                hexed("00 00 20 f0"): value("00 00 20 f0 01 00", "06 00 00 00  01 00  1a 00 1c 00"),
                hexed("00 00 30 f0"): value("00 00 30 f0 01 00", "04 00 00 00  01 00  1c 00"),
                hexed("00 00 60 f0 00 01"): value("00 00 60 f0 00 01", "03 00 00 00  4d 42 30"),
                hexed("00 00 a0 81 00 02"): value("00 00 a0 81 00 02", "02 00 00 00  4d 42"),
                hexed("00 00 a0 81 00 04"): value("00 00 a0 81 00 04", "04 00 00 00  10 27 1c 00"),
            }
        )
        (module,) = client.list_modules()
        self.assertEqual(module, mdp.Module(0x81A0, 0x1A, mdp.ModuleType.MAINBOARD, "MB", "MB0", 0x001C2710))
        self.assertEqual((module.data(2), module.service(1)), (0x81A2, 0xB1A1))
        self.assertEqual(client.list_modules(mdp.ModuleType.FILES), [])


class Services(ClientTest):
    def test_run_to_their_end_and_give_the_data(self) -> None:
        polls = iter(["ff", "50", "01"])

        def answer(frame: bytes) -> bytes:
            record = frame[24:30]
            if len(frame) == 24 + 18 + 2:  # the request
                return hexed("12 00 00 00  00 00 50 b0 00 01") + bytes(12)
            if record == hexed("00 00 50 b0 00 02"):
                return hexed("13 00 00 00  00 00 50 b0 00 02") + bytes(8) + hexed("01 00 00 00") + hexed(next(polls))
            self.assertEqual(record, hexed("00 00 50 b0 02 01"), "the response: service flag, sub-index 1")
            return hexed("17 00 00 00  00 00 50 b0 02 01") + bytes(8) + hexed("05 00 00 00  01 00  61 62 63")

        client = self.serve(answer)
        seen = []
        options = mdp.CallOptions(progress=lambda status: seen.append(status.progress))
        self.assertEqual(client.call_service(0xB050, b"hi", options), b"abc")
        self.assertEqual(seen, [None, 0x50])

    def job(self, status: int, response: bytes) -> mdp.Client:
        def answer(frame: bytes) -> bytes:
            if frame[29] == 2:
                return hexed("13 00 00 00") + frame[24:30] + bytes(8) + hexed("01 00 00 00") + bytes([status])
            if frame[28] & 2:
                data = bytes([status, 0]) + response
                length = len(data).to_bytes(4, "little")
                return (18 + len(data)).to_bytes(4, "little") + frame[24:30] + bytes(8) + length + data
            return hexed("12 00 00 00") + frame[24:30] + bytes(12)

        return self.serve(answer)

    def test_that_fail_raise_the_code_of_four_or_eight_bytes(self) -> None:
        for response in (hexed("02 04 af ec"), hexed("02 04 af ec 00 00 00 00")):
            with self.assertRaises(mdp.ObjectError) as caught:
                self.job(3, response).call_service(0xB021)
            self.assertEqual(caught.exception.name, "OBJ_E_NOSUCHUSER")

    def test_that_fail_without_a_code_failed(self) -> None:
        with self.assertRaisesRegex(mdp.ObjectError, "OBJ_E_FAILED"):
            self.job(2, b"").call_service(0xB021)

    def test_that_run_for_longer_than_the_limit_time_out(self) -> None:
        with self.assertRaisesRegex(mdp.TimedOut, "the job still runs"):
            self.job(255, b"").call_service(0xB021, b"", mdp.CallOptions(timeout=0.01))

    def test_that_are_busy_are_asked_again_and_then_told(self) -> None:
        client = self.serve(lambda _: failed("00 02 a6 ec"))
        with self.assertRaisesRegex(mdp.ObjectError, "OBJ_E_BUSY"):
            client.call_service(0xB021, b"", mdp.CallOptions(busy_timeout=0.01))
        self.assertGreater(len(self.service.frames), 1)

    def test_have_one_program_at_a_time(self) -> None:
        client = self.job(0, b"")
        with mdp.Turn(client.socket_path, "job-45089") as turn:  # 0xB021
            self.assertTrue(turn.wait())
            with self.assertRaisesRegex(mdp.ObjectError, "OBJ_E_BUSY"):
                client.call_service(0xB021, b"", mdp.CallOptions(busy_timeout=0.01))
        self.assertEqual(client.call_service(0xB021), b"")


class Failures(ClientTest):
    def test_without_a_service_name_socket_and_cause(self) -> None:
        with self.assertRaisesRegex(mdp.ConnectError, 'connecting to "/nowhere/MDP0": No such file') as caught:
            mdp.Client("/nowhere/MDP0").read(0x1008)
        self.assertEqual(caught.exception.errno, errno.ENOENT)

    def test_of_a_path_that_no_socket_can_have_are_connection_errors(self) -> None:
        with self.assertRaises(mdp.ConnectError):
            mdp.Client("/tmp/" + "x" * 200).read(0x1008)

    def test_a_socket_that_nobody_listens_on_is_asked_again_for_a_moment(self) -> None:
        with tempfile.TemporaryDirectory() as directory:
            path = os.path.join(directory, "MDP0")
            with socket.socket(socket.AF_UNIX) as left_over:
                left_over.bind(path)
            with self.assertRaises(mdp.ConnectError) as caught:
                mdp.Client(path).read(0x1008)
        self.assertEqual(caught.exception.errno, errno.ECONNREFUSED)

    def test_silence_is_a_time_out(self) -> None:
        with self.assertRaises(TimeoutError) as caught:
            self.serve(lambda _: SILENCE, timeout=0.05).read(0x1008)
        self.assertIsInstance(caught.exception, mdp.TimedOut)

    def test_a_closed_connection_is_a_refusal(self) -> None:
        with self.assertRaises(mdp.ConnectionClosed):
            self.serve(lambda _: NO_ANSWER).read(0x1008)

    def test_an_answer_that_ends_in_the_middle_is_malformed(self) -> None:
        for reply in (READ_NAME_REPLY[:2], READ_NAME_REPLY[:4], READ_NAME_REPLY[:-1]):
            with self.assertRaises(mdp.ProtocolError):
                self.serve(lambda _: reply).read(0x1008)

    def test_a_length_that_does_not_fit_is_malformed(self) -> None:
        wrong = READ_NAME_REPLY[:18] + hexed("04 00 00 00") + READ_NAME_REPLY[22:]
        for reply in (wrong, hexed("05 00 00 00  00 00 08 10 00")):
            with self.assertRaises(mdp.ProtocolError):
                self.serve(lambda _: reply).read(0x1008)

    def test_a_length_that_lies_costs_no_memory(self) -> None:
        with self.assertRaises(mdp.ProtocolError):
            self.serve(lambda _: hexed("ff ff ff ff  00")).read(0x1008)

    def test_another_user_in_the_service_s_place_is_refused_before_anything_is_sent(self) -> None:
        client = self.serve(lambda _: READ_NAME_REPLY)
        with mock.patch("mdp._connection._peer_user", return_value=4711):
            with self.assertRaisesRegex(mdp.ConnectError, "user 4711 listens there, and neither root nor you"):
                client.read(0x1008)
        self.assertEqual(self.service.frames, [])

    def test_the_user_who_listens_is_known(self) -> None:
        from mdp import _connection

        here, there = socket.socketpair()
        with here, there:
            self.assertEqual(_connection._peer_user(here), os.geteuid())


if __name__ == "__main__":
    unittest.main()
