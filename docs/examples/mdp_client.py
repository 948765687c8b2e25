#!/usr/bin/env python3
"""A client of the sylvarin service, from nothing but sockets. See mdp-protocol(5).

Run as a program it shows the machine's name, its modules and their objects; with a directory it lists that directory
through the service:

    mdp_client.py [--socket PATH] [--language LCID] [DIRECTORY]
"""

import argparse
import socket
import struct
import sys
import time

ENGLISH = 1033
GERMAN = 1031

COMPLETE_ACCESS = 1
SERVICE_ACCESS = 2

DEVICE_NAME = 0x1008
MODULE_ADDRESSES = 0xF020
FILE_SERVICES = 16  # module type

HEADER = struct.Struct("<QQQ")  # length of the frame, offset of the request, offset of the answer
RECORD = struct.Struct("<HHBBqI")  # command, index, flags, sub-index, result, length
DESCRIPTION = struct.Struct("<BHBQ")  # object code, data type, number of items, result
ENTRY = struct.Struct("<QHHHHQQQQQQ")  # size, value info, data type, bits, access, five offsets, length of the name


class MdpError(Exception):
    """The object layer's 32-bit code of a failed request, or None where the connection closed without an answer."""

    def __init__(self, what, code=None):
        super().__init__(f"{what}: 0x{code:08X}" if code is not None else f"{what}: refused")
        self.code = code


