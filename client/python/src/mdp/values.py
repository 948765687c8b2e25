"""Values of entries: bytes on the wire, and what Python makes of them."""

from __future__ import annotations

import struct
from enum import IntEnum
from typing import Union

from .errors import ArgumentError

Value = Union[bool, int, float, str, bytes]
"""What an entry holds, by its data type."""


class DataType(IntEnum):
    BOOLEAN = 1
    INTEGER8 = 2
    INTEGER16 = 3
    INTEGER32 = 4
    UNSIGNED8 = 5
    UNSIGNED16 = 6
    UNSIGNED32 = 7
    REAL32 = 8
    VISIBLE_STRING = 9
    OCTET_STRING = 10
    EIGHT_BYTES = 11
    UNSIGNED24 = 22
    UNSIGNED40 = 24
    UNSIGNED48 = 25
    UNSIGNED56 = 26
    UNSIGNED64 = 27
    BIT1 = 48
    BIT2 = 49
    BIT3 = 50
    BIT4 = 51
    BIT5 = 52
    BIT6 = 53
    BIT7 = 54
    BIT8 = 55


# Bytes of a number.
_SIGNED = {DataType.INTEGER8: 1, DataType.INTEGER16: 2, DataType.INTEGER32: 4}
_UNSIGNED = {
    DataType.UNSIGNED8: 1,
    DataType.UNSIGNED16: 2,
    DataType.UNSIGNED24: 3,
    DataType.UNSIGNED32: 4,
    DataType.UNSIGNED40: 5,
    DataType.UNSIGNED48: 6,
    DataType.UNSIGNED56: 7,
    DataType.UNSIGNED64: 8,
    **{DataType(bits): 1 for bits in range(DataType.BIT1, DataType.BIT8 + 1)},
}


def type_name(data_type: int) -> str:
    """ "UNSIGNED32", "VISIBLE_STRING" and so on; "TYPE" and the number for a type without a name."""
    try:
        return DataType(data_type).name
    except ValueError:
        return f"TYPE{data_type}"


def decode_value(data_type: int, data: bytes) -> Value:
    """The value: bool, int, float or str by the type, a text without the NULs at its end.

    Bytes that are not UTF-8 become lone surrogates, as in names of files. Bytes that do not fit the type come back as
    they are.
    """
    if data_type == DataType.VISIBLE_STRING:
        return data.rstrip(b"\0").decode("utf-8", "surrogateescape")
    # The count in entry 0 of an array or record is a byte that reads as two, the second being zero.
    is_count = data_type == DataType.UNSIGNED8 and len(data) == 2 and data[1] == 0
    if data_type in _UNSIGNED and (len(data) == _UNSIGNED[DataType(data_type)] or is_count):
        return int.from_bytes(data, "little")
    if data_type in _SIGNED and len(data) == _SIGNED[DataType(data_type)]:
        return int.from_bytes(data, "little", signed=True)
    if data_type == DataType.BOOLEAN and len(data) == 1:
        return data != b"\0"
    if data_type == DataType.REAL32 and len(data) == 4:
        number: float = struct.unpack("<f", data)[0]
        return number
    return data


def encode_value(data_type: int, value: Value) -> bytes:
    """The bytes to write for a value of the type; ArgumentError tells a value that the type cannot hold.

    Bytes are taken as they are, whatever the type.
    """
    if isinstance(value, bytes):
        return value
    name = type_name(data_type)
    if data_type == DataType.VISIBLE_STRING and isinstance(value, str):
        return value.encode("utf-8", "surrogateescape")
    if data_type == DataType.BOOLEAN and isinstance(value, bool):
        return b"\1" if value else b"\0"
    if data_type == DataType.REAL32 and isinstance(value, (int, float)) and not isinstance(value, bool):
        try:
            return struct.pack("<f", value)
        except OverflowError:
            raise ArgumentError(f"{value} does not fit into {name}") from None
    if (data_type in _SIGNED or data_type in _UNSIGNED) and isinstance(value, int) and not isinstance(value, bool):
        signed = data_type in _SIGNED
        size = (_SIGNED if signed else _UNSIGNED)[DataType(data_type)]
        # BIT1 to BIT8 are as wide as their name says.
        bits = data_type - DataType.BIT1 + 1 if data_type >= DataType.BIT1 else 8 * size
        low, high = (-(1 << bits - 1), (1 << bits - 1) - 1) if signed else (0, (1 << bits) - 1)
        if not low <= value <= high:
            raise ArgumentError(f"{value} does not fit into {name}")
        return value.to_bytes(size, "little", signed=signed)
    raise ArgumentError(f"{value!r} is no value of {name}")
