"""The client: one method a call of the service."""

from __future__ import annotations

import time
from dataclasses import dataclass
from typing import Callable, List, Optional, Tuple

from . import _wire
from ._connection import Connection
from .codes import Code, is_error
from .descriptions import EntryDescription, Language, Module, ObjectCounts, ObjectDescription
from .errors import ArgumentError, ConnectionClosed, ObjectError, ProtocolError, TimedOut
from .turn import Turn
from .values import Value, decode_value, encode_value

DEFAULT_SOCKET = "/tmp/MDP0"

_SUB_REQUEST = 1
_SUB_STATUS = 2

_LIST_COUNTS = 0
_LIST_ALL = 1
_LARGEST_LIST = 2 * 65536

# Names are asked for with the first of these, and with the second if they turn out longer.
_NAME_CAPACITIES = (256, 65536)

_ADDRESSES = 0xF020
_TYPES = 0xF030
_NAMES = 0xF060

# The pauses between two looks at a job: short ones first.
_FIRST_PAUSE = 0.00005
_LONGEST_PAUSE = 0.2


@dataclass(frozen=True)
class CompleteValue:
    """The outcome of a complete read. A failure at a later entry leaves the bytes of the entries before it."""

    code: int  # of the entry at which the read stopped, 0 where it did not
    data: bytes  # the entries packed without padding; entry 0 of an array or record takes two bytes


@dataclass(frozen=True)
class ServiceStatus:
    """The status byte of a service object."""

    value: int

    @property
    def running(self) -> bool:
        return self.value >= 4

    @property
    def failed(self) -> bool:
        return self.value in (2, 3)

    @property
    def progress(self) -> Optional[int]:
        """What a running job tells of its progress: a number of the job's own scale, or None."""
        return self.value if self.running and self.value != 255 else None


@dataclass(frozen=True)
class ServiceResponse:
    """What a service object answered."""

    status: ServiceStatus
    data: bytes

    @property
    def failure_code(self) -> int:
        """The code of a failed job; OBJ_E_FAILED where it sent none, OBJ_E_NOERR for a success."""
        if not self.status.failed:
            return Code.OBJ_E_NOERR
        # Some jobs send the code as four bytes, some as eight.
        return int.from_bytes(self.data[:4], "little") if len(self.data) in (4, 8) else Code.OBJ_E_FAILED


@dataclass(frozen=True)
class CallOptions:
    """How a job is waited for. Times are in seconds."""

    timeout: Optional[float] = None  # for the job to end; None waits for ever
    busy_timeout: float = 2.0  # how long a busy service object is asked again before OBJ_E_BUSY is told
    response_capacity: int = 0  # expected bytes of response data; saves reading again with more room
    progress: Optional[Callable[[ServiceStatus], None]] = None  # called from time to time while the job runs


