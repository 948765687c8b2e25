"""A service made up by a test: it takes frames on a socket and answers with the bytes that the test wrote down."""

from __future__ import annotations

import os
import socket
import tempfile
import threading
from types import TracebackType
from typing import Callable, List, Optional, Type

NO_ANSWER = None
SILENCE = b""


class FakeService:
    """answer gives the whole reply to a frame, NO_ANSWER to close instead, or SILENCE to leave the client waiting."""

    def __init__(self, answer: Callable[[bytes], Optional[bytes]]) -> None:
        self._answer = answer
        self._directory = tempfile.TemporaryDirectory()
        self.path = os.path.join(self._directory.name, "MDP0")
        self.frames: List[bytes] = []
        self._silent: List[socket.socket] = []
        self._listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._listener.bind(self.path)
        self._listener.listen()
        self._thread = threading.Thread(target=self._serve)
        self._thread.start()

    def _serve(self) -> None:
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            frame = self._receive(connection)
            if not frame:
                connection.close()  # a client that looked who listens here
                continue
            self.frames.append(frame)
            reply = self._answer(frame)
            if reply == SILENCE:
                self._silent.append(connection)
                continue
            if reply is not NO_ANSWER:
                connection.sendall(reply)
            connection.close()

    @staticmethod
    def _receive(connection: socket.socket) -> bytes:
        frame = bytearray()
        while len(frame) < 8 or len(frame) < int.from_bytes(frame[:8], "little"):
            piece = connection.recv(65536)
            if not piece:
                break
            frame += piece
        return bytes(frame)

    def __enter__(self) -> FakeService:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self._thread.join()
        for connection in self._silent:
            connection.close()
        self._directory.cleanup()


def hexed(text: str) -> bytes:
    """Bytes as pairs of hexadecimal digits, with blanks where they help to read them."""
    return bytes.fromhex(text)
