"""One transaction on a connection of its own."""

from __future__ import annotations

import errno
import os
import socket
import struct
import sys
import time
from typing import Optional

from .errors import ConnectError, ConnectionClosed, ProtocolError, TimedOut, TransportError

# How long a full queue of connections is asked again where the system tells it as a refused connection, which is also
# what a socket file without a listener gives.
_REFUSED_PATIENCE = 0.25
_RETRY_PAUSE = 0.002

_PIECE = 1 << 20


def _peer_user(connection: socket.socket) -> int:
    user: int
    if sys.platform == "linux":
        credentials = connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12)
        _, user, _ = struct.unpack("3i", credentials)
    else:
        # FreeBSD's struct xucred begins with its version and the user; level 0 is that of local sockets.
        credentials = connection.getsockopt(0, 1, 256)
        _, user = struct.unpack_from("=II", credentials)
    return user


class Connection:
    """A connection that is used once; with a limit in seconds for all that it does together, or None."""

    def __init__(self, path: str, timeout: Optional[float]) -> None:
        self._path = path
        self._end = None if timeout is None else time.monotonic() + timeout

    def transact(self, frame: bytes) -> bytes:
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            self._socket = connection
            self._open()
            self._send(frame)
            length = int.from_bytes(self._receive(4), "little")
            try:
                return bytes(self._receive(length))
            except ConnectionClosed:
                raise ProtocolError("the answer ends in the middle") from None

    def _allow_time(self) -> None:
        if self._end is not None:
            left = self._end - time.monotonic()
            if left <= 0:
                raise TimedOut("the service did not answer in time")
            self._socket.settimeout(left)

    def _open(self) -> None:
        refused_until = time.monotonic() + _REFUSED_PATIENCE
        while True:
            self._allow_time()
            try:
                self._socket.connect(self._path)
                break
            except socket.timeout:
                raise TimedOut("the service did not answer in time") from None
            except OSError as error:
                # EAGAIN: the queue of waiting connections is full at this moment.
                full = error.errno == errno.EAGAIN or (
                    error.errno == errno.ECONNREFUSED and time.monotonic() < refused_until
                )
                if not full:
                    message = f'connecting to "{self._path}": {error.strerror or error}'
                    raise ConnectError(message, error.errno) from error
            time.sleep(_RETRY_PAUSE)
        # While the service is down anybody may listen in its place, where what root sends is not for everybody.
        user = _peer_user(self._socket)
        if user not in (0, os.geteuid()):
            raise ConnectError(
                f'connecting to "{self._path}": user {user} listens there, and neither root nor you'
            )

    def _send(self, frame: bytes) -> None:
        self._allow_time()
        try:
            self._socket.sendall(frame, getattr(socket, "MSG_NOSIGNAL", 0))
        except socket.timeout:
            raise TimedOut("the service did not answer in time") from None
        except (BrokenPipeError, ConnectionResetError):
            raise ConnectionClosed("the service closed the connection without an answer") from None
        except OSError as error:
            raise TransportError(f"sending the request: {error.strerror}") from error

    def _receive(self, count: int) -> bytearray:
        # A length that lies costs no memory: the buffer grows with what arrives.
        data = bytearray()
        while len(data) < count:
            self._allow_time()
            try:
                piece = self._socket.recv(min(count - len(data), _PIECE))
            except socket.timeout:
                raise TimedOut("the service did not answer in time") from None
            except ConnectionResetError:
                piece = b""
            except OSError as error:
                raise TransportError(f"receiving the answer: {error.strerror}") from error
            if not piece:
                if data:
                    raise ProtocolError("the answer ends in the middle")
                raise ConnectionClosed("the service closed the connection without an answer")
            data += piece
        return data