class Client:
    """A client of the service. It holds no connection: each call connects anew, and threads may share it.

    timeout is for one whole transaction, in seconds; None waits for ever. language is that of names.
    """

    def __init__(
        self,
        socket_path: str = DEFAULT_SOCKET,
        timeout: Optional[float] = 30.0,
        language: int = Language.DEFAULT,
        read_capacity: int = 494,
        maximum_capacity: int = 64 << 20,
    ) -> None:
        self.socket_path = socket_path
        self.timeout = timeout
        self.language = language
        self._read_capacity = read_capacity
        self._maximum_capacity = maximum_capacity

    def transact(self, frame: bytes) -> bytes:
        """Sends one whole frame and gives the bytes of the answer, without the length in front."""
        return Connection(self.socket_path, self.timeout).transact(frame)

    # Values

    def read(self, index: int, sub_index: int = 0) -> bytes:
        """The value of one entry as bytes."""
        code, data = self._read_record(index, sub_index, 0, self._read_capacity)
        if is_error(code):
            raise ObjectError(code, f"0x{index:04X}:{sub_index}")
        return data

    def read_value(self, index: int, sub_index: int = 0) -> Value:
        """The value of one entry, decoded by the type that the dictionary tells."""
        data = self.read(index, sub_index)
        return decode_value(self.describe_entry(index, sub_index).data_type, data)

    def read_complete(self, index: int, sub_index: int = 0) -> CompleteValue:
        """All entries from sub_index (0 or 1) on, in one transaction."""
        return CompleteValue(*self._read_record(index, sub_index, _wire.FLAG_COMPLETE, self._read_capacity))

    def write(self, index: int, sub_index: int, data: bytes) -> None:
        """Writes the bytes of one entry."""
        _check_address(index, sub_index)
        code = _wire.parse_write(self.transact(_wire.write_frame(index, sub_index, data)))
        if is_error(code):
            raise ObjectError(code, f"0x{index:04X}:{sub_index}")

    def write_value(self, index: int, sub_index: int, value: Value) -> None:
        """Writes one entry, the value encoded by the type that the dictionary tells."""
        self.write(index, sub_index, encode_value(self.describe_entry(index, sub_index).data_type, value))

    # What there is

    def count_objects(self) -> ObjectCounts:
        return _wire.parse_counts(self.transact(_wire.list_frame(_LIST_COUNTS, _wire.COUNTS_SIZE)))

    def list_objects(self) -> List[int]:
        """The indexes of all objects in ascending order. Wakes every module."""
        capacity = 2 * self.count_objects().all
        try:
            answer = self.transact(_wire.list_frame(_LIST_ALL, capacity))
        except ConnectionClosed:
            # A list that has grown since it was counted does not fit and is refused without an answer.
            answer = self.transact(_wire.list_frame(_LIST_ALL, _LARGEST_LIST))
        return _wire.parse_list(answer)

    def describe_object(self, index: int, language: Optional[int] = None) -> ObjectDescription:
        """Kind, type, number of entries and name of an object."""
        _check_address(index, 0)
        for capacity in _NAME_CAPACITIES:
            try:
                answer = self.transact(_wire.object_frame(index, self._language(language), capacity))
                return _wire.parse_object(index, answer)
            except ConnectionClosed as refusal:
                # A name that does not fit is refused in the same way as an index that does not exist.
                cause = self._why_refused(refusal, index, 0)
                if cause is not refusal or capacity == _NAME_CAPACITIES[-1]:
                    raise cause from None
        raise AssertionError("the last capacity returns or raises")

    def describe_entry(self, index: int, sub_index: int = 0, language: Optional[int] = None) -> EntryDescription:
        """Type, access and name of an entry."""
        _check_address(index, sub_index)
        for capacity in _NAME_CAPACITIES:
            try:
                answer = self.transact(_wire.entry_frame(index, sub_index, self._language(language), capacity))
            except ConnectionClosed as refusal:
                raise self._why_refused(refusal, index, sub_index) from None
            description = _wire.parse_entry(index, sub_index, answer)
            if description is not None:
                return description
        raise ProtocolError("malformed answer: a name outside the entry description")

    def list_modules(self, module_type: Optional[int] = None) -> List[Module]:
        """The modules of the machine, or those of one type, in the order in which they registered."""
        addresses, types = self._read_list(_ADDRESSES, 4), self._read_list(_TYPES, 2)
        if len(addresses) != len(types):
            raise ProtocolError("malformed answer: the module lists do not have the same length")
        modules = []
        for number, (address, kind) in enumerate(zip(addresses, types), start=1):
            if module_type not in (None, kind):
                continue
            slot = address & 0xFF
            header = 0x8000 | slot << 4
            name, type_name = self._read_text(_NAMES, number), self._read_text(header, 2)
            ident = int.from_bytes(self._read_or_nothing(header, 4), "little")
            modules.append(Module(header, slot, kind, type_name, name, ident))
        return modules

    # Services

    def start_service(self, index: int, request: bytes = b"") -> None:
        """Writes the request of a service object, which starts its job."""
        # The service flag would make the service wait in whole seconds; polling from here is quicker.
        self.write(index, _SUB_REQUEST, request)

    def poll_service(self, index: int) -> ServiceStatus:
        """Asks for the status byte. While a job holds its object, the answer waits for it."""
        data = self.read(index, _SUB_STATUS)
        if len(data) != 1:
            raise ProtocolError("malformed answer: a status has one byte")
        return ServiceStatus(data[0])

    def fetch_response(self, index: int, capacity: int = 0) -> ServiceResponse:
        """The response as it stands; status.running tells that the job has not ended."""
        room = max(self._read_capacity, capacity + 2)
        code, data = self._read_record(index, _SUB_REQUEST, _wire.FLAG_SERVICE, room)
        if is_error(code):
            raise ObjectError(code, f"0x{index:04X}")
        if len(data) < 2:
            raise ProtocolError("malformed answer: a response without its two status bytes")
        # The first byte is the status at the end of a job, the second that of a running one.
        return ServiceResponse(ServiceStatus(data[1] or data[0]), data[2:])

    def call_service(self, index: int, request: bytes = b"", options: CallOptions = CallOptions()) -> bytes:
        """Starts a job, waits for its end and gives its response data.

        A failed job is an ObjectError with its code; TimedOut tells that the job still runs. This program has its Turn
        at the object meanwhile, so that no other one of the same user takes its response.
        """
        with Turn(self.socket_path, f"job-{index}") as turn:
            if not turn.wait(options.busy_timeout):
                raise ObjectError(Code.OBJ_E_BUSY, f"0x{index:04X}")
            self._begin(index, request, options)
            response = self._finish(index, options)
        if response.status.failed:
            raise ObjectError(response.failure_code, f"0x{index:04X}")
        return response.data

    def _begin(self, index: int, request: bytes, options: CallOptions) -> None:
        # A finished job keeps its object for a moment longer, until its worker has ended.
        busy_until = time.monotonic() + options.busy_timeout
        pause = _FIRST_PAUSE
        while True:
            try:
                return self.start_service(index, request)
            except ObjectError as error:
                if error.code != Code.OBJ_E_BUSY or time.monotonic() >= busy_until:
                    raise
            time.sleep(pause)
            pause = min(2 * pause, _LONGEST_PAUSE)

    def _finish(self, index: int, options: CallOptions) -> ServiceResponse:
        end = None if options.timeout is None else time.monotonic() + options.timeout
        pause = _FIRST_PAUSE
        while True:
            try:
                status = self._with_end(end).poll_service(index)
            except TimedOut:
                # A job that holds its object lets nobody read its status: no answer means that it runs.
                pass
            else:
                if not status.running:
                    return self.fetch_response(index, options.response_capacity)
                if options.progress is not None:
                    options.progress(status)
            if end is not None and time.monotonic() >= end:
                raise TimedOut("the job still runs")
            time.sleep(pause)
            pause = min(2 * pause, _LONGEST_PAUSE)

    def _with_end(self, end: Optional[float]) -> Client:
        # A client whose transactions end by that time, if they would take longer.
        if end is None:
            return self
        left = max(end - time.monotonic(), 0.001)
        timeout = left if self.timeout is None else min(left, self.timeout)
        return Client(self.socket_path, timeout, self.language, self._read_capacity, self._maximum_capacity)

    # Helpers

    def _language(self, language: Optional[int]) -> int:
        return self.language if language is None else language

    def _read_record(self, index: int, sub_index: int, flags: int, capacity: int) -> Tuple[int, bytes]:
        _check_address(index, sub_index)
        while True:
            code, data = _wire.parse_read(self.transact(_wire.read_frame(index, sub_index, flags, capacity)))
            if code != Code.OBJ_E_BUFFERTOOSMALL or capacity >= self._maximum_capacity:
                return code, data
            capacity = min(max(8 * capacity, 64), self._maximum_capacity)

    def _read_or_nothing(self, index: int, sub_index: int) -> bytes:
        # A text of no length has no data.
        try:
            return self.read(index, sub_index)
        except ObjectError as error:
            if error.code != Code.OBJ_E_NODATA:
                raise
            return b""

    def _read_text(self, index: int, sub_index: int) -> str:
        return self._read_or_nothing(index, sub_index).split(b"\0", 1)[0].decode("utf-8", "surrogateescape")

    def _read_list(self, index: int, width: int) -> List[int]:
        value = self.read_complete(index)
        if is_error(value.code):
            raise ObjectError(value.code, f"0x{index:04X}")
        count = int.from_bytes(value.data[:2], "little")
        if len(value.data) != 2 + width * count:
            raise ProtocolError("malformed answer: a module list without its count, or of another length")
        elements = [value.data[2 + width * i :][:width] for i in range(count)]
        return [int.from_bytes(element, "little") for element in elements]

    def _why_refused(self, refusal: ConnectionClosed, index: int, sub_index: int) -> Exception:
        # The service refuses to describe what does not exist without an answer; a read finds out.
        code, _ = self._read_record(index, sub_index, 0, self._read_capacity)
        return ObjectError(code, f"0x{index:04X}:{sub_index}") if code == Code.OBJ_E_INVALIDIDX else refusal


def _check_address(index: int, sub_index: int) -> None:
    if not 0 <= index <= 0xFFFF or not 0 <= sub_index <= 0xFF:
        raise ArgumentError(f"an index has 16 bits and a sub-index 8: {index:#x}, {sub_index}")
