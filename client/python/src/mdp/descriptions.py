"""What the dictionary tells of its objects and modules."""

from __future__ import annotations

from dataclasses import dataclass
from enum import IntEnum


class Language(IntEnum):
    """Windows language identifiers; DEFAULT lets the service choose."""

    DEFAULT = 0
    GERMAN = 1031
    ENGLISH = 1033


class ObjectCode(IntEnum):
    VARIABLE = 7
    ARRAY = 8
    RECORD = 9


class ModuleType(IntEnum):
    """The kinds of modules. A machine has those for which it has the hardware."""

    NETWORK_ADAPTER = 2
    TIME = 3
    USERS = 4
    RUNTIME = 8
    SOFTWARE = 10
    CPU = 11
    MEMORY = 12
    FILES = 16
    OPERATING_SYSTEM = 24
    FAN = 27
    MAINBOARD = 28
    DISCS = 29
    UPS = 30
    DRIVES = 32
    IO = 34


@dataclass(frozen=True)
class ObjectCounts:
    """Numbers of objects."""

    all: int
    rx_mappable: int
    tx_mappable: int
    backup: int
    startup: int


@dataclass(frozen=True)
class ObjectDescription:
    index: int
    object_code: int  # an ObjectCode
    data_type: int  # of a variable or of an array's elements; 0 for a record
    item_count: int  # number of entries, entry 0 included
    name: str  # in the language asked for; empty where there is none


@dataclass(frozen=True)
class EntryDescription:
    index: int
    sub_index: int
    data_type: int  # a DataType
    bit_length: int  # of the value as it is stored now, modulo 65536
    readable: bool
    writable: bool
    name: str


@dataclass(frozen=True)
class Module:
    """One module of the machine, as the module lists and its header tell it."""

    index: int  # of the header; the module's data objects follow it
    slot: int
    type: int  # a ModuleType, or the number of another kind
    type_name: str
    name: str  # of this instance
    ident: int

    def data(self, k: int) -> int:
        """Index of the module's data object number k, 1 to 15."""
        return self.index + k

    def service(self, k: int) -> int:
        """Index of the module's service object number k, 0 to 15."""
        return 0xB000 | self.slot << 4 | k
