"""Reads and changes a machine through the object dictionary of its sylvarin service.

    import mdp

    client = mdp.Client()
    print(client.read_value(0x1008, 0))

Errors are exceptions, all of them an MdpError; the object layer's own are an ObjectError with its code and name.
"""

from .client import CallOptions, Client, CompleteValue, ServiceResponse, ServiceStatus
from .codes import Code, code_name, code_text, describe_code, is_error
from .descriptions import EntryDescription, Language, Module, ModuleType, ObjectCode, ObjectCounts, ObjectDescription
from .errors import (
    ArgumentError,
    ConnectError,
    ConnectionClosed,
    MdpError,
    ObjectError,
    ProtocolError,
    TimedOut,
    TransportError,
)
from .files import FileServices, Listing, RemoteFile, RemoteStatus, escape_pattern
from .turn import Turn
from .values import DataType, Value, decode_value, encode_value, type_name

__version__ = "1.0.0"

__all__ = [
    "ArgumentError",
    "CallOptions",
    "Client",
    "Code",
    "CompleteValue",
    "ConnectError",
    "ConnectionClosed",
    "DataType",
    "EntryDescription",
    "FileServices",
    "Language",
    "Listing",
    "MdpError",
    "Module",
    "ModuleType",
    "ObjectCode",
    "ObjectCounts",
    "ObjectDescription",
    "ObjectError",
    "ProtocolError",
    "RemoteFile",
    "RemoteStatus",
    "ServiceResponse",
    "ServiceStatus",
    "TimedOut",
    "TransportError",
    "Turn",
    "Value",
    "code_name",
    "code_text",
    "decode_value",
    "describe_code",
    "encode_value",
    "escape_pattern",
    "is_error",
    "type_name",
]
