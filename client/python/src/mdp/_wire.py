"""Frames and answers as bytes; see mdp-protocol(5). Nothing here talks to anyone."""

from __future__ import annotations

import struct
from typing import List, Optional, Tuple

from .descriptions import EntryDescription, ObjectCounts, ObjectDescription
from .errors import ObjectError, ProtocolError
from .codes import is_error

FLAG_COMPLETE = 1
FLAG_SERVICE = 2

_ACCESS, _LIST, _OBJECT, _ENTRY = range(4)

_HEADER = struct.Struct("<QQQ")  # length of the frame, offset of the request, offset of the answer area
_RECORD = struct.Struct("<HHBBQI")  # command, index, flags, sub-index, result, length
_COUNTS = struct.Struct("<5H")
_OBJECT_ANSWER = struct.Struct("<BHBQ")  # object code, data type, number of items, result
# Size, value info, data type, bits, access, four offsets that are not used, offset and length of the name.
_ENTRY_ANSWER = struct.Struct("<QHHHH32xQQ")
_RESULT = struct.Struct("<Q")

COUNTS_SIZE = _COUNTS.size


def _frame(request: bytes, answer: bytes) -> bytes:
    request_offset = _HEADER.size
    answer_offset = request_offset + len(request)
    return _HEADER.pack(answer_offset + len(answer), request_offset, answer_offset) + request + answer


def read_frame(index: int, sub_index: int, flags: int, capacity: int) -> bytes:
    """The request and the answer area share one place."""
    return _frame(b"", _RECORD.pack(_ACCESS, index, flags, sub_index, 0, capacity) + bytes(capacity))


def write_frame(index: int, sub_index: int, data: bytes) -> bytes:
    return _frame(_RECORD.pack(_ACCESS, index, 0, sub_index, 0, len(data)) + data, b"")


def list_frame(list_type: int, capacity: int) -> bytes:
    return _frame(struct.pack("<HH", _LIST, list_type), bytes(capacity))


def object_frame(index: int, language: int, capacity: int) -> bytes:
    return _frame(struct.pack("<HHI", _OBJECT, index, language), bytes(_OBJECT_ANSWER.size + capacity))


def entry_frame(index: int, sub_index: int, language: int, capacity: int) -> bytes:
    # The answer counts only the record's size, so that the result in front of it pushes its last eight bytes out.
    size = _ENTRY_ANSWER.size + _RESULT.size + capacity
    asked = struct.pack("<QH", size, 1)  # 1 asks for the access bits
    request = struct.pack("<HHBI", _ENTRY, index, sub_index, language)
    return _frame(request, bytes(_RESULT.size) + asked.ljust(size, b"\0"))


def parse_read(answer: bytes) -> Tuple[int, bytes]:
    """The result code and the data of a read."""
    if len(answer) < _RECORD.size:
        raise ProtocolError("malformed answer: a record shorter than its head")
    result, length = _RECORD.unpack_from(answer)[4:]
    if length != len(answer) - _RECORD.size:
        raise ProtocolError("malformed answer: the length of the value does not fit the answer")
    return result & 0xFFFFFFFF, answer[_RECORD.size :]


def parse_write(answer: bytes) -> int:
    """The result code of a write."""
    if len(answer) != _RECORD.size:
        raise ProtocolError("malformed answer: a write is answered with 18 bytes")
    code: int = _RECORD.unpack(answer)[4] & 0xFFFFFFFF
    return code


def parse_counts(answer: bytes) -> ObjectCounts:
    if len(answer) < _COUNTS.size:
        raise ProtocolError("malformed answer: five counts were expected")
    return ObjectCounts(*_COUNTS.unpack_from(answer))


def parse_list(answer: bytes) -> List[int]:
    if len(answer) % 2 != 0:
        raise ProtocolError("malformed answer: half an index in the list")
    return [index for (index,) in struct.iter_unpack("<H", answer)]


def _name(data: bytes) -> str:
    return data.split(b"\0", 1)[0].decode("utf-8", "replace")


def _check(result: int, subject: str) -> None:
    if is_error(result & 0xFFFFFFFF):
        raise ObjectError(result & 0xFFFFFFFF, subject)


def parse_object(index: int, answer: bytes) -> ObjectDescription:
    if len(answer) < _OBJECT_ANSWER.size:
        raise ProtocolError("malformed answer: an object description shorter than its head")
    code, data_type, count, result = _OBJECT_ANSWER.unpack_from(answer)
    _check(result, f"0x{index:04X}")
    return ObjectDescription(index, code, data_type, count, _name(answer[_OBJECT_ANSWER.size :]))


def parse_entry(index: int, sub_index: int, answer: bytes) -> Optional[EntryDescription]:
    """None where the name did not fit."""
    if len(answer) < _RESULT.size + _ENTRY_ANSWER.size:
        raise ProtocolError("malformed answer: an entry description shorter than its fixed fields")
    _check(_RESULT.unpack_from(answer)[0], f"0x{index:04X}:{sub_index}")
    record = answer[_RESULT.size :]
    _, _, data_type, bits, access, offset, length = _ENTRY_ANSWER.unpack_from(record)
    if offset + length > len(record):
        return None
    name = _name(record[offset : offset + length])
    return EntryDescription(index, sub_index, data_type, bits, bool(access & 7), bool(access & 56), name)
