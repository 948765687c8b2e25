"""Values by their types, codes by their names, and both against those of the library in C++."""

from __future__ import annotations

import math
import re
import unittest
from pathlib import Path
from typing import List, Tuple

import mdp
from fake_service import hexed

ROOT = Path(__file__).resolve().parents[3]
T = mdp.DataType


class Values(unittest.TestCase):
    def test_decode_by_type(self) -> None:
        rows = [
            (T.BOOLEAN, "00", False),
            (T.BOOLEAN, "01", True),
            (T.INTEGER8, "ff", -1),
            (T.INTEGER16, "fb ff", -5),
            (T.INTEGER32, "00 00 00 80", -(2**31)),
            (T.UNSIGNED8, "fe", 254),
            (T.UNSIGNED8, "03 00", 3),  # the count of an array takes two bytes
            (T.UNSIGNED16, "34 12", 0x1234),
            (T.UNSIGNED24, "01 00 80", 0x800001),
            (T.UNSIGNED32, "10 27 1c 00", 0x001C2710),
            (T.UNSIGNED64, "ff ff ff ff ff ff ff ff", 2**64 - 1),
            (T.REAL32, "00 00 c0 3f", 1.5),
            (T.VISIBLE_STRING, "47 65 72 c3 a4 74 00 00", "Gerät"),
            (T.VISIBLE_STRING, "61 ff", "a\udcff"),
            (T.OCTET_STRING, "00 ff", b"\0\xff"),
            (T.EIGHT_BYTES, "01 02 03 04 05 06 07 08", bytes(range(1, 9))),
            (T.BIT3, "05", 5),
            (77, "61", b"a"),
        ]
        for data_type, data, value in rows:
            with self.subTest(type=data_type, data=data):
                self.assertEqual(mdp.decode_value(data_type, hexed(data)), value)

    def test_bytes_that_do_not_fit_the_type_stay_bytes(self) -> None:
        for data_type, data in [(T.UNSIGNED32, "01"), (T.UNSIGNED8, "01 01"), (T.BOOLEAN, ""), (T.REAL32, "00 00")]:
            self.assertEqual(mdp.decode_value(data_type, hexed(data)), hexed(data))

    def test_encode_by_type(self) -> None:
        rows: List[Tuple[int, mdp.Value, str]] = [
            (T.BOOLEAN, True, "01"),
            (T.INTEGER16, -5, "fb ff"),
            (T.UNSIGNED8, 255, "ff"),
            (T.UNSIGNED24, 1, "01 00 00"),
            (T.UNSIGNED64, 2**64 - 1, "ff ff ff ff ff ff ff ff"),
            (T.REAL32, 1.5, "00 00 c0 3f"),
            (T.REAL32, 2, "00 00 00 40"),
            (T.VISIBLE_STRING, "Gerät", "47 65 72 c3 a4 74"),
            (T.VISIBLE_STRING, "a\udcff", "61 ff"),
            (T.OCTET_STRING, b"\0", "00"),
            (T.UNSIGNED32, b"as it is", "61 73 20 69 74 20 69 73"),
            (T.BIT3, 7, "07"),
        ]
        for data_type, value, data in rows:
            with self.subTest(type=data_type, value=value):
                self.assertEqual(mdp.encode_value(data_type, value), hexed(data))

    def test_a_value_that_the_type_cannot_hold_is_an_argument_error(self) -> None:
        rows: List[Tuple[int, mdp.Value]] = [
            (T.UNSIGNED8, 256),
            (T.UNSIGNED8, -1),
            (T.INTEGER16, 32768),
            (T.BIT3, 8),
            (T.REAL32, 1e300),
            (T.UNSIGNED8, True),
            (T.UNSIGNED8, 1.0),
            (T.UNSIGNED8, "1"),
            (T.BOOLEAN, 1),
            (T.VISIBLE_STRING, 1),
            (T.OCTET_STRING, "00"),
        ]
        for data_type, value in rows:
            with self.subTest(type=data_type, value=value), self.assertRaises(ValueError) as caught:
                mdp.encode_value(data_type, value)
            self.assertIsInstance(caught.exception, mdp.ArgumentError)

    def test_infinity_is_a_real_number(self) -> None:
        self.assertEqual(mdp.encode_value(T.REAL32, math.inf), hexed("00 00 80 7f"))

    def test_types_are_those_of_the_library_in_cpp(self) -> None:
        header = (ROOT / "client/include/mdp/Value.h").read_text()
        source = (ROOT / "client/library/Value.cpp").read_text()
        numbers = {name: int(number) for name, number in re.findall(r"(Type\w+) = (\d+),", header)}
        rows = re.findall(r'TypeRow\{(\w+), "(\w+)"', source)
        told = {numbers.get(key) if key in numbers else int(key): name for key, name in rows}
        self.assertGreater(len(told), 20)
        self.assertEqual(told, {member.value: member.name for member in mdp.DataType})


class Codes(unittest.TestCase):
    def test_have_names_and_texts(self) -> None:
        self.assertEqual(mdp.code_name(0xECA60100), "OBJ_E_INVALIDIDX")
        self.assertEqual(mdp.code_name(0xECA70002), "OBJ_E_OS_BASE+2")
        self.assertEqual(mdp.code_name(0xECA80007), "OBJ_E_EXT_BASE+0x7")
        self.assertEqual(mdp.code_name(0x80004005), "")
        self.assertIn("error 2 (No such file or directory)", mdp.code_text(0xECA70002))
        self.assertEqual(mdp.code_text(0xECA70000 | 0x4600), "a program ended with status 70")
        self.assertEqual(mdp.describe_code(0x80004005), "0x80004005: an unspecified failure inside the service")
        self.assertEqual(mdp.code_text(0x80000000), "an unknown failure")

    def test_of_the_system_carry_its_number(self) -> None:
        self.assertEqual(mdp.ObjectError(0xECA70011).errno, 17)
        self.assertIsNone(mdp.ObjectError(0xECA60100).errno)

    def test_are_those_of_the_library_in_cpp(self) -> None:
        header = (ROOT / "client/include/mdp/Codes.h").read_text()
        numbers = {name: int(number, 0) for name, number in re.findall(r"Code (OBJ_E_\w+) = (\w+);", header)}
        self.assertEqual(numbers, {member.name: member.value for member in mdp.Code})
        source = (ROOT / "client/library/Codes.cpp").read_text()
        rows = re.findall(r'CodeRow\{(\w+),\s*"([^"]*)",\s*"([^"]*)"\}', source)
        self.assertGreater(len(rows), 30)
        numbers.update({name: int(number, 0) for name, number in re.findall(r"Code (s_\w+) = (\w+);", source)})
        for key, name, text in rows:
            code = numbers[key] if key in numbers else int(key, 0)
            with self.subTest(code=key):
                self.assertEqual(mdp.code_text(code), text)
                self.assertEqual(mdp.code_name(code), name)


class Version(unittest.TestCase):
    def test_is_that_of_the_whole_tree(self) -> None:
        told = re.search(r"project\(sylvarin VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())
        assert told is not None
        self.assertEqual(mdp.__version__, told[1])


if __name__ == "__main__":
    unittest.main()
