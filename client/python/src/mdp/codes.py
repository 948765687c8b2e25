"""The result codes of the object layer. Bit 31 set means failure."""

from __future__ import annotations

import os
from enum import IntEnum
from typing import Dict, Optional


class Code(IntEnum):
    """Codes with a name of their own."""

    OBJ_E_NOERR = 0
    OBJ_E_FAILED = 0xECA60001
    OBJ_E_INVALIDIDX = 0xECA60100
    OBJ_E_INVALACCESS = 0xECA60101
    OBJ_E_BUFFERTOOSMALL = 0xECA60102
    OBJ_E_INVALIDSIZE = 0xECA60103
    OBJ_E_OUTOFMEMORY = 0xECA60104
    OBJ_E_NODATA = 0xECA60105
    OBJ_E_INVALIDDATA = 0xECA60106
    OBJ_E_INVALIDARG = 0xECA60107
    OBJ_E_OUTOFRANGE = 0xECA60108
    OBJ_E_BUSY = 0xECA60200
    OBJ_E_NOTIMPL = 0xECA60F00
    OBJ_E_UNEXPECTED = 0xECA60FFF
    OBJ_E_NOTSUPPORTED = 0xECA61000
    # Families: the low half holds an errno value or exit status, or an error of the hardware or protocol library.
    OBJ_E_OS_BASE = 0xECA70000
    OBJ_E_EXT_BASE = 0xECA80000
    OBJ_E_USEREXISTS = 0xECAF0401
    OBJ_E_NOSUCHUSER = 0xECAF0402
    OBJ_E_GROUPEXISTS = 0xECAF0403
    OBJ_E_NOSUCHGROUP = 0xECAF0404
    OBJ_E_ROUTEPORT = 0xECAF0420
    OBJ_E_PORTCLOSED = 0xECAF0421
    OBJ_E_NOFLASHDATA = 0xECAF0701
    OBJ_E_NOHDDDATA = 0xECAF0702


_TEXTS: Dict[int, str] = {
    Code.OBJ_E_NOERR: "success",
    Code.OBJ_E_FAILED: "the operation failed",
    Code.OBJ_E_INVALIDIDX: "the object or entry does not exist",
    Code.OBJ_E_INVALACCESS: "the entry does not allow this kind of access",
    Code.OBJ_E_BUFFERTOOSMALL: "the buffer is smaller than the value, or the value written is shorter than the entry",
    Code.OBJ_E_INVALIDSIZE: "a size that cannot be used",
    Code.OBJ_E_OUTOFMEMORY: "the service is out of memory, or the object is full",
    Code.OBJ_E_NODATA: "the entry has no value at the moment",
    Code.OBJ_E_INVALIDDATA: "the data cannot be used",
    Code.OBJ_E_INVALIDARG: "the value is refused",
    Code.OBJ_E_OUTOFRANGE: "the value does not fit the entry",
    Code.OBJ_E_BUSY: "the service object is still running an earlier job",
    Code.OBJ_E_NOTIMPL: "the operation is not implemented",
    Code.OBJ_E_UNEXPECTED: "an internal failure of the service",
    Code.OBJ_E_NOTSUPPORTED: "this device does not support the entry",
    Code.OBJ_E_OS_BASE: "the operating system reported a failure without a cause",
    Code.OBJ_E_EXT_BASE: "the hardware or protocol library reported a failure without a cause",
    Code.OBJ_E_USEREXISTS: "a user of this name exists already",
    Code.OBJ_E_NOSUCHUSER: "there is no user of this name",
    Code.OBJ_E_GROUPEXISTS: "a group of this name exists already",
    Code.OBJ_E_NOSUCHGROUP: "there is no group of this name",
    Code.OBJ_E_ROUTEPORT: "the port of the router refused the request",
    Code.OBJ_E_PORTCLOSED: "the protocol port of the automation runtime could not be opened",
    Code.OBJ_E_NOFLASHDATA: "the drive has no flash parameters",
    Code.OBJ_E_NOHDDDATA: "the drive has no hard disk parameters",
}

# Codes of a family with a text of their own, and status values of the platform below the object layer.
_FURTHER_TEXTS: Dict[int, str] = {
    0xECA80FFF: "the automation runtime reported a failure",
    0xECA81000: "the hardware library does not support this",
    0x80004003: "a null pointer inside the service",
    0x80004005: "an unspecified failure inside the service",
    0x8007000E: "the service is out of memory",
    0x80070057: "an argument that cannot be used",
    87: "the record is malformed",
}


def is_error(code: int) -> bool:
    """True when the code tells a failure."""
    return bool(code & 0x80000000)


def os_error(code: int) -> Optional[int]:
    """The errno value or exit status in a code of the operating system's family, None in any other."""
    return code & 0xFFFF if code & 0xFFFF0000 == Code.OBJ_E_OS_BASE else None


def code_name(code: int) -> str:
    """Such as "OBJ_E_INVALIDIDX" or, in the two families, "OBJ_E_OS_BASE+2"; empty for a code without a name."""
    try:
        return Code(code).name
    except ValueError:
        pass
    number = os_error(code)
    if number is not None:
        return f"OBJ_E_OS_BASE+{number}"
    return f"OBJ_E_EXT_BASE+0x{code & 0xFFFF:X}" if code & 0xFFFF0000 == Code.OBJ_E_EXT_BASE else ""


def code_text(code: int) -> str:
    """What the code means, in one plain sentence without a full stop."""
    text = _TEXTS.get(code) or _FURTHER_TEXTS.get(code)
    if text:
        return text
    number = os_error(code)
    if number is not None:
        # The number may also be a program's exit status, as it stands or as wait(2) gives it; the code does not tell.
        if number > 255:
            return f"a program ended with status {number if number % 256 else number // 256}"
        return (
            f"the operating system reported error {number} ({os.strerror(number)}), "
            f"or a program ended with status {number}"
        )
    if code & 0xFFFF0000 == Code.OBJ_E_EXT_BASE:
        return f"the hardware or protocol library reported error {code & 0xFFFF}"
    return "an unknown failure" if is_error(code) else "success with an unknown code"


def describe_code(code: int) -> str:
    """Number, name and meaning in one line."""
    name = code_name(code)
    return f"0x{code:08X}{' ' + name if name else ''}: {code_text(code)}"
