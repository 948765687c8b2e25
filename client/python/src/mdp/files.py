"""The files of the machine, through the service and with its rights."""

from __future__ import annotations

import fnmatch
import io
import os
import re
import struct
from dataclasses import dataclass, replace
from typing import BinaryIO, Callable, List, Optional, Tuple

from .client import CallOptions, Client
from .codes import Code
from .descriptions import ModuleType
from .errors import ArgumentError, ObjectError, ProtocolError, TimedOut
from .turn import Turn

_LIST, _READ, _WRITE, _COPY_MOVE, _DELETE, _MAKE_DIRECTORY = range(6)

_FLAG_COPY = 1
_FLAG_OVERWRITE = 2

_ENOENT = Code.OBJ_E_OS_BASE | 2

# Large enough that the transactions cost little, small enough that progress can be shown.
_CHUNK = 1 << 20
_LIST_CAPACITY = 16384
_READ_HEAD = struct.Struct("<III")  # number of bytes, handle, whether this is the end


@dataclass(frozen=True)
class RemoteFile:
    name: str  # without its directory
    size: int  # in bytes


@dataclass(frozen=True)
class Listing:
    directories: List[str]  # names without their directory; special files are among them
    files: List[RemoteFile]


@dataclass(frozen=True)
class RemoteStatus:
    is_directory: bool  # also true for special files, which the service does not tell apart
    size: int  # of a file, in bytes


def escape_pattern(path: str) -> str:
    """The path as a pattern that matches it alone: its wildcards in brackets."""
    return re.sub(r"([*?[])", r"[\1]", path)


def parse_listing(record: bytes) -> Listing:
    try:
        _, _, directory_count, file_count, first_directory, first_file = struct.unpack_from("<6I", record)
        directories = [name for _, name in _walk(record, directory_count, first_directory, 8)]
        files = [
            RemoteFile(name, int.from_bytes(head[4:12], "little"))
            for head, name in _walk(record, file_count, first_file, 20)
        ]
    except struct.error:
        raise ProtocolError("malformed answer: a listing with an entry outside of it") from None
    return Listing(directories, files)


def _walk(record: bytes, count: int, offset: int, head_size: int) -> List[Tuple[bytes, str]]:
    # Each entry tells the offset of the next; its head ends with the length of its name.
    entries: List[Tuple[bytes, str]] = []
    while offset != 0 and len(entries) < count:
        (following,) = struct.unpack_from("<I", record, offset)
        (length,) = struct.unpack_from("<I", record, offset + head_size - 4)
        (name,) = struct.unpack_from(f"{length}s", record, offset + head_size)
        entries.append((record[offset : offset + head_size], os.fsdecode(name)))
        offset = following
    if len(entries) != count or offset != 0:
        raise ProtocolError("malformed answer: a listing with another number of entries than it tells")
    return entries


def _matches(listing: Listing, pattern: str) -> bool:
    # What a pattern says about names: the service takes a backslash for a slash and does not look at those at the end.
    last = pattern.replace("\\", "/").rstrip("/").rsplit("/", 1)[-1] or "/"
    if "[:" in last:
        return True  # a class of characters, which only the service knows
    last = last.replace("[^", "[!")
    names = listing.directories + [file.name for file in listing.files]
    return all(fnmatch.fnmatchcase(name, last) and (name[0] != "." or last[0] == ".") for name in names)