class MdpClient:
    """Each call is one transaction on a connection of its own."""

    def __init__(self, path="/tmp/MDP0", timeout=30.0):
        self.path = path
        self.timeout = timeout

    def transact(self, request, answer):
        """One frame with these two areas, either of which may be empty. Returns the reply, or None if there is none."""
        write_offset = HEADER.size
        read_offset = write_offset + len(request)
        frame = HEADER.pack(read_offset + len(answer), write_offset, read_offset) + request + answer
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            connection.settimeout(self.timeout)
            connection.connect(self.path)
            connection.sendall(frame)
            length = self._receive(connection, 4)
            return self._receive(connection, struct.unpack("<I", length)[0]) if length is not None else None

    @staticmethod
    def _receive(connection, count):
        data = bytearray()
        while len(data) < count:
            chunk = connection.recv(count - len(data))
            if not chunk:
                return None
            data += chunk
        return bytes(data)

    def read(self, index, sub_index, capacity=4096, flags=0):
        """The bytes of one entry, or with COMPLETE_ACCESS of all entries, packed."""
        record = RECORD.pack(0, index, flags, sub_index, 0, capacity) + bytes(capacity)
        reply = self.transact(b"", record)  # request and answer share one place
        return self._value(reply, f"read of {index:04X}:{sub_index}")

    def write(self, index, sub_index, value, flags=0):
        record = RECORD.pack(0, index, flags, sub_index, 0, len(value)) + value
        self._value(self.transact(record, b""), f"write of {index:04X}:{sub_index}")

    @staticmethod
    def _value(reply, what):
        if reply is None:
            raise MdpError(what)
        result, length = RECORD.unpack_from(reply)[4:]
        if result != 0:
            raise MdpError(what, result & 0xFFFFFFFF)
        return reply[RECORD.size : RECORD.size + length]

    def read_text(self, index, sub_index):
        return self.read(index, sub_index).rstrip(b"\0").decode("utf-8", "replace")

    def read_number(self, index, sub_index):
        return int.from_bytes(self.read(index, sub_index), "little")

    def call(self, index, request, capacity=1 << 20):
        """Runs a service: starts it, waits for its end and returns its response data."""
        self.write(index, 1, request, SERVICE_ACCESS)  # comes back at the end, or after 16 seconds
        while True:
            response = self.read(index, 1, capacity, SERVICE_ACCESS)
            status = response[0]
            if response[1] == 0:  # not running any more
                break
            time.sleep(0.2)
        if status in (2, 3):
            raise MdpError(f"service {index:04X}", int.from_bytes(response[2:6], "little"))
        return response[2:]

    def objects(self):
        """The indexes of all objects."""
        reply = self.transact(struct.pack("<HH", 1, 1), bytes(2 * 65536))
        if reply is None:
            raise MdpError("list of objects")
        return [index for (index,) in struct.iter_unpack("<H", reply)]

    def describe(self, index, language=ENGLISH):
        """Object code, data type, number of items and name of an object."""
        reply = self.transact(struct.pack("<HHI", 2, index, language), bytes(DESCRIPTION.size + 512))
        if reply is None:
            raise MdpError(f"description of {index:04X}")
        code, data_type, items, _ = DESCRIPTION.unpack_from(reply)
        return code, data_type, items, reply[DESCRIPTION.size :].decode("utf-8", "replace")

    def describe_entry(self, index, sub_index, language=ENGLISH):
        """Data type, whether readable, whether writable, and name of an entry."""
        size = ENTRY.size + 8 + 512  # the reply ends 8 bytes before the record does
        answer = bytes(8) + ENTRY.pack(size, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0) + bytes(size - ENTRY.size)
        reply = self.transact(struct.pack("<HHBI", 3, index, sub_index, language), answer)
        if reply is None:
            raise MdpError(f"description of {index:04X}:{sub_index}")
        fields = ENTRY.unpack_from(reply, 8)
        data_type, access, name_length = fields[2], fields[4], fields[10]
        name = reply[8 + ENTRY.size :][:name_length].decode("utf-8", "replace")
        return data_type, bool(access & 7), bool(access & 56), name

    def modules(self):
        """Header index, type and name of each module, in the order of the module lists."""
        for element in range(1, self.read_number(MODULE_ADDRESSES, 0) + 1):
            address = self.read_number(MODULE_ADDRESSES, element)
            header = 0x8000 | (address & 0xFF) << 4
            yield header, address >> 16, self.read_text(header, 3)

    def list_directory(self, path):
        """Names of the directories, and names and sizes of the files in a directory."""
        services = [header for header, kind, _ in self.modules() if kind == FILE_SERVICES]
        if not services:
            raise MdpError("file system services")
        pattern = (path.rstrip("/") + "/*").encode()
        index = 0xB000 | services[0] & 0x0FF0
        record = self.call(index, struct.pack("<I", len(pattern)) + pattern)
        _, _, _, _, directory, file = struct.unpack_from("<6I", record)
        directories, files = [], []
        while directory:
            following, length = struct.unpack_from("<II", record, directory)
            directories.append(record[directory + 8 :][:length].decode("utf-8", "surrogateescape"))
            directory = following
        while file:
            following, size, _, length = struct.unpack_from("<IQII", record, file)
            files.append((record[file + 20 :][:length].decode("utf-8", "surrogateescape"), size))
            file = following
        return directories, files


def main():
    parser = argparse.ArgumentParser(description="Shows a machine through the sylvarin service.")
    parser.add_argument("--socket", default="/tmp/MDP0")
    parser.add_argument("--language", type=int, default=ENGLISH, help="1033 English (the default), 1031 German")
    parser.add_argument("directory", nargs="?", help="list this directory instead")
    arguments = parser.parse_args()
    client = MdpClient(arguments.socket)
    try:
        if arguments.directory is not None:
            directories, files = client.list_directory(arguments.directory)
            for name in directories:
                print(f"{name}/")
            for name, size in files:
                print(f"{name}  {size}")
            return 0
        print(f"{client.describe_entry(DEVICE_NAME, 0, arguments.language)[3]}: {client.read_text(DEVICE_NAME, 0)}")
        indexes = client.objects()
        for header, _, name in client.modules():
            print(f"{header:04X}  {name}")
            slot = header >> 4 & 0xFF
            for index in indexes:
                if index >> 12 in (0x8, 0xB) and index >> 4 & 0xFF == slot and index != header:
                    print(f"    {index:04X}  {client.describe(index, arguments.language)[3]}")
        return 0
    except (MdpError, OSError) as error:
        print(f"mdp_client.py: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