class FileServices:
    """The files of the machine. Paths are those of the machine, and relative ones start at its root.

    Reading and writing whole files takes the turn "get" or "put" among the programs of the same user, since the service
    has one open file for each. Programs of other users are not kept apart. The options hold for each single job.
    """

    def __init__(self, client: Client, options: CallOptions = CallOptions()) -> None:
        modules = client.list_modules(ModuleType.FILES)
        if not modules:
            raise ArgumentError("this machine offers no file services")
        self._client = client
        self._options = options
        self._module = modules[0]

    def list(self, pattern: str) -> Listing:
        """What a shell pattern matches, such as "/etc/*.conf"; a path without wildcards matches itself.

        Nothing at all is an ObjectError with errno ENOENT. A name that begins with a dot needs a pattern that does,
        too. A symbolic link to nothing ends the listing: what comes behind it in the order of names is left out.
        """
        name = os.fsencode(pattern)
        listing = parse_listing(self._call(_LIST, struct.pack("<I", len(name)) + name, _LIST_CAPACITY))
        # The answer does not tell whose it is, and what is found may be deleted or overwritten.
        if not _matches(listing, pattern):
            raise ProtocolError("another client disturbed: try again")
        return listing

    def status(self, path: str) -> Optional[RemoteStatus]:
        """What the path is; None if it does not exist."""
        try:
            listing = self.list(escape_pattern(path))
        except ObjectError as error:
            if error.code == _ENOENT:
                return None
            raise
        if listing.directories:
            return RemoteStatus(True, 0)
        return RemoteStatus(False, listing.files[0].size) if listing.files else None

    def read(self, path: str, sink: Optional[BinaryIO] = None) -> bytes:
        """The content of a whole file; with a sink it is written there instead, and nothing is given back.

        A file that cannot be opened is OBJ_E_INVALIDDATA; status tells whether there is one.
        """
        with self._transfer("get"):
            if sink is not None:
                self._read_chunks(path, sink)
                return b""
            content = io.BytesIO()
            self._read_chunks(path, content)
            return content.getvalue()

    def write(self, path: str, content: bytes) -> None:
        """Writes a whole file, replacing what it held. After an error the file is there in part."""
        self.write_from(path, io.BytesIO(content))

    def write_from(self, path: str, source: BinaryIO) -> int:
        """Writes a whole file with what the source gives until its end; the number of bytes."""
        with self._transfer("put"):
            return self._write_chunks(path, source)

    def copy(self, source: str, destination: str, overwrite: bool = False) -> None:
        """Without overwrite an existing destination is an ObjectError with errno EEXIST.

        With it the destination is emptied first, even if the source is the same file, which is then lost.
        """
        self._copy_or_move(source, destination, _FLAG_COPY | (_FLAG_OVERWRITE if overwrite else 0))

    def move(self, source: str, destination: str, overwrite: bool = False) -> None:
        """As copy; with overwrite the destination is deleted first."""
        self._copy_or_move(source, destination, _FLAG_OVERWRITE if overwrite else 0)

    def delete(self, path: str, recursive: bool = False) -> None:
        """Deletes a file or a directory, with its content if recursive. If anything is left it is OBJ_E_FAILED."""
        name = os.fsencode(path)
        self._call(_DELETE, struct.pack("<II", len(name), recursive) + name)

    def make_directory(self, path: str, parents: bool = False) -> None:
        """Makes a directory, with missing parents if asked for. One that exists is errno EEXIST."""
        name = os.fsencode(path)
        self._call(_MAKE_DIRECTORY, struct.pack("<II", len(name), parents) + name)

    def _copy_or_move(self, source: str, destination: str, flags: int) -> None:
        names = os.fsencode(source), os.fsencode(destination)
        self._call(_COPY_MOVE, struct.pack("<III", len(names[0]), len(names[1]), flags) + names[0] + names[1])

    def _call(self, service: int, request: bytes, capacity: int = 0) -> bytes:
        options = replace(self._options, response_capacity=capacity)
        return self._client.call_service(self._module.service(service), request, options)

    def _transfer(self, direction: str) -> Turn:
        turn = Turn(self._client.socket_path, direction)
        if not turn.wait(self._options.timeout):
            raise TimedOut("another program moves files for longer than the time-out")
        return turn

    def _read_chunks(self, path: str, sink: BinaryIO) -> None:
        name, handle = os.fsencode(path), 0
        while True:
            request = struct.pack("<III", len(name), handle, _CHUNK) + name
            record = self._call(_READ, request, _CHUNK)
            if len(record) < _READ_HEAD.size:
                raise ProtocolError("malformed answer: a chunk without its head")
            length, answered, at_end = _READ_HEAD.unpack_from(record)
            if length != len(record) - _READ_HEAD.size:
                raise ProtocolError("malformed answer: the length of a chunk does not fit it")
            if not at_end:
                handle = _same_handle(handle, answered, path)
            _write_all(sink.write, record[_READ_HEAD.size :])
            if at_end:
                return
            name = b""

    def _write_chunks(self, path: str, source: BinaryIO) -> int:
        name, handle, total = os.fsencode(path), 0, 0
        try:
            while True:
                chunk = _fill(source)
                is_last = len(chunk) < _CHUNK
                head = struct.pack("<IIII", len(name), handle, len(chunk), is_last)
                answer = self._call(_WRITE, head + name + chunk)
                total += len(chunk)
                if is_last:
                    return total
                handle = _same_handle(handle, int.from_bytes(answer, "little"), path)
                name = b""
        except BaseException:
            # The service would keep the file open until the next one.
            if handle != 0:
                try:
                    self._call(_WRITE, struct.pack("<IIII", 0, handle, 0, 1))
                except Exception:  # what went wrong first is what counts
                    pass
            raise


def _same_handle(before: int, answered: int, path: str) -> int:
    if answered == 0 or before not in (0, answered):
        # The answer is one about another client's file.
        raise ObjectError(Code.OBJ_E_INVALIDARG, path)
    return answered


def _fill(source: BinaryIO) -> bytes:
    chunk = bytearray()
    while len(chunk) < _CHUNK:
        piece = source.read(_CHUNK - len(chunk))
        if not piece:
            break
        chunk += piece
    return bytes(chunk)


def _write_all(write: Callable[[bytes], Optional[int]], data: bytes) -> None:
    while data:
        written = write(data)
        data = data[len(data) if written is None else written :]
